// Over-the-air logs captured from handsets (tests/data/README.md): nobody here wrote these bytes.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "diag/DiagLog.h"
#include "tests/DiagPackets.h"

namespace {

using Counts = std::map<unsigned int, unsigned int>;

TEST(OTARealCapture, OtherTechnologiesValidateButShortEvDoPayloads) {
    const std::vector<Bytes> packets = HexLines("ota_real_sample.txt");
    ASSERT_EQ(packets.size(), 93u);
    unsigned int rejected = 0;
    for (const Bytes& packet : packets) {
        cHeldBuffer buffer(packet, 3);
        sDiagOTALog view(buffer.get());
        ASSERT_TRUE(sDiagLog(buffer.get()).IsValid());
        const unsigned int code = packet[6] | (packet[7] << 8);
        // The 0x1077 and 0x1079 packets with an 11-byte payload are below the 12-byte minimum.
        const bool tooShort = (code == 0x1077 || code == 0x1079) && packet.size() == 16 + 11;
        EXPECT_EQ(view.IsValid(), !tooShort) << std::hex << code;
        EXPECT_EQ(view.GetOTAType().empty(), tooShort || code == 0x1085 || code == 0x1086)
            << std::hex << code;
        rejected += tooShort ? 1 : 0;
    }
    EXPECT_EQ(rejected, 8u);
}

TEST(OTARealCapture, HandDecodedMessages) {
    const struct {
        const char* mPacket;
        std::vector<unsigned int> mType;
    } cases[] = {
        // GSM downlink CCCH: RR System Information Type 4 (message type 0x1C inside the message).
        {"1000260026002f511988befdfc11d100811c1731061c64f00011d6e54db90000b700432b2b2b2b2b2b2b",
         {0x81, 0x1C}},
        // UMTS NAS: mobility management (protocol discriminator 5), Location Updating Request (0x08).
        {"1000200020003a71b1ae7107fd11d100010f00000005080064f00011d65305f4b70fbcb8", {5, 8}},
    };
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), 3);
        EXPECT_EQ(sDiagOTALog(buffer.get()).GetOTAType(), c.mType) << c.mPacket;
    }
}

TEST(OTARealCapture, WCDMAChannelTypesAndBroadcastChoicesMatchTheCaptureCounts) {
    const std::vector<Bytes> packets = HexLines("wcdma_412f.txt");
    ASSERT_EQ(packets.size(), 623u);
    Counts channels, broadcastChoices;
    for (const Bytes& packet : packets) {
        cHeldBuffer buffer(packet, 3);
        const std::vector<unsigned int> type = sDiagOTALog(buffer.get()).GetOTAType();
        ASSERT_EQ(type.size(), 2u) << "every message is valid and has a readable choice";
        ++channels[type[0]];
        if (type[0] == 4) {
            ++broadcastChoices[type[1]];
        }
    }
    EXPECT_EQ(channels, (Counts{{0, 6}, {1, 172}, {2, 5}, {3, 109}, {4, 331}}));
    // System information on the broadcast channel by payload choice: noSegment, firstSegment,
    // subsequentSegment, lastSegmentShort, lastAndFirst, lastAndComplete, completeSIB-List,
    // completeAndFirst, lastSegment.
    EXPECT_EQ(broadcastChoices,
              (Counts{{0, 2}, {1, 17}, {2, 62}, {3, 48}, {4, 6}, {5, 23}, {7, 102}, {8, 70}, {10, 1}}));
}

TEST(OTARealCapture, NewerWCDMALayoutIsRejected) {
    const std::vector<Bytes> packets = HexLines("wcdma_412f_v2layout.txt");
    ASSERT_EQ(packets.size(), 4u);
    for (const Bytes& packet : packets) {
        cHeldBuffer buffer(packet, 3);
        sDiagOTALog view(buffer.get());
        EXPECT_TRUE(sDiagLog(buffer.get()).IsValid());
        EXPECT_FALSE(view.IsValid());
        EXPECT_TRUE(view.GetOTAType().empty());
    }
}

}  // namespace
