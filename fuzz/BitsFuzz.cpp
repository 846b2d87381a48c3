// Random reads and writes of random widths (up to far above 64) at random positions, in both bit orders,
// through every overload, over an exactly sized array: nothing may be touched outside it, and a refused
// call must not move the position.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"
#include "fuzz/FuzzSupport.h"

namespace {

template <typename T>
unsigned int Access(cBitParser& reader, cBitPacker& writer, bool write, unsigned int width, uint64_t value) {
    if (write) {
        return writer.Set(width, static_cast<T>(value));
    }
    T read = 0;
    return reader.Get(width, read);
}

using tAccess = unsigned int (*)(cBitParser&, cBitPacker&, bool, unsigned int, uint64_t);
const tAccess kAccess[8] = {
    Access<unsigned char>, Access<char>, Access<unsigned short>, Access<short>,
    Access<unsigned int>,  Access<long>, Access<long long>,      Access<unsigned long long>};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const unsigned int bits = (1 + data[0] % 24) * 8;
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[bits / 8]());
    cBitParser reader(bytes.get(), bits);
    cBitPacker writer(bytes.get(), bits);
    for (size_t i = 1; i + 4 <= size; i += 4) {
        const unsigned int op = data[i];
        const unsigned int width = data[i + 1] >= 0xF0 ? 0xFFFFFFFFu - (data[i + 1] & 0xF) : data[i + 1] % 72;
        const unsigned int position = data[i + 2] % (bits + 12);
        const uint64_t value = data[i + 3] * 0x9E3779B97F4A7C15ull;  // spreads the byte over 64 bits
        reader.mLSBFirst = writer.mLSBFirst = op & 0x10;
        reader.mBitPos = writer.mBitPos = position;
        const bool write = op & 0x80;
        const unsigned int status = kAccess[op & 7](reader, writer, write, width, value);
        const unsigned int moved = (write ? writer.mBitPos : reader.mBitPos) - position;
        FailIf(moved != (status == BITS_SUCCESS ? width : 0) || writer.mBitsUsed > bits);
    }
    return 0;
}
