// Over-the-air items that complete WCDMA system-information blocks, written through the store and read
// back through the ISF reader: the rebuilt blocks follow the item that completed them.
#include "tests/ISFTestSupport.h"
#include "tests/SIMessageWriter.h"

namespace {

using namespace isftest;
using namespace wcdma_test;
using SI = cSIMessageWriter;

// kT0 + 7 ms in the diagnostic time format. 2020-01-01 is 14605 days after 1980-01-06 (40 years of
// which 10 leap years, less 5 days): 1,261,872,000 s = 1,009,497,600,000 periods of 1.25 ms. 7 ms are 5
// periods and 0.6 of one, 0.6 x 49152 = 29491.2.
const FILETIME kTime = AtMs(7);
const unsigned long long kCDMATime = ((1009497600000ULL + 5) << 16) + 29491;

Bytes RebuiltLog(unsigned char sibType, const BitString& bits) {
    const Bytes payload = RebuiltPayload(254, 0, sibType, bits);
    const size_t length = payload.size() + 12;
    Bytes log = {0x10,
                 0x00,
                 static_cast<unsigned char>(length),
                 static_cast<unsigned char>(length >> 8),
                 static_cast<unsigned char>(length),
                 static_cast<unsigned char>(length >> 8),
                 0x2F,
                 0x41};
    for (int i = 0; i < 8; ++i) {
        log.push_back(static_cast<unsigned char>(kCDMATime >> (8 * i)));
    }
    log.insert(log.end(), payload.begin(), payload.end());
    return log;
}

// The items of a closed, consistent file from the first one whose payload is `start` on (what the store
// writes at open comes before it).
std::vector<sISFItem> ItemsFrom(const std::string& path, const Bytes& start) {
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_TRUE(file.mClosed);
    auto from = file.mItems.begin();
    while (from != file.mItems.end() && from->mPayload != start) {
        ++from;
    }
    return std::vector<sISFItem>(from, file.mItems.end());
}

TEST(ISFStoreWCDMA, CompletedBlocksFollowTheItemThatCompletedThem) {
    const BitString seg = PatternBits(222, 1);
    const BitString tail = PatternBits(50, 2);
    const BitString one = PatternBits(30, 3);
    const BitString two = PatternBits(200, 4);
    const Bytes first = SI::BCH(kFirstSegment).FirstSegment(5, 2, seg).Log();
    const Bytes lastAndComplete =
        SI::BCH(kLastAndComplete).LastSegmentShort(5, 1, tail).CompleteSIBList({{1, one}, {2, two}}).Log();
    const Bytes unrelated = LogPacket(0x1007, 6);  // over-the-air, but not WCDMA

    cTempDir dir;
    const std::string path = dir.File("wcdma.isf");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        EXPECT_EQ(Write(store, 3, first, AtMs(1)), 0u);
        EXPECT_EQ(Write(store, 3, unrelated, AtMs(2)), 0u);
        EXPECT_EQ(Write(store, 3, lastAndComplete, kTime), 0u);
        store.CloseFileStore();
    }
    const std::vector<sISFItem> items = ItemsFrom(path, first);
    const std::vector<Bytes> expected = {
        first, unrelated, lastAndComplete, RebuiltLog(5, seg + tail), RebuiltLog(1, one), RebuiltLog(2, two)};
    ASSERT_EQ(items.size(), expected.size());
    for (size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(items[i].mPayload, expected[i]) << "item " << i;
        EXPECT_EQ(items[i].mType, 8u) << "item " << i << ": over-the-air log";
    }
    for (size_t i = 3; i < items.size(); ++i) {
        EXPECT_EQ(items[i].mTimeMs, kT0Ms + 7) << "the time of the item that completed it";
    }
}

TEST(ISFStoreWCDMA, SegmentsSplitAcrossTwoFilesOfOneStoreAreJoined) {
    const BitString seg = PatternBits(222, 5);
    const BitString tail = PatternBits(100, 6);
    const Bytes first = SI::BCH(kFirstSegment).FirstSegment(12, 2, seg).Log();
    const Bytes last = SI::BCH(kLastSegmentShort).LastSegmentShort(12, 1, tail).Log();

    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("one.isf").c_str()), 0u);
    EXPECT_EQ(Write(store, 3, first, AtMs(1)), 0u);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("two.isf").c_str()), 0u);  // closes the first file
    EXPECT_EQ(Write(store, 3, last, kTime), 0u);
    store.CloseFileStore();

    EXPECT_EQ(ItemsFrom(dir.File("one.isf"), first).size(), 1u) << "the first segment alone";
    const std::vector<sISFItem> items = ItemsFrom(dir.File("two.isf"), last);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].mPayload, last);
    EXPECT_EQ(items[1].mPayload, RebuiltLog(12, seg + tail));
    EXPECT_EQ(items[1].mTimeMs, kT0Ms + 7);
}

}  // namespace
