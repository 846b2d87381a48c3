// The first bits of LTE RRC and EPS NAS messages: real captures (A, D; Apache-2.0) counted by kind against
// what tshark decodes of them (exported by `palvorin pcap`), single messages, hand-built ones.
#include "timeline/SignallingBits.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "ota/OTAExtractor.h"
#include "tests/DiagPackets.h"
#include "tests/StreamPackets.h"

namespace {

const char* const kRRC[] = {"unreadable",
                            "other",
                            "reconfiguration",
                            "release",
                            "reestablishment",
                            "reestablishment reject",
                            "connection reject",
                            "connection setup",
                            "reestablishment request",
                            "connection request",
                            "reconfiguration complete",
                            "reestablishment complete",
                            "connection setup complete",
                            "scg failure"};
const char* const kEMM[] = {"unreadable",
                            "ciphered",
                            "other",
                            "attach request",
                            "attach accept",
                            "attach reject",
                            "detach request",
                            "detach accept",
                            "tau request",
                            "tau accept",
                            "tau reject",
                            "service request",
                            "extended service request",
                            "service reject"};

// "kind[ +|-][ cause C][ pci P]": the mobility (of a release: redirection) flag when known, the cause (of a
// release: the release cause) and the failed cell when read.
std::string RRCRow(const sLTERRCReading& r) {
    const bool release = r.mKind == LTE_RRC_RELEASE;
    const eBitFlag flag = release ? r.mRedirection : r.mMobility;
    const uint8_t cause = release ? r.mReleaseCause : r.mCause;
    std::string row = kRRC[r.mKind];
    row += flag == BIT_FLAG_SET ? " +" : flag == BIT_FLAG_CLEAR ? " -" : "";
    row += cause != kNoValue ? " cause " + std::to_string(cause) : "";
    row += r.mFailedCell != 0xFFFF ? " pci " + std::to_string(r.mFailedCell) : "";
    return row;
}

std::string RRCRowOf(uint8_t channel, const std::string& hex) {
    const Bytes bytes = Hex(hex);
    return RRCRow(ReadLTERRC(channel, bytes.data(), bytes.size()));
}

// The kinds the whole-capture counts below hold are pinned there; here messages of capture D's lte_bler
// section as tshark decodes them, and hand-built ones for what no capture holds.
TEST(SignallingBits, LTERRCMessages) {
    const struct {
        uint8_t mChannel;
        const char* mHex;
        const char* mRow;
    } cases[] = {
        // Real: capture D, lte_bler 2019-07-30T10:19:40.008, 39.387 (otherFailure, physCellId 193), 40.012.
        {OTA_LTE_DL_CCCH, "0812980a5dd22183c0ba007e16c1908f86551026", "reestablishment"},
        {OTA_LTE_UL_CCCH, "0de56c165678", "reestablishment request cause 2 pci 193"},
        {OTA_LTE_UL_DCCH, "1ac0", "reestablishment complete"},
        // Release r8 with redirectedCarrierInfo (bit 10) and cause 2 (bits 13..14): 0010 1000 | 0010 0100.
        {OTA_LTE_DL_DCCH, "2824", "release + cause 2"},
        // A later critical extension (bit 7 = 1): the r8 flags are not where the table says.
        {OTA_LTE_DL_DCCH, "2930", "release"},
        {OTA_LTE_DL_DCCH, "21ff", "reconfiguration"},
        // One byte: the type is there, the presence bits are not.
        {OTA_LTE_DL_DCCH, "20", "reconfiguration"},
        {OTA_LTE_DL_DCCH, "a0", "other"},  // class extension
        {OTA_LTE_DL_CCCH, "40", "connection reject"},
        {OTA_LTE_DL_CCCH, "20", "reestablishment reject"},
        // UL-DCCH c2, type 8: SCG failure information NR (1 0 1000 ..).
        {OTA_LTE_UL_DCCH, "a0", "scg failure"},
        {OTA_LTE_UL_DCCH, "", "unreadable"},
        {OTA_LTE_PCCH, "40", "unreadable"},  // a channel the readers do not cover
        // Re-establishment request bit by bit: C-RNTI 0xABCD (bits 3..18), PCI 0x155 (19..27), short MAC-I 0
        // (28..43), cause 1 (44..45); then cut before the cause: the cell is read, the cause is not.
        {OTA_LTE_UL_CCCH, "1579b5500004", "reestablishment request cause 1 pci 341"},
        {OTA_LTE_UL_CCCH, "1579b55000", "reestablishment request pci 341"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RRCRowOf(c.mChannel, c.mHex), c.mRow) << c.mHex;
    }
}

// "kind[ type T][ cause C]" of an EMM message.
std::string EMMRowOf(const std::string& hex) {
    const Bytes bytes = Hex(hex);
    const sEMMReading r = ReadEMM(bytes.data(), bytes.size());
    std::string row = kEMM[r.mKind];
    char type[16];
    snprintf(type, sizeof type, " type %02x", r.mMessageType);
    row += r.mMessageType != 0 ? type : "";
    return row + (r.mCause != kNoValue ? " cause " + std::to_string(r.mCause) : "");
}

// Real messages as tshark decodes them and hand-built ones for what no capture holds.
TEST(SignallingBits, EMMMessages) {
    const struct {
        const char* mWhere;
        const char* mHex;
        const char* mRow;
    } cases[] = {
        // Capture A (the kinds of the others are in the counts below): Tracking area update reject
        // (Implicitly
        // detached), an integrity-protected Attach request after the 6-byte header.
        {"capture A 2015-08-01T04:11:21.889", "074b0a", "tau reject type 4b cause 10"},
        {"capture A 2015-08-01T02:21:24.064", "172d27134f5c0741120bf664f00001098ce70d24",
         "attach request type 41"},
        // ESM (protocol discriminator 2): not EMM.
        {"lte_attach ESM information request", "0209d9", "unreadable"},
        {"service reject, congestion", "074e16", "service reject type 4e cause 22"},
        {"extended service request", "074c1100", "extended service request type 4c"},
        {"attach reject cut before its cause", "0744", "attach reject type 44"},
        {"integrity protected TAU reject", "17000000000107 4b 0d", "tau reject type 4b cause 13"},
        {"protected header without a message", "170000000001", "unreadable"},
        {"protected around a protected message", "17000000000117", "unreadable"},
        {"reserved header type 5", "57000000000107440f", "unreadable"},
        {"one byte", "07", "unreadable"},
        {"nothing", "", "unreadable"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(EMMRowOf(c.mHex), c.mRow) << c.mWhere;
    }
}

// The names the timeline's events show are checked there; here the ends of the name tables.
TEST(SignallingBits, CauseNames) {
    EXPECT_EQ(ReestablishmentCauseName(3), nullptr);
    EXPECT_STREQ(EstablishmentCauseName(4), "mo data");
    EXPECT_EQ(EstablishmentCauseName(7), nullptr);
}

using Counts = std::map<std::string, unsigned int>;

// Every LTE RRC and EMM message of a real stream, counted by what its first bits say.
Counts CountKinds(const std::string& stream) {
    Counts counts;
    cOTAExtractor extractor;
    for (const Bytes& packet : StreamPackets(stream)) {
        sOTAMessage message;
        if (extractor.Extract(packet.data(), packet.size(), message) != OTA_EXTRACT_MESSAGE) {
            continue;
        }
        if (message.mProtocol == OTA_PROTOCOL_LTE_RRC &&
            (message.mChannel == OTA_LTE_DL_DCCH || message.mChannel == OTA_LTE_DL_CCCH ||
             message.mChannel == OTA_LTE_UL_CCCH || message.mChannel == OTA_LTE_UL_DCCH)) {
            ++counts[RRCRow(ReadLTERRC(message.mChannel, message.mData, message.mLength))];
        } else if (message.mProtocol == OTA_PROTOCOL_LTE_NAS && message.mChannel == OTA_NAS_MOBILITY) {
            const sEMMReading reading = ReadEMM(message.mData, message.mLength);
            std::string key =
                std::string(message.mSecurityProtected ? "protected " : "plain ") + kEMM[reading.mKind];
            if (reading.mCause != kNoValue) {
                key += " cause " + std::to_string(reading.mCause);
            }
            ++counts[key];
        }
    }
    return counts;
}

TEST(SignallingBits, EveryMessageOfRealCapturesAsTsharkCountsThem) {
    // tshark on the pcap of capture A: 167 reconfigurations (17 with mobilityControlInfo), 167 completes; the
    // other DCCH messages 82 down, 83 up, 72 measurement reports. EMM others: plain 17 (the sum's terms per
    // type), protected: identity response 1, security mode command 3; ciphered (types 2 and 4) 16; 2 zero
    // logs.
    const Counts expectedA = {
        {"reconfiguration -", 150},
        {"reconfiguration +", 17},
        {"release - cause 1", 36},
        {"connection setup", 40},
        {"connection request cause 2", 9},
        {"connection request cause 3", 6},
        {"connection request cause 4", 24},
        {"reconfiguration complete", 167},
        {"connection setup complete", 38},
        {"other", 82 + 83 + 72},
        {"plain attach request", 3},
        {"plain attach accept", 2},
        {"plain attach reject cause 15", 1},
        {"plain detach request", 1},
        {"plain detach accept", 1},
        {"plain tau request", 3},
        {"plain tau accept", 1},
        {"plain tau reject cause 10", 1},
        {"plain service request", 33},
        {"plain other", 2 + 3 + 3 + 1 + 1 + 3 + 3 + 1},
        {"protected attach request", 2},
        {"protected tau request", 3},
        {"protected other", 1 + 3},
        {"protected ciphered", 16},
        {"protected unreadable", 2},
    };
    EXPECT_EQ(CountKinds("raw_diag_stream_a.bin"), expectedA);
    // Dual-SIM capture (both subscriptions): 76 reconfigurations (21 with mobilityControlInfo); other DCCH
    // messages 45 down and 131 up (2 NR measurement reports in the c2 class); EMM others: 40 TAU completes.
    const Counts expectedD = {
        {"reconfiguration -", 55},
        {"reconfiguration +", 21},
        {"release - cause 1", 24},
        {"connection setup", 24},
        {"connection request cause 2", 2},
        {"connection request cause 3", 22},
        {"reconfiguration complete", 75},
        {"connection setup complete", 23},
        {"other", 45 + 131},
        {"plain tau request", 45},
        {"plain tau accept", 40},
        {"plain other", 40},
        {"plain service request", 2},
    };
    EXPECT_EQ(CountKinds("dualsim_5g_20201116_195935.bin"), expectedD);
}

}  // namespace
