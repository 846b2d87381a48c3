#!/usr/bin/python3
"""Time of `python3 -m palvorin.campaign` on 200 recordings of the real captures (20 of capture A, 180 of
capture B, half raw streams, half ISF files, as the campaign test makes them) with 1 and with 2 workers of
a local cluster, into SQLite, and into PostgreSQL when a server is installed (one started for the run in a
temporary directory, tests/python/pgserver.py). Each run goes into a new database; the time is the wall
time of the whole command, the cluster's start and stop included.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/campaign.py [--runs 3] [--workers 1,2]
        [--captures DIR]

With --captures DIR the 200 recordings are copies of every raw stream in DIR (*.bin, taken in turn; half
raw, half ISF) instead: real phone captures of a few hundred KB each, as a drive test's files are.
"""

import argparse
import glob
import os
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "..", "tests", "data")
sys.path.insert(0, os.path.join(HERE, "..", "tests", "python"))

import palvorin  # noqa: E402
from pgserver import PostgresServer, find_binaries  # noqa: E402


def make_files(directory, captures=None):
    """200 distinct recordings: copies of the captures made distinct by trailing flags (empty frames)."""
    if captures:
        names = sorted(glob.glob(os.path.join(captures, "*.bin")))
        if not names:
            raise SystemExit(f"no *.bin in {captures}")
        plan = [(names[i % len(names)], "raw" if i % 2 == 0 else "isf") for i in range(200)]
    else:
        plan = ([("a", "raw")] * 10 + [("a", "isf")] * 10 + [("b", "raw")] * 90 + [("b", "isf")] * 90)
        plan = [(os.path.join(DATA, f"raw_diag_stream_{capture}.bin"), kind) for capture, kind in plan]
    streams = {}
    for number, (path, kind) in enumerate(plan, start=1):
        if path not in streams:
            with open(path, "rb") as stream:
                streams[path] = stream.read()
        raw = os.path.join(directory, f"{number:03d}.log")
        with open(raw, "wb") as out:
            out.write(streams[path] + b"\x7e" * number)
        if kind == "isf":
            palvorin.record(raw, raw[:-4] + ".dat")
            os.unlink(raw)


def run(files, target, workers):
    start = time.perf_counter()
    done = subprocess.run([sys.executable, "-m", "palvorin.campaign", files, "--db", target, "--workers",
                           str(workers)], capture_output=True, text=True, timeout=1800)
    seconds = time.perf_counter() - start
    if done.returncode != 0 or "added            200" not in done.stdout:
        raise SystemExit(done.stdout + done.stderr)
    return seconds


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--workers", default="1,2")
    parser.add_argument("--captures", help="a directory of raw streams to copy instead of captures A and B")
    args = parser.parse_args()
    workers = [int(n) for n in args.workers.split(",")]
    with tempfile.TemporaryDirectory(prefix="palvorin-bench-") as directory:
        files = os.path.join(directory, "files")
        os.mkdir(files)
        make_files(files, args.captures)
        server = PostgresServer() if find_binaries() else None
        if server:
            server.start()
        try:
            engines = [("SQLite", lambda name: os.path.join(directory, name + ".sqlite"))]
            if server:
                engines.append(("PostgreSQL", server.create_database))
            print(f"load average before: {os.getloadavg()[0]:.1f} on {os.cpu_count()} cores")
            print()
            print("| Database | Workers | Median | Runs | Speed-up over 1 worker |")
            print("|---|---|---|---|---|")
            for engine, new_target in engines:
                medians = {}
                for n in workers:
                    seconds = [run(files, new_target(f"w{n}r{r}"), n) for r in range(args.runs)]
                    medians[n] = statistics.median(seconds)
                    speedup = f"{medians[workers[0]] / medians[n]:.2f}×" if n != workers[0] else ""
                    runs = ", ".join(f"{s:.1f}" for s in seconds)
                    print(f"| {engine} | {n} | {medians[n]:.1f} s | {runs} | {speedup} |", flush=True)
            print()
            print(f"load average after: {os.getloadavg()[0]:.1f}")
        finally:
            if server:
                server.stop()


if __name__ == "__main__":
    main()
