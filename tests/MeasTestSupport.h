// Helpers of the measurement extractor tests: log bodies built field by field from a layout's offsets and
// bits, the packets of a capture excerpt by log code, and checks of converted values (NaN for a value the
// log does not give).
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "meas/MeasExtractor.h"
#include "tests/DiagPackets.h"

// Writes `value` into bits first..last of the little-endian word of `width` bytes at `offset`, OR-ed into
// what is there (fields that share a word are written one after the other); the body grows as needed.
inline void PutBits(Bytes& body, size_t offset, unsigned int width, unsigned int first, unsigned int last,
                    uint64_t value) {
    if (body.size() < offset + width) {
        body.resize(offset + width, 0);
    }
    const uint64_t mask = last - first == 63 ? ~uint64_t(0) : ((uint64_t(1) << (last - first + 1)) - 1);
    const uint64_t bits = (value & mask) << first;
    for (unsigned int i = 0; i < width; ++i) {
        body[offset + i] |= static_cast<unsigned char>(bits >> (8 * i));
    }
}

inline void Put(Bytes& body, size_t offset, unsigned int width, uint64_t value) {
    PutBits(body, offset, width, 0, 8 * width - 1, value);
}

// The subpacket envelope of 0xB193, 0xB192, 0xB195 and 0xB188: version 1, the count, 2 reserved bytes,
// then each subpacket as id, version, u16 size (with its 4-byte header) and payload.
struct sSubpacket {
    unsigned int mId;
    unsigned int mVersion;
    Bytes mPayload;
};
inline Bytes Envelope(const std::vector<sSubpacket>& subpackets) {
    Bytes body = {1, static_cast<unsigned char>(subpackets.size()), 0xAB, 0xCD};  // reserved: garbage
    for (const sSubpacket& subpacket : subpackets) {
        const size_t size = subpacket.mPayload.size() + 4;
        body.push_back(static_cast<unsigned char>(subpacket.mId));
        body.push_back(static_cast<unsigned char>(subpacket.mVersion));
        body.push_back(static_cast<unsigned char>(size));
        body.push_back(static_cast<unsigned char>(size >> 8));
        body.insert(body.end(), subpacket.mPayload.begin(), subpacket.mPayload.end());
    }
    return body;
}

// A packet inside the multi-SIM wrapper of `subscription`.
inline Bytes Wrapped(uint32_t subscription, const Bytes& inner) {
    Bytes packet = {0x98, 0x01, 0x00, 0x00};
    Put(packet, 4, 4, subscription);
    packet.insert(packet.end(), inner.begin(), inner.end());
    return packet;
}

// The log code of a packet (inside a wrapper too); 0 for anything else.
inline unsigned int CodeOf(const Bytes& packet) {
    const size_t at = !packet.empty() && packet[0] == 0x98 ? 8 : 0;
    return packet.size() >= at + 16 && packet[at] == 0x10 ? packet[at + 6] | (packet[at + 7] << 8) : 0;
}

// The packets of a hex-lines file of tests/data with log code `code`, in file order.
inline std::vector<Bytes> PacketsOf(const std::string& file, unsigned int code) {
    std::vector<Bytes> packets;
    for (Bytes& packet : HexLines(file)) {
        if (CodeOf(packet) == code) {
            packets.push_back(std::move(packet));
        }
    }
    return packets;
}

// A record on the heap (it holds room for 256 cells) and the status of extracting one packet into it.
struct sExtracted {
    std::unique_ptr<sMeasLog> mLog{new sMeasLog};
    eMeasStatus mStatus = MEAS_STATUS_COUNT;
    const sMeasLog* operator->() const { return mLog.get(); }
};
inline sExtracted Extracted(const Bytes& packet) {
    sExtracted result;
    result.mStatus = cMeasExtractor().Extract(packet.data(), packet.size(), *result.mLog);
    return result;
}
inline sExtracted Extracted(unsigned int code, const Bytes& body) {
    return Extracted(LogPacket(code, body));
}

// The facts page gives values rounded to two decimals (-8.875 as -8.88).
const double kPageRounding = 0.005 + 1e-9;

// A converted value: both NaN, or within `tolerance`.
inline ::testing::AssertionResult Value(double actual, double expected, double tolerance = 1e-9) {
    if (std::isnan(expected) ? std::isnan(actual) : std::fabs(actual - expected) <= tolerance) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << actual << " instead of " << expected;
}
