#!/usr/bin/python3
"""Rows per second and peak memory of the Python package's tables, on a recording of 100 copies of the
real capture A (tests/data/raw_diag_stream_a.bin): 485,200 signalling messages among 550,002 items.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python-rows.py [--copies 100] [--runs 5]

Each table is read `--runs` times in this process (the median and the best are shown); the peak memory
is measured in a fresh process per table, as the growth of its peak resident set (VmHWM) over the
reading, beside the DataFrame's own size (memory_usage(deep=True)) and the ISF file's size.
"""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

import palvorin

HERE = os.path.dirname(os.path.abspath(__file__))
STREAM_A = os.path.join(HERE, "..", "tests", "data", "raw_diag_stream_a.bin")


def peak_kib():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmHWM:"):
                return int(line.split()[1])
    return 0


def memory_child(isf, table):
    """Runs in a fresh process: the growth of the peak resident set while reading one table."""
    capture = palvorin.open(isf)
    before = peak_kib()
    frame = capture.table(table)
    after = peak_kib()
    size = int(frame.memory_usage(deep=True).sum())
    print(f"{len(frame)} {(after - before) * 1024} {size}")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--copies", type=int, default=100)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--tables", default="messages,items")
    parser.add_argument("--memory-child", nargs=2, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.memory_child:
        memory_child(*args.memory_child)
        return

    with tempfile.TemporaryDirectory(prefix="palvorin-bench-") as directory:
        raw = os.path.join(directory, "a.bin")
        with open(STREAM_A, "rb") as source:
            stream = source.read()
        with open(raw, "wb") as out:
            for _ in range(args.copies):
                out.write(stream)
        isf = os.path.join(directory, "a.isf")
        recording = palvorin.record(raw, isf)
        print(f"{args.copies} copies of stream A: {recording.frames} frames, "
              f"{os.path.getsize(isf)} bytes of ISF")
        print()
        print("| Table | Rows | Median | Best | Rows/s (median) | Peak RSS growth | DataFrame | ISF file |")
        print("|---|---|---|---|---|---|---|---|")
        with palvorin.open(isf) as capture:
            for table in args.tables.split(","):
                seconds = []
                for _ in range(args.runs):
                    start = time.perf_counter()
                    frame = capture.table(table)
                    seconds.append(time.perf_counter() - start)
                    rows = len(frame)
                    del frame
                child = subprocess.run(
                    [sys.executable, __file__, "--memory-child", isf, table],
                    check=True, capture_output=True, text=True, timeout=300)
                _, growth, size = (int(word) for word in child.stdout.split())
                median = statistics.median(seconds)
                print(f"| {table} | {rows:,} | {median:.3f} s | {min(seconds):.3f} s | "
                      f"{rows / median:,.0f} | {growth / 1e6:.1f} MB | {size / 1e6:.1f} MB | "
                      f"{os.path.getsize(isf) / 1e6:.1f} MB |")


if __name__ == "__main__":
    main()
