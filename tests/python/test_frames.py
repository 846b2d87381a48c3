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
            # Not assertEqual: unittest's diff of long lists takes minutes.
            self.assertTrue(got[column].tolist() == expected, f"{column} differs from the dump")

    @need_tool
    def test_messages_are_the_tools_export(self):
        pcap = self.temp.file("a.pcap")
        # The kinds and counts of the `exported` section of the tool's summary.
        section = tool("pcap", self.isf, pcap).split("  exported", 1)[1].split("  skipped", 1)[0]
        counts = {kind: int(count) for kind, count in re.findall(r"^    (\S.*?)\s+(\d+)$", section, re.M)}
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
    sends them; the counts per log are pinned by the C++ tests (MeasLTERealCaptureTest)."""

    def test_measurement_logs_with_unmeasured_values(self):
        for name, codes in (("meas_lte_2016.txt", [0xB179, 0xB193, 0xB195]), ("meas_lte_bler.txt", [0xB193])):
            with PrivateTemp() as temp:
                packets = hex_packets(name)
                with palvorin.open(temp.write("stream.bin", raw_stream(packets))) as capture:
                    self.assertEqual(capture.recording.frames, len(packets))
                    measurements = capture.measurements()
                    self.assertEqual(len(measurements), capture.summary()["rows"]["measurements"])
            self.assertEqual(sorted(measurements["log_code"].unique().tolist()), codes, name)
            self.assertEqual(measurements["technology"].astype(str).unique().tolist(), ["lte"])
            # An unmeasured value is missing (NaN), not 0; RSCP is a UMTS quantity.
            self.assertFalse((measurements["rsrq_db"] == 0).any())
            self.assertTrue(measurements["rscp_dbm"].isna().all())
            self.assertTrue(measurements["rsrp_dbm"].dropna().between(-140, -44).all())  # RSRP's range
        # lte_bler.bin: 12 serving cells with an unmeasured RSRQ (raw 0).
        self.assertGreaterEqual(int(measurements[measurements["serving"] == 1]["rsrq_db"].isna().sum()), 8)


if __name__ == "__main__":
    unittest.main()
