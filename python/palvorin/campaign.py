"""A campaign of capture files into one database, on Dask:

    python3 -m palvorin.campaign PATH... --db DB [--workers N | --scheduler tcp://HOST:PORT]

PATH is a file, a directory (searched recursively for ISF files and raw diagnostic streams, told by their
content; other files there are ignored) or a glob. DB is a SQLite path or a postgresql:// URL. Each file
is one task. Workers read it with the native package and write through the library's one database writer:
into PostgreSQL directly; for SQLite, each worker writes its file into a small database of its own and
sends it to this process, the only writer of the campaign's SQLite file, which merges it (AddDatabase).
That keeps SQLite to one writer (it locks the whole file per transaction), works with workers on other
machines that cannot see the client's file, and costs one copy of the file's rows. Files already in a
SQLite campaign (by SHA-256) are skipped by the workers without being read.

Without --scheduler a local cluster of --workers processes (default: the machine's cores) runs the tasks
and is closed at the end. The workers of a scheduler named need the package installed and the files at
the same paths. A file is in the database whole or not at all; one that fails is reported with
its reason and the others go on. Exit status: 0 when every file is in the database, 1 when some failed,
2 when the campaign could not start (no file, the database or the scheduler cannot be reached).
"""

import argparse
import contextlib
import dataclasses
import glob
import hashlib
import logging
import os
import pathlib
import shutil
import signal
import sqlite3
import sys
import tempfile
import time
import zlib

from . import _native
from .database import AddResult, Database
from .errors import Error

# The statuses of a file that was found in a directory and is no capture at all: left out, not failed.
_NOT_CAPTURES = ("empty", "not_a_capture")


# ---- In the workers: one file each.


def _ignored(path, named):
    """An AddResult saying why a file found in a directory is left out, or None for a capture (or a file
    named on the command line, which is added or fails)."""
    if named:
        return None
    try:
        _native.capture_kind(path)
    except Error as error:
        if error.status in _NOT_CAPTURES:
            return AddResult(path, "ignored", error=str(error))
    return None


_connections = {}  # in each worker process: target -> Database


def add_to_postgres(path, target, named):
    """Adds one file to the PostgreSQL database `target` through this worker's connection."""
    ignored = _ignored(path, named)
    if ignored:
        return ignored
    try:
        database = _connections.get(target) or _connections.setdefault(target, Database(target))
    except Error as error:
        return AddResult(path, "database_failed", error=str(error))
    result = database.add(path)
    if result.status == "database_failed":
        # The connection may be gone: the next file connects anew.
        _connections.pop(target).close()
    return result


def scratch_directory():
    """Where the one-file SQLite databases go: a memory file system (/dev/shm) where there is one, as
    nothing there needs to outlive the task and a disk would wait for every commit to be synced; else
    the system's temporary directory."""
    shm = "/dev/shm"
    return shm if os.path.isdir(shm) and os.access(shm, os.W_OK | os.X_OK) else None


def file_sha256(path):
    """The SHA-256 of a file, as the database writer names files; None when it cannot be read."""
    digest = hashlib.sha256()
    try:
        with open(path, "rb") as data:
            for block in iter(lambda: data.read(1 << 20), b""):
                digest.update(block)
    except OSError:
        return None
    return digest.hexdigest()


def add_to_sqlite_copy(path, named, present, handoff=None):
    """Adds one file to a new SQLite database of its own: (AddResult, the database when added). A file
    whose SHA-256 is among `present` (the campaign's files when it began) is not read at all. `handoff`,
    a directory of the client's that this worker sees too (a local cluster), receives the database: the
    database is then its directory there, which the client merges and removes; otherwise it is sent back
    as compressed bytes."""
    ignored = _ignored(path, named)
    if ignored:
        return ignored, None
    sha256 = file_sha256(path) if present else None
    if sha256 in present:
        return AddResult(path, "already_present", sha256=sha256), None
    if handoff and os.path.isdir(handoff):
        directory = tempfile.mkdtemp(prefix="file-", dir=handoff)
        result = _add_alone(path, os.path.join(directory, "file.sqlite"))
        if result.status != "added":
            shutil.rmtree(directory, ignore_errors=True)
            return result, None
        return result, directory
    with tempfile.TemporaryDirectory(prefix="palvorin-campaign-", dir=scratch_directory()) as directory:
        copy = os.path.join(directory, "file.sqlite")
        result = _add_alone(path, copy)
        if result.status != "added":
            return result, None
        # Mostly empty pages: a file of 18 messages makes 1.3 MB of database, 20 KB compressed. Compressed
        # as it is read, so that the worker never holds the database itself.
        compressor = zlib.compressobj(1)
        pieces = []
        with open(copy, "rb") as data:
            for block in iter(lambda: data.read(1 << 20), b""):
                pieces.append(compressor.compress(block))
        pieces.append(compressor.flush())
        return result, b"".join(pieces)


def _add_alone(path, copy):
    """Adds the file at `path` to a new SQLite database at `copy`."""
    try:
        with Database(copy, scratch=True) as database:
            return database.add(path)
    except Error as error:
        return AddResult(path, "database_failed", error=f"worker database: {error}")


# ---- In the client.


def find_files(paths):
    """(absolute path, named) of every file to add: files named or matched by a glob are named; those
    found by searching a directory are not (files there that are no capture are left out)."""
    found = {}

    def add(path, named):
        path = os.path.abspath(path)
        found[path] = found.get(path, False) or named

    for path in paths:
        matches = [path] if os.path.lexists(path) else sorted(glob.glob(path, recursive=True))
        if not matches:
            add(path, True)  # a missing file: reported as failed
        for match in matches:
            if os.path.isdir(match):
                for directory, subdirectories, names in os.walk(match):
                    subdirectories.sort()
                    for name in sorted(names):
                        if os.path.isfile(os.path.join(directory, name)):
                            add(os.path.join(directory, name), False)
            else:
                add(match, True)
    return sorted(found.items())


class Progress:
    """A plain-text progress bar on standard error: redrawn in place on a terminal, a line per tenth of
    the way otherwise."""

    def __init__(self, total, stream=sys.stderr, width=40):
        self.total, self.stream, self.width = total, stream, width
        self.done = 0
        self.terminal = stream.isatty()
        self.shown_tenth = -1

    def step(self):
        self.done += 1
        filled = self.width * self.done // max(self.total, 1)
        bar = f"[{'#' * filled}{'.' * (self.width - filled)}] {self.done}/{self.total}"
        if self.terminal:
            self.stream.write("\r" + bar + ("\n" if self.done == self.total else ""))
        elif 10 * self.done // max(self.total, 1) > self.shown_tenth:
            self.shown_tenth = 10 * self.done // max(self.total, 1)
            self.stream.write(bar + "\n")
        self.stream.flush()


@dataclasses.dataclass
class Outcome:
    """The files of a campaign by what became of them."""

    added: list = dataclasses.field(default_factory=list)
    present: list = dataclasses.field(default_factory=list)
    failed: list = dataclasses.field(default_factory=list)  # (path, reason)
    ignored: list = dataclasses.field(default_factory=list)
    rows: dict = dataclasses.field(default_factory=dict)

    def count(self, result):
        if result.status == "added":
            self.added.append(result.path)
            for table, rows in result.rows.items():
                self.rows[table] = self.rows.get(table, 0) + rows
        elif result.status == "already_present":
            self.present.append(result.path)
        elif result.status == "ignored":
            self.ignored.append(result.path)
        else:
            self.failed.append((result.path, result.error or result.status))


def present_files(target):
    """The SHA-256 of every file in the SQLite campaign database `target` (empty for a new one): read
    once, here, so that workers skip those files instead of recording and reading them for nothing. The
    writer still decides: a file that came meanwhile is caught by its own check."""
    if not os.path.exists(target) or os.path.getsize(target) == 0:
        return frozenset()
    uri = pathlib.Path(target).resolve().as_uri() + "?mode=ro"
    with contextlib.closing(sqlite3.connect(uri, uri=True)) as connection:
        return frozenset(row[0] for row in connection.execute("SELECT sha256 FROM files"))


def merge(database, result, data):
    """In the client: merges a worker's SQLite database of one file into the campaign's. `data`: the
    database's directory in the hand-off directory (removed here), or its compressed bytes."""
    if data is None:
        return result
    if isinstance(data, str):
        try:
            return _merge_file(database, result, os.path.join(data, "file.sqlite"))
        finally:
            shutil.rmtree(data, ignore_errors=True)
    # A directory of its own: opening the copy leaves its write-ahead log beside it.
    with tempfile.TemporaryDirectory(prefix="palvorin-campaign-", dir=scratch_directory()) as directory:
        copy = os.path.join(directory, "file.sqlite")
        # A little at a time: 64 KB of the compressed database are a few MB of it.
        decompressor = zlib.decompressobj()
        with open(copy, "wb") as out:
            for at in range(0, len(data), 1 << 16):
                out.write(decompressor.decompress(data[at:at + (1 << 16)]))
            out.write(decompressor.flush())
        return _merge_file(database, result, copy)


def _merge_file(database, result, copy):
    try:
        added, _ = database.add_database(copy)
    except Error as error:
        return dataclasses.replace(result, status="database_failed", error=str(error))
    return result if added else dataclasses.replace(result, status="already_present", rows={})


def fail(message):
    """Ends a campaign that cannot start: the message on standard error, exit status 2."""
    print(f"palvorin.campaign: {message}", file=sys.stderr)
    raise SystemExit(2)


def start_dask(args):
    """A client on the scheduler named, or on a new local cluster (closed with the client); exits with a
    message when the scheduler cannot be reached within --connect-timeout."""
    from distributed import Client, LocalCluster

    if args.scheduler:
        try:
            return Client(args.scheduler, timeout=args.connect_timeout), None
        except (OSError, ValueError) as error:
            fail(f"cannot reach the Dask scheduler at {args.scheduler} within {args.connect_timeout:g} s: "
                 f"{error}")
    # The workers ignore Ctrl-C (they inherit the ignoring; their interpreter then leaves it so): the
    # terminal sends it to every process of the group, and this process ends the campaign and closes them,
    # instead of each worker printing a traceback. For the cluster's start (under a second) this process
    # ignores it as well.
    previous = signal.signal(signal.SIGINT, signal.SIG_IGN)
    try:
        # No dashboard; the scheduler's own HTTP endpoint on a free port of this host only, so that a
        # second campaign (or another cluster) holding the default port is no cause for a warning.
        cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                               dashboard_address=None, scheduler_kwargs={"dashboard_address": "127.0.0.1:0"},
                               silence_logs=logging.ERROR)
    finally:
        signal.signal(signal.SIGINT, previous)
    return Client(cluster), cluster


def run(args):
    files = find_files(args.paths)
    if not files:
        fail("no file to add")
    postgres = args.db.startswith(("postgresql://", "postgres://"))
    fresh = not postgres and (not os.path.exists(args.db) or os.path.getsize(args.db) == 0)
    try:
        # Opening creates the schema once, here, and says early when the database cannot be reached.
        database = Database(args.db)
        if fresh:
            database.begin_bulk_load()
    except Error as error:
        fail(f"cannot use the database {args.db}: {error}")

    start = time.monotonic()
    client, cluster = start_dask(args)
    outcome = Outcome()
    stack = contextlib.ExitStack()  # the hand-off directory, removed once the cluster is closed
    try:
        from distributed import as_completed

        # The tasks by their module's name (not __main__'s, under python3 -m), so that workers import them
        # and keep their connections between tasks.
        from palvorin import campaign as tasks

        if postgres:
            futures = [client.submit(tasks.add_to_postgres, path, args.db, named, pure=False)
                       for path, named in files]
        else:
            # In a list: scatter would send a set's members one by one.
            [present] = client.scatter([present_files(args.db)], broadcast=True)
            # The workers of a local cluster leave their databases in a directory of this process's
            # instead of sending them.
            handoff = None
            if cluster is not None:
                handoff = stack.enter_context(tempfile.TemporaryDirectory(prefix="palvorin-campaign-",
                                                                          dir=scratch_directory()))
            futures = [client.submit(tasks.add_to_sqlite_copy, path, named, present, handoff, pure=False)
                       for path, named in files]
        paths = {future.key: path for future, (path, _) in zip(futures, files)}
        progress = Progress(len(futures))
        for future in as_completed(futures):
            try:
                result = future.result() if postgres else merge(database, *future.result())
            except Exception as error:  # the task or its worker failed: the file, not the campaign
                result = AddResult(paths[future.key], "failed", error=f"{type(error).__name__}: {error}")
            future.release()
            outcome.count(result)
            progress.step()
        if fresh:
            try:
                database.end_bulk_load()
            except Error as error:
                print(f"palvorin.campaign: building the indexes failed ({error}); the next opening of "
                      f"{args.db} builds them", file=sys.stderr)
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
        database.close()
        stack.close()
    workers = "the scheduler's workers" if args.scheduler else plural(args.workers, "worker")
    report(args.db, len(files), outcome, time.monotonic() - start, workers)
    return 1 if outcome.failed else 0


def plural(count, noun):
    return f"{count} {noun}" if count == 1 else f"{count} {noun}s"


def report(target, total, outcome, seconds, workers):
    print(f"campaign into {target}: {plural(total, 'file')} in {seconds:.1f} s with {workers}")
    rows = ", ".join(f"{table} {count}" for table, count in outcome.rows.items() if table != "items")
    print(f"  added            {len(outcome.added)}" + (f" (rows: {rows})" if outcome.added else ""))
    print(f"  already present  {len(outcome.present)}")
    if outcome.ignored:
        print(f"  ignored          {len(outcome.ignored)} (found in a directory, neither an ISF file nor a "
              "raw stream)")
    print(f"  failed           {len(outcome.failed)}")
    for path, reason in sorted(outcome.failed):
        print(f"    {path}: {reason}")


def main(argv=None):
    """The command line; returns the exit status."""
    parser = argparse.ArgumentParser(prog="python3 -m palvorin.campaign",
                                     description=__doc__.split("\n\n")[0],
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("paths", nargs="+", metavar="PATH", help="a file, a directory or a glob")
    parser.add_argument("--db", required=True, help="a SQLite path or a postgresql:// URL")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--workers", type=int, default=os.cpu_count() or 1,
                       help="processes of the local cluster (default: the machine's cores)")
    where.add_argument("--scheduler", help="the address of a running Dask scheduler, e.g. tcp://host:8786")
    parser.add_argument("--connect-timeout", type=float, default=10,
                        help="seconds to wait for the scheduler (default 10)")
    args = parser.parse_args(argv)
    if args.workers < 1:
        parser.error("--workers must be at least 1")
    try:
        return run(args)
    except KeyboardInterrupt:
        # The cluster has been closed on the way out; a file being added when it came is not in the
        # database (one transaction per file), and the next run adds it.
        print("\npalvorin.campaign: interrupted; the files added so far are in the database whole, run it "
              "again for the rest", file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main())
