// What reading a capture's tables accounted for, as a Python dict: items, rows per table, signalling and
// measurement logs by outcome, values out of range, cells dropped and the reader's problems. File.summary()
// and the report's overview give the same keys.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>

#include "tables/CaptureTables.h"

pybind11::dict SummaryDict(const sTableSummary& summary, uint64_t problems);
