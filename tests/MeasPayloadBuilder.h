// Helpers of the measurement extractor's tests: log bodies built from readable fields at the offsets of a
// published layout, the multi-SIM wrapper, and one extraction into a record held by the test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "meas/MeasExtractor.h"
#include "tests/DiagPackets.h"

namespace {

// A body of `size` zero bytes with fields written into it; writing past the end grows it.
class cPayloadBuilder {
public:
    explicit cPayloadBuilder(size_t size = 0) : mBytes(size, 0) {}
    // The little-endian `width`-byte field `value` (two's complement for a negative one) at `at`.
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

// The multi-SIM wrapper around a packet: 98 01 00 00, u32 subscription, the packet.
inline Bytes MultiSIM(uint32_t subscription, const Bytes& packet) {
    Bytes wrapped = Hex("98010000");
    for (unsigned int i = 0; i < 4; ++i) {
        wrapped.push_back(static_cast<unsigned char>(subscription >> (8 * i)));
    }
    wrapped.insert(wrapped.end(), packet.begin(), packet.end());
    return wrapped;
}

// One extraction into a record of its own (records are large: kept off the stack).
struct sExtracted {
    eMeasStatus mStatus;
    std::unique_ptr<sMeasLog> mLog;
    const sMeasLog* operator->() const { return mLog.get(); }
};

inline sExtracted ExtractPacket(const Bytes& packet) {
    sExtracted result{MEAS_NOT_MEASUREMENT, std::unique_ptr<sMeasLog>(new sMeasLog())};
    result.mStatus = cMeasExtractor().Extract(packet.data(), packet.size(), *result.mLog);
    return result;
}

inline sExtracted ExtractLog(unsigned int code, const Bytes& body) {
    return ExtractPacket(LogPacket(code, body));
}

// A level to compare with a value of the facts page printed to two decimals; NaN stands for "not given".
inline ::testing::AssertionResult SameLevel(double got, double want, double within = 0.005) {
    if (std::isnan(want) ? std::isnan(got) : std::fabs(got - want) <= within) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << got << " where " << want << " was expected";
}

}  // namespace
