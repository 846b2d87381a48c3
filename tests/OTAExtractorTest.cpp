// Extraction of signalling messages: real packets read by hand and whole captures against their published
// counts; hand-built packets for the layouts and versions no capture has; the joining of segmented messages.
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
const eOTAExtractStatus MSG = OTA_EXTRACT_MESSAGE, OLD = OTA_EXTRACT_UNSUPPORTED_VERSION,
                        CHANNEL = OTA_EXTRACT_UNKNOWN_CHANNEL;

std::string HexOf(const Bytes& bytes) {
    std::string hex;
    for (const unsigned char byte : bytes) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

// "kind direction[ arfcn N][ cell N][ frame F.S][ sim N] message-hex", the radio context by its bits.
std::string Row(const sOTAMessage& m) {
    std::string row = std::string(OTAMessageKindName(m)) + (m.mDirection == UL   ? " UL"
                                                            : m.mDirection == DL ? " DL"
                                                                                 : " ?");
    row += m.mContext & OTA_HAS_CHANNEL_NUMBER ? " arfcn " + std::to_string(m.mChannelNumber) : "";
    row += m.mContext & OTA_HAS_CELL ? " cell " + std::to_string(m.mCell) : "";
    row += m.mContext & OTA_HAS_FRAME
               ? " frame " + std::to_string(m.mFrame) + "." + std::to_string(m.mSubFrame)
               : "";
    row += m.mSubscription != 0 ? " sim " + std::to_string(m.mSubscription) : "";
    return row + " " + HexOf(MessageBytes(m));
}

std::string RowOf(const Bytes& packet) {
    cOTAExtractor extractor;
    sOTAMessage got;
    const eOTAExtractStatus status = Extract(extractor, packet, got);
    if (status != OTA_EXTRACT_MESSAGE) {
        got.mSubscription = 0;  // a refused record may keep the SIM it was read for
    }
    const std::string row = Row(got);
    return status == OTA_EXTRACT_MESSAGE
               ? row
               : OTAExtractStatusName(status) + (row == "none ? " ? "" : ", " + row);
}

// One row per packet: real packets (code 0: the hex is the whole packet) of captures A, B and C and the
// newer WCDMA layout, fields read off the bytes by hand; hand-built payloads of a log code for the other
// families' rules; refused packets, one per refusing branch, whose record keeps no kind or message.
TEST(OTAExtractor, PacketsOneRowEach) {
    const struct {
        unsigned int mCode;
        const char* mHex;
        const char* mRow;
    } cases[] = {
        // LTE RRC v8: PCI fd00 = 253, EARFCN 21070000 = 1825, SFN word f802 -> frame 47, sub-frame 8.
        {0, "100021002100c0b0ff84e76afd11d100080a7201fd0021070000f802060000000002002802",
         "LTE RRC DL-DCCH DL arfcn 1825 cell 253 frame 47.8 2802"},
        {0, "100026002600c0b0f2624bc8a511d100080a720051010c9400000051040000000007004008ccb0596c00",
         "LTE RRC PCCH DL arfcn 37900 cell 337 frame 1296.0 4008ccb0596c00"},
        {0, "100025002500c0b0dabd95c2a511d100080a720051010c94000000000700000000060048ce70d247f8",
         "LTE RRC UL-CCCH UL arfcn 37900 cell 337 frame 0.0 48ce70d247f8"},
        // LTE NAS v1: three release bytes 09 05 00, then the message.
        {0, "100019001900eab0bd24cddfac11d1000109050027927f529919074501",
         "LTE NAS EMM protected DL 27927f529919074501"},
        {0, "100014001400edb0ff4594c2a511d10001090500c7011700", "LTE NAS EMM UL c7011700"},
        // GSM RR: 0x04 SACCH uplink (Measurement Report), 0x81 BCCH with its pseudo-length byte 0x31 kept.
        {0, "1000210021002f51d46ce708fd11d10004151206159bdb7e00000000000000000000000000",
         "GSM RR SACCH UL 06159bdb7e00000000000000000000000000"},
        {0, "1000260026002f511988befdfc11d100811c1731061c64f00011d6e54db90000b700432b2b2b2b2b2b2b",
         "GSM RR BCCH DL 31061c64f00011d6e54db90000b700432b2b2b2b2b2b2b"},
        // UMTS NAS: 1 = from the handset (TMSI Reallocation Complete), 0 = to it (Identity Request).
        {0, "1000130013003a71d6427c0cfd11d100010200000005db", "UMTS NAS UL 05db"},
        {0, "1000160016003a7180b3bd0bfd11d10000050000000518031803", "UMTS NAS DL 0518031803"},
        // WCDMA RRC, newer layout: UARFCN a729 = 10663, PSC 8d01 = 397; 0x89 carries SIB type 67 (SIB19).
        {0,
         "1000330033002f41000000000000000084281f00a7298d01a143f686e52a22282f36928cc1852026d2519830afacda4a33"
         "0614909b4944",
         "WCDMA RRC BCCH-BCH DL arfcn 10663 cell 397 "
         "a143f686e52a22282f36928cc1852026d2519830afacda4a330614909b4944"},
        {0,
         "10003e003e002f41000000000000000089282a00a7298d014365010240c80ea200618385110030071ba8801819c9544"
         "00c1a2d7220049e22178885e22178885e2210",
         "WCDMA RRC SysInfoType19 DL arfcn 10663 cell 397 "
         "65010240c80ea200618385110030071ba8801819c954400c1a2d7220049e22178885e22178885e2210"},
        // NR RRC v8 inside the multi-SIM wrapper of capture B: PCI 7102 = 625, NR-ARFCN 9eb40700 = 504990.
        {0,
         "980100000100000010002800280021b8b1661bf0c02ef000080000000f60ff71029eb4070000000000010000"
         "000004005f65a4c0",
         "NR RRC BCCH-BCH DL arfcn 504990 cell 625 sim 1 5f65a4c0"},
        {0x5B2F, "00 001503 aabbcc", "GSM RR DCCH UL sim 1 aabbcc"},
        {0x5226, "830903 aabbcc", "GPRS RLC/MAC control DL aabbcc"},
        {0x5226, "040a02 aabbcc", "GPRS RLC/MAC control UL aabb"},
        {0x5230, "01 08 0300 aabbcc dddd", "GPRS GMM/SM DL aabbcc"},
        {0x5230, "00 08 0300 aabbcc", "GPRS GMM/SM UL aabbcc"},
        {0x7B3A, "02 01 02000000 05db", "UMTS NAS UL sim 2 05db"},
        {0xB0E0, "01 090500 2712345678", "LTE NAS ESM protected DL 2712345678"},
        {0xB0E3, "01 090500 5200ca", "LTE NAS ESM UL 5200ca"},
        {0xB80A, "01000000 0f0200 7e0041", "NR NAS 5GMM DL 7e0041"},
        {0xB809, "01000000 0f0200 7e0241", "NR NAS 5GMM protected UL 7e0241"},
        {0xB801, "01000000 0f0200 2e01", "NR NAS 5GSM UL 2e01"},
        {0xB814, "01000000 0f0200 7e00", "NR NAS 5GMM ? 7e00"},
        // WCDMA (BCH blocks the store rebuilt and the older layout: the WCDMA capture): a rebuilt FACH block;
        // newer-layout decoded blocks whose type 31 and 66 mean SIB19 and SIB11bis.
        {0x412F, "ff00 0300 1faabb", "WCDMA RRC SysInfo extension type DL aabb"},
        {0x412F, "f028 0300 a729 8d01 1faabb", "WCDMA RRC SysInfoType19 DL arfcn 10663 cell 397 aabb"},
        {0x412F, "f028 0300 a729 8d01 42aabb", "WCDMA RRC SysInfoType11bis DL arfcn 10663 cell 397 aabb"},
        {0x412F, "8128 0200 a729 8d01 aabb", "WCDMA RRC UL-DCCH UL arfcn 10663 cell 397 aabb"},
        // Refused.
        {0, "", "not a signalling log"},
        {0, "7d05010000000000", "not a signalling log"},                  // a command response
        {0, "10001300130000000000000000000000", "not a signalling log"},  // log code 0
        {0, "1000140013003a710000000000000000010200000005db",
         "failed length check"},                                                   // header lengths differ
        {0, "1000130013003a7100000000000000000102000000", "failed length check"},  // cut short
        {0, "9801000001000000", "not a signalling log"},                           // a wrapper of nothing
        // Another code than the multi-SIM wrapper's 0x0198, around a good UMTS NAS log.
        {0, "9802000001000000 1000130013003a71d6427c0cfd11d100010200000005db", "not a signalling log"},
        // LTE RRC: a refused version is told before a cut header; a length that disagrees either way; cut.
        {0xB0C0, "01", "unsupported version"},
        {0xB0C0, "08 0a72 00 2301 409c0000 3512 04 00000000 0400 aabbcc", "failed length check"},
        {0xB0C0, "08 0a72 00 2301 409c0000 3512 04 00000000 0200 aabbcc", "failed length check"},
        {0xB0C0, "08 0a72 00 2301 409c0000 3512 04 0000", "failed length check"},
        {0xB0C0, "", "failed length check"},
        // GSM, GPRS, UMTS NAS, LTE NAS, NR NAS.
        {0x512F, "811c04 aabbcc", "failed length check"},
        {0x5226, "ff0903 aabbcc", "unknown channel"},
        {0x5230, "00 08 0400 aabbcc", "failed length check"},
        {0x713A, "02 02000000 05db", "unknown channel"},
        {0x713A, "00 03000000 05db", "failed length check"},
        {0xB0EC, "02 090500 074501", "unsupported version"},
        {0xB0EC, "01 090500", "failed length check"},
        {0xB800, "02000000 0f0200 2e01", "unsupported version"},
        // WCDMA: channel types outside every layout, a SIB type without a name, cut payloads.
        {0x412F, "f028 0300 a729 8d01 28aabb", "unknown channel"},
        {0x412F, "fe00 0300 20aabb", "unknown channel"},
        {0x412F, "0900 0200 aabb", "unknown channel"},
        {0x412F, "8a28 0200 a729 8d01 aabb", "unknown channel"},
        {0x412F, "8428 0200 aabb", "failed length check"},
        {0x412F, "fe00 0000", "failed length check"},
        // Log codes without a message.
        {0xB0EE, "02", "not a signalling log"},
        {0x7130, "010000", "not a signalling log"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RowOf(c.mCode == 0 ? Hex(c.mHex) : LogPacket(c.mCode, Hex(c.mHex))), c.mRow)
            << std::hex << c.mCode << " " << c.mHex;
    }
    cOTAExtractor extractor;
    sOTAMessage got;
    EXPECT_EQ(extractor.Extract(nullptr, 20, got), OTA_EXTRACT_NOT_SIGNALLING);
    EXPECT_EQ(extractor.Extract(static_cast<const sSharedBuffer*>(nullptr), got), OTA_EXTRACT_NOT_SIGNALLING);
    EXPECT_STREQ(OTAExtractStatusName(OTA_EXTRACT_SEGMENTS_INCOMPLETE), "incomplete segments");
    EXPECT_STREQ(OTAExtractStatusName(OTA_EXTRACT_STATUS_COUNT), "unknown");
}

// Capture A whole: every frame through one extractor, against the counts published with the capture.
TEST(OTAExtractor, CaptureAHasThePublishedSignallingCounts) {
    const std::vector<Bytes> packets = StreamPackets("raw_diag_stream_a.bin");
    ASSERT_EQ(packets.size(), 5501u);
    cOTAExtractor extractor;
    Counts kinds, statuses;
    uint64_t firstTimestamp = 0;
    for (const Bytes& packet : packets) {
        sOTAMessage message;
        const eOTAExtractStatus status = Extract(extractor, packet, message);
        ++statuses[OTAExtractStatusName(status)];
        firstTimestamp = firstTimestamp != 0 ? firstTimestamp : message.mTimestamp;
        if (status == OTA_EXTRACT_MESSAGE) {
            ++kinds[OTAMessageKindName(message)];
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
    EXPECT_EQ(statuses, (Counts{{"message", 4852}, {"not a signalling log", 5501 - 4852}}));
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
            ++kinds[OTAMessageKindName(message) +
                    std::string(message.mSubscription == 1 ? "" : " not SIM 1")];
            if (message.mDirection == OTA_DIRECTION_UPLINK) {
                ++uplink[OTAMessageKindName(message)];
            }
        }
    }
    EXPECT_EQ(kinds, (Counts{{"NR RRC UL-DCCH", 5},
                             {"NR RRC RRCReconfiguration", 3},
                             {"NR RRC RadioBearerConfig", 5},
                             {"NR RRC BCCH-BCH", 2},
                             {"NR RRC RRCReconfigurationComplete", 3}}));
    // The handset sends the UL-DCCH messages and its completions of a reconfiguration.
    EXPECT_EQ(uplink, (Counts{{"NR RRC UL-DCCH", 5}, {"NR RRC RRCReconfigurationComplete", 3}}));
}

// The WCDMA capture through the store's reassembler: logs by channel type and rebuilt blocks by SIB type
// against the counts of tests/data/README.md; a rebuilt block carries the time of the packet completing it.
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

// RRC versions as ota-log-formats.md 4.1 and 4.5 give them. A row: versions first..last, their layout (hex
// with the version "VV" and PDU number "PP" to fill in) and what the probed PDU numbers stand for (null:
// refused), chosen so that adjacent numberings differ in one. Tried: both ends of every row, the first
// version past each end, refused when no row reads it (in layout `refused`), and `versions`.
struct sVersionRange {
    uint32_t mFirst;
    uint32_t mLast;
    const char* mLayout;
    uint32_t mChannelNumber;
    std::vector<const char*> mKinds;  // one per probed PDU number
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

// LTE layouts carry the SFN word 39 12: frame 0x123, sub-frame 9; all carry PCI 0x123.
void ExpectVersions(uint16_t code, unsigned int width, const std::vector<unsigned int>& pdus,
                    const std::vector<sVersionRange>& ranges, const char* refused,
                    std::vector<uint32_t> versions) {
    for (const sVersionRange& r : ranges) {
        versions.insert(versions.end(), {r.mFirst - 1, r.mFirst, r.mLast, r.mLast + 1});
    }
    for (const uint32_t version : versions) {
        if (width < 4 && (version >> (8 * width)) != 0) {
            continue;  // past the top of the field
        }
        const auto row = std::find_if(ranges.begin(), ranges.end(), [&](const sVersionRange& r) {
            return version >= r.mFirst && version <= r.mLast;
        });
        for (size_t i = 0; i < pdus.size(); ++i) {
            const std::string where =
                "version " + std::to_string(version) + ", PDU " + std::to_string(pdus[i]);
            const Bytes packet = LogPacket(
                code,
                VersionedPayload(row == ranges.end() ? refused : row->mLayout, version, width, pdus[i]));
            cOTAExtractor extractor;
            sOTAMessage got;
            const eOTAExtractStatus status = Extract(extractor, packet, got);
            if (row == ranges.end()) {
                EXPECT_TRUE(status == OLD && got.mLogVersion == version) << where;
            } else if (row->mKinds.at(i) == nullptr) {
                EXPECT_EQ(status, CHANNEL) << where;
            } else {
                EXPECT_STREQ(OTAMessageKindName(got), row->mKinds[i]) << where;
                EXPECT_TRUE(got.mChannelNumber == row->mChannelNumber && got.mCell == 0x123 &&
                            MessageBytes(got) == Hex("aabbcc"))
                    << where;
                EXPECT_TRUE(code != 0xB0C0 || (got.mFrame == 0x123 && got.mSubFrame == 9)) << where;
            }
        }
    }
}

// LTE RRC, a u8 version: the numberings A-D of ota-log-formats.md 4.1 told apart by PDU 8 and the first
// NB-IoT numbers of C (54) and D (45); EARFCN 4660 (u16, v2-7) or 66579 (band 66, u32 from v8).
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
    ExpectVersions(0xB0C0, 1, {8, 45, 54}, ranges, v8, {});
}

// NR RRC, a u32 version: the layouts and numberings of ota-log-formats.md 4.5, told apart by PDU numbers 5,
// 10, 24, 25, 26, 28 and 29; NR-ARFCN 9eb407 = 504990.
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
    // Refused too: versions whose low byte is a read version.
    ExpectVersions(0xB821, 4, {5, 10, 24, 25, 26, 28, 29}, ranges, v23,
                   {0x107, 0x109, 0x11C, 0x10000, 0xFFFFFFFF});
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
                payload.insert(payload.begin(), 2);  // the dual-SIM byte: SIM 2
            }
            const unsigned int channel = value & 0x7F;
            const std::string sim = code == 0x5B2F ? " sim 2" : "";
            EXPECT_EQ(RowOf(LogPacket(code, payload)),
                      channel > 8
                          ? OTAExtractStatusName(CHANNEL)
                          : kChannels[channel] + std::string(value & 0x80 ? " DL" : " UL") + sim + " aabbcc")
                << std::hex << value;
        }
    }
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
    // Per packet H segment held, M message, L segments incomplete; the last message (-: none); the pieces
    // held after the last packet and those dropped after being held.
    const struct {
        const char* mName;
        std::vector<Bytes> mPackets;
        const char* mRow;
    } cases[] = {
        {"all seven",
         {LTEPiece(1, a), LTEPiece(2, a), LTEPiece(3, a), LTEPiece(4, a), LTEPiece(5, a), LTEPiece(6, a),
          LTEPiece(7, b)},
         "HHHHHHM aaaaaaaaaaaabb held 0 dropped 0"},
        // The log has no piece count: pieces 3 to 6 lost look like a three-piece message.
        {"pieces 3 to 6 lost",
         {LTEPiece(1, a), LTEPiece(2, a), LTEPiece(7, b)},
         "HHM aaaabb held 0 dropped 0"},
        {"last piece alone", {LTEPiece(7, c)}, "L - held 0 dropped 0"},
        {"a gap", {LTEPiece(1, a), LTEPiece(3, b), LTEPiece(7, c)}, "HLL - held 0 dropped 1"},
        {"a repeated piece", {LTEPiece(1, a), LTEPiece(2, b), LTEPiece(2, b)}, "HHL - held 0 dropped 2"},
        {"a new first piece", {LTEPiece(1, a), LTEPiece(1, b), LTEPiece(7, c)}, "HHM bbcc held 0 dropped 1"},
        {"a new first piece after two",
         {LTEPiece(1, a), LTEPiece(2, a), LTEPiece(1, b), LTEPiece(2, c)},
         "HHHH - held 2 dropped 2"},
        {"another channel", {LTEPiece(1, a, 7), LTEPiece(7, c, 11)}, "HL - held 0 dropped 1"},
        {"a piece number above 7", {LTEPiece(1, a), LTEPiece(8, b)}, "HL - held 0 dropped 1"},
        {"whole messages between",
         {LTEPiece(1, a), LTEPiece(0, b), LTEPiece(7, c)},
         "HMM aacc held 0 dropped 0"},
        {"LTE and NR apart",
         {LTEPiece(1, a), NRPiece(1, b), LTEPiece(7, c), NRPiece(7, a)},
         "HHMM bbaa held 0 dropped 0"},
        {"SIMs apart",
         {LTEPiece(1, a, 7, 1), LTEPiece(1, b, 7, 2), LTEPiece(7, c, 7, 1)},
         "HHM aacc held 1 dropped 0"},
        {"four messages at once at most",
         {LTEPiece(1, a, 7, 1), LTEPiece(1, a, 7, 2), LTEPiece(1, a, 7, 3), LTEPiece(1, a, 7, 4),
          LTEPiece(1, a, 7, 5)},
         "HHHHL - held 4 dropped 0"},
        {"64 KiB at most",
         {LTEPiece(1, Bytes(40000, 1)), LTEPiece(2, Bytes(30000, 2)), LTEPiece(7, c)},
         "HLL - held 0 dropped 1"},
    };
    for (const auto& c : cases) {
        cOTAExtractor extractor;
        sOTAMessage got;
        std::string row;
        for (const Bytes& packet : c.mPackets) {
            const eOTAExtractStatus status = Extract(extractor, packet, got);
            row += status == OTA_EXTRACT_SEGMENT_HELD          ? 'H'
                   : status == MSG                             ? 'M'
                   : status == OTA_EXTRACT_SEGMENTS_INCOMPLETE ? 'L'
                                                               : '?';
        }
        const std::string message = HexOf(MessageBytes(got));
        row += " " + (message.empty() ? "-" : message) + " held " + std::to_string(extractor.HeldPieces()) +
               " dropped " + std::to_string(extractor.DroppedPieces());
        EXPECT_EQ(row, c.mRow) << c.mName;
        const size_t dropped = extractor.DroppedPieces();
        extractor.Reset();
        EXPECT_TRUE(extractor.HeldPieces() == 0 && extractor.DroppedPieces() == dropped)
            << c.mName << ": Reset empties, and keeps the count";
    }
}

}  // namespace
