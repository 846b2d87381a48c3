// Random reads and writes of random widths (up to far above 64) at random positions, in both bit orders,
// through every overload, over exactly sized arrays: nothing may be touched outside them, a refused call
// changes nothing, and a field written into a cleared array reads back as its low bits.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"

namespace {

struct sInput {
    const uint8_t* mData;
    size_t mSize;
    size_t mOffset;

    bool Empty() const { return mOffset >= mSize; }
    unsigned int Byte() { return mOffset < mSize ? mData[mOffset++] : 0; }
    unsigned long long Bytes(unsigned int count) {
        unsigned long long value = 0;
        for (unsigned int i = 0; i < count; ++i) {
            value = (value << 8) | Byte();
        }
        return value;
    }
};

unsigned int PickWidth(sInput& in) {
    const unsigned int choice = in.Byte();
    if (choice >= 0xF0) {
        return 0xFFFFFFFFu - (choice - 0xF0);  // huge widths
    }
    return choice % 72;
}

unsigned int ReadAs(cBitParser& reader, unsigned int type, unsigned int width, unsigned long long& out) {
    unsigned int status = 0;
    switch (type % 8) {
#define PALVORIN_READ_CASE(n, T)                      \
    case n: {                                         \
        T value = 0;                                  \
        status = reader.Get(width, value);            \
        out = static_cast<unsigned long long>(value); \
        break;                                        \
    }
        PALVORIN_READ_CASE(0, unsigned char)
        PALVORIN_READ_CASE(1, char)
        PALVORIN_READ_CASE(2, unsigned short)
        PALVORIN_READ_CASE(3, short)
        PALVORIN_READ_CASE(4, unsigned int)
        PALVORIN_READ_CASE(5, long)
        PALVORIN_READ_CASE(6, long long)
        PALVORIN_READ_CASE(7, unsigned long long)
#undef PALVORIN_READ_CASE
    }
    return status;
}

unsigned int WriteAs(cBitPacker& writer, unsigned int type, unsigned int width, unsigned long long value) {
    switch (type % 8) {
        case 0:
            return writer.Set(width, static_cast<unsigned char>(value));
        case 1:
            return writer.Set(width, static_cast<char>(value));
        case 2:
            return writer.Set(width, static_cast<unsigned short>(value));
        case 3:
            return writer.Set(width, static_cast<short>(value));
        case 4:
            return writer.Set(width, static_cast<unsigned int>(value));
        case 5:
            return writer.Set(width, static_cast<long>(value));
        case 6:
            return writer.Set(width, static_cast<long long>(value));
        default:
            return writer.Set(width, value);
    }
}

const unsigned int kTypeBits[8] = {8, 8, 16, 16, 32, 64, 64, 64};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    sInput in = {data, size, 0};
    const unsigned int length = 1 + in.Byte() % 24;
    const unsigned int bits = length * 8;
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[length]());
    std::unique_ptr<unsigned char[]> scratch(new unsigned char[length]);

    cBitParser reader(bytes.get(), bits);
    cBitPacker writer(bytes.get(), bits);
    while (!in.Empty()) {
        const unsigned int op = in.Byte();
        const bool lsbFirst = (op & 0x10) != 0;
        const unsigned int type = op & 7;
        const unsigned int width = PickWidth(in);
        const unsigned int position = static_cast<unsigned int>(in.Bytes(1) % (bits + 12));
        if (op & 0x80) {
            reader.mLSBFirst = lsbFirst;
            reader.mBitPos = position;
            unsigned long long value = 0;
            const unsigned int status = ReadAs(reader, type, width, value);
            const bool fits = position < bits && bits - position >= width;
            const bool valid = width >= 1 && width <= kTypeBits[type];
            if (status != (!valid ? BITS_INVALID_PARAMETER
                           : fits ? BITS_SUCCESS
                                  : BITS_NO_ROOM) ||
                reader.mBitPos != (status == BITS_SUCCESS ? position + width : position)) {
                abort();
            }
        } else {
            const unsigned long long value = in.Bytes(8);
            writer.mLSBFirst = lsbFirst;
            writer.mBitPos = position;
            const unsigned int usedBefore = writer.mBitsUsed;
            const unsigned int status = WriteAs(writer, type, width, value);
            const unsigned int expectedStatus = position == bits ? BITS_INVALID_PARAMETER
                                                : position > bits || bits - position < width ? BITS_NO_ROOM
                                                : width > 64 ? BITS_INVALID_PARAMETER
                                                             : BITS_SUCCESS;
            if (status != expectedStatus) {
                abort();
            }
            if (status != BITS_SUCCESS) {
                if (writer.mBitPos != position || writer.mBitsUsed != usedBefore) {
                    abort();
                }
                continue;
            }
            if (position + width > bits || writer.mBitPos != position + width || writer.mBitsUsed > bits) {
                abort();
            }
            // The same field into a cleared array reads back as the value's low bits (zero above its type).
            if (width == 0) {
                continue;
            }
            memset(scratch.get(), 0, length);
            cBitPacker fresh(scratch.get(), bits);
            fresh.mLSBFirst = lsbFirst;
            fresh.mBitPos = position;
            cBitParser check(scratch.get(), bits);
            check.mLSBFirst = lsbFirst;
            check.mBitPos = position;
            unsigned long long back = 0;
            if (WriteAs(fresh, type, width, value) != BITS_SUCCESS ||
                GetUnsignedVal(scratch.get(), check.mBitPos, bits, width, back, lsbFirst) != BITS_SUCCESS) {
                abort();
            }
            unsigned long long expected = value;
            if (kTypeBits[type] < 64) {
                expected &= (1ull << kTypeBits[type]) - 1;
            }
            if (width < 64) {
                expected &= (1ull << width) - 1;
            }
            if (back != expected) {
                abort();
            }
        }
    }
    return 0;
}
