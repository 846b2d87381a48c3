#!/usr/bin/env bash
# Elapsed time and peak memory of `palvorin verify`, `dump` and `pcap` on a recording of at least 1 GB,
# beside `cat` of the same file (read from the page cache, like the others).
#
#   bench/reader-memory.sh [PALVORIN [WORK_DIR [SIZE_MB [plain|mixed]]]]
#
# The recording (WORK_DIR/recording-KIND.isf, kept for later runs) is `palvorin sample --size SIZE_MB`
# recorded with `palvorin record -q`: with --plain (the default) 100-byte log packets, 10.6 M items for
# 1100 MB; the mixed stream has over-the-air logs that pcap exports, and more, smaller items. For each
# command the table gives the elapsed time, the maximum resident set size from GNU time (which counts the
# pages of the mapped file that were touched) and the peak anonymous memory (RssAnon of
# /proc/PID/status, sampled every 10 ms: the memory the process allocated itself).
set -euo pipefail
palvorin="${1:-build/release/palvorin}"
work="${2:-build/bench-reader}"
size_mb="${3:-1100}"
kind="${4:-plain}"
[ -x /usr/bin/time ] || { echo "GNU time is missing (Debian package time)" >&2; exit 1; }
mkdir -p "$work"
isf="$work/recording-$kind.isf"
if [ ! -s "$isf" ]; then
    plain=--plain
    [ "$kind" = plain ] || plain=""
    "$palvorin" sample --size "$size_mb" $plain "$work/stream.bin" >/dev/null 2>&1
    "$palvorin" record -q "$work/stream.bin" "$isf" >/dev/null
    rm -f "$work/stream.bin"
fi

. "$(dirname "$0")/memory-sampling.sh"

cat "$isf" >/dev/null # into the page cache
bytes="$(stat -c %s "$isf")"
echo "file: $isf, $bytes bytes"
heading 28
row "cat FILE > /dev/null" 28 bash -c 'exec cat "$0" >/dev/null' "$isf"
row "palvorin verify" 28 bash -c 'exec "$0" verify "$1" >/dev/null' "$palvorin" "$isf"
row "palvorin dump > /dev/null" 28 bash -c 'exec "$0" dump "$1" >/dev/null' "$palvorin" "$isf"
row "palvorin dump --json" 28 bash -c 'exec "$0" dump --json "$1" >/dev/null' "$palvorin" "$isf"
row "palvorin pcap" 28 bash -c 'exec "$0" pcap "$1" "$2" >/dev/null' "$palvorin" "$isf" "$work/out.pcap"
rm -f "$work/out.pcap"
