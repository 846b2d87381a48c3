#!/usr/bin/env bash
# End-to-end cases of the palvorin tool, one per CTest test:
#   PalvorinToolTest.sh PALVORIN CASE DATA_DIR WORK_DIR
set -euo pipefail
palvorin="$1"
case_name="$2"
data="$3"
work="$4"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
# The number after `label` in a summary line such as "  frames           436".
field() {
    sed -n "s/^ *$1 *\([0-9][0-9]*\).*/\1/p" "$2" | head -n 1
}
expect_eq() {
    [ "$2" = "$3" ] || fail "$1: expected $3, got $2"
}

sample_to_pcap() {
    "$palvorin" sample stream.bin
    "$palvorin" record --rate 100 --start 1767225600 stream.bin out.isf >summary.txt
    cat summary.txt
    # Every frame of the sample ends with one flag and none opens with one; stuffing hides every other
    # 0x7E, so the flags count the frames. Every 97th frame is damaged: 440 frames, 4 of them bad.
    flags="$(tr -cd '\176' <stream.bin | wc -c)"
    expect_eq "flags" "$flags" 440
    expect_eq "frames" "$(field frames summary.txt)" 436
    expect_eq "bad frames" "$(field 'bad frames' summary.txt)" 4
    # 20 cycles of 8 blocks (BCH: SIB 7 and 2 in a list, SIB 18 in 4 segments, SIB 7 of complete-and-first,
    # SIB 2 in 2 short segments, SIB 18 complete; FACH: SIB 7, SIB 18 in 2 segments), less the SIB 2 whose
    # last segment is frame 194 and the SIB 18 whose first segment is frame 388.
    expect_eq "rebuilt blocks" "$(sed -n 's/.*WCDMA reassembly \([0-9]*\)/\1/p' summary.txt)" 158
    items="$(field items summary.txt)"

    "$palvorin" verify out.isf | tee verify.txt
    grep -q "consistent: $items items" verify.txt || fail "verify does not count $items items"

    "$palvorin" dump out.isf >dump.txt
    expect_eq "dump lines" "$(wc -l <dump.txt)" "$items"
    # Item 0 is the tool-version record, stamped when the file was opened; then the stream at 100 per second.
    sed -n 2p dump.txt | grep -q "2026-01-01T00:00:00.000Z" || fail "first recorded item is not at the start time"
    sed -n 3p dump.txt | grep -q "2026-01-01T00:00:00.010Z" || fail "second item is not 10 ms later"
    expect_eq "rebuilt in dump" "$(grep -c 'ota 25[45],' dump.txt)" 158
    "$palvorin" dump --json out.isf >dump.json
    expect_eq "json lines" "$(wc -l <dump.json)" "$((items + 2))"
    if command -v python3 >/dev/null; then
        python3 -c 'import json,sys; d=json.load(open("dump.json")); assert len(d)=='"$items"'; assert sum(1 for i in d if i.get("ota_type",[0])[0] in (254,255))==158'
    fi

    "$palvorin" pcap out.isf out.pcap | tee pcap.txt
    exported="$(sed -n 's/^exported \([0-9]*\) packets.*/\1/p' pcap.txt)"
    grep -q "skipped 20 GSM logs" pcap.txt || fail "GSM logs not reported as skipped"
    tshark -r out.pcap -T fields -e gsmtap.type -e _ws.col.Info >decoded.txt 2>tshark.err ||
        fail "tshark: $(cat tshark.err)"
    expect_eq "packets tshark reads" "$(wc -l <decoded.txt)" "$exported"
    expect_eq "packets not UMTS RRC" "$(grep -vc '^12	' decoded.txt || true)" 0
    tshark -r out.pcap -Y '_ws.malformed || _ws.expert.severity >= warning' >flagged.txt 2>tshark.err ||
        fail "tshark: $(cat tshark.err)"
    expect_eq "malformed or warned packets" "$(wc -l <flagged.txt)" 0
    # Each rebuilt block is exported on its own and named by its type.
    sibs="$(grep -cE '	SysInfoType (2|7|18)$' decoded.txt)"
    expect_eq "SIB packets" "$sibs" 158
    for name in "SysInfoType 2" "SysInfoType 7" "SysInfoType 18" "SystemInformation-BCH" \
        "SystemInformation-FACH" "PagingType1"; do
        grep -q "	$name" decoded.txt || fail "tshark names no $name"
    done
}

real_streams() {
    # tests/data/raw_diag_stream_b.bin: 19 frames with good check sequences.
    "$palvorin" record "$data/raw_diag_stream_b.bin" b.isf >b.txt
    expect_eq "frames of stream b" "$(field frames b.txt)" 19
    expect_eq "bad frames of stream b" "$(field 'bad frames' b.txt)" 0
    "$palvorin" verify b.isf
    # A capture that starts inside a frame: the 7 bytes that begin a real capture before its first flag.
    { printf '\x4b\x12\x0f\x02\x01\x02\x00'; cat "$data/raw_diag_stream_b.bin"; } >joined.bin
    "$palvorin" record - joined.isf <joined.bin >joined.txt
    expect_eq "frames after stray bytes" "$(field frames joined.txt)" 19
    grep -q "skipped          7 bytes before the first frame" joined.txt || fail "stray bytes not reported"
    # A stream cut inside its last frame: the partial frame counts as bad, the others are kept.
    head -c 2990 "$data/raw_diag_stream_b.bin" >cut.bin
    "$palvorin" record cut.bin cut.isf >cut.txt
    expect_eq "frames of the cut stream" "$(field frames cut.txt)" 18
    expect_eq "bad frames of the cut stream" "$(field 'bad frames' cut.txt)" 1
}

real_wcdma() {
    # tests/data/wcdma_412f.txt: 623 real WCDMA RRC logs as hex lines, framed here into a raw stream.
    command -v python3 >/dev/null || { echo "no python3 to frame the capture: skipped"; exit 77; }
    python3 - "$data/wcdma_412f.txt" stream.bin <<'PY'
import sys
def fcs(data):  # CRC-16/X-25, bit by bit
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = (crc >> 1) ^ 0x8408 if crc & 1 else crc >> 1
    return crc ^ 0xFFFF
out = bytearray()
for line in open(sys.argv[1]):
    if line.strip() and not line.startswith("#"):
        packet = bytes.fromhex(line)
        crc = fcs(packet)
        for byte in packet + bytes([crc & 0xFF, crc >> 8]):
            out += bytes([0x7D, byte ^ 0x20]) if byte in (0x7D, 0x7E) else bytes([byte])
        out.append(0x7E)
open(sys.argv[2], "wb").write(out)
PY
    "$palvorin" record stream.bin out.isf >summary.txt
    "$palvorin" verify out.isf
    "$palvorin" pcap out.isf out.pcap | tee pcap.txt
    # Expected counts from the capture's description: channel types 0-4, the whole blocks inside complete
    # lists (MIB 107, SIB7 107, SIB2 46, SIB1 26, SIB3 19, SB1 18, SIB18 5) and the 69 segment sequences
    # that complete in order (SIB1 19, extension type 28, SIB5 9, SIB12 6, SIB18 6, SIB11 1).
    expect_eq "frames" "$(field frames summary.txt)" 623
    expect_eq "rebuilt blocks" "$(sed -n 's/.*WCDMA reassembly \([0-9]*\)/\1/p' summary.txt)" 397
    for expected in "UL-CCCH 6" "UL-DCCH 172" "DL-CCCH 5" "DL-DCCH 109" "BCCH-BCH 331" \
        "MasterInformationBlock 107" "SysInfoType1 45" "SysInfoType2 46" "SysInfoType3 19" "SysInfoType5 9" \
        "SysInfoType7 107" "SysInfoType11 1" "SysInfoType12 6" "SysInfoType18 11" "SysInfoTypeSB1 18"; do
        name="${expected% *}"
        count="${expected##* }"
        expect_eq "$name" "$(sed -n "s/^  $name  *(UMTS RRC sub-type *[0-9]*) \([0-9]*\)\$/\1/p" pcap.txt)" "$count"
    done
    grep -q "skipped 28 rebuilt blocks of the extension type" pcap.txt || fail "extension blocks not skipped"
    tshark -r out.pcap -Y '_ws.malformed || _ws.expert.severity >= warning' >flagged.txt 2>tshark.err ||
        fail "tshark: $(cat tshark.err)"
    expect_eq "malformed or warned packets" "$(wc -l <flagged.txt)" 0
    tshark -r out.pcap -T fields -e _ws.col.Info >decoded.txt 2>tshark.err || fail "tshark: $(cat tshark.err)"
    expect_eq "packets tshark reads" "$(wc -l <decoded.txt)" 992
    for name in "MasterInformationBlock" "SysInfoType 11" "SysInfoType 12" "Scheduling Block 1" \
        "MeasurementReport" "RRCConnectionSetup"; do
        grep -q "^$name" decoded.txt || fail "tshark names no $name"
    done
}

# A recording from a pipe whose writer stays open, ended by the signal $1 (INT, HUP, ...).
interrupted() {
    local signal="$1"
    "$palvorin" sample stream.bin
    "$palvorin" record stream.bin reference.isf >/dev/null
    items="$("$palvorin" dump reference.isf | wc -l)"
    mkfifo pipe
    "$palvorin" record pipe out.isf >summary.txt &
    recorder=$!
    exec 3>pipe
    cat stream.bin >&3
    # The writer stays open: only the signal ends the recording. Wait until every frame is in the file
    # (all items but the kept health response, which closing writes again).
    for _ in $(seq 300); do
        [ "$("$palvorin" dump out.isf 2>/dev/null | wc -l)" -ge "$((items - 1))" ] && break
        sleep 0.1
    done
    kill -"$signal" "$recorder"
    status=0
    wait "$recorder" || status=$?
    exec 3>&-
    cat summary.txt
    expect_eq "exit status after SIG$signal" "$status" 0
    grep -q "stopped by SIG$signal" summary.txt || fail "no word of the signal"
    expect_eq "frames before the signal" "$(field frames summary.txt)" 436
    "$palvorin" verify out.isf | tee verify.txt
    grep -q "consistent: $items items" verify.txt || fail "the interrupted file does not hold $items items"
}
interrupted_pipe() { interrupted INT; }
# What a dropped ssh session sends.
hangup_pipe() { interrupted HUP; }

verify_damage() {
    "$palvorin" sample stream.bin
    "$palvorin" record stream.bin good.isf >/dev/null
    size="$(stat -c %s good.isf)"
    # Cut inside the records: entries point past the end and the table and trailer are gone.
    head -c "$((size - 1000))" good.isf >cut.isf
    if "$palvorin" verify cut.isf >cut.txt; then fail "verify accepts a cut file"; fi
    grep -q "runs past the end of the file" cut.txt || fail "cut records not named"
    grep -q "^cut.isf: at [0-9]*: " cut.txt || fail "no offset in the report"
    grep -q "not closed" cut.txt || fail "missing table and trailer not named"
    # Cut right after the last record (table and trailer missing): consistent only when allowed.
    head -c "$((size - 32))" good.isf >unclosed.isf
    if "$palvorin" verify unclosed.isf >/dev/null; then fail "verify accepts an unclosed file"; fi
    "$palvorin" verify --allow-unclosed unclosed.isf
    # Zeros behind the last record (a killed writer that grows its file in steps) pass too; other bytes not.
    truncate -s +1M unclosed.isf
    "$palvorin" verify --allow-unclosed unclosed.isf
    printf '\x01' | dd of=unclosed.isf bs=1 seek="$size" conv=notrunc 2>/dev/null
    if "$palvorin" verify --allow-unclosed unclosed.isf >tail.txt; then fail "verify accepts bytes behind the last record"; fi
    grep -q "bytes at the end that no index entry covers" tail.txt || fail "bytes behind the last record not named"
    "$palvorin" dump unclosed.isf >/dev/null 2>dump.err
    grep -q "was not closed" dump.err || fail "dump does not say the file was not closed"
    # One byte of an index entry changed: the length of entry 5 (block at 4, entry at 4 + 5 * 7, length at +5).
    cp good.isf flipped.isf
    printf '\x30' | dd of=flipped.isf bs=1 seek=44 conv=notrunc 2>/dev/null
    if "$palvorin" verify flipped.isf >flipped.txt; then fail "verify accepts a changed entry"; fi
    cat flipped.txt
    grep -q "^flipped.isf: at 46: record of entry 6 starts" flipped.txt || fail "changed entry not found"
    # The flags of entry 3 given item type 31, which no item has.
    cp good.isf typed.isf
    printf '\x1f' | dd of=typed.isf bs=1 seek=25 conv=notrunc 2>/dev/null
    if "$palvorin" verify typed.isf >typed.txt; then fail "verify accepts item type 31"; fi
    grep -q "at 25: entry 3 has item type 31" typed.txt || fail "item type 31 not named"
    # Entry 0 pointing 5 bytes behind the end of its index block (its record offset at 4 + 1).
    cp good.isf gap.isf
    printf '\x05' | dd of=gap.isf bs=1 seek=5 conv=notrunc 2>/dev/null
    if "$palvorin" verify gap.isf >gap.txt; then fail "verify accepts a gap after the index block"; fi
    grep -q "^gap.isf: at 4: record of entry 0 starts 5 bytes after the index block ends" gap.txt ||
        fail "gap after the index block not named: $(cat gap.txt)"
}

errors() {
    for command in "" record dump verify pcap sample; do
        "$palvorin" $command --help >/dev/null || fail "--help of '$command'"
    done
    if "$palvorin" record >/dev/null 2>&1; then fail "record without arguments"; fi
    "$palvorin" sample stream.bin 2>/dev/null
    check() {
        local expected="$1"
        shift
        local status=0
        "$@" >err.txt 2>&1 || status=$?
        [ "$status" -ne 0 ] || fail "'$*' succeeded"
        grep -q "$expected" err.txt || fail "'$*' said: $(cat err.txt)"
    }
    check "cannot open missing.bin: No such file" "$palvorin" record missing.bin out.isf
    check "cannot write /dev/full: No space left on device" "$palvorin" record stream.bin /dev/full
    check "cannot write no/such/dir/out.isf" "$palvorin" record stream.bin no/such/dir/out.isf
    check "cannot read missing.isf" "$palvorin" dump missing.isf
    check "header magic" "$palvorin" verify stream.bin
    : >empty.isf
    check "empty file" "$palvorin" verify empty.isf
    printf '\x08\x31\x60\xab' >header.isf
    check "no items" "$palvorin" verify --allow-unclosed header.isf
    "$palvorin" record stream.bin out.isf >/dev/null
    check "writing /dev/full failed" "$palvorin" pcap out.isf /dev/full
    check "writing /dev/full failed: No space left on device" "$palvorin" sample /dev/full
    local status=0
    "$palvorin" dump --json out.isf >/dev/full 2>err.txt || status=$?
    [ "$status" -ne 0 ] && grep -q "writing the dump failed" err.txt || fail "dump to a full disk"
}

"$case_name"
echo "$case_name: passed"
