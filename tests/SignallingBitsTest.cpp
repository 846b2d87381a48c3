// The first bits of LTE RRC and EPS NAS messages. Real messages (the first bytes of each, from real captures
// D and A, Apache-2.0) with what tshark decodes from the same messages exported by `palvorin pcap`; whole
// captures counted by kind against tshark's counts; and hand-built messages for what no capture holds.
#include "timeline/SignallingBits.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "ota/OTAExtractor.h"
#include "tests/DiagPackets.h"
#include "tests/StreamPackets.h"

namespace {

sLTERRCReading RRC(uint8_t channel, const std::string& hex) {
    const Bytes bytes = Hex(hex);
    return ReadLTERRC(channel, bytes.data(), bytes.size());
}

sEMMReading EMMOf(const std::string& hex) {
    const Bytes bytes = Hex(hex);
    return ReadEMM(bytes.data(), bytes.size());
}

TEST(SignallingBits, RealLTERRCMessagesReadAsTsharkDecodesThem) {
    const struct {
        const char* mWhere;  // capture D file and time of the message
        uint8_t mChannel;
        const char* mHex;
        eLTERRCKind mKind;
        eBitFlag mFlag;  // mobility control information, or redirected carrier information
        uint8_t mCause;
        uint16_t mFailedCell;
    } cases[] = {
        // tshark: RRCConnectionReconfiguration with mobilityControlInfo (target PCI 370).
        {"lte_volte 2018-09-26T19:54:35.765", OTA_LTE_DL_DCCH, "200baae408fc052d13ff8f95bf71b035049a8018",
         LTE_RRC_RECONFIGURATION, BIT_FLAG_SET, kNoValue, 0xFFFF},
        // Without mobilityControlInfo (measConfig, a ciphered NAS message, radio resources).
        {"lte_attach 2020-05-08T17:25:19.305", OTA_LTE_DL_DCCH, "201695988024041a0c0030261600180081028dc3",
         LTE_RRC_RECONFIGURATION, BIT_FLAG_CLEAR, kNoValue, 0xFFFF},
        // RRCConnectionRelease [cause=other], no redirectedCarrierInfo; the second is the whole message.
        {"lte_attach 2020-05-08T17:27:41.452", OTA_LTE_DL_DCCH, "281a83451b9849750834e08663fffc050087022a",
         LTE_RRC_RELEASE, BIT_FLAG_CLEAR, 1, 0xFFFF},
        {"lte_volte 2018-07-24T00:33:03.415", OTA_LTE_DL_DCCH, "2802", LTE_RRC_RELEASE, BIT_FLAG_CLEAR, 1,
         0xFFFF},
        {"lte_attach 2020-05-08T17:25:19.073 SecurityModeCommand", OTA_LTE_DL_DCCH, "300220", LTE_RRC_OTHER,
         BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        {"lte_attach 2020-05-08T17:25:18.601", OTA_LTE_DL_CCCH, "6012980f5dd204ba007caa8b7535c3824258a116",
         LTE_RRC_CONNECTION_SETUP, BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        {"lte_bler 2019-07-30T10:19:40.008", OTA_LTE_DL_CCCH, "0812980a5dd22183c0ba007e16c1908f86551026",
         LTE_RRC_REESTABLISHMENT, BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        // RRCConnectionReestablishmentRequest: reestablishmentCause otherFailure (2), physCellId 193.
        {"lte_bler 2019-07-30T10:19:39.387", OTA_LTE_UL_CCCH, "0de56c165678", LTE_RRC_REESTABLISHMENT_REQUEST,
         BIT_FLAG_UNKNOWN, REESTABLISHMENT_OTHER_FAILURE, 193},
        // RRCConnectionRequest: establishmentCause mo-Signalling (3), and in capture A mo-Data (4), mt-Access
        // (2).
        {"lte_attach 2020-05-08T17:25:18.545", OTA_LTE_UL_CCCH, "577073b0f986", LTE_RRC_CONNECTION_REQUEST,
         BIT_FLAG_UNKNOWN, 3, 0xFFFF},
        {"capture A 2015-08-01T02:11:40.987", OTA_LTE_UL_CCCH, "48ce70d247f8", LTE_RRC_CONNECTION_REQUEST,
         BIT_FLAG_UNKNOWN, 4, 0xFFFF},
        {"capture A 2015-08-01T02:21:23.578", OTA_LTE_UL_CCCH, "48ce70d247f4", LTE_RRC_CONNECTION_REQUEST,
         BIT_FLAG_UNKNOWN, 2, 0xFFFF},
        {"lte_volte 2018-09-26T19:54:35.790", OTA_LTE_UL_DCCH, "1000", LTE_RRC_RECONFIGURATION_COMPLETE,
         BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        {"lte_bler 2019-07-30T10:19:40.012", OTA_LTE_UL_DCCH, "1ac0", LTE_RRC_REESTABLISHMENT_COMPLETE,
         BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        {"lte_attach 2020-05-08T17:25:18.606", OTA_LTE_UL_DCCH, "2030fae6e9808717382a5ee57a0741020bf61301",
         LTE_RRC_CONNECTION_SETUP_COMPLETE, BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        {"lte_volte 2018-09-26T19:54:35.642 MeasurementReport", OTA_LTE_UL_DCCH,
         "0830251005c9ac38160100034229cd", LTE_RRC_OTHER, BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
        // Class extension c2, type 7: UL information transfer for dual connectivity (an NR measurement
        // report).
        {"dualsim_5g_20201116_195935 2020-11-16T11:56:21.624", OTA_LTE_UL_DCCH,
         "9c40c00000104afdd3385301162500", LTE_RRC_OTHER, BIT_FLAG_UNKNOWN, kNoValue, 0xFFFF},
    };
    for (const auto& c : cases) {
        const sLTERRCReading reading = RRC(c.mChannel, c.mHex);
        EXPECT_EQ(reading.mKind, c.mKind) << c.mWhere;
        EXPECT_EQ(reading.mKind == LTE_RRC_RELEASE ? reading.mRedirection : reading.mMobility, c.mFlag)
            << c.mWhere;
        EXPECT_EQ(reading.mKind == LTE_RRC_RELEASE ? reading.mReleaseCause : reading.mCause, c.mCause)
            << c.mWhere;
        EXPECT_EQ(reading.mFailedCell, c.mFailedCell) << c.mWhere;
    }
}

TEST(SignallingBits, HandBuiltMessagesNoCaptureHolds) {
    const struct {
        const char* mWhat;
        uint8_t mChannel;
        const char* mHex;
        eLTERRCKind mKind;
        eBitFlag mFlag;
        uint8_t mCause;
    } cases[] = {
        // Release r8 with redirectedCarrierInfo (bit 10) and cause 2 (bits 13..14): 0010 1000 | 0010 0100.
        {"release with redirection", OTA_LTE_DL_DCCH, "2824", LTE_RRC_RELEASE, BIT_FLAG_SET, 2},
        // A later critical extension (bit 7 = 1): the r8 flags are not where the table says.
        {"release, later extension", OTA_LTE_DL_DCCH, "2930", LTE_RRC_RELEASE, BIT_FLAG_UNKNOWN, kNoValue},
        {"reconfiguration, later extension", OTA_LTE_DL_DCCH, "21ff", LTE_RRC_RECONFIGURATION,
         BIT_FLAG_UNKNOWN, kNoValue},
        // One byte: the type is there, the presence bits are not.
        {"reconfiguration cut after the type", OTA_LTE_DL_DCCH, "20", LTE_RRC_RECONFIGURATION,
         BIT_FLAG_UNKNOWN, kNoValue},
        {"DL-DCCH class extension", OTA_LTE_DL_DCCH, "a0", LTE_RRC_OTHER, BIT_FLAG_UNKNOWN, kNoValue},
        {"connection reject (type 2)", OTA_LTE_DL_CCCH, "40", LTE_RRC_CONNECTION_REJECT, BIT_FLAG_UNKNOWN,
         kNoValue},
        {"re-establishment reject (type 1)", OTA_LTE_DL_CCCH, "20", LTE_RRC_REESTABLISHMENT_REJECT,
         BIT_FLAG_UNKNOWN, kNoValue},
        // UL-DCCH c2, type 8: SCG failure information NR (1 0 1000 ..).
        {"SCG failure information NR", OTA_LTE_UL_DCCH, "a0", LTE_RRC_SCG_FAILURE_NR, BIT_FLAG_UNKNOWN,
         kNoValue},
        {"an empty message", OTA_LTE_UL_DCCH, "", LTE_RRC_UNREADABLE, BIT_FLAG_UNKNOWN, kNoValue},
        {"a channel the readers do not cover", OTA_LTE_PCCH, "40", LTE_RRC_UNREADABLE, BIT_FLAG_UNKNOWN,
         kNoValue},
    };
    for (const auto& c : cases) {
        const sLTERRCReading reading = RRC(c.mChannel, c.mHex);
        EXPECT_EQ(reading.mKind, c.mKind) << c.mWhat;
        EXPECT_EQ(reading.mKind == LTE_RRC_RELEASE ? reading.mRedirection : reading.mMobility, c.mFlag)
            << c.mWhat;
        EXPECT_EQ(reading.mKind == LTE_RRC_RELEASE ? reading.mReleaseCause : reading.mCause, c.mCause)
            << c.mWhat;
    }
    // Cause and cell of a re-establishment request, bit by bit: C-RNTI 0xABCD (bits 3..18), PCI 0x155
    // (19..27), short MAC-I 0 (28..43), cause 1 (44..45): 000 1010101111001101 101010101 0000000000000000 01
    // 00.
    const sLTERRCReading request = RRC(OTA_LTE_UL_CCCH, "1579b5500004");
    EXPECT_EQ(request.mKind, LTE_RRC_REESTABLISHMENT_REQUEST);
    EXPECT_EQ(request.mCause, REESTABLISHMENT_HANDOVER_FAILURE);
    EXPECT_EQ(request.mFailedCell, 0x155);
    // Cut before the cause: the cell is read, the cause is not.
    const sLTERRCReading cut = RRC(OTA_LTE_UL_CCCH, "1579b55000");
    EXPECT_EQ(cut.mKind, LTE_RRC_REESTABLISHMENT_REQUEST);
    EXPECT_EQ(cut.mCause, kNoValue);
    EXPECT_EQ(cut.mFailedCell, 0x155);
}

TEST(SignallingBits, RealEMMMessagesReadAsTsharkDecodesThem) {
    const struct {
        const char* mWhere;
        const char* mHex;
        eEMMKind mKind;
        uint8_t mType;
        uint8_t mCause;
    } cases[] = {
        // Capture A: Tracking area update reject (Implicitly detached), Attach reject (No Suitable Cells In
        // tracking area).
        {"capture A 2015-08-01T04:11:21.889", "074b0a", EMM_TAU_REJECT, 0x4B, 10},
        {"capture A 2015-08-01T04:11:22.209", "07440f", EMM_ATTACH_REJECT, 0x44, 15},
        {"capture A service request (header type 12)", "c7011700", EMM_SERVICE_REQUEST, 0, kNoValue},
        // Integrity protected (header type 1): Attach request after the 6-byte header.
        {"capture A 2015-08-01T02:21:24.064", "172d27134f5c0741120bf664f00001098ce70d24", EMM_ATTACH_REQUEST,
         0x41, kNoValue},
        // Type 3: Security mode command, read but not an event.
        {"capture A 2015-08-01T02:21:24.468", "375258972400075d020205f070004070", EMM_OTHER, 0x5D, kNoValue},
        // Types 2 and 4: ciphered, whatever follows.
        {"capture A 2015-08-01T02:21:23.776", "27927f529919074501", EMM_CIPHERED, 0, kNoValue},
        {"capture A 2015-08-01T02:21:24.470", "472152573100075e", EMM_CIPHERED, 0, kNoValue},
        // The modem's eight zero bytes under a protected code: protocol discriminator 0.
        {"capture A 2015-08-01T02:21:24.542", "0000000000000000", EMM_UNREADABLE, 0, kNoValue},
        {"lte_attach 2020-05-08T17:25:04.453 Detach request", "0745090bf613", EMM_DETACH_REQUEST, 0x45,
         kNoValue},
        {"lte_attach 2020-05-08T17:25:19.317 Attach accept", "0742015e0600", EMM_ATTACH_ACCEPT, 0x42,
         kNoValue},
        {"dualsim 2020-11-16T11:56:24.832 Tracking area update accept",
         "0749015a49500bf664f00001098ccc03fdee5406", EMM_TAU_ACCEPT, 0x49, kNoValue},
        {"dualsim 2020-11-16T11:56:24.750 Tracking area update request",
         "0748510bf664f00001098ccc850c8b5807f07000", EMM_TAU_REQUEST, 0x48, kNoValue},
        // ESM (protocol discriminator 2): not EMM.
        {"lte_attach ESM information request", "0209d9", EMM_UNREADABLE, 0, kNoValue},
    };
    for (const auto& c : cases) {
        const sEMMReading reading = EMMOf(c.mHex);
        EXPECT_EQ(reading.mKind, c.mKind) << c.mWhere;
        EXPECT_EQ(reading.mMessageType, c.mType) << c.mWhere;
        EXPECT_EQ(reading.mCause, c.mCause) << c.mWhere;
    }
}

TEST(SignallingBits, HandBuiltEMMMessages) {
    const struct {
        const char* mWhat;
        const char* mHex;
        eEMMKind mKind;
        uint8_t mCause;
    } cases[] = {
        {"service reject, congestion", "074e16", EMM_SERVICE_REJECT, 22},
        {"extended service request", "074c1100", EMM_EXTENDED_SERVICE_REQUEST, kNoValue},
        {"attach reject cut before its cause", "0744", EMM_ATTACH_REJECT, kNoValue},
        {"integrity protected TAU reject", "17000000000107 4b 0d", EMM_TAU_REJECT, 13},
        {"protected header without a message", "170000000001", EMM_UNREADABLE, kNoValue},
        {"protected around a protected message", "17000000000117", EMM_UNREADABLE, kNoValue},
        {"reserved header type 5", "57000000000107440f", EMM_UNREADABLE, kNoValue},
        {"one byte", "07", EMM_UNREADABLE, kNoValue},
        {"nothing", "", EMM_UNREADABLE, kNoValue},
    };
    for (const auto& c : cases) {
        const sEMMReading reading = EMMOf(c.mHex);
        EXPECT_EQ(reading.mKind, c.mKind) << c.mWhat;
        EXPECT_EQ(reading.mCause, c.mCause) << c.mWhat;
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
    static const char* const kRRC[] = {
        "unreadable",
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
        "scg failure",
    };
    static const char* const kEMM[] = {"unreadable",
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
            const sLTERRCReading reading = ReadLTERRC(message.mChannel, message.mData, message.mLength);
            std::string key = kRRC[reading.mKind];
            if (reading.mMobility == BIT_FLAG_SET || reading.mRedirection == BIT_FLAG_SET) {
                key += " +";
            }
            if (reading.mKind == LTE_RRC_CONNECTION_REQUEST || reading.mKind == LTE_RRC_RELEASE) {
                key += " cause " + std::to_string(reading.mKind == LTE_RRC_RELEASE ? reading.mReleaseCause
                                                                                   : reading.mCause);
            }
            ++counts[key];
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
    // tshark on the pcap of capture A: 167 RRCConnectionReconfiguration (17 with mobilityControlInfo), 36
    // releases (cause other, none redirected), 40 setups, 39 requests (establishment cause mt-Access 9,
    // mo-Signalling 6, mo-Data 24), 167 reconfiguration complete, 38 setup complete; the other DCCH messages
    // (security mode, UE capability, information transfer, UE information): 82 down, 83 up and 72
    // measurement reports. EMM: plain
    // attach request 3, accept 2, reject 1 (cause 15), detach request and accept 1 each, TAU request 3,
    // accept 1, reject 1 (cause 10), service request (header type 12) 33, 17 others; protected: header type 1
    // (attach request 2, TAU request 3, identity response 1), 3 (security mode command 3), ciphered types 2
    // and 4: 16, and 2 logs of zero bytes.
    const Counts expectedA = {
        {"reconfiguration", 150},
        {"reconfiguration +", 17},
        {"release cause 1", 36},
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
    // Dual-SIM capture (both subscriptions): 76 reconfigurations (21 with mobilityControlInfo), 24 releases,
    // 24 setups, 24 requests (mt-Access 2, mo-Signalling 22), 75 reconfiguration complete, 23 setup complete;
    // other DCCH messages: 45 down (information transfer 40, security mode 2, capability 3) and 131 up
    // (information transfer 61, security mode 2, capability 3, measurement reports 63, and 2 NR measurement
    // reports in the c2 class); EMM: TAU request 45, accept 40, complete 40, service request 2.
    const Counts expectedD = {
        {"reconfiguration", 55},
        {"reconfiguration +", 21},
        {"release cause 1", 24},
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
