// Random sequences of fields written with cBitPacker at random positions (overlapping ones included),
// compared with a plain array of bits kept by the test, and read back with cBitParser, in both bit orders.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"

namespace {

struct sField {
    unsigned int mPosition;
    unsigned int mWidth;
    unsigned long long mValue;  // only the low mWidth bits
};

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
        unsigned int used = 0;
        for (int attempt = 0; attempt < 60; ++attempt) {
            if (random() % 8 == 0) {
                writer.mBitPos += random() % 5;  // leave a gap of zeros, perhaps past the end
            }
            const unsigned int width = random() % 65;
            const unsigned long long value = random();
            const unsigned int position = writer.mBitPos;
            const unsigned int status = writer.Set(width, value);
            if (position >= capacity || capacity - position < width) {
                ASSERT_EQ(status, position == capacity ? BITS_INVALID_PARAMETER : BITS_NO_ROOM);
                ASSERT_EQ(writer.mBitPos, position);
                writer.mBitPos = static_cast<unsigned int>(random() % (capacity + 1));
                continue;
            }
            ASSERT_EQ(status, BITS_SUCCESS);
            const unsigned long long field = width == 64 ? value : value & ((1ull << width) - 1);
            for (unsigned int k = 0; k < width; ++k) {
                // OR-only: a 0 leaves what an earlier overlapping field put there.
                if ((field >> (lsbFirst ? k : width - 1 - k)) & 1) {
                    model[position + k] = true;
                }
            }
            if (position + width > used) {
                used = position + width;
            }
            fields.push_back({position, width, field});
        }
        EXPECT_EQ(writer.mBitsUsed, used);

        for (unsigned int p = 0; p < capacity; ++p) {
            const unsigned int bit = lsbFirst ? p % 8 : 7 - p % 8;
            ASSERT_EQ(((bytes[p / 8] >> bit) & 1) != 0, model[p]) << "stream bit " << p;
        }

        cBitParser reader(bytes.get(), capacity);
        reader.mLSBFirst = lsbFirst;
        for (const sField& field : fields) {
            unsigned long long expected = 0;
            for (unsigned int k = 0; k < field.mWidth; ++k) {
                expected |= static_cast<unsigned long long>(model[field.mPosition + k])
                            << (lsbFirst ? k : field.mWidth - 1 - k);
            }
            reader.mBitPos = field.mPosition;
            unsigned long long value = 0;
            const unsigned int status = reader.Get(field.mWidth, value);
            if (field.mWidth == 0) {
                ASSERT_EQ(status, BITS_INVALID_PARAMETER);
                continue;
            }
            ASSERT_EQ(status, BITS_SUCCESS);
            ASSERT_EQ(value, expected);
            ASSERT_EQ(value & field.mValue, field.mValue) << "a later overlapping field only adds bits";
            ASSERT_EQ(reader.mBitPos, field.mPosition + field.mWidth);
            if (field.mWidth <= 16) {
                reader.mBitPos = field.mPosition;
                unsigned short narrow = 0;
                ASSERT_EQ(reader.Get(field.mWidth, narrow), BITS_SUCCESS);
                ASSERT_EQ(narrow, expected);
            }
        }
    }
}

}  // namespace
