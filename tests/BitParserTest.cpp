#include "bits/BitParser.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// Reads the low `width` bits of little-endian `bytes` (LSB first) with the overload for T.
template <typename T>
long long Read(Bytes bytes, unsigned int width) {
    cBitParser reader(bytes.data(), static_cast<unsigned int>(bytes.size() * 8));
    T value = 0;
    EXPECT_EQ(reader.Get(width, value), BITS_SUCCESS);
    return static_cast<long long>(value);
}

TEST(BitParser, SignedOverloadsExtendTheSign) {
    EXPECT_EQ(Read<char>({0x06}, 3), 0xFE);  // bits 0, 1, 1 (plain char is unsigned)
    EXPECT_EQ(Read<char>({0x03}, 3), 3);
    EXPECT_EQ(Read<char>({0x80}, 8), 0x80);  // full width: as it is
    EXPECT_EQ(Read<unsigned char>({0x07}, 3), 7);
    EXPECT_EQ(Read<short>({0x10, 0x00}, 5), -16);
    EXPECT_EQ(Read<short>({0x00, 0x80}, 16), -32768);
    EXPECT_EQ(Read<unsigned short>({0x10, 0x00}, 5), 16);

    // long and long long: the extension mask is made in 32 bits, deliberately.
    const struct {
        Bytes mBytes;
        unsigned int mWidth;
        long long mExpected;
    } cases[] = {
        {{0x40}, 7, -64},
        {{0x00, 0x00, 0x00, 0x40}, 31, -1073741824},
        {{0xFF, 0xFF, 0xFF, 0x7F}, 32, 2147483647},
        {{0x01, 0x00, 0x00, 0x80}, 32, -1},          // 0x80000001: every bit set
        {{0x00, 0x00, 0x00, 0x00, 0x01}, 33, -2},    // the mask covers bits 1 and up
        {{0x12, 0x00, 0x00, 0x00, 0x80}, 40, -238},  // bits 8 and up set: 0x...FF12
        {{0x12, 0x00, 0x00, 0x00, 0x40}, 40, 0x4000000012ll},
        {{0, 0, 0, 0, 0, 0, 0, 0x80}, 64, static_cast<long long>(0x8000000000000000ull)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Read<long>(c.mBytes, c.mWidth), c.mExpected) << "width " << c.mWidth;
        EXPECT_EQ(Read<long long>(c.mBytes, c.mWidth), c.mExpected) << "width " << c.mWidth;
    }
}

TEST(BitParser, FailuresChangeNothing) {
    const unsigned char bytes[] = {0xFF, 0xFF};
    const struct {
        unsigned int mBitLength, mPosition, mWidth, mTypeBits, mStatus;
    } cases[] = {
        {16, 0, 0, 8, BITS_INVALID_PARAMETER},
        {16, 0, 9, 8, BITS_INVALID_PARAMETER},
        {64, 0, 17, 16, BITS_INVALID_PARAMETER},
        {64, 0, 33, 32, BITS_INVALID_PARAMETER},
        {0, 0, 65, 64, BITS_INVALID_PARAMETER},  // the width is checked before the room
        {16, 10, 7, 32, BITS_NO_ROOM},
        {16, 16, 1, 8, BITS_NO_ROOM},
        {16, 20, 1, 8, BITS_NO_ROOM},
        {16, 0, 64, 64, BITS_NO_ROOM},
    };
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

}  // namespace
