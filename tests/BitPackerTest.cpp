#include "bits/BitPacker.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

struct sWrite {
    unsigned int mWidth;
    unsigned long long mValue;
};

struct sWriteCase {
    const char* mName;
    Bytes mBefore;
    bool mLSBFirst;
    unsigned int mStart;
    std::vector<sWrite> mWrites;
    Bytes mAfter;  // worked out by hand from the binary digits
};

TEST(BitPacker, WritesFieldsInBothOrders) {
    const sWriteCase cases[] = {
        {"nibbles then a byte, LSB first", {0, 0}, true, 0, {{4, 0x4}, {4, 0xB}, {8, 0x01}}, {0xB4, 0x01}},
        {"nibbles, MSB first", {0, 0}, false, 0, {{4, 0xB}, {4, 0x4}}, {0xB4, 0x00}},
        {"12 bits across a byte edge, LSB first", {0, 0}, true, 4, {{12, 0x01B}}, {0xB0, 0x01}},
        {"12 bits across a byte edge, MSB first", {0, 0}, false, 4, {{12, 0x401}}, {0x04, 0x01}},
        {"zeros leave set bits alone", {0xFF, 0x81}, true, 0, {{8, 0}, {4, 0x2}}, {0xFF, 0x83}},
        {"only the low bits of the value", {0}, true, 1, {{3, 0xFA}}, {0x04}},
        {"64 bits at bit 4, LSB first",
         Bytes(9),
         true,
         4,
         {{64, 0x0123456789ABCDEFull}},
         {0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12, 0x00}},
        {"64 bits at bit 4, MSB first",
         Bytes(9),
         false,
         4,
         {{64, 0x0123456789ABCDEFull}},
         {0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}},
        {"width 0 writes nothing", {0}, true, 3, {{0, 0xFF}}, {0x00}},
    };
    for (const sWriteCase& c : cases) {
        Bytes bytes = c.mBefore;
        cBitPacker writer(bytes.data(), static_cast<unsigned int>(bytes.size() * 8));
        writer.mLSBFirst = c.mLSBFirst;
        writer.mBitPos = c.mStart;
        unsigned int position = c.mStart;
        for (const sWrite& write : c.mWrites) {
            ASSERT_EQ(writer.Set(write.mWidth, write.mValue), BITS_SUCCESS) << c.mName;
            position += write.mWidth;
            EXPECT_EQ(writer.mBitPos, position) << c.mName;
            EXPECT_EQ(writer.mBitsUsed, position) << c.mName;
        }
        EXPECT_EQ(bytes, c.mAfter) << c.mName;
    }
}

TEST(BitPacker, NarrowOverloadsPadWideFieldsWithZeros) {
    struct {
        bool mLSBFirst;
        Bytes mAfter;
    } const cases[] = {{true, {0xFF, 0x00}}, {false, {0x0F, 0xF0}}};
    for (const auto& c : cases) {
        for (int overload = 0; overload < 2; ++overload) {
            Bytes bytes(2);
            cBitPacker writer(bytes.data(), 16);
            writer.mLSBFirst = c.mLSBFirst;
            if (overload == 0) {
                EXPECT_EQ(writer.Set(12, static_cast<unsigned char>(0xFF)), BITS_SUCCESS);
            } else {
                EXPECT_EQ(writer.Set(12, static_cast<char>(0xFF)), BITS_SUCCESS);
            }
            EXPECT_EQ(bytes, c.mAfter);
        }
    }
    // Signed values give their two's complement bits.
    Bytes bytes(2);
    cBitPacker writer(bytes.data(), 16);
    writer.Set(5, static_cast<short>(-1));
    writer.Set(3, static_cast<short>(-4));     // 100
    writer.Set(4, static_cast<long>(-2));      // 1110
    writer.Set(4, static_cast<long long>(5));  // 0101
    EXPECT_EQ(bytes, (Bytes{0x9F, 0x5E}));
}

TEST(BitPacker, RefusalsWriteNothingAndChangeNothing) {
    struct {
        const char* mName;
        unsigned int mCapacity;
        unsigned int mPosition;
        unsigned int mWidth;
        unsigned int mStatus;
    } const cases[] = {
        {"full", 16, 16, 1, BITS_INVALID_PARAMETER},
        {"full, width 0", 16, 16, 0, BITS_INVALID_PARAMETER},
        {"past the capacity", 16, 20, 1, BITS_NO_ROOM},
        {"one bit too many", 16, 10, 7, BITS_NO_ROOM},
        {"huge width", 16, 0, 0xFFFFFFFFu, BITS_NO_ROOM},
        {"above 64 bits with room for it", 128, 0, 65, BITS_INVALID_PARAMETER},
        {"no capacity", 0, 0, 1, BITS_INVALID_PARAMETER},
    };
    for (const auto& c : cases) {
        Bytes bytes(16);
        cBitPacker writer(bytes.data(), c.mCapacity);
        writer.mBitPos = c.mPosition;
        writer.mBitsUsed = 3;
        EXPECT_EQ(writer.Set(c.mWidth, ~0ull), c.mStatus) << c.mName;
        EXPECT_EQ(writer.mBitPos, c.mPosition) << c.mName;
        EXPECT_EQ(writer.mBitsUsed, 3u) << c.mName;
        EXPECT_EQ(bytes, Bytes(16)) << c.mName;
    }
    Bytes bytes(2);
    cBitPacker writer(bytes.data(), 16);
    writer.mBitPos = 10;
    EXPECT_EQ(writer.Set(6, static_cast<unsigned char>(0x3F)), BITS_SUCCESS) << "ends on the last bit";
    EXPECT_EQ(bytes, (Bytes{0x00, 0xFC}));

    cBitPacker none;
    EXPECT_EQ(none.Set(1, static_cast<unsigned char>(1)), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, static_cast<char>(1)), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, static_cast<unsigned short>(1)), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, static_cast<short>(1)), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, 1u), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, 1l), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, 1ll), BITS_INVALID_PARAMETER);
    EXPECT_EQ(none.Set(1, 1ull), BITS_INVALID_PARAMETER);
}

TEST(BitPacker, BitsUsedFollowsTheFurthestWrite) {
    Bytes bytes(4);
    cBitPacker writer(bytes.data(), 32);
    writer.Set(16, 0xFFFFu);
    writer.mBitPos = 8;
    EXPECT_EQ(writer.Set(4, 0u), BITS_SUCCESS);
    EXPECT_EQ(writer.mBitPos, 12u);
    EXPECT_EQ(writer.mBitsUsed, 16u) << "moving back does not shrink it";
    writer.mBitPos = 20;  // room left for a header written later
    EXPECT_EQ(writer.Set(0, 0u), BITS_SUCCESS);
    EXPECT_EQ(writer.mBitsUsed, 20u) << "catches up at the next Set";
}

TEST(BitPacker, SettingUpAndReleasingData) {
    Bytes bytes(2);
    cBitPacker nullData(nullptr, 16);
    EXPECT_EQ(nullData.mBitCapacity, 0u);

    cBitPacker writer(bytes.data(), 16);
    EXPECT_TRUE(writer.mLSBFirst);
    writer.mLSBFirst = false;
    writer.Set(4, 0u);
    writer.SetData(bytes.data(), 8);
    EXPECT_EQ(writer.mBitPos, 0u);
    EXPECT_EQ(writer.mBitsUsed, 0u);
    EXPECT_EQ(writer.mBitCapacity, 8u);
    EXPECT_FALSE(writer.mLSBFirst) << "SetData keeps the bit order";
    writer.Set(4, 0u);
    writer.ReleaseData();
    EXPECT_EQ(writer.mData, nullptr);
    EXPECT_EQ(writer.mBitPos, 0u);
    EXPECT_EQ(writer.mBitsUsed, 0u);
    EXPECT_EQ(writer.mBitCapacity, 0u);
    EXPECT_FALSE(writer.mLSBFirst);
}

}  // namespace
