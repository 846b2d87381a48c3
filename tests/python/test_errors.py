"""Files the package cannot read, and the temporary ISF file of a raw stream: palvorin.Error carries the
library's status and the file's name; the temporary file goes when the File is closed or collected, and
never outlives a failed open."""

import gc
import os
import pickle
import random
import subprocess
import unittest

import palvorin
from support import PYTHON, STREAM_A, STREAM_B, PrivateTemp, read_file


class BadFiles(unittest.TestCase):
    def setUp(self):
        self.temp = PrivateTemp()
        self.addCleanup(self.temp.close)
        self.isf = self.temp.file("a.isf")
        palvorin.record(STREAM_A, self.isf)

    def assert_error(self, status, path, call, text):
        with self.assertRaises(palvorin.Error) as raised:
            call()
        error = raised.exception
        self.assertEqual(error.status, status, str(error))
        self.assertEqual(error.path, path)
        self.assertIn(path, str(error))
        self.assertIn(text, str(error))
        return error

    def test_files_that_cannot_be_opened(self):
        isf = read_file(self.isf)
        rng = random.Random(18)
        cases = [
            ("missing", self.temp.file("missing.isf"), "cannot_open", "No such file or directory"),
            ("a directory", self.temp.path, "cannot_open", "Is a directory"),
            ("empty", self.temp.write("empty.isf", b""), "empty", "empty"),
            ("random bytes", self.temp.write("random.bin", bytes(rng.randrange(256) for _ in range(100000))),
             "not_a_capture", "neither an item store file nor a raw diagnostic stream"),
            ("three bytes of the magic", self.temp.write("short.isf", isf[:3]), "not_a_capture", "neither"),
        ]
        for case, path, status, text in cases:
            with self.subTest(case):
                self.assert_error(status, path, lambda: palvorin.open(path), text)
        self.assertEqual(self.temp.isf_files(), ["a.isf", "empty.isf", "short.isf"])

    def test_truncated_isf_files(self):
        isf = read_file(self.isf)
        # Cut inside the first index block: no item can be read.
        header = self.temp.write("header.isf", isf[:100])
        with palvorin.open(header) as capture:
            self.assert_error("unreadable", header, capture.messages, "not a readable item store file")
        # Cut half-way: records past the end. Damaged, unless asked to read what is left.
        half = self.temp.write("half.isf", isf[:len(isf) // 2])
        with palvorin.open(half) as capture:
            self.assert_error("damaged", half, capture.messages, "allow_damaged")
            self.assert_error("damaged", half, capture.summary, "inconsistencies")
        with palvorin.open(half, allow_damaged=True) as capture:
            messages = capture.messages()
            self.assertGreater(len(messages), 1000)
            self.assertLess(len(messages), 4852)
            self.assertGreater(capture.summary()["problems"], 0)
        # Without its table and trailer (a writer that stopped without closing) it is whole.
        unclosed = self.temp.write("unclosed.isf", isf[:-32])
        with palvorin.open(unclosed) as capture:
            self.assertEqual(len(capture.messages()), 4852)
            self.assertEqual(capture.summary()["problems"], 0)

    def test_the_error_survives_pickling(self):
        # Campaign workers send errors to the client process.
        empty = self.temp.write("e", b"")
        error = self.assert_error("empty", empty, lambda: palvorin.open(empty), "")
        copy = pickle.loads(pickle.dumps(error))
        self.assertEqual((copy.status, copy.path, str(copy)), (error.status, error.path, str(error)))

    def test_a_closed_file_reads_nothing(self):
        capture = palvorin.open(self.isf)
        capture.close()
        self.assertTrue(capture.closed)
        with self.assertRaises(ValueError):
            capture.items()

    def test_record_errors(self):
        output = self.temp.file("out.isf")
        self.assert_error("cannot_open", self.temp.file("none.bin"),
                          lambda: palvorin.record(self.temp.file("none.bin"), output), "No such file")
        missing_dir = self.temp.file("no/out.isf")
        self.assert_error("cannot_create", missing_dir, lambda: palvorin.record(STREAM_B, missing_dir),
                          "cannot create")
        self.assert_error("read_failed", self.temp.path, lambda: palvorin.record(self.temp.path, output),
                          "Is a directory")


class LibraryLog(unittest.TestCase):
    """The library logs a line per bad frame: dropped unless asked for."""

    def test_lines_only_when_asked(self):
        with PrivateTemp() as temp:
            data = bytearray(read_file(STREAM_B))
            data[100] ^= 0xFF  # a bit error inside the first frames: one fails its check
            damaged = temp.write("damaged.bin", data)
            script = ("import sys, palvorin\n"
                      "palvorin.library_log(sys.argv[2] == 'show')\n"
                      "with palvorin.open(sys.argv[1]) as capture:\n"
                      "    print(capture.recording.bad_frames)\n")
            for show in ("hide", "show"):
                done = subprocess.run([PYTHON, "-c", script, damaged, show], capture_output=True, text=True,
                                      timeout=60, check=True)
                self.assertEqual(done.stdout, "1\n")
                if show == "show":
                    self.assertIn("CheckCRC", done.stderr)
                else:
                    self.assertEqual(done.stderr, "")


class TemporaryRecording(unittest.TestCase):
    def setUp(self):
        self.temp = PrivateTemp()
        self.addCleanup(self.temp.close)

    def test_removed_on_close_at_the_end_of_with_and_when_collected(self):
        capture = palvorin.open(STREAM_B)
        self.assertEqual(capture.kind, "raw")
        self.assertEqual(self.temp.isf_files(), [os.path.basename(capture.isf_path)])
        self.assertEqual(len(capture.messages()), 18)
        capture.close()
        capture.close()
        self.assertEqual(self.temp.isf_files(), [])

        with palvorin.open(STREAM_B) as capture:
            self.assertEqual(len(self.temp.isf_files()), 1)
        self.assertEqual(self.temp.isf_files(), [])

        capture = palvorin.open(STREAM_B)
        self.assertEqual(len(self.temp.isf_files()), 1)
        del capture
        gc.collect()
        self.assertEqual(self.temp.isf_files(), [])

    def test_none_left_by_a_stream_without_frames(self):
        # Flags alone delimit no frame: not a raw stream, and nothing recorded.
        with self.assertRaises(palvorin.Error) as raised:
            palvorin.open(self.temp.write("flags.bin", b"\x7e" * 1000))
        self.assertEqual(raised.exception.status, "not_a_capture")
        self.assertEqual(self.temp.isf_files(), [])

    def test_none_left_by_a_recording_that_fails(self):
        # The temporary ISF file of stream A takes 400 KB; a process that may write no more than 100 KB into
        # a file (the interpreter ignores SIGXFSZ: the write fails with EFBIG) fails to record it.
        script = ("import os, sys, tempfile, palvorin\n"
                  "tempfile.tempdir = sys.argv[2]\n"
                  "try:\n"
                  "    palvorin.open(sys.argv[1])\n"
                  "except palvorin.Error as error:\n"
                  "    print(error.status, os.listdir(sys.argv[2]))\n")
        done = subprocess.run(["prlimit", "--fsize=100000", PYTHON, "-c", script, STREAM_A, self.temp.path],
                              capture_output=True, text=True, timeout=60, check=True)
        self.assertEqual(done.stdout, "write_failed []\n", done.stderr)


if __name__ == "__main__":
    unittest.main()
