// Recording a raw stream into an ISF file as `palvorin record` does (stream/RawRecording.h), and telling an
// ISF file from a raw stream by content (stream/CaptureFileKind.h): the real captures A and B, inputs cut
// into chunks anywhere, failed reads and writes, and files that are neither.
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
struct sStored {
    Bytes mPayload;
    uint64_t mTimeMs;
    bool operator==(const sStored& other) const {
        return mPayload == other.mPayload && mTimeMs == other.mTimeMs;
    }
};

std::vector<sStored> StoredItems(const std::string& path) {
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << isftest::Problems(file);
    EXPECT_TRUE(file.mClosed);
    std::vector<sStored> items;
    for (size_t i = 1; i < file.mItems.size(); ++i) {
        items.push_back({file.mItems[i].mPayload, file.mItems[i].mTimeMs});
    }
    return items;
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

TEST(RawRecording, CaptureAAsTheToolRecordsIt) {
    cTempDir dir;
    const std::string isf = dir.File("a.isf");
    const sRawRecording recording = RecordRawFile(DataPath("raw_diag_stream_a.bin"), isf);
    ASSERT_EQ(recording.mStatus, RAW_RECORDING_OK) << RawRecordingError(recording, "a", isf);
    // The capture's description (tests/data/README.md): 317,107 bytes, 7 stray bytes, 5,501 good frames.
    EXPECT_EQ(recording.mBytes, 317107u);
    EXPECT_EQ(recording.mLeadingBytes, 7u);
    EXPECT_EQ(recording.mFrames, 5501u);
    EXPECT_EQ(recording.mBadFrames, 0u);
    EXPECT_EQ(recording.mUnclosedBytes, 0u);
    EXPECT_EQ(recording.mItems, 5502u) << "the frames and the tool-version record";
    const std::vector<sStored> items = StoredItems(isf);
    ASSERT_EQ(items.size(), 5501u);
    // Its first log packet was logged at 2015-08-01 02:11:40.984 UTC: 1438395100984 ms after 1970, which is
    // 11644473600000 ms after 1601.
    EXPECT_EQ(items.front().mTimeMs, 1438395100984ULL + 11644473600000ULL);
}

TEST(RawRecording, CaptureBInsideTheMultiSIMWrapper) {
    cTempDir dir;
    const FILETIME before = CurrentFiletime();
    const sRawRecording recording = RecordRawFile(DataPath("raw_diag_stream_b.bin"), dir.File("b.isf"));
    const FILETIME after = CurrentFiletime();
    ASSERT_EQ(recording.mStatus, RAW_RECORDING_OK);
    EXPECT_EQ(recording.mBytes, 2994u);
    EXPECT_EQ(recording.mFrames, 19u);
    EXPECT_EQ(recording.mBadFrames, 0u);
    const std::vector<sStored> items = StoredItems(dir.File("b.isf"));
    ASSERT_EQ(items.size(), 19u);
    // Its first frame is an 8-byte response, which carries no time of its own: it takes the time it was read.
    EXPECT_EQ(items[0].mPayload.size(), 8u);
    EXPECT_GE(items[0].mTimeMs, before / FILETIME_UNITS_PER_MS);
    EXPECT_LE(items[0].mTimeMs, after / FILETIME_UNITS_PER_MS);
    // The log packets after it carry theirs: 2020-11-15T10:17:56.946Z (palvorin dump).
    EXPECT_EQ(items[1].mTimeMs, 1605435476946ULL + 11644473600000ULL);
}

TEST(RawRecording, WhereTheChunksEndChangesNothing) {
    cTempDir dir;
    const Bytes stream = ReadTestData("raw_diag_stream_a.bin");
    ASSERT_EQ(RecordInChunks(stream, stream.size(), dir.File("whole.isf")).mFrames, 5501u);
    const std::vector<sStored> whole = StoredItems(dir.File("whole.isf"));
    // Chunks of one byte cut every frame and every escape; odd sizes cut them at every other place.
    for (size_t chunk : {size_t(1), size_t(2), size_t(7), size_t(4093), size_t(65536)}) {
        const std::string path = dir.File("chunks.isf");
        const sRawRecording recording = RecordInChunks(stream, chunk, path);
        EXPECT_EQ(recording.mStatus, RAW_RECORDING_OK) << chunk;
        EXPECT_EQ(recording.mBytes, stream.size()) << chunk;
        EXPECT_EQ(recording.mFrames, 5501u) << chunk;
        EXPECT_EQ(recording.mBadFrames, 0u) << chunk;
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
    Bytes random(100000);
    uint32_t state = 12345;
    for (unsigned char& byte : random) {
        state = state * 1103515245u + 12345u;
        byte = static_cast<unsigned char>(state >> 16);
    }
    WriteFile(dir.File("random.bin"), random);
    WriteFile(dir.File("text.txt"), Bytes(5000, 'a'));
    WriteFile(dir.File("short"), {0x08, 0x31, 0x60});
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
        {"random.bin", CAPTURE_FILE_UNKNOWN}, {"text.txt", CAPTURE_FILE_UNKNOWN},
        {"short", CAPTURE_FILE_UNKNOWN},      {"flags.bin", CAPTURE_FILE_UNKNOWN},
        {"missing", CAPTURE_FILE_UNREADABLE}, {"", CAPTURE_FILE_UNREADABLE},  // the directory
    };
    for (const auto& c : cases) {
        int error = 0;
        EXPECT_EQ(CaptureFileKindOf(dir.File(c.mName), error), c.mKind) << c.mName;
        EXPECT_EQ(error != 0, c.mKind == CAPTURE_FILE_UNREADABLE) << c.mName;
    }
    int error = 0;
    EXPECT_EQ(CaptureFileKindOf(DataPath("raw_diag_stream_b.bin"), error), CAPTURE_FILE_RAW);
}

}  // namespace
