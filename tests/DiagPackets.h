// Helpers of the packet view tests: packets written as hex text, and a buffer held by the test itself so
// that the reference counts the views take and give back can be watched through mRefCount.
#pragma once

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Shared/SharedBuffer.h"

using Bytes = std::vector<unsigned char>;

// "10 00 0c 00" or "10000c00" to bytes; spaces are skipped.
inline Bytes Hex(const std::string& text) {
    Bytes bytes;
    std::string digits;
    for (char c : text) {
        if (c != ' ' && (digits += c).size() == 2) {
            bytes.push_back(static_cast<unsigned char>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}

// The bytes of a file of tests/data.
inline Bytes ReadTestData(const std::string& name) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The packets of a text file of tests/data: one packet in hex a line, '#' lines are comments.
inline std::vector<Bytes> HexLines(const std::string& name) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/" + name);
    std::vector<Bytes> packets;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#') {
            packets.push_back(Hex(line));
        }
    }
    return packets;
}

// A log packet of `code` around `payload`: 10 00, both length fields, the code, timestamp 0, the payload.
inline Bytes LogPacket(unsigned int code, const Bytes& payload) {
    const unsigned int n = static_cast<unsigned int>(payload.size()) + 12;
    Bytes packet(n + 4, 0);
    packet[0] = 0x10;
    packet[2] = packet[4] = static_cast<unsigned char>(n);
    packet[3] = packet[5] = static_cast<unsigned char>(n >> 8);
    packet[6] = static_cast<unsigned char>(code);
    packet[7] = static_cast<unsigned char>(code >> 8);
    std::copy(payload.begin(), payload.end(), packet.begin() + 16);
    return packet;
}

inline Bytes Contents(const sSharedBuffer* buffer) {
    return Bytes(buffer->mData, buffer->mData + buffer->mSize);
}

// A buffer in which the test holds one reference, so that it outlives every view over it: a copy of
// `bytes` (with the guard tail) or a builder's result.
class cHeldBuffer {
public:
    cHeldBuffer(const Bytes& bytes, unsigned int protocol)
        : cHeldBuffer(new sSharedBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), protocol)) {}
    explicit cHeldBuffer(sSharedBuffer* built) : mBuffer(built) { mBuffer->AddRef(); }
    ~cHeldBuffer() { mBuffer->Release(); }
    cHeldBuffer(const cHeldBuffer&) = delete;
    cHeldBuffer& operator=(const cHeldBuffer&) = delete;

    sSharedBuffer* get() const { return mBuffer; }
    sSharedBuffer* operator->() const { return mBuffer; }
    unsigned int Others() const { return mBuffer->mRefCount - 1; }  // references held by others

private:
    sSharedBuffer* mBuffer;
};
