// A real handset capture of WCDMA RRC signalling, fed in order to one accumulator; the expected counts are
// those published with the capture (see tests/data/README.md), not derived from the accumulator.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "wcdma/WCDMARRCAccumulator.h"

namespace {

unsigned long long Timestamp(const unsigned char* packet) {
    unsigned long long stamp = 0;
    for (int i = 15; i >= 8; --i) {
        stamp = stamp << 8 | packet[i];
    }
    return stamp;
}

TEST(WCDMARRCAccumulatorRealCapture, RebuildsEveryWholeSIBAndEveryCompletedSequence) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/wcdma_412f.txt");
    std::vector<std::vector<unsigned char>> packets;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#') {
            packets.emplace_back();
            for (size_t i = 0; i + 1 < line.size(); i += 2) {
                packets.back().push_back(
                    static_cast<unsigned char>(std::stoul(line.substr(i, 2), nullptr, 16)));
            }
        }
    }
    ASSERT_EQ(packets.size(), 623u);

    cWCDMARRCAccumulator accumulator;
    std::map<unsigned int, int> byType;
    int longSIB11 = 0;
    for (const auto& packet : packets) {
        sSharedBuffer item(packet.data(), static_cast<unsigned int>(packet.size()), 3);
        const unsigned long long stamp = Timestamp(packet.data());
        for (sSharedBuffer* log : accumulator.ProcessItem(&item, stamp)) {
            ASSERT_GE(log->mSize, 21u);
            EXPECT_EQ(log->mData[16], 254) << "only BCCH-BCH in this capture";
            EXPECT_EQ(Timestamp(log->mData), stamp) << "the time of the packet that completed it";
            ++byType[log->mData[20]];
            // One SIB11 came in 10 segments: at least 9 x 222 data bits.
            longSIB11 += log->mData[20] == 11 && log->mSize > 16 + 5 + 9 * 222 / 8;
            delete log;
        }
    }
    // By SIB type (MIB 0, SIB1 1, ... SIB18 26, SB1 27, extension 31): whole SIBs inside complete lists,
    // 328 in all, plus the 69 sequences that complete in order.
    const std::map<unsigned int, int> expected = {{0, 107}, {7, 107}, {2, 46},     {1, 26 + 19},
                                                  {3, 19},  {27, 18}, {26, 5 + 6}, {5, 9},
                                                  {12, 6},  {11, 1},  {31, 28}};
    EXPECT_EQ(byType, expected);
    EXPECT_EQ(longSIB11, 1);
    EXPECT_EQ(accumulator.mSIMs.size(), 3u) << "still open at the end";
}

}  // namespace
