// LTE serving-cell measurements: 0xB193 (one layout per subpacket version) and 0xB17F. Expected values from
// real packets decoded by hand (tests/data/meas_lte_bler.txt, meas_lte_2016.txt), the facts page's 0xB17F
// example and packets built from the page's field positions.
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

// The raw values a cell is built with (kWant below gives what they are). The second set sets the top bit
// of each field that its valid range allows: 2100 of RSRP's 12 bits, 516 of RSRQ's 10, 1500 of RSSI's 11,
// 450 of SNR's 9.
struct sRawCell {
    unsigned int mRSRP, mRSRQ, mRSSI, mSNR0, mSNR1;  // mRSRP as a 2-chain layout stores it
};
const sRawCell kRawCells[] = {{1000, 200, 700, 250, 280}, {2100, 516, 1500, 450, 0}};

Bytes ServingPayload(const sServingVersion& v, size_t cells, const sRawCell& raw = kRawCells[0]) {
    Bytes payload(v.mPayload, 0);
    Put(payload, 0, v.mChannelBytes, 1850);
    if (v.mCountAt != 0) {
        Put(payload, v.mCountAt, 2, cells);
    }
    if (v.mValidRxAt != 0) {
        Put(payload, v.mValidRxAt, 2, 3);
    }
    // Cell k: PCI 301 + k, serving index 1 (an SCell), the is-serving flag on cell 0 only, and the values
    // of `raw` (the combined RSRP 640 lower where the layout stores it 40 dB down).
    for (size_t k = 0, base = 0; k < cells; ++k, base += v.mStride) {
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
    EXPECT_EQ(payload.size(), v.mPayload) << "every field lies inside the version's payload";
    return payload;
}

// v4 and v7 have no is-serving flag: their one cell is the serving one. The last cell record ends the
// payload: one byte less fails the length check.
TEST(MeasLTEServing, EveryVersionFromThePageLayouts) {
    const char* const kWant[] = {"RSRP -117.50 RSRQ -17.50 RSSI -66.25 SINR 8.00",
                                 "RSRP -48.75 RSRQ 2.25 RSSI -16.25 SINR 25.00"};
    for (const sServingVersion& v : kVersions) {
        for (size_t r = 0; r < 2; ++r) {
            const size_t cells = v.mStride != 0 ? 2 : 1;
            Bytes payload = ServingPayload(v, cells, kRawCells[r]);
            Lines want = {"used measurement lte v" + std::to_string(v.mVersion),
                          std::string("lte serving #1 ch 1850 cell 301 ") + kWant[r]};
            if (cells == 2) {
                want.push_back(std::string("lte neighbour #1 ch 1850 cell 302 ") + kWant[r]);
            }
            EXPECT_EQ(Text(Extracted(kServing, Envelope({{0x19, v.mVersion, payload}}))), want);
            payload.resize((v.mStride != 0 ? v.mCellAt + cells * v.mStride : v.mPayload) - 1);
            EXPECT_EQ(Extracted(kServing, Envelope({{0x19, v.mVersion, payload}})).mStatus, MEAS_BAD_LENGTH)
                << v.mVersion;
        }
    }
}

// Real 0xB193 logs decoded by hand (cell records from P+8, 128 bytes apart in v36, 88 in v19).
TEST(MeasLTEServing, RealPacketsDecodedByHand) {
    const struct {
        const char* mFile;
        size_t mIndex;  // among the file's 0xB193 logs
        Lines mWant;
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
         {"used measurement lte v36",
          "lte serving #0 ch 1825 cell 73 RSRP -101.63 RSRQ -15.50 RSSI -67.38 SINR -1.50",
          "lte neighbour #0 ch 1825 cell 74 RSRP -100.06 RSRQ -13.06 RSSI -68.00 SINR -1.50",
          "lte neighbour #0 ch 1825 cell 47 RSRP -109.38 RSRQ -19.69 RSSI -67.75 SINR -1.50",
          "lte neighbour #0 ch 1825 cell 273 RSRP -109.88 RSRQ -20.19 RSSI -68.69 SINR -1.50"}},
        // v36, EARFCN 3683, valid_rx 1 (Rx0 only): id 0x115F (PCI 351); C+28 0x00174000 372 -> -116.75;
        // C+44 0x14852148 328 -> -9.5; C+56 0x10B 267 -> -93.3125; C+80 0x145: SNR Rx0 325 -> 12.5
        {"meas_lte_bler.txt",
         39,
         {"used measurement lte v36",
          "lte serving #0 ch 3683 cell 351 RSRP -116.75 RSRQ -9.50 RSSI -93.31 SINR 12.50"}},
        // v36, valid_rx 2 (Rx1 only): C+28 0x001AF000 431 -> -113.0625; C+44 0x14551545 325 -> -9.6875;
        // C+56 0x149 329 -> -89.4375; C+80 0x00026800: SNR Rx1 [9..17] 308 -> 10.8
        {"meas_lte_bler.txt",
         48,
         {"used measurement lte v36",
          "lte serving #0 ch 3683 cell 351 RSRP -113.06 RSRQ -9.69 RSSI -89.44 SINR 10.80"}},
        // v19, EARFCN 2075 (1b 08 00 00), 1 cell: id 0x102A (PCI 42); C+24 0x00452452 [12..23] 1106 ->
        // -110.875; C+32 0x115390E4 [20..29] 277 -> -12.6875; C+40 0x21A 538 -> -76.375; C+64 0x00018CF6
        // SNR 246 / 198 -> 4.6 / -0.2
        {"meas_lte_2016.txt",
         0,
         {"used measurement lte v19",
          "lte serving #0 ch 2075 cell 42 RSRP -110.88 RSRQ -12.69 RSSI -76.38 SINR 4.60"}},
    };
    for (const auto& c : cases) {
        const std::vector<Bytes> packets = PacketsOf(c.mFile, kServing);
        ASSERT_LT(c.mIndex, packets.size());
        EXPECT_EQ(Text(Extracted(packets[c.mIndex])), c.mWant) << c.mFile << " " << c.mIndex;
    }
}

// A v36 or v19 payload of one cell, PCI `pci` (serving), EARFCN 1850: raw 0 in every field not given.
Bytes OneCell(const sServingVersion& v, unsigned int pci) {
    Bytes payload(v.mPayload, 0);
    Put(payload, 0, 4, 1850);
    Put(payload, 4, 2, 1);
    PutBits(payload, v.mCellAt, 2, 0, 8, pci);
    PutBits(payload, v.mCellAt, 2, 12, 12, 1);
    return payload;
}

// The SINR is the best SNR of the receive chains that are on (the real packets above carry valid_rx masks
// 3, 1 and 2): none flagged gives none; without a mask (v19) Rx1 without RSRP is off; SNR raw 0 is -20 dB.
TEST(MeasLTEServing, SINROfTheChainsThatAreOn) {
    const sServingVersion& v36 = kVersions[7];
    const sServingVersion& v19 = kVersions[3];
    const struct {
        const sServingVersion* mVersion;
        unsigned int mRx1RSRP, mSNR0;
        const char* mWant;
    } cases[] = {
        {&v36, 1010, 250, "lte serving #0 ch 1850 cell 5"},
        {&v19, 0, 250, "lte serving #0 ch 1850 cell 5 SINR 5.00"},
        {&v19, 0, 0, "lte serving #0 ch 1850 cell 5 SINR -20.00"},
    };
    for (const auto& c : cases) {
        Bytes payload = OneCell(*c.mVersion, 5);
        Put32(payload, 0, c.mVersion->mRx0, 990);
        Put32(payload, 0, c.mVersion->mRx1, c.mRx1RSRP);
        Put32(payload, 0, c.mVersion->mSNR0, c.mSNR0);
        Put32(payload, 0, c.mVersion->mSNR1, 280);
        EXPECT_EQ(Text(Extracted(kServing, Envelope({{0x19, c.mVersion->mVersion, payload}}))),
                  (Lines{"used measurement lte v" + std::to_string(c.mVersion->mVersion), c.mWant}));
    }
}

// Raw 0 of RSRP, RSRQ and RSSI means "not measured": left out, not counted. Each range's ends are kept
// (RSRP -144..-44 dBm, RSRQ up to +2.5 dB, RSSI up to 0 dBm, PCI up to 503); one step past is counted.
// The 4-chain layouts (v36) store the combined RSRP 640 raw down: raw 1 is -139.94 dBm, 1536 -44 dBm.
TEST(MeasLTEServing, NotMeasuredAndOutOfRange) {
    const struct {
        unsigned int mVersion, mPCI, mRSRP, mRSRQ, mRSSI;
        const char* mHeader;
        const char* mCell;
    } cases[] = {
        {19, 301, 0, 0, 0, "", "cell 301"},
        {19, 301, 576, 200, 700, "", "cell 301 RSRP -144.00 RSRQ -17.50 RSSI -66.25"},
        {19, 301, 575, 200, 700, " out of range 1", "cell 301 RSRQ -17.50 RSSI -66.25"},
        {19, 301, 2176, 520, 1760, "", "cell 301 RSRP -44.00 RSRQ 2.50 RSSI 0.00"},
        {19, 301, 2177, 521, 1761, " out of range 3", "cell 301"},
        {19, 503, 1000, 200, 700, "", "cell 503 RSRP -117.50 RSRQ -17.50 RSSI -66.25"},
        {19, 504, 1000, 200, 700, " out of range 1", "RSRP -117.50 RSRQ -17.50 RSSI -66.25"},
        {36, 0, 0, 0, 0, "", "cell 0"},
        {36, 0, 1, 0, 0, "", "cell 0 RSRP -139.94"},
        {36, 0, 1536, 0, 0, "", "cell 0 RSRP -44.00"},
        {36, 0, 1537, 0, 0, " out of range 1", "cell 0"},
    };
    for (const auto& c : cases) {
        const sServingVersion& v = kVersions[c.mVersion == 19 ? 3 : 7];
        Bytes payload = OneCell(v, c.mPCI);
        Put32(payload, 0, v.mRSRP, c.mRSRP);
        Put32(payload, 0, v.mRSRQ, c.mRSRQ);
        Put32(payload, 0, v.mRSSI, c.mRSSI);
        EXPECT_EQ(Text(Extracted(kServing, Envelope({{0x19, v.mVersion, payload}}))),
                  (Lines{"used measurement lte v" + std::to_string(c.mVersion) + c.mHeader,
                         std::string("lte serving #0 ch 1850 ") + c.mCell}));
    }
}

// Cells exceeding the payload, cut or impossible subpacket headers: counted as failed length checks,
// nothing read outside the packet. Only the counted cell records need to fit. Unknown versions: counted.
TEST(MeasLTEServing, BadEnvelopesAndCounts) {
    const Bytes four = ServingPayload(kVersions[3], 4);
    const auto v19 = [&four](unsigned char count, size_t size) {
        Bytes payload = four;
        payload[4] = count;
        payload.resize(size);
        return Envelope({{0x19, 19, payload}});
    };
    const struct {
        const char* mName;
        Bytes mBody;
        eMeasStatus mStatus;
        unsigned int mVersion;
        size_t mCells;
    } cases[] = {
        {"4 cells", v19(4, four.size()), MEAS_OK, 19, 4},
        {"no cell", v19(0, four.size()), MEAS_OK, 19, 0},
        {"5 cells in 4 slots", v19(5, four.size()), MEAS_BAD_LENGTH, 19, 0},
        {"unused slot cut", v19(3, four.size() - 1), MEAS_OK, 19, 3},
        {"payload header cut", Envelope({{0x19, 19, Hex("1b 08 00")}}), MEAS_BAD_LENGTH, 19, 0},
        {"two subpackets", Envelope({{0x19, 19, four}, {0x19, 19, four}}), MEAS_OK, 19, 8},
        {"other subpacket skipped", Envelope({{0x1A, 1, Bytes(12, 0xFF)}, {0x19, 19, four}}), MEAS_OK, 19, 4},
        {"no subpacket", Envelope({}), MEAS_OK, 0, 0},
        {"v3", Envelope({{0x19, 3, Bytes(8 + 148, 0)}}), MEAS_UNSUPPORTED_VERSION, 3, 0},
        {"v51", Envelope({{0x19, 51, Bytes(8 + 148, 0)}}), MEAS_UNSUPPORTED_VERSION, 51, 0},
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

// The facts page's 0xB17F example (real, v5); v4 built from its layout (u16 EARFCN, no Rel-9 word); v5 with
// the bits around each field set. One byte short of the words before the Rel-9 one fails the length check.
TEST(MeasLTEServing, IdleServingMeasurement) {
    const struct {
        const char* mBody;
        size_t mSize;
    } cases[] = {
        {"05 01 00 00 94 16 00 00 95 01 00 00 37 75 53 00 37 75 53 00 27 9d 74 12 27 81 0a 00 86 a7 5e 02 00 "
         "00 00 00 04 00 00 00",
         36},
        {"04 00 00 00 94 16 95 01 37 75 53 00 37 75 53 00 27 9d 74 12 27 81 0a 00 86 a7 5e 02 00 00 00 00",
         32},
        {"05 01 00 00 94 16 00 00 95 ff 00 00 37 f5 ff 00 37 75 53 00 27 fd 7f 12 ff 83 ea ff 86 a7 5e 02 00 "
         "00 00 00 04 00 00 00",
         36},
    };
    for (const auto& c : cases) {
        Bytes body = Hex(c.mBody);
        EXPECT_EQ(Text(Extracted(0xB17F, body)),
                  (Lines{"used measurement lte v" + std::to_string(body[0]),
                         "lte serving ch 5780 cell 405 RSRP -96.56 RSRQ -11.56 RSSI -68.00"}));
        body.resize(c.mSize - 1);
        EXPECT_EQ(Extracted(0xB17F, body).mStatus, MEAS_BAD_LENGTH) << c.mBody;
    }
    EXPECT_EQ(Extracted(0xB17F, Hex("06 01 00 00")).mStatus, MEAS_UNSUPPORTED_VERSION);
    EXPECT_EQ(Extracted(0xB17F, Hex("03 01 00 00")).mStatus, MEAS_UNSUPPORTED_VERSION);
}

}  // namespace
