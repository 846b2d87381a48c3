// Arbitrary text, held in an exactly sized terminated array, into every StringTo... function (with an
// arbitrary base) and every FromString overload: nothing may read past the NUL, and the unsigned 32- and
// 64-bit conversions must agree.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <tuple>

#include "fuzz/FuzzSupport.h"
#include "text/Numbers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const int base = static_cast<int>(data[0] % 40) - 1;  // -1 to 38: valid and invalid bases
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
    FailIf(ok32 != StringToULONGLONG(text.get(), base, unsigned64) ||
           (ok32 && unsigned32 != static_cast<unsigned int>(unsigned64)));
    std::tuple<char, unsigned char, short, unsigned short, int, unsigned int, long, long long,
               unsigned long long>
        all;
    std::apply([&text](auto&... value) { (FromString(text.get(), value), ...); }, all);
    return 0;
}
