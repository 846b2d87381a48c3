// Log bodies built from readable fields at the offsets of a published layout, for the measurement
// extractor's tests; the rest of their helpers are those of MeasTestSupport.h.
#pragma once

#include <algorithm>
#include <cmath>

#include "tests/MeasTestSupport.h"

namespace {

const double NA = NAN;  // a value the log does not give

// A body of `size` zero bytes with fields written into it; writing past the end grows it.
class cPayloadBuilder {
public:
    explicit cPayloadBuilder(size_t size = 0) : mBytes(size, 0) {}
    // The little-endian `width`-byte field `value` (two's complement for a negative one) at `at`, in place
    // of what was there.
    cPayloadBuilder& Put(size_t at, unsigned int width, int64_t value) {
        if (mBytes.size() < at + width) {
            mBytes.resize(at + width, 0);
        }
        for (unsigned int i = 0; i < width; ++i) {
            mBytes[at + i] = static_cast<unsigned char>(static_cast<uint64_t>(value) >> (8 * i));
        }
        return *this;
    }
    // Bytes written as hex text at `at`.
    cPayloadBuilder& PutHex(size_t at, const char* hex) {
        const Bytes bytes = Hex(hex);
        if (mBytes.size() < at + bytes.size()) {
            mBytes.resize(at + bytes.size(), 0);
        }
        std::copy(bytes.begin(), bytes.end(), mBytes.begin() + static_cast<std::ptrdiff_t>(at));
        return *this;
    }
    cPayloadBuilder& Resize(size_t size) {
        mBytes.resize(size, 0);
        return *this;
    }
    const Bytes& Body() const { return mBytes; }

private:
    Bytes mBytes;
};

// A level to compare with a value of the facts page printed to two decimals; NaN stands for "not given".
inline ::testing::AssertionResult SameLevel(double got, double want) {
    return Value(got, want, kPageRounding);
}

}  // namespace
