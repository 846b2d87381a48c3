"""What the Python tests share: the test data, the built tool (run with a time limit), temporary
directories, and the pcap records the tool exports (an independent view of every message)."""

import os
import shutil
import struct
import subprocess
import tempfile
import unittest

DATA = os.environ.get("PALVORIN_TEST_DATA",
                      os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data"))
STREAM_A = os.path.join(DATA, "raw_diag_stream_a.bin")
STREAM_B = os.path.join(DATA, "raw_diag_stream_b.bin")
TOOL = os.environ.get("PALVORIN_TOOL", "")
PYTHON = os.environ.get("PALVORIN_PYTHON", "/usr/bin/python3")


def need_tool(test):
    """Skips a test that compares with the command-line tool when the build has none."""
    return unittest.skipUnless(TOOL and os.access(TOOL, os.X_OK), "the palvorin tool is not built")(test)


def tool(*args, timeout=60):
    """Runs the built `palvorin` with `args` (bounded in time); its standard output."""
    # Under AddressSanitizer the interpreter gets the sanitizer's runtime preloaded; the tool carries its own.
    env = {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}
    done = subprocess.run([TOOL, *args], capture_output=True, text=True, timeout=timeout, check=True, env=env)
    return done.stdout


def read_file(path):
    with open(path, "rb") as source:
        return source.read()


def write_file(path, data):
    """Writes `data` (bytes) into the file at `path`; the path."""
    with open(path, "wb") as out:
        out.write(data)
    return path


class TempDir:
    """A temporary directory removed with everything in it (a context manager, or close())."""

    def __init__(self):
        self.path = tempfile.mkdtemp(prefix="palvorin-py-")

    def file(self, name):
        return os.path.join(self.path, name)

    def write(self, name, data):
        """A file of the directory holding `data` (bytes); its path."""
        return write_file(self.file(name), data)

    def close(self):
        shutil.rmtree(self.path, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def pcap_records(path):
    """The records of a pcap file: (seconds, microseconds, bytes) each."""
    with open(path, "rb") as pcap:
        data = pcap.read()
    magic = struct.unpack_from("<I", data)[0]
    assert magic == 0xA1B2C3D4, hex(magic)
    records = []
    at = 24
    while at < len(data):
        seconds, micros, captured, _ = struct.unpack_from("<IIII", data, at)
        at += 16
        records.append((seconds, micros, data[at:at + captured]))
        at += captured
    return records


class PrivateTemp(TempDir):
    """A temporary directory that the package's temporary files go to while it is open (tempfile's
    default directory), so that a test sees exactly the files the package made."""

    def __init__(self):
        super().__init__()
        self._saved = tempfile.tempdir
        tempfile.tempdir = self.path

    def close(self):
        tempfile.tempdir = self._saved
        super().close()

    def isf_files(self):
        """The temporary ISF files of raw streams that exist right now."""
        return sorted(name for name in os.listdir(self.path) if name.endswith(".isf"))


def hex_packets(name):
    """The packets of a text file of tests/data: one packet in hex a line, '#' lines are comments."""
    with open(os.path.join(DATA, name)) as lines:
        return [bytes.fromhex(line) for line in (line.strip() for line in lines) if line and line[0] != "#"]


def raw_stream(packets):
    """The packets as a raw diagnostic stream: each with its frame check sequence (CRC-16/X-25, bit by bit),
    escaped, closed by a flag."""
    frames = []
    for packet in packets:
        crc = 0xFFFF
        for byte in packet:
            crc ^= byte
            for _ in range(8):
                crc = (crc >> 1) ^ 0x8408 if crc & 1 else crc >> 1
        crc ^= 0xFFFF
        body = packet + bytes([crc & 0xFF, crc >> 8])
        frames.append(body.replace(b"\x7d", b"\x7d\x5d").replace(b"\x7e", b"\x7d\x5e") + b"\x7e")
    return b"".join(frames)
