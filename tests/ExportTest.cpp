// The export's GSMTAP type and sub-type of the kinds no real capture's tshark decode pins (tests/tool,
// real_*; numbers of the GSMTAP header definition), its header and framing, dissectors by name for what
// GSMTAP version 2 cannot carry, and the item clock's packet times.
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
    bool mProtected;
    uint8_t mType;
    uint8_t mSubType;
};

const sKindCase kKinds[] = {
    // GSM Um: RACH 0x03, FACCH/F 0x09, /H 0x0A; GPRS PACCH 0x0B.
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_RACH, false, 0x01, 0x03},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_FACCH_F, false, 0x01, 0x09},
    {OTA_PROTOCOL_GSM_RR, OTA_GSM_FACCH_H, false, 0x01, 0x0A},
    {OTA_PROTOCOL_GPRS_MAC, 3, false, 0x01, 0x0B},
    // LTE RRC: BCCH-BCH 4, MCCH 7, UL-DCCH-NB 17 (the first and last channel and one between).
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_BCCH_BCH, false, 0x0D, 4},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_MCCH, false, 0x0D, 7},
    {OTA_PROTOCOL_LTE_RRC, OTA_LTE_UL_DCCH_NB, false, 0x0D, 17},
    // LTE NAS: 0 plain, 1 with a security header.
    {OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, false, 0x12, 0},
    {OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, true, 0x12, 1},
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
        message.mSecurityProtected = kind.mProtected;
        std::vector<unsigned char> packet;
        ASSERT_TRUE(BuildGSMTAPPacket(message, packet)) << int{kind.mProtocol} << "/" << int{kind.mChannel};
        ASSERT_GE(packet.size(), 16u + sizeof kMessage);
        SCOPED_TRACE(testing::Message()
                     << "protocol " << int{kind.mProtocol} << " channel " << int{kind.mChannel});
        EXPECT_EQ(packet[2], kind.mType);
        EXPECT_EQ(packet[12], kind.mSubType);
    }
}

TEST(Export, HeaderFieldsAndFraming) {
    // A dedicated GSM message in the LAPDm UI frame it travels in: address 01, control 03, length 3 * 4 + 1;
    // on the SACCH (sub-type 0x80 | SDCCH 0x06) behind the 2-byte L1 header. Uplink sets 0x4000 in the ARFCN.
    sOTAMessage message = Message(OTA_PROTOCOL_GSM_RR, OTA_GSM_SACCH);
    message.mDirection = OTA_DIRECTION_UPLINK;
    message.mContext = OTA_HAS_CHANNEL_NUMBER | OTA_HAS_FRAME;
    message.mChannelNumber = 62;
    message.mFrame = 0x1234;
    std::vector<unsigned char> packet;
    ASSERT_TRUE(BuildGSMTAPPacket(message, packet));
    EXPECT_EQ(packet,
              (std::vector<unsigned char>{2,    4, 1, 0, 0x40, 62, 0,    0,    0,    0,    0x12, 0x34,
                                          0x86, 0, 0, 0, 0,    0,  0x01, 0x03, 0x0D, 0x06, 0x15, 0x80}));
}

TEST(Export, WithoutGSMTAPToADissectorByName) {
    struct {
        eOTAProtocol mProtocol;
        uint8_t mChannel;
        uint32_t mChannelNumber;
        const char* mDissector;
    } cases[] = {
        {OTA_PROTOCOL_LTE_RRC, OTA_LTE_PCCH, 38098, "lte_rrc.pcch"},  // EARFCN above 16383
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
}

TEST(ItemClock, PacketTimesConvertedOrCarriedOver) {
    // The formats page's worked example: timestamp bytes 8e a7 93 c2 a5 11 d1 00 are Unix 1438395100.9848408,
    // here in 100 ns steps. Responses after a log: tests/tool,
    // packet_times.
    const std::vector<unsigned char> log = {0x10, 0,    14,   0,    14,   0,    0xC0, 0xB0, 0x8e,
                                            0xa7, 0x93, 0xc2, 0xa5, 0x11, 0xd1, 0x00, 0x08, 0x0A};
    const FILETIME logTime = FILETIME_UNIX_EPOCH + 14383951009848408ULL;
    std::vector<unsigned char> wrapped = {0x98, 0x01, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00};
    wrapped.insert(wrapped.end(), log.begin(), log.end());
    const std::vector<unsigned char> response = {0x1D, 0x00};

    cItemClock clock(ITEM_CLOCK_PACKET);
    clock.ChunkRead(1000);
    EXPECT_EQ(clock.Stamp(response.data(), response.size()), 1000u) << "before any log: the read time";
    clock.ChunkRead(2000);
    EXPECT_EQ(clock.Stamp(wrapped.data(), wrapped.size()), logTime) << "inside the multi-SIM wrapper";
    EXPECT_EQ(clock.Stamp(log.data(), 15), logTime) << "cut header: no time of its own";
    // A timestamp of 0 is a device that leaves the field unset, not a packet of 1980-01-06.
    std::vector<unsigned char> unset = log;
    std::fill(unset.begin() + 8, unset.begin() + 16, 0);
    EXPECT_EQ(clock.Stamp(unset.data(), unset.size()), logTime) << "unset: the time of the item before";
    cItemClock host(ITEM_CLOCK_HOST);
    host.ChunkRead(2000);
    EXPECT_EQ(host.Stamp(log.data(), log.size()), 2000u);
}

}  // namespace
