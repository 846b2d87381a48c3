#include "Shared/CRC.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/LogCapture.h"

namespace {

const unsigned char kCheckString[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

TEST(CRCTable, EveryEntryIsTheBitSerialDivisionOfItsByte) {
    // By the reflected polynomial 0x8408; the first entries read 0x0000 0x1189 0x2312 0x329B as printed
    // in the PPP frame check sequence table.
    for (unsigned int byte = 0; byte < 256; ++byte) {
        unsigned int r = byte;
        for (int bit = 0; bit < 8; ++bit) {
            r = (r & 1) ? (r >> 1) ^ 0x8408 : r >> 1;
        }
        EXPECT_EQ(CRC_TABLE[byte], r) << "entry " << byte;
    }
}

TEST(CalculateCRC, ChecksOnlyWholeBytesOfTheCheckString) {
    const struct {
        unsigned int mBitLength;
        unsigned short mExpected;
    } cases[] = {
        {72, 0x906E},  // the published check value of CRC-16/X-25
        {75, 0x906E},  // leftover bits are ignored
        {7, 0x0000},   // below one byte
        {8, 0xD072},   // "1" alone, worked bit by bit
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CalculateCRC(kCheckString, c.mBitLength), c.mExpected) << "bit length " << c.mBitLength;
    }
}

TEST(FoldCRC, SeveralBytesAStepEqualsOneTableLookUpPerByte) {
    std::mt19937 random(1662);
    std::vector<unsigned char> data(320);
    for (unsigned char& byte : data) {
        byte = static_cast<unsigned char>(random());
    }
    // Every length around the multi-byte step, from every alignment.
    for (size_t offset = 0; offset < 8; ++offset) {
        unsigned short expected = 0x1234;
        for (size_t length = 0; length <= 300; ++length) {
            ASSERT_EQ(FoldCRC(0x1234, &data[offset], length), expected) << offset << " " << length;
            expected = static_cast<unsigned short>((expected >> 8) ^
                                                   CRC_TABLE[(expected ^ data[offset + length]) & 0xFF]);
        }
    }
}

TEST(CheckCRC, PassesTheCheckStringWithItsValueLowByteFirstAndFailsAnyFlippedBit) {
    unsigned char frame[11] = {};
    std::copy(kCheckString, kCheckString + 9, frame);
    SetCRC(frame, 9);
    EXPECT_EQ(frame[9], 0x6E);
    EXPECT_EQ(frame[10], 0x90);
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
