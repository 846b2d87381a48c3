"""palvorin: the tables of diagnostic captures (item store files and raw diagnostic streams) as pandas
DataFrames, filled by the native library, and campaigns of many files in a SQL database.

    import palvorin

    with palvorin.open("drive.isf") as capture:     # or a raw stream, recorded on the fly
        messages = capture.messages()               # time_utc, subscription, technology, channel, ...
        print(messages.groupby("channel").size())

Modules: ``palvorin.capture`` (open, File, record), ``palvorin.frames`` (the column types),
``palvorin.errors`` (Error), ``palvorin.database`` (Database) and ``palvorin.campaign`` (the command
``python3 -m palvorin.campaign``, on Dask).
"""

from ._native import library_log  # noqa: F401
from .capture import TABLES, File, Recording, open, record  # noqa: F401
from .errors import Error  # noqa: F401

try:
    from .database import Database  # noqa: F401
except ImportError:  # a native part built without the campaign database
    pass

__all__ = ["TABLES", "Database", "Error", "File", "Recording", "library_log", "open", "record"]
