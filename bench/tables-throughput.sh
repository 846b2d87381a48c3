#!/usr/bin/env bash
# Logs per second and peak memory of `palvorin measurements` and `palvorin cells` (and events and messages)
# on a recording of COPIES copies (default 100) of a real capture, e.g. lte_bler.bin of the real captures D
# (2,792 serving-cell measurement logs among its 4,073 log packets):
#   bench/tables-throughput.sh CAPTURE [PALVORIN] [COPIES] [RUNS]
# Each command writes CSV to /dev/null; best of RUNS runs (default 5) by wall clock and by CPU time (user +
# system; on a shared machine the steadier figure), and the maximum resident set size from GNU time.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
capture="$1"
palvorin="${2:-$root/build/release/palvorin}"
copies="${3:-100}"
runs="${4:-5}"
[ -x /usr/bin/time ] || { echo "GNU time is missing (Debian package time)" >&2; exit 1; }
work="$(mktemp -d "${TMPDIR:-/tmp}/palvorin-tables-XXXXXX")"
trap 'rm -rf "$work"' EXIT

for _ in $(seq "$copies"); do cat "$capture"; done >"$work/stream.bin"
"$palvorin" record -q "$work/stream.bin" "$work/a.isf" >/dev/null
"$palvorin" dump "$work/a.isf" >"$work/dump.txt"
logs="$(grep -c '  log 0x' "$work/dump.txt")"
items="$(wc -l <"$work/dump.txt")"
rm -f "$work/dump.txt"
echo "recording: $copies copies of $(basename "$capture"), $(stat -c %s "$work/a.isf") bytes, $items items ($logs log packets); best of $runs runs, CSV to /dev/null"
printf '%-13s %8s %10s %12s %10s %12s %10s\n' command rows wall logs/s CPU logs/s "max RSS"
for command in measurements cells events messages; do
    wall="" cpu="" rss=""
    for _ in $(seq "$runs"); do
        /usr/bin/time -f '%e %U %S %M' -o "$work/time.txt" "$palvorin" "$command" --csv "$work/a.isf" \
            >/dev/null 2>"$work/summary.txt"
        read -r w u s m <"$work/time.txt"
        wall="$(awk -v t="$w" -v b="$wall" 'BEGIN {print (b == "" || t < b) ? t : b}')"
        cpu="$(awk -v t="$(awk -v u="$u" -v s="$s" 'BEGIN {print u + s}')" -v b="$cpu" \
            'BEGIN {print (b == "" || t < b) ? t : b}')"
        rss="$(awk -v t="$m" -v b="$rss" 'BEGIN {print (b == "" || t > b) ? t : b}')"
    done
    rows="$(sed -n 's/^[a-z]* of [^:]*: \([0-9]*\) .*/\1/p' "$work/summary.txt")"
    awk -v c="$command" -v rows="$rows" -v wall="$wall" -v cpu="$cpu" -v rss="$rss" -v logs="$logs" 'BEGIN {
        printf "%-13s %8d %9.3fs %12.0f %9.3fs %12.0f %8.1f MB\n", c, rows, wall, logs / wall, cpu,
            (cpu > 0 ? logs / cpu : 0), rss / 1024
    }'
done
