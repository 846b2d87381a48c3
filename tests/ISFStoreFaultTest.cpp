// Stream failures injected at every call an item write makes, a real full disk, and the chunking of writes.
#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

TEST(ISFStoreFault, WritesAreHandedToTheStreamInChunks) {
    struct {
        unsigned int mChunkSize;
        unsigned int mLength;
        std::vector<size_t> mWrites;
    } const cases[] = {
        {16384, 16384, {16384, 0}},
        {16384, 57360, {16384, 16384, 16384, 8208}},
        {16384, 7, {7}},
        {100, 250, {100, 100, 50}},
    };
    cTempDir dir;
    cTestStreamFactory streams;
    cISFStore store(&streams);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("chunks.isf").c_str()), 0u);
    const Bytes data(57360, 0x5A);
    for (const auto& c : cases) {
        store.mWriteChunkSize = c.mChunkSize;
        streams.mScript.mWriteLengths.clear();
        EXPECT_EQ(store.WriteFile(100, data.data(), c.mLength), 0u);
        EXPECT_EQ(streams.mScript.mWriteLengths, c.mWrites) << c.mLength << " in chunks of " << c.mChunkSize;
    }
}

// Writes `items` log packets, each 20 bytes, after the open.
void WriteItems(cISFStore& store, int items) {
    const Bytes packet = LogPacket(0x1234, 4);
    for (int i = 0; i < items; ++i) {
        ASSERT_EQ(Write(store, 3, packet, kT0), 0u);
    }
}

// Fails the `nth` call of `op` counted from the next item write, checks that the write reports 9 with the
// counters unchanged, that later writes report 9, and that the closed file reads back consistent with
// exactly the items written before.
void CheckFailureDuringItem(int itemsBefore, eStreamOp op, unsigned int nth, const std::string& what) {
    SCOPED_TRACE(what);
    cTempDir dir;
    const std::string path = dir.File("fault.isf");
    cTestStreamFactory streams;
    {
        cISFStore store(&streams);
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        WriteItems(store, itemsBefore);
        const uint32_t count = store.mItemCount;
        const uint32_t blocks = store.mIndexBlockCount;
        streams.mScript.mFailOp = op;
        streams.mScript.mFailAt = streams.mScript.mCalls[op] + nth;
        ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
        EXPECT_EQ(store.mItemCount, count);
        if (store.mIndexBlockCount == blocks) {  // a new block already in place starts empty
            EXPECT_EQ(store.mItemsInBlock, count - (blocks - 1) * 8192);
        } else {
            EXPECT_EQ(store.mItemsInBlock, 0u);
        }
        EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
        store.CloseFileStore();
        EXPECT_EQ(store.mFile, nullptr);
        EXPECT_EQ(store.mItemCount, 0u);
    }
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_FALSE(file.mClosed);
    EXPECT_EQ(file.mItems.size(), 1u + itemsBefore);
}

TEST(ISFStoreFault, AFailureAtEachWriteOfAnItemLeavesTheFileConsistent) {
    // An ordinary item: its record, then its index entry.
    for (unsigned int nth = 1; nth <= 2; ++nth) {
        CheckFailureDuringItem(3, OP_WRITE, nth, "write " + std::to_string(nth) + " of an item");
    }
    // The 8193rd item: three chunks and the rest of the new block, the link, the record, the entry.
    for (unsigned int nth = 1; nth <= 7; ++nth) {
        CheckFailureDuringItem(8191, OP_WRITE, nth,
                               "write " + std::to_string(nth) + " of a block-starting item");
    }
}

TEST(ISFStoreFault, AFailureOfAnyOtherStreamOperationIsReportedAs9) {
    const struct {
        eStreamOp mOp;
        const char* mName;
    } ops[] = {{OP_FLUSH, "flush"}, {OP_SEEK, "seek"}, {OP_SEEK_END, "seek to the end"}, {OP_TELL, "tell"}};
    for (const auto& op : ops) {
        for (unsigned int nth = 1; nth <= 2; ++nth) {
            CheckFailureDuringItem(2, op.mOp, nth, std::string(op.mName) + " call " + std::to_string(nth));
        }
    }
}

// What an open logs when the tool-version record cannot be written.
const std::vector<std::string> kFailedOpenLog = {"VERSION 3.00.011", "MAJOR 3, MINOR 0, BUILD 011",
                                                 "Unable to write tool ver 9"};

TEST(ISFStoreFault, FailuresWhileOpeningAreLoggedAndTheFileStaysClosable) {
    // Writes of an open: the header, the first block (4 writes), the tool-version record and its entry.
    for (unsigned int nth = 1; nth <= 7; ++nth) {
        SCOPED_TRACE("write " + std::to_string(nth) + " of the open");
        cTempDir dir;
        cTestStreamFactory streams;
        streams.mScript.mFailOp = OP_WRITE;
        streams.mScript.mFailAt = nth;
        cISFStore store(&streams);
        cLogCapture log;
        EXPECT_EQ(store.OpenNewFileStore(dir.File("open.isf").c_str()), nth == 1 ? 9u : 0u);
        EXPECT_EQ(log.Texts(), kFailedOpenLog);
        EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
        store.CloseFileStore();
        const sISFFile file = ReadISFFile(dir.File("open.isf"));
        EXPECT_TRUE(file.Consistent()) << Problems(file);
        EXPECT_TRUE(file.mItems.empty());
    }
}

TEST(ISFStoreFault, AFailedCloseIsNotReported) {
    cTempDir dir;
    cTestStreamFactory streams;
    streams.mScript.mFailOp = OP_CLOSE;
    streams.mScript.mFailAt = 1;
    cISFStore store(&streams);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("close.isf").c_str()), 0u);
    store.CloseFileStore();
    EXPECT_EQ(store.mFile, nullptr);
    EXPECT_EQ(streams.mScript.mCalls[OP_CLOSE], 1u);
}

TEST(ISFStoreFault, AFullDiskReports9AndNeverCrashes) {
    cISFStore store;
    cLogCapture log;
    EXPECT_EQ(store.OpenNewFileStore("/dev/full"), 9u);
    const std::vector<sLogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].mText, kFailedOpenLog[0]);
    EXPECT_EQ(lines[2].mText, kFailedOpenLog[2]);
    EXPECT_EQ(lines[2].mPath, "jni/ISFStore.h");
    EXPECT_EQ(lines[2].mTag, "libPalvorin");
    const Bytes packet = LogPacket(0x1234, 100);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Write(store, 3, packet, kT0), 9u);
    }
    EXPECT_EQ(store.mItemCount, 0u);
    store.CloseFileStore();
    EXPECT_EQ(Write(store, 3, packet, kT0), 0u) << "closed: nothing to write to";
}

}  // namespace
