#include "python/SummaryDict.h"

#include "meas/MeasExtractor.h"
#include "ota/OTAExtractor.h"

namespace py = pybind11;

py::dict SummaryDict(const sTableSummary& summary, uint64_t problems) {
    py::dict out;
    out["items"] = summary.mItems;
    py::dict rows;
    for (unsigned int table = 0; table < TABLE_COUNT; ++table) {
        rows[TableDef(static_cast<eTable>(table)).mName] = summary.mRows[table];
    }
    out["rows"] = rows;
    py::dict ota;
    for (unsigned int status = 0; status < OTA_EXTRACT_STATUS_COUNT; ++status) {
        ota[OTAExtractStatusName(static_cast<eOTAExtractStatus>(status))] = summary.mOTAByStatus[status];
    }
    out["signalling"] = ota;
    py::dict meas;
    for (unsigned int status = 0; status < MEAS_STATUS_COUNT; ++status) {
        meas[MeasStatusName(static_cast<eMeasStatus>(status))] = summary.mMeasByStatus[status];
    }
    out["measurement"] = meas;
    out["out_of_range"] = summary.mOutOfRange;
    out["cells_dropped"] = summary.mCellsDropped;
    out["problems"] = problems;
    return out;
}
