// NR measurement and cell logs (0xB97F, 0xB975, 0xB822, 0xB823). No real capture holds any of them (the
// dual-SIM 5G captures carry NR only as RRC messages), so the expected values are those the measurement
// facts page gives for its published packets (0xB97F 2.7, 0xB822 0.3, 0xB823 0.4). The other versions are
// built from the same fields at the offsets of the page's layout tables, so that each must give the same
// values; levels of hand-built fields are chosen to be exact in 1/128 steps.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meas/MeasExtractor.h"
#include "tests/MeasPayloadBuilder.h"

namespace {

// The published 0xB97F 2.7 packet in its pieces. Cell 1's beam record is not printed on the page (168
// bytes in all); it is zero here.
const char* const kHeader27 = "07000200 01 14 0000 84010000 f9ffffff";
const char* const kLayer2x = "de930600 0200 dc03 03000000 ccc7ffff e8c7ffff ffffffff ffff0000 ffffffff";
const char* const kCell0 = "dc03a002 01000000 2fcaffff f7f9ffff";
const char* const kBeam0 =
    "0300 0000 0000 0000 00000000 c722c408ce994803 5bcaffff 46c6ffff 49caffff fcf9ffff 00000000 00000000";
const char* const kCell1 = "db030e00 01000000 08c8ffff c9f8ffff";
const std::string kBeam1(2 * 44, '0');
// 2.10 and 3.0 beams are 84 bytes: the 44-byte beam's fields moved apart, here its bytes then 40 bytes
// that read as an impossible cell (PCI 0x1111) if the stride were wrong.
const std::string kBeamPad(2 * 40, '1');
// The 2.9, 2.10 and 3.0 header: an added unknown word after the version, then the 2.7 header.
const char* const kHeaderRest = "00000000 01 14 0000 84010000 f9ffffff";
// The 3.0 layer record (40 bytes) with the same values: NR-ARFCN, CC 0, 2 cells, serving PCI 988,
// serving index 0, SSB 3, RSRP Rx0..3, Rx beams, RFIC and subarrays N/A.
const char* const kLayer30 =
    "de930600 00 02 dc03 00 03 0000 ccc7ffff e8c7ffff 00000000 00000000 ffff ffff ffff 0000 ffff ffff";

std::string Cells(const std::string& beamPad) {
    return std::string(kCell0) + kBeam0 + beamPad + kCell1 + kBeam1 + beamPad;
}

// kLayer2x with the bytes L+4, L+5 (count, serving index in 2.7) replaced.
std::string Layer2x(const char* countBytes) {
    std::string layer = kLayer2x;
    return layer.replace(layer.find("0200"), 4, countBytes);
}

struct sNRCell {
    uint16_t mPCI;
    bool mServing;
    uint32_t mChannel;
    double mRSRP;
    double mRSRQ;
};

// The page's decoding of the published packet: cell 0 is the serving cell (PCI 988 = the layer's
// serving PCI).
const sNRCell kPublishedCells[] = {
    {988, true, 431070, -107.63, -12.07},
    {987, false, 431070, -111.94, -14.43},
};

void ExpectCells(const sExtracted& got, const std::vector<sNRCell>& want, const std::string& what) {
    ASSERT_EQ(got.mStatus, MEAS_OK) << what;
    EXPECT_EQ(got->mKind, MEAS_KIND_MEASUREMENT) << what;
    EXPECT_EQ(got->mTechnology, RADIO_NR) << what;
    EXPECT_EQ(got->mOutOfRange, 0u) << what;
    ASSERT_EQ(got->mCellCount, want.size()) << what;
    for (size_t i = 0; i < want.size(); ++i) {
        const sMeasuredCell& cell = got->mCells[i];
        EXPECT_EQ(cell.mTechnology, RADIO_NR) << what << " cell " << i;
        EXPECT_TRUE(cell.mHasCell && cell.mHasChannel) << what << " cell " << i;
        EXPECT_EQ(cell.mCell, want[i].mPCI) << what << " cell " << i;
        EXPECT_EQ(cell.mServing, want[i].mServing) << what << " cell " << i;
        EXPECT_EQ(cell.mChannel, want[i].mChannel) << what << " cell " << i;
        EXPECT_TRUE(SameLevel(cell.mRSRP, want[i].mRSRP)) << what << " cell " << i;
        EXPECT_TRUE(SameLevel(cell.mRSRQ, want[i].mRSRQ)) << what << " cell " << i;
        EXPECT_TRUE(std::isnan(cell.mRSSI) && std::isnan(cell.mRSCP) && std::isnan(cell.mRxLev));
    }
}

// One row per version: the published packet, or the same values laid out as the version's table says.
struct sSearcherRow {
    const char* mName;
    uint32_t mVersion;
    std::string mBody;
};

std::vector<sSearcherRow> SearcherRows() {
    return {
        {"2.6 (no offset words, layer at B+8)", 0x00020006,
         std::string("06000200 01 14 0000") + kLayer2x + Cells("")},
        {"2.7 published", 0x00020007, std::string(kHeader27) + kLayer2x + Cells("")},
        {"2.9 in the 2.7 order", 0x00020009, "09000200" + std::string(kHeaderRest) + kLayer2x + Cells("")},
        {"2.9 serving index 0 first", 0x00020009,
         "09000200" + std::string(kHeaderRest) + Layer2x("0002") + Cells("")},
        {"2.9 no serving index first", 0x00020009,
         "09000200" + std::string(kHeaderRest) + Layer2x("ff02") + Cells("")},
        {"2.10 serving index first, 84-byte beams", 0x0002000A,
         "0a000200" + std::string(kHeaderRest) + Layer2x("0002") + Cells(kBeamPad)},
        {"3.0 40-byte layer, 84-byte beams", 0x00030000,
         "00000300" + std::string(kHeaderRest) + kLayer30 + Cells(kBeamPad)},
    };
}

TEST(MeasNR, SearcherEveryVersionGivesThePublishedCells) {
    const std::vector<sNRCell> want(std::begin(kPublishedCells), std::end(kPublishedCells));
    for (const sSearcherRow& row : SearcherRows()) {
        const Bytes body = Hex(row.mBody);
        const sExtracted got = Extracted(0xB97F, body);
        ExpectCells(got, want, row.mName);
        EXPECT_EQ(got->mLogVersion, row.mVersion) << row.mName;
        EXPECT_EQ(got->mLogCode, 0xB97F) << row.mName;
        // The last beam ends the body: one byte less cuts it.
        const Bytes cut(body.begin(), body.end() - 1);
        EXPECT_EQ(Extracted(0xB97F, cut).mStatus, MEAS_BAD_LENGTH) << row.mName;
    }
    // The published packet's total length, as the page checks it.
    EXPECT_EQ(Hex(SearcherRows()[1].mBody).size(), 168u);
}

// 2.10 published packets with the serving index first and a count the 2.7 order would misread.
TEST(MeasNR, SearcherServingIndexFirstWithOneCell) {
    const std::string oneCell = std::string(kCell0) + kBeam0 + kBeamPad;
    const sExtracted got =
        Extracted(0xB97F, Hex("0a000200" + std::string(kHeaderRest) + Layer2x("0001") + oneCell));
    ExpectCells(got, {kPublishedCells[0]}, "2.10 00 01");
}

// The swapped order's count goes up to 254; with 255 the bytes read in the 2.7 order (L+4 0: no cell).
TEST(MeasNR, SearcherSwappedOrderCountEnds) {
    for (const unsigned int count : {254u, 255u}) {
        cPayloadBuilder body;
        body.Put(0, 4, 0x00020009).Put(8, 1, 1).Put(20, 4, 431070).Put(25, 1, count).Put(26, 2, 0xFFFF);
        const sExtracted got = Extracted(0xB97F, body.Resize(20 + 32 + 16 * 254).Body());
        ASSERT_EQ(got.mStatus, MEAS_OK) << count;
        EXPECT_EQ(got->mCellCount, count == 254 ? 254u : 0u) << count;
    }
}

TEST(MeasNR, SearcherVersionsPastEachEndAreRefused) {
    const std::string rest = std::string(kHeaderRest) + kLayer2x + Cells("");
    for (const char* version : {"05000200", "08000200", "0b000200", "01000300", "07000100", "00000400"}) {
        const sExtracted got = Extracted(0xB97F, Hex(version + rest));
        EXPECT_EQ(got.mStatus, MEAS_UNSUPPORTED_VERSION) << version;
        EXPECT_EQ(got->mCellCount, 0u) << version;
    }
    for (const char* body : {"", "070002"}) {
        EXPECT_EQ(Extracted(0xB97F, Hex(body)).mStatus, MEAS_BAD_LENGTH) << body;
    }
}

// 3.0 from readable fields: two layers, the second with a serving cell measured on two beams.
cPayloadBuilder Searcher30(std::initializer_list<uint8_t> cellsPerLayer, uint8_t beams = 0) {
    cPayloadBuilder body;
    body.Put(0, 4, 0x00030000).Put(8, 1, static_cast<int64_t>(cellsPerLayer.size()));
    size_t at = 20;
    uint32_t channel = 431070;
    for (uint8_t cells : cellsPerLayer) {
        body.Put(at, 4, channel).Put(at + 5, 1, cells).Put(at + 6, 2, 669);
        at += 40;
        for (uint8_t c = 0; c < cells; ++c) {
            body.Put(at, 2, 669 + c).Put(at + 4, 1, beams).Put(at + 8, 4, -12800).Put(at + 12, 4, -1344);
            at += 16 + 84 * beams;
        }
        channel = 641760;
    }
    return body.Resize(at);
}

TEST(MeasNR, SearcherLayersGiveTheirChannelsAndServingCells) {
    const sExtracted got = Extracted(0xB97F, Searcher30({1, 2}, 2).Body());
    ExpectCells(got,
                {{669, true, 431070, -100.0, -10.5},
                 {669, true, 641760, -100.0, -10.5},
                 {670, false, 641760, -100.0, -10.5}},
                "two layers");
}

TEST(MeasNR, SearcherCountsBeyondThePayloadAreRefused) {
    const Bytes good = Searcher30({1, 2}, 2).Body();
    const struct {
        const char* mName;
        size_t mAt;
        int64_t mValue;
    } cases[] = {
        {"three layers", 8, 3},
        {"three cells in the last layer", 20 + 40 + 16 + 168 + 5, 3},
        {"three beams on the last cell", good.size() - 168 - 16 + 4, 3},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body = Searcher30({1, 2}, 2);
        EXPECT_EQ(Extracted(0xB97F, body.Put(c.mAt, 1, c.mValue).Body()).mStatus, MEAS_BAD_LENGTH) << c.mName;
    }
    // A layer record cut short, with no cells to read.
    cPayloadBuilder layerOnly;
    layerOnly.Put(0, 4, 0x00030000).Put(8, 1, 1).Resize(20 + 39);
    EXPECT_EQ(Extracted(0xB97F, layerOnly.Body()).mStatus, MEAS_BAD_LENGTH);
}

TEST(MeasNR, SearcherCellsPastTheRecordAreCounted) {
    const sExtracted got = Extracted(0xB97F, Searcher30({200, 100}).Body());
    ASSERT_EQ(got.mStatus, MEAS_OK);
    EXPECT_EQ(got->mCellCount, kMeasMaxCells);
    EXPECT_EQ(got->mCellsDropped, 300 - kMeasMaxCells);
    EXPECT_EQ(got->mCells[kMeasMaxCells - 1].mChannel, 641760u);
}

// Ends of the physical ranges in 1/128 steps: inside is kept, one step outside left out and counted, and
// 0 is "not measured" (not counted).
TEST(MeasNR, SearcherValuesOutsidePhysicalRanges) {
    const struct {
        uint16_t mPCI;
        int32_t mRSRP;
        int32_t mRSRQ;
        bool mHasPCI;
        double mWantRSRP;
        double mWantRSRQ;
        unsigned int mOutOfRange;
    } cases[] = {
        {1007, -19968, -5504, true, -156.0, -43.0, 0},
        {1008, -19969, -5505, false, NA, NA, 3},
        {0, -3968, 2560, true, -31.0, 20.0, 0},
        {0, -3967, 2561, true, NA, NA, 2},
        {0, 0, 0, true, NA, NA, 0},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body = Searcher30({1});
        body.Put(60, 2, c.mPCI).Put(68, 4, c.mRSRP).Put(72, 4, c.mRSRQ);
        const sExtracted got = Extracted(0xB97F, body.Body());
        ASSERT_EQ(got.mStatus, MEAS_OK) << c.mPCI;
        ASSERT_EQ(got->mCellCount, 1u);
        const sMeasuredCell& cell = got->mCells[0];
        EXPECT_EQ(cell.mHasCell, c.mHasPCI) << c.mRSRP;
        EXPECT_TRUE(SameLevel(cell.mRSRP, c.mWantRSRP)) << c.mRSRP;
        EXPECT_TRUE(SameLevel(cell.mRSRQ, c.mWantRSRQ)) << c.mRSRQ;
        EXPECT_EQ(got->mOutOfRange, c.mOutOfRange) << c.mRSRP;
    }
}

// 0xB975 2.1: PCI, filtered RSRP and RSRQ, two beams of 16 bytes from B+40.
cPayloadBuilder ServingBeams(uint8_t beams, int32_t rsrp = -12800) {
    cPayloadBuilder body(40 + 16 * 2);
    return body.Put(0, 4, 0x00020001)
        .Put(4, 2, 500)
        .Put(8, 1, 20)
        .Put(9, 1, 3)
        .Put(12, 4, rsrp)
        .Put(16, 4, -1344)
        .Put(36, 1, beams)
        .Put(40, 2, 3)
        .Put(44, 4, -12928)
        .Put(56, 2, 4)
        .Put(60, 4, -13056);
}

TEST(MeasNR, ServingBeams) {
    const sExtracted got = Extracted(0xB975, ServingBeams(2).Body());
    ASSERT_EQ(got.mStatus, MEAS_OK);
    EXPECT_EQ(got->mLogVersion, 0x00020001u);
    EXPECT_EQ(got->mKind, MEAS_KIND_MEASUREMENT);
    ASSERT_EQ(got->mCellCount, 1u);
    const sMeasuredCell& cell = got->mCells[0];
    EXPECT_TRUE(cell.mServing && cell.mHasCell && !cell.mHasChannel);
    EXPECT_EQ(cell.mCell, 500);
    EXPECT_TRUE(SameLevel(cell.mRSRP, -100.0));
    EXPECT_TRUE(SameLevel(cell.mRSRQ, -10.5));

    EXPECT_TRUE(SameLevel(Extracted(0xB975, ServingBeams(2, 0).Body())->mCells[0].mRSRP, NA));
    EXPECT_EQ(Extracted(0xB975, ServingBeams(3).Body()).mStatus, MEAS_BAD_LENGTH);
    Bytes cut = ServingBeams(2).Body();
    cut.pop_back();
    EXPECT_EQ(Extracted(0xB975, cut).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0xB975, ServingBeams(0).Resize(40).Body()).mStatus, MEAS_OK);
    EXPECT_EQ(Extracted(0xB975, ServingBeams(0).Resize(39).Body()).mStatus, MEAS_BAD_LENGTH);
    for (uint32_t version : {0x00020000u, 0x00020002u}) {
        EXPECT_EQ(Extracted(0xB975, ServingBeams(2).Put(0, 4, version).Body()).mStatus,
                  MEAS_UNSUPPORTED_VERSION);
    }
}

// 0xB822: the published 0.3 packet, and 2.0 with its 5-byte SFN field.
TEST(MeasNR, MIB) {
    const struct {
        const char* mName;
        const char* mBody;
        eMeasStatus mStatus;
        uint32_t mVersion;
        uint16_t mPCI;
        uint32_t mChannel;
    } cases[] = {
        {"0.3 published", "03000000 5001 c0ac0500 9a00003f", MEAS_OK, 0x00000003, 336, 371904},
        {"2.0", "00000200 5001 c0ac0500 9a00000080", MEAS_OK, 0x00020000, 336, 371904},
        {"0.3 cut", "03000000 5001 c0ac0500 9a0000", MEAS_BAD_LENGTH, 0x00000003, 0, 0},
        {"2.0 cut", "00000200 5001 c0ac0500 9a000000", MEAS_BAD_LENGTH, 0x00020000, 0, 0},
        {"0.2", "02000000 5001 c0ac0500 9a00003f", MEAS_UNSUPPORTED_VERSION, 0x00000002, 0, 0},
        {"0.4", "04000000 5001 c0ac0500 9a00003f", MEAS_UNSUPPORTED_VERSION, 0x00000004, 0, 0},
        {"2.1", "01000200 5001 c0ac0500 9a00000080", MEAS_UNSUPPORTED_VERSION, 0x00020001, 0, 0},
        {"1.0", "00000100 5001 c0ac0500 9a00000080", MEAS_UNSUPPORTED_VERSION, 0x00010000, 0, 0},
    };
    for (const auto& c : cases) {
        const sExtracted got = Extracted(0xB822, Hex(c.mBody));
        ASSERT_EQ(got.mStatus, c.mStatus) << c.mName;
        EXPECT_EQ(got->mLogVersion, c.mVersion) << c.mName;
        if (c.mStatus == MEAS_OK) {
            EXPECT_EQ(got->mKind, MEAS_KIND_MIB) << c.mName;
            EXPECT_EQ(got->mTechnology, RADIO_NR) << c.mName;
            EXPECT_EQ(got->mCellInfo.mFields, CELL_HAS_CELL | CELL_HAS_DL_CHANNEL) << c.mName;
            EXPECT_EQ(got->mCellInfo.mCell, c.mPCI) << c.mName;
            EXPECT_EQ(got->mCellInfo.mDLChannel, c.mChannel) << c.mName;
        }
    }
}

// 0xB823 fields at each version's offsets, from the page's table.
struct sServingCellOffsets {
    uint32_t mVersion;
    size_t mPCI, mCGI, mDL, mUL, mDLBandwidth, mULBandwidth, mNCI, mMCC, mMNCDigits, mMNC, mAccess, mTAC,
        mBand, mSize;
};
const sServingCellOffsets kServingCellOffsets[] = {
    {0x00000004, 4, 0, 6, 10, 14, 16, 18, 26, 28, 29, 31, 32, 36, 38},
    {0x00030000, 4, 6, 14, 18, 22, 24, 26, 34, 36, 37, 39, 40, 44, 46},
    {0x00030002, 7, 9, 17, 21, 25, 27, 29, 37, 39, 40, 42, 43, 47, 49},
    {0x00030003, 7, 9, 17, 21, 25, 27, 29, 37, 39, 40, 42, 43, 47, 49},
};

// The published 0.4 packet's values at the offsets of `layout`; the NR-CGI (absent in 0.4) and the 3.2
// prefix bytes hold all-ones so that a field read at a wrong offset shows.
cPayloadBuilder ServingCell(const sServingCellOffsets& layout) {
    cPayloadBuilder body(layout.mSize);
    if (layout.mPCI == 7) {
        body.Put(4, 3, -1);
    }
    if (layout.mCGI != 0) {
        body.Put(layout.mCGI, 8, -1);
    }
    return body.Put(0, 4, layout.mVersion)
        .Put(layout.mPCI, 2, 669)
        .Put(layout.mDL, 4, 641760)
        .Put(layout.mUL, 4, 640726)
        .Put(layout.mDLBandwidth, 2, 90)
        .Put(layout.mULBandwidth, 2, 90)
        .Put(layout.mNCI, 8, 0x04F27D1200)
        .Put(layout.mMCC, 2, 262)
        .Put(layout.mMNCDigits, 1, 2)
        .Put(layout.mMNC, 2, 1)
        .Put(layout.mAccess, 1, 1)
        .Put(layout.mTAC, 4, 0x7929)
        .Put(layout.mBand, 2, 78);
}

void ExpectPublishedServingCell(const sExtracted& got, const std::string& what) {
    ASSERT_EQ(got.mStatus, MEAS_OK) << what;
    EXPECT_EQ(got->mKind, MEAS_KIND_SERVING_CELL) << what;
    EXPECT_EQ(got->mTechnology, RADIO_NR) << what;
    EXPECT_EQ(got->mOutOfRange, 0u) << what;
    const sCellInfo& info = got->mCellInfo;
    EXPECT_EQ(info.mFields, CELL_HAS_DL_CHANNEL | CELL_HAS_UL_CHANNEL | CELL_HAS_CELL | CELL_HAS_IDENTITY |
                                CELL_HAS_AREA | CELL_HAS_PLMN | CELL_HAS_BAND | CELL_HAS_DL_BANDWIDTH |
                                CELL_HAS_UL_BANDWIDTH)
        << what;
    EXPECT_EQ(info.mCell, 669) << what;
    EXPECT_EQ(info.mDLChannel, 641760u) << what;
    EXPECT_EQ(info.mULChannel, 640726u) << what;
    EXPECT_EQ(info.mDLBandwidthMHz, 90.0) << what;
    EXPECT_EQ(info.mULBandwidthMHz, 90.0) << what;
    EXPECT_EQ(info.mIdentity, 0x04F27D1200u) << what;
    EXPECT_EQ(info.mMCC, 262) << what;
    EXPECT_EQ(info.mMNC, 1) << what;
    EXPECT_EQ(info.mMNCDigits, 2) << what;
    EXPECT_EQ(info.mArea, 0x7929u) << what;
    EXPECT_EQ(info.mBand, 78) << what;
}

TEST(MeasNR, ServingCellInfoEveryVersion) {
    // The published 0.4 packet is the first row's body.
    EXPECT_EQ(Hex("04000000 9d02 e0ca0900 d6c60900 5a00 5a00 00127df204000000 0601 02 0100 01 29790000 4e00"),
              ServingCell(kServingCellOffsets[0]).Body());
    for (const sServingCellOffsets& layout : kServingCellOffsets) {
        const std::string what = "version " + std::to_string(layout.mVersion >> 16) + "." +
                                 std::to_string(layout.mVersion & 0xFFFF);
        const sExtracted got = Extracted(0xB823, ServingCell(layout).Body());
        ExpectPublishedServingCell(got, what);
        EXPECT_EQ(got->mLogVersion, layout.mVersion) << what;
        EXPECT_EQ(Extracted(0xB823, ServingCell(layout).Resize(layout.mSize - 1).Body()).mStatus,
                  MEAS_BAD_LENGTH)
            << what;
    }
    for (uint32_t version : {0x00000003u, 0x00000005u, 0x00030001u, 0x00030004u, 0x00020000u}) {
        cPayloadBuilder body = ServingCell(kServingCellOffsets[3]);
        EXPECT_EQ(Extracted(0xB823, body.Put(0, 4, version).Body()).mStatus, MEAS_UNSUPPORTED_VERSION)
            << version;
    }
}

TEST(MeasNR, ServingCellInfoValuesOutsideTheirRanges) {
    const sServingCellOffsets& v04 = kServingCellOffsets[0];
    const struct {
        const char* mName;
        size_t mAt;
        unsigned int mWidth;
        int64_t mValue;
        uint32_t mMissing;  // CELL_HAS_* bit left clear
    } cases[] = {
        {"PCI 1008", v04.mPCI, 2, 1008, CELL_HAS_CELL},
        {"NCI of 37 bits", v04.mNCI, 8, int64_t(1) << 36, CELL_HAS_IDENTITY},
        {"TAC of 25 bits", v04.mTAC, 4, 1 << 24, CELL_HAS_AREA},
        {"MCC 1000", v04.mMCC, 2, 1000, CELL_HAS_PLMN},
        {"4 MNC digits", v04.mMNCDigits, 1, 4, CELL_HAS_PLMN},
        {"MNC 100 of 2 digits", v04.mMNC, 2, 100, CELL_HAS_PLMN},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body = ServingCell(v04);
        const sExtracted got = Extracted(0xB823, body.Put(c.mAt, c.mWidth, c.mValue).Body());
        ASSERT_EQ(got.mStatus, MEAS_OK) << c.mName;
        EXPECT_EQ(got->mOutOfRange, 1u) << c.mName;
        EXPECT_EQ(got->mCellInfo.mFields & c.mMissing, 0u) << c.mName;
        EXPECT_NE(got->mCellInfo.mFields & CELL_HAS_DL_CHANNEL, 0u) << c.mName;
    }
    // The largest of each is kept; a 3-digit MNC keeps its leading zero by its digit count.
    cPayloadBuilder body = ServingCell(v04);
    body.Put(v04.mPCI, 2, 1007).Put(v04.mNCI, 8, (int64_t(1) << 36) - 1).Put(v04.mTAC, 4, (1 << 24) - 1);
    const sExtracted got = Extracted(0xB823, body.Put(v04.mMNCDigits, 1, 3).Put(v04.mMNC, 2, 10).Body());
    EXPECT_EQ(got->mOutOfRange, 0u);
    EXPECT_EQ(got->mCellInfo.mCell, 1007);
    EXPECT_EQ(got->mCellInfo.mIdentity, 0xFFFFFFFFFu);
    EXPECT_EQ(got->mCellInfo.mArea, 0xFFFFFFu);
    EXPECT_EQ(got->mCellInfo.mMNC, 10);
    EXPECT_EQ(got->mCellInfo.mMNCDigits, 3);
}

}  // namespace
