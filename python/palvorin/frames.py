"""pandas data frames from the columns the native part fills (python/ColumnArrays.h), without copying them:

- times: ``datetime64[ns, UTC]`` (pandas 1.5 keeps times in nanoseconds only), NaT where missing
- integers and log codes: nullable ``Int64`` for every integer column, so that a missing value is <NA>
  and the dtype of a column does not change with the file (a column without a missing value in one file
  may have some in the next)
- reals: ``float64``, NaN where missing
- texts: ``category``, the categories sorted
- bytes (the message of a signalling record): ``bytes`` objects
"""

import pandas as pd

_UTC = pd.DatetimeTZDtype(tz="UTC")


def _column(column):
    kind = column[1]
    if kind == "time":
        return pd.arrays.DatetimeArray(column[2].view("M8[ns]"), dtype=_UTC)
    if kind == "int":
        return pd.arrays.IntegerArray(column[2], column[3])
    if kind == "text":
        return pd.Categorical.from_codes(column[2], categories=pd.Index(column[3], dtype=object))
    return column[2]  # real, bytes


def frame(columns):
    """A DataFrame of native column tuples, in their order."""
    return pd.DataFrame({column[0]: _column(column) for column in columns}, copy=False)
