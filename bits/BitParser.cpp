#include "bits/BitParser.h"

const unsigned char BIT_MASKS[9] = {0x00, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x3F, 0x7F, 0xFF};

namespace {

// The one reading routine of every instantiation; they differ only in `typeBits`, the largest width.
unsigned int ReadField(const unsigned char* data, unsigned int& bitPos, unsigned int bitLength,
                       unsigned int width, unsigned int typeBits, bool lsbFirst, unsigned long long& field) {
    if (width > 64 || width == 0 || width > typeBits) {
        return BITS_INVALID_PARAMETER;
    }
    const unsigned int start = bitPos;
    // A field that ends exactly on the last readable bit is allowed.
    if (start >= bitLength || bitLength - start < width || data == nullptr) {
        return BITS_NO_ROOM;
    }
    const unsigned int offset = start & 7;
    const unsigned char* byte = data + (start >> 3);
    if (lsbFirst && width <= 8 - offset) {  // a whole aligned byte, or a field inside one byte
        field = width == 8 ? *byte : (*byte >> offset) & BIT_MASKS[width];
        bitPos = start + width;
        return BITS_SUCCESS;
    }

    // A run of bits inside one byte at a time: at most 9 steps, touching only bytes of the field.
    unsigned long long result = 0;
    unsigned int taken = 0;
    unsigned int shift = offset;
    while (taken < width) {
        unsigned int count = 8 - shift;
        if (count > width - taken) {
            count = width - taken;
        }
        if (lsbFirst) {
            result |= static_cast<unsigned long long>((*byte >> shift) & BIT_MASKS[count]) << taken;
        } else {
            result = (result << count) | ((*byte >> (8 - shift - count)) & BIT_MASKS[count]);
        }
        taken += count;
        shift = 0;
        ++byte;
    }
    field = result;
    bitPos = start + width;
    return BITS_SUCCESS;
}

}  // namespace

template <typename T>
unsigned int GetUnsignedVal(const unsigned char* data, unsigned int& bitPos, unsigned int bitLength,
                            unsigned int width, T& value, bool lsbFirst) {
    unsigned long long field = 0;
    const unsigned int status = ReadField(data, bitPos, bitLength, width, 8 * sizeof(T), lsbFirst, field);
    if (status == BITS_SUCCESS) {
        value = static_cast<T>(field);
    }
    return status;
}

template unsigned int GetUnsignedVal<char>(const unsigned char*, unsigned int&, unsigned int, unsigned int,
                                           char&, bool);
template unsigned int GetUnsignedVal<unsigned char>(const unsigned char*, unsigned int&, unsigned int,
                                                    unsigned int, unsigned char&, bool);
template unsigned int GetUnsignedVal<short>(const unsigned char*, unsigned int&, unsigned int, unsigned int,
                                            short&, bool);
template unsigned int GetUnsignedVal<unsigned short>(const unsigned char*, unsigned int&, unsigned int,
                                                     unsigned int, unsigned short&, bool);
template unsigned int GetUnsignedVal<unsigned int>(const unsigned char*, unsigned int&, unsigned int,
                                                   unsigned int, unsigned int&, bool);
template unsigned int GetUnsignedVal<long>(const unsigned char*, unsigned int&, unsigned int, unsigned int,
                                           long&, bool);
template unsigned int GetUnsignedVal<long long>(const unsigned char*, unsigned int&, unsigned int,
                                                unsigned int, long long&, bool);
template unsigned int GetUnsignedVal<unsigned long long>(const unsigned char*, unsigned int&, unsigned int,
                                                         unsigned int, unsigned long long&, bool);

namespace {

// Sign extension of a field read into a type of `typeBits` bits (8 or 16): ordinary.
unsigned long long ExtendNarrow(unsigned long long field, unsigned int width, unsigned int typeBits) {
    if (width < typeBits && ((field >> (width - 1)) & 1) != 0) {
        field |= ~0ull << width;
    }
    return field;
}

// Sign extension of the 64-bit overloads: the mask is all-ones in 32 bits shifted by width mod 32, then
// widened with its sign. Deliberate: width 32 sets every bit, widths 33 to 63 also set field bits.
unsigned long long ExtendWide(unsigned long long field, unsigned int width) {
    if (width < 64 && ((field >> (width - 1)) & 1) != 0) {
        const unsigned int mask32 = 0xFFFFFFFFu << (width % 32);  // bit 31 always set
        field |= 0xFFFFFFFF00000000ull | mask32;
    }
    return field;
}

}  // namespace

cBitParser::cBitParser() : mData(nullptr), mBitPos(0), mBitLength(0), mLSBFirst(true) {}

cBitParser::cBitParser(const unsigned char* data, unsigned int bitLength)
    : mData(nullptr), mBitPos(0), mBitLength(0), mLSBFirst(true) {
    SetData(data, bitLength);
}

void cBitParser::SetData(const unsigned char* data, unsigned int bitLength) {
    ReleaseData();
    if (data != nullptr) {
        mData = data;
        mBitLength = bitLength;
    }
}

void cBitParser::ReleaseData() {
    mData = nullptr;
    mBitPos = 0;
    mBitLength = 0;
}

unsigned int cBitParser::Get(unsigned int width, unsigned char& value) {
    return GetUnsignedVal(mData, mBitPos, mBitLength, width, value, mLSBFirst);
}

unsigned int cBitParser::Get(unsigned int width, unsigned short& value) {
    return GetUnsignedVal(mData, mBitPos, mBitLength, width, value, mLSBFirst);
}

unsigned int cBitParser::Get(unsigned int width, unsigned int& value) {
    return GetUnsignedVal(mData, mBitPos, mBitLength, width, value, mLSBFirst);
}

unsigned int cBitParser::Get(unsigned int width, unsigned long long& value) {
    return GetUnsignedVal(mData, mBitPos, mBitLength, width, value, mLSBFirst);
}

unsigned int cBitParser::Get(unsigned int width, char& value) {
    char field = 0;
    const unsigned int status = GetUnsignedVal(mData, mBitPos, mBitLength, width, field, mLSBFirst);
    if (status == BITS_SUCCESS) {
        value = static_cast<char>(ExtendNarrow(static_cast<unsigned char>(field), width, 8));
    }
    return status;
}

unsigned int cBitParser::Get(unsigned int width, short& value) {
    short field = 0;
    const unsigned int status = GetUnsignedVal(mData, mBitPos, mBitLength, width, field, mLSBFirst);
    if (status == BITS_SUCCESS) {
        value = static_cast<short>(ExtendNarrow(static_cast<unsigned short>(field), width, 16));
    }
    return status;
}

unsigned int cBitParser::Get(unsigned int width, long& value) {
    long field = 0;
    const unsigned int status = GetUnsignedVal(mData, mBitPos, mBitLength, width, field, mLSBFirst);
    if (status == BITS_SUCCESS) {
        value = static_cast<long>(ExtendWide(static_cast<unsigned long>(field), width));
    }
    return status;
}

unsigned int cBitParser::Get(unsigned int width, long long& value) {
    long long field = 0;
    const unsigned int status = GetUnsignedVal(mData, mBitPos, mBitLength, width, field, mLSBFirst);
    if (status == BITS_SUCCESS) {
        value = static_cast<long long>(ExtendWide(static_cast<unsigned long long>(field), width));
    }
    return status;
}
