#include "tools/palvorin/SystemInformation.h"

#include <algorithm>

#include "bits/BitPacker.h"

namespace {

const unsigned char kChannelBCH = 4;
const unsigned char kChannelFACH = 5;
const unsigned int kBCHTransportBits = 246;

class cBitWriter {
public:
    void Field(unsigned int width, unsigned int value) {
        for (unsigned int i = width; i > 0; --i) {
            mBits.push_back(static_cast<unsigned char>((value >> (i - 1)) & 1));
        }
    }
    tBits mBits;
};

}  // namespace

tBits EncodeSIB2(const std::vector<uint16_t>& uras) {
    cBitWriter sib;
    sib.Field(1, 0);  // no non-critical extensions
    sib.Field(3, static_cast<unsigned int>(uras.size() - 1));
    for (uint16_t ura : uras) {
        sib.Field(16, ura);
    }
    return sib.mBits;
}

tBits EncodeSIB7(int interferenceDbm, const std::vector<unsigned int>& levels) {
    cBitWriter sib;
    sib.Field(3, 0);  // no SIB 6 persistence list, no expiration factor, no extensions
    sib.Field(1, 0);  // mode-specific information: FDD
    sib.Field(6, static_cast<unsigned int>(interferenceDbm + 110));
    sib.Field(4, static_cast<unsigned int>(levels.size() - 1));
    for (unsigned int level : levels) {
        sib.Field(3, level - 1);
    }
    return sib.mBits;
}

tBits EncodeSIB18(unsigned int cells, unsigned int mcc, unsigned int mnc) {
    cBitWriter sib;
    sib.Field(3, 4);  // idle-mode identities only
    sib.Field(3, 4);  // intra-frequency cells only
    sib.Field(5, cells - 1);
    for (unsigned int cell = 0; cell < cells; ++cell) {
        sib.Field(1, 1);  // PLMN identity present
        sib.Field(4, mcc / 100 % 10);
        sib.Field(4, mcc / 10 % 10);
        sib.Field(4, mcc % 10);
        sib.Field(1, 0);  // two MNC digits
        sib.Field(4, mnc / 10 % 10);
        sib.Field(4, mnc % 10);
    }
    return sib.mBits;
}

cSystemInformation cSystemInformation::BCH(unsigned int sfnPrime, unsigned int payload) {
    cSystemInformation message(kChannelBCH);
    message.Field(11, sfnPrime);
    message.Field(4, payload);
    return message;
}

cSystemInformation cSystemInformation::FACH(unsigned int payload) {
    cSystemInformation message(kChannelFACH);
    message.Field(2, 0);  // system information
    message.Field(4, payload);
    return message;
}

void cSystemInformation::Field(unsigned int width, unsigned int value) {
    for (unsigned int i = width; i > 0; --i) {
        mBits.push_back(static_cast<unsigned char>((value >> (i - 1)) & 1));
    }
}

void cSystemInformation::Data(const tBits& bits, size_t from, size_t count, size_t fieldBits) {
    for (size_t i = 0; i < fieldBits; ++i) {
        mBits.push_back(i < count && from + i < bits.size() ? bits[from + i] : 0);
    }
}

void cSystemInformation::FirstSegment(unsigned int sibType, unsigned int segments, const tBits& bits,
                                      size_t from) {
    Field(5, sibType);
    Field(4, segments - 1);
    Data(bits, from, kDataFixed, kDataFixed);
}

void cSystemInformation::SubsequentSegment(unsigned int sibType, unsigned int index, const tBits& bits,
                                           size_t from) {
    Field(5, sibType);
    Field(4, index - 1);
    Data(bits, from, kDataFixed, kDataFixed);
}

void cSystemInformation::LastSegmentShort(unsigned int sibType, unsigned int index, const tBits& bits,
                                          size_t from) {
    const size_t count = bits.size() - from;
    Field(5, sibType);
    Field(4, index - 1);
    Field(8, static_cast<unsigned int>(count - 1));
    Data(bits, from, count, count);
}

void cSystemInformation::FirstSegmentShort(unsigned int sibType, unsigned int segments, const tBits& bits,
                                           size_t count) {
    Field(5, sibType);
    Field(4, segments - 1);
    Field(8, static_cast<unsigned int>(count - 1));
    Data(bits, 0, count, count);
}

void cSystemInformation::CompleteList(const std::vector<std::pair<unsigned int, const tBits*>>& sibs) {
    Field(4, static_cast<unsigned int>(sibs.size() - 1));
    for (const auto& sib : sibs) {
        Field(5, sib.first);
        Field(8, static_cast<unsigned int>(sib.second->size() - 1));
        Data(*sib.second, 0, sib.second->size(), sib.second->size());
    }
}

void cSystemInformation::CompleteSIB(unsigned int sibType, const tBits& bits) {
    Field(5, sibType);
    Data(bits, 0, bits.size(), kDataComplete);
}

std::vector<unsigned char> cSystemInformation::LogPayload() const {
    const size_t bits =
        mChannelType == kChannelBCH ? std::max<size_t>(mBits.size(), kBCHTransportBits) : mBits.size();
    const size_t bytes = (bits + 7) / 8;
    std::vector<unsigned char> payload(4 + bytes, 0);
    payload[0] = mChannelType;
    payload[2] = static_cast<unsigned char>(bytes);
    payload[3] = static_cast<unsigned char>(bytes >> 8);
    // The library's bit writer, most significant bit first, into the cleared message bytes.
    cBitPacker packer(payload.data() + 4, static_cast<unsigned int>(bytes * 8));
    packer.mLSBFirst = false;
    for (unsigned char bit : mBits) {
        packer.Set(1, bit);
    }
    return payload;
}
