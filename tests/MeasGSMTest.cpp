// GSM cell and measurement logs (0x5134, 0x5B34, 0x51FC, 0x5071, 0x507A, 0x507B). No real capture holds any
// of them, so the expected values are those the measurement facts page gives for its published packets
// (0x5134 and 0x507A); the others are built from readable fields at the offsets of the page's tables.
#include <gtest/gtest.h>

#include <string>

#include "meas/MeasExtractor.h"
#include "tests/MeasPayloadBuilder.h"

namespace {

const char* const kCellInfo = "1080 04 01 1876 62f220 0141 00 ff";

void ExpectPublishedCell(const sExtracted& got, const std::string& what) {
    ASSERT_EQ(got.mStatus, MEAS_OK) << what;
    EXPECT_EQ(got->mKind, MEAS_KIND_SERVING_CELL) << what;
    EXPECT_EQ(got->mTechnology, RADIO_GSM) << what;
    EXPECT_EQ(got->mOutOfRange, 0u) << what;
    const sCellInfo& info = got->mCellInfo;
    EXPECT_EQ(info.mFields,
              CELL_HAS_DL_CHANNEL | CELL_HAS_CELL | CELL_HAS_IDENTITY | CELL_HAS_AREA | CELL_HAS_PLMN)
        << what;
    EXPECT_EQ(info.mDLChannel, 16u) << what;
    // BSIC bytes 4, 1: read NCC first (the decoders disagree; the packet fits both), 4 * 8 + 1.
    EXPECT_EQ(info.mCell, 33) << what;
    EXPECT_EQ(info.mIdentity, 0x7618u) << what;
    EXPECT_EQ(info.mMCC, 262) << what;
    EXPECT_EQ(info.mMNC, 2) << what;
    EXPECT_EQ(info.mMNCDigits, 2) << what;
    EXPECT_EQ(info.mArea, 0x0141u) << what;
}

TEST(MeasGSM, CellInfoPublishedPacketAndItsDualSIMVariant) {
    ExpectPublishedCell(Extracted(0x5134, Hex(kCellInfo)), "0x5134 published");
    EXPECT_EQ(Extracted(0x5134, Hex(kCellInfo))->mSubscription, 0u);
    // The dual-SIM log's subscription byte: 0 is the first SIM, as in the signalling logs.
    const struct {
        const char* mByte;
        uint32_t mSubscription;
    } sims[] = {{"00", 1}, {"01", 1}, {"02", 2}};
    for (const auto& sim : sims) {
        const sExtracted got = Extracted(0x5B34, Hex(std::string(sim.mByte) + kCellInfo));
        ExpectPublishedCell(got, std::string("0x5B34 subscription byte ") + sim.mByte);
        EXPECT_EQ(got->mSubscription, sim.mSubscription) << sim.mByte;
    }
    // In the multi-SIM wrapper, the subscription kept.
    const sExtracted wrapped = Extracted(Wrapped(2, LogPacket(0x5134, Hex(kCellInfo))));
    ExpectPublishedCell(wrapped, "0x5134 for SIM 2");
    EXPECT_EQ(wrapped->mSubscription, 2u);
    // One byte short, in each.
    EXPECT_EQ(Extracted(0x5134, Hex("1080 04 01 1876 62f220 0141 00")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x5B34, Hex(kCellInfo)).mStatus, MEAS_BAD_LENGTH);
}

// The location area identity as the air carries it: MCC digits 2|1, MNC digit 3|MCC digit 3, MNC digits
// 2|1; the LAC big-endian.
TEST(MeasGSM, CellInfoLocationAreaAndBSIC) {
    const struct {
        const char* mName;
        const char* mLAI;   // 5 bytes at B+6
        const char* mBSIC;  // 2 bytes at B+2
        bool mHasPLMN;
        uint16_t mMCC, mMNC;
        uint8_t mDigits;
        uint32_t mLAC;
        bool mHasBSIC;
        uint16_t mBSICValue;
    } cases[] = {
        {"310-026, LAC 0x1234", "136020 1234", "0701", true, 310, 26, 3, 0x1234, true, 57},
        {"001-01, LAC 0xFFFE", "00f110 fffe", "0707", true, 1, 1, 2, 0xFFFE, true, 63},
        {"MCC digit 10", "6af220 0141", "0401", false, 0, 0, 0, 0x0141, true, 33},
        {"MNC digit 15 but the third", "62f2f0 0141", "0000", false, 0, 0, 0, 0x0141, true, 0},
        {"NCC 8", "62f220 0141", "0800", true, 262, 2, 2, 0x0141, false, 0},
        {"BCC 8", "62f220 0141", "0008", true, 262, 2, 2, 0x0141, false, 0},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body;
        body.PutHex(0, kCellInfo).PutHex(2, c.mBSIC).PutHex(6, c.mLAI);
        const sExtracted got = Extracted(0x5134, body.Body());
        ASSERT_EQ(got.mStatus, MEAS_OK) << c.mName;
        const sCellInfo& info = got->mCellInfo;
        EXPECT_EQ((info.mFields & CELL_HAS_PLMN) != 0, c.mHasPLMN) << c.mName;
        EXPECT_EQ(info.mMCC, c.mMCC) << c.mName;
        EXPECT_EQ(info.mMNC, c.mMNC) << c.mName;
        EXPECT_EQ(info.mMNCDigits, c.mDigits) << c.mName;
        EXPECT_EQ(info.mArea, c.mLAC) << c.mName;
        EXPECT_EQ((info.mFields & CELL_HAS_CELL) != 0, c.mHasBSIC) << c.mName;
        EXPECT_EQ(info.mCell, c.mBSICValue) << c.mName;
        EXPECT_EQ(got->mOutOfRange, (c.mHasPLMN ? 0u : 1u) + (c.mHasBSIC ? 0u : 1u)) << c.mName;
    }
}

struct sGSMCell {
    bool mServing;
    bool mHasChannel;
    uint32_t mChannel;
    bool mHasBSIC;
    uint16_t mBSIC;
    double mRxLev;
};

void ExpectCells(const sExtracted& got, const std::vector<sGSMCell>& want, const std::string& what) {
    ASSERT_EQ(got.mStatus, MEAS_OK) << what;
    EXPECT_EQ(got->mKind, MEAS_KIND_MEASUREMENT) << what;
    EXPECT_EQ(got->mTechnology, RADIO_GSM) << what;
    ASSERT_EQ(got->mCellCount, want.size()) << what;
    for (size_t i = 0; i < want.size(); ++i) {
        const sMeasuredCell& cell = got->mCells[i];
        EXPECT_EQ(cell.mTechnology, RADIO_GSM) << what << " cell " << i;
        EXPECT_EQ(cell.mServing, want[i].mServing) << what << " cell " << i;
        EXPECT_EQ(cell.mHasChannel, want[i].mHasChannel) << what << " cell " << i;
        EXPECT_EQ(cell.mChannel, want[i].mChannel) << what << " cell " << i;
        EXPECT_EQ(cell.mHasCell, want[i].mHasBSIC) << what << " cell " << i;
        EXPECT_EQ(cell.mCell, want[i].mBSIC) << what << " cell " << i;
        EXPECT_TRUE(SameLevel(cell.mRxLev, want[i].mRxLev)) << what << " cell " << i;
        EXPECT_TRUE(std::isnan(cell.mRSCP) && std::isnan(cell.mRSRP)) << what << " cell " << i;
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

TEST(MeasGSM, ReselectionMeasurements) {
    ExpectCells(Extracted(0x51FC, Reselection(3, 3).Body()),
                {{true, true, 20, false, 0, -70.5},
                 {false, true, 30, false, 0, -90.5},
                 {false, true, 512, false, 0, -110.5},
                 {false, true, 975, false, 0, -20.5}},
                "serving and 3 neighbours");
    const sExtracted six = Extracted(0x51FC, Reselection(6, 6).Body());
    EXPECT_EQ(six.mStatus, MEAS_OK);
    EXPECT_EQ(six->mCellCount, 7u);
    EXPECT_EQ(six->mCells[6].mChannel, 3u);
    // RxLev raw 91 is -19.5 dBm, above any GSM level.
    const sExtracted high = Extracted(0x51FC, Reselection(0, 0).Put(5, 1, 91).Body());
    ExpectCells(high, {{true, true, 20, false, 0, NA}}, "RxLev raw 91");
    EXPECT_EQ(high->mOutOfRange, 1u);

    EXPECT_EQ(Extracted(0x51FC, Reselection(7, 7).Body()).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x51FC, Reselection(2, 1).Body()).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x51FC, Reselection(0, 0).Resize(25).Body()).mStatus, MEAS_BAD_LENGTH);
}

// 0x5071: u8 count, 12-byte records of ARFCN and band, i16 Rx power (1/16 dBm), BSIC valid, BSIC (BCC in
// bits 0..2, NCC in 3..5), frame number and time offsets. -110.0 dBm (0xF920) is the value of every cell of
// the one published list.
TEST(MeasGSM, SurroundCells) {
    const Bytes body =
        Hex("03 "
            "1000 20f9 01 21 00000000 0000 "
            "1f83 34fb 00 21 10000000 0100 "
            "0302 0000 01 40 00000000 0000");
    const sExtracted got = Extracted(0x5071, body);
    ExpectCells(got,
                {{false, true, 16, true, 33, -110.0},
                 {false, true, 799, false, 0, -76.75},
                 {false, true, 515, false, 0, NA}},
                "BA list");
    // The third cell: 0 dBm and BSIC bits above 5, both out of range.
    EXPECT_EQ(got->mOutOfRange, 2u);
    const Bytes cut(body.begin(), body.end() - 1);
    EXPECT_EQ(Extracted(0x5071, cut).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x5071, Hex("")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x5071, Hex("00"))->mCellCount, 0u);
}

// 0x507A: the published serving level, 0xFB34 / 16 = -76.75 dBm; 0x507B: u8 count, then ARFCN and band,
// i16 Rx power.
TEST(MeasGSM, AuxiliaryMeasurements) {
    const sExtracted serving = Extracted(0x507A, Hex("34fb00"));
    ExpectCells(serving, {{true, false, 0, false, 0, -76.75}}, "0x507A published");
    const sExtracted low = Extracted(0x507A, Hex("0ff800"));
    ExpectCells(low, {{true, false, 0, false, 0, NA}}, "0x507A at -127.06 dBm");
    EXPECT_EQ(low->mOutOfRange, 1u);
    EXPECT_EQ(Extracted(0x507A, Hex("34")).mStatus, MEAS_BAD_LENGTH);

    const sExtracted neighbours = Extracted(0x507B, Hex("03 1080 40f8 1f83 c0fe 0100 b0fe"));
    ExpectCells(neighbours,
                {{false, true, 16, false, 0, -124.0},
                 {false, true, 799, false, 0, -20.0},
                 {false, true, 1, false, 0, -21.0}},
                "0x507B");
    EXPECT_EQ(Extracted(0x507B, Hex("03 1080 40f8 1f83 c0fe 0100 b0")).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0x507B, Hex("")).mStatus, MEAS_BAD_LENGTH);
}

}  // namespace
