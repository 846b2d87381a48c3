"""Capture files as tables: an item store file (ISF), or a raw diagnostic stream recorded on the fly."""

import dataclasses
import os
import tempfile
import weakref

from . import _native
from .errors import Error
from .frames import frame

#: The tables a capture yields, {table: [(column, type), ...]}, in the order of the tool's CSV. Types:
#: time, int, code (a log code), real, text, bytes.
TABLES = _native.tables()


@dataclasses.dataclass(frozen=True)
class Recording:
    """What recording a raw diagnostic stream did."""

    bytes: int  #: bytes read
    frames: int  #: good frames, each stored as an item
    bad_frames: int  #: frames that failed their check, were empty, over-long, or left unclosed at the end
    leading_bytes: int  #: bytes before the first frame (a capture that began inside a frame)
    unclosed_bytes: int  #: bytes at the end that no flag closed
    items: int  #: items in the ISF file: the frames, the tool-version record, rebuilt WCDMA blocks


def record(raw, isf):
    """Records the raw diagnostic stream in the file `raw` into a new ISF file `isf`, as `palvorin record`
    does: every good frame becomes an item stamped with its log packet's own time (items without one take
    the time of the item before them). Returns a Recording; raises palvorin.Error."""
    return Recording(**_native.record(os.fspath(raw), os.fspath(isf)))


def _remove(path):
    try:
        os.unlink(path)
    except FileNotFoundError:
        pass


class File:
    """A capture file opened for reading its tables (use palvorin.open).

    `path` is the file given; `kind` is ``"isf"`` or ``"raw"``, told by the content; for a raw stream,
    `isf_path` is the temporary ISF file it was recorded into (removed by close(), at the end of a
    ``with`` block, or when the File is collected) and `recording` what the recording did.

    Each table method reads the file again and returns a new DataFrame with the columns of the tool's CSV
    (palvorin.TABLES); nothing is kept between calls. A damaged file (records cut off, entries that do not
    fit: what `palvorin verify` reports) raises palvorin.Error with the status ``damaged`` unless
    `allow_damaged`, which reads the items the reader can still make out. A file whose writer stopped
    without closing it is not damaged as long as it is consistent up to its last item.
    """

    def __init__(self, path, allow_damaged=False):
        self.path = os.fspath(path)
        self.allow_damaged = allow_damaged
        self.kind = _native.capture_kind(self.path)
        self.recording = None
        self._remove = None
        if self.kind == "isf":
            self.isf_path = self.path
            return
        descriptor, temporary = tempfile.mkstemp(prefix="palvorin-", suffix=".isf")
        os.close(descriptor)
        self._remove = weakref.finalize(self, _remove, temporary)
        try:
            self.recording = record(self.path, temporary)
        except Error:
            self._remove()
            raise
        if self.recording.frames == 0:  # the file changed since its first bytes were looked at
            self._remove()
            raise Error("not_a_capture", self.path, f"{self.path}: no frame of a raw diagnostic stream")
        self.isf_path = temporary

    def close(self):
        """Ends the use of the file; removes the temporary ISF file of a raw stream."""
        if self._remove is not None:
            self._remove()
        self.isf_path = None

    @property
    def closed(self):
        """True after close()."""
        return self.isf_path is None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        state = "closed" if self.closed else self.kind
        return f"<palvorin.File {self.path!r} {state}>"

    def _isf(self):
        if self.isf_path is None:
            raise ValueError(f"{self.path}: the file is closed")
        return self.isf_path

    def tables(self, *names):
        """Several tables from one reading of the file: {name: DataFrame} for the tables named (all of
        them when none is named)."""
        names = list(names) if names else list(TABLES)
        columns, summary = _native.read_tables(self._isf(), names)
        self._check(summary)
        return {name: frame(columns[name]) for name in names}

    def table(self, name):
        """The table `name` (one of palvorin.TABLES) as a DataFrame."""
        return self.tables(name)[name]

    def items(self):
        """Every stored item: index, time, item type, payload length, subscription, log code, and the kind
        of signalling message it carries."""
        return self.table("items")

    def messages(self):
        """Every signalling message of the over-the-air logs: time, subscription, technology, channel,
        direction, channel number (arfcn), cell (pci), log code, and the message itself as bytes."""
        return self.table("messages")

    def measurements(self):
        """One row per measured cell per measurement log: levels and qualities of each cell."""
        return self.table("measurements")

    def cells(self):
        """One row per serving-cell period: when, which cell, how it was entered, median levels."""
        return self.table("cells")

    def events(self):
        """Handovers, failures, RRC state changes and NAS outcomes."""
        return self.table("events")

    def summary(self):
        """The counts of a reading of the whole file: items, rows per table, items per outcome of the
        signalling and measurement extractors, values out of range, cells dropped, and the reader's
        problems (inconsistencies of a damaged or unclosed file)."""
        summary = _native.summary(self._isf())
        self._check(summary)
        return summary

    def _check(self, summary):
        if summary["problems"] and not self.allow_damaged:
            raise Error("damaged", self.path,
                        f"{self.path}: damaged: {summary['problems']} inconsistencies (`palvorin verify` "
                        "names them); palvorin.open(path, allow_damaged=True) reads what is left")


def open(path, allow_damaged=False):  # noqa: A001 - the package's entry, as the built-in open is Python's
    """Opens the capture file at `path`: an ISF file, or a raw diagnostic stream (told by the content),
    which is recorded into a temporary ISF file first. Returns a File (a context manager); raises
    palvorin.Error when the file is missing, empty, or neither kind. `allow_damaged`: see File."""
    return File(path, allow_damaged)
