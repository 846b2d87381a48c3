#!/usr/bin/env bash
# `palvorin record` of a real capture concatenated COPIES times (default 100), against the two-pwrite
# reference loop of the store benchmark (BM_ReferencePwrite) run in the same session, on the same disk.
#   bench/record-throughput.sh BUILD_DIR STREAM [COPIES] [RUNS]
# e.g. bench/record-throughput.sh build/release raw_diag_stream_a.bin
# The recording and the reference are timed by CPU time (user + system) as well as by the wall clock:
# on a shared machine the wall clock mostly measures the other work.
set -euo pipefail
build="$1"
stream="$2"
copies="${3:-100}"
runs="${4:-3}"
work="$(mktemp -d "${TMPDIR:-/tmp}/palvorin-record-XXXXXX")"
trap 'rm -rf "$work"' EXIT

for _ in $(seq "$copies"); do cat "$stream"; done >"$work/in.bin"
echo "input: $copies copies of $stream, $(stat -c %s "$work/in.bin") bytes"

echo "reference (two pwrite calls per item), same session:"
TMPDIR="$work" "$build/bench/palvorin_bench" --benchmark_filter='BM_ReferencePwrite$' \
    --benchmark_repetitions=3 --benchmark_report_aggregates_only=true --benchmark_min_time=0.3 \
    2>/dev/null | grep median | tee "$work/reference.txt"
# Wall-clock and CPU time per item of the reference, in ns.
read -r refWall refCPU < <(awk '{print $2, $4}' "$work/reference.txt")

TIMEFORMAT='%3U %3S %3R'
for run in $(seq "$runs"); do
    # Fixed time stamps: every run writes the same items.
    { time "$build/palvorin" record --quiet --rate 100000 --start 1767225600 "$work/in.bin" "$work/out.isf" \
        >"$work/summary.txt"; } 2>"$work/time.txt"
    items="$(sed -n 's/^ *items *\([0-9]*\)$/\1/p' "$work/summary.txt")"
    read -r user system wall <"$work/time.txt"
    awk -v run="$run" -v items="$items" -v u="$user" -v s="$system" -v w="$wall" -v rw="$refWall" \
        -v rc="$refCPU" 'BEGIN {
        cpu = items / (u + s); clock = items / w
        printf "record run %d: %d items; CPU %.3f s (user %.3f, system %.3f): %.2f M items/s, %.1fx the reference; ",
            run, items, u + s, u, s, cpu / 1e6, cpu * rc / 1e9
        printf "wall %.3f s: %.2f M items/s, %.1fx the reference\n", w, clock / 1e6, clock * rw / 1e9 }'
    "$build/palvorin" verify "$work/out.isf" >/dev/null || { echo "the recorded file is not consistent"; exit 1; }
    rm -f "$work/out.isf"
done
