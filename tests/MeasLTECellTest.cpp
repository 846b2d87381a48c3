// LTE cell information: the MIB (0xB0C1), the RRC serving cell info (0xB0C2) and the ML1 serving cell info
// (0xB197). Expected values come from the facts page's worked examples and from real packets decoded by
// hand (tests/data/meas_lte_cells.txt).
#include <gtest/gtest.h>

#include <cstring>

#include "stream/FrameDecoder.h"
#include "tests/MeasTestSupport.h"

namespace {

const uint32_t kMIBFields = CELL_HAS_DL_CHANNEL | CELL_HAS_CELL | CELL_HAS_DL_BANDWIDTH;
const uint32_t kServingCellFields = CELL_HAS_DL_CHANNEL | CELL_HAS_UL_CHANNEL | CELL_HAS_CELL |
                                    CELL_HAS_IDENTITY | CELL_HAS_AREA | CELL_HAS_PLMN | CELL_HAS_BAND |
                                    CELL_HAS_DL_BANDWIDTH | CELL_HAS_UL_BANDWIDTH;

class cCollect : public cPacketSink {
public:
    bool Packet(sSharedBuffer* packet) override {
        mPackets.emplace_back(packet->mData, packet->mData + packet->mSize);
        return true;
    }
    std::vector<Bytes> mPackets;
};

// The framing example of the facts page: a frame as stored on the wire (with a 7d 5d escape), through the
// library's frame decoder, then the extractor.
TEST(MeasLTECell, WorkedExampleFrameToMIB) {
    const Bytes wire =
        Hex("10 00 17 00 17 00 c1 b0 47 92 89 7d 5d 14 1d ed 00 02 67 00 79 09 00 00 d0 02 04 19 17 14 7e");
    cFrameDecoder decoder;
    size_t room = 0;
    unsigned char* space = decoder.Space(room);
    ASSERT_GE(room, wire.size());
    memcpy(space, wire.data(), wire.size());
    cCollect collect;
    ASSERT_TRUE(decoder.Decode(wire.size(), true, collect));
    ASSERT_EQ(collect.mPackets.size(), 1u);

    const sExtracted mib = Extracted(collect.mPackets[0]);
    ASSERT_EQ(mib.mStatus, MEAS_OK);
    EXPECT_EQ(mib->mKind, MEAS_KIND_MIB);
    EXPECT_EQ(mib->mTechnology, RADIO_LTE);
    EXPECT_EQ(mib->mLogCode, 0xB0C1);
    EXPECT_EQ(mib->mLogVersion, 2u);
    EXPECT_EQ(mib->mTimestamp, 0x00ED1D147D899247u);
    EXPECT_EQ(mib->mSubscription, 0u);
    EXPECT_EQ(mib->mCellInfo.mFields, kMIBFields);
    EXPECT_EQ(mib->mCellInfo.mCell, 103);
    EXPECT_EQ(mib->mCellInfo.mDLChannel, 2425u);
    EXPECT_EQ(mib->mCellInfo.mDLBandwidthMHz, 5.0);
    EXPECT_EQ(mib->mOutOfRange, 0u);
}

// Real MIB logs (v2: u8 version, u16 PCI, u32 EARFCN, u16 SFN, u8 antennas, u8 resource blocks), decoded
// by hand from tests/data/meas_lte_cells.txt.
TEST(MeasLTECell, RealMIBs) {
    const struct {
        uint32_t mSubscription;
        uint16_t mPCI;
        uint32_t mEARFCN;
        double mMHz;
    } expected[] = {
        // 02 | c0 00 | 6e 14 00 00 | 00 01 | 02 | 32: PCI 192, EARFCN 5230, SFN 256, 2 antennas, 50 RB
        {0, 192, 5230, 10},
        // 02 | cf 00 | 52 03 00 00 | 6c 03 | 04 | 64: PCI 207, EARFCN 850, SFN 876, 4 antennas, 100 RB
        {0, 207, 850, 20},
        // 02 | 1e 00 | 34 08 00 00 | ec 02 | 02 | 64: PCI 30, EARFCN 2100, SFN 748, 2 antennas, 100 RB
        {0, 30, 2100, 20},
        // wrapper 98 01 00 00 02 00 00 00; 02 | 44 00 | 77 01 00 00 | f8 01 | 02 | 4b: PCI 68, EARFCN 375,
        // SFN 504, 2 antennas, 75 RB
        {2, 68, 375, 15},
    };
    const std::vector<Bytes> packets = PacketsOf("meas_lte_cells.txt", 0xB0C1);
    ASSERT_EQ(packets.size(), sizeof expected / sizeof expected[0]);
    for (size_t i = 0; i < packets.size(); ++i) {
        const sExtracted mib = Extracted(packets[i]);
        ASSERT_EQ(mib.mStatus, MEAS_OK) << i;
        EXPECT_EQ(mib->mKind, MEAS_KIND_MIB) << i;
        EXPECT_EQ(mib->mSubscription, expected[i].mSubscription) << i;
        EXPECT_EQ(mib->mCellInfo.mFields, kMIBFields) << i;
        EXPECT_EQ(mib->mCellInfo.mCell, expected[i].mPCI) << i;
        EXPECT_EQ(mib->mCellInfo.mDLChannel, expected[i].mEARFCN) << i;
        EXPECT_EQ(mib->mCellInfo.mDLBandwidthMHz, expected[i].mMHz) << i;
    }
}

// Real serving cell info logs (v3), decoded by hand from tests/data/meas_lte_cells.txt (its second and third
// repeat the first's kind of values: left out), then the facts page's worked example inside the multi-SIM
// wrapper of SIM 1, and v2 built from the page's layout.
TEST(MeasLTECell, RealServingCellInfo) {
    const struct {
        unsigned int mVersion;
        uint32_t mSubscription;
        uint16_t mPCI;
        uint32_t mDL, mUL;
        double mMHz, mULMHz;
        uint32_t mIdentity, mTAC;
        uint16_t mBand, mMCC, mMNC;
        uint8_t mDigits;
    } expected[] = {
        // 03 | 38 01 | 1a 04 01 00 | 1a 04 02 00 | 32 32 | 0d d5 82 03 | 0b e6 | 42 00 00 00 | 37 01 | 03 |
        // e0 01 | 00: PCI 312, EARFCN 66586 / 132122, 50 RB, cell 0x0382D50D, TAC 58891, band 66, 311-480
        {3, 0, 312, 66586, 132122, 10, 10, 0x0382D50D, 58891, 66, 311, 480, 3},
        // wrapper of SIM 2; 03 | e1 00 | b3 8d 00 00 | b3 8d 00 00 | 4b 4b | 1e 58 15 01 | de 10 |
        // 22 00 00 00 | cc 01 | 02 | 00 00 | 00: PCI 225, EARFCN 36275 both ways (TDD), 75 RB, cell
        // 0x0115581E,
        // TAC 4318, band 34, 460-00
        {3, 2, 225, 36275, 36275, 15, 15, 0x0115581E, 4318, 34, 460, 0, 2},
        // 03 | fd 00 | 21 07 00 00 | 71 4d 00 00 | 4b 4b | 32 02 9d 01 | ad 18 | 03 00 00 00 | cc 01 | 02 |
        // 0b 00 | 00: PCI 253, EARFCN 1825 / 19825, 75 RB, cell 0x019D0232, TAC 6317, band 3, 460-11
        {3, 0, 253, 1825, 19825, 15, 15, 0x019D0232, 6317, 3, 460, 11, 2},
        // The page: PCI 162, EARFCN 1350 / 19350, 100 RB, cell 0x078980BB (eNB 493952, cell 187), TAC 4566,
        // band 3, 460-00
        {3, 1, 162, 1350, 19350, 20, 20, 0x078980BB, 4566, 3, 460, 0, 2},
        // v2: u16 EARFCNs; DL 50 RB, UL 25 RB; a 3-digit MNC with a leading zero
        {2, 0, 7, 5110, 23110, 10, 5, 0xABCDE01, 0x1234, 12, 310, 30, 3},
    };
    std::vector<Bytes> packets = PacketsOf("meas_lte_cells.txt", 0xB0C2);
    ASSERT_EQ(packets.size(), 5u);
    packets.erase(packets.begin() + 1, packets.begin() + 3);
    packets.push_back(
        Hex("98 01 00 00 01 00 00 00 10 00 29 00 29 00 c2 b0 23 b0 90 a7 27 33 f0 00"
            "03 a2 00 46 05 00 00 96 4b 00 00 64 64 bb 80 89 07 d6 11 03 00 00 00 cc 01 02 00 00 00"));
    // PCI | DL, UL EARFCN | DL, UL RB | cell identity | TAC | band | MCC | MNC digits | MNC | allowed access
    packets.push_back(
        LogPacket(0xB0C2, Hex("02 0700 f613 465a 32 19 01debc0a 3412 0c000000 3601 03 1e00 01")));
    ASSERT_EQ(packets.size(), sizeof expected / sizeof expected[0]);
    for (size_t i = 0; i < packets.size(); ++i) {
        const sExtracted info = Extracted(packets[i]);
        ASSERT_EQ(info.mStatus, MEAS_OK) << i;
        EXPECT_EQ(info->mKind, MEAS_KIND_SERVING_CELL) << i;
        EXPECT_EQ(info->mLogVersion, expected[i].mVersion) << i;
        const sCellInfo& cell = info->mCellInfo;
        EXPECT_EQ(info->mSubscription, expected[i].mSubscription) << i;
        EXPECT_EQ(cell.mFields, kServingCellFields) << i;
        EXPECT_EQ(cell.mCell, expected[i].mPCI) << i;
        EXPECT_EQ(cell.mDLChannel, expected[i].mDL) << i;
        EXPECT_EQ(cell.mULChannel, expected[i].mUL) << i;
        EXPECT_EQ(cell.mDLBandwidthMHz, expected[i].mMHz) << i;
        EXPECT_EQ(cell.mULBandwidthMHz, expected[i].mULMHz) << i;
        EXPECT_EQ(cell.mIdentity, expected[i].mIdentity) << i;
        EXPECT_EQ(cell.mArea, expected[i].mTAC) << i;
        EXPECT_EQ(cell.mBand, expected[i].mBand) << i;
        EXPECT_EQ(cell.mMCC, expected[i].mMCC) << i;
        EXPECT_EQ(cell.mMNC, expected[i].mMNC) << i;
        EXPECT_EQ(cell.mMNCDigits, expected[i].mDigits) << i;
        EXPECT_EQ(info->mOutOfRange, 0u) << i;
    }
}

// Versions no capture holds, built from the page's layouts: PCI 301, EARFCN 39150 (or 1300 where it is a
// u16), and the bandwidth in resource blocks.
TEST(MeasLTECell, HandBuiltMIBVersions) {
    const struct {
        const char* mBody;
        uint32_t mEARFCN;
        uint32_t mFields;
        double mMHz;
    } cases[] = {
        // v1: u16 EARFCN, SFN, 1 antenna, 6 RB
        {"01 2d 01 14 05 10 00 01 06", 1300, kMIBFields, 1.4},
        // v3: v2 and a SIB1-BR scheduling byte; 15 RB
        {"03 2d 01 ee 98 00 00 10 00 02 0f 05", 39150, kMIBFields, 3},
        // v17 (NB-IoT): no bandwidth field; operation mode 3, 1 antenna
        {"11 2d 01 ee 98 00 00 10 00 02 01 03 04 00 03 00 00 01", 39150, CELL_HAS_DL_CHANNEL | CELL_HAS_CELL,
         0},
    };
    for (const auto& c : cases) {
        const sExtracted mib = Extracted(0xB0C1, Hex(c.mBody));
        ASSERT_EQ(mib.mStatus, MEAS_OK) << c.mBody;
        EXPECT_EQ(mib->mCellInfo.mFields, c.mFields) << c.mBody;
        EXPECT_EQ(mib->mCellInfo.mCell, 301) << c.mBody;
        EXPECT_EQ(mib->mCellInfo.mDLChannel, c.mEARFCN) << c.mBody;
        EXPECT_EQ(mib->mCellInfo.mDLBandwidthMHz, c.mMHz) << c.mBody;
    }
}

// 0xB197 from the page's layout, with the published v1 packet's values: EARFCN 1300, PCI 36, 100 RB.
TEST(MeasLTECell, HandBuiltML1ServingCellInfo) {
    const struct {
        unsigned int mVersion;
        size_t mChannelAt, mChannelBytes, mCellAt, mSize;
    } cases[] = {{1, 4, 2, 6, 32}, {2, 4, 4, 8, 36}};
    for (const auto& c : cases) {
        Bytes body(c.mSize, 0);
        Put(body, 0, 1, c.mVersion);
        Put(body, 1, 1, 100);  // DL bandwidth
        Put(body, 2, 2, 517);  // SFN
        Put(body, c.mChannelAt, c.mChannelBytes, 1300);
        PutBits(body, c.mCellAt, 2, 0, 8, 36);   // PCI
        PutBits(body, c.mCellAt, 2, 9, 9, 1);    // PBCH
        PutBits(body, c.mCellAt, 2, 13, 15, 5);  // PHICH resource
        Put(body, c.mSize - 2, 2, 1);            // antennas
        const sExtracted info = Extracted(0xB197, body);
        ASSERT_EQ(info.mStatus, MEAS_OK) << c.mVersion;
        EXPECT_EQ(info->mKind, MEAS_KIND_SERVING_CELL);
        EXPECT_EQ(info->mLogVersion, c.mVersion);
        EXPECT_EQ(info->mCellInfo.mFields, kMIBFields) << c.mVersion;
        EXPECT_EQ(info->mCellInfo.mCell, 36) << c.mVersion;
        EXPECT_EQ(info->mCellInfo.mDLChannel, 1300u) << c.mVersion;
        EXPECT_EQ(info->mCellInfo.mDLBandwidthMHz, 20.0) << c.mVersion;
    }
}

// Every version's body one byte short fails the length check; a version no layout describes is counted
// as such, with its number kept.
TEST(MeasLTECell, TruncatedAndUnknownVersions) {
    const struct {
        unsigned int mCode;
        unsigned int mVersion;
        size_t mSize;  // the layout's body size, 0 for an unknown version
    } cases[] = {
        {0xB0C1, 1, 9},  {0xB0C1, 2, 11}, {0xB0C1, 3, 12}, {0xB0C1, 17, 18}, {0xB0C1, 4, 0},
        {0xB0C1, 0, 0},  {0xB0C2, 2, 25}, {0xB0C2, 3, 29}, {0xB0C2, 1, 0},   {0xB0C2, 4, 0},
        {0xB197, 1, 32}, {0xB197, 2, 36}, {0xB197, 3, 0},
    };
    for (const auto& c : cases) {
        Bytes body(c.mSize != 0 ? c.mSize : 64, 0);
        body[0] = static_cast<unsigned char>(c.mVersion);
        body[1] = 1;
        const sExtracted whole = Extracted(c.mCode, body);
        EXPECT_EQ(whole.mStatus, c.mSize != 0 ? MEAS_OK : MEAS_UNSUPPORTED_VERSION)
            << std::hex << c.mCode << " v" << c.mVersion;
        EXPECT_EQ(whole->mLogVersion, c.mVersion);
        if (c.mSize != 0) {
            body.pop_back();
            const sExtracted cut = Extracted(c.mCode, body);
            EXPECT_EQ(cut.mStatus, MEAS_BAD_LENGTH) << std::hex << c.mCode << " v" << c.mVersion;
            EXPECT_EQ(cut->mKind, MEAS_KIND_NONE);
            EXPECT_EQ(cut->mCellInfo.mFields, 0u);
        }
    }
    EXPECT_EQ(Extracted(0xB0C1, Bytes()).mStatus, MEAS_BAD_LENGTH);
}

// Values outside their domain are left out and counted, never clamped; the rest of the log is kept.
TEST(MeasLTECell, ImpossibleValuesAreCounted) {
    // MIB v2 with PCI 600 and 7 resource blocks.
    const sExtracted mib = Extracted(0xB0C1, Hex("02 58 02 79 09 00 00 d0 02 04 07"));
    ASSERT_EQ(mib.mStatus, MEAS_OK);
    EXPECT_EQ(mib->mCellInfo.mFields, CELL_HAS_DL_CHANNEL);
    EXPECT_EQ(mib->mCellInfo.mDLChannel, 2425u);
    EXPECT_EQ(mib->mOutOfRange, 2u);
    // PCI 503 is the last valid one.
    EXPECT_EQ(Extracted(0xB0C1, Hex("02 f7 01 79 09 00 00 d0 02 04 19"))->mCellInfo.mFields, kMIBFields);

    // Serving cell info v3 (the worked example) with a 29-bit identity, 4 MNC digits and band 0 (none).
    Bytes body =
        Hex("03 a2 00 46 05 00 00 96 4b 00 00 64 64 bb 80 89 17 d6 11 00 00 00 00 cc 01 04 00 00 00");
    const sExtracted info = Extracted(0xB0C2, body);
    ASSERT_EQ(info.mStatus, MEAS_OK);
    EXPECT_EQ(info->mCellInfo.mFields,
              kServingCellFields & ~(CELL_HAS_IDENTITY | CELL_HAS_PLMN | CELL_HAS_BAND));
    EXPECT_EQ(info->mOutOfRange, 2u);
    // A 2-digit MNC above 99, an MCC above 999, and a band beyond 16 bits.
    body = Hex("03 a2 00 46 05 00 00 96 4b 00 00 64 64 bb 80 89 07 d6 11 00 00 01 00 cc 01 02 64 00 00");
    EXPECT_EQ(Extracted(0xB0C2, body)->mOutOfRange, 2u);
    body = Hex("03 a2 00 46 05 00 00 96 4b 00 00 64 64 bb 80 89 07 d6 11 03 00 00 00 e8 03 03 00 00 00");
    EXPECT_EQ(Extracted(0xB0C2, body)->mOutOfRange, 1u);
    // MNC 999 of 3 digits and MCC 999 are valid.
    body = Hex("03 a2 00 46 05 00 00 96 4b 00 00 64 64 bb 80 89 07 d6 11 03 00 00 00 e7 03 03 e7 03 00");
    const sExtracted edge = Extracted(0xB0C2, body);
    EXPECT_EQ(edge->mOutOfRange, 0u);
    EXPECT_EQ(edge->mCellInfo.mMNC, 999);
}

}  // namespace
