// GSM cell and measurement logs (0x5134, 0x5B34, 0x51FC, 0x5071, 0x507A, 0x507B). No capture holds any of
// them: expected values are those the facts page gives for its published packets (0x5134 and 0x507A); the
// others carry readable fields at the offsets of the page's tables.
#include <gtest/gtest.h>

#include <string>

#include "tests/MeasTestSupport.h"

namespace {

const char* const kCellInfo = "1080 04 01 1876 62f220 0141 00 ff";
// BSIC bytes 4, 1: read NCC first (the decoders disagree; the packet fits both), 4 * 8 + 1.
const char* const kPublishedCell = "dl 16 cell 33 id 0x7618 area 0x141 plmn 262-02";

// The dual-SIM log's subscription byte: 0 is the first SIM, as in the signalling logs; in the multi-SIM
// wrapper the wrapper's subscription is kept. One byte short fails the length check in each.
TEST(MeasGSM, CellInfoPublishedPacketAndItsDualSIMVariant) {
    const struct {
        Bytes mPacket;
        const char* mHeader;
    } cases[] = {
        {LogPacket(0x5134, Hex(kCellInfo)), "used serving cell gsm v0"},
        {LogPacket(0x5B34, Hex(std::string("00") + kCellInfo)), "used serving cell gsm v0 sim 1"},
        {LogPacket(0x5B34, Hex(std::string("01") + kCellInfo)), "used serving cell gsm v0 sim 1"},
        {LogPacket(0x5B34, Hex(std::string("02") + kCellInfo)), "used serving cell gsm v0 sim 2"},
        {Wrapped(2, LogPacket(0x5134, Hex(kCellInfo))), "used serving cell gsm v0 sim 2"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Text(Extracted(c.mPacket)), (Lines{c.mHeader, kPublishedCell}));
    }
    EXPECT_EQ(Extracted(0x5134, Hex("1080 04 01 1876 62f220 0141 00")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x5B34, Hex(kCellInfo)).mStatus, MEAS_BAD_LENGTH);
}

// The location area identity as the air carries it: MCC digits 2|1, MNC digit 3|MCC digit 3, MNC digits
// 2|1; the LAC big-endian.
TEST(MeasGSM, CellInfoLocationAreaAndBSIC) {
    const struct {
        const char* mLAI;   // 5 bytes at B+6
        const char* mBSIC;  // 2 bytes at B+2
        const char* mHeader;
        const char* mInfo;
    } cases[] = {
        {"136020 1234", "0701", "", "dl 16 cell 57 id 0x7618 area 0x1234 plmn 310-026"},
        {"00f110 fffe", "0707", "", "dl 16 cell 63 id 0x7618 area 0xfffe plmn 001-01"},
        {"6af220 0141", "0401", " out of range 1", "dl 16 cell 33 id 0x7618 area 0x141"},
        {"62f2f0 0141", "0000", " out of range 1", "dl 16 cell 0 id 0x7618 area 0x141"},
        {"62f220 0141", "0800", " out of range 1", "dl 16 id 0x7618 area 0x141 plmn 262-02"},
        {"62f220 0141", "0008", " out of range 1", "dl 16 id 0x7618 area 0x141 plmn 262-02"},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body;
        body.PutHex(0, kCellInfo).PutHex(2, c.mBSIC).PutHex(6, c.mLAI);
        EXPECT_EQ(Text(Extracted(0x5134, body.Body())),
                  (Lines{std::string("used serving cell gsm v0") + c.mHeader, c.mInfo}));
    }
}

// 0x51FC: a 26-byte serving part (ARFCN and band, PBCCH ARFCN, priority, RxLev at B+5, C1..C32, timer,
// barred, reselected, neighbour count at B+25), then 25-byte neighbours with RxLev at N+5.
cPayloadBuilder Reselection(unsigned int count, unsigned int records) {
    cPayloadBuilder body(26 + 25 * records);
    body.Put(0, 2, 0x2000 | 20).Put(2, 2, 0xFFFF).Put(4, 1, 1).Put(5, 1, 40).Put(6, 4, 30).Put(25, 1, count);
    const unsigned int channels[] = {30, 512, 975, 1, 2, 3, 4};
    const unsigned int levels[] = {20, 0, 90, 1, 2, 3, 4};
    for (unsigned int i = 0; i < records; ++i) {
        body.Put(26 + 25 * i, 2, channels[i]).Put(26 + 25 * i + 5, 1, levels[i]).Put(26 + 25 * i + 6, 4, 9);
    }
    return body;
}

// Up to 6 neighbours; RxLev raw 91 (-19.5 dBm) is above any GSM level.
TEST(MeasGSM, ReselectionMeasurements) {
    EXPECT_EQ(Text(Extracted(0x51FC, Reselection(3, 3).Body())),
              (Lines{"used measurement gsm v0", "gsm serving ch 20 RxLev -70.50",
                     "gsm neighbour ch 30 RxLev -90.50", "gsm neighbour ch 512 RxLev -110.50",
                     "gsm neighbour ch 975 RxLev -20.50"}));
    EXPECT_EQ(Text(Extracted(0x51FC, Reselection(6, 6).Body())).back(), "gsm neighbour ch 3 RxLev -107.50");
    EXPECT_EQ(Text(Extracted(0x51FC, Reselection(0, 0).Put(5, 1, 91).Body())),
              (Lines{"used measurement gsm v0 out of range 1", "gsm serving ch 20"}));
    EXPECT_EQ(Extracted(0x51FC, Reselection(7, 7).Body()).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x51FC, Reselection(2, 1).Body()).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x51FC, Reselection(0, 0).Resize(25).Body()).mStatus, MEAS_BAD_LENGTH);
}

// 0x5071: u8 count, 12-byte records of ARFCN and band, i16 Rx power (1/16 dBm), BSIC valid, BSIC (BCC in
// bits 0..2, NCC in 3..5), frame number and time offsets. -110.0 dBm (0xF920) is the value of every cell of
// the one published list; the third cell's 0 dBm and BSIC bits above 5 are out of range.
TEST(MeasGSM, SurroundCells) {
    const Bytes body =
        Hex("03 "
            "1000 20f9 01 21 00000000 0000 "
            "1f83 34fb 00 21 10000000 0100 "
            "0302 0000 01 40 00000000 0000");
    EXPECT_EQ(Text(Extracted(0x5071, body)),
              (Lines{"used measurement gsm v0 out of range 2", "gsm neighbour ch 16 cell 33 RxLev -110.00",
                     "gsm neighbour ch 799 RxLev -76.75", "gsm neighbour ch 515"}));
    EXPECT_EQ(Extracted(0x5071, Bytes(body.begin(), body.end() - 1)).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x5071, Hex("")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Text(Extracted(0x5071, Hex("00"))), Lines{"used measurement gsm v0"});
}

// 0x507A: the published serving level, 0xFB34 / 16 = -76.75 dBm; 0x507B: u8 count, then ARFCN and band,
// i16 Rx power.
TEST(MeasGSM, AuxiliaryMeasurements) {
    EXPECT_EQ(Text(Extracted(0x507A, Hex("34fb00"))),
              (Lines{"used measurement gsm v0", "gsm serving RxLev -76.75"}));
    EXPECT_EQ(Text(Extracted(0x507A, Hex("0ff800"))),
              (Lines{"used measurement gsm v0 out of range 1", "gsm serving"}));
    EXPECT_EQ(Extracted(0x507A, Hex("34")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Text(Extracted(0x507B, Hex("03 1080 40f8 1f83 c0fe 0100 b0fe"))),
              (Lines{"used measurement gsm v0", "gsm neighbour ch 16 RxLev -124.00",
                     "gsm neighbour ch 799 RxLev -20.00", "gsm neighbour ch 1 RxLev -21.00"}));
    EXPECT_EQ(Extracted(0x507B, Hex("03 1080 40f8 1f83 c0fe 0100 b0")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x507B, Hex("")).mStatus, MEAS_BAD_LENGTH);
}

}  // namespace
