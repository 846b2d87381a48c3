// The sample streams' WCDMA system information: block encodings worked out by hand from the ASN.1 of
// the blocks, and messages that the library's reassembly turns back into exactly the blocks' bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "diag/DiagLog.h"
#include "tools/palvorin/SystemInformation.h"
#include "wcdma/WCDMARRCAccumulator.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string Text(const tBits& bits) {
    std::string text;
    for (unsigned char bit : bits) {
        text += bit ? '1' : '0';
    }
    return text;
}

// Bits packed most significant first and padded with zeros, written out by hand.
Bytes Pack(const tBits& bits) {
    Bytes bytes((bits.size() + 7) / 8, 0);
    for (size_t i = 0; i < bits.size(); ++i) {
        bytes[i / 8] |= static_cast<unsigned char>(bits[i] << (7 - i % 8));
    }
    return bytes;
}

TEST(ToolSystemInformation, BlockEncodings) {
    // The fields of each block, apart by spaces.
    const struct {
        tBits mBits;
        std::string mExpected;
    } cases[] = {
        // extensions absent, one URA (count - 1 in 3 bits), URA identity 0xABCD in 16 bits
        {EncodeSIB2({0xABCD}), "0 000 1010101111001101"},
        // three optional fields absent, FDD, -105 dBm (+110 in 6 bits), 2 levels (count - 1 in 4), 1 and 8
        // (- 1)
        {EncodeSIB7(-105, {1, 8}), "000 0 000101 0001 000 111"},
        // idle-mode identities only, intra-frequency cells only, 1 cell (count - 1 in 5), identity present,
        // MCC 0 0 1, two MNC digits 0 2
        {EncodeSIB18(1, 1, 2), "100 100 00000 1 0000 0000 0001 0 0000 0010"},
    };
    for (const auto& test : cases) {
        std::string expected = test.mExpected;
        expected.erase(std::remove(expected.begin(), expected.end(), ' '), expected.end());
        EXPECT_EQ(Text(test.mBits), expected) << test.mExpected;
    }
}

// What the accumulator makes of a series of messages, as the payloads of the logs it rebuilt.
std::vector<Bytes> Rebuild(const std::vector<cSystemInformation>& messages) {
    cWCDMARRCAccumulator accumulator;
    std::vector<Bytes> rebuilt;
    for (const cSystemInformation& message : messages) {
        const Bytes payload = message.LogPayload();
        sSharedBuffer* log =
            sDiagLog::BuildLog(0x412F, 0, payload.data(), static_cast<unsigned int>(payload.size()));
        for (sSharedBuffer* block : accumulator.ProcessItem(log, 0)) {
            rebuilt.emplace_back(block->mData + 16, block->mData + block->mSize);
            delete block;
        }
        delete log;
    }
    return rebuilt;
}

// A rebuilt payload: channel type, header byte, u16 length of what follows, SIB type, the SIB's bits.
Bytes Expected(unsigned char channel, unsigned char sibType, const tBits& bits) {
    const Bytes packed = Pack(bits);
    Bytes payload(5 + packed.size(), 0);
    payload[0] = channel;
    payload[2] = static_cast<unsigned char>(packed.size() + 1);
    payload[4] = sibType;
    std::copy(packed.begin(), packed.end(), payload.begin() + 5);
    return payload;
}

TEST(ToolSystemInformation, MessagesRebuildTheBlocks) {
    const tBits big = EncodeSIB18(32, 1, 1);  // 715 bits: 3 fixed segments and a short last one
    ASSERT_EQ(big.size(), 715u);
    std::vector<cSystemInformation> segmented;
    segmented.push_back(cSystemInformation::BCH(1, 1));
    segmented.back().FirstSegment(SIB_TYPE_18, 4, big, 0);
    for (unsigned int index = 1; index <= 2; ++index) {
        segmented.push_back(cSystemInformation::BCH(1 + index, 2));
        segmented.back().SubsequentSegment(SIB_TYPE_18, index, big, 222 * index);
    }
    segmented.push_back(cSystemInformation::BCH(4, 3));
    segmented.back().LastSegmentShort(SIB_TYPE_18, 3, big, 666);
    EXPECT_EQ(Rebuild(segmented), std::vector<Bytes>{Expected(254, 26, big)});

    const tBits sib7 = EncodeSIB7(-90, {8});
    const tBits sib2 = EncodeSIB2({1, 2, 3, 4, 5, 6, 7, 8});
    std::vector<cSystemInformation> shortParts;
    shortParts.push_back(cSystemInformation::FACH(8));  // complete list, then a short first segment
    shortParts.back().CompleteList({{SIB_TYPE_7, &sib7}});
    shortParts.back().FirstSegmentShort(SIB_TYPE_2, 2, sib2, 50);
    shortParts.push_back(cSystemInformation::FACH(3));
    shortParts.back().LastSegmentShort(SIB_TYPE_2, 1, sib2, 50);
    EXPECT_EQ(Rebuild(shortParts), (std::vector<Bytes>{Expected(255, 7, sib7), Expected(255, 2, sib2)}));
}

}  // namespace
