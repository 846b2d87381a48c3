// The plain versions the library's CRC and framing are measured against: one table look-up per byte,
// and stuffing one byte at a time with a branch. Same rules, same output.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

#include "Shared/CRC.h"

namespace reference {

inline unsigned short Crc(const unsigned char* data, size_t length) {
    unsigned short crc = 0xFFFF;
    for (size_t i = 0; i < length; ++i) {
        crc = static_cast<unsigned short>((crc >> 8) ^ CRC_TABLE[(crc ^ data[i]) & 0xFF]);
    }
    return static_cast<unsigned short>(crc ^ 0xFFFF);
}

inline void PutStuffed(std::vector<unsigned char>& out, unsigned char byte) {
    if (byte == 0x7D || byte == 0x7E) {
        out.push_back(0x7D);
        out.push_back(static_cast<unsigned char>(byte ^ 0x20));
    } else {
        out.push_back(byte);
    }
}

// Frame without a leading flag. `out` is reserved by the caller, as the library allocates once.
inline void Encode(const std::vector<unsigned char>& payload, std::vector<unsigned char>& out) {
    out.clear();
    const unsigned short crc = Crc(payload.data(), payload.size());
    for (unsigned char byte : payload) {
        PutStuffed(out, byte);
    }
    PutStuffed(out, static_cast<unsigned char>(crc & 0xFF));
    PutStuffed(out, static_cast<unsigned char>(crc >> 8));
    out.push_back(0x7E);
}

// Decodes one frame that starts at `frame[0]`; returns false on a bad check sequence.
inline bool Decode(const std::vector<unsigned char>& frame, std::vector<unsigned char>& out) {
    out.clear();
    size_t end = 3;
    while (end < frame.size() && !(frame[end] == 0x7E && frame[end - 1] != 0x7D)) {
        ++end;
    }
    for (size_t j = 0; j < end; ++j) {
        if (frame[j] == 0x7D && j + 1 < end) {
            out.push_back(static_cast<unsigned char>(frame[++j] ^ 0x20));
        } else {
            out.push_back(frame[j]);
        }
    }
    unsigned short crc = 0xFFFF;
    for (unsigned char byte : out) {
        crc = static_cast<unsigned short>((crc >> 8) ^ CRC_TABLE[(crc ^ byte) & 0xFF]);
    }
    out.resize(out.size() - 2);
    return crc == CRC_GOOD_RESIDUE;
}

// Deterministic payload with about `reservedPercent` per cent of 0x7D/0x7E bytes.
inline std::vector<unsigned char> Payload(size_t length, unsigned int reservedPercent) {
    std::mt19937 random(4096);
    std::vector<unsigned char> payload(length);
    for (unsigned char& byte : payload) {
        if (random() % 100 < reservedPercent) {
            byte = (random() & 1) ? 0x7D : 0x7E;
        } else {
            do {
                byte = static_cast<unsigned char>(random());
            } while (byte == 0x7D || byte == 0x7E);
        }
    }
    return payload;
}

}  // namespace reference
