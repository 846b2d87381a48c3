// Over-the-air items that complete WCDMA system-information blocks, written through the store and read
// back through the ISF reader.
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

Bytes Rebuilt(unsigned char sibType, const BitString& bits) {
    Bytes log = RebuiltLog(254, 0, sibType, bits);
    PutLE(&log[8], kCDMATime, 8);
    return log;
}

// The payloads and times of a closed, consistent file from its item `from` on.
std::vector<Bytes> PayloadsFrom(const std::string& path, size_t from, uint64_t rebuiltMs) {
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent() && file.mClosed) << Problems(file);
    std::vector<Bytes> payloads;
    for (size_t i = from; i < file.mItems.size(); ++i) {
        payloads.push_back(file.mItems[i].mPayload);
        EXPECT_EQ(file.mItems[i].mType, 8u) << "item " << i << ": over-the-air log";
        if (GetLE(&file.mItems[i].mPayload[8], 8) == kCDMATime) {
            EXPECT_EQ(file.mItems[i].mTimeMs, rebuiltMs)
                << "item " << i << ": the time of the completing item";
        }
    }
    return payloads;
}

// Rebuilt blocks follow the item that completed them, with its time; a block whose segments are split
// across two files of one store object is completed in the second.
TEST(ISFStoreWCDMA, RebuiltBlocksFollowTheCompletingItemAlsoAcrossTwoFilesOfOneStore) {
    const BitString seg = PatternBits(222, 1);
    const BitString tail = PatternBits(50, 2);
    const BitString one = PatternBits(30, 3);
    const BitString two = PatternBits(200, 4);
    const Bytes first = SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(5, 2, seg).Log();
    const Bytes lastAndComplete = SI::BCH(PAYLOAD_LAST_AND_COMPLETE)
                                      .LastSegmentShort(5, 1, tail)
                                      .CompleteSIBList({{1, one}, {2, two}})
                                      .Log();
    const Bytes unrelated = LogPacket(0x1007, 6);  // over-the-air, but not WCDMA
    const Bytes firstOfNext = SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(12, 2, seg).Log();
    const Bytes lastOfNext = SI::BCH(PAYLOAD_LAST_SEGMENT_SHORT).LastSegmentShort(12, 1, one).Log();
    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("one.isf").c_str()), 0u);
    EXPECT_EQ(Write(store, 3, first, AtMs(1)), 0u);
    EXPECT_EQ(Write(store, 3, unrelated, AtMs(2)), 0u);
    EXPECT_EQ(Write(store, 3, lastAndComplete, kTime), 0u);
    EXPECT_EQ(Write(store, 3, firstOfNext, AtMs(8)), 0u);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("two.isf").c_str()), 0u);  // closes the first file
    EXPECT_EQ(Write(store, 3, lastOfNext, kTime), 0u);
    store.CloseFileStore();
    EXPECT_EQ(PayloadsFrom(dir.File("one.isf"), 1, kT0Ms + 7),
              (std::vector<Bytes>{first, unrelated, lastAndComplete, Rebuilt(5, seg + tail), Rebuilt(1, one),
                                  Rebuilt(2, two), firstOfNext}));
    EXPECT_EQ(PayloadsFrom(dir.File("two.isf"), 1, kT0Ms + 7),
              (std::vector<Bytes>{lastOfNext, Rebuilt(12, seg + one)}));
}

}  // namespace
