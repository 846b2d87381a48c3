// Arbitrary bytes and maxLength into ParseFormatSpecifier. The text is given without a terminator when
// maxLength is shorter than it (only maxLength + 1 bytes may then be read) and with one otherwise, in an
// exactly sized array, so that any read beyond what the function may read is caught.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "text/Parsing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const unsigned int choice = data[0] << 8 | data[1];
    const unsigned int maxLength = choice >= 0xFF00 ? 0xFFFFFFFFu - (choice & 0xFF) : choice % 300;
    const size_t length = size - 2;
    const bool terminated = maxLength >= length;
    const size_t arraySize = terminated ? length + 1 : length;
    std::unique_ptr<char[]> format(new char[arraySize]);
    memcpy(format.get(), data + 2, length);
    if (terminated) {
        format[length] = '\0';
    }

    std::vector<char> types;
    const bool accepted = ParseFormatSpecifier(format.get(), maxLength, types);
    const size_t textLength = strnlen(format.get(), arraySize);
    if (textLength >= arraySize || textLength > maxLength) {  // no NUL within maxLength characters
        if (accepted || !types.empty()) {
            abort();
        }
        return 0;
    }
    if (types.size() > textLength) {
        abort();
    }
    for (char type : types) {
        if (type != '*' && strchr("CEGSXZcdefgiopsux", type) == nullptr) {
            abort();
        }
    }
    return 0;
}
