// What the export writes for each kind of message: the GSMTAP type and sub-type (numbers of the GSMTAP
// header definition, as the formats page lists them), the direction and radio context in the header, and
// the messages GSMTAP version 2 cannot carry going to a dissector by name. The item clock's packet times.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "stream/ItemClock.h"
#include "tools/palvorin/Export.h"

namespace {

struct sKindCase {
    eOTAProtocol mProtocol;
    uint8_t mChannel;
    uint8_t mSIBType;
    bool mProtected;
    uint8_t mType;
    uint8_t mSubType;
};

const sKindCase kKinds[] = {
    // GSM Um: BCCH 0x01, CCCH 0x02, RACH 0x03, SDCCH 0x06, SACCH of SDCCH 0x80 | 0x06, FACCH/F 0x09, /H 0x0A.
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_BCCH, 0, false, 0x01, 0x01},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_CCCH, 0, false, 0x01, 0x02},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_RACH, 0, false, 0x01, 0x03},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_DCCH, 0, false, 0x01, 0x06},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_SACCH, 0, false, 0x01, 0x86},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_FACCH_F, 0, false, 0x01, 0x09},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_FACCH_H, 0, false, 0x01, 0x0A},
    {OTA_PROTOCOL_GPRS_MAC, 3, 0, false, 0x01, 0x0B},  // PACCH
    {OTA_PROTOCOL_GSM_L3, 0, 0, false, 0x02, 0x00},    // Abis: a bare layer-3 message
    // UMTS RRC: DL-DCCH 0, UL-DCCH 1, DL-CCCH 2, UL-CCCH 3, PCCH 4, BCCH-FACH 7, BCCH-BCH 8, MIB 16,
    // SIB1 17, SIB18 53, SB1 58 (SIB-Type values 0, 1, 26, 27).
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_DL_DCCH, 0, false, 0x0C, 0},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_UL_DCCH, 0, false, 0x0C, 1},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_DL_CCCH, 0, false, 0x0C, 2},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_UL_CCCH, 0, false, 0x0C, 3},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_PCCH, 0, false, 0x0C, 4},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_BCCH_FACH, 0, false, 0x0C, 7},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_BCCH_BCH, 0, false, 0x0C, 8},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_SIB, 0, false, 0x0C, 16},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_SIB, 1, false, 0x0C, 17},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_SIB, 26, false, 0x0C, 53},
    {OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_SIB, 27, false, 0x0C, 58},
    // LTE RRC: DL-CCCH 0, DL-DCCH 1, UL-CCCH 2, UL-DCCH 3, BCCH-BCH 4, BCCH-DL-SCH 5, PCCH 6, MCCH 7,
    // DL-CCCH-NB 14, UL-DCCH-NB 17, BCCH-BCH-NB 18, PCCH-NB 21.
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_DL_CCCH, 0, false, 0x0D, 0},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_DL_DCCH, 0, false, 0x0D, 1},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_UL_CCCH, 0, false, 0x0D, 2},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_UL_DCCH, 0, false, 0x0D, 3},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_BCCH_BCH, 0, false, 0x0D, 4},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_BCCH_DL_SCH, 0, false, 0x0D, 5},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_PCCH, 0, false, 0x0D, 6},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_MCCH, 0, false, 0x0D, 7},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_DL_CCCH_NB, 0, false, 0x0D, 14},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_UL_DCCH_NB, 0, false, 0x0D, 17},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_BCCH_BCH_NB, 0, false, 0x0D, 18},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_PCCH_NB, 0, false, 0x0D, 21},
    // LTE NAS: 0 plain, 1 with a security header.
    {OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, 0, false, 0x12, 0},
    {OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, 0, true, 0x12, 1},
};

const unsigned char kMessage[] = {0x06, 0x15, 0x80};

sOTAMessage Message(eOTAProtocol protocol, uint8_t channel) {
    sOTAMessage message;
    message.mProtocol = protocol;
    message.mChannel = channel;
    message.mData = kMessage;
    message.mLength = sizeof kMessage;
    return message;
}

TEST(Export, GSMTAPTypeAndSubTypeOfEachKind) {
    for (const sKindCase& kind : kKinds) {
        sOTAMessage message = Message(kind.mProtocol, kind.mChannel);
        message.mSIBType = kind.mSIBType;
        message.mSecurityProtected = kind.mProtected;
        std::vector<unsigned char> packet;
        ASSERT_TRUE(BuildGSMTAPPacket(message, packet)) << int{kind.mProtocol} << "/" << int{kind.mChannel};
        ASSERT_GE(packet.size(), 16u + sizeof kMessage);
        SCOPED_TRACE(testing::Message()
                     << "protocol " << int{kind.mProtocol} << " channel " << int{kind.mChannel});
        EXPECT_EQ(packet[0], 2) << "version";
        EXPECT_EQ(packet[1], 4) << "header words";
        EXPECT_EQ(packet[2], kind.mType);
        EXPECT_EQ(packet[12], kind.mSubType);
    }
}

TEST(Export, HeaderFieldsAndFraming) {
    // A dedicated GSM message in the LAPDm UI frame it travels in: address 01, control 03, length 3 * 4 + 1;
    // on the SACCH behind the 2-byte L1 header. Uplink sets 0x4000 in the ARFCN field.
    sOTAMessage message = Message(OTA_PROTOCOL_GSM_RR, OTA_GSM_SACCH);
    message.mDirection = OTA_DIRECTION_UPLINK;
    message.mContext = OTA_HAS_CHANNEL_NUMBER | OTA_HAS_FRAME;
    message.mChannelNumber = 62;
    message.mFrame = 0x1234;
    std::vector<unsigned char> packet;
    ASSERT_TRUE(BuildGSMTAPPacket(message, packet));
    EXPECT_EQ(std::vector<unsigned char>(packet.begin() + 4, packet.begin() + 12),
              (std::vector<unsigned char>{0x40, 62, 0, 0, 0, 0, 0x12, 0x34}));
    EXPECT_EQ(std::vector<unsigned char>(packet.begin() + 16, packet.end()),
              (std::vector<unsigned char>{0, 0, 0x01, 0x03, 0x0D, 0x06, 0x15, 0x80}));
}

TEST(Export, WithoutGSMTAPToADissectorByName) {
    struct {
        eOTAProtocol mProtocol;
        uint8_t mChannel;
        uint32_t mChannelNumber;
        const char* mDissector;
    } cases[] = {
        {OTA_PROTOCOL_LTE_RRC, OTA_LTE_PCCH, 38098, "lte_rrc.pcch"},  // EARFCN above 16383
        {OTA_PROTOCOL_NR_RRC, OTA_NR_UL_DCCH, 0, "nr-rrc.ul.dcch"},
        {OTA_PROTOCOL_NR_NAS, OTA_NAS_MOBILITY, 0, "nas-5gs"},
    };
    for (const auto& c : cases) {
        sOTAMessage message = Message(c.mProtocol, c.mChannel);
        message.mContext = OTA_HAS_CHANNEL_NUMBER;
        message.mChannelNumber = c.mChannelNumber;
        std::vector<unsigned char> bytes;
        EXPECT_FALSE(BuildGSMTAPPacket(message, bytes)) << c.mDissector;
        ASSERT_EQ(BuildExportRecord(message, bytes), EXPORT_DISSECTOR) << c.mDissector;
        // Tag 12 (dissector name) first, its length padded to 4 bytes.
        const std::string name(bytes.begin() + 4, bytes.begin() + 4 + strlen(c.mDissector));
        EXPECT_EQ(bytes[1], 12);
        EXPECT_EQ(name, c.mDissector);
    }
    // No decoder for a WCDMA block of the extension type (SIB-Type 31).
    sOTAMessage extension = Message(OTA_PROTOCOL_WCDMA_RRC, OTA_WCDMA_SIB);
    extension.mSIBType = 31;
    std::vector<unsigned char> bytes;
    EXPECT_EQ(BuildExportRecord(extension, bytes), EXPORT_NONE);
}

TEST(ItemClock, PacketTimesConvertedOrCarriedOver) {
    // The formats page's worked example: timestamp bytes 8e a7 93 c2 a5 11 d1 00 are Unix 1438395100.9848408
    // (2015-08-01 02:11:40.984841 UTC), here in 100 ns steps.
    const std::vector<unsigned char> log = {0x10, 0,    14,   0,    14,   0,    0xC0, 0xB0, 0x8e,
                                            0xa7, 0x93, 0xc2, 0xa5, 0x11, 0xd1, 0x00, 0x08, 0x0A};
    const FILETIME logTime = FILETIME_UNIX_EPOCH + 14383951009848408ULL;
    std::vector<unsigned char> wrapped = {0x98, 0x01, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00};
    wrapped.insert(wrapped.end(), log.begin(), log.end());
    const std::vector<unsigned char> response = {0x1D, 0x00};

    cItemClock clock(ITEM_CLOCK_PACKET);
    clock.ChunkRead(1000);
    EXPECT_EQ(clock.Stamp(response.data(), response.size()), 1000u) << "before any log: the read time";
    EXPECT_EQ(clock.Stamp(log.data(), log.size()), logTime);
    clock.ChunkRead(2000);
    EXPECT_EQ(clock.Stamp(response.data(), response.size()), logTime) << "the time of the item before";
    EXPECT_EQ(clock.Stamp(wrapped.data(), wrapped.size()), logTime) << "inside the multi-SIM wrapper";
    EXPECT_EQ(clock.Stamp(log.data(), 15), logTime) << "cut header: no time of its own";
    // A timestamp of 0 is a device that leaves the field unset, not a packet of 1980-01-06.
    std::vector<unsigned char> unset = log;
    std::fill(unset.begin() + 8, unset.begin() + 16, 0);
    EXPECT_EQ(clock.Stamp(unset.data(), unset.size()), logTime) << "unset: the time of the item before";
    cItemClock fresh(ITEM_CLOCK_PACKET);
    fresh.ChunkRead(3000);
    EXPECT_EQ(fresh.Stamp(unset.data(), unset.size()), 3000u) << "unset and first: the read time";

    cItemClock host(ITEM_CLOCK_HOST);
    host.ChunkRead(2000);
    EXPECT_EQ(host.Stamp(log.data(), log.size()), 2000u);
}

}  // namespace
