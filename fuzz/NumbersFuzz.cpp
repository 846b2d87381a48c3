// Arbitrary text into every StringTo... function (with an arbitrary base) and every FromString overload.
// Nothing may read past the text's NUL; the unsigned 32- and 64-bit conversions must agree; an accepted
// value printed with ToString must parse back to itself (a char through the unsigned char overload).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "text/Numbers.h"

namespace {

template <typename T>
void RoundTrip(const char* text) {
    T value = 0;
    if (!FromString(text, value)) {
        return;
    }
    char printed[64];
    T again = 0;
    if (!ToString(value, printed) || !FromString(printed, again)) {
        abort();
    }
    if (again != value) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const int base = static_cast<int>(data[0] % 40) - 1;  // -1 to 38: valid and invalid bases
    // Exactly sized and terminated, so that any read past the NUL is caught.
    std::unique_ptr<char[]> text(new char[size]);
    memcpy(text.get(), data + 1, size - 1);
    text[size - 1] = '\0';

    long signed32 = 0;
    long long signed64 = 0;
    unsigned int unsigned32 = 0;
    unsigned long long unsigned64 = 0;
    StringToLONG(text.get(), base, signed32);
    StringToLONGLONG(text.get(), base, signed64);
    const bool ok32 = StringToULONG(text.get(), base, unsigned32);
    const bool ok64 = StringToULONGLONG(text.get(), base, unsigned64);
    if (ok32 != ok64 || (ok32 && unsigned32 != static_cast<unsigned int>(unsigned64))) {
        abort();
    }

    // A char prints as its unsigned byte, which the unsigned char overload reads back.
    char byte = 0;
    if (FromString(text.get(), byte)) {
        char printed[64];
        unsigned char again = 0;
        if (!ToString(byte, printed) || !FromString(printed, again) ||
            again != static_cast<unsigned char>(byte)) {
            abort();
        }
    }
    RoundTrip<unsigned char>(text.get());
    RoundTrip<short>(text.get());
    RoundTrip<unsigned short>(text.get());
    RoundTrip<int>(text.get());
    RoundTrip<unsigned int>(text.get());
    RoundTrip<long>(text.get());
    RoundTrip<long long>(text.get());
    RoundTrip<unsigned long long>(text.get());
    return 0;
}
