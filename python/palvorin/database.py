"""The database of a campaign: the tables of many capture files in one SQL database, a SQLite file or a
PostgreSQL server, written by the library's one writer (db/CampaignDB.h; the schema is in the README)."""

import dataclasses
import os
import tempfile

from . import _native
from .capture import record
from .errors import Error


@dataclasses.dataclass(frozen=True)
class AddResult:
    """What adding one file did. `status`: ``added``, ``already_present`` (a file with the same SHA-256
    is there: nothing changed), ``file_failed`` (the file cannot be read, or is damaged) or
    ``database_failed`` (the database refused: connection lost, disk full); after a failure nothing of
    the file is in the database and `error` says why."""

    path: str
    status: str
    file_id: int = -1
    sha256: str = ""
    rows: dict = dataclasses.field(default_factory=dict)  #: rows added per table; items: the file's items
    error: str = ""

    @property
    def ok(self):
        """True when the file is in the database (added now or before)."""
        return self.status in ("added", "already_present")


class Database:
    """A campaign database: `target` is a SQLite path (created when missing) or a ``postgresql://`` URL.
    Raises palvorin.Error (status ``database_failed``) when it cannot be opened. A context manager.

    `scratch`: `target` is a new SQLite file that only this object writes and that is merged into a
    campaign (add_database) and removed afterwards, as a campaign worker's: written without a journal file,
    syncing or indexes, and raw streams are recorded beside it rather than in the system's temporary
    directory. Left unusable by a crash."""

    def __init__(self, target, scratch=False):
        self.target = os.fspath(target)
        self._db = _native.CampaignDB(self.target, scratch)
        self._recordings = os.path.dirname(os.path.abspath(self.target)) if scratch else None

    def add(self, path):
        """Adds the capture file at `path` in one transaction and returns an AddResult; a bad file or a
        refusing database is a result, not an exception, so that a campaign goes on with its other files.
        A raw diagnostic stream is recorded into a temporary ISF file first, as palvorin.open does."""
        path = os.fspath(path)
        try:
            kind = _native.capture_kind(path)
        except Error as error:
            return AddResult(path, "file_failed", error=str(error))
        if kind == "isf":
            return self._result(path, self._db.add_file(path))
        with tempfile.TemporaryDirectory(prefix="palvorin-db-", dir=self._recordings) as directory:
            isf = os.path.join(directory, "recording.isf")
            try:
                recording = record(path, isf)
            except Error as error:
                return AddResult(path, "file_failed", error=str(error))
            if recording.frames == 0:  # the file changed since its first bytes were looked at
                return AddResult(path, "file_failed", error=f"{path}: no frame of a raw diagnostic stream")
            # The stream, not its recording, is the file in the database: the same stream recorded again
            # is the same file.
            return self._result(path, self._db.add_file(isf, path))

    def add_database(self, sqlite_path):
        """Adds every file of the campaign database at `sqlite_path` (a SQLite file of this schema, such as
        one a worker wrote) that is not here yet, each in its own transaction. Returns (added, present);
        raises palvorin.Error (``database_failed``) when either database fails (files copied before stay,
        each whole)."""
        status, added, present, error = self._db.add_database(os.fspath(sqlite_path))
        if status != "added":
            raise Error(status, os.fspath(sqlite_path), error)
        return added, present

    def begin_bulk_load(self):
        """For loading many files into a new SQLite database: the indexes are built once, by
        end_bulk_load() or close(), instead of row by row. Nothing changes for PostgreSQL."""
        self._db.begin_bulk_load()

    def end_bulk_load(self):
        """Builds the indexes again after begin_bulk_load()."""
        self._db.end_bulk_load()

    def close(self):
        """Ends a bulk load, then the connection."""
        self._db.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    @staticmethod
    def _result(path, native):
        return AddResult(path, native["status"], native["file_id"], native["sha256"], native["rows"],
                         native["error"])
