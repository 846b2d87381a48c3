#!/usr/bin/env bash
# Logs per second and peak memory of `palvorin measurements` and `palvorin cells` (and events and messages)
# on a recording of COPIES copies (default 100) of a real capture, e.g. lte_bler.bin of the real captures D
# (2,792 serving-cell measurement logs among its 4,073 log packets):
#   bench/tables-throughput.sh CAPTURE [PALVORIN] [COPIES] [RUNS]
# Each command writes CSV to /dev/null; the median of RUNS runs (default 5) by wall clock and by CPU time (user
# + system, as the kernel accounts the process; on a shared machine the steadier figure), and the maximum
# resident set size.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
capture="$1"
palvorin="$(realpath "${2:-$root/build/release/palvorin}")"
copies="${3:-100}"
runs="${4:-5}"
work="$(mktemp -d "${TMPDIR:-/tmp}/palvorin-tables-XXXXXX")"
trap 'rm -rf "$work"' EXIT

for _ in $(seq "$copies"); do cat "$capture"; done >"$work/stream.bin"
"$palvorin" record -q "$work/stream.bin" "$work/a.isf" >/dev/null
"$palvorin" dump "$work/a.isf" >"$work/dump.txt"
# The log packets of the capture (not the tool-version record the recorder writes first).
logs="$(grep '  log 0x' "$work/dump.txt" | grep -vc '  log 0x1FFD')"
items="$(wc -l <"$work/dump.txt")"
rm -f "$work/dump.txt"
echo "recording: $copies copies of $(basename "$capture"), $(stat -c %s "$work/a.isf") bytes, $items items ($logs log packets); median of $runs runs, CSV to /dev/null"
# Runs the command RUNS times: the median wall-clock and CPU (user + system) seconds, from the kernel's account
# of the child (microseconds), and the largest maximum resident set size.
measure() {
    /usr/bin/python3 - "$runs" "$@" <<'PY'
import os, subprocess, sys, time
runs, command = int(sys.argv[1]), sys.argv[2:]
walls, cpus, rss = [], [], 0
for _ in range(runs):
    start = time.monotonic()
    with open(os.devnull, "w") as null, open("summary.txt", "w") as err:
        child = subprocess.Popen(command, stdout=null, stderr=err)
        _, status, usage = os.wait4(child.pid, 0)
    walls.append(time.monotonic() - start)
    cpus.append(usage.ru_utime + usage.ru_stime)
    rss = max(rss, usage.ru_maxrss)
    if status != 0:
        sys.exit("%s failed" % " ".join(command))
print("%.4f %.4f %d" % (sorted(walls)[runs // 2], sorted(cpus)[runs // 2], rss))
PY
}
cd "$work"
printf '%-13s %8s %10s %12s %10s %12s %10s\n' command rows wall logs/s CPU logs/s "max RSS"
for command in measurements cells events messages; do
    read -r wall cpu rss < <(measure "$palvorin" "$command" --csv a.isf)
    rows="$(sed -n 's/^[a-z]* of [^:]*: \([0-9]*\) .*/\1/p' summary.txt)"
    awk -v c="$command" -v rows="$rows" -v wall="$wall" -v cpu="$cpu" -v rss="$rss" -v logs="$logs" 'BEGIN {
        printf "%-13s %8d %9.3fs %12.0f %9.3fs %12.0f %8.1f MB\n", c, rows, wall, logs / wall, cpu,
            (cpu > 0 ? logs / cpu : 0), rss / 1024
    }'
done
