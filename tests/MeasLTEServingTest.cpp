// LTE serving-cell measurements: 0xB193 (one layout per subpacket version) and 0xB17F. Expected values come
// from real packets decoded by hand (tests/data/meas_lte_bler.txt, tests/data/meas_lte_2016.txt), from the
// facts page's 0xB17F example and from packets built from the page's field positions.
#include <gtest/gtest.h>

#include "tests/MeasTestSupport.h"

namespace {

const unsigned int kServing = 0xB193;

// A field of the page's tables: bits first..last of the u32 at a payload offset.
struct sAt {
    size_t mAt;
    unsigned int mFirst, mLast;
};

// One row per subpacket version, with the positions the facts page gives for cell 0 (P+ offsets; the
// 4-chain layouts' C+ offsets added to the first cell's P+ offset) and the stride to the next cell.
struct sServingVersion {
    unsigned int mVersion;
    unsigned int mChannelBytes;
    size_t mCountAt, mValidRxAt, mCellAt, mStride, mPayload;  // mCountAt 0: one cell, no count
    sAt mRSRP, mRSRQ, mRSSI, mSNR0, mSNR1, mRx0, mRx1;
    unsigned int mRSRPRaw;  // stored for -117.5 dBm: 1000, or 360 where the combined value is 640 raw down
};

// clang-format off
const sServingVersion kVersions[] = {
    // version, EARFCN bytes, count at, valid_rx at, cell 0 at, stride, payload; combined RSRP, RSRQ, RSSI;
    // SNR Rx0, Rx1; RSRP Rx0, Rx1; the stored RSRP
    {4, 2, 0, 0, 2, 0, 76, {20, 12, 23}, {28, 20, 29}, {36, 0, 10},
     {60, 0, 8}, {60, 9, 17}, {12, 10, 21}, {16, 12, 23}, 1000},
    {7, 4, 0, 0, 4, 0, 80, {24, 12, 23}, {32, 20, 29}, {40, 0, 10},
     {64, 0, 8}, {64, 9, 17}, {16, 10, 21}, {20, 12, 23}, 1000},
    {18, 4, 0, 0, 4, 0, 92, {28, 12, 23}, {36, 20, 29}, {44, 0, 10},
     {68, 0, 8}, {68, 9, 17}, {20, 10, 21}, {24, 12, 23}, 1000},
    {19, 4, 4, 0, 8, 88, 8 + 4 * 88, {32, 12, 23}, {40, 20, 29}, {48, 0, 10},
     {72, 0, 8}, {72, 9, 17}, {24, 10, 21}, {28, 12, 23}, 1000},
    {22, 4, 4, 0, 8, 0, 120, {36, 12, 23}, {44, 10, 19}, {60, 0, 10},
     {84, 0, 8}, {84, 9, 17}, {24, 10, 21}, {28, 12, 23}, 1000},
    {24, 4, 4, 0, 8, 0, 100, {32, 12, 23}, {40, 20, 29}, {48, 0, 10},
     {72, 0, 8}, {72, 9, 17}, {24, 11, 22}, {28, 12, 23}, 1000},
    {35, 4, 4, 0, 8, 0, 8 + 124, {8 + 28, 12, 23}, {8 + 44, 0, 9}, {8 + 56, 0, 10},
     {8 + 80, 0, 8}, {8 + 80, 9, 17}, {8 + 16, 10, 21}, {8 + 20, 12, 23}, 360},
    {36, 4, 4, 6, 8, 128, 8 + 4 * 128, {8 + 28, 12, 23}, {8 + 44, 0, 9}, {8 + 56, 0, 10},
     {8 + 80, 0, 8}, {8 + 80, 9, 17}, {8 + 16, 10, 21}, {8 + 20, 12, 23}, 360},
    {40, 4, 4, 6, 8, 0, 8 + 132, {8 + 32, 12, 23}, {8 + 48, 0, 9}, {8 + 60, 0, 10},
     {8 + 84, 0, 8}, {8 + 84, 9, 17}, {8 + 16, 10, 21}, {8 + 20, 12, 23}, 360},
    {48, 4, 4, 6, 12, 140, 12 + 2 * 140, {12 + 32, 12, 23}, {12 + 48, 0, 9}, {12 + 60, 0, 10},
     {12 + 92, 0, 8}, {12 + 92, 9, 17}, {12 + 16, 10, 21}, {12 + 20, 12, 23}, 360},
    {50, 4, 4, 6, 12, 140, 12 + 2 * 140, {12 + 32, 12, 23}, {12 + 48, 0, 9}, {12 + 60, 0, 10},
     {12 + 92, 0, 8}, {12 + 92, 9, 17}, {12 + 16, 10, 21}, {12 + 20, 12, 23}, 360},
};
// clang-format on

void Put32(Bytes& payload, size_t base, const sAt& at, uint64_t value) {
    PutBits(payload, base + at.mAt, 4, at.mFirst, at.mLast, value);
}

// The raw values a cell is built with, and what they give. The second set sets the top bit of each field
// that its valid range allows: 2100 of RSRP's 12 bits, 516 of RSRQ's 10, 1500 of RSSI's 11, 450 of SNR's 9.
struct sRawCell {
    unsigned int mRSRP, mRSRQ, mRSSI, mSNR0, mSNR1;  // mRSRP as a 2-chain layout stores it
    double mRSRPdBm, mRSRQdB, mRSSIdBm, mSINRdB;
};
const sRawCell kRawCells[] = {
    {1000, 200, 700, 250, 280, -117.5, -17.5, -66.25, 8.0},
    {2100, 516, 1500, 450, 0, -48.75, 2.25, -16.25, 25.0},
};

// Cell `k` of a row: PCI 301 + k, serving index 1 (an SCell), the is-serving flag on cell 0 only, and the
// raw values of `raw` (the combined RSRP 640 lower where the layout stores it 40 dB down).
void PutCell(Bytes& payload, const sServingVersion& v, size_t k, const sRawCell& raw) {
    const size_t base = k * v.mStride;
    PutBits(payload, base + v.mCellAt, 2, 0, 8, 301 + k);
    PutBits(payload, base + v.mCellAt, 2, 9, 11, 1);
    PutBits(payload, base + v.mCellAt, 2, 12, 12, k == 0 ? 1 : 0);
    Put32(payload, base, v.mRx0, 990);
    Put32(payload, base, v.mRx1, 1010);
    Put32(payload, base, v.mRSRP, raw.mRSRP - (1000 - v.mRSRPRaw));
    Put32(payload, base, v.mRSRQ, raw.mRSRQ);
    Put32(payload, base, v.mRSSI, raw.mRSSI);
    Put32(payload, base, v.mSNR0, raw.mSNR0);
    Put32(payload, base, v.mSNR1, raw.mSNR1);
}

Bytes ServingPayload(const sServingVersion& v, size_t cells, const sRawCell& raw = kRawCells[0]) {
    Bytes payload(v.mPayload, 0);
    Put(payload, 0, v.mChannelBytes, 1850);
    if (v.mCountAt != 0) {
        Put(payload, v.mCountAt, 2, cells);
    }
    if (v.mValidRxAt != 0) {
        Put(payload, v.mValidRxAt, 2, 3);
    }
    for (size_t k = 0; k < cells; ++k) {
        PutCell(payload, v, k, raw);
    }
    EXPECT_EQ(payload.size(), v.mPayload) << "every field lies inside the version's payload";
    return payload;
}

TEST(MeasLTEServing, EveryVersionFromThePageLayouts) {
    for (const sServingVersion& v : kVersions) {
        for (const sRawCell& raw : kRawCells) {
            const size_t cells = v.mStride != 0 ? 2 : 1;
            const sExtracted log =
                Extracted(kServing, Envelope({{0x19, v.mVersion, ServingPayload(v, cells, raw)}}));
            ASSERT_EQ(log.mStatus, MEAS_OK) << "v" << v.mVersion;
            EXPECT_EQ(log->mKind, MEAS_KIND_MEASUREMENT);
            EXPECT_EQ(log->mLogVersion, v.mVersion);
            EXPECT_EQ(log->mOutOfRange, 0u) << "v" << v.mVersion;
            ASSERT_EQ(log->mCellCount, cells) << "v" << v.mVersion;
            for (size_t k = 0; k < cells; ++k) {
                const sMeasuredCell& cell = log->mCells[k];
                EXPECT_EQ(cell.mTechnology, RADIO_LTE);
                EXPECT_TRUE(cell.mHasChannel && cell.mHasCell);
                EXPECT_EQ(cell.mChannel, 1850u);
                EXPECT_EQ(cell.mCell, 301 + k) << "v" << v.mVersion;
                // v4 and v7 have no is-serving flag: their one cell is the serving one.
                EXPECT_EQ(cell.mServing, k == 0) << "v" << v.mVersion;
                EXPECT_EQ(cell.mServingIndex, 1);
                EXPECT_TRUE(Value(cell.mRSRP, raw.mRSRPdBm)) << "v" << v.mVersion;
                EXPECT_TRUE(Value(cell.mRSRQ, raw.mRSRQdB)) << "v" << v.mVersion;
                EXPECT_TRUE(Value(cell.mRSSI, raw.mRSSIdBm)) << "v" << v.mVersion;
                EXPECT_TRUE(Value(cell.mSINR, raw.mSINRdB)) << "v" << v.mVersion;
                EXPECT_TRUE(std::isnan(cell.mRSCP) && std::isnan(cell.mEcIo) && std::isnan(cell.mRxLev));
            }
        }
    }
}

// Real 0xB193 logs decoded by hand (cell records from P+8, 128 bytes apart in v36, 88 in v19).
TEST(MeasLTEServing, RealPacketsDecodedByHand) {
    const struct {
        const char* mFile;
        size_t mIndex;  // among the file's 0xB193 logs
        unsigned int mVersion;
        uint32_t mEARFCN;
        struct {
            uint16_t mPCI;
            bool mServing;
            double mRSRP, mRSRQ, mRSSI, mSINR;
        } mCells[4];
        size_t mCellCount;
    } cases[] = {
        // v36, EARFCN 1825, 4 cells, valid_rx 3.
        //  cell 0: id 0x1049 (PCI 73, flag 1); C+28 0x00266000 [12..23] 614 -> (614+640)/16-180 = -101.625;
        //   C+44 0x1013A0E8 [0..9] 232 -> -15.5; C+56 0x2AA 682 -> -67.375; C+80 0x000172A4 SNR 164 / 185
        //   -> -3.6 / -1.5, the best -1.5
        //  cell 1: id 0x004A (PCI 74, flag 0); C+28 0x0027F000 639 -> -100.0625; C+44 0x10143D0F 271 ->
        //   -13.0625; C+56 0x2A0 672 -> -68
        //  cell 2: id 0x002F (PCI 47); C+28 0x001EA000 490 -> -109.375; C+44 0x101294A5 165 -> -19.6875;
        //   C+56 0x2A4 676 -> -67.75
        //  cell 3: id 0x0111 (PCI 273); C+28 0x001E2000 482 -> -109.875; C+44 0x1012749D 157 -> -20.1875;
        //   C+56 0x295 661 -> -68.6875
        {"meas_lte_bler.txt",
         17,
         36,
         1825,
         {{73, true, -101.625, -15.5, -67.375, -1.5},
          {74, false, -100.0625, -13.0625, -68, -1.5},
          {47, false, -109.375, -19.6875, -67.75, -1.5},
          {273, false, -109.875, -20.1875, -68.6875, -1.5}},
         4},
        // v36, EARFCN 3683, valid_rx 1 (Rx0 only): id 0x115F (PCI 351); C+28 0x00174000 372 -> -116.75;
        // C+44 0x14852148 328 -> -9.5; C+56 0x10B 267 -> -93.3125; C+80 0x145: SNR Rx0 325 -> 12.5
        {"meas_lte_bler.txt", 39, 36, 3683, {{351, true, -116.75, -9.5, -93.3125, 12.5}}, 1},
        // v36, valid_rx 2 (Rx1 only): C+28 0x001AF000 431 -> -113.0625; C+44 0x14551545 325 -> -9.6875;
        // C+56 0x149 329 -> -89.4375; C+80 0x00026800: SNR Rx1 [9..17] 308 -> 10.8
        {"meas_lte_bler.txt", 48, 36, 3683, {{351, true, -113.0625, -9.6875, -89.4375, 10.8}}, 1},
        // v19, EARFCN 2075 (1b 08 00 00), 1 cell: id 0x102A (PCI 42); C+24 0x00452452 [12..23] 1106 ->
        // -110.875; C+32 0x115390E4 [20..29] 277 -> -12.6875; C+40 0x21A 538 -> -76.375; C+64 0x00018CF6
        // SNR 246 / 198 -> 4.6 / -0.2
        {"meas_lte_2016.txt", 0, 19, 2075, {{42, true, -110.875, -12.6875, -76.375, 4.6}}, 1},
    };
    for (const auto& c : cases) {
        const std::vector<Bytes> packets = PacketsOf(c.mFile, kServing);
        ASSERT_LT(c.mIndex, packets.size());
        const sExtracted log = Extracted(packets[c.mIndex]);
        ASSERT_EQ(log.mStatus, MEAS_OK) << c.mFile << " " << c.mIndex;
        EXPECT_EQ(log->mLogVersion, c.mVersion);
        ASSERT_EQ(log->mCellCount, c.mCellCount) << c.mFile << " " << c.mIndex;
        for (size_t k = 0; k < c.mCellCount; ++k) {
            const sMeasuredCell& cell = log->mCells[k];
            const auto& expected = c.mCells[k];
            EXPECT_EQ(cell.mChannel, c.mEARFCN);
            EXPECT_EQ(cell.mCell, expected.mPCI) << c.mIndex << " cell " << k;
            EXPECT_EQ(cell.mServing, expected.mServing) << c.mIndex << " cell " << k;
            EXPECT_EQ(cell.mServingIndex, 0);
            EXPECT_TRUE(Value(cell.mRSRP, expected.mRSRP)) << c.mIndex << " cell " << k;
            EXPECT_TRUE(Value(cell.mRSRQ, expected.mRSRQ)) << c.mIndex << " cell " << k;
            EXPECT_TRUE(Value(cell.mRSSI, expected.mRSSI)) << c.mIndex << " cell " << k;
            EXPECT_TRUE(Value(cell.mSINR, expected.mSINR)) << c.mIndex << " cell " << k;
        }
    }
}

// The SINR is the best SNR of the receive chains that are on: flagged in valid_rx where the layout has it,
// and with a measured RSRP.
TEST(MeasLTEServing, SINROfTheChainsThatAreOn) {
    const sServingVersion& v36 = kVersions[7];
    const sServingVersion& v19 = kVersions[3];
    ASSERT_EQ(v36.mVersion, 36u);
    ASSERT_EQ(v19.mVersion, 19u);
    const struct {
        const sServingVersion* mVersion;
        unsigned int mValidRx, mRx1RSRP, mSNR0, mSNR1;
        double mSINR;
    } cases[] = {
        {&v36, 3, 1010, 250, 280, 8.0},    // both on: the better one
        {&v36, 1, 1010, 250, 280, 5.0},    // Rx1 not flagged
        {&v36, 2, 1010, 250, 100, -10.0},  // Rx0 not flagged, Rx1 the worse one
        {&v36, 0, 1010, 250, 280, NAN},    // none flagged
        {&v19, 0, 0, 250, 280, 5.0},       // no mask in v19: Rx1 without RSRP is off
        {&v19, 0, 0, 0, 280, -20.0},       // SNR raw 0 is -20 dB, a value
    };
    for (const auto& c : cases) {
        Bytes payload(c.mVersion->mPayload, 0);
        Put(payload, 0, 4, 1850);
        Put(payload, 4, 2, 1);
        if (c.mVersion->mValidRxAt != 0) {
            Put(payload, c.mVersion->mValidRxAt, 2, c.mValidRx);
        }
        PutBits(payload, c.mVersion->mCellAt, 2, 0, 8, 5);
        Put32(payload, 0, c.mVersion->mRx0, 990);
        Put32(payload, 0, c.mVersion->mRx1, c.mRx1RSRP);
        Put32(payload, 0, c.mVersion->mSNR0, c.mSNR0);
        Put32(payload, 0, c.mVersion->mSNR1, c.mSNR1);
        const sExtracted log = Extracted(kServing, Envelope({{0x19, c.mVersion->mVersion, payload}}));
        ASSERT_EQ(log.mStatus, MEAS_OK);
        ASSERT_EQ(log->mCellCount, 1u);
        EXPECT_TRUE(Value(log->mCells[0].mSINR, c.mSINR)) << c.mVersion->mVersion << " " << c.mValidRx;
        EXPECT_EQ(log->mOutOfRange, 0u);
    }
}

// Raw 0 of RSRP, RSRQ and RSSI means "not measured": NaN, not counted. A raw value outside the physical
// range (RSRP -30 dBm, RSRQ +33 dB, a PCI above 503 in the 9-bit field) is left out and counted.
TEST(MeasLTEServing, NotMeasuredAndOutOfRange) {
    const sServingVersion& v19 = kVersions[3];
    const struct {
        unsigned int mPCI, mRSRP, mRSRQ, mRSSI;
        bool mHasCell;
        double mRSRPdBm, mRSRQdB, mRSSIdBm;
        unsigned int mOutOfRange;
    } cases[] = {
        {301, 0, 0, 0, true, NAN, NAN, NAN, 0},
        {301, 2400, 200, 700, true, NAN, -17.5, -66.25, 1},    // (2400/16 - 180) = -30 dBm
        {301, 576, 200, 700, true, -144, -17.5, -66.25, 0},    // the lowest valid RSRP
        {301, 575, 200, 700, true, NAN, -17.5, -66.25, 1},     // just below it
        {301, 2176, 200, 700, true, -44, -17.5, -66.25, 0},    // the highest
        {301, 1000, 1008, 700, true, -117.5, NAN, -66.25, 1},  // 1008/16 - 30 = +33 dB
        {503, 1000, 200, 700, true, -117.5, -17.5, -66.25, 0},
        {510, 1000, 200, 2047, false, -117.5, -17.5, NAN, 2},  // RSSI 2047/16 - 110 = +17.9 dBm
    };
    for (const auto& c : cases) {
        Bytes payload(v19.mPayload, 0);
        Put(payload, 0, 4, 1850);
        Put(payload, 4, 2, 1);
        PutBits(payload, v19.mCellAt, 2, 0, 8, c.mPCI);
        PutBits(payload, v19.mCellAt, 2, 12, 12, 1);
        Put32(payload, 0, v19.mRSRP, c.mRSRP);
        Put32(payload, 0, v19.mRSRQ, c.mRSRQ);
        Put32(payload, 0, v19.mRSSI, c.mRSSI);
        const sExtracted log = Extracted(kServing, Envelope({{0x19, 19, payload}}));
        ASSERT_EQ(log.mStatus, MEAS_OK);
        ASSERT_EQ(log->mCellCount, 1u);
        const sMeasuredCell& cell = log->mCells[0];
        EXPECT_EQ(cell.mHasCell, c.mHasCell) << c.mPCI;
        EXPECT_TRUE(Value(cell.mRSRP, c.mRSRPdBm)) << c.mRSRP;
        EXPECT_TRUE(Value(cell.mRSRQ, c.mRSRQdB)) << c.mRSRQ;
        EXPECT_TRUE(Value(cell.mRSSI, c.mRSSIdBm)) << c.mRSSI;
        EXPECT_EQ(log->mOutOfRange, c.mOutOfRange) << c.mRSRP << " " << c.mRSRQ << " " << c.mPCI;
    }
}

// The 4-chain combined RSRP is stored 640 raw (40 dB) down: the lowest stored value 0 is "not measured",
// raw 1 is -139.94 dBm, and raw 1536 is the highest valid one (-44 dBm); 1537 is out of range.
TEST(MeasLTEServing, FourChainCombinedRSRPOffset) {
    const sServingVersion& v36 = kVersions[7];
    const struct {
        unsigned int mRaw;
        double mRSRP;
        unsigned int mOutOfRange;
    } cases[] = {{0, NAN, 0}, {1, -139.9375, 0}, {1536, -44, 0}, {1537, NAN, 1}};
    for (const auto& c : cases) {
        Bytes payload(v36.mPayload, 0);
        Put(payload, 4, 2, 1);
        Put32(payload, 0, v36.mRSRP, c.mRaw);
        const sExtracted log = Extracted(kServing, Envelope({{0x19, 36, payload}}));
        ASSERT_EQ(log.mStatus, MEAS_OK);
        EXPECT_TRUE(Value(log->mCells[0].mRSRP, c.mRSRP)) << c.mRaw;
        EXPECT_EQ(log->mOutOfRange, c.mOutOfRange) << c.mRaw;
    }
}

// Cells exceeding the payload, cut payloads, cut or impossible subpacket headers: counted as failed
// length checks, nothing read outside the packet. Unknown versions: counted as such.
TEST(MeasLTEServing, BadEnvelopesAndCounts) {
    const sServingVersion& v19 = kVersions[3];
    const sServingVersion& v48 = kVersions[9];
    Bytes four = ServingPayload(v19, 4);
    Bytes five = four;
    Put(five, 4, 2, 5);  // 5 cells in 4 slots
    Bytes cut = four;
    cut.pop_back();
    Bytes oneCut = ServingPayload(v48, 2);
    Put(oneCut, 4, 2, 1);
    oneCut.resize(12 + 139);           // the one cell's record lacks its last byte
    Bytes noHeader = Hex("1b 08 00");  // shorter than the EARFCN
    const struct {
        const char* mName;
        Bytes mBody;
        eMeasStatus mStatus;
        unsigned int mVersion;
        size_t mCells;
    } cases[] = {
        {"4 cells", Envelope({{0x19, 19, four}}), MEAS_OK, 19, 4},
        {"no cell",
         Envelope({{0x19, 19,
                    [&] {
                        Bytes p = four;
                        p[4] = 0;
                        return p;
                    }()}}),
         MEAS_OK, 19, 0},
        {"5 cells in 4 slots", Envelope({{0x19, 19, five}}), MEAS_BAD_LENGTH, 19, 0},
        {"slots cut", Envelope({{0x19, 19, cut}}), MEAS_BAD_LENGTH, 19, 0},
        {"unused slot cut",
         Envelope({{0x19, 19,
                    [&] {
                        Bytes p = cut;
                        p[4] = 3;
                        return p;
                    }()}}),
         MEAS_OK, 19, 3},
        {"record cut", Envelope({{0x19, 48, oneCut}}), MEAS_BAD_LENGTH, 48, 0},
        {"payload header cut", Envelope({{0x19, 19, noHeader}}), MEAS_BAD_LENGTH, 19, 0},
        {"two subpackets", Envelope({{0x19, 19, four}, {0x19, 19, four}}), MEAS_OK, 19, 8},
        {"other subpacket skipped", Envelope({{0x1A, 1, Bytes(12, 0xFF)}, {0x19, 19, four}}), MEAS_OK, 19, 4},
        {"no subpacket", Envelope({}), MEAS_OK, 0, 0},
        {"v60 framing only", Envelope({{0x19, 60, Bytes(8 + 148, 0)}}), MEAS_UNSUPPORTED_VERSION, 60, 0},
        {"v20", Envelope({{0x19, 20, four}}), MEAS_UNSUPPORTED_VERSION, 20, 0},
        {"v18 cut", Envelope({{0x19, 18, Bytes(91, 0)}}), MEAS_BAD_LENGTH, 18, 0},
        {"packet v2", Hex("02 01 00 00 19 13 08 00 00 00 00 00"), MEAS_UNSUPPORTED_VERSION, 2, 0},
        {"packet v0", Hex("00 01 00 00 19 13 08 00 00 00 00 00"), MEAS_UNSUPPORTED_VERSION, 0, 0},
        {"envelope cut", Hex("01 01 00"), MEAS_BAD_LENGTH, 0, 0},
        {"subpacket header cut", Hex("01 01 00 00 19 13 6c"), MEAS_BAD_LENGTH, 0, 0},
        {"subpacket beyond the body", Hex("01 01 00 00 19 13 6c 01 00 00 00 00"), MEAS_BAD_LENGTH, 0, 0},
        {"subpacket size 3", Hex("01 02 00 00 19 13 03 00 19 13 03 00"), MEAS_BAD_LENGTH, 0, 0},
        {"count beyond the subpackets", Hex("01 02 00 00 1a 01 04 00"), MEAS_BAD_LENGTH, 0, 0},
    };
    for (const auto& c : cases) {
        const sExtracted log = Extracted(kServing, c.mBody);
        EXPECT_EQ(log.mStatus, c.mStatus) << c.mName;
        EXPECT_EQ(log->mLogVersion, c.mVersion) << c.mName;
        EXPECT_EQ(log->mCellCount, c.mCells) << c.mName;
    }
}

// The facts page's 0xB17F example (real, v5), and v4 built from its layout.
TEST(MeasLTEServing, IdleServingMeasurement) {
    const struct {
        const char* mBody;
        unsigned int mVersion;
        uint32_t mEARFCN;
        uint16_t mPCI;
        double mRSRP, mRSRQ, mRSSI;
    } cases[] = {
        {"05 01 00 00 94 16 00 00 95 01 00 00 37 75 53 00 37 75 53 00 27 9d 74 12 27 81 0a 00 86 a7 5e 02 00 "
         "00 00 00 "
         "04 00 00 00",
         5, 5780, 405, -96.56, -11.56, -68.00},
        // v4: u16 EARFCN 5780 @4, PCI word 0x0195 @6, RSRP @8, averaged @12, RSRQ @16, RSSI @20, 2 words, and
        // no Rel-9 word (release 0)
        {"04 00 00 00 94 16 95 01 37 75 53 00 37 75 53 00 27 9d 74 12 27 81 0a 00 86 a7 5e 02 00 00 00 00", 4,
         5780, 405, -96.56, -11.56, -68.00},
        // v5 with the bits around each field set: priority 127 above the PCI, another value in RSRP
        // bits 12..23, ones in RSRQ bits 10..19 and in RSSI bits 0..9 and 21..31
        {"05 01 00 00 94 16 00 00 95 ff 00 00 37 f5 ff 00 37 75 53 00 27 fd 7f 12 ff 83 ea ff 86 a7 5e 02 00 "
         "00 00 00 "
         "04 00 00 00",
         5, 5780, 405, -96.56, -11.56, -68.00},
    };
    for (const auto& c : cases) {
        const sExtracted log = Extracted(0xB17F, Hex(c.mBody));
        ASSERT_EQ(log.mStatus, MEAS_OK) << c.mVersion;
        EXPECT_EQ(log->mLogVersion, c.mVersion);
        ASSERT_EQ(log->mCellCount, 1u);
        const sMeasuredCell& cell = log->mCells[0];
        EXPECT_TRUE(cell.mServing);
        EXPECT_EQ(cell.mChannel, c.mEARFCN);
        EXPECT_EQ(cell.mCell, c.mPCI);
        EXPECT_TRUE(Value(cell.mRSRP, c.mRSRP, kPageRounding));
        EXPECT_TRUE(Value(cell.mRSRQ, c.mRSRQ, kPageRounding));
        EXPECT_TRUE(Value(cell.mRSSI, c.mRSSI, kPageRounding));
        EXPECT_TRUE(std::isnan(cell.mSINR));
        EXPECT_EQ(log->mOutOfRange, 0u);

        Bytes cut = Hex(c.mBody);
        cut.resize(c.mVersion == 5 ? 35 : 31);
        EXPECT_EQ(Extracted(0xB17F, cut).mStatus, MEAS_BAD_LENGTH) << c.mVersion;
    }
    EXPECT_EQ(Extracted(0xB17F, Hex("06 01 00 00")).mStatus, MEAS_UNSUPPORTED_VERSION);
    EXPECT_EQ(Extracted(0xB17F, Hex("03 01 00 00")).mStatus, MEAS_UNSUPPORTED_VERSION);
}

}  // namespace
