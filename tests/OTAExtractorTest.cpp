// Extraction of signalling messages. Real packets (captures A and B, the WCDMA captures) with the values
// read from their bytes by hand and the counts published with the captures; hand-built packets, one row
// per log version, for the layouts no capture has, with offsets from the published layout tables; the
// joining of segmented messages.
#include "ota/OTAExtractor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "tests/DiagPackets.h"
#include "tests/StreamPackets.h"
#include "wcdma/WCDMARRCAccumulator.h"

namespace {

using Counts = std::map<std::string, unsigned int>;

// The message's bytes, to compare with Hex(...).
Bytes MessageBytes(const sOTAMessage& message) {
    return message.mData == nullptr ? Bytes() : Bytes(message.mData, message.mData + message.mLength);
}

eOTAExtractStatus Extract(cOTAExtractor& extractor, const Bytes& packet, sOTAMessage& out) {
    return extractor.Extract(packet.data(), packet.size(), out);
}

const eOTADirection UL = OTA_DIRECTION_UPLINK;
const eOTADirection DL = OTA_DIRECTION_DOWNLINK;
const uint8_t RADIO = OTA_HAS_CHANNEL_NUMBER | OTA_HAS_CELL;
const uint8_t LTE = RADIO | OTA_HAS_FRAME;
const eOTAExtractStatus MSG = OTA_EXTRACT_MESSAGE, OLD = OTA_EXTRACT_UNSUPPORTED_VERSION,
                        CHANNEL = OTA_EXTRACT_UNKNOWN_CHANNEL, LENGTH = OTA_EXTRACT_BAD_LENGTH;

struct sExpected {
    const char* mKind;
    eOTADirection mDirection;
    uint8_t mContext;
    uint32_t mChannelNumber;
    uint16_t mCell;
    uint16_t mFrame;
    uint8_t mSubFrame;
    const char* mMessage;  // hex
};

void ExpectMessage(const Bytes& packet, const sExpected& want, uint32_t subscription = 0) {
    cOTAExtractor extractor;
    sOTAMessage got;
    ASSERT_EQ(Extract(extractor, packet, got), OTA_EXTRACT_MESSAGE) << want.mKind;
    EXPECT_STREQ(OTAMessageKindName(got), want.mKind);
    EXPECT_EQ(got.mDirection, want.mDirection) << want.mKind;
    EXPECT_EQ(got.mContext, want.mContext) << want.mKind;
    EXPECT_EQ(got.mChannelNumber, want.mChannelNumber) << want.mKind;
    EXPECT_EQ(got.mCell, want.mCell) << want.mKind;
    EXPECT_EQ(got.mFrame, want.mFrame) << want.mKind;
    EXPECT_EQ(got.mSubFrame, want.mSubFrame) << want.mKind;
    EXPECT_EQ(MessageBytes(got), Hex(want.mMessage)) << want.mKind;
    EXPECT_EQ(got.mSubscription, subscription) << want.mKind;
}

// Real packets of captures A (LTE, GSM, UMTS NAS) and C (GSM BCCH, UMTS NAS), the newer WCDMA layout from
// published analyser vectors and handset output; fields read off the bytes with the published layouts.
TEST(OTAExtractor, RealPacketsOfEachFamily) {
    const struct {
        const char* mPacket;
        sExpected mWant;
    } cases[] = {
        // LTE RRC v8: PCI fd00 = 253, EARFCN 21070000 = 1825, SFN word f802 -> frame 47, sub-frame 8.
        {"100021002100c0b0ff84e76afd11d100080a7201fd0021070000f802060000000002002802",
         {"LTE RRC DL-DCCH", DL, LTE, 1825, 253, 47, 8, "2802"}},
        {"100021002100c0b0b96227c3a511d100080a720151010c9400000000080000000002002e00",
         {"LTE RRC UL-DCCH", UL, LTE, 37900, 337, 0, 0, "2e00"}},
        {"100026002600c0b00b0eac4bfd11d100080a7200fd0021070000824402000100000700001a00900c2000",
         {"LTE RRC BCCH-DL-SCH", DL, LTE, 1825, 253, 1096, 2, "001a00900c2000"}},
        {"100026002600c0b0f2624bc8a511d100080a720051010c9400000051040000000007004008ccb0596c00",
         {"LTE RRC PCCH", DL, LTE, 37900, 337, 1296, 0, "4008ccb0596c00"}},
        {"100025002500c0b0dabd95c2a511d100080a720051010c94000000000700000000060048ce70d247f8",
         {"LTE RRC UL-CCCH", UL, LTE, 37900, 337, 0, 0, "48ce70d247f8"}},
        // LTE NAS v1: three release bytes 09 05 00, then the message.
        {"100019001900e1b0098a96420012d1000109050027f36112f4035200ca",
         {"LTE NAS ESM protected", UL, 0, 0, 0, 0, 0, "27f36112f4035200ca"}},
        {"100019001900eab0bd24cddfac11d1000109050027927f529919074501",
         {"LTE NAS EMM protected", DL, 0, 0, 0, 0, 0, "27927f529919074501"}},
        {"100014001400edb0ff4594c2a511d10001090500c7011700", {"LTE NAS EMM", UL, 0, 0, 0, 0, 0, "c7011700"}},
        {"100013001300ecb0bd24cddfac11d10001090500074501", {"LTE NAS EMM", DL, 0, 0, 0, 0, 0, "074501"}},
        // GSM RR: 0x80 DCCH downlink, 0x04 SACCH uplink (Measurement Report 0x15), 0x81 BCCH with the
        // pseudo-length byte 0x31 kept.
        {"1000120012002f519a94ba1afd11d100800d03060d00", {"GSM RR DCCH", DL, 0, 0, 0, 0, 0, "060d00"}},
        {"1000210021002f51d46ce708fd11d10004151206159bdb7e00000000000000000000000000",
         {"GSM RR SACCH", UL, 0, 0, 0, 0, 0, "06159bdb7e00000000000000000000000000"}},
        {"1000260026002f511988befdfc11d100811c1731061c64f00011d6e54db90000b700432b2b2b2b2b2b2b",
         {"GSM RR BCCH", DL, 0, 0, 0, 0, 0, "31061c64f00011d6e54db90000b700432b2b2b2b2b2b2b"}},
        // UMTS NAS: 1 = from the handset (TMSI Reallocation Complete), 0 = to it (Identity Request).
        {"1000130013003a71d6427c0cfd11d100010200000005db", {"UMTS NAS", UL, 0, 0, 0, 0, 0, "05db"}},
        {"1000160016003a7180b3bd0bfd11d10000050000000518031803",
         {"UMTS NAS", DL, 0, 0, 0, 0, 0, "0518031803"}},
        // WCDMA RRC, newer layout: UARFCN a729 = 10663, PSC 8d01 = 397; 0x89 carries SIB type 67 (SIB19).
        {"1000330033002f41000000000000000084281f00a7298d01a143f686e52a22282f36928cc1852026d2519830afacda4a33"
         "0614909b4944",
         {"WCDMA RRC BCCH-BCH", DL, RADIO, 10663, 397, 0, 0,
          "a143f686e52a22282f36928cc1852026d2519830afacda4a330614909b4944"}},
        {"10003e003e002f41000000000000000089282a00a7298d014365010240c80ea200618385110030071ba8801819c9544"
         "00c1a2d7220049e22178885e22178885e2210",
         {"WCDMA RRC SysInfoType19", DL, RADIO, 10663, 397, 0, 0,
          "65010240c80ea200618385110030071ba8801819c954400c1a2d7220049e22178885e22178885e2210"}},
        {"1000330033002f410989bf713b22f30084281f007a0b4300508e205f009800c2a81121912101302038b8080000"
         "00000000000000000001",
         {"WCDMA RRC BCCH-BCH", DL, RADIO, 2938, 67, 0, 0,
          "508e205f009800c2a81121912101302038b808000000000000000000000001"}},
    };
    for (const auto& c : cases) {
        ExpectMessage(Hex(c.mPacket), c.mWant);
    }
    // NR RRC v8 inside the multi-SIM wrapper of capture B: PCI 7102 = 625, NR-ARFCN 9eb40700 = 504990.
    ExpectMessage(
        Hex("980100000100000010002800280021b8b1661bf0c02ef000080000000f60ff71029eb4070000000000010000"
            "000004005f65a4c0"),
        {"NR RRC BCCH-BCH", DL, RADIO, 504990, 625, 0, 0, "5f65a4c0"}, 1);
}

// Capture A whole: every frame through one extractor, against the counts published with the capture.
TEST(OTAExtractor, CaptureAHasThePublishedSignallingCounts) {
    const std::vector<Bytes> packets = StreamPackets("raw_diag_stream_a.bin");
    ASSERT_EQ(packets.size(), 5501u);
    cOTAExtractor extractor;
    Counts kinds, statuses, uplink;
    std::map<uint32_t, unsigned int> earfcns;
    unsigned int paging = 0, pagingHighFrames = 0, sysInfoHighFrames = 0, uplinkFramesNonZero = 0;
    uint64_t firstTimestamp = 0;
    for (const Bytes& packet : packets) {
        sOTAMessage message;
        const eOTAExtractStatus status = Extract(extractor, packet, message);
        ++statuses[OTAExtractStatusName(status)];
        firstTimestamp = firstTimestamp != 0 ? firstTimestamp : message.mTimestamp;
        if (status != OTA_EXTRACT_MESSAGE) {
            continue;
        }
        const std::string kind = OTAMessageKindName(message);
        ++kinds[kind];
        if (message.mDirection == OTA_DIRECTION_UPLINK) {
            ++uplink[kind];
        }
        if (message.mProtocol == OTA_PROTOCOL_LTE_RRC) {
            ++earfcns[message.mChannelNumber];
            paging += message.mChannel == OTA_LTE_PCCH;
            pagingHighFrames += message.mChannel == OTA_LTE_PCCH && message.mFrame > 1023;
            sysInfoHighFrames += message.mChannel == OTA_LTE_BCCH_DL_SCH && message.mFrame > 1023;
            uplinkFramesNonZero += message.mDirection == OTA_DIRECTION_UPLINK && message.mFrame != 0;
        }
        if (message.mLogCode == 0x5230) {
            // The 250 bytes after the message are not part of it: payload = length + 254.
            EXPECT_EQ(message.mLength + 254 + 16, packet.size());
        }
    }
    EXPECT_EQ(kinds, (Counts{{"LTE RRC PCCH", 3368},
                             {"LTE RRC UL-DCCH", 360},
                             {"LTE RRC DL-DCCH", 285},
                             {"LTE RRC BCCH-DL-SCH", 251},
                             {"LTE RRC DL-CCCH", 40},
                             {"LTE RRC UL-CCCH", 39},
                             {"LTE NAS EMM", 13 + 50},
                             {"LTE NAS EMM protected", 10 + 17},
                             {"LTE NAS ESM", 3 + 1},
                             {"LTE NAS ESM protected", 1},
                             {"GSM RR CCCH", 207},
                             {"GSM RR BCCH", 152},
                             {"GSM RR SACCH", 7 + 6},
                             {"GSM RR DCCH", 4 + 2},
                             {"UMTS NAS", 27},
                             {"GPRS GMM/SM", 9}}));
    // Uplink: UL-DCCH, UL-CCCH, the outgoing NAS codes, GSM channel bytes without bit 7 (0x04 x 7,
    // 0x00 x 4), UMTS NAS direction 1 (16) and GPRS direction 0 (6).
    EXPECT_EQ(uplink, (Counts{{"LTE RRC UL-DCCH", 360},
                              {"LTE RRC UL-CCCH", 39},
                              {"LTE NAS EMM", 50},
                              {"LTE NAS EMM protected", 17},
                              {"LTE NAS ESM", 1},
                              {"LTE NAS ESM protected", 1},
                              {"GSM RR SACCH", 7},
                              {"GSM RR DCCH", 4},
                              {"UMTS NAS", 16},
                              {"GPRS GMM/SM", 6}}));
    EXPECT_EQ(statuses, (Counts{{"message", 4852}, {"not a signalling log", 5501 - 4852}}));
    EXPECT_EQ(earfcns, (std::map<uint32_t, unsigned int>{{37900, 3684},
                                                         {38098, 556},
                                                         {1825, 39},
                                                         {1650, 21},
                                                         {40340, 20},
                                                         {40540, 9},
                                                         {41140, 6},
                                                         {38400, 2},
                                                         {38950, 2},
                                                         {40738, 2},
                                                         {75, 2}}));
    EXPECT_EQ(pagingHighFrames, paging) << "every paging record has a frame word above 1023 << 4";
    EXPECT_EQ(sysInfoHighFrames, 165u);
    EXPECT_EQ(uplinkFramesNonZero, 0u);
    EXPECT_EQ(firstTimestamp, 0x00D111A5C293A78Eull) << "the first log packet's header time";
    EXPECT_EQ(extractor.HeldPieces(), 0u);
}

// Capture B: 18 NR RRC v8 logs inside the multi-SIM wrapper of subscription 1; PDU 26 is RadioBearerConfig
// in v8, which the capture confirms (4- and 9-byte messages beginning 0x14).
TEST(OTAExtractor, CaptureBIsWrappedNRRRC) {
    const std::vector<Bytes> packets = StreamPackets("raw_diag_stream_b.bin");
    ASSERT_EQ(packets.size(), 19u);
    cOTAExtractor extractor;
    Counts kinds, uplink;
    for (const Bytes& packet : packets) {
        sOTAMessage message;
        if (Extract(extractor, packet, message) == OTA_EXTRACT_MESSAGE) {
            ++kinds[OTAMessageKindName(message)];
            uplink[OTAMessageKindName(message)] += message.mDirection == OTA_DIRECTION_UPLINK;
            EXPECT_EQ(message.mSubscription, 1u);
            EXPECT_EQ(message.mLogVersion, 8u);
            EXPECT_EQ(message.mLogCode, 0xB821);
        }
    }
    EXPECT_EQ(kinds, (Counts{{"NR RRC UL-DCCH", 5},
                             {"NR RRC RRCReconfiguration", 3},
                             {"NR RRC RadioBearerConfig", 5},
                             {"NR RRC BCCH-BCH", 2},
                             {"NR RRC RRCReconfigurationComplete", 3}}));
    // The handset sends the UL-DCCH messages and its completions of a reconfiguration.
    EXPECT_EQ(uplink, (Counts{{"NR RRC UL-DCCH", 5},
                              {"NR RRC RRCReconfiguration", 0},
                              {"NR RRC RadioBearerConfig", 0},
                              {"NR RRC BCCH-BCH", 0},
                              {"NR RRC RRCReconfigurationComplete", 3}}));
}

// The WCDMA capture through the store's reassembler: the logs by channel type and the rebuilt blocks
// (channel type 254) by SIB type, with the counts published with the capture (tests/data/README.md):
// whole SIBs inside complete lists, 328 in all, plus the 69 sequences that complete in order. A rebuilt
// block carries the time of the packet that completed it.
TEST(OTAExtractor, WCDMACaptureAndItsRebuiltBlocks) {
    const std::vector<Bytes> packets = HexLines("wcdma_412f.txt");
    ASSERT_EQ(packets.size(), 623u);
    cOTAExtractor extractor;
    cWCDMARRCAccumulator accumulator;
    Counts kinds;
    sOTAMessage message;
    unsigned int longSIB11 = 0;
    for (const Bytes& packet : packets) {
        ASSERT_EQ(Extract(extractor, packet, message), OTA_EXTRACT_MESSAGE);
        ++kinds[OTAMessageKindName(message)];
        const uint64_t stamp = message.mTimestamp;
        sSharedBuffer item(packet.data(), static_cast<unsigned int>(packet.size()), 3);
        for (sSharedBuffer* rebuilt : accumulator.ProcessItem(&item, stamp)) {
            EXPECT_EQ(extractor.Extract(rebuilt, message), OTA_EXTRACT_MESSAGE);
            EXPECT_EQ(message.mLength, rebuilt->mSize - 21) << "the block after its SIB-type byte";
            EXPECT_EQ(message.mTimestamp, stamp);
            ++kinds[OTAMessageKindName(message)];
            EXPECT_EQ(rebuilt->mData[16], 254) << "only BCCH-BCH in this capture";
            // One SIB11 came in 10 segments: at least 9 x 222 data bits.
            longSIB11 += rebuilt->mData[20] == 11 && rebuilt->mSize > 16 + 5 + 9 * 222 / 8;
            delete rebuilt;
        }
    }
    EXPECT_EQ(kinds, (Counts{{"WCDMA RRC BCCH-BCH", 331},
                             {"WCDMA RRC DL-DCCH", 109},
                             {"WCDMA RRC UL-DCCH", 172},
                             {"WCDMA RRC DL-CCCH", 5},
                             {"WCDMA RRC UL-CCCH", 6},
                             {"WCDMA RRC MasterInformationBlock", 107},
                             {"WCDMA RRC SysInfoType7", 107},
                             {"WCDMA RRC SysInfoType2", 46},
                             {"WCDMA RRC SysInfoType1", 26 + 19},
                             {"WCDMA RRC SysInfoType3", 19},
                             {"WCDMA RRC SysInfoTypeSB1", 18},
                             {"WCDMA RRC SysInfoType18", 5 + 6},
                             {"WCDMA RRC SysInfoType5", 9},
                             {"WCDMA RRC SysInfoType12", 6},
                             {"WCDMA RRC SysInfoType11", 1},
                             {"WCDMA RRC SysInfo extension type", 28}}));
    EXPECT_EQ(longSIB11, 1u);
    EXPECT_EQ(accumulator.mSIMs.size(), 3u) << "still open at the end";
}

// Hand-built payloads that extraction refuses: the status, with no kind and no message.
void ExpectRefused(unsigned int code, const char* payload, eOTAExtractStatus status) {
    cOTAExtractor extractor;
    sOTAMessage got;
    ASSERT_EQ(Extract(extractor, LogPacket(code, Hex(payload)), got), status)
        << std::hex << code << " " << payload;
    EXPECT_STREQ(OTAMessageKindName(got), "none") << payload;
    EXPECT_TRUE(got.mData == nullptr && got.mLength == 0) << payload;
    EXPECT_EQ(got.mDirection, OTA_DIRECTION_UNKNOWN) << payload;
    EXPECT_EQ(got.mLogCode, code);
}

const struct {
    unsigned int mCode;
    const char* mPayload;
    eOTAExtractStatus mStatus;
} kRefused[] = {
    // clang-format off
    // LTE RRC (LTERRCEveryVersion tries every refused version in a whole layout): a refused version is
    // told before a cut header; a PDU number in a hole of v20's NB-IoT numbering; a length that disagrees;
    // a cut header.
    {0xB0C0, "01", OLD},
    {0xB0C0, "14 0a72 00 2301 409c0000 3512 3c 00000000 0300 aabbcc", CHANNEL},
    {0xB0C0, "08 0a72 00 2301 409c0000 3512 04 00000000 0400 aabbcc", LENGTH},
    {0xB0C0, "08 0a72 00 2301 409c0000 3512 04 00000000 0200 aabbcc", LENGTH},
    {0xB0C0, "08 0a72 00 2301 409c0000 3512 04 0000", LENGTH}, {0xB0C0, "", LENGTH},
    // NR RRC.
    {0xB821, "1a000000 0f60 01 2301 0000000000000000 9eb40700 000000 0a 00000000 0300 000000 00 aabbcc",
     CHANNEL},
    {0xB821, "0a000000", OLD}, {0xB821, "080000", LENGTH},
    {0xB821, "08000000 0f60 01 2301 9eb40700 00000000 08 00000000 0400 aabbcc", LENGTH},
    // GSM, GPRS, UMTS NAS, LTE NAS, NR NAS.
    {0x512F, "091503 aabbcc", CHANNEL}, {0x512F, "811c04 aabbcc", LENGTH}, {0x5226, "ff0903 aabbcc", CHANNEL},
    {0x5230, "00 08 0400 aabbcc", LENGTH}, {0x713A, "02 02000000 05db", CHANNEL},
    {0x713A, "00 03000000 05db", LENGTH}, {0xB0EC, "02 090500 074501", OLD}, {0xB0EC, "01 090500", LENGTH},
    {0xB800, "02000000 0f0200 2e01", OLD},
    // WCDMA: channel types outside every layout, a SIB type without a name, cut payloads.
    {0x412F, "f028 0300 a729 8d01 28aabb", CHANNEL}, {0x412F, "fe00 0300 20aabb", CHANNEL},
    {0x412F, "0900 0200 aabb", CHANNEL}, {0x412F, "8a28 0200 a729 8d01 aabb", CHANNEL},
    {0x412F, "8428 0200 aabb", LENGTH}, {0x412F, "fe00 0000", LENGTH},
    // Log codes without a message.
    {0xB0EE, "02", OTA_EXTRACT_NOT_SIGNALLING}, {0x7130, "010000", OTA_EXTRACT_NOT_SIGNALLING},
    // clang-format on
};

TEST(OTAExtractor, RefusedHandBuiltPayloads) {
    for (const auto& c : kRefused) {
        ExpectRefused(c.mCode, c.mPayload, c.mStatus);
    }
}

// Every version of an RRC family, each read with the layout and PDU numbering the formats page gives it, and
// every version the extractor does not read refused as unsupported, in the same layout as a read one. A row
// covers versions first..last of one layout (hex with the version field "VV" and the PDU number "PP" to
// fill in) and one numbering: what a few PDU numbers stand for, chosen so that every two numberings that
// meet at a row's end differ in at least one of them (null: not in the numbering).
struct sVersionRange {
    uint32_t mFirst;
    uint32_t mLast;
    const char* mLayout;
    uint32_t mChannelNumber;
    std::vector<const char*> mKinds;  // one per probed PDU number
};

// One more PDU number of a version's numbering, read in that version's layout.
struct sVersionPDU {
    uint32_t mVersion;
    unsigned int mPDU;
    const char* mKind;
};

Bytes VersionedPayload(std::string layout, uint32_t version, unsigned int width, unsigned int pdu) {
    std::string field;
    char digits[3];
    for (unsigned int i = 0; i < width; ++i) {
        snprintf(digits, sizeof digits, "%02x", (version >> (8 * i)) & 0xFF);
        field += digits;
    }
    snprintf(digits, sizeof digits, "%02x", pdu);
    layout.replace(layout.find("VV"), 2, field);
    layout.replace(layout.find("PP"), 2, digits);
    return Hex(layout);
}

// `refused`: the layout the versions outside every range are tried in; `more`: PDU numbers of single
// versions besides the probed ones. LTE layouts carry the SFN word 39 12: frame 0x123, sub-frame 9.
void ExpectVersions(uint16_t code, unsigned int width, const std::vector<unsigned int>& pdus,
                    const std::vector<sVersionRange>& ranges, const char* refused,
                    const std::vector<uint32_t>& versions, const std::vector<sVersionPDU>& more) {
    const auto rowOf = [&](uint32_t version) {
        return std::find_if(ranges.begin(), ranges.end(), [&](const sVersionRange& r) {
            return version >= r.mFirst && version <= r.mLast;
        });
    };
    const auto expectRead = [&](const sVersionRange& row, uint32_t version, unsigned int pdu,
                                const char* kind) {
        const Bytes packet = LogPacket(code, VersionedPayload(row.mLayout, version, width, pdu));
        cOTAExtractor extractor;
        sOTAMessage got;
        ASSERT_EQ(Extract(extractor, packet, got), kind != nullptr ? MSG : CHANNEL)
            << "version " << version << ", PDU " << pdu;
        if (kind != nullptr) {
            EXPECT_STREQ(OTAMessageKindName(got), kind) << "version " << version << ", PDU " << pdu;
            EXPECT_TRUE(got.mChannelNumber == row.mChannelNumber && got.mCell == 0x123) << version;
            EXPECT_TRUE(code != 0xB0C0 || (got.mFrame == 0x123 && got.mSubFrame == 9)) << version;
            EXPECT_EQ(MessageBytes(got), Hex("aabbcc")) << "version " << version;
        }
    };
    for (uint32_t version : versions) {
        const auto row = rowOf(version);
        if (row == ranges.end()) {
            cOTAExtractor extractor;
            sOTAMessage got;
            EXPECT_EQ(
                Extract(extractor, LogPacket(code, VersionedPayload(refused, version, width, pdus[0])), got),
                OLD)
                << "version " << version;
            EXPECT_EQ(got.mLogVersion, version);
            continue;
        }
        for (size_t i = 0; i < pdus.size(); ++i) {
            expectRead(*row, version, pdus[i], row->mKinds.at(i));
        }
    }
    for (const sVersionPDU& one : more) {
        ASSERT_NE(rowOf(one.mVersion), ranges.end()) << one.mVersion;
        expectRead(*rowOf(one.mVersion), one.mVersion, one.mPDU, one.mKind);
    }
}

std::vector<uint32_t> VersionsUpTo(uint32_t last) {
    std::vector<uint32_t> versions;
    for (uint32_t version = 0; version <= last; ++version) {
        versions.push_back(version);
    }
    return versions;
}

// LTE RRC, a u8 version: the numbering tables A-D of the formats page, told apart by PDU 8 and the first
// NB-IoT numbers of C (54) and D (45). Versions 0, 1, 10, 11, 17, 18, 21 and 23 are refused. Common values:
// PCI 23 01 = 0x123; EARFCN 34 12 = 4660 (u16, v2-7) or 13 04 01 00 = 66579 (band 66, which needs the 32
// bits of v8 and later). Offsets: v2-4 rb 3, PCI 4, EARFCN 6, SFN 8, PDU 10, length 11, message 13; v5-7 a
// 4-byte SIB mask before the length at 15; v8-24 EARFCN u32, SFN 10, PDU 12, length 17, message 19; v25-29
// NR release bytes at 3-4 move all by 2; v30 and later 2 unknown bytes at 21, segment number 23, message 24.
TEST(OTAExtractor, LTERRCEveryVersion) {
    const char* const v2 = "VV 0a72 00 2301 3412 3912 PP 0300 aabbcc";
    const char* const v5 = "VV 0a72 00 2301 3412 3912 PP 00000000 0300 aabbcc";
    const char* const v8 = "VV 0a72 00 2301 13040100 3912 PP 00000000 0300 aabbcc";
    const char* const v25 = "VV 0a72 0f60 00 2301 13040100 3912 PP 00000000 0300 aabbcc";
    const char* const v30 = "VV 0a72 0f60 00 2301 13040100 3912 PP 00000000 0300 0000 00 aabbcc";
    const std::vector<const char*> A = {"LTE RRC UL-DCCH", nullptr, nullptr};
    const std::vector<const char*> B = {"LTE RRC BCCH-BCH", nullptr, nullptr};
    const std::vector<const char*> C = {"LTE RRC UL-CCCH", nullptr, nullptr};
    const std::vector<const char*> CNB = {"LTE RRC UL-CCCH", nullptr, "LTE RRC BCCH-BCH-NB"};
    const std::vector<const char*> DNB = {"LTE RRC DL-CCCH", "LTE RRC BCCH-BCH-NB", nullptr};
    const std::vector<sVersionRange> ranges = {
        {2, 4, v2, 4660, A},       {5, 7, v5, 4660, A},        {8, 8, v8, 66579, A},
        {9, 9, v8, 66579, B},      {12, 12, v8, 66579, B},     {13, 13, v8, 66579, A},
        {14, 16, v8, 66579, C},    {19, 19, v8, 66579, DNB},   {20, 20, v8, 66579, CNB},
        {22, 22, v8, 66579, A},    {24, 24, v8, 66579, CNB},   {25, 25, v25, 66579, CNB},
        {26, 29, v25, 66579, DNB}, {30, 255, v30, 66579, DNB},
    };
    const std::vector<sVersionPDU> more = {
        {2, 4, "LTE RRC PCCH"},         {4, 3, "LTE RRC MCCH"},         {5, 5, "LTE RRC DL-CCCH"},
        {8, 1, "LTE RRC BCCH-BCH"},     {9, 11, "LTE RRC PCCH"},        {12, 15, "LTE RRC UL-DCCH"},
        {13, 2, "LTE RRC BCCH-DL-SCH"}, {14, 4, "LTE RRC MCCH"},        {16, 9, "LTE RRC UL-DCCH"},
        {19, 52, "LTE RRC UL-DCCH-NB"}, {20, 61, "LTE RRC UL-DCCH-NB"}, {22, 6, "LTE RRC DL-DCCH"},
        {24, 56, "LTE RRC PCCH-NB"},    {25, 5, "LTE RRC PCCH"},        {26, 3, "LTE RRC BCCH-DL-SCH"},
        {28, 11, "LTE RRC UL-DCCH"},    {30, 7, "LTE RRC PCCH"},        {32, 10, "LTE RRC UL-CCCH"},
    };
    ExpectVersions(0xB0C0, 1, {8, 45, 54}, ranges, v8, VersionsUpTo(255), more);
}

// NR RRC, a u32 version: the numberings of v7, v8, v9 and 12, v14, v17, 19 and 25, v20, 23 and 24, v26 and
// v28, told apart by PDU numbers 5, 10, 24, 25, 26, 28 and 29. Every other version is refused, also one
// whose low byte is a read version. PCI 23 01, NR-ARFCN 9eb407 = 504990. Offsets: v7-9 NR-ARFCN u32 at 9,
// SFN/slot 13 (4 bytes), PDU 17, length 22, message 24; v12, 14 NR-ARFCN 9 (3 bytes; byte 12 belongs to the
// SFN/slot), PDU 16, length 21, message 23; v17 cell global id 9 (8 bytes), NR-ARFCN 17, SFN/slot 21 (3
// bytes), PDU 24, length 29, message 31; v19, 20, 25 1 unknown byte, message 32; v23, 24, 26, 28 3 unknown
// bytes, segment number 34, message 35.
TEST(OTAExtractor, NRRRCEveryVersion) {
    const char* const v7 = "VV 0f60 01 2301 9eb40700 00000000 PP 00000000 0300 aabbcc";
    const char* const v12 = "VV 0f60 01 2301 9eb407 01000000 PP 00000000 0300 aabbcc";
    const char* const v17 = "VV 0f60 01 2301 0000000000000000 9eb40700 000000 PP 00000000 0300 aabbcc";
    const char* const v19 = "VV 0f60 01 2301 0000000000000000 9eb40700 000000 PP 00000000 0300 00 aabbcc";
    const char* const v23 =
        "VV 0f60 01 2301 0000000000000000 9eb40700 000000 PP 00000000 0300 000000 00 aabbcc";
    const char* const pcch = "NR RRC PCCH";
    const char* const mcch = "NR RRC MCCH";
    const char* const done = "NR RRC RRCReconfigurationComplete";
    const char* const bearer = "NR RRC RadioBearerConfig";
    const std::vector<const char*> N7 = {pcch, done, bearer, nullptr, nullptr, nullptr, nullptr};
    const std::vector<const char*> N8 = {pcch, done, nullptr, nullptr, bearer, nullptr, nullptr};
    const std::vector<const char*> N9 = {
        pcch, done, nullptr, bearer, nullptr, "NR RRC UE-MRDC-Capability", "NR RRC UE-NR-Capability"};
    const std::vector<const char*> N14 = {pcch, done, nullptr, nullptr, nullptr, bearer, nullptr};
    const std::vector<const char*> N17 = {pcch, done, nullptr, nullptr, nullptr, nullptr, bearer};
    const std::vector<const char*> N20 = {
        mcch, "NR RRC RRCReconfiguration", nullptr, nullptr, nullptr, nullptr, nullptr};
    const std::vector<const char*> N26 = {mcch, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
    const std::vector<const char*> N28 = {mcch,    "NR RRC UL-DCCH", nullptr, nullptr,
                                          nullptr, nullptr,          nullptr};
    const std::vector<sVersionRange> ranges = {
        {7, 7, v7, 504990, N7},     {8, 8, v7, 504990, N8},     {9, 9, v7, 504990, N9},
        {12, 12, v12, 504990, N9},  {14, 14, v12, 504990, N14}, {17, 17, v17, 504990, N17},
        {19, 19, v19, 504990, N17}, {20, 20, v19, 504990, N20}, {23, 24, v23, 504990, N20},
        {25, 25, v19, 504990, N17}, {26, 26, v23, 504990, N26}, {28, 28, v23, 504990, N28},
    };
    std::vector<uint32_t> versions = VersionsUpTo(64);
    versions.insert(versions.end(), {0x107, 0x109, 0x11C, 0x10000, 0xFFFFFFFF});
    const std::vector<sVersionPDU> more = {
        {9, 7, "NR RRC UL-CCCH1"},
        {14, 31, "NR RRC UE-MRDC-Capability"},
        {19, 7, "NR RRC UL-CCCH1"},
        {23, 11, "NR RRC RRCReconfigurationComplete"},
        {26, 12, "NR RRC RRCReconfigurationComplete"},
    };
    ExpectVersions(0xB821, 4, {5, 10, 24, 25, 26, 28, 29}, ranges, v23, versions, more);
}

// GSM RR channel values (bits 0-6 of the first byte; bit 7 set for downlink) as the formats page lists them:
// 0-8 read in both directions, with and without the dual-SIM byte, every other value refused.
TEST(OTAExtractor, GSMRREveryChannelValue) {
    const char* const kChannels[] = {"GSM RR DCCH",    "GSM RR BCCH",    "GSM RR RACH",
                                     "GSM RR CCCH",    "GSM RR SACCH",   "GSM RR SDCCH",
                                     "GSM RR FACCH/F", "GSM RR FACCH/H", "GSM RR RACH without delay"};
    for (unsigned int value = 0; value < 256; ++value) {
        for (const unsigned int code : {0x512F, 0x5B2F}) {
            Bytes payload = Hex("00 1503 aabbcc");
            payload[0] = static_cast<unsigned char>(value);
            if (code == 0x5B2F) {
                payload.insert(payload.begin(), 2);
            }
            const Bytes packet = LogPacket(code, payload);
            cOTAExtractor extractor;
            sOTAMessage got;
            const unsigned int channel = value & 0x7F;
            ASSERT_EQ(Extract(extractor, packet, got), channel <= 8 ? MSG : CHANNEL) << std::hex << value;
            if (channel <= 8) {
                EXPECT_STREQ(OTAMessageKindName(got), kChannels[channel]) << std::hex << value;
                EXPECT_EQ(got.mDirection, value & 0x80 ? DL : UL) << std::hex << value;
                EXPECT_EQ(MessageBytes(got), Hex("aabbcc"));
            }
        }
    }
}

// The other families' rules on hand-built payloads: dual-SIM bytes, directions, codes, SIB types.
TEST(OTAExtractor, OtherFamiliesOnHandBuiltPayloads) {
    const struct {
        unsigned int mCode;
        const char* mPayload;
        const char* mKind;
        eOTADirection mDirection;
        uint32_t mSubscription;
        const char* mMessage;
    } cases[] = {
        {0x5B2F, "02 811c03 aabbcc", "GSM RR BCCH", DL, 2, "aabbcc"},
        {0x5B2F, "00 001503 aabbcc", "GSM RR DCCH", UL, 1, "aabbcc"},
        {0x5226, "830903 aabbcc", "GPRS RLC/MAC control", DL, 0, "aabbcc"},
        {0x5226, "040a02 aabbcc", "GPRS RLC/MAC control", UL, 0, "aabb"},
        {0x5230, "01 08 0300 aabbcc dddd", "GPRS GMM/SM", DL, 0, "aabbcc"},
        {0x7B3A, "02 01 02000000 05db", "UMTS NAS", UL, 2, "05db"},
        {0xB0E0, "01 090500 2712345678", "LTE NAS ESM protected", DL, 0, "2712345678"},
        {0xB0E3, "01 090500 5200ca", "LTE NAS ESM", UL, 0, "5200ca"},
        {0xB80A, "01000000 0f0200 7e0041", "NR NAS 5GMM", DL, 0, "7e0041"},
        {0xB809, "01000000 0f0200 7e0241", "NR NAS 5GMM protected", UL, 0, "7e0241"},
        {0xB801, "01000000 0f0200 2e01", "NR NAS 5GSM", UL, 0, "2e01"},
        {0xB814, "01000000 0f0200 7e00", "NR NAS 5GMM", OTA_DIRECTION_UNKNOWN, 0, "7e00"},
        // WCDMA: a block the store rebuilt (254: SIB type, then the block); newer-layout decoded blocks
        // whose type 31 and 66 mean SIB19 and SIB11bis.
        {0x412F, "fe00 0300 03aabb", "WCDMA RRC SysInfoType3", DL, 0, "aabb"},
        {0x412F, "ff00 0300 1faabb", "WCDMA RRC SysInfo extension type", DL, 0, "aabb"},
        {0x412F, "f028 0300 a729 8d01 1faabb", "WCDMA RRC SysInfoType19", DL, 0, "aabb"},
        {0x412F, "f028 0300 a729 8d01 42aabb", "WCDMA RRC SysInfoType11bis", DL, 0, "aabb"},
        {0x412F, "8128 0200 a729 8d01 aabb", "WCDMA RRC UL-DCCH", UL, 0, "aabb"},
        {0x412F, "0100 0200 aabb", "WCDMA RRC UL-DCCH", UL, 0, "aabb"},
    };
    for (const auto& c : cases) {
        cOTAExtractor extractor;
        sOTAMessage got;
        const Bytes packet = LogPacket(c.mCode, Hex(c.mPayload));
        ASSERT_EQ(Extract(extractor, packet, got), MSG) << std::hex << c.mCode << " " << c.mPayload;
        EXPECT_STREQ(OTAMessageKindName(got), c.mKind) << c.mPayload;
        EXPECT_EQ(got.mDirection, c.mDirection) << c.mPayload;
        EXPECT_EQ(got.mSubscription, c.mSubscription) << c.mPayload;
        EXPECT_EQ(MessageBytes(got), Hex(c.mMessage)) << c.mPayload;
        EXPECT_EQ(got.mLogCode, c.mCode);
    }
}

TEST(OTAExtractor, PacketsThatAreNotLogs) {
    const struct {
        const char* mPacket;
        eOTAExtractStatus mStatus;
    } cases[] = {
        {"", OTA_EXTRACT_NOT_SIGNALLING},
        {"7d05010000000000", OTA_EXTRACT_NOT_SIGNALLING},                            // a command response
        {"10001300130000000000000000000000", OTA_EXTRACT_NOT_SIGNALLING},            // log code 0
        {"1000140013003a710000000000000000010200000005db", OTA_EXTRACT_BAD_LENGTH},  // header lengths differ
        {"1000130013003a7100000000000000000102000000", OTA_EXTRACT_BAD_LENGTH},      // cut short
        {"9801000001000000", OTA_EXTRACT_NOT_SIGNALLING},                            // a wrapper of nothing
        // Another code than the multi-SIM wrapper's 0x0198, around a good UMTS NAS log.
        {"9802000001000000 1000130013003a71d6427c0cfd11d100010200000005db", OTA_EXTRACT_NOT_SIGNALLING},
    };
    for (const auto& c : cases) {
        cOTAExtractor extractor;
        sOTAMessage got;
        EXPECT_EQ(Extract(extractor, Hex(c.mPacket), got), c.mStatus) << c.mPacket;
    }
    cOTAExtractor extractor;
    sOTAMessage got;
    EXPECT_EQ(extractor.Extract(nullptr, 20, got), OTA_EXTRACT_NOT_SIGNALLING);
    EXPECT_EQ(extractor.Extract(static_cast<const sSharedBuffer*>(nullptr), got), OTA_EXTRACT_NOT_SIGNALLING);
    EXPECT_STREQ(OTAExtractStatusName(OTA_EXTRACT_SEGMENTS_INCOMPLETE), "incomplete segments");
    EXPECT_STREQ(OTAExtractStatusName(OTA_EXTRACT_STATUS_COUNT), "unknown");
}

// Segmented messages (LTE RRC v30, NR RRC v23): one row per sequence of pieces and what each answers.
Bytes LTEPiece(unsigned int segment, const Bytes& message, unsigned int pdu = 7, uint32_t subscription = 0) {
    Bytes payload = Hex("1e 0a72 0f60 00 2301 19140000 3512 00 00000000 0000 0000 00");
    payload[14] = static_cast<unsigned char>(pdu);
    payload[19] = static_cast<unsigned char>(message.size());
    payload[20] = static_cast<unsigned char>(message.size() >> 8);
    payload[23] = static_cast<unsigned char>(segment);
    payload.insert(payload.end(), message.begin(), message.end());
    Bytes packet = LogPacket(0xB0C0, payload);
    if (subscription != 0) {
        Bytes wrapper = Hex("98010000 00000000");
        wrapper[4] = static_cast<unsigned char>(subscription);
        packet.insert(packet.begin(), wrapper.begin(), wrapper.end());
    }
    return packet;
}

Bytes NRPiece(unsigned int segment, const Bytes& message) {
    Bytes payload = Hex("17000000 0f60 01 2301 0000000000000000 9eb40700 000000 09 00000000 0000 000000 00");
    payload[29] = static_cast<unsigned char>(message.size());
    payload[34] = static_cast<unsigned char>(segment);
    payload.insert(payload.end(), message.begin(), message.end());
    return LogPacket(0xB821, payload);
}

TEST(OTAExtractor, SegmentsJoinInOrderOrNotAtAll) {
    const Bytes a = {0xAA}, b = {0xBB}, c = {0xCC};
    const struct {
        const char* mName;
        std::vector<Bytes> mPackets;
        const char* mStatuses;     // one a packet: H segment held, M message, L segments incomplete
        const char* mLastMessage;  // of the last packet, when it is a message
        unsigned int mHeldAfter = 0;
        unsigned int mDroppedAfter = 0;  // pieces that were held (H) and then dropped
    } cases[] = {
        {"three pieces", {LTEPiece(1, a), LTEPiece(2, b), LTEPiece(7, c)}, "HHM", "aabbcc"},
        {"all seven",
         {LTEPiece(1, a), LTEPiece(2, a), LTEPiece(3, a), LTEPiece(4, a), LTEPiece(5, a), LTEPiece(6, a),
          LTEPiece(7, b)},
         "HHHHHHM",
         "aaaaaaaaaaaabb"},
        // The log has no piece count: pieces 3 to 6 lost look like a three-piece message.
        {"pieces 3 to 6 lost", {LTEPiece(1, a), LTEPiece(2, a), LTEPiece(7, b)}, "HHM", "aaaabb"},
        {"last piece alone", {LTEPiece(7, c)}, "L", ""},
        {"a gap", {LTEPiece(1, a), LTEPiece(3, b), LTEPiece(7, c)}, "HLL", "", 0, 1},
        {"a repeated piece", {LTEPiece(1, a), LTEPiece(2, b), LTEPiece(2, b)}, "HHL", "", 0, 2},
        {"a new first piece", {LTEPiece(1, a), LTEPiece(1, b), LTEPiece(7, c)}, "HHM", "bbcc", 0, 1},
        {"a new first piece after two",
         {LTEPiece(1, a), LTEPiece(2, a), LTEPiece(1, b), LTEPiece(2, c)},
         "HHHH",
         "",
         2,
         2},
        {"another channel", {LTEPiece(1, a, 7), LTEPiece(7, c, 11)}, "HL", "", 0, 1},
        {"a piece number above 7", {LTEPiece(1, a), LTEPiece(8, b)}, "HL", "", 0, 1},
        {"whole messages between", {LTEPiece(1, a), LTEPiece(0, b), LTEPiece(7, c)}, "HMM", "aacc"},
        {"LTE and NR apart", {LTEPiece(1, a), NRPiece(1, b), LTEPiece(7, c), NRPiece(7, a)}, "HHMM", "bbaa"},
        {"SIMs apart", {LTEPiece(1, a, 7, 1), LTEPiece(1, b, 7, 2), LTEPiece(7, c, 7, 1)}, "HHM", "aacc", 1},
        {"four messages at once at most",
         {LTEPiece(1, a, 7, 1), LTEPiece(1, a, 7, 2), LTEPiece(1, a, 7, 3), LTEPiece(1, a, 7, 4),
          LTEPiece(1, a, 7, 5)},
         "HHHHL",
         "",
         4},
        {"held, not finished", {NRPiece(1, a), NRPiece(2, b)}, "HH", "", 2},
        {"64 KiB at most",
         {LTEPiece(1, Bytes(40000, 1)), LTEPiece(2, Bytes(30000, 2)), LTEPiece(7, c)},
         "HLL",
         "",
         0,
         1},
    };
    for (const auto& c : cases) {
        cOTAExtractor extractor;
        sOTAMessage got;
        ASSERT_EQ(strlen(c.mStatuses), c.mPackets.size()) << c.mName;
        for (size_t i = 0; i < c.mPackets.size(); ++i) {
            const char status = c.mStatuses[i];
            ASSERT_EQ(Extract(extractor, c.mPackets[i], got),
                      status == 'H' ? OTA_EXTRACT_SEGMENT_HELD
                                    : (status == 'M' ? OTA_EXTRACT_MESSAGE : OTA_EXTRACT_SEGMENTS_INCOMPLETE))
                << c.mName << ", packet " << i;
        }
        EXPECT_EQ(MessageBytes(got), Hex(c.mLastMessage)) << c.mName;
        EXPECT_EQ(extractor.HeldPieces(), c.mHeldAfter) << c.mName;
        EXPECT_EQ(extractor.DroppedPieces(), c.mDroppedAfter) << c.mName;
        extractor.Reset();
        EXPECT_EQ(extractor.HeldPieces(), 0u);
        EXPECT_EQ(extractor.DroppedPieces(), c.mDroppedAfter) << c.mName << ": Reset keeps the count";
    }
}

}  // namespace
