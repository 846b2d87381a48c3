// Bytes of a packet read at fixed offsets that may lie past its end. A read past the end gives 0, the value
// the zeroed guard tail of the library's own buffers holds, without touching memory past the end, so a view
// over an array of exactly its size (a native caller's) answers the same as one over the library's.
#pragma once

struct sBoundedBytes {
    const unsigned char* mData;  // not owned; may be null when mSize is 0
    unsigned int mSize;          // bytes that may be read

    unsigned int At(unsigned int i) const { return i < mSize ? mData[i] : 0; }
    // Little-endian 16-bit field at `i`.
    unsigned int U16(unsigned int i) const { return At(i) | (At(i + 1) << 8); }
    // Little-endian 64-bit field at `i`.
    unsigned long long U64(unsigned int i) const {
        unsigned long long value = 0;
        for (unsigned int k = 8; k-- > 0;) {
            value = (value << 8) | At(i + k);
        }
        return value;
    }
};
