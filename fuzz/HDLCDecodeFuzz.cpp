// Arbitrary bytes walked frame by frame with HDLCDecode, moving forward by `consumed` as a reader of the
// serial link does; the walk must end and never read outside the frame, held in an exactly sized array
// without a guard tail.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Shared/HDLC.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (size_t offset = 0; offset < size;) {
        const size_t length = size - offset > MAX_SHARED_BUFFER_SIZE ? MAX_SHARED_BUFFER_SIZE : size - offset;
        unsigned char* bytes = new unsigned char[length];
        memcpy(bytes, data + offset, length);
        sSharedBuffer rest(static_cast<unsigned int>(length), bytes, 3);
        unsigned int consumed = 0;
        delete HDLCDecode(&rest, &consumed);
        if (consumed == 0) {
            break;
        }
        if (consumed > length) {
            abort();
        }
        offset += consumed;
    }
    return 0;
}
