// palvorin._native: the library's reader, tables and recording for the Python package. It converts types
// and errors and nothing more; palvorin/*.py builds the package's API on it.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <string>
#include <vector>

#include "python/ColumnArrays.h"
#include "python/PyError.h"
#include "python/SummaryDict.h"
#include "stream/CaptureFileKind.h"
#include "stream/RawRecording.h"
#include "tables/CaptureTables.h"
#include "tables/ColumnSink.h"

namespace py = pybind11;

void BindLibraryLog(py::module_& module);
void BindOverview(py::module_& module);
#ifdef PALVORIN_HAS_CAMPAIGN_DB
void BindDatabase(py::module_& module);
#endif

namespace {

const char* ColumnTypeName(eColumnType type) {
    switch (type) {
        case COLUMN_TIME:
            return "time";
        case COLUMN_INT:
            return "int";
        case COLUMN_CODE:
            return "code";
        case COLUMN_REAL:
            return "real";
        case COLUMN_TEXT:
            return "text";
        case COLUMN_BYTES:
            return "bytes";
    }
    return "?";
}

const char* RecordingStatusName(eRawRecordingStatus status) {
    switch (status) {
        case RAW_RECORDING_OK:
            return "ok";
        case RAW_RECORDING_NO_MEMORY:
            return "no_memory";
        case RAW_RECORDING_CANNOT_OPEN:
            return "cannot_open";
        case RAW_RECORDING_READ_FAILED:
            return "read_failed";
        case RAW_RECORDING_CANNOT_CREATE:
            return "cannot_create";
        case RAW_RECORDING_WRITE_FAILED:
            return "write_failed";
    }
    return "failed";
}

py::dict Tables() {
    py::dict tables;
    for (unsigned int table = 0; table < TABLE_COUNT; ++table) {
        const sTableDef& def = TableDef(static_cast<eTable>(table));
        py::list columns;
        for (size_t i = 0; i < def.mCount; ++i) {
            columns.append(py::make_tuple(def.mColumns[i].mName, ColumnTypeName(def.mColumns[i].mType)));
        }
        tables[def.mName] = columns;
    }
    return tables;
}

std::string CaptureKind(const std::string& path) {
    int error = 0;
    eCaptureFileKind kind;
    {
        py::gil_scoped_release unlocked;
        kind = CaptureFileKindOf(path, error);
    }
    switch (kind) {
        case CAPTURE_FILE_ISF:
            return "isf";
        case CAPTURE_FILE_RAW:
            return "raw";
        case CAPTURE_FILE_EMPTY:
            RaiseError("empty", path, path + ": the file is empty");
        case CAPTURE_FILE_UNKNOWN:
            RaiseError("not_a_capture", path,
                       path + ": neither an item store file nor a raw diagnostic stream");
        case CAPTURE_FILE_UNREADABLE:
            break;
    }
    RaiseError("cannot_open", path, "cannot read " + path + ": " + strerror(error));
}

py::dict Record(const std::string& raw, const std::string& isf) {
    sRawRecording recording;
    {
        py::gil_scoped_release unlocked;
        recording = RecordRawFile(raw, isf);
    }
    if (recording.mStatus != RAW_RECORDING_OK) {
        const bool output = recording.mStatus == RAW_RECORDING_CANNOT_CREATE ||
                            recording.mStatus == RAW_RECORDING_WRITE_FAILED;
        RaiseError(RecordingStatusName(recording.mStatus), output ? isf : raw,
                   RawRecordingError(recording, raw, isf));
    }
    py::dict summary;
    summary["bytes"] = recording.mBytes;
    summary["frames"] = recording.mFrames;
    summary["bad_frames"] = recording.mBadFrames;
    summary["leading_bytes"] = recording.mLeadingBytes;
    summary["unclosed_bytes"] = recording.mUnclosedBytes;
    summary["items"] = recording.mItems;
    return summary;
}

py::tuple ReadTables(const std::string& isf, const std::vector<std::string>& names) {
    uint32_t wanted = 0;
    for (const std::string& name : names) {
        eTable table = TABLE_COUNT;
        if (!TableByName(name.c_str(), table)) {
            throw py::value_error("no table named " + name);
        }
        wanted |= TableBit(table);
    }
    cColumnSink sink(wanted);
    sTableSummary summary;
    std::string error;
    uint64_t problems = 0;
    bool read = false;
    {
        py::gil_scoped_release unlocked;
        read = ReadCaptureTables(isf, wanted, sink, summary, error, &problems);
    }
    if (sink.OutOfMemory()) {
        RaiseError("no_memory", isf, isf + ": out of memory while reading");
    }
    if (!read) {
        RaiseError("unreadable", isf, error);
    }
    py::dict tables;
    for (const std::string& name : names) {
        eTable table = TABLE_COUNT;
        TableByName(name.c_str(), table);
        tables[name.c_str()] = TakeColumns(sink, table);
    }
    return py::make_tuple(tables, SummaryDict(summary, problems));
}

// Every table computed, no row kept.
class cDiscard : public cTableSink {
public:
    bool Row(eTable table, const sValue* values) override {
        (void)table;
        (void)values;
        return true;
    }
};

py::dict Summary(const std::string& isf) {
    cDiscard sink;
    sTableSummary summary;
    std::string error;
    uint64_t problems = 0;
    bool read = false;
    {
        py::gil_scoped_release unlocked;
        read = ReadCaptureTables(isf, kAllTables, sink, summary, error, &problems);
    }
    if (!read) {
        RaiseError("unreadable", isf, error);
    }
    return SummaryDict(summary, problems);
}

}  // namespace

PYBIND11_MODULE(_native, module) {
    module.doc() = "The native part of the palvorin package: the library's reader, tables and recording.";
    module.def(
        "tables", &Tables,
        "The tables a capture yields: {table name: [(column name, type), ...]} in the library's order; "
        "types are time, int, code, real, text and bytes.");
    module.def("capture_kind", &CaptureKind, py::arg("path"),
               "'isf' or 'raw' by the file's content; raises palvorin.Error (cannot_open, empty, "
               "not_a_capture) otherwise.");
    module.def(
        "record", &Record, py::arg("raw"), py::arg("isf"),
        "Records the raw diagnostic stream in the file `raw` into a new ISF file `isf` with the packet "
        "clock, as `palvorin record` does; returns the counts. Raises palvorin.Error.");
    module.def("summary", &Summary, py::arg("isf"),
               "Reads the ISF file `isf` once computing every table and keeping no row: the counts of "
               "items, rows per table, items per extractor outcome, and the reader's problems. Raises "
               "palvorin.Error.");
    module.def("read_tables", &ReadTables, py::arg("isf"), py::arg("tables"),
               "Reads the ISF file `isf` once and returns ({table: [column tuple, ...]}, summary) for the "
               "named tables; see python/ColumnArrays.h for the column tuples. Raises palvorin.Error.");
    BindLibraryLog(module);
    BindOverview(module);
#ifdef PALVORIN_HAS_CAMPAIGN_DB
    BindDatabase(module);
#endif
}
