// Any payload framed by HDLCEncode decodes back to itself with HDLCDecode; the first input byte picks
// the leading flag.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Shared/HDLC.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 16641) {
        return 0;
    }
    const bool leadingFlag = data[0] & 1;
    sSharedBuffer packet(data + 1, static_cast<unsigned int>(size - 1), 11);
    sSharedBuffer* frame = HDLCEncode(&packet, leadingFlag);
    if (frame == nullptr) {
        abort();
    }
    if (frame->mData == nullptr) {  // frame above the buffer limit: dropped on purpose
        delete frame;
        return 0;
    }
    // Decode from an exactly sized array with no guard tail, so that any read past the frame is caught.
    unsigned char* bytes = new unsigned char[frame->mSize];
    memcpy(bytes, frame->mData, frame->mSize);
    sSharedBuffer exact(frame->mSize, bytes, frame->mProtocol);
    unsigned int consumed = 0;
    sSharedBuffer* decoded = HDLCDecode(&exact, &consumed);
    if (decoded == nullptr || decoded->mSize != packet.mSize || decoded->mProtocol != 11 ||
        memcmp(decoded->mData, packet.mData, packet.mSize) != 0 ||
        consumed != frame->mSize - (leadingFlag ? 1u : 0u)) {
        abort();
    }
    delete decoded;
    delete frame;
    return 0;
}
