// Arbitrary bytes walked frame by frame with HDLCDecode, moving forward by `consumed` as a reader of
// the serial link does; the walk must end and never read outside the buffer.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Shared/HDLC.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    size_t offset = 0;
    while (offset < size) {
        const size_t left = size - offset;
        // An exactly sized array with no guard tail, so that any read past the frame is caught.
        const size_t length = left > MAX_SHARED_BUFFER_SIZE ? MAX_SHARED_BUFFER_SIZE : left;
        unsigned char* bytes = new unsigned char[length];
        memcpy(bytes, data + offset, length);
        sSharedBuffer rest(static_cast<unsigned int>(length), bytes, 3);
        unsigned int consumed = 0;
        sSharedBuffer* packet = HDLCDecode(&rest, &consumed);
        if (packet != nullptr) {
            if (packet->mSize > consumed || packet->mProtocol != 3) {
                abort();
            }
            delete packet;
        }
        if (consumed == 0) {
            break;
        }
        if (consumed > left) {
            abort();
        }
        offset += consumed;
    }
    return 0;
}
