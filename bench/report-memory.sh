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
capture="${4:-../shared/data/real/mi/lte_bler.bin}"
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

. "$(dirname "$0")/memory-sampling.sh"

cat "$long" >/dev/null # into the page cache
echo "recording: $long, $(stat -c %s "$long") bytes ($copies copies of $(basename "$capture"))"
heading 44
row "palvorin report (1 copy)" 44 bash -c 'exec "$0" report -o "$1" "$2" 2>/dev/null' "$palvorin" \
    "$work/one.html" "$one"
row "palvorin report ($copies copies)" 44 bash -c 'exec "$0" report -o "$1" "$2" 2>/dev/null' "$palvorin" \
    "$work/long.html" "$long"
row "measurements into pandas ($copies copies)" 44 env PYTHONPATH="$build/python" /usr/bin/python3 -c \
    'import sys, palvorin; frame = palvorin.open(sys.argv[1]).measurements()' "$long"
echo "page of 1 copy: $(stat -c %s "$work/one.html") bytes; of $copies copies: $(stat -c %s "$work/long.html") bytes"
