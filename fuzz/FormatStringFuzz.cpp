// Arbitrary bytes and maxLength into ParseFormatSpecifier, in an exactly sized array that holds a NUL
// only when maxLength reaches the text's end, so that any read beyond what the function may read (up to
// the NUL, or maxLength + 1 bytes) is caught. A refused format past maxLength must list nothing.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "text/Parsing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const unsigned int choice = data[0] << 8 | data[1];
    const unsigned int maxLength = choice >= 0xFF00 ? 0xFFFFFFFFu - (choice & 0xFF) : choice % 300;
    const size_t length = size - 2;
    const bool terminated = maxLength >= length;
    std::unique_ptr<char[]> format(new char[length + terminated]);
    memcpy(format.get(), data + 2, length);
    if (terminated) {
        format[length] = '\0';
    }
    std::vector<char> types;
    const bool accepted = ParseFormatSpecifier(format.get(), maxLength, types);
    FailIf(strnlen(format.get(), length + terminated) > maxLength && (accepted || !types.empty()));
    return 0;
}
