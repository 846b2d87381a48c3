#include "bits/BitPacker.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(BitPacker, WritesFieldsInBothOrders) {
    // Writes in turn from a start position; the bytes after were worked out by hand from the binary digits.
    const struct {
        Bytes mBefore;
        bool mLSBFirst;
        unsigned int mStart;
        std::vector<std::pair<unsigned int, unsigned long long>> mWrites;  // width, value
        Bytes mAfter;
    } cases[] = {
        {{0, 0}, true, 0, {{4, 0x4}, {4, 0xB}, {8, 0x01}}, {0xB4, 0x01}},
        {{0, 0}, false, 0, {{4, 0xB}, {4, 0x4}}, {0xB4, 0x00}},
        {{0, 0}, true, 4, {{12, 0x01B}}, {0xB0, 0x01}},
        {{0, 0}, false, 4, {{12, 0x401}}, {0x04, 0x01}},
        {{0xFF, 0x81}, true, 0, {{8, 0}, {4, 0x2}}, {0xFF, 0x83}},  // zeros leave set bits alone
        {{0}, true, 1, {{3, 0xFA}}, {0x04}},                        // only the low bits of the value
        {{0}, true, 3, {{0, 0xFF}}, {0x00}},
        {Bytes(9),
         true,
         4,
         {{64, 0x0123456789ABCDEFull}},
         {0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12, 0x00}},
        {Bytes(9),
         false,
         4,
         {{64, 0x0123456789ABCDEFull}},
         {0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}},
    };
    for (const auto& c : cases) {
        Bytes bytes = c.mBefore;
        cBitPacker writer(bytes.data(), static_cast<unsigned int>(bytes.size() * 8));
        writer.mLSBFirst = c.mLSBFirst;
        writer.mBitPos = c.mStart;
        for (const auto& [width, value] : c.mWrites) {
            const unsigned int position = writer.mBitPos;
            ASSERT_EQ(writer.Set(width, value), BITS_SUCCESS);
            EXPECT_EQ(writer.mBitPos, position + width);
        }
        EXPECT_EQ(bytes, c.mAfter) << "from " << c.mStart;
    }
}

TEST(BitPacker, OverloadsWriteZerosAboveTheirTypesBits) {
    Bytes bytes(4);
    cBitPacker writer(bytes.data(), 32);
    writer.Set(12, static_cast<unsigned char>(0xFF));  // 1111 1111 0000
    writer.Set(12, static_cast<char>(0xFF));           // 1111 1111 0000
    writer.Set(4, static_cast<short>(-2));             // 0111 (least significant bit first)
    writer.Set(4, static_cast<long>(5));               // 1010
    EXPECT_EQ(bytes, (Bytes{0xFF, 0xF0, 0x0F, 0x5E}));
}

TEST(BitPacker, RefusalsWriteNothingAndChangeNothing) {
    // A full writer (or one without data) answers 87, one already past its capacity 8: deliberately apart.
    const struct {
        unsigned int mCapacity, mPosition, mWidth, mStatus;
    } cases[] = {
        {16, 16, 1, BITS_INVALID_PARAMETER},
        {16, 16, 0, BITS_INVALID_PARAMETER},
        {0, 0, 1, BITS_INVALID_PARAMETER},
        {16, 20, 1, BITS_NO_ROOM},
        {16, 10, 7, BITS_NO_ROOM},
        {16, 0, 0xFFFFFFFFu, BITS_NO_ROOM},
        {128, 0, 65, BITS_INVALID_PARAMETER},
    };
    for (const auto& c : cases) {
        Bytes bytes(16);
        cBitPacker writer(bytes.data(), c.mCapacity);
        writer.mBitPos = c.mPosition;
        writer.mBitsUsed = 3;
        EXPECT_EQ(writer.Set(c.mWidth, ~0ull), c.mStatus) << "width " << c.mWidth << " at " << c.mPosition;
        EXPECT_TRUE(writer.mBitPos == c.mPosition && writer.mBitsUsed == 3 && bytes == Bytes(16));
    }
    Bytes bytes(2);
    cBitPacker writer(bytes.data(), 16);
    writer.mBitPos = 10;
    EXPECT_EQ(writer.Set(6, 0x3Fu), BITS_SUCCESS) << "a field ending on the last bit is allowed";
    EXPECT_EQ(bytes, (Bytes{0x00, 0xFC}));
}

TEST(BitPacker, BitsUsedFollowsTheFurthestWrite) {
    Bytes bytes(4);
    cBitPacker writer(bytes.data(), 32);
    writer.Set(16, 0xFFFFu);
    writer.mBitPos = 8;
    writer.Set(4, 0u);
    EXPECT_EQ(writer.mBitsUsed, 16u) << "moving back does not shrink it";
    writer.mBitPos = 20;  // room left for a header written later
    writer.Set(0, 0u);
    EXPECT_EQ(writer.mBitsUsed, 20u) << "catches up at the next Set";
}

}  // namespace
