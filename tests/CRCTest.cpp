#include "Shared/CRC.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "tests/LogCapture.h"

namespace {

const unsigned char kCheckString[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

// The textbook rule, one table look-up per byte.
unsigned short FoldByteAtATime(unsigned short crc, const unsigned char* data, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        crc = static_cast<unsigned short>((crc >> 8) ^ CRC_TABLE[(crc ^ data[i]) & 0xFF]);
    }
    return crc;
}

TEST(CRCTable, IsThePublishedFrameCheckTable) {
    // The first entries as printed in the PPP frame check sequence table.
    EXPECT_EQ(CRC_TABLE[0], 0x0000);
    EXPECT_EQ(CRC_TABLE[1], 0x1189);
    EXPECT_EQ(CRC_TABLE[2], 0x2312);
    EXPECT_EQ(CRC_TABLE[3], 0x329B);
    EXPECT_EQ(CRC_TABLE[255], 0x0F78);
    // Every entry is the bit-serial division of its byte by the reflected polynomial 0x8408.
    for (unsigned int byte = 0; byte < 256; ++byte) {
        unsigned int r = byte;
        for (int bit = 0; bit < 8; ++bit) {
            r = (r & 1) ? (r >> 1) ^ 0x8408 : r >> 1;
        }
        EXPECT_EQ(CRC_TABLE[byte], r) << "entry " << byte;
    }
}

struct sCalculateCase {
    unsigned int mBitLength;
    unsigned short mExpected;
};

TEST(CalculateCRC, ChecksOnlyWholeBytesOfTheCheckString) {
    const sCalculateCase cases[] = {
        {72, 0x906E},               // the published check value of CRC-16/X-25
        {75, 0x906E},               // leftover bits are ignored
        {79, 0x906E}, {7, 0x0000},  // below one byte
        {0, 0x0000},  {8, 0xD072},  // "1" alone, worked bit by bit
    };
    for (const sCalculateCase& c : cases) {
        EXPECT_EQ(CalculateCRC(kCheckString, c.mBitLength), c.mExpected) << "bit length " << c.mBitLength;
    }
}

TEST(CalculateCRC, SeveralBytesAStepEqualsOneByteAStep) {
    std::mt19937 random(1662);
    std::vector<unsigned char> data(600);
    for (unsigned char& byte : data) {
        byte = static_cast<unsigned char>(random());
    }
    // Every length around the 16-byte step, from every alignment.
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t length = 0; length + offset <= 300; ++length) {
            const unsigned short expected =
                length == 0
                    ? 0
                    : static_cast<unsigned short>(FoldByteAtATime(0xFFFF, &data[offset], length) ^ 0xFFFF);
            ASSERT_EQ(CalculateCRC(&data[offset], static_cast<unsigned int>(length * 8)), expected)
                << "offset " << offset << " length " << length;
            ASSERT_EQ(FoldCRC(0x1234, &data[offset], length), FoldByteAtATime(0x1234, &data[offset], length));
        }
    }
}

TEST(SetCRC, WritesTheCheckValueLowByteFirst) {
    unsigned char frame[11] = {};
    memcpy(frame, kCheckString, 9);
    SetCRC(frame, 9);
    EXPECT_EQ(frame[9], 0x6E);
    EXPECT_EQ(frame[10], 0x90);
    EXPECT_TRUE(CheckCRC(frame, 11));

    unsigned char empty[2] = {0xAA, 0xBB};
    SetCRC(empty, 0);
    EXPECT_EQ(empty[0], 0x00);
    EXPECT_EQ(empty[1], 0x00);
}

TEST(CheckCRC, AnySingleFlippedBitFails) {
    unsigned char frame[11];
    memcpy(frame, kCheckString, 9);
    frame[9] = 0x6E;
    frame[10] = 0x90;
    ASSERT_TRUE(CheckCRC(frame, 11));
    for (int bit = 0; bit < 11 * 8; ++bit) {
        frame[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
        EXPECT_FALSE(CheckCRC(frame, 11)) << "bit " << bit;
        frame[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
    }
}

TEST(CheckCRC, NoDataIsLoggedAndFails) {
    const unsigned char byte = 0;
    for (const auto& [data, length] :
         {std::pair<const unsigned char*, unsigned int>{nullptr, 5}, {&byte, 0}}) {
        cLogCapture log;
        EXPECT_FALSE(CheckCRC(data, length));
        const std::vector<sLogLine> lines = log.Lines();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].mTag, "tarnik-utils");
        EXPECT_EQ(lines[0].mPriority, 'I');
        EXPECT_EQ(lines[0].mPath, "Shared/CRC.cpp");
        EXPECT_EQ(lines[0].mText, "Check CRC no data");
    }
}

}  // namespace
