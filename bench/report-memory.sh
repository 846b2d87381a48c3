#!/usr/bin/env bash
# Elapsed time, peak memory and page size of `palvorin report` on a recording of about 1 GB: COPIES copies
# of a real capture one after another (lte_bler.bin by default: 4,073 frames, 2,999 measured cells, 1.7 MB),
# recorded with `palvorin record --rate 100`, so that the items are spread over a long drive (600 copies:
# 2.4 M items over 6.8 hours) instead of landing on the same 36 seconds; beside it the report of one copy,
# and for comparison the measurements table of the long recording read whole into pandas (what the report
# does not do).
#
#   bench/report-memory.sh [BUILD_DIR [WORK_DIR [COPIES [CAPTURE]]]]
#
# The recording (WORK_DIR/copies-COPIES.isf) is kept for later runs. For each command the table gives the
# elapsed time, the maximum resident set size from GNU time (which counts the pages of the file's window
# that were touched) and the peak anonymous memory (RssAnon of /proc/PID/status, sampled every 10 ms).
set -euo pipefail
build="${1:-build/release}"
work="${2:-build/bench-report}"
copies="${3:-600}"
capture="${4:-/work/shared/data/real/mi/lte_bler.bin}"
palvorin="$build/palvorin"
[ -x /usr/bin/time ] || { echo "GNU time is missing (Debian package time)" >&2; exit 1; }
[ -r "$capture" ] || { echo "no capture at $capture (give one as the fourth argument)" >&2; exit 1; }
mkdir -p "$work"
long="$work/copies-$copies.isf"
one="$work/copies-1.isf"
# The capture's own first time, so that the long recording begins where the capture began.
start=1564481946
if [ ! -s "$long" ]; then
    for ((i = 0; i < copies; i++)); do cat "$capture"; done |
        "$palvorin" record -q --rate 100 --start "$start" - "$long" >/dev/null
fi
[ -s "$one" ] || "$palvorin" record -q --rate 100 --start "$start" "$capture" "$one" >/dev/null

# Runs "$@" under GNU time and samples the anonymous memory of the command itself (time's child).
# Prints: elapsed seconds, maximum resident KB, peak anonymous KB.
measure() {
    local report="$work/time.txt"
    /usr/bin/time -f '%e %M' -o "$report" "$@" &
    local timer=$!
    local child="" peak=0 key value
    while kill -0 "$timer" 2>/dev/null; do
        [ -n "$child" ] || child="$(pgrep -P "$timer" || true)"
        if [ -n "$child" ] && [ -r "/proc/$child/status" ]; then
            while IFS=: read -r key value; do
                if [ "$key" = RssAnon ]; then
                    value="${value//[^0-9]/}"
                    [ "$value" -le "$peak" ] || peak="$value"
                fi
            done <"/proc/$child/status" 2>/dev/null || true
        fi
        sleep 0.01
    done
    wait "$timer" || { echo "failed: $*" >&2; exit 1; }
    read -r elapsed maxrss <"$report"
    echo "$elapsed $maxrss $peak"
}

row() {
    local name="$1"
    shift
    local figures
    figures="$(measure "$@")"
    read -r elapsed maxrss anon <<<"$figures"
    awk -v n="$name" -v e="$elapsed" -v m="$maxrss" -v a="$anon" \
        'BEGIN { printf "%-44s %10s %12.1f %14.1f\n", n, e, m / 1024, a / 1024 }'
}

cat "$long" >/dev/null # into the page cache
echo "recording: $long, $(stat -c %s "$long") bytes ($copies copies of $(basename "$capture"))"
printf '%-44s %10s %12s %14s\n' command "elapsed s" "max RSS MB" "peak anon MB"
row "palvorin report (1 copy)" bash -c 'exec "$0" report -o "$1" "$2" 2>/dev/null' "$palvorin" \
    "$work/one.html" "$one"
row "palvorin report ($copies copies)" bash -c 'exec "$0" report -o "$1" "$2" 2>/dev/null' "$palvorin" \
    "$work/long.html" "$long"
row "measurements into pandas ($copies copies)" env PYTHONPATH="$build/python" /usr/bin/python3 -c \
    'import sys, palvorin; frame = palvorin.open(sys.argv[1]).measurements()' "$long"
echo "page of 1 copy: $(stat -c %s "$work/one.html") bytes; of $copies copies: $(stat -c %s "$work/long.html") bytes"
rm -f "$work/time.txt"
