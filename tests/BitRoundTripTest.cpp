// cBitPacker and cBitParser: fields worked by hand from the binary digits pin the writer's two bit orders
// and the reader's sign extension; a round trip over every width and offset pins the reader.
#include <gtest/gtest.h>

#include <vector>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"

namespace {

using Bytes = std::vector<unsigned char>;

TEST(BitPacker, HandWorkedFieldsInBothOrders) {
    // Fields of widths 4, 4, 8 from bit 0; then 64 bits from bit 20.
    const struct {
        bool mLSBFirst;
        unsigned long long mFirst, mSecond;
        Bytes mBytes;
    } cases[] = {
        {true, 0x4, 0xB, {0xB4, 0x01, 0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12, 0x00}},
        {false, 0xB, 0x4, {0xB4, 0x01, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}},
    };
    for (const auto& c : cases) {
        Bytes bytes(11);
        cBitPacker writer(bytes.data(), 11 * 8);
        writer.mLSBFirst = c.mLSBFirst;
        writer.Set(4, c.mFirst);
        writer.Set(4, c.mSecond);
        writer.Set(8, 0x01u);
        writer.mBitPos = 20;
        ASSERT_EQ(writer.Set(64, 0x0123456789ABCDEFull), BITS_SUCCESS);
        EXPECT_EQ(bytes, c.mBytes) << c.mLSBFirst;
    }
}

TEST(BitRoundTrip, EveryWidthAtEveryOffsetEndingOnTheLastBit) {
    for (bool lsbFirst : {true, false}) {
        for (unsigned int offset = 0; offset < 8; ++offset) {
            for (unsigned int width = 1; width <= 64; ++width) {
                // Both end bits set, so that a field cut short or shifted shows.
                const unsigned long long value =
                    (0x9E3779B97F4A7C15ull >> (64 - width)) | 1 | (1ull << (width - 1));
                Bytes bytes(10);
                cBitPacker writer(bytes.data(), offset + width);
                writer.mLSBFirst = lsbFirst;
                writer.mBitPos = offset;
                ASSERT_EQ(writer.Set(width, value), BITS_SUCCESS) << width << " at " << offset;
                int bits = 0;
                for (unsigned char byte : bytes) {
                    bits += __builtin_popcount(byte);
                }
                cBitParser reader(bytes.data(), offset + width);
                reader.mLSBFirst = lsbFirst;
                reader.mBitPos = offset;
                unsigned long long read = 0;
                ASSERT_EQ(reader.Get(width, read), BITS_SUCCESS) << width << " at " << offset;
                EXPECT_EQ(read, value) << width << " at " << offset << " " << lsbFirst;
                EXPECT_EQ(bits, __builtin_popcountll(value)) << "no bit outside the field";
                EXPECT_TRUE(writer.mBitPos == offset + width && reader.mBitPos == offset + width);
            }
        }
    }
}

TEST(BitPacker, OverloadsWriteZerosAboveTheirTypesBitsAndOnlyOrInOnes) {
    Bytes bytes(4);
    cBitPacker writer(bytes.data(), 32);
    writer.Set(12, static_cast<unsigned char>(0xFF));  // 1111 1111 0000
    writer.Set(12, static_cast<char>(0xFF));           // 1111 1111 0000
    writer.Set(4, static_cast<short>(-2));             // 0111 (least significant bit first)
    writer.Set(4, static_cast<long>(5));               // 1010
    EXPECT_EQ(bytes, (Bytes{0xFF, 0xF0, 0x0F, 0x5E}));
    writer.mBitPos = 0;
    writer.Set(8, 0u);
    EXPECT_EQ(bytes[0], 0xFF) << "a 0 bit leaves its place as it was";
    EXPECT_EQ(writer.mBitsUsed, 32u) << "moving back does not shrink it";
}

// Reads the low `width` bits of little-endian `bytes` (LSB first) with the overload for T.
template <typename T>
long long Read(Bytes bytes, unsigned int width) {
    cBitParser reader(bytes.data(), static_cast<unsigned int>(bytes.size() * 8));
    T value = 0;
    EXPECT_EQ(reader.Get(width, value), BITS_SUCCESS);
    return static_cast<long long>(value);
}

// Reads with the long and the long long overloads, which must agree.
long long ReadWide(const Bytes& bytes, unsigned int width) {
    const long long wide = Read<long long>(bytes, width);
    EXPECT_EQ(Read<long>(bytes, width), wide) << "width " << width;
    return wide;
}

TEST(BitParser, SignedOverloadsExtendTheSign) {
    EXPECT_EQ(Read<char>({0x06}, 3), 0xFE);  // bits 0, 1, 1 (plain char is unsigned)
    EXPECT_EQ(Read<short>({0x10, 0x00}, 5), -16);
    EXPECT_EQ(Read<unsigned short>({0x10, 0x00}, 5), 16);
    // long and long long: the extension mask is made in 32 bits, deliberately.
    EXPECT_EQ(ReadWide({0x40}, 7), -64);
    EXPECT_EQ(ReadWide({0xFF, 0xFF, 0xFF, 0x7F}, 32), 2147483647);
    EXPECT_EQ(ReadWide({0x01, 0x00, 0x00, 0x80}, 32), -1);        // 0x80000001: every bit set
    EXPECT_EQ(ReadWide({0x00, 0x00, 0x00, 0x00, 0x01}, 33), -2);  // the mask covers bits 1 and up
    EXPECT_EQ(ReadWide({0, 0, 0, 0, 0, 0, 0, 0x80}, 64), static_cast<long long>(0x8000000000000000ull));
}

TEST(BitRoundTrip, RefusalsWriteNothingReadNothingAndChangeNothing) {
    // A full writer (or one without data) answers 87, one already past its capacity 8: deliberately apart.
    const struct {
        unsigned int mBits, mPosition, mWidth, mWriterStatus, mReaderStatus;
    } cases[] = {
        {16, 16, 1, BITS_INVALID_PARAMETER, BITS_NO_ROOM},
        {0, 0, 1, BITS_INVALID_PARAMETER, BITS_NO_ROOM},
        {16, 20, 1, BITS_NO_ROOM, BITS_NO_ROOM},
        {16, 10, 7, BITS_NO_ROOM, BITS_NO_ROOM},
        {128, 0, 65, BITS_INVALID_PARAMETER, BITS_INVALID_PARAMETER},
        {0, 0, 65, BITS_INVALID_PARAMETER, BITS_INVALID_PARAMETER},  // the reader checks the width first
        {16, 0, 0, BITS_SUCCESS, BITS_INVALID_PARAMETER},
    };
    for (const auto& c : cases) {
        Bytes bytes(16);
        cBitPacker writer(bytes.data(), c.mBits);
        writer.mBitPos = c.mPosition;
        writer.mBitsUsed = 3;
        EXPECT_EQ(writer.Set(c.mWidth, ~0ull), c.mWriterStatus)
            << "width " << c.mWidth << " at " << c.mPosition;
        EXPECT_TRUE(writer.mBitPos == c.mPosition && writer.mBitsUsed == 3 && bytes == Bytes(16));
        const Bytes ones(16, 0xFF);
        cBitParser reader(ones.data(), c.mBits);
        reader.mBitPos = c.mPosition;
        unsigned long long value = 0x5A;
        EXPECT_EQ(reader.Get(c.mWidth, value), c.mReaderStatus)
            << "width " << c.mWidth << " at " << c.mPosition;
        EXPECT_TRUE(value == 0x5A && reader.mBitPos == c.mPosition);
    }
    unsigned char narrow = 0x5A;
    EXPECT_EQ(cBitParser(Bytes(2).data(), 16).Get(9, narrow), BITS_INVALID_PARAMETER)
        << "wider than the type";
    EXPECT_EQ(narrow, 0x5A);
}

}  // namespace
