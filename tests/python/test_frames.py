"""The tables of the real captures A and B, opened as raw streams and as ISF files: against the tool's own
output (`dump --json` for the items, `pcap` for the messages: its summary counts and the exported
records), and against the captures' facts (tests/data/README.md; tshark's decode of the export of capture
A: 4,852 messages, LTE RRC 4,343, LTE NAS 95, GSM RR 378, UMTS NAS 27, GPRS 9)."""

import json
import re
import unittest

import numpy as np
import pandas as pd

import palvorin
from support import STREAM_A, STREAM_B, PrivateTemp, hex_packets, need_tool, pcap_records, raw_stream, tool

DTYPES = {
    "time": "datetime64[ns, UTC]",
    "int": "Int64",
    "code": "Int64",
    "real": "float64",
    "text": "category",
    "bytes": "object",
}


def read_all(path):
    with palvorin.open(path) as capture:
        return capture.tables()


def pcap_summary_counts(output):
    """The kinds and counts of the `exported` section of `palvorin pcap`'s summary."""
    counts = {}
    section = output.split("  exported", 1)[1].split("  skipped", 1)[0]
    for line in section.splitlines()[1:]:
        match = re.match(r"^    (\S.*?)\s+(\d+)$", line)
        if match:
            counts[match.group(1)] = int(match.group(2))
    return counts


def assert_same(test, got, expected, what):
    """Equal lists, or the first row where they differ (unittest's diff of long lists takes minutes)."""
    test.assertEqual(len(got), len(expected), what)
    for row, (value, wanted) in enumerate(zip(got, expected)):
        if value != wanted:
            test.fail(f"{what}, row {row}: {value!r} != {wanted!r}")


class CaptureA(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temp = PrivateTemp()
        cls.isf = cls.temp.file("a.isf")
        cls.recording = palvorin.record(STREAM_A, cls.isf)
        cls.tables = read_all(cls.isf)
        cls.raw_tables = read_all(STREAM_A)

    @classmethod
    def tearDownClass(cls):
        cls.temp.close()

    def test_every_table_has_the_tools_columns_and_types(self):
        self.assertEqual(list(palvorin.TABLES), ["items", "messages", "measurements", "cells", "events"])
        self.assertEqual([name for name, _ in palvorin.TABLES["messages"]],
                         ["time_utc", "subscription", "technology", "channel", "direction", "arfcn", "pci",
                          "log_code", "message"])
        for table, columns in palvorin.TABLES.items():
            frame = self.tables[table]
            self.assertEqual(list(frame.columns), [name for name, _ in columns], table)
            for name, kind in columns:
                self.assertEqual(str(frame[name].dtype), DTYPES[kind], f"{table}.{name}")

    def test_messages_are_the_ones_tshark_decodes(self):
        messages = self.tables["messages"]
        self.assertEqual(len(messages), 4852)
        # LTE RRC and NAS, GSM RR and GPRS, UMTS NAS (each channel's count: the tool's export below).
        self.assertEqual(messages["technology"].value_counts().to_dict(),
                         {"lte": 4438, "gsm": 387, "wcdma": 27})
        # A single-SIM phone names no subscription.
        self.assertTrue(messages["subscription"].isna().all())
        self.assertTrue(all(isinstance(message, bytes) and message for message in messages["message"]))

    def test_times_are_the_captures_own(self):
        items = self.tables["items"]
        # Item 0 is the tool-version record (log code 0x1FFD) stamped at recording time; the capture's first
        # log packet was logged at 02:11:40.984 UTC, its last frame at 05:00:12.48.
        self.assertEqual(items["log_code"][0], 0x1FFD)
        self.assertEqual(items["time_utc"][1], pd.Timestamp("2015-08-01T02:11:40.984Z"))
        self.assertEqual(items["time_utc"][1:].max().floor("10ms"), pd.Timestamp("2015-08-01T05:00:12.48Z"))
        self.assertEqual(self.tables["messages"]["time_utc"][0], pd.Timestamp("2015-08-01T02:11:40.985Z"))

    def test_recording_counts_the_captures_frames(self):
        self.assertEqual(self.recording, palvorin.Recording(bytes=317107, frames=5501, bad_frames=0,
                                                            leading_bytes=7, unclosed_bytes=0, items=5502))

    def test_a_raw_stream_gives_the_frames_of_its_recording(self):
        for table, frame in self.tables.items():
            raw = self.raw_tables[table]
            if table == "items":
                # The tool-version record carries the time of each recording.
                frame, raw = frame.drop(columns="time_utc"), raw.drop(columns="time_utc")
            pd.testing.assert_frame_equal(raw, frame, obj=table)

    @need_tool
    def test_items_are_the_tools_dump(self):
        dump = json.loads(tool("dump", self.isf, "--json"))
        items = self.tables["items"]
        self.assertEqual(len(items), len(dump))
        got = items.astype(object).where(items.notna(), None)
        got["time_utc"] = items["time_utc"].dt.strftime("%Y-%m-%dT%H:%M:%S.%f").str[:-3] + "Z"
        fields = {"message_kind": "message"}  # the dump's name of the column
        for column in items.columns:
            expected = [item.get(fields.get(column, column)) for item in dump]
            assert_same(self, got[column].tolist(), expected, column)

    @need_tool
    def test_messages_are_the_tools_export(self):
        pcap = self.temp.file("a.pcap")
        counts = pcap_summary_counts(tool("pcap", self.isf, pcap))
        messages = self.tables["messages"]
        self.assertEqual(messages["channel"].value_counts().to_dict(), counts)
        # One record per message in the same order, at the same time, holding the message's bytes: at its
        # end for LTE (behind a GSMTAP header or the exported-PDU tags), somewhere inside for GSM and UMTS
        # (a LAPDm header in front, fill bytes behind).
        records = pcap_records(pcap)
        self.assertEqual(len(records), len(messages))
        nanoseconds = messages["time_utc"].array.asi8
        lte = (messages["technology"] == "lte").to_numpy()
        for row, (seconds, micros, record) in enumerate(records):
            self.assertEqual(seconds * 10**9 + micros * 1000, nanoseconds[row], row)
            message = messages["message"][row]
            if lte[row]:
                self.assertTrue(record.endswith(message), row)
            else:
                self.assertIn(message, record, row)


class CaptureB(unittest.TestCase):
    """A dual-SIM phone: every log packet inside the multi-SIM wrapper of subscription 1."""

    def test_nr_messages_on_subscription_1(self):
        with PrivateTemp() as temp:
            isf = temp.file("b.isf")
            self.assertEqual(palvorin.record(STREAM_B, isf).frames, 19)
            for path in (STREAM_B, isf):
                messages = read_all(path)["messages"]
                self.assertEqual(len(messages), 18, path)
                self.assertEqual(messages["technology"].astype(str).tolist(), ["nr"] * 18)
                self.assertTrue(messages["channel"].astype(str).str.startswith("NR RRC").all())
                self.assertEqual(messages["subscription"].tolist(), [1] * 18)
                self.assertEqual(str(messages["subscription"].dtype), "Int64")

    def test_columns_share_the_arrays_the_library_filled(self):
        # The numeric columns are the native arrays themselves, not copies made by pandas.
        with palvorin.open(STREAM_B) as capture:
            messages = capture.messages()
        array = messages["arfcn"].array
        self.assertIsInstance(array, pd.arrays.IntegerArray)
        self.assertFalse(array._data.flags.owndata)
        self.assertFalse(np.asarray(messages["time_utc"].array.asi8).flags.owndata)


class Measurements(unittest.TestCase):
    """Serving and neighbour cells of real LTE captures (capture D, tests/data/README.md) framed as the port
    sends them: 87 serving cell measurement logs (0xB193) of `lte_bler.bin`, several with an unmeasured
    serving RSRQ; 43 of `lte_meas2016.bin` beside its neighbour (0xB195) and intra-frequency (0xB179) logs."""

    def measurements(self, name):
        with PrivateTemp() as temp:
            packets = hex_packets(name)
            path = temp.write("stream.bin", raw_stream(packets))
            with palvorin.open(path) as capture:
                self.assertEqual(capture.recording.frames, len(packets))
                measurements = capture.measurements()
                self.assertEqual(len(measurements), capture.summary()["rows"]["measurements"])
        for name, kind in palvorin.TABLES["measurements"]:
            self.assertEqual(str(measurements[name].dtype), DTYPES[kind], name)
        return measurements

    def test_serving_cells_with_unmeasured_values(self):
        measurements = self.measurements("meas_lte_bler.txt")
        self.assertEqual(measurements["log_code"].unique().tolist(), [0xB193])
        serving = measurements[measurements["serving"] == 1]
        self.assertEqual(len(serving), 87)  # one serving cell a log
        # An unmeasured value is missing (NaN), not 0.
        self.assertGreaterEqual(int(serving["rsrq_db"].isna().sum()), 8)
        self.assertFalse((measurements["rsrq_db"] == 0).any())
        measured = measurements["rsrp_dbm"].dropna()
        self.assertTrue(measured.between(-140, -44).all())  # the physical range of RSRP
        self.assertTrue(measurements["subscription"].isna().all())
        self.assertFalse(measurements["pci"].isna().any())
        self.assertTrue(measurements["time_utc"].between(pd.Timestamp("2019-07-30", tz="UTC"),
                                                         pd.Timestamp("2019-07-31", tz="UTC")).all())
        self.assertTrue(measurements["rscp_dbm"].isna().all())  # a UMTS quantity

    def test_three_kinds_of_measurement_log(self):
        measurements = self.measurements("meas_lte_2016.txt")
        counts = measurements.groupby("log_code").size().to_dict()
        self.assertEqual(sorted(counts), [0xB179, 0xB193, 0xB195])
        self.assertEqual(int((measurements[measurements["log_code"] == 0xB193]["serving"] == 1).sum()), 43)
        self.assertEqual(measurements["technology"].astype(str).unique().tolist(), ["lte"])


if __name__ == "__main__":
    unittest.main()
