// Random sequences of fields written with cBitPacker (overlapping ones included), compared with a plain
// array of bits kept by the test, and read back with cBitParser, in both bit orders. The model's two orders
// are pinned first by fields worked out by hand from the binary digits.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"

namespace {

struct sField {
    unsigned int mPosition;
    unsigned int mWidth;
};

TEST(BitRoundTrip, HandWorkedFieldsInBothOrders) {
    // Fields of widths 4, 4, 8 from bit 0; then 64 bits from bit 4.
    const struct {
        bool mLSBFirst;
        unsigned long long mFirst, mSecond;
        std::vector<unsigned char> mBytes;
    } cases[] = {
        {true, 0x4, 0xB, {0xB4, 0x01, 0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12, 0x00}},
        {false, 0xB, 0x4, {0xB4, 0x01, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}},
    };
    for (const auto& c : cases) {
        std::vector<unsigned char> bytes(11);
        cBitPacker writer(bytes.data(), 11 * 8);
        writer.mLSBFirst = c.mLSBFirst;
        writer.Set(4, c.mFirst);
        writer.Set(4, c.mSecond);
        writer.Set(8, 0x01u);
        writer.mBitPos = 20;
        ASSERT_EQ(writer.Set(64, 0x0123456789ABCDEFull), BITS_SUCCESS);
        EXPECT_EQ(bytes, c.mBytes) << c.mLSBFirst;
        cBitParser reader(bytes.data(), 11 * 8);
        reader.mLSBFirst = c.mLSBFirst;
        unsigned long long first = 0, second = 0, rest = 0;
        reader.Get(4, first);
        reader.Get(4, second);
        reader.mBitPos = 20;
        reader.Get(64, rest);
        EXPECT_TRUE(first == c.mFirst && second == c.mSecond && rest == 0x0123456789ABCDEFull) << c.mLSBFirst;
    }
}

TEST(BitRoundTrip, RandomFieldsMatchABitArrayModel) {
    std::mt19937_64 random(5318008);
    for (int sequence = 0; sequence < 400; ++sequence) {
        const bool lsbFirst = sequence % 2 == 0;
        const unsigned int size = 1 + random() % 40;
        const unsigned int capacity = size * 8;
        // Exactly sized, so that any access past the last byte is caught by the address sanitizer.
        std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]());
        std::vector<bool> model(capacity, false);
        std::vector<sField> fields;
        cBitPacker writer(bytes.get(), capacity);
        writer.mLSBFirst = lsbFirst;
        for (int i = 0; i < 60; ++i) {
            if (writer.mBitPos == capacity || random() % 4 == 0) {
                writer.mBitPos = static_cast<unsigned int>(random() % capacity);  // a gap or an overlap
            }
            const unsigned int position = writer.mBitPos;
            const unsigned int width = std::min<unsigned int>(random() % 65, capacity - position);
            const unsigned long long value = random();
            ASSERT_EQ(writer.Set(width, value), BITS_SUCCESS);
            ASSERT_EQ(writer.mBitPos, position + width);
            for (unsigned int k = 0; k < width; ++k) {
                // OR-only: a 0 leaves what an earlier overlapping field put there.
                model[position + k] = model[position + k] || ((value >> (lsbFirst ? k : width - 1 - k)) & 1);
            }
            fields.push_back({position, width});
        }
        for (unsigned int p = 0; p < capacity; ++p) {
            const unsigned int bit = lsbFirst ? p % 8 : 7 - p % 8;
            ASSERT_EQ(((bytes[p / 8] >> bit) & 1) != 0, model[p]) << "stream bit " << p;
        }
        cBitParser reader(bytes.get(), capacity);
        reader.mLSBFirst = lsbFirst;
        for (const sField& field : fields) {
            if (field.mWidth == 0) {
                continue;
            }
            unsigned long long expected = 0;
            for (unsigned int k = 0; k < field.mWidth; ++k) {
                expected |= static_cast<unsigned long long>(model[field.mPosition + k])
                            << (lsbFirst ? k : field.mWidth - 1 - k);
            }
            reader.mBitPos = field.mPosition;
            unsigned long long value = 0;
            ASSERT_EQ(reader.Get(field.mWidth, value), BITS_SUCCESS);
            ASSERT_EQ(value, expected);
            ASSERT_EQ(reader.mBitPos, field.mPosition + field.mWidth);
        }
    }
}

}  // namespace
