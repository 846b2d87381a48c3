// Reader of unsigned and signed fields of 1 to 64 bits at any bit position of a byte array, in either bit
// order. Stream bit p lies in byte p / 8. Least significant bit first (the default): stream bits run from
// bit 0 to bit 7 of each byte and a field's first bit is the value's bit 0. Most significant bit first
// (packed encoding rules): stream bits run from bit 7 down to bit 0 and a field's first bit is the value's
// highest bit.
#pragma once

// Status codes of the bit reader and the bit writer.
const unsigned int BITS_SUCCESS = 0;
const unsigned int BITS_NO_ROOM = 8;             // not enough bits left to read, or room to write
const unsigned int BITS_INVALID_PARAMETER = 87;  // bad width, or a full writer

// Entry w is 2^w - 1: the low w bits of a byte.
extern const unsigned char BIT_MASKS[9];

// Reads `width` bits of `data` from stream bit `bitPos` into `value` (zero-extended) and advances
// `bitPos` by `width`. `bitLength` is the number of readable bits; `data` is not owned and must hold
// them. Returns BITS_SUCCESS; BITS_INVALID_PARAMETER for a width of 0 or above the bit size of T;
// BITS_NO_ROOM when fewer than `width` bits are left (or `data` is null). On failure neither `value` nor
// `bitPos` changes. Instantiated for char, unsigned char, short, unsigned short, unsigned int, long,
// long long and unsigned long long.
template <typename T>
unsigned int GetUnsignedVal(const unsigned char* data, unsigned int& bitPos, unsigned int bitLength,
                            unsigned int width, T& value, bool lsbFirst);

extern template unsigned int GetUnsignedVal<char>(const unsigned char*, unsigned int&, unsigned int,
                                                  unsigned int, char&, bool);
extern template unsigned int GetUnsignedVal<unsigned char>(const unsigned char*, unsigned int&, unsigned int,
                                                           unsigned int, unsigned char&, bool);
extern template unsigned int GetUnsignedVal<short>(const unsigned char*, unsigned int&, unsigned int,
                                                   unsigned int, short&, bool);
extern template unsigned int GetUnsignedVal<unsigned short>(const unsigned char*, unsigned int&, unsigned int,
                                                            unsigned int, unsigned short&, bool);
extern template unsigned int GetUnsignedVal<unsigned int>(const unsigned char*, unsigned int&, unsigned int,
                                                          unsigned int, unsigned int&, bool);
extern template unsigned int GetUnsignedVal<long>(const unsigned char*, unsigned int&, unsigned int,
                                                  unsigned int, long&, bool);
extern template unsigned int GetUnsignedVal<long long>(const unsigned char*, unsigned int&, unsigned int,
                                                       unsigned int, long long&, bool);
extern template unsigned int GetUnsignedVal<unsigned long long>(const unsigned char*, unsigned int&,
                                                                unsigned int, unsigned int,
                                                                unsigned long long&, bool);

class cBitParser {
public:
    // No data: every Get returns BITS_NO_ROOM (or BITS_INVALID_PARAMETER for a bad width).
    cBitParser();
    // Reads `data` (not owned: the caller keeps it alive while reading), `bitLength` bits long (the byte
    // length times 8). A null `data` gives a reader without data. The bit order is least significant first.
    cBitParser(const unsigned char* data, unsigned int bitLength);

    // As the constructor, but the bit order is left as it is.
    void SetData(const unsigned char* data, unsigned int bitLength);
    // Forgets the array (it is not freed); the bit order is kept.
    void ReleaseData();

    // Each reads the next `width` bits into `value` and advances mBitPos: GetUnsignedVal with the
    // reader's fields. Widths: 1 to the bit size of the type. There is deliberately no overload for int
    // or unsigned long.
    unsigned int Get(unsigned int width, unsigned char& value);
    unsigned int Get(unsigned int width, unsigned short& value);
    unsigned int Get(unsigned int width, unsigned int& value);
    unsigned int Get(unsigned int width, unsigned long long& value);
    // The signed ones extend the sign of fields narrower than the type: when bit width - 1 is set, every
    // bit from `width` up is set.
    unsigned int Get(unsigned int width, char& value);
    unsigned int Get(unsigned int width, short& value);
    // For long and long long the extension mask is made in 32 bits and widened with its sign
    // (deliberate, kept as it is): all-ones << (width mod 32). A 32-bit field with bit 31 set therefore
    // reads as -1, and a field of 33 to 63 bits with its top bit set has its bits width - 32 and up set.
    // A 64-bit field is never extended.
    unsigned int Get(unsigned int width, long& value);
    unsigned int Get(unsigned int width, long long& value);

    const unsigned char* mData;  // not owned; null for a reader without data
    unsigned int mBitPos;        // next bit to read
    unsigned int mBitLength;     // readable bits
    bool mLSBFirst;              // bit order; true by default
};
