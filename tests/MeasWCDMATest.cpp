// WCDMA cell, neighbour and RRC state logs (0x4127, 0x4005, 0x4125). No capture holds any of them: expected
// values are those the facts page gives for its published packets (0x4127 and 0x4005 version 2); the other
// versions carry readable fields at the offsets of the page's record tables.
#include <gtest/gtest.h>

#include <string>

#include "tests/MeasTestSupport.h"

namespace {

const char* const kCellId = "f1250000 a7290000 41852d08 0000 07 00 d018 020602 00030f 9d9c0000 01000000";

// The published packet, then fields changed to the ends of their ranges and one past. The PSC word 0x18D0
// holds 397 above 4 low bits (taken whole it would be 6352, no scrambling code).
TEST(MeasWCDMA, CellIdPublishedPacketAndFieldRanges) {
    const struct {
        size_t mAt;
        const char* mBytes;
        const char* mHeader;
        const char* mInfo;
    } cases[] = {
        {0, "", "", "dl 10663 ul 9713 cell 397 id 0x82d8541 area 0x9c9d plmn 262-03"},
        {21, "000100", "", "dl 10663 ul 9713 cell 397 id 0x82d8541 area 0x9c9d plmn 262-010"},
        {16, "f01f", "", "dl 10663 ul 9713 cell 511 id 0x82d8541 area 0x9c9d plmn 262-03"},
        {16, "0020", " out of range 1", "dl 10663 ul 9713 id 0x82d8541 area 0x9c9d plmn 262-03"},
        {8, "00000010", " out of range 1", "dl 10663 ul 9713 cell 397 area 0x9c9d plmn 262-03"},
        {24, "00000100", " out of range 1", "dl 10663 ul 9713 cell 397 id 0x82d8541 plmn 262-03"},
        {19, "0a", " out of range 1", "dl 10663 ul 9713 cell 397 id 0x82d8541 area 0x9c9d"},
        {21, "0f", " out of range 1", "dl 10663 ul 9713 cell 397 id 0x82d8541 area 0x9c9d"},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body;
        EXPECT_EQ(Text(Extracted(0x4127, body.PutHex(0, kCellId).PutHex(c.mAt, c.mBytes).Body())),
                  (Lines{std::string("used serving cell wcdma v0") + c.mHeader, c.mInfo}));
    }
    Bytes cut = Hex(kCellId);
    cut.pop_back();
    EXPECT_EQ(Extracted(0x4127, cut).mStatus, MEAS_BAD_LENGTH);
}

TEST(MeasWCDMA, ReselectionRankPublishedPacket) {
    EXPECT_EQ(Text(Extracted(0x4005, Hex("8200 0000000000 "
                                         "f1293200b6a5fff1f5ff000000000000 "
                                         "f1293100b39effdedeff040000008000"))),
              (Lines{"used measurement wcdma v2", "wcdma neighbour ch 10737 cell 50 RSCP -95.00 EcIo -7.50",
                     "wcdma neighbour ch 10737 cell 49 RSCP -98.00 EcIo -17.00"}));
}

// One WCDMA and one GSM cell in each version's records: the WCDMA record's RSCP at C+4 and Ec/Io at C+7,
// the GSM record's ARFCN (band bits above) and BSIC.
struct sRankLayout {
    unsigned int mVersion;
    size_t mCellsAt, mWCDMASize, mGSMSize;
};
const sRankLayout kRankLayouts[] = {{0, 2, 10, 7}, {1, 2, 11, 8}, {2, 7, 16, 13}};

cPayloadBuilder Rank(const sRankLayout& layout, unsigned int wcdma = 1, unsigned int gsm = 1) {
    cPayloadBuilder body;
    body.Put(0, 1, layout.mVersion << 6 | wcdma).Put(1, 1, gsm);
    const size_t at = layout.mCellsAt;
    body.Put(at, 2, 10700).Put(at + 2, 2, 300).Put(at + 4, 1, -60).Put(at + 5, 2, -1).Put(at + 7, 1, -21);
    const size_t gsmAt = at + layout.mWCDMASize;
    body.Put(at + 8, 2, -1).Put(gsmAt, 2, 0x3000 | 871).Put(gsmAt + 2, 2, 33).Put(gsmAt + 4, 1, -70);
    return body.Put(gsmAt + 5, 2, -1).Resize(gsmAt + layout.mGSMSize);
}

// Each version's records; one byte short, or one cell more of either kind, fails the length check.
TEST(MeasWCDMA, ReselectionRankEveryVersion) {
    for (const sRankLayout& layout : kRankLayouts) {
        EXPECT_EQ(Text(Extracted(0x4005, Rank(layout).Body())),
                  (Lines{"used measurement wcdma v" + std::to_string(layout.mVersion),
                         "wcdma neighbour ch 10700 cell 300 RSCP -81.00 EcIo -10.50",
                         "gsm neighbour ch 871 cell 33"}));
        Bytes cut = Rank(layout).Body();
        cut.pop_back();
        EXPECT_EQ(Extracted(0x4005, cut).mStatus, MEAS_BAD_LENGTH) << layout.mVersion;
        EXPECT_EQ(Extracted(0x4005, Rank(layout, 2, 1).Body()).mStatus, MEAS_BAD_LENGTH) << layout.mVersion;
        EXPECT_EQ(Extracted(0x4005, Rank(layout, 1, 2).Body()).mStatus, MEAS_BAD_LENGTH) << layout.mVersion;
    }
    // Version 3 (both top bits) has no layout; a body without its two count bytes is cut.
    EXPECT_EQ(Extracted(0x4005, Hex("c100 f1293200b6a5fff1f5ff")).mStatus, MEAS_UNSUPPORTED_VERSION);
    EXPECT_EQ(Extracted(0x4005, Hex("00")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Text(Extracted(0x4005, Hex("0000"))), Lines{"used measurement wcdma v0"});
}

// RSCP i8 - 21 inside -120..-25 dBm, Ec/Io i8 / 2 inside -24..0 dB, PSC up to 511, BSIC up to 63.
TEST(MeasWCDMA, ReselectionRankValuesOutsidePhysicalRanges) {
    const struct {
        int8_t mRSCP, mEcIo;
        uint16_t mPSC, mBSIC;
        const char *mHeader, *mWCDMA, *mGSM;
    } cases[] = {
        {-99, -48, 511, 63, "", " cell 511 RSCP -120.00 EcIo -24.00", " cell 63"},
        {-100, -49, 512, 64, " out of range 4", "", ""},
        {-4, 0, 0, 0, "", " cell 0 RSCP -25.00 EcIo 0.00", " cell 0"},
        {-3, 1, 0, 0, " out of range 2", " cell 0", " cell 0"},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body = Rank(kRankLayouts[1]);
        body.Put(2 + 2, 2, c.mPSC).Put(2 + 4, 1, c.mRSCP).Put(2 + 7, 1, c.mEcIo).Put(2 + 11 + 2, 2, c.mBSIC);
        EXPECT_EQ(Text(Extracted(0x4005, body.Body())),
                  (Lines{std::string("used measurement wcdma v1") + c.mHeader,
                         std::string("wcdma neighbour ch 10700") + c.mWCDMA,
                         std::string("gsm neighbour ch 871") + c.mGSM}));
    }
}

// Each state value of the page's table, the first value past it, and a longer body.
TEST(MeasWCDMA, RRCState) {
    const struct {
        const char* mBody;
        const char* mState;
    } cases[] = {
        {"00", "DISCONNECTED raw 0 idle"},
        {"01", "CONNECTING raw 1 connecting"},
        {"02", "CELL_FACH raw 2 connected"},
        {"03", "CELL_DCH raw 3 connected"},
        {"04", "CELL_PCH raw 4 connected"},
        {"05", "URA_PCH raw 5 connected"},
        {"06", " raw 6 unknown"},
        {"03ff", "CELL_DCH raw 3 connected"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(
            Text(Extracted(0x4125, Hex(c.mBody))),
            (Lines{std::string("used rrc state wcdma v0") + (c.mState[0] == ' ' ? " out of range 1" : ""),
                   std::string("wcdma ") + c.mState}));
    }
    EXPECT_EQ(Extracted(0x4125, Hex("")).mStatus, MEAS_BAD_LENGTH);
}

}  // namespace
