# Sourced by the memory benchmarks (bench/*-memory.sh); they set `work` (a directory for GNU time's report)
# before calling these.

# Runs "$@" under GNU time and samples the anonymous memory of the command itself (time's child): RssAnon
# of /proc/PID/status every 10 ms, the memory the process allocated itself. Prints: elapsed seconds,
# maximum resident KB (GNU time's, which counts the pages of a mapped file that were touched), peak
# anonymous KB.
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
    rm -f "$report"
    echo "$elapsed $maxrss $peak"
}

# One line of the table: NAME WIDTH COMMAND...: the name in WIDTH columns, then measure's figures in MB.
row() {
    local name="$1" width="$2"
    shift 2
    local figures
    figures="$(measure "$@")"
    read -r elapsed maxrss anon <<<"$figures"
    awk -v n="$name" -v w="$width" -v e="$elapsed" -v m="$maxrss" -v a="$anon" \
        'BEGIN { printf "%-" w "s %10s %12.1f %14.1f\n", n, e, m / 1024, a / 1024 }'
}

# The table's heading, names in WIDTH columns.
heading() {
    printf '%-*s %10s %12s %14s\n' "$1" command "elapsed s" "max RSS MB" "peak anon MB"
}
