// Stream failures injected at every call an item write or an open makes (a real full disk: the tool test).
#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

// After `itemsBefore` items, fails the `nth` call of `op` from the next item write on: that write and later
// ones report 9, and the file closes consistent with exactly the items written before.
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
    streams.mScript.mFailOp = op;
    streams.mScript.mFailAt = nth;
    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
    EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 4), kT0), 9u);
    store.CloseFileStore();
    EXPECT_FALSE(cISFStoreInspector::HasFile(store));
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_FALSE(file.mClosed);
    EXPECT_EQ(file.mItems.size(), 1u + itemsBefore);
}

TEST(ISFStoreFault, AFailureAtEachStreamCallOfAnItemLeavesTheFileConsistent) {
    // An ordinary item: its record, its index entry, the entry's length.
    for (unsigned int nth = 1; nth <= 3; ++nth) {
        CheckFailureDuringItem(3, OP_WRITE, nth);
    }
    // The 8193rd item: three chunks and the rest of the new block, the link, the record, the entry, its
    // length.
    for (unsigned int nth = 1; nth <= 8; ++nth) {
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

}  // namespace
