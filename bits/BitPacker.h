// Writer of fields of any width at the current bit position of a caller's byte array, in either bit order
// (the same two orders as cBitParser), remembering how far the writing has reached.
#pragma once

#include "bits/BitParser.h"  // the status codes shared with the reader

class cBitPacker {
public:
    // No data: every Set returns BITS_INVALID_PARAMETER.
    cBitPacker();
    // Writes into `data` (not owned: the caller keeps it alive while writing), `bitCapacity` bits long (the
    // byte size times 8). A null `data` gives a writer without data. The bit order is least significant
    // first. The writer only ORs 1 bits into place: the caller clears the array first.
    cBitPacker(unsigned char* data, unsigned int bitCapacity);

    // As the constructor, but the bit order is left as it is.
    void SetData(unsigned char* data, unsigned int bitCapacity);
    // Forgets the array (it is not freed); the bit order is kept.
    void ReleaseData();

    // Each writes the low `width` bits of `value` at mBitPos, advances mBitPos and raises mBitsUsed to it.
    // A 1 bit is ORed into its place and a 0 bit leaves its place as it was (deliberate: writing stays
    // cheap on a cleared array). Bits of a field above the bit size of the value's type are written as 0.
    // Returns, checked in this order: BITS_INVALID_PARAMETER when mBitPos equals mBitCapacity (a full
    // writer, or one without data); BITS_NO_ROOM when mBitPos is already past mBitCapacity or the field
    // does not fit; BITS_INVALID_PARAMETER for a width above 64; else BITS_SUCCESS. The 87-versus-8 split
    // between a full writer and one past its capacity is deliberate. On failure nothing is written and no
    // field changes. A width of 0 writes nothing. There is deliberately no overload for int or unsigned
    // long.
    unsigned int Set(unsigned int width, unsigned char value);
    unsigned int Set(unsigned int width, char value);
    unsigned int Set(unsigned int width, unsigned short value);
    unsigned int Set(unsigned int width, short value);
    unsigned int Set(unsigned int width, unsigned int value);
    unsigned int Set(unsigned int width, long value);
    unsigned int Set(unsigned int width, long long value);
    unsigned int Set(unsigned int width, unsigned long long value);

    unsigned char* mData;       // not owned; null for a writer without data
    unsigned int mBitPos;       // next bit to write; users may move it
    unsigned int mBitsUsed;     // highest mBitPos reached through Set: the length written
    unsigned int mBitCapacity;  // writable bits
    bool mLSBFirst;             // bit order; true by default

private:
    // The one writing routine: `value` holds the field's bits already limited to its type's size.
    unsigned int SetField(unsigned int width, unsigned long long value);
};
