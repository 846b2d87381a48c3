// Writes arbitrary packets with arbitrary protocol types and timestamps into a store on a temporary file,
// closes it, and checks the file with the reader: consistent, closed, and holding every accepted packet in
// the order written.
//
// Input: a sequence of items, each [protocol selector][time step][length low][length high][bytes...].
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "jni/ISFStore.h"
#include "reader/ISFReadAll.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/palvorin-isf-fuzz-" + std::to_string(getpid()) + ".isf";
    // Protocol types around every edge of the accepted ranges; time steps in milliseconds that reach
    // every width of the time field, and backwards.
    const unsigned int protocols[] = {3,  4,  514, 0,   10,  11,  29,  30,
                                      38, 39, 60,  141, 142, 508, 515, 0xFFFFFFFF};
    const int64_t steps[] = {0, 1, 254, 255, 65534, 65535, 4294967294LL, 4294967295LL, -1, -100000};
    std::vector<std::vector<unsigned char>> accepted;
    {
        cISFStore store;
        FailIf(store.OpenNewFileStore(path.c_str()) != 0);
        int64_t ms = static_cast<int64_t>(CurrentFiletime() / 10000);
        for (size_t at = 0; size - at >= 4;) {
            const unsigned int protocol = protocols[data[at] % 16];
            ms = std::max<int64_t>(0, ms + steps[data[at + 1] % 10] + data[at + 1] / 10);
            const size_t length = std::min<size_t>(data[at + 2] | data[at + 3] << 8, size - at - 4);
            at += 4;
            const bool valid =
                IsAcceptedProtocol(protocol) && length >= 1 && length <= MAX_SHARED_BUFFER_SIZE;
            FailIf(store.WriteItem(protocol, static_cast<unsigned int>(length), data + at, ms * 10000) !=
                   (valid ? 0u : 22u));
            if (valid) {
                accepted.emplace_back(data + at, data + at + length);
            }
            at += length;
        }
    }
    // Every accepted packet in order; unwrapped inner items and kept packets rewritten at close come
    // between and after them.
    const sISFFile file = ReadISFFile(path);
    size_t next = 0;
    for (size_t i = 1; i < file.mItems.size() && next < accepted.size(); ++i) {
        next += file.mItems[i].mPayload == accepted[next];
    }
    FailIf(!file.Consistent() || !file.mClosed || next != accepted.size());
    return 0;
}
