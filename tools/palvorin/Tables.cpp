// palvorin measurements / cells / events / messages: one capture table of an ISF file
// (tables/CaptureTables.h) as an aligned table, CSV or JSON on standard output, then a summary on standard
// error that accounts for every item read. The file is walked item by item; nothing is kept per item.

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "stream/CaptureFileKind.h"
#include "stream/RawRecording.h"
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

// A raw diagnostic stream is recorded as `palvorin record` would (the packets' own clock) into a temporary
// ISF file, which is unlinked as soon as it is open again, so that nothing is left behind; `path` becomes
// that open file's name under /proc. False with the reason in `error`.
bool RecordTemporarily(const std::string& raw, int& fd, std::string& path, std::string& error) {
    const char* tmp = getenv("TMPDIR");
    std::string name = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/palvorin-XXXXXX.isf";
    const int made = mkstemps(&name[0], 4);
    if (made < 0) {
        error =
            "cannot create a temporary file in " + name.substr(0, name.rfind('/')) + ": " + strerror(errno);
        return false;
    }
    close(made);
    const sRawRecording recording = RecordRawFile(raw, name);
    if (recording.mStatus != RAW_RECORDING_OK || recording.mFrames == 0) {
        unlink(name.c_str());
        error = recording.mStatus != RAW_RECORDING_OK ? RawRecordingError(recording, raw, name)
                                                      : raw + ": no frame of a diagnostic stream in it";
        return false;
    }
    fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    const int openError = errno;
    unlink(name.c_str());
    if (fd < 0) {
        error = "cannot open the recording of " + raw + ": " + strerror(openError);
        return false;
    }
    path = "/proc/self/fd/" + std::to_string(fd);
    fprintf(stderr,
            "%s: a raw diagnostic stream, %" PRIu64 " frames (%" PRIu64
            " bad), read through a "
            "temporary recording\n",
            raw.c_str(), recording.mFrames, recording.mBadFrames);
    return true;
}

// One table of the ISF file at `path` (`options.mPath` is the name the user gave).
int RunTableOn(const sTableOptions& options, const std::string& path) {
    cStandardOutput output;
    cTableWriter writer(options.mTable, options.mFormat, output);
    sTableSummary summary;
    std::string error;
    uint64_t problems = 0;
    if (!ReadCaptureTables(path, TableBit(options.mTable), writer, summary, error, &problems)) {
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

}  // namespace

int RunTable(const sTableOptions& options) {
    std::string path = options.mPath;
    int recorded = -1;
    int kindError = 0;
    if (CaptureFileKindOf(options.mPath, kindError) == CAPTURE_FILE_RAW) {
        std::string error;
        if (!RecordTemporarily(options.mPath, recorded, path, error)) {
            fprintf(stderr, "palvorin: %s\n", error.c_str());
            return 1;
        }
    }
    const int status = RunTableOn(options, path);
    if (recorded >= 0) {
        close(recorded);
    }
    return status;
}
