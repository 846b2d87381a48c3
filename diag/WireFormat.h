// Little-endian, unaligned fields of diagnostic packets, read and written in place.
#pragma once

inline unsigned int ReadU16(const unsigned char* p) {
    return p[0] | (static_cast<unsigned int>(p[1]) << 8);
}

inline unsigned int ReadU32(const unsigned char* p) {
    return p[0] | (static_cast<unsigned int>(p[1]) << 8) | (static_cast<unsigned int>(p[2]) << 16) |
           (static_cast<unsigned int>(p[3]) << 24);
}

inline unsigned long long ReadU64(const unsigned char* p) {
    return ReadU32(p) | (static_cast<unsigned long long>(ReadU32(p + 4)) << 32);
}

inline void WriteU16(unsigned char* p, unsigned int value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}

inline void WriteU32(unsigned char* p, unsigned int value) {
    WriteU16(p, value);
    WriteU16(p + 2, value >> 16);
}

inline void WriteU64(unsigned char* p, unsigned long long value) {
    WriteU32(p, static_cast<unsigned int>(value));
    WriteU32(p + 4, static_cast<unsigned int>(value >> 32));
}
