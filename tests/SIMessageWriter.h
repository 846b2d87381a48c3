// Writes WCDMA RRC SYSTEM INFORMATION messages field by field, most significant bit first (unaligned PER),
// and wraps them in 0x412F logs:
// SI::BCH(PAYLOAD_LAST_AND_FIRST).LastSegmentShort(...).FirstSegmentShort(...).Log()
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bits/BitPacker.h"
#include "wcdma/WCDMARRCFormat.h"

namespace wcdma_test {

using Bytes = std::vector<unsigned char>;
// SIB data as a string of '0' and '1', first bit first.
using BitString = std::string;

// `count` bits of a fixed pseudo-random pattern, different for each seed.
inline BitString PatternBits(unsigned int count, unsigned int seed) {
    std::mt19937 random(seed);
    BitString bits;
    for (unsigned int i = 0; i < count; ++i) {
        bits += (random() & 1) ? '1' : '0';
    }
    return bits;
}

// A 0x412F log (timestamp 0) carrying channel type, header byte, u16 length of `body`, then `body`.
inline Bytes WrapLog(unsigned char channelType, unsigned char headerByte, const Bytes& body) {
    const auto low = static_cast<unsigned char>(16 + body.size());
    const auto high = static_cast<unsigned char>((16 + body.size()) >> 8);
    const auto size = static_cast<uint16_t>(body.size());
    Bytes log = {0x10, 0x00, low, high, low, high, 0x2F, 0x41,        0,
                 0,    0,    0,   0,    0,   0,    0,    channelType, headerByte};
    log.push_back(static_cast<unsigned char>(size));
    log.push_back(static_cast<unsigned char>(size >> 8));
    log.insert(log.end(), body.begin(), body.end());
    return log;
}

// The log a SIB made of `bits` must be rebuilt into: its SIB type, then the bits packed most significant
// first and zero padded, written out by hand without the bit writer.
inline Bytes RebuiltLog(unsigned char channelType, unsigned char headerByte, unsigned char sibType,
                        const BitString& bits) {
    Bytes body((bits.size() + 7) / 8 + 1, 0);
    body[0] = sibType;
    for (size_t i = 0; i < bits.size(); ++i) {
        body[1 + i / 8] |= static_cast<unsigned char>(bits[i] == '1' ? 0x80 >> (i % 8) : 0);
    }
    return WrapLog(channelType, headerByte, body);
}

class cSIMessageWriter {
public:
    // SystemInformation-BCH: 11-bit SFN-prime, then the payload choice.
    static cSIMessageWriter BCH(unsigned int payload, unsigned int sfnPrime = 0) {
        return cSIMessageWriter(4).Field(11, sfnPrime).Field(4, payload);
    }
    // BCCH-FACH-Message: 2-bit message type (0 is system information), then the payload choice.
    static cSIMessageWriter FACH(unsigned int payload, unsigned int messageType = 0) {
        return cSIMessageWriter(5).Field(2, messageType).Field(4, payload);
    }

    cSIMessageWriter& Field(unsigned int width, unsigned int value) {
        EXPECT_EQ(mPacker.Set(width, value), 0u) << "message too long for the test's buffer";
        return *this;
    }
    cSIMessageWriter& Data(const BitString& bits) {
        for (char bit : bits) {
            Field(1, bit == '1' ? 1 : 0);
        }
        return *this;
    }

    // The parts, with counts and indices from 1 as they are meant; the message holds them minus one.
    cSIMessageWriter& FirstSegment(unsigned int sib, unsigned int count, const BitString& data222) {
        return Field(5, sib).Field(4, count - 1).Data(data222);
    }
    cSIMessageWriter& SubsequentSegment(unsigned int sib, unsigned int index, const BitString& data222) {
        return Field(5, sib).Field(4, index - 1).Data(data222);
    }
    cSIMessageWriter& LastSegment(unsigned int sib, unsigned int index, const BitString& data222) {
        return Field(5, sib).Field(4, index - 1).Data(data222);
    }
    // A short segment carries its bit count minus one in 8 bits.
    cSIMessageWriter& LastSegmentShort(unsigned int sib, unsigned int index, const BitString& data) {
        return Field(5, sib).Field(4, index - 1).Field(8, (data.size() - 1) & 0xFF).Data(data);
    }
    cSIMessageWriter& FirstSegmentShort(unsigned int sib, unsigned int count, const BitString& data) {
        return LastSegmentShort(sib, count, data);  // the same fields
    }
    cSIMessageWriter& CompleteSIBList(const std::vector<std::pair<unsigned int, BitString>>& sibs) {
        Field(4, static_cast<unsigned int>(sibs.size() - 1));
        for (const auto& sib : sibs) {
            Field(5, sib.first).Field(8, static_cast<unsigned int>(sib.second.size() - 1)).Data(sib.second);
        }
        return *this;
    }
    cSIMessageWriter& CompleteSIB(unsigned int sib, const BitString& data226) {
        return Field(5, sib).Data(data226);
    }

    // The message in a log, zero padded to a whole byte.
    Bytes Log(unsigned char headerByte = 0) const {
        return WrapLog(mChannelType, headerByte,
                       Bytes(mBytes.begin(), mBytes.begin() + (mPacker.mBitsUsed + 7) / 8));
    }

    // Copies must write into their own bytes.
    cSIMessageWriter(const cSIMessageWriter& other)
        : mChannelType(other.mChannelType), mBytes(other.mBytes), mPacker(other.mPacker) {
        mPacker.mData = mBytes.data();
    }
    cSIMessageWriter& operator=(const cSIMessageWriter&) = delete;

private:
    explicit cSIMessageWriter(unsigned char channelType)
        : mChannelType(channelType), mBytes(kCapacity, 0), mPacker(mBytes.data(), kCapacity * 8) {
        mPacker.mLSBFirst = false;
    }

    static const unsigned int kCapacity = 1024;
    unsigned char mChannelType;
    Bytes mBytes;
    cBitPacker mPacker;
};

}  // namespace wcdma_test
