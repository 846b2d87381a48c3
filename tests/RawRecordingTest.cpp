// Recording a raw stream into an ISF file (stream/RawRecording.h), and telling an ISF file from a raw
// stream by content (stream/CaptureFileKind.h): real capture A, failed reads and writes, files that are
// neither.
#include "stream/RawRecording.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "jni/ISFStore.h"
#include "jni/ISFTime.h"
#include "stream/CaptureFileKind.h"
#include "tests/DiagPackets.h"
#include "tests/ISFTestSupport.h"

namespace {

using isftest::cTempDir;

std::string DataPath(const std::string& name) {
    return std::string(PALVORIN_TEST_DATA) + "/" + name;
}

void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Hands the bytes out `chunk` at a time, failing with EIO once `failAt` bytes are out (0: never).
class cScriptedInput : public cRawInput {
public:
    cScriptedInput(const Bytes& bytes, size_t chunk, size_t failAt)
        : mBytes(bytes), mChunk(chunk), mFailAt(failAt) {}
    long Read(unsigned char* into, size_t room) override {
        if (mFailAt != 0 && mAt >= mFailAt) {
            errno = EIO;
            return -1;
        }
        size_t n = std::min({room, mChunk, mBytes.size() - mAt});
        if (mFailAt != 0) {
            n = std::min(n, mFailAt - mAt);
        }
        memcpy(into, mBytes.data() + mAt, n);
        mAt += n;
        return static_cast<long>(n);
    }

private:
    const Bytes& mBytes;
    size_t mChunk;
    size_t mFailAt;
    size_t mAt = 0;
};

// The items after the tool-version record (index 0, stamped at the recording's own time): payload and time.
using tStored = std::vector<std::pair<Bytes, uint64_t>>;

tStored StoredItems(const std::string& path) {
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << isftest::Problems(file);
    EXPECT_TRUE(file.mClosed);
    tStored items;
    for (size_t i = 1; i < file.mItems.size(); ++i) {
        items.push_back({file.mItems[i].mPayload, file.mItems[i].mTimeMs});
    }
    return items;
}

std::string Counts(const sRawRecording& r) {
    char line[128];
    snprintf(line, sizeof line, "bytes %llu, %llu leading, %llu frames, %llu bad, %llu unclosed, %llu items",
             static_cast<unsigned long long>(r.mBytes), static_cast<unsigned long long>(r.mLeadingBytes),
             static_cast<unsigned long long>(r.mFrames), static_cast<unsigned long long>(r.mBadFrames),
             static_cast<unsigned long long>(r.mUnclosedBytes), static_cast<unsigned long long>(r.mItems));
    return line;
}

// Records `stream` handed out `chunk` at a time, failing with EIO once `failAt` bytes are out (0: never).
sRawRecording RecordInChunks(const Bytes& stream, size_t chunk, const std::string& path, size_t failAt = 0) {
    cISFStore store;
    EXPECT_EQ(store.OpenNewFileStore(path.c_str()), ISF_STATUS_OK);
    cScriptedInput input(stream, chunk, failAt);
    cItemClock clock(ITEM_CLOCK_PACKET);
    const sRawRecording recording = RecordRawStream(input, store, clock);
    store.CloseFileStore();
    return recording;
}

// Capture A whole and in chunks that cut every frame and escape; the counts from its description
// (tests/data/README.md), its first log packet's time from the formats page (2015-08-01 02:11:40.984 UTC).
TEST(RawRecording, CaptureAWholeAndInChunksOfAnySize) {
    cTempDir dir;
    const std::string isf = dir.File("a.isf");
    const sRawRecording recording = RecordRawFile(DataPath("raw_diag_stream_a.bin"), isf);
    ASSERT_EQ(recording.mStatus, RAW_RECORDING_OK) << RawRecordingError(recording, "a", isf);
    EXPECT_EQ(Counts(recording), "bytes 317107, 7 leading, 5501 frames, 0 bad, 0 unclosed, 5502 items");
    const tStored whole = StoredItems(isf);
    ASSERT_EQ(whole.size(), 5501u);
    EXPECT_EQ(whole.front().second, 1438395100984ULL + 11644473600000ULL);  // ms after 1601
    const Bytes stream = ReadTestData("raw_diag_stream_a.bin");
    for (size_t chunk : {size_t(1), size_t(7)}) {
        const std::string path = dir.File("chunks.isf");
        EXPECT_EQ(Counts(RecordInChunks(stream, chunk, path)),
                  "bytes 317107, 7 leading, 5501 frames, 0 bad, 0 unclosed, 0 items")
            << chunk;
        EXPECT_TRUE(StoredItems(path) == whole) << "chunks of " << chunk;
    }
}

TEST(RawRecording, AFailedReadKeepsTheFramesBeforeIt) {
    cTempDir dir;
    const Bytes stream = ReadTestData("raw_diag_stream_a.bin");
    const std::string path = dir.File("cut.isf");
    const sRawRecording recording = RecordInChunks(stream, 1000, path, 100000);
    EXPECT_EQ(recording.mStatus, RAW_RECORDING_READ_FAILED);
    EXPECT_EQ(recording.mErrno, EIO);
    EXPECT_EQ(recording.mBytes, 100000u);
    EXPECT_GT(recording.mFrames, 1000u);
    EXPECT_LT(recording.mFrames, 5501u);
    EXPECT_EQ(StoredItems(path).size(), recording.mFrames);
    EXPECT_EQ(RawRecordingError(recording, "in.bin", path), "cannot read in.bin: Input/output error");
}

TEST(RawRecording, FilesThatCannotBeRecorded) {
    cTempDir dir;
    const std::string stream = DataPath("raw_diag_stream_b.bin");
    const struct {
        const char* mCase;
        std::string mInput, mOutput;
        eRawRecordingStatus mStatus;
        std::string mError;
    } cases[] = {
        {"missing input", dir.File("none.bin"), dir.File("x.isf"), RAW_RECORDING_CANNOT_OPEN,
         "cannot open " + dir.File("none.bin") + ": No such file or directory"},
        {"a directory as input", dir.File(""), dir.File("x.isf"), RAW_RECORDING_READ_FAILED,
         "cannot read " + dir.File("") + ": Is a directory"},
        {"output in a missing directory", stream, dir.File("no/x.isf"), RAW_RECORDING_CANNOT_CREATE,
         "cannot create " + dir.File("no/x.isf") + ": No such file or directory"},
    };
    for (const auto& c : cases) {
        const sRawRecording recording = RecordRawFile(c.mInput, c.mOutput);
        EXPECT_EQ(recording.mStatus, c.mStatus) << c.mCase;
        EXPECT_EQ(RawRecordingError(recording, c.mInput, c.mOutput), c.mError) << c.mCase;
    }
}

TEST(RawRecording, AFailedWriteIsReported) {
    cTempDir dir;
    const std::string path = dir.File("full.isf");
    // The 200th write fails as on a full disk: the store refuses the item being written.
    isftest::cTestStreamFactory streams;
    streams.mScript.mFailOp = isftest::OP_WRITE;
    streams.mScript.mFailAt = 200;
    const sRawRecording recording = RecordRawFile(DataPath("raw_diag_stream_a.bin"), path, &streams);
    EXPECT_EQ(recording.mStatus, RAW_RECORDING_WRITE_FAILED);
    EXPECT_NE(recording.mStoreStatus, ISF_STATUS_OK);
    EXPECT_LT(recording.mFrames, 5501u);
    EXPECT_EQ(
        RawRecordingError(recording, "a.bin", path).rfind("writing " + path + " failed (store status ", 0),
        0u);
}

TEST(CaptureFileKind, ToldByContentNotByName) {
    cTempDir dir;
    const Bytes streamA = ReadTestData("raw_diag_stream_a.bin");
    ASSERT_EQ(RecordRawFile(DataPath("raw_diag_stream_a.bin"), dir.File("a.bin")).mStatus, RAW_RECORDING_OK);
    WriteFile(dir.File("a.isf"), streamA);
    WriteFile(dir.File("empty.isf"), {});
    WriteFile(dir.File("text.txt"), Bytes(5000, 'a'));
    WriteFile(dir.File("flags.bin"), Bytes(1000, 0x7E));  // empty frames only
    // The first 300 bytes of stream A: the stray bytes and a few frames, the last one cut.
    WriteFile(dir.File("head.bin"), Bytes(streamA.begin(), streamA.begin() + 300));
    const struct {
        const char* mName;
        eCaptureFileKind mKind;
    } cases[] = {
        {"a.bin", CAPTURE_FILE_ISF},  // the recording, whatever its name
        {"a.isf", CAPTURE_FILE_RAW},  // the raw stream
        {"head.bin", CAPTURE_FILE_RAW},       {"empty.isf", CAPTURE_FILE_EMPTY},
        {"text.txt", CAPTURE_FILE_UNKNOWN},   {"flags.bin", CAPTURE_FILE_UNKNOWN},
        {"missing", CAPTURE_FILE_UNREADABLE}, {"", CAPTURE_FILE_UNREADABLE},  // the directory
    };
    for (const auto& c : cases) {
        int error = 0;
        EXPECT_EQ(CaptureFileKindOf(dir.File(c.mName), error), c.mKind) << c.mName;
        EXPECT_EQ(error != 0, c.mKind == CAPTURE_FILE_UNREADABLE) << c.mName;
    }
}

}  // namespace
