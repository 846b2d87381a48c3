// Helpers of the packet view tests: packets written as hex text, and a buffer held by the test itself so
// that the reference counts the views take and give back can be watched through mRefCount.
#pragma once

#include <string>
#include <vector>

#include "Shared/SharedBuffer.h"

using Bytes = std::vector<unsigned char>;

// "10 00 0c 00" or "10000c00" to bytes; spaces are skipped.
inline Bytes Hex(const std::string& text) {
    std::string digits;
    for (char c : text) {
        if (c != ' ') {
            digits += c;
        }
    }
    Bytes bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// A log packet of `code` around `payload`: 10 00, both length fields, the code, timestamp 0, the payload.
inline Bytes LogPacket(unsigned int code, const Bytes& payload) {
    const unsigned int length = static_cast<unsigned int>(payload.size()) + 12;
    Bytes packet = {0x10,
                    0,
                    static_cast<unsigned char>(length),
                    static_cast<unsigned char>(length >> 8),
                    static_cast<unsigned char>(length),
                    static_cast<unsigned char>(length >> 8),
                    static_cast<unsigned char>(code),
                    static_cast<unsigned char>(code >> 8)};
    packet.resize(16, 0);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

inline Bytes Contents(const sSharedBuffer* buffer) {
    return Bytes(buffer->mData, buffer->mData + buffer->mSize);
}

// A buffer in which the test holds one reference, so that it outlives every view over it. Built by copying
// (so it carries the guard tail) or taken from a builder.
class cHeldBuffer {
public:
    cHeldBuffer(const Bytes& bytes, unsigned int protocol)
        : cHeldBuffer(new sSharedBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), protocol)) {}
    explicit cHeldBuffer(sSharedBuffer* built) : mBuffer(built) { mBuffer->AddRef(); }
    ~cHeldBuffer() { mBuffer->Release(); }
    sSharedBuffer* get() const { return mBuffer; }
    sSharedBuffer* operator->() const { return mBuffer; }
    // References held by others than this test.
    unsigned int Others() const { return mBuffer->mRefCount - 1; }

    cHeldBuffer(const cHeldBuffer&) = delete;
    cHeldBuffer& operator=(const cHeldBuffer&) = delete;

private:
    sSharedBuffer* mBuffer;
};
