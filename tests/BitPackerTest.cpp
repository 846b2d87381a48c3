#include "bits/BitPacker.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

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
