// The columns a cColumnSink gathered, handed to Python whole as numpy arrays: one copy per column in C++,
// no Python object per row but the bytes of a COLUMN_BYTES value. palvorin/frames.py builds the pandas
// columns from them without another copy.
#pragma once

#include <pybind11/pybind11.h>

#include "tables/ColumnSink.h"

// The columns of `table` in TableDef order, each a tuple (name, kind, arrays...), emptying the sink's
// columns of that table:
//   ("time", name, int64 nanoseconds since 1970 UTC, the int64 minimum (NaT) where missing)
//   ("int", name, int64 values, bool missing)      also for COLUMN_CODE
//   ("real", name, float64 values, NaN where missing)
//   ("text", name, int32 codes (-1: missing), list of the texts the codes index, sorted)
//   ("bytes", name, object array of bytes, None where missing)
pybind11::list TakeColumns(cColumnSink& sink, eTable table);
