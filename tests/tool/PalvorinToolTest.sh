#!/usr/bin/env bash
# End-to-end cases of the palvorin tool, one per CTest test:
#   PalvorinToolTest.sh PALVORIN CASE DATA_DIR WORK_DIR [MODEM_SIMULATOR]
# No case can hang or fill the disk: every program it runs is bounded in time, every file it writes in size,
# and every process it leaves in the background is ended when it exits, however it exits.
set -euo pipefail
tool="$(realpath -m "$1")"
case_name="$2"
data="$(realpath -m "$3")"
work="$(realpath -m "$4")"
simulator="${5:+$(realpath -m "$5")}"
rm -rf "$work"
mkdir -p "$work/bin"
cd "$work"

# Seconds any one program may run: SIGTERM then, SIGKILL 5 s later, and exit status 124.
step_limit=45
# Runs PROGRAM under `timeout` from a script bin/NAME that takes its place: the script execs timeout, so that
# the pid of a background run is timeout's own, and a signal sent to it reaches PROGRAM.
bounded() {
    printf '#!/usr/bin/env bash\nexec timeout --foreground -k 5 %s %q "$@"\n' "$step_limit" "$2" >"bin/$1"
    chmod +x "bin/$1"
    echo "$work/bin/$1"
}
palvorin="$(bounded palvorin "$tool")"
simulator="${simulator:+$(bounded simulator "$simulator")}"
for program in tshark python3; do
    if command -v "$program" >/dev/null; then bounded "$program" "$(command -v "$program")" >/dev/null; fi
done
PATH="$work/bin:$PATH"
# No file grows past 1 GiB (ulimit counts 1024-byte blocks): a recording that never ends fails with "File
# too large" there.
ulimit -f $((1 << 20))
# Every background job is ended on the way out; each is bounded, so waiting for them ends within 5 s.
finish() {
    local status=$?
    local jobs
    jobs="$(jobs -p)"
    if [ -n "$jobs" ]; then
        kill $jobs 2>/dev/null || true
        wait 2>/dev/null || true
    fi
    [ "$status" -ne 124 ] || echo "FAILED: a program ran longer than $step_limit s" >&2
    exit "$status"
}
trap finish EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
# Runs COMMAND every 0.05 s until it succeeds, for at most SECONDS; false when the time is up.
wait_until() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ "$SECONDS" -lt "$deadline" ] || return 1
        sleep 0.05
    done
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
    expect_eq "rebuilt in dump" "$(grep -c 'ota 25[45],.*msg WCDMA RRC' dump.txt)" 158
    # Item 0 is the tool-version record, stamped when the file was opened; then the stream at 100 per second.
    sed -n 2p dump.txt | grep -q "2026-01-01T00:00:00.000Z" || fail "first recorded item is not at the start time"
    sed -n 3p dump.txt | grep -q "2026-01-01T00:00:00.010Z" || fail "second item is not 10 ms later"
    "$palvorin" dump --json out.isf >dump.json
    expect_eq "json lines" "$(wc -l <dump.json)" "$((items + 2))"
    if command -v python3 >/dev/null; then
        python3 -c 'import json,sys; d=json.load(open("dump.json")); assert len(d)=='"$items"'; assert sum(1 for i in d if i.get("ota_type",[0])[0] in (254,255))==158; assert d[1]["unix_time"]==1767225600 and d[1]["time_utc"]=="2026-01-01T00:00:00.000Z"'
    fi

    "$palvorin" pcap out.isf out.pcap | tee pcap.txt
    exported="$(sed -n 's/^exported \([0-9]*\) messages.*/\1/p' pcap.txt)"
    expect_eq "items exported or skipped" "$(field items pcap.txt)" "$items"
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

# The protocol tshark decoded each packet of a pcap as: the first layer after the exported-PDU record and any
# GSMTAP header, with the counts.
decoded_protocols() {
    tshark -r "$1" -T fields -e frame.protocols 2>tshark.err | sed -e 's/^exported_pdu://' -e 's/^gsmtap://' \
        -e 's/:.*//' | sort | uniq -c | awk '{print $2, $1}' >"$2" || fail "tshark: $(cat tshark.err)"
    cat "$2"
}
count_of() {
    sed -n "s/^$1 \([0-9]*\)$/\1/p" "$2"
}

real_stream_a() {
    # tests/data/raw_diag_stream_a.bin: real capture A, 7 stray bytes then 5,501 good frames (5,484 log
    # packets, 17 responses) from 2015-08-01 02:11:40.98 to 05:00:12.48 UTC.
    "$palvorin" record "$data/raw_diag_stream_a.bin" a.isf >a.txt
    expect_eq "frames" "$(field frames a.txt)" 5501
    expect_eq "bad frames" "$(field 'bad frames' a.txt)" 0
    "$palvorin" dump a.isf >dump.txt
    # Item 1, the first log packet, carries the formats page's worked example: 2015-08-01 02:11:40.984841.
    sed -n 2p dump.txt | grep -q " 2015-08-01T02:11:40.984Z " || fail "first packet time: $(sed -n 2p dump.txt)"
    tail -n 1 dump.txt | grep -q " 2015-08-01T05:00:12.48[0-9]Z " || fail "last packet time: $(tail -n 1 dump.txt)"

    "$palvorin" pcap a.isf a.pcap | tee pcap.txt
    expect_eq "items accounted for" "$(field items pcap.txt)" "$(field items a.txt)"
    expect_eq "exported" "$(field exported pcap.txt)" 4852
    for expected in "LTE RRC PCCH:3368" "LTE RRC UL-DCCH:360" "LTE RRC DL-DCCH:285" "LTE RRC BCCH-DL-SCH:251" \
        "LTE RRC DL-CCCH:40" "LTE RRC UL-CCCH:39" "GSM RR CCCH:207" "GSM RR BCCH:152" "UMTS NAS:27" \
        "GPRS GMM/SM:9"; do
        expect_eq "${expected%:*}" "$(sed -n "s|^ *${expected%:*}  *\([0-9]*\)\$|\1|p" pcap.txt)" "${expected##*:}"
    done
    # The facts page's counts of capture A: LTE RRC 4,343 (0xB0C0), LTE NAS 95 (eight NAS codes), GSM RR 378
    # (0x512F), UMTS NAS 27 (0x713A) and GPRS GMM/SM 9 (0x5230); the last two are bare layer 3 (DTAP).
    decoded_protocols a.pcap protocols.txt
    expect_eq "LTE RRC" "$(count_of lte_rrc protocols.txt)" 4343
    expect_eq "NAS-EPS" "$(count_of nas-eps protocols.txt)" 95
    expect_eq "GSM RR" "$(($(count_of gsm_a.ccch protocols.txt) + $(count_of lapdm protocols.txt)))" 378
    expect_eq "DTAP" "$(count_of gsm_a.dtap protocols.txt)" 36
    expect_eq "packets" "$(awk '{n += $2} END {print n}' protocols.txt)" 4852
    tshark -r a.pcap -Y '_ws.malformed || data' >flagged.txt 2>tshark.err || fail "tshark: $(cat tshark.err)"
    expect_eq "malformed or undecoded packets" "$(wc -l <flagged.txt)" 0
    # Times of the first and last exported message from their log headers (0xB0ED at 02:11:40.9854558,
    # 0xB0C0 at 05:00:12.4843855), to the millisecond the item store keeps.
    tshark -r a.pcap -T fields -e frame.time_epoch >times.txt 2>/dev/null
    expect_eq "first packet time" "$(head -n 1 times.txt)" 1438395100.985000000
    expect_eq "last packet time" "$(tail -n 1 times.txt)" 1438405212.484000000
    # Direction and radio context (facts page counts): uplink are the 360 UL-DCCH records (GSMTAP uplink flag,
    # or the exported PDU's direction), none of the DL-DCCH; UMTS NAS 16, GPRS 6 and GSM RR 4 + 7 (DCCH and
    # SACCH) uplink layer-3 messages; EARFCN 1825 (39 records) and 1650 (21) in the GSMTAP ARFCN field.
    for expected in "(gsmtap.uplink == 1 || exported_pdu.p2p_dir == 0) && lte-rrc.UL_DCCH_Message_element:360" \
        "(gsmtap.uplink == 1 || exported_pdu.p2p_dir == 0) && lte-rrc.DL_DCCH_Message_element:0" \
        "gsmtap.uplink == 1 && gsm_a.dtap:33" "lte_rrc && gsmtap.arfcn == 1825:39" \
        "lte_rrc && gsmtap.arfcn == 1650:21"; do
        expect_eq "${expected%:*}" "$(tshark -r a.pcap -Y "${expected%:*}" 2>/dev/null | wc -l)" "${expected##*:}"
    done
}

real_streams() {
    # tests/data/raw_diag_stream_b.bin: 19 frames with good check sequences.
    "$palvorin" record "$data/raw_diag_stream_b.bin" b.isf >b.txt
    expect_eq "frames of stream b" "$(field frames b.txt)" 19
    expect_eq "bad frames of stream b" "$(field 'bad frames' b.txt)" 0
    "$palvorin" verify b.isf
    # Its 18 NR RRC logs (0xB821, version 8) go to the NR RRC dissector; items keep the wrapper's subscription.
    "$palvorin" pcap b.isf b.pcap | tee pcap.txt
    decoded_protocols b.pcap protocols.txt
    expect_eq "NR RRC" "$(count_of nr-rrc protocols.txt)" 18
    expect_eq "packets" "$(awk '{n += $2} END {print n}' protocols.txt)" 18
    tshark -r b.pcap -Y '_ws.malformed || data' >flagged.txt 2>/dev/null
    expect_eq "malformed or undecoded packets" "$(wc -l <flagged.txt)" 0
    "$palvorin" dump b.isf >dump.txt
    expect_eq "wrapped NR RRC logs" "$(grep -c '  sub 1  log 0xB821  .*msg NR RRC' dump.txt)" 18
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

# Frames the packets of a text file, one in hex a line ('#' lines are comments), into a raw stream.
frame_hex() {
    python3 - "$1" "$2" <<'PY'
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
}

real_wcdma() {
    # tests/data/wcdma_412f.txt: 623 real WCDMA RRC logs as hex lines, framed here into a raw stream.
    command -v python3 >/dev/null || { echo "no python3 to frame the capture: skipped"; exit 77; }
    frame_hex "$data/wcdma_412f.txt" stream.bin
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
        expect_eq "$name" "$(sed -n "s/^ *WCDMA RRC $name  *\([0-9]*\)\$/\1/p" pcap.txt)" "$count"
    done
    grep -q "no decoder for WCDMA RRC SysInfo extension type  *28$" pcap.txt || fail "extension blocks not skipped"
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

# The time of each recorded item: its log packet's own timestamp; a log whose timestamp is 0 (a device that
# leaves the field unset) and a packet that is no log take the time of the item before them, or the time
# their chunk was read when nothing came before.
packet_times() {
    command -v python3 >/dev/null || { echo "no python3 to frame the packets: skipped"; exit 77; }
    cat >packets.txt <<'HEX'
# LTE RRC logs (0xB0C0) of timestamp 0, of the formats page's worked example (2015-08-01 02:11:40.984841),
# and of 0 again; then a time-stamp response, which is no log.
10000e000e00c0b0 0000000000000000 080a
10000e000e00c0b0 8ea793c2a511d100 080a
10000e000e00c0b0 0000000000000000 080a
1d 8ea793c2a511d100
HEX
    frame_hex packets.txt stream.bin
    "$palvorin" record stream.bin out.isf >/dev/null
    "$palvorin" dump --json out.isf >dump.json
    # Item 0 is the tool-version record, stamped with the host's time when the file was opened.
    python3 - <<'PY' || fail "item times: $(cat dump.json)"
import json
items = json.load(open("dump.json"))
times = [item["time_utc"] for item in items]
assert len(items) == 5, len(items)
assert abs(items[1]["unix_time"] - items[0]["unix_time"]) < 60, "the first log is not stamped when read"
assert times[2:] == ["2015-08-01T02:11:40.984Z"] * 3, times
PY
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
    # Opened for reading too, so that opening it never waits for the recorder.
    exec 3<>pipe
    timeout "$step_limit" cat stream.bin >&3
    # The writer stays open: only the signal ends the recording. Wait until every frame is in the file
    # (all items but the kept health response, which closing writes again).
    dumped_at_least() { [ "$("$palvorin" dump out.isf 2>/dev/null | wc -l)" -ge "$1" ]; }
    wait_until 30 dumped_at_least "$((items - 1))" || true
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
    for command in "" record capture devices dump verify pcap sample; do
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
    check "missing does not exist" "$palvorin" capture missing out.isf
    check "stream.bin is a regular file, not a device (palvorin record reads files)" "$palvorin" capture stream.bin out.isf
    check "unknown log group or code 'lite'" "$palvorin" capture --logs lte,lite /dev/null out.isf
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
    source_errors
}

# Arguments of record and capture that are wrong: each is said in one line, and the output file that was
# there stays as it was.
source_errors() {
    cp out.isf keep.isf
    cp out.isf keep.copy
    check "cannot send GSMTAP to \[::1: the IPv6 address lacks its closing bracket" \
        "$palvorin" record stream.bin keep.isf --gsmtap "[::1"
    check "cannot send GSMTAP to \[::1: the IPv6 address lacks its closing bracket" \
        "$palvorin" capture /dev/null keep.isf --gsmtap "[::1"
    check "rotate-size is at least 64K" "$palvorin" record --rotate-size 10K stream.bin keep.isf
    check "rotate-size takes a size such as 512M" "$palvorin" record --rotate-size 5X stream.bin keep.isf
    check "rotate-time takes a duration such as 30m" "$palvorin" capture --rotate-time 1w /dev/null keep.isf
    check "reconnect-timeout takes a duration" "$palvorin" capture --reconnect --reconnect-timeout soon /dev/null keep.isf
    check "reconnect-timeout requires --reconnect" "$palvorin" capture --reconnect-timeout 5m /dev/null keep.isf
    check "tcp:localhost: tcp:HOST:PORT needs a host and a port" "$palvorin" capture tcp:localhost keep.isf
    check "tcp:localhost:0: tcp:HOST:PORT needs a host and a port from 1 to 65535" "$palvorin" record tcp:localhost:0 keep.isf
    check "usb:xyz: usb takes :VID:PID" "$palvorin" capture usb:xyz keep.isf
    check "timeout: Value 1e300 not in range" "$palvorin" capture --timeout 1e300 /dev/null keep.isf
    check "timeout: Value 0.0001 not in range" "$palvorin" capture --timeout 0.0001 /dev/null keep.isf
    check "tcp:127.0.0.1:9: cannot connect: Connection refused" "$palvorin" capture tcp:127.0.0.1:9 keep.isf
    cmp -s keep.isf keep.copy || fail "a bad argument changed the output file"
}

# The capture tables of a real dual-SIM capture (tests/data): serving cells, events, messages and measurements
# in each format, against tshark's decode of the same file's pcap export.
tables() {
    "$palvorin" record "$data/dualsim_5g_20201116_195935.bin" d.isf >/dev/null
    "$palvorin" pcap d.isf d.pcap >pcap.txt
    "$palvorin" cells --csv d.isf >cells.csv 2>cells.txt
    "$palvorin" cells --json d.isf >cells.json 2>/dev/null
    "$palvorin" cells d.isf >cells.text 2>/dev/null
    cat cells.txt
    grep -q "^cells of d.isf: 47 serving-cell periods$" cells.txt || fail "cells summary: $(head -n 1 cells.txt)"
    head -n 1 cells.csv | grep -qx "from_utc,to_utc,subscription,technology,arfcn,pci,cell_id,tac,mcc,mnc,band,bandwidth_mhz,entered_by,rsrp_median_dbm,rsrq_median_db,measurements" ||
        fail "cells columns: $(head -n 1 cells.csv)"
    head -n 1 cells.text | grep -q "^from_utc  *to_utc  *subscription  technology  arfcn  pci  " ||
        fail "cells text header: $(head -n 1 cells.text)"
    expect_eq "cells as text" "$(($(wc -l <cells.text) - 1))" 47
    # The targets of the handover commands as tshark decodes them, in order.
    tshark -r d.pcap -Y lte-rrc.mobilityControlInfo_element -T fields -e lte-rrc.targetPhysCellId \
        -e lte-rrc.dl_CarrierFreq >targets.txt 2>tshark.err || fail "tshark: $(cat tshark.err)"
    expect_eq "handover commands" "$(wc -l <targets.txt)" 21
    "$palvorin" events --json d.isf >events.json 2>events.txt
    "$palvorin" events --csv d.isf >events.csv 2>/dev/null
    python3 - <<'PY' || fail "tables disagree"
import csv, json, re
cells = list(csv.DictReader(open("cells.csv")))
assert cells == [{k: ("" if v is None else str(v)) for k, v in row.items()} for row in json.load(open("cells.json"))], "csv and json"
time = re.compile(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
assert all(time.match(c["from_utc"]) and time.match(c["to_utc"]) and c["from_utc"] <= c["to_utc"] for c in cells)
for sub, entries in (("1", ["first"] + ["handover"] * 21), ("2", ["first"] + ["reselection"] * 24)):
    assert [c["entered_by"] for c in cells if c["subscription"] == sub] == entries, sub
events = json.load(open("events.json"))
assert events == [{k: (None if v == "" else int(v) if k == "subscription" else v) for k, v in row.items()}
                  for row in csv.DictReader(open("events.csv"))], "json and csv"
targets = ["pci %s earfcn %s" % tuple(line.split()) for line in open("targets.txt")]
handovers = [e for e in events if e["event"] == "handover"]
assert [e["detail"].split(" -> ")[1] for e in handovers] == targets, "handover targets"
sub1 = [c for c in cells if c["subscription"] == "1"]
assert ["pci %s earfcn %s" % (c["pci"], c["arfcn"]) for c in sub1[1:]] == targets, "cells after the handovers"
assert [e["time_utc"] for e in events] == sorted(e["time_utc"] for e in events), "events in time order"
PY
    # dump names measurement and cell logs as it names signalling.
    "$palvorin" dump d.isf >dump.txt
    grep -q "sub 1  log 0xB0C2  meas LTE serving cell info$" dump.txt || fail "dump names no serving-cell log"
    grep -q "sub 2  log 0xB0C1  meas LTE MIB$" dump.txt || fail "dump names no MIB"
    "$palvorin" dump --json d.isf >dump.json
    grep -q '"log_code":45250,"measurement":"LTE serving cell info"' dump.json ||
        fail "dump --json names no serving-cell log"
    # One message row per exported packet; the messages as hex.
    "$palvorin" messages --csv d.isf >messages.csv 2>messages.txt
    expect_eq "messages" "$(($(wc -l <messages.csv) - 1))" "$(field exported pcap.txt)"
    grep -q "^2020-11-16T11:56:24.678Z,1,lte,LTE RRC DL-DCCH,dl,38400,225,0xB0C0,221b" messages.csv ||
        fail "the handover command's row"
    # Every item is accounted for: the counts under "items read" add up to it.
    "$palvorin" measurements d.isf >measurements.text 2>measurements.txt
    cat measurements.txt
    for summary in cells.txt events.txt messages.txt measurements.txt; do
        awk '/^  items read/ {items = $3} /^  [a-z]/ && !/^  items read/ {sum += $NF ~ /^[0-9]+$/ ? $NF : $(NF-2)}
             END {exit items == sum ? 0 : 1}' "$summary" || fail "$summary does not account for every item"
    done
}

# Errors of the table commands: one line on standard error, exit status 1 (2 for a wrong command line).
table_errors() {
    for command in measurements cells events messages; do
        "$palvorin" "$command" --help >help.txt || fail "--help of $command"
        grep -q -- "--csv" help.txt && grep -q -- "--json" help.txt || fail "$command --help: $(cat help.txt)"
    done
    table_check() {
        local expected="$1"
        shift
        local status=0
        "$palvorin" "$@" >out.txt 2>err.txt || status=$?
        expect_eq "exit status of '$*'" "$status" 1
        expect_eq "error lines of '$*'" "$(wc -l <err.txt)" 1
        grep -q "$expected" err.txt || fail "'$*' said: $(cat err.txt)"
    }
    table_check "missing.isf" cells missing.isf
    printf 'no item store file, no diagnostic stream either\n' >text.isf
    table_check "not a readable item store file" events text.isf
    # A raw stream is read through a temporary recording, made as record makes one and left nowhere.
    mkdir -p scratch
    "$palvorin" record -q "$data/raw_diag_stream_b.bin" b.isf >/dev/null
    "$palvorin" messages --csv b.isf >from_isf.csv 2>/dev/null
    TMPDIR="$PWD/scratch" "$palvorin" messages --csv "$data/raw_diag_stream_b.bin" >from_raw.csv 2>raw_err.txt ||
        fail "messages of a raw stream: $(cat raw_err.txt)"
    cmp -s from_isf.csv from_raw.csv || fail "a raw stream's messages differ from its recording's"
    expect_eq "messages of the raw stream" "$(wc -l <from_raw.csv)" 19
    grep -q "raw_diag_stream_b.bin: a raw diagnostic stream, 19 frames (0 bad)" raw_err.txt ||
        fail "no note of the temporary recording: $(cat raw_err.txt)"
    expect_eq "files left in TMPDIR" "$(ls scratch | wc -l)" 0
    TMPDIR="$PWD/missing-dir" "$palvorin" cells "$data/raw_diag_stream_b.bin" >/dev/null 2>err.txt && fail "no room for the recording"
    grep -q "cannot create a temporary file in $PWD/missing-dir" err.txt || fail "temporary file error: $(cat err.txt)"
    : >empty.isf
    table_check "empty.isf" measurements empty.isf
    local status=0
    "$palvorin" cells --csv --json missing.isf >/dev/null 2>&1 || status=$?
    expect_eq "--csv with --json" "$status" 2
    "$palvorin" record "$data/raw_diag_stream_b.bin" b.isf >/dev/null
    status=0
    "$palvorin" messages b.isf >/dev/full 2>err.txt || status=$?
    expect_eq "exit status to a full disk" "$status" 1
    grep -q "writing the messages table failed: No space left on device" err.txt || fail "to a full disk: $(cat err.txt)"
}

# Live capture against the modem simulator, which streams real capture A (tests/data/raw_diag_stream_a.bin).
# The log packets of capture A as "length code" lines, read with a decoder of this script's own.
stream_a_logs() {
    python3 - "$data/raw_diag_stream_a.bin" <<'PY'
import sys
raw = open(sys.argv[1], "rb").read()[7:]  # 7 stray bytes before the first frame
def fcs_good(frame):  # CRC-16/X-25 over the packet and its two check bytes leaves 0xF0B8
    crc = 0xFFFF
    for byte in frame:
        crc ^= byte
        for _ in range(8):
            crc = (crc >> 1) ^ 0x8408 if crc & 1 else crc >> 1
    return crc == 0xF0B8
for chunk in raw.split(b"\x7e"):
    out, escape = bytearray(), False
    for byte in chunk:
        if escape:
            out.append(byte ^ 0x20); escape = False
        elif byte == 0x7D:
            escape = True
        else:
            out.append(byte)
    if len(out) > 18 and fcs_good(out) and out[0] == 0x10:
        print(len(out) - 2, "0x%04X" % (out[6] | out[7] << 8))
PY
}
# The log packets of an ISF file in the same form, less the tool-version record.
stored_logs() {
    "$palvorin" dump "$1" | sed -n 's/^ *[0-9]*  [^ ]*  [^ ]* *\([0-9]*\)  aux [^ ]* *log \(0x[0-9A-F]*\).*/\1 \2/p' |
        grep -v ' 0x1FFD$' || true
}
stored_at_least() {
    [ "$(stored_logs out.isf 2>/dev/null | wc -l)" -ge "$1" ]
}

# Starts the simulator in the background, serving capture A in the mode given by the arguments, and waits
# for the name of its terminal, which it writes whole into a file of this start's own: never a name left by
# an earlier step. Leaves the name in $port and the pid in $sim; the simulator logs into sim.log.
# How the simulator is reached (ModemSimulator.cpp): a terminal by default, or --link PATH, --tcp,
# --socket PATH.
simulator_starts=0
sim_transport=()
start_simulator() {
    simulator_starts=$((simulator_starts + 1))
    local named="port.$simulator_starts"
    rm -f sim.log sim.log.wire "$named"
    "$simulator" ${sim_transport[@]+"${sim_transport[@]}"} "$data/raw_diag_stream_a.bin" sim.log "$named" "$@" \
        2>sim.err &
    sim=$!
    wait_until 10 test -s "$named" || true
    port="$(cat "$named" 2>/dev/null)" || true
    [ -n "$port" ] || fail "the simulator named no terminal: $(cat sim.err)"
}

# Runs the simulator in MODE and `palvorin capture` on its terminal with ARGS. With a SIGNAL (not -), waits
# until the simulator has streamed everything and the tool has stored it (WANT log packets), then sends it.
# Leaves sim.log, cap.txt, cap.err, out.isf and the exit status in $status.
run_capture() {
    local mode="$1" signal="$2" want="$3"
    shift 3
    rm -f out.isf
    start_simulator $mode
    "$palvorin" capture --timeout 0.3 "$@" "$port" out.isf >cap.txt 2>cap.err &
    local tool=$!
    if [ "$signal" != - ]; then
        wait_until 30 grep -q '^streamed' sim.log || true
        wait_until 20 stored_at_least "$want" || true
        kill "-$signal" "$tool"
    fi
    status=0
    wait "$tool" || status=$?
    wait "$sim"
    cat cap.txt cap.err
    "$palvorin" verify out.isf >/dev/null || fail "$mode $signal: the file is not closed and consistent"
}

capture() {
    [ -n "$simulator" ] && command -v python3 >/dev/null || { echo "no simulator or python3: skipped"; exit 77; }
    stream_a_logs >all.txt
    expect_eq "log packets of capture A" "$(wc -l <all.txt)" 5484

    # Stopped by each signal: configured in order, every packet stored in order, logging off at the end.
    for signal in INT TERM HUP; do
        run_capture normal "$signal" 5484 --logs all
        expect_eq "exit status after SIG$signal" "$status" 0
        grep -q "stopped by SIG$signal" cap.txt || fail "no word of SIG$signal"
        expect_eq "requests" "$(cut -d' ' -f1,2 sim.log | grep -v '^streamed' | head -n 9 | tr '\n' ,)" \
            "disable,debug-text 0,ranges,mask 1,mask 4,mask 5,mask 7,mask 11,disable,"
        stored_logs out.isf >stored.txt
        cmp -s stored.txt all.txt || fail "SIG$signal: stored packets differ from capture A: $(diff stored.txt all.txt | head -3)"
        grep -q "^bad" sim.log && fail "a request was badly framed or invalid"
        # The first three requests as the formats page gives them framed: logging off, debug text off (the
        # command byte escaped), get ID ranges.
        expect_eq "requests on the wire" "$(head -c 34 sim.log.wire | od -An -tx1 | tr -d ' \n')" \
            7300000000000000da817e7d5d0500000000000074417e7300000001000000619d7e
    done

    # --logs: the codes of each group that fit the simulated handset's item counts (1: 4052, 4: 2337,
    # 5: 3585, 7: 2903, 11: 452), and the packets of capture A that carry them (counts from its description).
    while read -r logs equipment codes packets; do
        run_capture normal INT "$packets" --logs "$logs"
        grep "^mask $equipment " sim.log | cut -d' ' -f4- >mask.txt
        expect_eq "--logs $logs: mask of equipment $equipment" "$(tr ' ' , <mask.txt)" "${codes#-}"
        expect_eq "--logs $logs: other masks" "$(grep '^mask' sim.log | grep -vc "^mask $equipment ")" 4
        grep -E "^[0-9]+ ($(echo "$codes" | sed 's/\([0-9a-f]*\)/0x\U\1/g; s/,/|/g'))$" all.txt >want.txt || true
        stored_logs out.isf >stored.txt
        expect_eq "--logs $logs: packets" "$(wc -l <stored.txt)" "$packets"
        cmp -s stored.txt want.txt || fail "--logs $logs: stored packets differ"
    done <<'TABLE'
lte 11 b0c0,b0c1,b0c2,b0e0,b0e1,b0e2,b0e3,b0ea,b0eb,b0ec,b0ed 4597
gsm 5 512f,5134,5226,5230,5b2f 387
umts 7 713a,7b3a 27
wcdma 4 4127,412f 0
nr 11 - 0
TABLE

    # Garbage between frames, answers with bad check sequences, runs longer than any frame: skipped.
    run_capture noisy INT 5484 --logs all
    expect_eq "noisy: exit status" "$status" 0
    [ "$(field 'bad frames' cap.txt)" -ge 27 ] || fail "noisy: the damaged frames are not counted"
    stored_logs out.isf >stored.txt
    cmp -s stored.txt all.txt || fail "noisy: stored packets differ"
    # The whole capture went out faster than the terminal takes it: the writer found it full.
    [ "$(sed -n 's/^waited //p' sim.log)" -gt 0 ] || fail "the burst never filled the terminal"

    # A handset that goes away mid-stream.
    run_capture "vanish 1000" - 0 --logs all
    [ "$status" -ne 0 ] || fail "vanished: exit status 0"
    grep -q "disappeared" cap.err || fail "vanished: no clear error"
    stored_logs out.isf >stored.txt
    [ -s stored.txt ] && cmp -s stored.txt <(head -n "$(wc -l <stored.txt)" all.txt) ||
        fail "vanished: the stored packets are not the first ones sent"

    # A port in use is refused: the second capture starts once the first has sent its first request.
    start_simulator normal
    "$palvorin" capture -q "$port" first.isf >/dev/null 2>&1 &
    local first=$!
    wait_until 10 grep -q '^disable' sim.log || true
    status=0
    "$palvorin" capture "$port" second.isf 2>cap.err || status=$?
    kill -INT "$first"
    wait "$first" "$sim" || true
    [ "$status" -ne 0 ] && grep -q "is busy" cap.err || fail "a busy port: $(cat cap.err)"
}

# What a handset may answer instead of what was asked: nothing, or an error reply.
capture_answers() {
    [ -n "$simulator" ] || { echo "no simulator: skipped"; exit 77; }
    run_capture silent - 0
    [ "$status" -ne 0 ] || fail "silent: exit status 0"
    grep -q "did not answer the request to turn logging off" cap.err || fail "silent: no clear error"
    # A refusal of the mask of the last equipment: the logging off follows it.
    run_capture refuse-mask - 0
    [ "$status" -ne 0 ] || fail "refused mask: exit status 0"
    grep -q "refused the request to set the log mask of equipment 11: bad parameter (0x14)" cap.err ||
        fail "refused mask: no clear error"
    expect_eq "refused mask: last request" "$(grep -v '^sent\|^waited' sim.log | tail -n 1)" disable
    # Each error reply the tool knows, to its first request: a refusal named with its code, not retried (the
    # second request is the logging off on the way out). The codes just outside the error replies answer
    # nothing: three tries, then the logging off.
    while read -r code requests says; do
        run_capture "refuse $code" - 0
        [ "$status" -ne 0 ] || fail "error reply $code: exit status 0"
        grep -q "$says" cap.err || fail "error reply $code: expected '$says'"
        expect_eq "error reply $code: requests" "$(grep -c '^refused' sim.log)" "$requests"
    done <<'TABLE'
0x13 2 refused the request to turn logging off: bad command (0x13)$
0x14 2 refused the request to turn logging off: bad parameter (0x14)$
0x15 2 refused the request to turn logging off: bad length (0x15)$
0x16 2 refused the request to turn logging off: error (0x16)$
0x17 2 refused the request to turn logging off: error (0x17)$
0x18 2 refused the request to turn logging off: bad mode (0x18)$
0x42 2 refused the request to turn logging off: bad SPC mode (0x42)$
0x47 2 refused the request to turn logging off: bad security mode (0x47)$
0x95 2 refused the request to turn logging off: bad transaction (0x95)$
0x12 4 did not answer the request to turn logging off (3 tries
0x19 4 did not answer the request to turn logging off (3 tries
TABLE
}

# Live GSMTAP while capturing and while recording: datagrams on a loopback UDP socket. Capture A's counts
# by GSMTAP type (its description): LTE RRC (13) 4,343, LTE NAS (18) 95 (0xB0E1 1, 0xB0E2 3, 0xB0E3 1,
# 0xB0EA 10, 0xB0EB 17, 0xB0EC 13, 0xB0ED 50), GSM RR 378 and UMTS NAS 27 + GPRS 9: 4,852 in all.
gsmtap_live() {
    [ -n "$simulator" ] && command -v python3 >/dev/null || { echo "no simulator or python3: skipped"; exit 77; }
    start_listener 127.0.0.1
    run_capture normal INT 5484 --logs all --debug-text --gsmtap "127.0.0.1:$udp_port"
    grep -q "^debug-text" sim.log && fail "--debug-text: the debug text was silenced"
    stop_listener
    expect_eq "LTE NAS datagrams while capturing" "$(sed -n 's/^18 //p' udp.txt)" 95
    expect_eq "LTE RRC datagrams while capturing" "$(sed -n 's/^13 //p' udp.txt)" 4343
    expect_eq "datagrams while capturing" "$(awk '{n += $2} END {print n}' udp.txt)" 4852
    grep -q "^-1 " udp.txt && fail "datagrams without a GSMTAP header"
    grep -q "gsmtap .* 0 dropped" cap.txt || fail "datagrams dropped"
    # While recording, to an IPv4 and an IPv6 address in brackets.
    for host in 127.0.0.1 ::1; do
        start_listener "$host" || { echo "no IPv6 loopback: [$host] skipped"; continue; }
        "$palvorin" record "$data/raw_diag_stream_a.bin" out.isf --gsmtap "[$host]:$udp_port" >rec.txt
        stop_listener
        expect_eq "datagrams to [$host] while recording" "$(awk '{n += $2} END {print n}' udp.txt)" 4852
    done
    # Nobody listening: the recording goes on.
    "$palvorin" record "$data/raw_diag_stream_a.bin" out.isf --gsmtap 127.0.0.1:9 >rec.txt
    "$palvorin" verify out.isf
}

db_add() {
    # Two real captures into a SQLite campaign database, a bad file between them; then again.
    "$palvorin" record "$data/raw_diag_stream_a.bin" a.isf >/dev/null
    "$palvorin" record "$data/raw_diag_stream_b.bin" b.isf >/dev/null
    echo "not an item store file" >bad.isf
    set +e
    "$palvorin" db add campaign.db a.isf bad.isf b.isf >add.txt 2>&1
    status=$?
    set -e
    cat add.txt
    expect_eq "exit status with a bad file" "$status" 1
    grep -q "^a.isf: added as file 1: 5502 items; rows: 4852 messages " add.txt || fail "a.isf not added"
    grep -q "^bad.isf: failed: bad.isf: not a readable item store file" add.txt || fail "bad.isf not reported"
    grep -q "^b.isf: added as file 2: .* 18 messages " add.txt || fail "b.isf not added after the bad file"
    grep -q "^3 files: 2 added, 0 already present, 1 failed$" add.txt || fail "summary"
    # The messages of a file are those tshark decodes in its export.
    "$palvorin" pcap a.isf a.pcap >/dev/null
    decoded="$(tshark -r a.pcap 2>/dev/null | wc -l)"
    expect_eq "messages of a.isf" "$(sqlite3 campaign.db 'SELECT count(*) FROM messages WHERE file_id = 1')" "$decoded"
    expect_eq "files" "$(sqlite3 campaign.db 'SELECT group_concat(path) FROM files')" "$(pwd -P)/a.isf,$(pwd -P)/b.isf"
    # A new database is loaded without its indexes and gets them at the end: by file, time and cell.
    expect_eq "indexes" "$(sqlite3 campaign.db "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND name LIKE '%_by_%'")" 11
    sqlite3 campaign.db "EXPLAIN QUERY PLAN SELECT * FROM messages WHERE arfcn = 37900 AND pci = 337" |
        grep -q "USING INDEX messages_by_cell" || fail "a query by cell does not use the index"
    "$palvorin" db add campaign.db b.isf a.isf >again.txt
    cat again.txt
    grep -q "^b.isf: already present as file 2$" again.txt || fail "b.isf added again"
    grep -q "^2 files: 0 added, 2 already present, 0 failed$" again.txt || fail "second summary"
    "$palvorin" db add campaign.db b.isf | grep -q "^1 file: 0 added, 1 already present, 0 failed$" ||
        fail "summary of one file"
    expect_eq "messages after the second run" "$(sqlite3 campaign.db 'SELECT count(*) FROM messages')" 4870
    # A database that cannot be used stops the command before any file.
    echo "text" >notes.db
    if "$palvorin" db add notes.db a.isf >notes.txt 2>&1; then
        fail "a text file taken as a database"
    fi
    grep -q "notes.db: not a SQLite database" notes.txt || fail "no reason: $(cat notes.txt)"
    "$palvorin" db --help | grep -q "add" || fail "db --help names no add"
}

# A GSMTAP listener in the background on a UDP port of HOST, in $udp_port; false when HOST cannot be bound.
# It counts the datagrams by GSMTAP type (-1: not GSMTAP) until stop_listener, which leaves them in udp.txt.
start_listener() {
    rm -f udp_port udp_port.tmp udp.txt udp.stop
    python3 - "$1" <<'PY' &
import collections, os, socket, sys
host = sys.argv[1]
s = socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET, socket.SOCK_DGRAM)
try:  # room for the whole burst; above the system's limit only for root
    s.setsockopt(socket.SOL_SOCKET, 33, 32 << 20)  # SO_RCVBUFFORCE
except OSError:
    s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 32 << 20)
try:
    s.bind((host, 0))
    port = str(s.getsockname()[1])
except OSError:
    port = "none"
open("udp_port.tmp", "w").write(port)
os.rename("udp_port.tmp", "udp_port")
if port == "none":
    sys.exit(0)
# Every datagram sent before the stop is in the socket's queue already: read until it is empty.
s.settimeout(0.1)
types = collections.Counter()
while True:
    try:
        data = s.recv(65536)
    except socket.timeout:
        if os.path.exists("udp.stop"):
            break
        continue
    types[data[2] if len(data) > 16 and data[0] == 2 and data[1] == 4 else -1] += 1
open("udp.tmp", "w").write("".join("%d %d\n" % kv for kv in sorted(types.items())))
os.rename("udp.tmp", "udp.txt")
PY
    listener=$!
    wait_until 10 test -s udp_port || true
    udp_port="$(cat udp_port 2>/dev/null)" || true
    [ -n "$udp_port" ] || fail "the listener named no port"
    if [ "$udp_port" = none ]; then
        wait "$listener"
        return 1
    fi
}
stop_listener() {
    touch udp.stop
    wait "$listener"
    cat udp.txt
}

# The packets of capture A that the default log set switches on: its signalling logs and the serving-cell
# logs 0xB0C1 and 0xB0C2 (counts from its description: 4,343 + 97 + 62 + 95 + 378 + 9 + 27).
default_logs() {
    grep -E ' 0x(B0C0|B0C1|B0C2|B0E1|B0E2|B0E3|B0EA|B0EB|B0EC|B0ED|512F|5230|713A)$' all.txt
}

# A capture over TCP with the default log set: configured with event reports, every chosen packet stored
# once in order, and its signalling messages exported.
capture_tcp() {
    [ -n "$simulator" ] && command -v python3 >/dev/null || { echo "no simulator or python3: skipped"; exit 77; }
    stream_a_logs >all.txt
    default_logs >want.txt
    expect_eq "packets of the default set" "$(wc -l <want.txt)" 5011
    sim_transport=(--tcp)
    run_capture normal INT 5011
    expect_eq "exit status" "$status" 0
    case "$port" in tcp:127.0.0.1:*) ;; *) fail "not a TCP port: $port" ;; esac
    expect_eq "requests" "$(cut -d' ' -f1,2 sim.log | grep -v '^streamed' | head -n 11 | tr '\n' ,)" \
        "disable,debug-text 0,ranges,mask 1,mask 4,mask 5,mask 7,mask 11,events 1,events 0,disable,"
    grep -q "event reports on" cap.txt || fail "event reports not said to be on"
    stored_logs out.isf >stored.txt
    cmp -s stored.txt want.txt || fail "stored packets differ: $(diff stored.txt want.txt | head -3)"
    "$palvorin" verify out.isf
    "$palvorin" pcap out.isf out.pcap | tee pcap.txt
    grep -q "^exported 4852 messages" pcap.txt || fail "not the 4,852 messages of capture A"
    tshark -r out.pcap -T fields -e frame.number >decoded.txt 2>tshark.err || fail "tshark: $(cat tshark.err)"
    expect_eq "packets tshark reads" "$(wc -l <decoded.txt)" 4852
}

# A device that is not a terminal, reached through a socket file, and a FIFO that carries one direction.
capture_socket() {
    [ -n "$simulator" ] && command -v python3 >/dev/null || { echo "no simulator or python3: skipped"; exit 77; }
    stream_a_logs >all.txt
    sim_transport=(--socket sim.sock)
    run_capture normal INT 5484 --logs all
    expect_eq "exit status" "$status" 0
    expect_eq "port" "$port" sim.sock
    stored_logs out.isf >stored.txt
    cmp -s stored.txt all.txt || fail "stored packets differ: $(diff stored.txt all.txt | head -3)"
    # The FIFO's writer sends the whole capture and closes it: the capture ends with it, configured nothing.
    mkfifo fifo
    "$palvorin" capture fifo fifo.isf >fifo.txt 2>fifo.err &
    local tool=$!
    timeout 10 cp "$data/raw_diag_stream_a.bin" fifo
    status=0
    wait "$tool" || status=$?
    cat fifo.txt fifo.err
    expect_eq "FIFO: exit status" "$status" 0
    grep -q "fifo carries one direction: nothing is configured" fifo.txt || fail "FIFO: configured"
    expect_eq "FIFO: frames" "$(field frames fifo.txt)" 5501
    "$palvorin" verify fifo.isf
}

# A device unplugged after 2,000 packets and plugged in again 1.5 s later, over TCP and as a terminal whose
# name is a link: the capture waits, configures it again and records the rest into the same file.
reconnect() {
    [ -n "$simulator" ] && command -v python3 >/dev/null || { echo "no simulator or python3: skipped"; exit 77; }
    stream_a_logs >all.txt
    for transport in --tcp --link; do
        if [ "$transport" = --link ]; then sim_transport=(--link "$work/modem.link"); else sim_transport=(--tcp); fi
        run_capture "unplug 2000 1500" INT 5484 --logs all --reconnect --reconnect-timeout 20s
        expect_eq "$transport: exit status" "$status" 0
        grep -q "^unplugged" sim.log && grep -q "^plugged" sim.log || fail "$transport: never unplugged"
        grep -q "disappeared" cap.err && grep -q "is back after" cap.err || fail "$transport: no word of the gap"
        expect_eq "$transport: configured" "$(grep -c '^ranges' sim.log)" 2
        grep -q "^  gaps             1 (the source was away" cap.txt || fail "$transport: the gap is not counted"
        stored_logs out.isf >stored.txt
        cmp -s stored.txt all.txt || fail "$transport: stored packets differ: $(diff stored.txt all.txt | head -3)"
    done
    # Without --reconnect the capture ends at the unplug, its file closed.
    sim_transport=(--tcp)
    run_capture "unplug 2000 1500" - 0 --logs all
    [ "$status" -ne 0 ] || fail "unplugged without --reconnect: exit status 0"
    grep -q "disappeared: the other side closed the connection" cap.err || fail "no clear error"
}

# A stop signal on an input that is always readable stops the recording within a second, with the file
# closed; a capture from a device that only ever sends zeros stops too (waiting up to 1 s for logging off).
stop_busy() {
    for command in record capture; do
        "$palvorin" $command -q /dev/zero zeros.isf >zeros.txt 2>zeros.err &
        local tool=$!
        sleep 0.5
        local start end
        start="$(date +%s%N)"
        kill -INT "$tool"
        status=0
        wait "$tool" || status=$?
        end="$(date +%s%N)"
        cat zeros.txt zeros.err
        local took=$(((end - start) / 1000000))
        echo "$command: stopped $took ms after SIGINT"
        expect_eq "$command: exit status" "$status" 0
        grep -q "stopped by SIGINT" zeros.txt || fail "$command: no word of the signal"
        local limit=1000
        [ "$command" = record ] || limit=2000
        [ "$took" -lt "$limit" ] || fail "$command: $took ms to stop"
        "$palvorin" verify zeros.isf
    done
}

# A file-size limit: a clear error naming it, and a file that holds every item stored before it.
file_limit() {
    status=0
    (ulimit -f 100 && "$palvorin" record -q "$data/raw_diag_stream_a.bin" limited.isf >limited.txt 2>limited.err) ||
        status=$?
    cat limited.txt limited.err
    expect_eq "exit status" "$status" 1
    grep -q "writing limited.isf failed: File too large (the file-size limit, ulimit -f, allows 102400 bytes)" \
        limited.err || fail "the limit is not named"
    [ "$(stat -c %s limited.isf)" -le 102400 ] || fail "the file passed the limit"
    "$palvorin" verify --allow-unclosed limited.isf | tee verify.txt
    items="$(sed -n 's/.*consistent: \([0-9]*\) items.*/\1/p' verify.txt)"
    [ "${items:-0}" -gt 100 ] || fail "too few items kept"
}

# The items of ISF files as dump lines without their index, less the tool-version records.
items_of() {
    for file in "$@"; do
        "$palvorin" dump "$file" | sed 's/^ *[0-9]*  //' | grep -v ' log 0x1FFD$'
    done
}

# Rotation: each file closed and consistent, together every item of the recording once; standard input.
rotation() {
    "$palvorin" record -q "$data/raw_diag_stream_a.bin" whole.isf >whole.txt
    items_of whole.isf >whole.items
    expect_eq "items of capture A" "$(wc -l <whole.items)" 5501
    "$palvorin" record -q --rotate-size 100K "$data/raw_diag_stream_a.bin" rot.isf >rot.txt
    cat rot.txt
    files=(rot.isf rot-0*.isf)
    [ "${#files[@]}" -ge 3 ] || fail "only ${#files[@]} files"
    grep -q "^  files            ${#files[@]}: rot.isf" rot.txt || fail "the summary does not list the files"
    for file in "${files[@]}"; do
        "$palvorin" verify "$file" | grep -q "consistent: .* closed with its table and trailer" || fail "$file"
    done
    items_of "${files[@]}" >rot.items
    cmp -s rot.items whole.items || fail "the rotated files differ: $(diff rot.items whole.items | head -3)"
    # Standard input, from a file and from a pipe.
    "$palvorin" record -q - stdin.isf <"$data/raw_diag_stream_a.bin" >stdin.txt
    items_of stdin.isf >stdin.items
    cmp -s stdin.items whole.items || fail "standard input differs"
    cat "$data/raw_diag_stream_a.bin" | "$palvorin" record -q - pipe.isf >pipe.txt
    items_of pipe.isf >pipe.items
    cmp -s pipe.items whole.items || fail "a pipe differs"
}

# Devices and USB on a machine with no phone: the list says what it looked for, and capture says that no
# device is there without touching the output file.
devices_usb() {
    "$palvorin" devices | tee devices.txt
    grep -q "^Serial ports and character devices" devices.txt || fail "no serial section"
    grep -q "^USB interfaces with a diagnostic port" devices.txt || fail "no USB section"
    "$palvorin" sample keep.isf >/dev/null
    cp keep.isf keep.copy
    status=0
    "$palvorin" capture usb:0000:0001 keep.isf 2>usb.err || status=$?
    cat usb.err
    [ "$status" -ne 0 ] || fail "a capture from no device succeeded"
    grep -qE "^palvorin: usb:0000:0001: (no USB device 0000:0001|cannot use USB)" usb.err || fail "not said"
    if ! grep -q "^  usb:" devices.txt; then
        status=0
        "$palvorin" capture usb keep.isf 2>usb.err || status=$?
        cat usb.err
        [ "$status" -ne 0 ] || fail "a capture from no device succeeded"
        grep -qE "^palvorin: usb: (no USB device with a diagnostic interface|cannot use USB)" usb.err || fail "not said"
    fi
    cmp -s keep.isf keep.copy || fail "the output file was touched"
}

"$case_name"
echo "$case_name: passed"
