// Recording from a source into ISF files: rotation by size and by time that loses and repeats no item at a
// boundary, a next file that cannot be made, and a failed write-back reported with its reason.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/DiagPackets.h"
#include "tests/ISFTestSupport.h"
#include "tests/ToolTestSources.h"
#include "tools/palvorin/ErrnoStream.h"
#include "tools/palvorin/PathSource.h"
#include "tools/palvorin/Recording.h"

namespace {

// Records `source` to its end into `output` with `rotation`; the files made.
std::vector<std::string> RecordAll(cSource& source, const std::string& output,
                                   const sRotationLimits& rotation) {
    sRecordingSetup setup;
    setup.mInput = source.Name();
    setup.mOutput = output;
    setup.mRotation = rotation;
    cStopSignals signals({SIGINT});
    cRecording recording(setup);
    EXPECT_TRUE(recording.Open(cItemClock(ITEM_CLOCK_PACKET)));
    eReadResult read;
    while ((read = recording.ReadOnce(source, -1, signals)) == READ_DATA || read == READ_NOTHING) {
    }
    EXPECT_EQ(read, READ_END);
    EXPECT_EQ(recording.Close(0, nullptr), 0);
    return recording.Files();
}

// The payloads of every item of `files` but their tool-version records, in order; each file must be
// consistent and closed.
std::vector<Bytes> Items(const std::vector<std::string>& files) {
    std::vector<Bytes> items;
    for (const std::string& path : files) {
        const sISFFile file = ReadISFFile(path);
        EXPECT_TRUE(file.Consistent() && file.mClosed) << path << ": " << isftest::Problems(file);
        EXPECT_GE(file.mItems.size(), 1u) << path;
        for (size_t i = 1; i < file.mItems.size(); ++i) {
            items.push_back(file.mItems[i].mPayload);
        }
    }
    return items;
}

TEST(ToolRecording, RotationBySizeLosesAndRepeatsNoItem) {
    isftest::cTempDir dir;
    const std::string stream = std::string(PALVORIN_TEST_DATA) + "/raw_diag_stream_a.bin";
    cPathSource whole(stream, sSourceOptions());
    cPathSource again(stream, sSourceOptions());
    std::string error;
    ASSERT_TRUE(whole.Open(error) && again.Open(error)) << error;
    const std::vector<Bytes> expected = Items(RecordAll(whole, dir.File("one.isf"), sRotationLimits()));
    ASSERT_EQ(expected.size(), 5501u) << "every frame of capture A";
    sRotationLimits limits;
    limits.mBytes = 150000;
    const std::vector<std::string> files = RecordAll(again, dir.File("rot.isf"), limits);
    // The ISF of capture A in one file is 401,338 bytes; each file has an index block of its own.
    ASSERT_GE(files.size(), 3u);
    EXPECT_EQ(files[1], dir.File("rot-0001.isf"));
    EXPECT_EQ(Items(files), expected);
    // Every file but the last is closed at the item that took it past the size: its records (the largest of
    // capture A is under 2 KB) and its table end a little beyond.
    for (size_t i = 0; i + 1 < files.size(); ++i) {
        struct stat status;
        ASSERT_EQ(stat(files[i].c_str(), &status), 0);
        EXPECT_GE(static_cast<uint64_t>(status.st_size), limits.mBytes) << files[i];
        EXPECT_LT(static_cast<uint64_t>(status.st_size), limits.mBytes + 4096) << files[i];
    }
}

TEST(ToolRecording, RotationByTimeLosesAndRepeatsNoItem) {
    isftest::cTempDir dir;
    tooltest::cChunkSource source;
    std::vector<Bytes> logs;
    for (uint32_t i = 0; i < 24; ++i) {
        logs.push_back(tooltest::NumberedLog(0xB0C1, i));
        source.mChunks.push_back(tooltest::Framed(logs.back()));
    }
    source.mPauseMs = 10;
    sRotationLimits limits;
    limits.mSeconds = 0.05;
    const std::vector<std::string> files = RecordAll(source, dir.File("timed.isf"), limits);
    // 24 reads 10 ms apart take 240 ms or more: four files at least.
    EXPECT_GE(files.size(), 4u);
    EXPECT_EQ(Items(files), logs);
}

TEST(ToolRecording, ASecondFileThatCannotBeMadeStopsTheRecording) {
    isftest::cTempDir dir;
    const std::string stream = std::string(PALVORIN_TEST_DATA) + "/raw_diag_stream_a.bin";
    cPathSource source(stream, sSourceOptions());
    std::string error;
    ASSERT_TRUE(source.Open(error));
    // A directory where the second file should go.
    ASSERT_EQ(mkdir(dir.File("rot-0001.isf").c_str(), 0700), 0);
    sRecordingSetup setup;
    setup.mInput = stream;
    setup.mOutput = dir.File("rot.isf");
    setup.mRotation.mBytes = 100000;
    cStopSignals signals({SIGINT});
    cRecording recording(setup);
    ASSERT_TRUE(recording.Open(cItemClock(ITEM_CLOCK_PACKET)));
    EXPECT_EQ(recording.ReadOnce(source, -1, signals), WRITE_FAILED);
    EXPECT_EQ(recording.Close(1, nullptr), 1);
    const sISFFile first = ReadISFFile(setup.mOutput);
    EXPECT_TRUE(first.Consistent() && first.mClosed) << "the first file is whole";
}

// A file system that takes every write and fails to write it back.
class cFailingWriteBack : public cErrnoFileStream {
public:
    using cErrnoFileStream::cErrnoFileStream;

protected:
    int Sync(int) override { return EIO; }
};

TEST(ToolRecording, AFailedWriteBackIsReportedWithItsReason) {
    isftest::cTempDir dir;
    cErrnoStreamFactory factory;
    delete factory.NewStream();  // the factory's counts start afresh with each stream
    cFailingWriteBack stream(factory);
    ASSERT_TRUE(stream.Open(dir.File("lost.isf").c_str()));
    const Bytes bytes(3000, 0x42);
    stream.Write(bytes.data(), bytes.size());
    EXPECT_EQ(factory.mSize, 3000u);
    EXPECT_EQ(factory.mError, 0);
    stream.Close();
    EXPECT_EQ(factory.mCloseError, EIO);
}

}  // namespace
