// NR measurement and cell logs (0xB97F, 0xB975, 0xB822, 0xB823). No capture holds any of them: expected
// values are those the facts page gives for its published packets (0xB97F 2.7, 0xB822 0.3, 0xB823 0.4);
// other versions carry the same fields at the offsets of the page's layout tables.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/MeasTestSupport.h"

namespace {

// The published 0xB97F 2.7 packet in its pieces (cell 1's beam record, not printed on the page, zero).
const char* const kHeader27 = "07000200 01 14 0000 84010000 f9ffffff";
const char* const kLayer2x = "de930600 0200 dc03 03000000 ccc7ffff e8c7ffff ffffffff ffff0000 ffffffff";
const char* const kCell0 = "dc03a002 01000000 2fcaffff f7f9ffff";
const char* const kBeam0 =
    "0300 0000 0000 0000 00000000 c722c408ce994803 5bcaffff 46c6ffff 49caffff fcf9ffff 00000000 00000000";
const char* const kCell1 = "db030e00 01000000 08c8ffff c9f8ffff";
const std::string kBeam1(2 * 44, '0');
// 84-byte beams: the 44 bytes, then 40 that read as an impossible cell (PCI 0x1111) at a wrong stride.
const std::string kBeamPad(2 * 40, '1');
// The 2.9, 2.10 and 3.0 header: an added word after the version, then the 2.7 header.
const char* const kHeaderRest = "00000000 01 14 0000 84010000 f9ffffff";
// The 3.0 layer record (40 bytes) with the same values.
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

// The page's decoding of the published packet.
const char* const kPublished[] = {"nr serving ch 431070 cell 988 RSRP -107.63 RSRQ -12.07",
                                  "nr neighbour ch 431070 cell 987 RSRP -111.94 RSRQ -14.43"};

// One row per version: the published packet, or the same values as the version's table lays them out.
// The last beam ends each body: one byte less cuts it.
TEST(MeasNR, SearcherEveryVersionGivesThePublishedCells) {
    const struct {
        const char* mVersion;
        std::string mBody;
    } rows[] = {
        {"2.6", std::string("06000200 01 14 0000") + kLayer2x + Cells("")},
        {"2.7", std::string(kHeader27) + kLayer2x + Cells("")},
        {"2.9", "09000200" + std::string(kHeaderRest) + kLayer2x + Cells("")},
        {"2.9", "09000200" + std::string(kHeaderRest) + Layer2x("ff02") + Cells("")},
        {"2.10", "0a000200" + std::string(kHeaderRest) + Layer2x("0002") + Cells(kBeamPad)},
        {"3.0", "00000300" + std::string(kHeaderRest) + kLayer30 + Cells(kBeamPad)},
    };
    for (const auto& row : rows) {
        const Bytes body = Hex(row.mBody);
        const Lines want = {std::string("used measurement nr v") + row.mVersion, kPublished[0],
                            kPublished[1]};
        EXPECT_EQ(Text(Extracted(0xB97F, body)), want) << row.mBody;
        EXPECT_EQ(Extracted(0xB97F, Bytes(body.begin(), body.end() - 1)).mStatus, MEAS_BAD_LENGTH)
            << row.mBody;
    }
    EXPECT_EQ(Hex(rows[1].mBody).size(), 168u);  // the published packet's length, as the page gives it
}

// The swapped order (serving index first) holds counts 1..254; with 255 the bytes read in the 2.7 order
// (L+4 0: no cell).
TEST(MeasNR, SearcherSwappedOrderCountEnds) {
    for (const unsigned int count : {1u, 254u, 255u}) {
        cPayloadBuilder body;
        body.Put(0, 4, 0x00020009).Put(8, 1, 1).Put(20, 4, 431070).Put(25, 1, count).Put(26, 2, 0xFFFF);
        const sExtracted got = Extracted(0xB97F, body.Resize(20 + 32 + 16 * 254).Body());
        ASSERT_EQ(got.mStatus, MEAS_OK) << count;
        EXPECT_EQ(got->mCellCount, count == 255 ? 0u : count) << count;
    }
}

TEST(MeasNR, SearcherVersionsPastEachEndAreRefused) {
    const std::string rest = std::string(kHeaderRest) + kLayer2x + Cells("");
    for (const char* version : {"05000200", "08000200", "0b000200", "01000300", "07000100", "00000400"}) {
        EXPECT_EQ(Text(Extracted(0xB97F, Hex(version + rest))),
                  Lines{"unknown version none v" + std::to_string(Hex(version)[2]) + "." +
                        std::to_string(Hex(version)[0])});
    }
    EXPECT_EQ(Extracted(0xB97F, Hex("070002")).mStatus, MEAS_BAD_LENGTH);
}

// 3.0 from readable fields: layers of `cellsPerLayer` cells (channel 431070, then 641760), serving PCI 669,
// cells 669, 670, ... at -100 dBm / -10.5 dB, each measured on `beams` beams.
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
    EXPECT_EQ(Text(Extracted(0xB97F, Searcher30({1, 2}, 2).Body())),
              (Lines{"used measurement nr v3.0", "nr serving ch 431070 cell 669 RSRP -100.00 RSRQ -10.50",
                     "nr serving ch 641760 cell 669 RSRP -100.00 RSRQ -10.50",
                     "nr neighbour ch 641760 cell 670 RSRP -100.00 RSRQ -10.50"}));
}

// Counts of layers, cells and beams beyond the payload, and a layer record cut short.
TEST(MeasNR, SearcherCountsBeyondThePayloadAreRefused) {
    const size_t size = Searcher30({1, 2}, 2).Body().size();
    for (const size_t at : {size_t(8), size_t(20 + 40 + 16 + 168 + 5), size - 168 - 16 + 4}) {
        cPayloadBuilder body = Searcher30({1, 2}, 2);
        EXPECT_EQ(Extracted(0xB97F, body.Put(at, 1, 3).Body()).mStatus, MEAS_BAD_LENGTH) << at;
    }
    cPayloadBuilder layerOnly;
    layerOnly.Put(0, 4, 0x00030000).Put(8, 1, 1).Resize(20 + 39);
    EXPECT_EQ(Extracted(0xB97F, layerOnly.Body()).mStatus, MEAS_BAD_LENGTH);
}

TEST(MeasNR, SearcherCellsPastTheRecordAreCounted) {
    const sExtracted got = Extracted(0xB97F, Searcher30({200, 100}).Body());
    EXPECT_EQ(Text(got)[0], "used measurement nr v3.0 dropped " + std::to_string(300 - kMeasMaxCells));
    EXPECT_EQ(got->mCells[kMeasMaxCells - 1].mChannel, 641760u);
}

// Ends of the physical ranges in 1/128 steps: inside is kept, one step outside left out and counted, and
// 0 is "not measured" (not counted).
TEST(MeasNR, SearcherValuesOutsidePhysicalRanges) {
    const struct {
        uint16_t mPCI;
        int32_t mRSRP, mRSRQ;
        const char* mHeader;
        const char* mCell;
    } cases[] = {
        {1007, -19968, -5504, "", "nr neighbour ch 431070 cell 1007 RSRP -156.00 RSRQ -43.00"},
        {1008, -19969, -5505, " out of range 3", "nr neighbour ch 431070"},
        {0, -3968, 2560, "", "nr neighbour ch 431070 cell 0 RSRP -31.00 RSRQ 20.00"},
        {0, -3967, 2561, " out of range 2", "nr neighbour ch 431070 cell 0"},
        {0, 0, 0, "", "nr neighbour ch 431070 cell 0"},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body = Searcher30({1});
        body.Put(60, 2, c.mPCI).Put(68, 4, c.mRSRP).Put(72, 4, c.mRSRQ);
        EXPECT_EQ(Text(Extracted(0xB97F, body.Body())),
                  (Lines{std::string("used measurement nr v3.0") + c.mHeader, c.mCell}));
    }
}

// 0xB975 2.1 from the page's layout: PCI, filtered RSRP and RSRQ, `beams` beams of 16 bytes from B+40.
cPayloadBuilder ServingBeams(uint8_t beams, int32_t rsrp = -12800) {
    cPayloadBuilder body(40 + 16 * 2);
    body.Put(0, 4, 0x00020001).Put(4, 2, 500).Put(8, 1, 20).Put(9, 1, 3).Put(12, 4, rsrp).Put(16, 4, -1344);
    return body.Put(36, 1, beams).Put(40, 2, 3).Put(44, 4, -12928).Put(56, 2, 4).Put(60, 4, -13056);
}

TEST(MeasNR, ServingBeams) {
    EXPECT_EQ(Text(Extracted(0xB975, ServingBeams(2).Body())),
              (Lines{"used measurement nr v2.1", "nr serving cell 500 RSRP -100.00 RSRQ -10.50"}));
    EXPECT_EQ(Text(Extracted(0xB975, ServingBeams(2, 0).Body()))[1], "nr serving cell 500 RSRQ -10.50");
    const struct {
        cPayloadBuilder mBody;
        eMeasStatus mStatus;
    } cases[] = {
        {ServingBeams(3), MEAS_BAD_LENGTH},
        {ServingBeams(2).Resize(40 + 31), MEAS_BAD_LENGTH},
        {ServingBeams(0).Resize(40), MEAS_OK},
        {ServingBeams(0).Resize(39), MEAS_BAD_LENGTH},
        {ServingBeams(2).Put(0, 4, 0x00020000), MEAS_UNSUPPORTED_VERSION},
        {ServingBeams(2).Put(0, 4, 0x00020002), MEAS_UNSUPPORTED_VERSION},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Extracted(0xB975, c.mBody.Body()).mStatus, c.mStatus) << &c - cases;
    }
}

// 0xB822: the published 0.3 packet and 2.0 with its 5-byte SFN field; one byte less fails the length check.
TEST(MeasNR, MIB) {
    const struct {
        const char* mBody;
        const char* mHeader;
    } cases[] = {
        {"03000000 5001 c0ac0500 9a00003f", "used mib nr v3"},
        {"00000200 5001 c0ac0500 9a00000080", "used mib nr v2.0"},
        {"02000000 5001 c0ac0500 9a00003f", "unknown version none v2"},
        {"04000000 5001 c0ac0500 9a00003f", "unknown version none v4"},
        {"01000200 5001 c0ac0500 9a00000080", "unknown version none v2.1"},
        {"00000100 5001 c0ac0500 9a00000080", "unknown version none v1.0"},
    };
    for (const auto& c : cases) {
        const Bytes body = Hex(c.mBody);
        const sExtracted got = Extracted(0xB822, body);
        EXPECT_EQ(Text(got)[0], c.mHeader);
        if (got.mStatus == MEAS_OK) {
            EXPECT_EQ(Text(got)[1], "dl 371904 cell 336");
            EXPECT_EQ(Extracted(0xB822, Bytes(body.begin(), body.end() - 1)).mStatus, MEAS_BAD_LENGTH);
        }
    }
}

// 0xB823: the published 0.4 packet, and its values in the later layouts: 3.0 adds the 8-byte NR-CGI after
// the PCI, 3.2 and 3.3 three bytes before it (all-ones, so that a field read at a wrong offset shows).
const char* const kServingCell04Rest =
    "e0ca0900 d6c60900 5a00 5a00 00127df204000000 0601 02 0100 01 29790000 4e00";
const char* const kPublishedServingCell =
    "dl 641760 ul 640726 cell 669 id 0x4f27d1200 area 0x7929 plmn 262-01 band 78 dl-bw 90 ul-bw 90";

TEST(MeasNR, ServingCellInfoEveryVersion) {
    const char* const rows[] = {"04000000 9d02", "00000300 9d02 ffffffffffffffff",
                                "02000300 ffffff 9d02 ffffffffffffffff",
                                "03000300 ffffff 9d02 ffffffffffffffff"};
    for (const char* row : rows) {
        const Bytes body = Hex(std::string(row) + kServingCell04Rest);
        EXPECT_EQ(Text(Extracted(0xB823, body)),
                  (Lines{"used serving cell nr v" + (body[2] != 0 ? std::to_string(body[2]) + "." : "") +
                             std::to_string(body[0]),
                         kPublishedServingCell}));
        EXPECT_EQ(Extracted(0xB823, Bytes(body.begin(), body.end() - 1)).mStatus, MEAS_BAD_LENGTH) << row;
    }
    for (uint32_t version : {0x00000003u, 0x00000005u, 0x00030001u, 0x00030004u, 0x00020000u}) {
        cPayloadBuilder body;
        body.PutHex(0, rows[3]).PutHex(17, kServingCell04Rest).Put(0, 4, version);
        EXPECT_EQ(Extracted(0xB823, body.Body()).mStatus, MEAS_UNSUPPORTED_VERSION) << version;
    }
}

// One step past the end of each field's range (0.4 offsets): left out and counted. The largest of each is
// kept; a 3-digit MNC keeps its leading zero by its digit count.
TEST(MeasNR, ServingCellInfoValuesOutsideTheirRanges) {
    const struct {
        size_t mAt;
        unsigned int mWidth;
        int64_t mValue;
        const char* mInfo;
    } cases[] = {
        {4, 2, 1008, "dl 641760 ul 640726 id 0x4f27d1200 area 0x7929 plmn 262-01 band 78"},
        {18, 8, int64_t(1) << 36, "dl 641760 ul 640726 cell 669 area 0x7929 plmn 262-01 band 78"},
        {32, 4, 1 << 24, "dl 641760 ul 640726 cell 669 id 0x4f27d1200 plmn 262-01 band 78"},
        {26, 2, 1000, "dl 641760 ul 640726 cell 669 id 0x4f27d1200 area 0x7929 band 78"},
        {28, 1, 4, "dl 641760 ul 640726 cell 669 id 0x4f27d1200 area 0x7929 band 78"},
        {29, 2, 100, "dl 641760 ul 640726 cell 669 id 0x4f27d1200 area 0x7929 band 78"},
    };
    for (const auto& c : cases) {
        cPayloadBuilder body;
        body.PutHex(0, "04000000 9d02").PutHex(6, kServingCell04Rest).Put(c.mAt, c.mWidth, c.mValue);
        EXPECT_EQ(Text(Extracted(0xB823, body.Body())), (Lines{"used serving cell nr v4 out of range 1",
                                                               std::string(c.mInfo) + " dl-bw 90 ul-bw 90"}));
    }
    cPayloadBuilder body;
    body.PutHex(0, "04000000 9d02")
        .PutHex(6, kServingCell04Rest)
        .Put(4, 2, 1007)
        .Put(18, 8, (int64_t(1) << 36) - 1);
    body.Put(32, 4, (1 << 24) - 1).Put(28, 1, 3).Put(29, 2, 10);
    EXPECT_EQ(Text(Extracted(0xB823, body.Body())),
              (Lines{"used serving cell nr v4",
                     "dl 641760 ul 640726 cell 1007 id 0xfffffffff area 0xffffff plmn "
                     "262-010 band 78 dl-bw 90 ul-bw 90"}));
}

}  // namespace
