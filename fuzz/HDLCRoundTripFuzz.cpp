// Any payload framed by HDLCEncode decodes back to itself with HDLCDecode, read from an exactly sized
// array without a guard tail; the first input byte picks the leading flag.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Shared/HDLC.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > MAX_SHARED_BUFFER_SIZE + 1) {
        return 0;
    }
    sSharedBuffer packet(data + 1, static_cast<unsigned int>(size - 1), 11);
    sSharedBuffer* frame = HDLCEncode(&packet, data[0] & 1);
    if (frame->mData == nullptr) {  // frame above the buffer limit: dropped on purpose
        delete frame;
        return 0;
    }
    sSharedBuffer exact(frame->mSize, ExactCopy(frame->mData, frame->mSize).release(), 11);
    delete frame;
    unsigned int consumed = 0;
    sSharedBuffer* decoded = HDLCDecode(&exact, &consumed);
    FailIf(decoded == nullptr || decoded->mSize != packet.mSize ||
           memcmp(decoded->mData, packet.mData, packet.mSize) != 0);
    delete decoded;
    return 0;
}
