// A real handset capture of WCDMA RRC signalling, fed in order to one accumulator; the expected counts are
// those published with the capture (see tests/data/README.md), not derived from the accumulator.
#include "wcdma/WCDMARRCAccumulator.h"

#include <gtest/gtest.h>

#include <fstream>
#include <list>
#include <map>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

std::vector<Bytes> ReadHexPackets(const std::string& name) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/" + name);
    std::vector<Bytes> packets;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        Bytes packet;
        for (size_t i = 0; i + 1 < line.size(); i += 2) {
            packet.push_back(static_cast<unsigned char>(std::stoul(line.substr(i, 2), nullptr, 16)));
        }
        packets.push_back(packet);
    }
    return packets;
}

unsigned long long Timestamp(const unsigned char* packet) {
    unsigned long long stamp = 0;
    for (int i = 15; i >= 8; --i) {
        stamp = stamp << 8 | packet[i];
    }
    return stamp;
}

// SIB types of the RRC SIB-Type enumeration.
enum : unsigned int {
    kMIB = 0,
    kSIB1 = 1,
    kSIB2 = 2,
    kSIB3 = 3,
    kSIB5 = 5,
    kSIB7 = 7,
    kSIB11 = 11,
    kSIB12 = 12,
    kSIB18 = 26,
    kSB1 = 27,
    kExtension = 31,
};

TEST(WCDMARRCAccumulatorRealCapture, RebuildsEveryWholeSIBAndEveryCompletedSequence) {
    const std::vector<Bytes> packets = ReadHexPackets("wcdma_412f.txt");
    ASSERT_EQ(packets.size(), 623u);

    cWCDMARRCAccumulator accumulator;
    std::map<unsigned int, int> byType;
    int total = 0;
    int longSIB11 = 0;
    for (const Bytes& packet : packets) {
        sSharedBuffer item(packet.data(), static_cast<unsigned int>(packet.size()), 3);
        const unsigned long long stamp = Timestamp(packet.data());
        for (sSharedBuffer* log : accumulator.ProcessItem(&item, stamp)) {
            ASSERT_GE(log->mSize, 21u);
            EXPECT_TRUE(log->mData[16] == 254) << "only BCCH-BCH in this capture";
            EXPECT_EQ(Timestamp(log->mData), stamp) << "the time of the packet that completed it";
            const unsigned int sibType = log->mData[20];
            ++byType[sibType];
            ++total;
            // One SIB11 came in 10 segments: at least 9 x 222 data bits.
            if (sibType == kSIB11 && log->mSize > 16 + 5 + 9 * 222 / 8) {
                ++longSIB11;
            }
            delete log;
        }
    }

    // Whole SIBs inside complete lists, plus the 69 sequences that complete in order.
    const std::map<unsigned int, int> expected = {
        {kMIB, 107},     {kSIB7, 107}, {kSIB2, 46}, {kSIB1, 26 + 19}, {kSIB3, 19},      {kSB1, 18},
        {kSIB18, 5 + 6}, {kSIB5, 9},   {kSIB12, 6}, {kSIB11, 1},      {kExtension, 28},
    };
    EXPECT_EQ(byType, expected);
    EXPECT_EQ(total, 328 + 69);
    EXPECT_EQ(longSIB11, 1);
    EXPECT_EQ(accumulator.mSIMs.size(), 3u) << "still open at the end";
}

}  // namespace
