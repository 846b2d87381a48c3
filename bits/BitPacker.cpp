#include "bits/BitPacker.h"

cBitPacker::cBitPacker() : mData(nullptr), mBitPos(0), mBitsUsed(0), mBitCapacity(0), mLSBFirst(true) {}

cBitPacker::cBitPacker(unsigned char* data, unsigned int bitCapacity)
    : mData(nullptr), mBitPos(0), mBitsUsed(0), mBitCapacity(0), mLSBFirst(true) {
    SetData(data, bitCapacity);
}

void cBitPacker::SetData(unsigned char* data, unsigned int bitCapacity) {
    ReleaseData();
    if (data != nullptr) {
        mData = data;
        mBitCapacity = bitCapacity;
    }
}

void cBitPacker::ReleaseData() {
    mData = nullptr;
    mBitPos = 0;
    mBitsUsed = 0;
    mBitCapacity = 0;
}

unsigned int cBitPacker::SetField(unsigned int width, unsigned long long value) {
    const unsigned int start = mBitPos;
    // Deliberate asymmetry: exactly full is an invalid state, past the capacity is lack of room.
    if (mBitCapacity <= start || mData == nullptr) {
        return mBitCapacity == start || mData == nullptr ? BITS_INVALID_PARAMETER : BITS_NO_ROOM;
    }
    if (mBitCapacity - start < width) {
        return BITS_NO_ROOM;
    }
    if (width > 64) {
        return BITS_INVALID_PARAMETER;
    }

    // A run of bits inside one byte at a time: at most 9 steps, touching only bytes of the field.
    unsigned char* byte = mData + (start >> 3);
    unsigned int shift = start & 7;
    unsigned int done = 0;
    while (done < width) {
        unsigned int count = 8 - shift;
        if (count > width - done) {
            count = width - done;
        }
        if (mLSBFirst) {
            const unsigned int bits = static_cast<unsigned int>(value >> done) & BIT_MASKS[count];
            *byte |= static_cast<unsigned char>(bits << shift);
        } else {
            const unsigned int bits =
                static_cast<unsigned int>(value >> (width - done - count)) & BIT_MASKS[count];
            *byte |= static_cast<unsigned char>(bits << (8 - shift - count));
        }
        done += count;
        shift = 0;
        ++byte;
    }

    mBitPos = start + width;
    if (mBitPos > mBitsUsed) {
        mBitsUsed = mBitPos;
    }
    return BITS_SUCCESS;
}

unsigned int cBitPacker::Set(unsigned int width, unsigned char value) {
    return SetField(width, value);
}

unsigned int cBitPacker::Set(unsigned int width, char value) {
    return SetField(width, static_cast<unsigned char>(value));
}

unsigned int cBitPacker::Set(unsigned int width, unsigned short value) {
    return SetField(width, value);
}

unsigned int cBitPacker::Set(unsigned int width, short value) {
    return SetField(width, static_cast<unsigned short>(value));
}

unsigned int cBitPacker::Set(unsigned int width, unsigned int value) {
    return SetField(width, value);
}

unsigned int cBitPacker::Set(unsigned int width, long value) {
    return SetField(width, static_cast<unsigned long long>(value));
}

unsigned int cBitPacker::Set(unsigned int width, long long value) {
    return SetField(width, static_cast<unsigned long long>(value));
}

unsigned int cBitPacker::Set(unsigned int width, unsigned long long value) {
    return SetField(width, value);
}
