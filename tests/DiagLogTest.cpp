#include "diag/DiagLog.h"

#include <gtest/gtest.h>

#include "tests/DiagPackets.h"

namespace {

using Type = std::vector<unsigned int>;
const char* const kLog = "10 00 0e 00 0e 00 2f 41 08 07 06 05 04 03 02 01 aa bb";

TEST(DiagLog, AccessorsAndTheirEmptyAnswers) {
    cHeldBuffer buffer(Hex(kLog), 3);
    sDiagLog log(buffer.get());
    unsigned int length = 0;
    EXPECT_EQ(log.GetLog(), buffer->mData);
    EXPECT_EQ(log.GetLogCode(), 0x412Fu);
    EXPECT_EQ(log.GetTimestamp(), 0x0102030405060708ull);
    EXPECT_EQ(log.GetLogData(length), buffer->mData + 16);
    EXPECT_EQ(length, 2u);

    cHeldBuffer request(Hex(kLog), 4);
    sDiagLog invalid(request.get());
    length = 9;
    EXPECT_EQ(invalid.GetLog(), nullptr);
    EXPECT_EQ(invalid.GetLogCode(), 4294967295u);
    EXPECT_EQ(invalid.GetTimestamp(), 0u);
    EXPECT_EQ(invalid.GetLogData(length), nullptr);
    EXPECT_EQ(length, 0u);

    cHeldBuffer empty(Hex("10 00 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00"), 3);
    EXPECT_EQ(sDiagLog(empty.get()).GetLogData(length), nullptr);
    EXPECT_EQ(length, 0u);
    cHeldBuffer shortForm(Hex("10 00 00 00"), 3);
    sDiagLog(shortForm.get()).GetLogData(length);
    EXPECT_EQ(length, 4294967284u) << "the 4-byte form wraps, as documented";
}

TEST(DiagLog, BuildLogWritesTheHeaderAndCapsThePacket) {
    const Bytes payload = Hex("03 00 10 00 5c 5c 5c 5c");
    sSharedBuffer* built = sDiagLog::BuildLog(0x412F, 0x1122334455667788ull, payload.data(), 8);
    EXPECT_EQ(built->mRefCount, 0u);
    cHeldBuffer log(built);
    EXPECT_EQ(log->mProtocol, 3u);
    EXPECT_EQ(Contents(log.get()),
              Hex("10 00 14 00 14 00 2f 41 88 77 66 55 44 33 22 11 03 00 10 00 5c 5c 5c 5c"));

    const Bytes large(9000, 0x33);
    cHeldBuffer capped(sDiagLog::BuildLog(0x10412F, 0, large.data(), 9000));
    EXPECT_EQ(capped->mSize, 8208u);
    EXPECT_EQ(sDiagLog(capped.get()).GetLogCode(), 0x412Fu);
    cHeldBuffer bare(sDiagLog::BuildLog(0x1048, 0, nullptr, 100));
    EXPECT_EQ(Contents(bare.get()), Hex("10 00 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00"));
}

// A subclass replacing one payload check: Validate() reaches it through the virtual slot.
struct sNoGSM : sDiagOTALog {
    using sDiagOTALog::sDiagOTALog;
    bool ValidateGSM(unsigned int, const unsigned char*, unsigned int) override { return false; }
};

TEST(DiagOTALog, PayloadChecksAreReplaceable) {
    cHeldBuffer buffer(LogPacket(0x512F, Hex("81 1c")), 3);
    sNoGSM view(buffer.get());
    EXPECT_TRUE(view.IsValid()) << "during construction the view's own checks run";
    EXPECT_FALSE(view.Validate());
}

// WCDMA RRC payloads (0x412F) are: channel type, a byte not read, the 16-bit message length, the message;
// the message choices were worked out bit by bit, most significant bit first.
TEST(DiagOTALog, OTATypeOfEveryTechnology) {
    const std::string zeros16(32, '0');
    const struct {
        unsigned int mCode;
        std::string mPayload;
        Type mType;
    } cases[] = {
        {0x1007, "00 c5", {5}},  // 4103: masked
        {0x1008, "00 c5", {197}},
        {0x1004, "00 ff", {63}},
        {0x1090, "00 ff", {255}},
        {0x10D7, "80 01 c7", {7}},  // 4311: byte 2 when bit 7 of byte 0 is set, masked
        {0x10D6, "80 01 c7", {199}},
        {0x10D8, "7f 05 09", {5}},
        {0x10D6, "80 05", {5}},  // too short for byte 2
        {0x138B, "11 22", {0}},  // 5003 reads byte 2 of a 2-byte payload, past the end: 0
        {0x138C, "00 00 ff", {63}},
        {0x138D, "00 00 ff", {255}},
        {0x1388, "00 00 00 ff", {63}},
        {0x1389, "00 00 00 ff", {255}},
        {0x1076, "00 00 00 00 00 00 00 00 00 00 00 00 8b c0", {11, 3}},
        {0x1077, "00 00 00 00 00 00 00 00 40 00 00 00 15 07", {21, 7, 2}},
        {0x1077, "00 00 00 00 00 00 00 00 1f 00 00 00 17 07", {23, 7}},
        {0x1079, "00 00 00 00 00 00 00 00 40 00 00 00 14 07", {20, 7}},
        {0x1076, "00 00 00 00 00 00 00 00 00 00 00 8b", {}},          // needs 13 bytes
        {0x1076, "00 00 00 00 00 00 00 00 00 00 00 00 8b", {11, 0}},  // byte 13 past the end
        {0x1085, "00 00 00 00 00 00 00 00 00 00 00 00 8b c0", {}},
        {0x512F, "81 1c 17", {0x81, 0x1C}},
        {0x713A, "01 0f 00 00 00 05 48", {5, 8}},  // NAS: mobility management, masked
        {0x713A, "01 0f 00 00 00 02 48", {2, 0x48}},
        {0x7B3A, "00 00 00 00 00 00 19 c1", {9, 1}},
        {0x141B, zeros16 + "81", {0x81, 0}},  // bytes 17 and 34 past a 17-byte payload read 0
        {0x141B, zeros16 + "81 02" + zeros16 + "33", {0x0281, 0x33}},
        {0x141C, zeros16 + "05 06", {5, 6}},
        {0x149F, "00 07", {7}},
        {0x149F, "07", {0}},  // byte 1 past the end
        {0x1048, "01 02 03", {}},
        {0x412F, "00 00 01 00 40", {0, 2}},                  // 0 | 10: no integrity info, choice 2 of 2 bits
        {0x412F, "00 00 05 00 80 00 00 00 06", {0, 3}},      // 1: the choice is bits 37 and 38
        {0x412F, "00 00 00 00", {0}},                        // the flag cannot be read
        {0x412F, "09 00 00 00", {9}},                        // no byte to read
        {0x412F, "01 00 01 00 2c", {1, 11}},                 // 0 | 01011
        {0x412F, "02 00 01 00 60", {2, 6}},                  // 0 | 110
        {0x412F, "03 00 06 00 80 00 00 00 05 40", {3, 21}},  // 1: bits 37 to 41 are 10101
        {0x412F, "03 00 01 00 80", {3}},                     // position clamped to the end
        {0x412F, "04 00 02 00 00 1a", {4, 13}},              // 11 bits of frame number, then 1101
        {0x412F, "04 00 01 00 00", {4}},                     // too short for the choice
        {0x412F, "05 00 01 00 80", {5, 2}},                  // 10
        {0x412F, "05 00 01 00 14", {5, 0, 5}},               // 00 | 0101
        {0x412F, "06 00 01 00 80", {6, 1}},
        {0x412F, "07 00 01 00 a0", {7, 10}},
        {0x412F, "08 00 01 00 c0", {8, 3}},
        {0x412F, "09 00 01 00 ab", {9, 0xAB}},  // the whole first byte
        {0x412F, "fe 00 02 00 01 02", {254, 1}},
        {0x412F, "ff 00 01 00 ff", {255, 255}},
        {0x412F, "0a 00 01 00 ff", {10}},  // no choice for other channel types
    };
    for (const auto& c : cases) {
        // In the library's own buffer, and in an array of exactly the packet's size, as a native caller
        // may hand over (no zeroed tail: under ASan a read past the packet fails).
        const Bytes packet = LogPacket(c.mCode, Hex(c.mPayload));
        const auto size = static_cast<unsigned int>(packet.size());
        unsigned char* exact = new unsigned char[size];
        std::copy(packet.begin(), packet.end(), exact);
        for (sSharedBuffer* held :
             {new sSharedBuffer(packet.data(), size, 3), new sSharedBuffer(size, exact, 3)}) {
            cHeldBuffer buffer(held);
            sDiagOTALog view(buffer.get());
            ASSERT_TRUE(view.IsValid()) << std::hex << c.mCode << " " << c.mPayload;
            EXPECT_EQ(view.GetOTAType(), c.mType) << std::hex << c.mCode << " " << c.mPayload;
        }
    }
}

TEST(DiagOTALog, ExtractionsAnswerOnlyForTheirOwnTechnologyAndValidViews) {
    cHeldBuffer buffer(LogPacket(0x512F, Hex("81 1c")), 3);
    cHeldBuffer request(LogPacket(0x512F, Hex("81 1c")), 4);
    sDiagOTALog view(buffer.get()), invalid(request.get());
    const unsigned char payload[40] = {0x81, 0x1C};
    EXPECT_EQ(view.GetOTATypeGSM(0x512F, payload, 2), (Type{0x81, 0x1C}));
    EXPECT_TRUE(view.GetOTATypeCDMA(0x512F, payload, 2).empty());
    EXPECT_TRUE(view.GetOTATypeUMTS(0x512F, payload, 40).empty());
    EXPECT_TRUE(view.GetOTATypeWCDMA(0x512F, payload, 40).empty());
    EXPECT_TRUE(view.GetOTATypeUMB(0x1048, payload, 40).empty());
    EXPECT_TRUE(view.GetOTATypeWLAN(0x141B, payload, 40).empty());
    EXPECT_TRUE(view.GetOTATypeCDMA1xEV(0x1004, payload, 40).empty());
    EXPECT_TRUE(invalid.GetOTAType().empty());
    EXPECT_TRUE(invalid.GetOTATypeGSM(0x512F, payload, 2).empty());
}

}  // namespace
