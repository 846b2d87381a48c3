// Helpers of the packet view tests: packets written as hex text, and a buffer held by the test itself so
// that the reference counts the views take and give back can be watched through mRefCount.
#pragma once

#include <cctype>
#include <string>
#include <vector>

#include "Shared/SharedBuffer.h"

using Bytes = std::vector<unsigned char>;

// "10 00 0c 00" or "10000c00" to bytes; anything but hex digits is skipped.
inline Bytes Hex(const std::string& text) {
    Bytes bytes;
    int high = -1;
    for (char c : text) {
        if (!isxdigit(static_cast<unsigned char>(c))) {
            continue;
        }
        const int digit = isdigit(static_cast<unsigned char>(c)) ? c - '0' : tolower(c) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<unsigned char>(high * 16 + digit));
            high = -1;
        }
    }
    return bytes;
}

inline Bytes Contents(const sSharedBuffer* buffer) {
    return Bytes(buffer->mData, buffer->mData + buffer->mSize);
}

// A buffer in which the test holds one reference: a view over it raises the count to 2, and the buffer
// outlives every view. Built by copying (so it carries the guard tail) or adopted from a builder.
class cHeldBuffer {
public:
    cHeldBuffer(const Bytes& bytes, unsigned int protocol)
        : mBuffer(new sSharedBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), protocol)) {
        mBuffer->AddRef();
    }
    explicit cHeldBuffer(sSharedBuffer* built) : mBuffer(built) {
        if (mBuffer != nullptr) {
            mBuffer->AddRef();
        }
    }
    ~cHeldBuffer() {
        if (mBuffer != nullptr) {
            mBuffer->Release();
        }
    }
    sSharedBuffer* get() const { return mBuffer; }
    sSharedBuffer* operator->() const { return mBuffer; }
    // References held by others than this test.
    unsigned int Others() const { return mBuffer->mRefCount - 1; }

    cHeldBuffer(const cHeldBuffer&) = delete;
    cHeldBuffer& operator=(const cHeldBuffer&) = delete;

private:
    sSharedBuffer* mBuffer;
};
