#!/usr/bin/env bash
# Time of `palvorin pcap` on a recording of 100 copies of the real capture A (tests/data), beside the time of
# `palvorin record` for the same stream: best of RUNS runs each (default 5), wall-clock and CPU seconds.
#   bench/export-throughput.sh [PALVORIN] [RUNS]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
palvorin="${1:-$root/build/release/palvorin}"
runs="${2:-5}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# The capture without its 7 leading stray bytes, so that every copy starts with a whole frame.
tail -c +8 "$root/tests/data/raw_diag_stream_a.bin" >"$work/one.bin"
for _ in $(seq 100); do cat "$work/one.bin"; done >"$work/stream.bin"

# Best wall-clock and best CPU (user + system) seconds of `runs` runs of the command: "WALL CPU". The machine
# may be shared, so the CPU time is the steadier figure.
best() {
    local wall="" cpu="" times
    for _ in $(seq "$runs"); do
        times="$({ TIMEFORMAT='%R %U %S'; time "$@" >/dev/null; } 2>&1)"
        read -r w u s <<<"$times"
        wall="$(awk -v t="$w" -v b="$wall" 'BEGIN {print (b == "" || t < b) ? t : b}')"
        cpu="$(awk -v t="$(awk -v u="$u" -v s="$s" 'BEGIN {print u + s}')" -v b="$cpu" \
            'BEGIN {print (b == "" || t < b) ? t : b}')"
    done
    echo "$wall $cpu"
}

read -r record recordCPU <<<"$(best "$palvorin" record -q "$work/stream.bin" "$work/a.isf")"
read -r pcap pcapCPU <<<"$(best "$palvorin" pcap "$work/a.isf" "$work/a.pcap")"
"$palvorin" pcap "$work/a.isf" "$work/a.pcap" >"$work/summary.txt"
items="$(sed -n 's/^  items *\([0-9]*\).*/\1/p' "$work/summary.txt")"
exported="$(sed -n 's/^  exported *\([0-9]*\).*/\1/p' "$work/summary.txt")"
awk -v stream="$(stat -c %s "$work/stream.bin")" -v isf="$(stat -c %s "$work/a.isf")" \
    -v pcapsize="$(stat -c %s "$work/a.pcap")" -v items="$items" -v exported="$exported" -v runs="$runs" \
    -v record="$record" -v pcap="$pcap" -v recordCPU="$recordCPU" -v pcapCPU="$pcapCPU" 'BEGIN {
        printf "stream %.1f MB, ISF %.1f MB (%d items), pcap %.1f MB (%d messages); best of %d runs\n",
            stream / 1e6, isf / 1e6, items, pcapsize / 1e6, exported, runs
        printf "record  wall %6.3f s (%8.0f items/s, %6.1f MB/s of stream)  CPU %6.3f s (%8.0f items/s)\n",
            record, items / record, stream / 1e6 / record, recordCPU, items / recordCPU
        printf "pcap    wall %6.3f s (%8.0f items/s, %6.1f MB/s of ISF)     CPU %6.3f s (%8.0f items/s, %8.0f messages/s)\n",
            pcap, items / pcap, isf / 1e6 / pcap, pcapCPU, items / pcapCPU, exported / pcapCPU
    }'
