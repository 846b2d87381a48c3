// WCDMA cell, neighbour and RRC state logs (0x4127, 0x4005, 0x4125). No real capture holds any of them, so
// the expected values are those the measurement facts page gives for its published packets (0x4127 and
// 0x4005 version 2); the other versions are built from readable fields at the offsets of the page's
// record tables.
#include <gtest/gtest.h>

#include <string>

#include "meas/MeasExtractor.h"
#include "tests/MeasPayloadBuilder.h"

namespace {

const char* const kCellId = "f1250000 a7290000 41852d08 0000 07 00 d018 020602 00030f 9d9c0000 01000000";

TEST(MeasWCDMA, CellIdPublishedPacket) {
    const sExtracted got = Extracted(0x4127, Hex(kCellId));
    ASSERT_EQ(got.mStatus, MEAS_OK);
    EXPECT_EQ(got->mKind, MEAS_KIND_SERVING_CELL);
    EXPECT_EQ(got->mTechnology, RADIO_WCDMA);
    EXPECT_EQ(got->mOutOfRange, 0u);
    const sCellInfo& info = got->mCellInfo;
    EXPECT_EQ(info.mFields, CELL_HAS_DL_CHANNEL | CELL_HAS_UL_CHANNEL | CELL_HAS_CELL | CELL_HAS_IDENTITY |
                                CELL_HAS_AREA | CELL_HAS_PLMN);
    EXPECT_EQ(info.mULChannel, 9713u);
    EXPECT_EQ(info.mDLChannel, 10663u);
    EXPECT_EQ(info.mIdentity, 0x082D8541u);
    // The PSC word 0x18D0 holds 397 above 4 low bits; taken whole it would be 6352, no scrambling code.
    EXPECT_EQ(info.mCell, 397);
    EXPECT_EQ(info.mMCC, 262);
    EXPECT_EQ(info.mMNC, 3);
    EXPECT_EQ(info.mMNCDigits, 2);
    EXPECT_EQ(info.mArea, 0x9C9Du);
}

TEST(MeasWCDMA, CellIdFieldsOutsideTheirRanges) {
    const struct {
        const char* mName;
        size_t mAt;
        const char* mBytes;
        uint32_t mMissing;
        unsigned int mOutOfRange;
        uint16_t mMNC;
        uint8_t mMNCDigits;
        uint16_t mPSC;
    } cases[] = {
        {"3-digit MNC 010", 21, "000100", 0, 0, 10, 3, 397},
        {"PSC 511", 16, "f01f", 0, 0, 3, 2, 511},
        {"PSC 512", 16, "0020", CELL_HAS_CELL, 1, 3, 2, 0},
        {"UC-Id of 29 bits", 8, "00000010", CELL_HAS_IDENTITY, 1, 3, 2, 397},
        {"LAC of 17 bits", 24, "00000100", CELL_HAS_AREA, 1, 3, 2, 397},
        {"MCC digit 10", 19, "0a", CELL_HAS_PLMN, 1, 0, 0, 397},
        {"MNC filler in the first digit", 21, "0f", CELL_HAS_PLMN, 1, 0, 0, 397},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body;
        const sExtracted got = Extracted(0x4127, body.PutHex(0, kCellId).PutHex(c.mAt, c.mBytes).Body());
        ASSERT_EQ(got.mStatus, MEAS_OK) << c.mName;
        EXPECT_EQ(got->mOutOfRange, c.mOutOfRange) << c.mName;
        EXPECT_EQ(got->mCellInfo.mFields & c.mMissing, 0u) << c.mName;
        EXPECT_EQ(got->mCellInfo.mMNC, c.mMNC) << c.mName;
        EXPECT_EQ(got->mCellInfo.mMNCDigits, c.mMNCDigits) << c.mName;
        EXPECT_EQ(got->mCellInfo.mCell, c.mPSC) << c.mName;
    }
    Bytes cut = Hex(kCellId);
    cut.pop_back();
    EXPECT_EQ(Extracted(0x4127, cut).mStatus, MEAS_BAD_LENGTH);
}

struct sWCDMACell {
    eRadioTechnology mTechnology;
    uint32_t mChannel;
    bool mHasCell;
    uint16_t mCell;
    double mRSCP;
    double mEcIo;
};

void ExpectCells(const sExtracted& got, const std::vector<sWCDMACell>& want, const std::string& what) {
    ASSERT_EQ(got.mStatus, MEAS_OK) << what;
    EXPECT_EQ(got->mKind, MEAS_KIND_MEASUREMENT) << what;
    ASSERT_EQ(got->mCellCount, want.size()) << what;
    for (size_t i = 0; i < want.size(); ++i) {
        const sMeasuredCell& cell = got->mCells[i];
        EXPECT_EQ(cell.mTechnology, want[i].mTechnology) << what << " cell " << i;
        EXPECT_FALSE(cell.mServing) << what << " cell " << i;
        EXPECT_TRUE(cell.mHasChannel) << what << " cell " << i;
        EXPECT_EQ(cell.mChannel, want[i].mChannel) << what << " cell " << i;
        EXPECT_EQ(cell.mHasCell, want[i].mHasCell) << what << " cell " << i;
        EXPECT_EQ(cell.mCell, want[i].mCell) << what << " cell " << i;
        EXPECT_TRUE(SameLevel(cell.mRSCP, want[i].mRSCP)) << what << " cell " << i;
        EXPECT_TRUE(SameLevel(cell.mEcIo, want[i].mEcIo)) << what << " cell " << i;
        EXPECT_TRUE(std::isnan(cell.mRxLev) && std::isnan(cell.mRSRP)) << what << " cell " << i;
    }
}

TEST(MeasWCDMA, ReselectionRankPublishedPacket) {
    const sExtracted got = Extracted(0x4005, Hex("8200 0000000000 "
                                                 "f1293200b6a5fff1f5ff000000000000 "
                                                 "f1293100b39effdedeff040000008000"));
    ExpectCells(got, {{RADIO_WCDMA, 10737, true, 50, -95, -7.5}, {RADIO_WCDMA, 10737, true, 49, -98, -17.0}},
                "version 2 published");
    EXPECT_EQ(got->mLogVersion, 2u);
    EXPECT_EQ(got->mTechnology, RADIO_WCDMA);
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

TEST(MeasWCDMA, ReselectionRankEveryVersion) {
    for (const sRankLayout& layout : kRankLayouts) {
        const std::string what = "version " + std::to_string(layout.mVersion);
        const sExtracted got = Extracted(0x4005, Rank(layout).Body());
        ExpectCells(got, {{RADIO_WCDMA, 10700, true, 300, -81, -10.5}, {RADIO_GSM, 871, true, 33, NA, NA}},
                    what);
        EXPECT_EQ(got->mLogVersion, layout.mVersion) << what;
        EXPECT_EQ(got->mOutOfRange, 0u) << what;
        Bytes cut = Rank(layout).Body();
        cut.pop_back();
        EXPECT_EQ(Extracted(0x4005, cut).mStatus, MEAS_BAD_LENGTH) << what;
        EXPECT_EQ(Extracted(0x4005, Rank(layout, 2, 1).Body()).mStatus, MEAS_BAD_LENGTH) << what;
        EXPECT_EQ(Extracted(0x4005, Rank(layout, 1, 2).Body()).mStatus, MEAS_BAD_LENGTH) << what;
    }
    // Version 3 (both top bits) has no layout; a body without its two count bytes is cut.
    EXPECT_EQ(Extracted(0x4005, Hex("c100 f1293200b6a5fff1f5ff")).mStatus, MEAS_UNSUPPORTED_VERSION);
    EXPECT_EQ(Extracted(0x4005, Hex("00")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x4005, Hex("")).mStatus, MEAS_BAD_LENGTH);
    const sExtracted none = Extracted(0x4005, Hex("0000"));
    EXPECT_EQ(none.mStatus, MEAS_OK);
    EXPECT_EQ(none->mCellCount, 0u);
}

// RSCP i8 - 21 inside -120..-25 dBm, Ec/Io i8 / 2 inside -24..0 dB, PSC up to 511, BSIC up to 63.
TEST(MeasWCDMA, ReselectionRankValuesOutsidePhysicalRanges) {
    const struct {
        int8_t mRSCP;
        int8_t mEcIo;
        uint16_t mPSC;
        uint16_t mBSIC;
        double mWantRSCP;
        double mWantEcIo;
        bool mHasPSC;
        bool mHasBSIC;
        unsigned int mOutOfRange;
    } cases[] = {
        {-99, -48, 511, 63, -120, -24, true, true, 0},
        {-100, -49, 512, 64, NA, NA, false, false, 4},
        {-4, 0, 0, 0, -25, 0, true, true, 0},
        {-3, 1, 0, 0, NA, NA, true, true, 2},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body = Rank(kRankLayouts[1]);
        body.Put(2 + 2, 2, c.mPSC).Put(2 + 4, 1, c.mRSCP).Put(2 + 7, 1, c.mEcIo).Put(2 + 11 + 2, 2, c.mBSIC);
        const sExtracted got = Extracted(0x4005, body.Body());
        ASSERT_EQ(got.mStatus, MEAS_OK);
        ASSERT_EQ(got->mCellCount, 2u);
        EXPECT_TRUE(SameLevel(got->mCells[0].mRSCP, c.mWantRSCP)) << int(c.mRSCP);
        EXPECT_TRUE(SameLevel(got->mCells[0].mEcIo, c.mWantEcIo)) << int(c.mEcIo);
        EXPECT_EQ(got->mCells[0].mHasCell, c.mHasPSC) << c.mPSC;
        EXPECT_EQ(got->mCells[1].mHasCell, c.mHasBSIC) << c.mBSIC;
        EXPECT_EQ(got->mOutOfRange, c.mOutOfRange) << int(c.mRSCP);
    }
}

TEST(MeasWCDMA, RRCState) {
    const struct {
        const char* mBody;
        eRRCState mState;
        const char* mName;
        unsigned int mOutOfRange;
    } cases[] = {
        {"00", RRC_STATE_IDLE, "DISCONNECTED", 0},
        {"01", RRC_STATE_CONNECTING, "CONNECTING", 0},
        {"02", RRC_STATE_CONNECTED, "CELL_FACH", 0},
        {"03", RRC_STATE_CONNECTED, "CELL_DCH", 0},
        {"04", RRC_STATE_CONNECTED, "CELL_PCH", 0},
        {"05", RRC_STATE_CONNECTED, "URA_PCH", 0},
        {"06", RRC_STATE_UNKNOWN, "", 1},
        {"03ff", RRC_STATE_CONNECTED, "CELL_DCH", 0},
    };
    for (const auto& c : cases) {
        const sExtracted got = Extracted(0x4125, Hex(c.mBody));
        ASSERT_EQ(got.mStatus, MEAS_OK) << c.mBody;
        EXPECT_EQ(got->mKind, MEAS_KIND_RRC_STATE) << c.mBody;
        ASSERT_EQ(got->mStateCount, 1u) << c.mBody;
        const sRRCStateChange& state = got->mStates[0];
        EXPECT_EQ(state.mTechnology, RADIO_WCDMA) << c.mBody;
        EXPECT_EQ(state.mState, c.mState) << c.mBody;
        EXPECT_STREQ(state.mName, c.mName) << c.mBody;
        EXPECT_EQ(state.mRaw, Hex(c.mBody)[0]) << c.mBody;
        EXPECT_EQ(state.mTimestamp, 0u) << c.mBody;
        EXPECT_EQ(got->mOutOfRange, c.mOutOfRange) << c.mBody;
    }
    EXPECT_EQ(Extracted(0x4125, Hex("")).mStatus, MEAS_BAD_LENGTH);
}

}  // namespace
