"""palvorin: the tables of diagnostic captures (item store files and raw diagnostic streams) as pandas
DataFrames, filled by the native library, and campaigns of many files in a SQL database.

    import palvorin

    with palvorin.open("drive.isf") as capture:     # or a raw stream, recorded on the fly
        messages = capture.messages()               # time_utc, subscription, technology, channel, ...
        print(messages.groupby("channel", observed=True).size())

Modules: ``palvorin.capture`` (open, File, record), ``palvorin.frames`` (the column types),
``palvorin.errors`` (Error), ``palvorin.database`` (Database) and ``palvorin.campaign`` (the command
``python3 -m palvorin.campaign``, on Dask).
"""

from . import _native
from ._native import library_log  # noqa: F401
from .capture import TABLES, File, Recording, open, record  # noqa: F401
from .errors import Error  # noqa: F401

__all__ = ["TABLES", "Error", "File", "Recording", "library_log", "open", "record"]

if hasattr(_native, "CampaignDB"):  # a native part built without the campaign database (db/) has none
    from .database import AddResult, Database  # noqa: F401

    __all__ += ["AddResult", "Database"]
