#!/bin/sh
# A PostgreSQL server of a test's own (tests/db/PostgresServer.h, tests/python/pgserver.py). `start DIR OWNER
# [SETTING...]` makes a cluster in the empty directory DIR, listening on a Unix socket there only, and starts it
# within 30 s; `stop DIR` stops it and removes DIR, as happens anyway once process OWNER ends. As root, the
# server runs as the postgres account (initdb refuses root).
unset LD_PRELOAD # a sanitizer's runtime preloaded into the tests is not the server's
bin=$(ls -d /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
dir=$2
as=
if [ "$(id -u)" = 0 ]; then as="setpriv --reuid=postgres --regid=postgres --clear-groups"; fi
if [ "$1" = stop ]; then
    $as "$bin/pg_ctl" -D "$dir/data" -m immediate -w -t 20 stop >/dev/null 2>&1
    rm -rf "$dir"
    exit 0
fi
owner=$3
shift 3
[ -z "$as" ] || chown postgres: "$dir"
options="-k $dir -c listen_addresses= -c max_connections=40"
for setting; do options="$options -c $setting"; done
# In a session of its own: a signal to the owner's process group (a test's time limit) leaves it running.
setsid sh -c 'tail --pid="$1" -f /dev/null && sh "$2" stop "$3"' watchdog "$owner" "$0" "$dir" </dev/null >/dev/null 2>&1 &
$as touch "$dir/log"
if ! $as timeout 60 "$bin/initdb" -D "$dir/data" -U palvorin -A trust -E UTF8 --locale=C --no-sync \
    --no-instructions >"$dir/log" 2>&1 ||
    ! $as "$bin/pg_ctl" -D "$dir/data" -l "$dir/log" -w -t 30 -o "$options" start >/dev/null 2>&1; then
    cat "$dir/log" >&2
    exit 1
fi
