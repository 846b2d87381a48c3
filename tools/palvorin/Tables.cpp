// palvorin measurements / cells / events / messages: one capture table of an ISF file
// (tables/CaptureTables.h) as an aligned table, CSV or JSON on standard output, then a summary on standard
// error that accounts for every item read. The file is walked item by item; nothing is kept per item.

#include <errno.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "tables/CaptureTables.h"
#include "tables/TableWriter.h"
#include "tools/palvorin/Commands.h"

namespace {

// Standard output, written with write(2): the writer hands over large pieces.
class cStandardOutput : public cTextOutput {
public:
    bool Write(const char* data, size_t size) override {
        while (size > 0) {
            const ssize_t written = write(STDOUT_FILENO, data, size);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                mErrno = written < 0 ? errno : EIO;
                return false;
            }
            data += written;
            size -= static_cast<size_t>(written);
        }
        return true;
    }
    int mErrno = 0;  // of the failed write
};

void Line(const char* label, uint64_t count, const char* note = "") {
    fprintf(stderr, "  %-34s %10" PRIu64 "%s\n", label, count, note);
}

void Summary(eTable table, const std::string& path, uint64_t rows, const sTableSummary& summary,
             uint64_t problems) {
    static const char* const kRowNames[TABLE_COUNT] = {"items", "messages", "measured cells",
                                                       "serving-cell periods", "events"};
    fprintf(stderr, "%s of %s: %" PRIu64 " %s\n", TableDef(table).mName, path.c_str(), rows,
            kRowNames[table]);
    Line("items read", summary.mItems);
    uint64_t measurementLogs = 0;
    for (unsigned int status = 0; status < MEAS_STATUS_COUNT; ++status) {
        measurementLogs += status != MEAS_NOT_MEASUREMENT ? summary.mMeasByStatus[status] : 0;
    }
    uint64_t signallingLogs = 0;
    for (unsigned int status = 0; status < OTA_EXTRACT_STATUS_COUNT; ++status) {
        signallingLogs += status != OTA_EXTRACT_NOT_SIGNALLING ? summary.mOTAByStatus[status] : 0;
    }
    const bool measurements = table == TABLE_MEASUREMENTS || table == TABLE_CELLS || table == TABLE_EVENTS;
    const bool signalling = table != TABLE_MEASUREMENTS;
    if (measurements) {
        Line("measurement, cell and state logs", measurementLogs);
        for (unsigned int status = 0; status < MEAS_STATUS_COUNT; ++status) {
            if (status != MEAS_NOT_MEASUREMENT) {
                char label[64];
                snprintf(label, sizeof label, "  %s", MeasStatusName(static_cast<eMeasStatus>(status)));
                Line(label, summary.mMeasByStatus[status]);
            }
        }
        Line("  values out of physical range", summary.mOutOfRange, " (left empty)");
        if (summary.mCellsDropped != 0) {
            Line("  cells beyond a record's room", summary.mCellsDropped);
        }
    }
    if (signalling) {
        Line("signalling logs", signallingLogs);
        for (unsigned int status = 0; status < OTA_EXTRACT_STATUS_COUNT; ++status) {
            if (status != OTA_EXTRACT_NOT_SIGNALLING) {
                char label[64];
                snprintf(label, sizeof label, "  %s",
                         status == OTA_EXTRACT_MESSAGE
                             ? "used"
                             : OTAExtractStatusName(static_cast<eOTAExtractStatus>(status)));
                Line(label, summary.mOTAByStatus[status]);
            }
        }
    }
    const uint64_t read = measurementLogs + signallingLogs;
    Line("other items", summary.mItems > read ? summary.mItems - read : 0);
    if (problems != 0) {
        fprintf(stderr, "palvorin: %s has %" PRIu64 " inconsistencies (palvorin verify lists them)\n",
                path.c_str(), problems);
    }
}

}  // namespace

int RunTable(const sTableOptions& options) {
    cStandardOutput output;
    cTableWriter writer(options.mTable, options.mFormat, output);
    sTableSummary summary;
    std::string error;
    uint64_t problems = 0;
    if (!ReadCaptureTables(options.mPath, TableBit(options.mTable), writer, summary, error, &problems)) {
        fprintf(stderr, "palvorin: %s\n", error.c_str());
        return 1;
    }
    if (!writer.Finish()) {
        fprintf(stderr, "palvorin: writing the %s table failed: %s\n", TableDef(options.mTable).mName,
                strerror(output.mErrno));
        return 1;
    }
    Summary(options.mTable, options.mPath, writer.Rows(), summary, problems);
    return 0;
}
