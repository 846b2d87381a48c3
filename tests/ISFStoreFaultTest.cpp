// Stream failures injected at every call an item write makes, and a real full disk.
#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

// After `itemsBefore` items, fails the `nth` call of `op` from the next item write on: that write reports
// 9 with the counters unchanged, later writes report 9, and the file closes consistent with exactly the
// items written before.
void CheckFailureDuringItem(int itemsBefore, eStreamOp op, unsigned int nth) {
    SCOPED_TRACE("operation " + std::to_string(op) + ", call " + std::to_string(nth));
    cTempDir dir;
    const std::string path = dir.File("fault.isf");
    cTestStreamFactory streams;
    cISFStore store(&streams);
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    for (int i = 0; i < itemsBefore; ++i) {
        ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 0u);
    }
    const uint32_t count = cISFStoreInspector::ItemCount(store);
    const uint32_t blocks = cISFStoreInspector::BlockCount(store);
    streams.mScript.mFailOp = op;
    streams.mScript.mFailAt = nth;
    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
    EXPECT_EQ(cISFStoreInspector::ItemCount(store), count);
    // A new block already in place starts empty.
    EXPECT_EQ(cISFStoreInspector::ItemsInBlock(store),
              cISFStoreInspector::BlockCount(store) == blocks ? count - (blocks - 1) * 8192 : 0u);
    EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
    store.CloseFileStore();
    EXPECT_FALSE(cISFStoreInspector::HasFile(store));
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_FALSE(file.mClosed);
    EXPECT_EQ(file.mItems.size(), 1u + itemsBefore);
}

TEST(ISFStoreFault, AFailureAtEachStreamCallOfAnItemLeavesTheFileConsistent) {
    // An ordinary item: its record, then its index entry.
    for (unsigned int nth = 1; nth <= 2; ++nth) {
        CheckFailureDuringItem(3, OP_WRITE, nth);
    }
    // The 8193rd item: three chunks and the rest of the new block, the link, the record, the entry.
    for (unsigned int nth = 1; nth <= 7; ++nth) {
        CheckFailureDuringItem(8191, OP_WRITE, nth);
    }
    for (eStreamOp op : {OP_FLUSH, OP_SEEK, OP_SEEK_END, OP_TELL}) {
        for (unsigned int nth = 1; nth <= 2; ++nth) {
            CheckFailureDuringItem(2, op, nth);
        }
    }
}

const std::vector<std::string> kFailedOpenLog = {"VERSION 3.00.011", "MAJOR 3, MINOR 0, BUILD 011",
                                                 "Unable to write tool ver 9"};

TEST(ISFStoreFault, FailuresWhileOpeningAreLoggedAndTheFileStaysClosable) {
    // Writes of an open: the header, the first block (4 writes), the tool-version record and its entry.
    for (unsigned int nth = 1; nth <= 7; ++nth) {
        SCOPED_TRACE("write " + std::to_string(nth) + " of the open");
        cTempDir dir;
        cTestStreamFactory streams;
        streams.mScript = {OP_WRITE, nth};
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
    cTestStreamFactory streams;  // a failed close is not reported
    streams.mScript = {OP_CLOSE, 1};
    cTempDir dir;
    cISFStore store(&streams);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("close.isf").c_str()), 0u);
    store.CloseFileStore();
    EXPECT_FALSE(cISFStoreInspector::HasFile(store));
    EXPECT_EQ(streams.mScript.mCalls, 1u);
}

TEST(ISFStoreFault, AFullDiskReports9AndNeverCrashes) {
    cISFStore store;
    cLogCapture log;
    EXPECT_EQ(store.OpenNewFileStore("/dev/full"), 9u);
    const std::vector<sLogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 4u);
    // A device cannot be mapped: it is written with positioned writes, which says so once.
    EXPECT_EQ(lines[0].mText, "/dev/full: not a regular file: written without a mapping");
    EXPECT_EQ(lines[0].mPath, "jni/ISFMappedStream.cpp");
    EXPECT_EQ(lines[3].mText, kFailedOpenLog[2]);
    EXPECT_EQ(lines[3].mPath, "jni/ISFStore.h");
    EXPECT_EQ(lines[3].mTag, "libPalvorin");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 100), kT0), 9u);
    }
    EXPECT_EQ(cISFStoreInspector::ItemCount(store), 0u);
    store.CloseFileStore();
    EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 100), kT0), 0u) << "closed: nothing to write to";
}

}  // namespace
