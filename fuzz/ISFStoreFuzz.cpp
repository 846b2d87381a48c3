// Writes arbitrary packets with arbitrary protocol types and timestamps into a store on a temporary file,
// closes it, and checks the file with the reader: consistent, closed, and holding every accepted packet in
// the order written.
//
// Input: a sequence of items, each [protocol selector][time step][length low][length high][bytes...].
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "jni/ISFStore.h"
#include "tools/ISFReader.h"

namespace {

const std::string& TempPath() {
    static const std::string path = [] {
        const char* dir = getenv("TMPDIR");
        return std::string(dir != nullptr ? dir : "/tmp") + "/palvorin-isf-fuzz-" + std::to_string(getpid()) +
               ".isf";
    }();
    return path;
}

// Protocol types around every edge of the accepted ranges, and the special ones.
const unsigned int kProtocols[] = {3,  4,  514, 0,   10,  11,  29,  30,        38,
                                   39, 60, 141, 142, 508, 513, 515, 0xFFFFFFFF};

// Time steps in milliseconds that reach every width of the time field, and backwards.
FILETIME Step(FILETIME time, unsigned char selector) {
    const int64_t steps[] = {0, 1, 254, 255, 65534, 65535, 4294967294LL, 4294967295LL, -1, -100000};
    const int64_t ms = steps[selector % 10] + (selector / 10);
    const int64_t next = static_cast<int64_t>(time) + ms * 10000;
    return next < 0 ? 0 : static_cast<FILETIME>(next);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::vector<unsigned char>> accepted;
    {
        cISFStore store;
        if (store.OpenNewFileStore(TempPath().c_str()) != 0) {
            abort();
        }
        FILETIME time = CurrentFiletime();
        size_t at = 0;
        while (size - at >= 4) {
            const unsigned int protocol = kProtocols[data[at] % (sizeof kProtocols / sizeof kProtocols[0])];
            time = Step(time, data[at + 1]);
            size_t length = data[at + 2] | (data[at + 3] << 8);
            at += 4;
            if (length > size - at) {
                length = size - at;
            }
            const unsigned int status =
                store.WriteItem(protocol, static_cast<unsigned int>(length), data + at, time);
            const bool valid = IsAcceptedProtocol(protocol) && length >= 1 && length <= MAX_SHARED_BUFFER_SIZE;
            if (status != (valid ? 0u : 22u)) {
                abort();
            }
            if (valid) {
                accepted.emplace_back(data + at, data + at + length);
            }
            at += length;
        }
        store.CloseFileStore();
    }
    const sISFFile file = ReadISFFile(TempPath());
    if (!file.Consistent() || !file.mClosed || file.mTrailerCount != file.mItems.size() ||
        file.mItems.empty() || file.mItems[0].mType != ITEM_TYPE_LOG ||
        file.mItems[0].mPayload.size() != 165) {
        abort();
    }
    // Every accepted packet in order; unwrapped inner items and kept packets rewritten at close come between
    // and after them.
    size_t next = 0;
    for (size_t i = 1; i < file.mItems.size() && next < accepted.size(); ++i) {
        if (file.mItems[i].mPayload == accepted[next]) {
            ++next;
        }
    }
    if (next != accepted.size()) {
        abort();
    }
    return 0;
}
