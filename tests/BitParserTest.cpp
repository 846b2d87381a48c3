#include "bits/BitParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// One read: width, then the expected value. Values worked out by hand from the bytes' binary digits.
struct sRead {
    unsigned int mWidth;
    unsigned long long mValue;
};

struct sSequenceCase {
    const char* mName;
    Bytes mBytes;
    bool mLSBFirst;
    unsigned int mStart;
    std::vector<sRead> mReads;
};

TEST(BitParser, ReadsFieldsInBothOrders) {
    const Bytes ramp = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xF0};
    const sSequenceCase cases[] = {
        {"nibbles then a byte, LSB first", {0xB4, 0x01}, true, 0, {{4, 0x4}, {4, 0xB}, {8, 0x01}}},
        {"nibbles then 3 bits, MSB first", {0xB4, 0x01}, false, 0, {{4, 0xB}, {4, 0x4}, {3, 0x0}}},
        {"12 bits across a byte edge, LSB first", {0xB4, 0x01}, true, 4, {{12, 0x01B}}},
        {"12 bits across a byte edge, MSB first", {0xB4, 0x01}, false, 4, {{12, 0x401}}},
        {"single bits, LSB first",
         {0xB4},
         true,
         0,
         {{1, 0}, {1, 0}, {1, 1}, {1, 0}, {1, 1}, {1, 1}, {1, 0}, {1, 1}}},
        {"single bits, MSB first",
         {0xB4},
         false,
         0,
         {{1, 1}, {1, 0}, {1, 1}, {1, 1}, {1, 0}, {1, 1}, {1, 0}, {1, 0}}},
        {"inside one byte, LSB first", {0xB4}, true, 2, {{3, 0x5}, {3, 0x5}}},
        {"inside one byte, MSB first", {0xB4}, false, 2, {{3, 0x6}, {3, 0x4}}},
        {"64 bits over nine bytes, LSB first", ramp, true, 4, {{64, 0x0EFCDAB896745230ull}}},
        {"64 bits over nine bytes, MSB first", ramp, false, 4, {{64, 0x123456789ABCDEFFull}}},
        {"aligned 64 bits, LSB first", ramp, true, 0, {{64, 0xEFCDAB8967452301ull}, {8, 0xF0}}},
        {"aligned 64 bits, MSB first", ramp, false, 0, {{64, 0x0123456789ABCDEFull}, {8, 0xF0}}},
        {"33 bits then 31, LSB first", ramp, true, 0, {{33, 0x167452301ull}, {31, 0x77E6D5C4}}},
    };
    for (const sSequenceCase& c : cases) {
        cBitParser reader(c.mBytes.data(), static_cast<unsigned int>(c.mBytes.size() * 8));
        reader.mLSBFirst = c.mLSBFirst;
        reader.mBitPos = c.mStart;
        unsigned int position = c.mStart;
        for (const sRead& read : c.mReads) {
            unsigned long long value = 0;
            ASSERT_EQ(reader.Get(read.mWidth, value), BITS_SUCCESS) << c.mName;
            EXPECT_EQ(value, read.mValue) << c.mName << " width " << read.mWidth;
            position += read.mWidth;
            EXPECT_EQ(reader.mBitPos, position) << c.mName;
        }
    }
}

TEST(BitParser, SignedOverloadsExtendTheSign) {
    // LSB first: each field is the low `width` bits of the little-endian bytes.
    struct {
        Bytes mBytes;
        unsigned int mWidth;
        long long mExpected;
    } const cases[] = {
        {{0x07}, 3, -1},
        {{0x06}, 3, -2},
        {{0x03}, 3, 3},
        {{0x80}, 8, -128},  // char: 0x80 as it is, no extension at full width
        {{0x40}, 7, -64},
        {{0x10, 0x00}, 5, -16},
        {{0x00, 0x40}, 15, -16384},
        {{0x00, 0x80}, 16, -32768},
        {{0xFF, 0x7F}, 16, 32767},
    };
    for (const auto& c : cases) {
        const unsigned int bits = static_cast<unsigned int>(c.mBytes.size() * 8);
        if (c.mWidth <= 8) {
            cBitParser reader(c.mBytes.data(), bits);
            char value = 0;
            ASSERT_EQ(reader.Get(c.mWidth, value), BITS_SUCCESS);
            EXPECT_EQ(value, static_cast<char>(c.mExpected)) << "char, width " << c.mWidth;
        }
        cBitParser reader(c.mBytes.data(), bits);
        short value = 0;
        ASSERT_EQ(reader.Get(c.mWidth, value), BITS_SUCCESS);
        EXPECT_EQ(value, c.mExpected) << "short, width " << c.mWidth;
    }
    // The unsigned overloads of the same bits: no extension.
    const unsigned char sevenAndSix[] = {0x37};  // 111 then 110 (LSB first)
    cBitParser reader(sevenAndSix, 8);
    unsigned char first = 0, second = 0;
    reader.Get(3, first);
    reader.Get(3, second);
    EXPECT_EQ(first, 7);
    EXPECT_EQ(second, 6);
    char signedByte = 0;
    reader.mBitPos = 0;
    reader.Get(3, signedByte);
    EXPECT_EQ(signedByte, static_cast<char>(0xFF));
    reader.Get(3, signedByte);
    EXPECT_EQ(signedByte, static_cast<char>(0xFE));
}

TEST(BitParser, WideSignedOverloadsUseThe32BitMask) {
    struct {
        Bytes mBytes;  // LSB first
        unsigned int mWidth;
        long long mExpected;
    } const cases[] = {
        {{0x40}, 7, -64},
        {{0x00, 0x00, 0x00, 0x40}, 31, -1073741824},
        {{0xFF, 0xFF, 0xFF, 0x7F}, 32, 2147483647},
        {{0x01, 0x00, 0x00, 0x80}, 32, -1},  // 0x80000001: every bit set, deliberately
        {{0x00, 0x00, 0x00, 0x80}, 32, -1},
        {{0x00, 0x00, 0x00, 0x00, 0x01}, 33, -2},    // mask covers bits 1 and up
        {{0x12, 0x00, 0x00, 0x00, 0x80}, 40, -238},  // bits 8 and up set: 0x...FF12
        {{0x12, 0x00, 0x00, 0x00, 0x40}, 40, 0x4000000012ll},
        {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80}, 64, static_cast<long long>(0x8000000000000000ull)},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, 64, 0x7FFFFFFFFFFFFFFFll},
    };
    for (const auto& c : cases) {
        const unsigned int bits = static_cast<unsigned int>(c.mBytes.size() * 8);
        cBitParser reader(c.mBytes.data(), bits);
        long value = 0;
        ASSERT_EQ(reader.Get(c.mWidth, value), BITS_SUCCESS);
        EXPECT_EQ(value, c.mExpected) << "long, width " << c.mWidth;
        cBitParser again(c.mBytes.data(), bits);
        long long wide = 0;
        ASSERT_EQ(again.Get(c.mWidth, wide), BITS_SUCCESS);
        EXPECT_EQ(wide, c.mExpected) << "long long, width " << c.mWidth;
    }
}

TEST(BitParser, FailuresChangeNothing) {
    const unsigned char bytes[] = {0xFF, 0xFF};
    struct {
        const char* mName;
        unsigned int mBitLength;
        unsigned int mPosition;
        unsigned int mWidth;
        int mType;  // 0 unsigned char, 1 short, 2 unsigned int, 3 unsigned long long
        unsigned int mStatus;
    } const cases[] = {
        {"width 0", 16, 0, 0, 0, BITS_INVALID_PARAMETER},
        {"9 bits into unsigned char", 16, 0, 9, 0, BITS_INVALID_PARAMETER},
        {"17 bits into short", 64, 0, 17, 1, BITS_INVALID_PARAMETER},
        {"33 bits into unsigned int", 64, 0, 33, 2, BITS_INVALID_PARAMETER},
        {"65 bits", 128, 0, 65, 3, BITS_INVALID_PARAMETER},
        {"bad width beats no data", 0, 0, 65, 3, BITS_INVALID_PARAMETER},
        {"one bit too many", 16, 10, 7, 2, BITS_NO_ROOM},
        {"at the end", 16, 16, 1, 0, BITS_NO_ROOM},
        {"past the end", 16, 20, 1, 0, BITS_NO_ROOM},
        {"huge width that fits its type", 16, 0, 64, 3, BITS_NO_ROOM},
    };
    for (const auto& c : cases) {
        cBitParser reader(bytes, c.mBitLength);
        reader.mBitPos = c.mPosition;
        unsigned int status = 0;
        bool unchanged = false;
        switch (c.mType) {
            case 0: {
                unsigned char v = 0x5A;
                status = reader.Get(c.mWidth, v);
                unchanged = v == 0x5A;
                break;
            }
            case 1: {
                short v = 0x5A;
                status = reader.Get(c.mWidth, v);
                unchanged = v == 0x5A;
                break;
            }
            case 2: {
                unsigned int v = 0x5A;
                status = reader.Get(c.mWidth, v);
                unchanged = v == 0x5A;
                break;
            }
            default: {
                unsigned long long v = 0x5A;
                status = reader.Get(c.mWidth, v);
                unchanged = v == 0x5A;
            }
        }
        EXPECT_EQ(status, c.mStatus) << c.mName;
        EXPECT_TRUE(unchanged) << c.mName;
        EXPECT_EQ(reader.mBitPos, c.mPosition) << c.mName;
    }
    cBitParser reader(bytes, 16);
    reader.mBitPos = 10;
    unsigned char six = 0;
    EXPECT_EQ(reader.Get(6, six), BITS_SUCCESS) << "a field ending on the last bit is allowed";
    EXPECT_EQ(six, 0x3F);
}

TEST(BitParser, SettingUpAndReleasingData) {
    const unsigned char bytes[] = {0xAA};
    cBitParser none;
    unsigned char v = 0;
    EXPECT_EQ(none.Get(1, v), BITS_NO_ROOM);
    EXPECT_EQ(none.Get(0, v), BITS_INVALID_PARAMETER);
    EXPECT_TRUE(none.mLSBFirst);

    cBitParser nullData(nullptr, 100);
    EXPECT_EQ(nullData.mBitLength, 0u);
    EXPECT_EQ(nullData.Get(1, v), BITS_NO_ROOM);

    cBitParser reader(bytes, 8);
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
    EXPECT_EQ(reader.mData, nullptr);
    EXPECT_EQ(reader.mBitPos, 0u);
    EXPECT_EQ(reader.mBitLength, 0u);
    EXPECT_FALSE(reader.mLSBFirst);
}

TEST(BitParser, AgreesWithABitByBitModel) {
    std::mt19937 random(20261121);
    const unsigned int size = 24;
    // Exactly sized, so that a read past the last byte is caught by the address sanitizer.
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]);
    for (unsigned int i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(random());
    }
    auto streamBit = [&](unsigned int p, bool lsbFirst) {
        const unsigned int bit = lsbFirst ? p % 8 : 7 - p % 8;
        return (bytes[p / 8] >> bit) & 1u;
    };
    for (int trial = 0; trial < 20000; ++trial) {
        const bool lsbFirst = random() & 1;
        const unsigned int width = 1 + random() % 64;
        const unsigned int position = random() % (size * 8 - width + 1);
        unsigned long long expected = 0;
        for (unsigned int k = 0; k < width; ++k) {
            const unsigned long long bit = streamBit(position + k, lsbFirst);
            expected |= bit << (lsbFirst ? k : width - 1 - k);
        }
        unsigned int bitPos = position;
        unsigned long long value = 0;
        ASSERT_EQ(GetUnsignedVal(bytes.get(), bitPos, size * 8, width, value, lsbFirst), BITS_SUCCESS);
        ASSERT_EQ(value, expected) << "width " << width << " at " << position << " lsbFirst " << lsbFirst;
        ASSERT_EQ(bitPos, position + width);
    }
}

}  // namespace
