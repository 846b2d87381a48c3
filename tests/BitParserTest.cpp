#include "bits/BitParser.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

const Bytes kB401 = {0xB4, 0x01};
const Bytes kRamp = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xF0};

// Reads in turn from a start position; the values were worked out by hand from the bytes' binary digits.
struct sSequenceCase {
    const Bytes& mBytes;
    bool mLSBFirst;
    unsigned int mStart;
    std::vector<std::pair<unsigned int, unsigned long long>> mReads;  // width, value
};

TEST(BitParser, ReadsFieldsInBothOrders) {
    const sSequenceCase cases[] = {
        {kB401, true, 0, {{4, 0x4}, {4, 0xB}, {8, 0x01}}},
        {kB401, false, 0, {{4, 0xB}, {4, 0x4}, {3, 0x0}}},
        {kB401, true, 4, {{12, 0x01B}}},
        {kB401, false, 4, {{12, 0x401}}},
        {kB401, true, 0, {{1, 0}, {1, 0}, {1, 1}, {1, 0}, {1, 1}, {1, 1}, {1, 0}, {1, 1}}},
        {kB401, false, 0, {{1, 1}, {1, 0}, {1, 1}, {1, 1}, {1, 0}, {1, 1}, {1, 0}, {1, 0}}},
        {kB401, true, 2, {{3, 0x5}, {3, 0x5}}},
        {kB401, false, 2, {{3, 0x6}, {3, 0x4}}},
        {kRamp, true, 4, {{64, 0x0EFCDAB896745230ull}}},
        {kRamp, false, 4, {{64, 0x123456789ABCDEFFull}}},
        {kRamp, true, 0, {{64, 0xEFCDAB8967452301ull}, {8, 0xF0}}},
        {kRamp, false, 0, {{64, 0x0123456789ABCDEFull}, {8, 0xF0}}},
        {kRamp, true, 0, {{33, 0x167452301ull}, {31, 0x77E6D5C4}}},
    };
    for (const sSequenceCase& c : cases) {
        cBitParser reader(c.mBytes.data(), static_cast<unsigned int>(c.mBytes.size() * 8));
        reader.mLSBFirst = c.mLSBFirst;
        reader.mBitPos = c.mStart;
        for (const auto& read : c.mReads) {
            const unsigned int position = reader.mBitPos;
            unsigned long long value = 0;
            ASSERT_EQ(reader.Get(read.first, value), BITS_SUCCESS);
            EXPECT_EQ(value, read.second) << "width " << read.first << " at " << position;
            EXPECT_EQ(reader.mBitPos, position + read.first);
        }
    }
}

// Reads the low `width` bits of little-endian `bytes` (LSB first) with the overload for T.
template <typename T>
long long ReadSigned(Bytes bytes, unsigned int width) {
    cBitParser reader(bytes.data(), static_cast<unsigned int>(bytes.size() * 8));
    T value = 0;
    EXPECT_EQ(reader.Get(width, value), BITS_SUCCESS);
    return static_cast<long long>(value);
}

TEST(BitParser, SignedOverloadsExtendTheSign) {
    const char kFF = static_cast<char>(0xFF), kFE = static_cast<char>(0xFE), k80 = static_cast<char>(0x80);
    EXPECT_EQ(ReadSigned<char>({0x07}, 3), kFF);  // bits 1, 1, 1
    EXPECT_EQ(ReadSigned<char>({0x06}, 3), kFE);  // bits 0, 1, 1
    EXPECT_EQ(ReadSigned<unsigned char>({0x07}, 3), 7);
    EXPECT_EQ(ReadSigned<unsigned char>({0x06}, 3), 6);
    EXPECT_EQ(ReadSigned<char>({0x03}, 3), 3);
    EXPECT_EQ(ReadSigned<char>({0x80}, 8), k80);  // full width: as it is
    EXPECT_EQ(ReadSigned<short>({0x10, 0x00}, 5), -16);
    EXPECT_EQ(ReadSigned<short>({0x00, 0x40}, 15), -16384);
    EXPECT_EQ(ReadSigned<short>({0x00, 0x80}, 16), -32768);
    EXPECT_EQ(ReadSigned<unsigned short>({0x10, 0x00}, 5), 16);

    // long and long long: the 32-bit mask rule.
    const struct {
        Bytes mBytes;
        unsigned int mWidth;
        long long mExpected;
    } cases[] = {
        {{0x40}, 7, -64},
        {{0x00, 0x00, 0x00, 0x40}, 31, -1073741824},
        {{0xFF, 0xFF, 0xFF, 0x7F}, 32, 2147483647},
        {{0x01, 0x00, 0x00, 0x80}, 32, -1},          // 0x80000001: every bit set, deliberately
        {{0x00, 0x00, 0x00, 0x00, 0x01}, 33, -2},    // the mask covers bits 1 and up
        {{0x12, 0x00, 0x00, 0x00, 0x80}, 40, -238},  // bits 8 and up set: 0x...FF12
        {{0x12, 0x00, 0x00, 0x00, 0x40}, 40, 0x4000000012ll},
        {{0, 0, 0, 0, 0, 0, 0, 0x80}, 64, static_cast<long long>(0x8000000000000000ull)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ReadSigned<long>(c.mBytes, c.mWidth), c.mExpected) << "width " << c.mWidth;
        EXPECT_EQ(ReadSigned<long long>(c.mBytes, c.mWidth), c.mExpected) << "width " << c.mWidth;
    }
}

TEST(BitParser, FailuresChangeNothing) {
    const unsigned char bytes[] = {0xFF, 0xFF};
    const struct {
        unsigned int mBitLength, mPosition, mWidth, mTypeBits, mStatus;
    } cases[] = {{16, 0, 0, 8, BITS_INVALID_PARAMETER},
                 {16, 0, 9, 8, BITS_INVALID_PARAMETER},
                 {64, 0, 17, 16, BITS_INVALID_PARAMETER},
                 {64, 0, 33, 32, BITS_INVALID_PARAMETER},
                 {128, 0, 65, 64, BITS_INVALID_PARAMETER},
                 {0, 0, 65, 64, BITS_INVALID_PARAMETER},
                 {16, 10, 7, 32, BITS_NO_ROOM},
                 {16, 16, 1, 8, BITS_NO_ROOM},
                 {16, 20, 1, 8, BITS_NO_ROOM},
                 {16, 0, 64, 64, BITS_NO_ROOM}};
    for (const auto& c : cases) {
        cBitParser reader(bytes, c.mBitLength);
        reader.mBitPos = c.mPosition;
        unsigned char v8 = 0x5A;
        unsigned short v16 = 0x5A;
        unsigned int v32 = 0x5A;
        unsigned long long v64 = 0x5A;
        const unsigned int status = c.mTypeBits == 8    ? reader.Get(c.mWidth, v8)
                                    : c.mTypeBits == 16 ? reader.Get(c.mWidth, v16)
                                    : c.mTypeBits == 32 ? reader.Get(c.mWidth, v32)
                                                        : reader.Get(c.mWidth, v64);
        EXPECT_EQ(status, c.mStatus) << "width " << c.mWidth << " at " << c.mPosition;
        EXPECT_TRUE(v8 == 0x5A && v16 == 0x5A && v32 == 0x5A && v64 == 0x5A);
        EXPECT_EQ(reader.mBitPos, c.mPosition);
    }
    cBitParser reader(bytes, 16);
    reader.mBitPos = 10;
    unsigned char six = 0;
    EXPECT_EQ(reader.Get(6, six), BITS_SUCCESS) << "a field ending on the last bit is allowed";
    EXPECT_EQ(six, 0x3F);
}

TEST(BitParser, SettingUpAndReleasingData) {
    const unsigned char bytes[] = {0xAA};
    unsigned char v = 0;
    cBitParser none;
    EXPECT_EQ(none.Get(1, v), BITS_NO_ROOM);
    EXPECT_EQ(none.Get(0, v), BITS_INVALID_PARAMETER);
    EXPECT_EQ(cBitParser(nullptr, 100).mBitLength, 0u);

    cBitParser reader(bytes, 8);
    EXPECT_TRUE(reader.mLSBFirst);
    reader.mLSBFirst = false;
    reader.Get(3, v);
    reader.SetData(bytes, 8);
    EXPECT_EQ(reader.mBitPos, 0u);
    EXPECT_FALSE(reader.mLSBFirst) << "SetData keeps the bit order";
    reader.SetData(nullptr, 8);
    EXPECT_EQ(reader.mData, nullptr);
    EXPECT_EQ(reader.mBitLength, 0u);
    reader.SetData(bytes, 8);
    reader.Get(3, v);
    reader.ReleaseData();
    EXPECT_TRUE(reader.mData == nullptr && reader.mBitPos == 0 && reader.mBitLength == 0 &&
                !reader.mLSBFirst);
}

}  // namespace
