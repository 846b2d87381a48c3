// WCDMA RRC system information as a base station broadcasts it, for sample streams: a few system
// information blocks (SIBs) encoded field by field (unaligned PER, most significant bit first), and the
// SYSTEM INFORMATION messages of the BCH and the FACH that carry them whole or in segments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// A run of bits, one per element, first bit first.
typedef std::vector<unsigned char> tBits;

// SIB-Type values of the blocks the samples carry.
const unsigned int SIB_TYPE_2 = 2;
const unsigned int SIB_TYPE_7 = 7;
const unsigned int SIB_TYPE_18 = 26;

// SysInfoType2: the URA identities `uras` (1 to 8 of them).
tBits EncodeSIB2(const std::vector<uint16_t>& uras);
// SysInfoType7: uplink interference (-110..-70 dBm) and the dynamic persistence levels (1 to 16, each 1..8).
tBits EncodeSIB7(int interferenceDbm, const std::vector<unsigned int>& levels);
// SysInfoType18: idle-mode PLMN identities of `cells` intra-frequency neighbours (1 to 32), MCC and a
// two-digit MNC each.
tBits EncodeSIB18(unsigned int cells, unsigned int mcc, unsigned int mnc);

// One SYSTEM INFORMATION message under construction. Parts are added in message order; the counts,
// indices and lengths are given as they are meant (from 1).
class cSystemInformation {
public:
    static constexpr unsigned int kDataFixed = 222;     // data bits of a first, subsequent or last segment
    static constexpr unsigned int kDataComplete = 226;  // data bits of a complete SIB

    // SystemInformation-BCH: SFN prime and payload choice; the message fills a 246-bit transport block.
    static cSystemInformation BCH(unsigned int sfnPrime, unsigned int payload);
    // BCCH-FACH-Message carrying system information with this payload choice.
    static cSystemInformation FACH(unsigned int payload);

    // Data of `count` bits taken from `bits` at `from`; the rest of a fixed field is zero padding.
    void FirstSegment(unsigned int sibType, unsigned int segments, const tBits& bits, size_t from);
    void SubsequentSegment(unsigned int sibType, unsigned int index, const tBits& bits, size_t from);
    void LastSegmentShort(unsigned int sibType, unsigned int index, const tBits& bits, size_t from);
    void FirstSegmentShort(unsigned int sibType, unsigned int segments, const tBits& bits, size_t count);
    void CompleteList(const std::vector<std::pair<unsigned int, const tBits*>>& sibs);
    void CompleteSIB(unsigned int sibType, const tBits& bits);

    // The 0x412F log payload: channel type, header byte 0, u16 message length, the message bytes.
    std::vector<unsigned char> LogPayload() const;

private:
    explicit cSystemInformation(unsigned char channelType) : mChannelType(channelType) {}
    void Field(unsigned int width, unsigned int value);
    void Data(const tBits& bits, size_t from, size_t count, size_t fieldBits);

    unsigned char mChannelType;
    tBits mBits;
};
