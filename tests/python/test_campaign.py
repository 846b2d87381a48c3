"""`python3 -m palvorin.campaign` on a local Dask cluster of 2 workers: 200 recordings of the real captures
(raw streams and ISF files, copies made distinct by trailing flags) with a copy of one of them, a damaged
file and a note among them, into SQLite and into a real PostgreSQL server: every file holds the rows the
tool counts for it, a second run adds nothing, the damaged file is reported and the others go on; a full
database keeps whole files; a dead scheduler fails clearly within a bounded time."""

import os
import re
import shutil
import sqlite3
import subprocess
import time
import unittest

import palvorin
from pgserver import PostgresServer, find_binaries
from support import PYTHON, STREAM_A, STREAM_B, TempDir, read_file, tool, write_file

FLAG = b"\x7e"  # flags between frames delimit empty frames: a copy with more of them decodes the same


def setUpModule():
    if not hasattr(palvorin, "Database"):
        raise unittest.SkipTest("the package is built without the campaign database (db/)")


def campaign(*args, timeout=180):
    """Runs the campaign command; (exit status, standard output, standard error)."""
    done = subprocess.run([PYTHON, "-m", "palvorin.campaign", *args], capture_output=True, text=True,
                          timeout=timeout)
    return done.returncode, done.stdout, done.stderr


def summary(stdout):
    """{added, already present, failed, ignored} of the campaign's summary."""
    counts = {}
    for name in ("added", "already present", "failed", "ignored"):
        match = re.search(rf"^  {name} +(\d+)", stdout, re.M)
        counts[name] = int(match.group(1)) if match else 0
    return counts


class Campaign(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temp = TempDir()
        cls.files = cls.temp.file("phones")
        cls.kinds = {}  # path -> "a.raw", "a.isf", "b.raw", "b.isf"
        streams = {"a": read_file(STREAM_A), "b": read_file(STREAM_B)}
        # 20 of capture A and 180 of capture B, half raw, half recorded; in two phones' directories.
        plan = [("a", 10, "raw"), ("a", 10, "isf"), ("b", 90, "raw"), ("b", 90, "isf")]
        number = 0
        for capture, count, kind in plan:
            for _ in range(count):
                number += 1
                directory = os.path.join(cls.files, f"phone{number % 2 + 1}", capture)
                os.makedirs(directory, exist_ok=True)
                raw = os.path.join(directory, f"{number:03d}.log")
                write_file(raw, streams[capture] + FLAG * number)
                path = raw
                if kind == "isf":
                    path = raw[:-4] + ".dat"
                    palvorin.record(raw, path)
                    os.unlink(raw)
                cls.kinds[path] = f"{capture}.{kind}"
        # The same bytes twice: one file in the database.
        first = next(iter(cls.kinds))
        cls.duplicate = os.path.join(cls.files, "phone2", "copy.log")
        shutil.copyfile(first, cls.duplicate)
        # A recording cut in half, and a note: the first fails, the second is no capture.
        data = read_file(next(p for p, k in cls.kinds.items() if k == "a.isf"))
        cls.damaged = write_file(os.path.join(cls.files, "phone1", "cut.dat"), data[:len(data) // 2])
        write_file(os.path.join(cls.files, "phone2", "notes.txt"), b"drive test, route 7\n")
        cls.expected = cls.tool_counts() if os.environ.get("PALVORIN_TOOL") else None

    @classmethod
    def tearDownClass(cls):
        cls.temp.close()

    @classmethod
    def tool_counts(cls):
        """Rows per kind of file as the tool counts them in one file of each kind: the messages `palvorin
        pcap` exports, and the rows of `palvorin measurements`, `cells` and `events`."""
        counts = {}
        for kind in ("a.raw", "a.isf", "b.raw", "b.isf"):
            path = next(p for p, k in cls.kinds.items() if k == kind)
            isf = path
            if kind.endswith(".raw"):
                isf = cls.temp.file("tool.isf")
                tool("record", path, isf)
            output = tool("pcap", isf, cls.temp.file("tool.pcap"))
            rows = [int(re.search(r"^exported (\d+) messages", output, re.M).group(1))]
            for table in ("measurements", "cells", "events"):
                rows.append(len(tool(table, "--csv", isf).splitlines()) - 1)  # less the header line
            counts[kind] = tuple(rows)
        return counts

    def check_database(self, rows_by_path):
        """Every file once, with the rows the tool counts for a file of its kind (of two files with the
        same bytes, either is the one in the database)."""
        first = next(iter(self.kinds))
        rows_by_path = dict(rows_by_path)
        if self.duplicate in rows_by_path:
            rows_by_path[first] = rows_by_path.pop(self.duplicate)
        self.assertEqual(sorted(rows_by_path), sorted(self.kinds))
        # Without the tool: capture A's 4,852 messages (tshark decodes each), 29 serving-cell periods and 254
        # events, no measurement log; capture B's 18 messages.
        expected = self.expected or {"a.raw": (4852, 0, 29, 254), "a.isf": (4852, 0, 29, 254),
                                     "b.raw": (18, 0, 0, 0), "b.isf": (18, 0, 0, 0)}
        for path, kind in self.kinds.items():
            messages, *tables = expected[kind]
            self.assertEqual(rows_by_path[path], (messages, messages, *tables), path)

    def run_twice(self, target):
        status, out, err = campaign(self.files, "--db", target, "--workers", "2")
        self.assertEqual(status, 1, out + err)  # the damaged file
        self.assertEqual(summary(out), {"added": 200, "already present": 1, "failed": 1, "ignored": 1}, out)
        self.assertIn(f"{self.damaged}: {self.damaged}: damaged", out)
        self.assertIn("] 203/203", err)  # the progress bar's end
        first = self.rows_by_path(target)
        self.check_database(first)
        status, out, err = campaign(self.files, "--db", target, "--workers", "2")
        self.assertEqual(status, 1, out + err)
        self.assertEqual(summary(out), {"added": 0, "already present": 201, "failed": 1, "ignored": 1}, out)
        self.assertEqual(self.rows_by_path(target), first)
        self.assertEqual(int(self.query(target, "SELECT count(*) FROM messages")[0][0]), 20 * 4852 + 180 * 18)

    def test_sqlite(self):
        target = self.temp.file("campaign.sqlite")
        self.run_twice(target)

    @unittest.skipIf(find_binaries() is None, "no PostgreSQL server installed")
    def test_postgresql(self):
        with PostgresServer() as server:
            self.server = server
            self.run_twice(server.create_database("campaign"))
            # A worker connects again after an administrator (or a restart) ended its connection.
            from palvorin import campaign as tasks

            files = [path for path, kind in self.kinds.items() if kind == "b.isf"][:3]
            target = server.create_database("dropped")
            self.assertEqual(tasks.add_to_postgres(files[0], target, True).status, "added")
            server.psql("postgres", "SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                                    "WHERE datname = 'dropped'")
            lost = tasks.add_to_postgres(files[1], target, True)
            self.assertEqual(lost.status, "database_failed")
            self.assertTrue(lost.error)
            self.assertEqual(tasks.add_to_postgres(files[2], target, True).status, "added")
            tasks._connections.pop(target).close()

    def rows_by_path(self, target):
        """path -> (messages_rows of files, then the rows stored for the file in messages, measurements,
        cells and events)."""
        stored = ", ".join(f"(SELECT count(*) FROM {table} t WHERE t.file_id = f.id)"
                           for table in ("messages", "measurements", "cells", "events"))
        sql = f"SELECT f.path, f.messages_rows, {stored} FROM files f"
        return {row[0]: tuple(int(value) for value in row[1:]) for row in self.query(target, sql)}

    def query(self, target, sql):
        if target.startswith("postgresql://"):
            return self.server.psql(target.split("?")[0].rsplit("/", 1)[1], sql)
        with sqlite3.connect(target) as connection:
            return connection.execute(sql).fetchall()

    def test_a_dead_scheduler_fails_clearly_and_soon(self):
        started = time.monotonic()
        # Port 9 (discard) of the loopback: nothing listens there.
        status, out, err = campaign(self.files, "--db", self.temp.file("dead.sqlite"), "--scheduler",
                                    "tcp://127.0.0.1:9", "--connect-timeout", "3", timeout=60)
        self.assertEqual(status, 2, out + err)
        self.assertIn("cannot reach the Dask scheduler at tcp://127.0.0.1:9 within 3 s", err)
        self.assertLess(time.monotonic() - started, 30)

    def test_a_full_database_keeps_whole_files_and_the_campaign_goes_on(self):
        # The client may write no more than 4 MB into a file (the interpreter ignores SIGXFSZ, so a write
        # past it fails with EFBIG): the database fills up after a few of the 10 files the glob names.
        phone = os.path.join(self.files, "phone2", "a", "*.???")
        target = self.temp.file("limited.sqlite")
        started = time.monotonic()
        done = subprocess.run(["prlimit", f"--fsize={4 << 20}", PYTHON, "-m", "palvorin.campaign", phone,
                               "--db", target, "--workers", "2"], capture_output=True, text=True, timeout=180)
        counts = summary(done.stdout)
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertTrue(counts["added"] and counts["failed"], counts)
        self.assertEqual(counts["added"] + counts["failed"], 10, counts)
        # Each failure names the database that refused (SQLite says "disk I/O error" for EFBIG).
        failures = [line for line in done.stdout.splitlines() if line.startswith("    ")]
        self.assertEqual(len(failures), counts["failed"])
        self.assertTrue(all(f": {target}: " in line for line in failures), failures)
        # Every file in the database is there whole, as check_database counts a file of capture A.
        rows = list(self.rows_by_path(target).values())
        self.assertEqual(rows, [(4852, 4852, 0, 29, 254)] * counts["added"])
        self.assertLess(time.monotonic() - started, 120)

    def test_a_database_that_cannot_be_reached(self):
        target = f"postgresql:///campaign?host={self.temp.path}&user=palvorin"
        status, out, err = campaign(self.files, "--db", target, "--workers", "1", timeout=60)
        self.assertEqual(status, 2, out + err)
        self.assertIn("cannot use the database", err)


if __name__ == "__main__":
    unittest.main()
