"""The campaign database from Python, into SQLite (the writer below the binding is tried on both engines by
tests/db, PostgreSQL through the package by test_campaign.py): a capture whole and once, raw streams as
their recordings, bad files and refusing databases leaving nothing behind, and worker databases merged."""

import os
import sqlite3
import unittest

import palvorin
from support import STREAM_A, STREAM_B, PrivateTemp, read_file


def setUpModule():
    if not hasattr(palvorin, "Database"):
        raise unittest.SkipTest("the package is built without the campaign database (db/)")


class SQLite(unittest.TestCase):
    def setUp(self):
        self.temp = PrivateTemp()
        self.addCleanup(self.temp.close)
        self.isf_a = self.temp.file("a.isf")
        palvorin.record(STREAM_A, self.isf_a)
        self.target = self.temp.file("campaign.sqlite")
        self.db = palvorin.Database(self.target)
        self.addCleanup(self.db.close)

    def test_a_capture_goes_in_whole_and_once(self):
        first = self.db.add(self.isf_a)
        self.assertEqual((first.status, first.ok, first.rows["messages"], first.rows["items"]),
                         ("added", True, 4852, 5502), first.error)
        again = self.db.add(self.isf_a)
        self.assertEqual((again.status, again.file_id), ("already_present", first.file_id))
        self.assertEqual(self.query("SELECT items, messages_rows, sha256 FROM files"),
                         [[5502, 4852, first.sha256]])

    def test_a_raw_stream_goes_in_as_its_recording_once(self):
        first = self.db.add(STREAM_B)
        self.assertEqual((first.status, first.rows["messages"]), ("added", 18), first.error)
        # Recorded again, the same stream is the same file: named by its own path and SHA-256.
        self.assertEqual(self.db.add(STREAM_B).status, "already_present")
        self.assertEqual(self.query("SELECT path FROM files"), [[os.path.abspath(STREAM_B)]])

    def test_bad_files_leave_nothing_behind(self):
        isf = read_file(self.isf_a)
        cases = [
            (self.temp.file("missing.isf"), "No such file"),
            (self.temp.write("empty.isf", b""), "empty"),
            (self.temp.write("random.bin", bytes(range(256)) * 400), "neither"),
            (self.temp.write("half.isf", isf[:len(isf) // 2]), "damaged"),
        ]
        for path, reason in cases:
            with self.subTest(os.path.basename(path)):
                result = self.db.add(path)
                self.assertEqual(result.status, "file_failed")
                self.assertFalse(result.ok)
                self.assertIn(reason, result.error)
        self.assertEqual(self.query("SELECT count(*) FROM files"), [[0]])
        self.assertEqual(self.query("SELECT count(*) FROM messages"), [[0]])
        # The campaign goes on: a good file after them goes in.
        self.assertEqual(self.db.add(self.isf_a).status, "added")

    def test_worker_databases_are_merged_once(self):
        worker = self.temp.file("worker.sqlite")
        with palvorin.Database(worker) as db:
            self.assertEqual(db.add(self.isf_a).status, "added")
            self.assertEqual(db.add(STREAM_B).status, "added")
        self.assertEqual(self.db.add(STREAM_B).status, "added")
        self.assertEqual(self.db.add_database(worker), (1, 1))
        self.assertEqual(self.db.add_database(worker), (0, 2))
        self.assertEqual(self.query("SELECT count(*) FROM messages"), [[4852 + 18]])
        with self.assertRaises(palvorin.Error) as raised:
            self.db.add_database(self.isf_a)
        self.assertEqual(raised.exception.status, "database_failed")

    def query(self, sql):
        with sqlite3.connect(self.target) as connection:
            return [list(row) for row in connection.execute(sql)]

    def test_a_database_that_cannot_be_opened(self):
        for target in (self.temp.file("no/such/dir.sqlite"), self.isf_a):
            with self.subTest(target):
                with self.assertRaises(palvorin.Error) as raised:
                    palvorin.Database(target)
                error = raised.exception
                self.assertEqual((error.status, error.path), ("database_failed", target))


if __name__ == "__main__":
    unittest.main()
