// Writes WCDMA RRC SYSTEM INFORMATION messages field by field, most significant bit first, as the network
// sends them (unaligned PER), and wraps them in 0x412F logs. A test then reads like the message it sends:
//
//   cSIMessageWriter::BCH(kLastAndFirst).LastSegmentShort(19, 2, tail).FirstSegmentShort(5, 3, head).Log()
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bits/BitPacker.h"

namespace wcdma_test {

using Bytes = std::vector<unsigned char>;
// SIB data as a string of '0' and '1', first bit first.
using BitString = std::string;

// Payload choices, numbered as in the message.
enum ePayload : unsigned int {
    kNoSegment = 0,
    kFirstSegment = 1,
    kSubsequentSegment = 2,
    kLastSegmentShort = 3,
    kLastAndFirst = 4,
    kLastAndComplete = 5,
    kLastAndCompleteAndFirst = 6,
    kCompleteSIBList = 7,
    kCompleteAndFirst = 8,
    kCompleteSIB = 9,
    kLastSegment = 10,
};

// `count` bits of a fixed pseudo-random pattern, different for each seed.
inline BitString PatternBits(unsigned int count, unsigned int seed) {
    std::mt19937 random(seed);
    BitString bits;
    for (unsigned int i = 0; i < count; ++i) {
        bits += (random() & 1) ? '1' : '0';
    }
    return bits;
}

// Packs bits most significant first, zero padded to a whole byte: written out by hand, without the writer.
inline Bytes PackBits(const BitString& bits) {
    Bytes bytes((bits.size() + 7) / 8, 0);
    for (size_t i = 0; i < bits.size(); ++i) {
        if (bits[i] == '1') {
            bytes[i / 8] |= static_cast<unsigned char>(0x80 >> (i % 8));
        }
    }
    return bytes;
}

// A 0x412F log around an RRC message: 16-byte log header (timestamp 0), channel type, header byte, u16
// message length, message.
inline Bytes WrapLog(unsigned char channelType, unsigned char headerByte, const Bytes& message) {
    const size_t payload = 4 + message.size();
    const size_t length = payload + 12;
    Bytes log = {0x10,
                 0x00,
                 static_cast<unsigned char>(length),
                 static_cast<unsigned char>(length >> 8),
                 static_cast<unsigned char>(length),
                 static_cast<unsigned char>(length >> 8),
                 0x2F,
                 0x41};
    log.resize(16, 0);
    log.push_back(channelType);
    log.push_back(headerByte);
    log.push_back(static_cast<unsigned char>(message.size()));
    log.push_back(static_cast<unsigned char>(message.size() >> 8));
    log.insert(log.end(), message.begin(), message.end());
    return log;
}

class cSIMessageWriter {
public:
    // SystemInformation-BCH: 11-bit SFN-prime, then the payload choice.
    static cSIMessageWriter BCH(unsigned int payload, unsigned int sfnPrime = 0) {
        cSIMessageWriter message(4);
        message.Field(11, sfnPrime).Field(4, payload);
        return message;
    }
    // BCCH-FACH-Message: 2-bit message type (0 is system information), then the payload choice.
    static cSIMessageWriter FACH(unsigned int payload, unsigned int messageType = 0) {
        cSIMessageWriter message(5);
        message.Field(2, messageType).Field(4, payload);
        return message;
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

    // The parts, with their values as they are meant (counts, indices and lengths from 1); the writer
    // stores them minus one, in 4 or 8 bits.
    cSIMessageWriter& FirstSegment(unsigned int sibType, unsigned int count, const BitString& data222) {
        return Field(5, sibType).Field(4, count - 1).Data(data222);
    }
    cSIMessageWriter& SubsequentSegment(unsigned int sibType, unsigned int index, const BitString& data222) {
        return Field(5, sibType).Field(4, index - 1).Data(data222);
    }
    cSIMessageWriter& LastSegment(unsigned int sibType, unsigned int index, const BitString& data222) {
        return Field(5, sibType).Field(4, index - 1).Data(data222);
    }
    cSIMessageWriter& LastSegmentShort(unsigned int sibType, unsigned int index, const BitString& data) {
        return Field(5, sibType).Field(4, index - 1).Field(8, (data.size() - 1) & 0xFF).Data(data);
    }
    cSIMessageWriter& FirstSegmentShort(unsigned int sibType, unsigned int count, const BitString& data) {
        return Field(5, sibType).Field(4, count - 1).Field(8, (data.size() - 1) & 0xFF).Data(data);
    }
    cSIMessageWriter& CompleteSIBList(const std::vector<std::pair<unsigned int, BitString>>& sibs) {
        Field(4, static_cast<unsigned int>(sibs.size() - 1));
        for (const auto& sib : sibs) {
            Field(5, sib.first).Field(8, static_cast<unsigned int>(sib.second.size() - 1)).Data(sib.second);
        }
        return *this;
    }
    cSIMessageWriter& CompleteSIB(unsigned int sibType, const BitString& data226) {
        return Field(5, sibType).Data(data226);
    }

    // The message bytes, zero padded to a whole byte.
    Bytes Message() const { return Bytes(mBytes.begin(), mBytes.begin() + (mPacker.mBitsUsed + 7) / 8); }
    Bytes Log(unsigned char headerByte = 0) const { return WrapLog(mChannelType, headerByte, Message()); }

    // cSIMessageWriter is copied when returned; the writer must follow its own bytes.
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

// The payload a rebuilt log must carry for a SIB made of `bits`: channel type, header byte, u16 length of
// what follows, SIB type, the bits packed and padded.
inline Bytes RebuiltPayload(unsigned char channelType, unsigned char headerByte, unsigned char sibType,
                            const BitString& bits) {
    const Bytes sib = PackBits(bits);
    const size_t following = 1 + sib.size();
    Bytes payload = {channelType, headerByte, static_cast<unsigned char>(following),
                     static_cast<unsigned char>(following >> 8), sibType};
    payload.insert(payload.end(), sib.begin(), sib.end());
    return payload;
}

}  // namespace wcdma_test
