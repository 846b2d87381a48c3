// Arbitrary bytes walked frame by frame with HDLCDecode, moving forward by `consumed` as a reader of the
// serial link does; the walk must end and never read outside the frame, held in an exactly sized array
// without a guard tail.
#include <cstddef>
#include <cstdint>

#include "Shared/HDLC.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (size_t offset = 0; offset < size;) {
        const size_t length = size - offset > MAX_SHARED_BUFFER_SIZE ? MAX_SHARED_BUFFER_SIZE : size - offset;
        sSharedBuffer rest(static_cast<unsigned int>(length), ExactCopy(data + offset, length).release(), 3);
        unsigned int consumed = 0;
        delete HDLCDecode(&rest, &consumed);
        if (consumed == 0) {
            break;
        }
        FailIf(consumed > length);
        offset += consumed;
    }
    return 0;
}
