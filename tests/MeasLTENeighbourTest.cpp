// Neighbour cells measured by LTE: 0xB180, 0xB192/0xB195, 0xB179 and 0xB188. Expected values come from the
// facts page's examples, from real packets decoded by hand (tests/data/meas_lte_2016.txt) and from packets
// built from the page's layouts.
#include <gtest/gtest.h>

#include "tests/MeasTestSupport.h"

namespace {

struct sCell {
    uint16_t mPCI;
    double mRSRP, mRSRQ, mRSSI;
};

// The log's cells are `expected`, none of them serving, all on `channel`.
void ExpectNeighbours(const sExtracted& log, uint32_t channel, const std::vector<sCell>& expected,
                      double tolerance = 1e-9) {
    ASSERT_EQ(log.mStatus, MEAS_OK);
    EXPECT_EQ(log->mKind, MEAS_KIND_MEASUREMENT);
    ASSERT_EQ(log->mCellCount, expected.size());
    for (size_t k = 0; k < expected.size(); ++k) {
        const sMeasuredCell& cell = log->mCells[k];
        EXPECT_EQ(cell.mTechnology, RADIO_LTE);
        EXPECT_FALSE(cell.mServing) << k;
        EXPECT_EQ(cell.mServingIndex, 0xFF) << k;
        EXPECT_EQ(cell.mChannel, channel) << k;
        EXPECT_TRUE(cell.mHasCell) << k;
        EXPECT_EQ(cell.mCell, expected[k].mPCI) << k;
        EXPECT_TRUE(Value(cell.mRSRP, expected[k].mRSRP, tolerance)) << k;
        EXPECT_TRUE(Value(cell.mRSRQ, expected[k].mRSRQ, tolerance)) << k;
        EXPECT_TRUE(Value(cell.mRSSI, expected[k].mRSSI, tolerance)) << k;
        EXPECT_TRUE(std::isnan(cell.mSINR)) << k;
    }
}

// The page's published 0xB180 v5 packet: EARFCN 3350, one cell, PCI 108, RSSI -94.69 dBm, RSRP -120.75 dBm,
// RSRQ -17.06 dB.
TEST(MeasLTENeighbour, IdleNeighboursPublishedV5) {
    const sExtracted log =
        Extracted(0xB180, Hex("05 01 00 00 16 0d 00 00 48 00 00 00 6c ea 41 3b b4 43 3b 00 b4 f3 "
                              "cc 33 cf 3c 13 02 00 00 00 00 ff ef c0 0f ff ef c0 0f 45 08 16 00"));
    ExpectNeighbours(log, 3350, {{108, -120.75, -17.06, -94.69}}, kPageRounding);
    EXPECT_EQ(log->mLogVersion, 5u);
}

// v4 from the page's layout: u16 EARFCN, u16 count word, cells at B+8; release 0, so 28-byte records
// without the Rel-9 word.
TEST(MeasLTENeighbour, IdleNeighboursV4WithoutRel9) {
    Bytes body = Hex("04 00 00 00 e0 2e");  // EARFCN 12000
    Put(body, 6, 2, (2 << 6) | 8);          // 2 cells, Qrxlevmin 8
    const struct {
        unsigned int mPCI, mRSSI, mRSRP, mRSRQ;
    } cells[] = {{1, 600, 1000, 200}, {503, 1100, 1100, 250}};
    for (size_t k = 0; k < 2; ++k) {
        const size_t c = 8 + 28 * k;
        PutBits(body, c, 4, 0, 8, cells[k].mPCI);
        PutBits(body, c, 4, 9, 19, cells[k].mRSSI);
        PutBits(body, c, 4, 20, 31, cells[k].mRSRP);
        PutBits(body, c + 8, 4, 12, 21, cells[k].mRSRQ);
        Put(body, c + 24, 4, 0);
    }
    ASSERT_EQ(body.size(), 8u + 56u);
    ExpectNeighbours(Extracted(0xB180, body), 12000,
                     {{1, -117.5, -17.5, -72.5}, {503, -111.25, -14.375, -41.25}});
    // With release 1 the records are 32 bytes long: 2 of them no longer fit.
    body[1] = 1;
    EXPECT_EQ(Extracted(0xB180, body).mStatus, MEAS_BAD_LENGTH);
    body[1] = 0;
    body.pop_back();
    EXPECT_EQ(Extracted(0xB180, body).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0xB180, Hex("06 01 00 00 16 0d 00 00 48 00 00 00")).mStatus,
              MEAS_UNSUPPORTED_VERSION);
    EXPECT_EQ(Extracted(0xB180, Hex("05 01 00 00 16 0d 00 00 48 00 00")).mStatus, MEAS_BAD_LENGTH);
}

// The 52-byte neighbour record of the response subpackets.
Bytes NeighbourRecord(unsigned int pci, unsigned int rsrp, unsigned int rsrq, unsigned int rssi) {
    Bytes record(52, 0);
    PutBits(record, 0, 4, 0, 9, pci);
    PutBits(record, 0, 4, 10, 25, 0x1234);  // frequency offset
    Put(record, 4, 4, 0x00353535);          // per-chain words
    PutBits(record, 12, 2, 0, 11, rsrp);
    PutBits(record, 20, 4, 10, 19, rsrq);
    PutBits(record, 28, 4, 0, 10, rssi - 3);  // Rx1
    PutBits(record, 28, 4, 11, 21, rssi);
    return record;
}

// One row per response layout: u16 EARFCN and count (27 v2, 31 v3) or u32 EARFCN, u16 count, 2 reserved
// (27 v4, 31 v4, 31 v24). 0xB192 carries 27 and 0xB195 31.
TEST(MeasLTENeighbour, ResponseLayouts) {
    const struct {
        unsigned int mCode, mId, mVersion;
        const char* mHeader;
    } cases[] = {
        {0xB192, 27, 2, "1b 08 02 00"},
        {0xB192, 27, 4, "1b 08 00 00 02 00 00 00"},
        {0xB195, 31, 3, "1b 08 82 01"},
        {0xB195, 31, 4, "1b 08 00 00 02 00 00 00"},
        {0xB195, 31, 24, "1b 08 00 00 02 00 00 00"},
    };
    for (const auto& c : cases) {
        Bytes payload = Hex(c.mHeader);
        for (const Bytes& record : {NeighbourRecord(44, 971, 208, 324), NeighbourRecord(473, 0, 0, 0)}) {
            payload.insert(payload.end(), record.begin(), record.end());
        }
        // 0xB195 v3's count word also has the duplex mode (bits 7..8) and serving cell index (bits 9..12).
        const sExtracted log = Extracted(c.mCode, Envelope({{c.mId, c.mVersion, payload}}));
        ExpectNeighbours(log, 2075, {{44, -119.3125, -17, -89.75}, {473, NAN, NAN, NAN}});
        EXPECT_EQ(log->mLogVersion, c.mVersion);
        EXPECT_EQ(log->mOutOfRange, 0u);

        payload.pop_back();
        EXPECT_EQ(Extracted(c.mCode, Envelope({{c.mId, c.mVersion, payload}})).mStatus, MEAS_BAD_LENGTH)
            << c.mId << " v" << c.mVersion;
    }
    // Requests (26 of 0xB192, 30 of 0xB195) are passed over.
    const struct {
        unsigned int mId, mVersion;
        eMeasStatus mStatus;
    } others[] = {
        {31, 5, MEAS_UNSUPPORTED_VERSION},
        {27, 3, MEAS_UNSUPPORTED_VERSION},
        {30, 4, MEAS_UNSUPPORTED_VERSION},
        {28, 1, MEAS_UNSUPPORTED_VERSION},
        {26, 3, MEAS_UNSUPPORTED_VERSION},
        {26, 1, MEAS_OK},
        {26, 2, MEAS_OK},
        {30, 3, MEAS_OK},
    };
    for (const auto& c : others) {
        const sExtracted log = Extracted(0xB195, Envelope({{c.mId, c.mVersion, Bytes(12, 0)}}));
        EXPECT_EQ(log.mStatus, c.mStatus) << c.mId << " v" << c.mVersion;
        EXPECT_EQ(log->mLogVersion, c.mVersion) << c.mId << " v" << c.mVersion;
        EXPECT_EQ(log->mCellCount, 0u);
    }
    // A PCI field holds 10 bits: 600 is counted.
    Bytes payload = Hex("1b 08 00 00 01 00 00 00");
    const Bytes record = NeighbourRecord(600, 971, 208, 324);
    payload.insert(payload.end(), record.begin(), record.end());
    const sExtracted log = Extracted(0xB195, Envelope({{31, 4, payload}}));
    ASSERT_EQ(log->mCellCount, 1u);
    EXPECT_FALSE(log->mCells[0].mHasCell);
    EXPECT_EQ(log->mOutOfRange, 1u);
}

// A real 0xB195 log (request 30 v3, then response 31 v4) decoded by hand. Response payloads: 1b 08 00 00
// (EARFCN 2075), the count, 2 reserved, then 52-byte records: PCI w32@0[0..9], RSRP w16@12[0..11],
// RSRQ w32@20[10..19], RSSI w32@28[11..21].
TEST(MeasLTENeighbour, RealConnectedNeighbours) {
    const std::vector<Bytes> packets = PacketsOf("meas_lte_2016.txt", 0xB195);
    ASSERT_GT(packets.size(), 34u);
    // Log 34, 4 cells; cell 1 has RSRQ raw 0 (not measured):
    //  2c 00 .. | 0xB3CB [0..11] 971 -> -119.3125 | 0x0D03405C 208 -> -17 | 0x000A2144 324 -> -89.75
    //  11 01 .. | 0x3333 819 -> -128.8125 | 0 -> not measured | 0x000A2144 -> -89.75
    //  d8 01 .. | 0x8418 1048 -> -114.5 | 0x0E93A4E9 233 -> -15.4375 | 0x0009F93F 319 -> -90.0625
    //  36 00 .. | 0x93D9 985 -> -118.4375 | 0x0E539485 229 -> -15.6875 | 0x0009F93F -> -90.0625
    const sExtracted log = Extracted(packets[34]);
    ExpectNeighbours(log, 2075,
                     {{44, -119.3125, -17, -89.75},
                      {273, -128.8125, NAN, -89.75},
                      {472, -114.5, -15.4375, -90.0625},
                      {54, -118.4375, -15.6875, -90.0625}});
    EXPECT_EQ(log->mOutOfRange, 0u);
}

// 0xB179: the serving cell first (with its serving cell index), then the neighbours.
void ExpectIntraFrequency(const sExtracted& log, uint32_t channel, uint8_t servingIndex, const sCell& serving,
                          const std::vector<sCell>& neighbours, double tolerance = 1e-9) {
    ASSERT_EQ(log.mStatus, MEAS_OK);
    ASSERT_EQ(log->mCellCount, 1 + neighbours.size());
    const sMeasuredCell& first = log->mCells[0];
    EXPECT_TRUE(first.mServing);
    EXPECT_EQ(first.mServingIndex, servingIndex);
    EXPECT_EQ(first.mChannel, channel);
    EXPECT_EQ(first.mCell, serving.mPCI);
    EXPECT_TRUE(Value(first.mRSRP, serving.mRSRP, tolerance));
    EXPECT_TRUE(Value(first.mRSRQ, serving.mRSRQ, tolerance));
    EXPECT_TRUE(std::isnan(first.mRSSI));
    for (size_t k = 0; k < neighbours.size(); ++k) {
        const sMeasuredCell& cell = log->mCells[1 + k];
        EXPECT_FALSE(cell.mServing) << k;
        EXPECT_EQ(cell.mChannel, channel) << k;
        EXPECT_EQ(cell.mCell, neighbours[k].mPCI) << k;
        EXPECT_TRUE(Value(cell.mRSRP, neighbours[k].mRSRP, tolerance)) << k;
        EXPECT_TRUE(Value(cell.mRSRQ, neighbours[k].mRSRQ, tolerance)) << k;
        EXPECT_TRUE(std::isnan(cell.mRSSI)) << k;
    }
}

// The page's real v4 example: EARFCN 5780, serving PCI 185 at -109.38 dBm / -9.19 dB; neighbours PCI 210
// at -117.56 / -16.06 and PCI 172 at -124.13 / -19.69.
TEST(MeasLTENeighbour, IntraFrequencyWorkedExample) {
    const Bytes body =
        Hex("04 00 00 00 00 00 00 00 94 16 00 00 b9 00 65 26 6a 04 6a 04 4d 01 4d 01 02 00 00 00 d2 00 "
            "e7 03 e7 03 df 00 df 00 00 00 ac 00 7e 03 7e 03 a5 00 a5 00 00 00");
    const sExtracted log = Extracted(0xB179, body);
    ExpectIntraFrequency(log, 5780, 0, {185, -109.38, -9.19, NAN},
                         {{210, -117.56, -16.06, NAN}, {172, -124.13, -19.69, NAN}}, kPageRounding);
    EXPECT_EQ(log->mLogVersion, 4u);
    // Zero bytes past the records are allowed; a neighbour count beyond the body is not.
    Bytes padded = body;
    padded.resize(body.size() + 12, 0);
    EXPECT_EQ(Extracted(0xB179, padded).mStatus, MEAS_OK);
    Bytes more = body;
    more[24] = 3;
    EXPECT_EQ(Extracted(0xB179, more).mStatus, MEAS_BAD_LENGTH);
    Bytes detected = padded;
    detected[25] = 1;  // a 16-byte detected-cell record: 12 bytes are there
    EXPECT_EQ(Extracted(0xB179, detected).mStatus, MEAS_BAD_LENGTH);
    detected.resize(detected.size() + 4, 0);
    EXPECT_EQ(Extracted(0xB179, detected).mStatus, MEAS_OK);
    EXPECT_EQ(Extracted(0xB179, Bytes(body.begin(), body.begin() + 27)).mStatus, MEAS_BAD_LENGTH);
    Bytes unknown = body;
    unknown[0] = 5;
    EXPECT_EQ(Extracted(0xB179, unknown).mStatus, MEAS_UNSUPPORTED_VERSION);
}

// v3 from the page's layout: u16 EARFCN @8, PCI @10, RSRP @14, RSRQ @18, counts @22/@23, records @24, and
// v3's detected-cell record (u32 PCI, u32 SSS correlation, u64 time).
TEST(MeasLTENeighbour, IntraFrequencyV3) {
    Bytes body = Hex("03 00 00 00 02 00 00 00");  // SCell 2
    Put(body, 8, 2, 1300);
    Put(body, 10, 2, 17);
    Put(body, 12, 2, 4321);
    Put(body, 14, 2, 1000);  // -117.5
    Put(body, 16, 2, 1000);
    Put(body, 18, 2, 200);  // -17.5
    Put(body, 20, 2, 200);
    Put(body, 22, 1, 1);
    Put(body, 23, 1, 1);
    Put(body, 24, 2, 18);
    Put(body, 26, 2, 900);  // -123.75
    Put(body, 28, 2, 900);
    Put(body, 30, 2, 136);  // -21.5
    Put(body, 36, 4, 99);   // detected PCI
    Put(body, 51, 1, 0);
    ASSERT_EQ(body.size(), 24u + 12u + 16u);
    ExpectIntraFrequency(Extracted(0xB179, body), 1300, 2, {17, -117.5, -17.5, NAN},
                         {{18, -123.75, -21.5, NAN}});
}

// The i16 fields: 0 is "not measured", a negative value lies below any physical range, and a PCI above 503
// is counted.
TEST(MeasLTENeighbour, IntraFrequencyImpossibleValues) {
    Bytes body =
        Hex("04 00 00 00 00 00 00 00 94 16 00 00 58 02 65 26 00 00 00 00 4d 01 4d 01 02 00 00 00 d2 00 "
            "f0 ff e7 03 df 00 df 00 00 00 ac 00 7e 03 7e 03 00 80 a5 00 00 00");
    const sExtracted log = Extracted(0xB179, body);
    ASSERT_EQ(log.mStatus, MEAS_OK);
    EXPECT_FALSE(log->mCells[0].mHasCell);  // PCI 600
    EXPECT_TRUE(std::isnan(log->mCells[0].mRSRP));
    EXPECT_TRUE(std::isnan(log->mCells[1].mRSRP));  // raw -16: -181 dBm
    EXPECT_TRUE(std::isnan(log->mCells[2].mRSRQ));  // raw -32768
    EXPECT_EQ(log->mOutOfRange, 3u);
}

// 0xB188 from the page's layout: subpacket 35, DRX cycle, frequencies each with its 16-byte cell records.
TEST(MeasLTENeighbour, WCDMANeighbours) {
    Bytes payload = Hex("00 05 00 00 02 00 00 00");  // DRX 1280, 2 frequencies
    const struct {
        unsigned int mUARFCN;
        std::vector<std::vector<unsigned int>> mCells;  // PSC, RSCP u8, Ec/No u8
    } frequencies[] = {{10663, {{397, 0xA0, 0xF6}, {12, 0xB4, 0xFD}}}, {10688, {{511, 0x80, 0xE0}}}};
    for (const auto& f : frequencies) {
        Bytes head(4, 0);
        Put(head, 0, 2, f.mUARFCN);
        Put(head, 2, 1, f.mCells.size());
        payload.insert(payload.end(), head.begin(), head.end());
        for (const auto& c : f.mCells) {
            Bytes record(16, 0);
            PutBits(record, 0, 2, 0, 8, c[0]);
            PutBits(record, 0, 2, 9, 15, 0x55);  // energy
            Put(record, 8, 1, c[1]);
            Put(record, 9, 1, 0xC0);  // RSSI
            Put(record, 10, 1, c[2]);
            payload.insert(payload.end(), record.begin(), record.end());
        }
    }
    const sExtracted log = Extracted(0xB188, Envelope({{35, 1, payload}}));
    ASSERT_EQ(log.mStatus, MEAS_OK);
    const struct {
        uint32_t mUARFCN;
        uint16_t mPSC;
        double mRSCP, mEcIo;
    } expected[] = {{10663, 397, -96, -10}, {10663, 12, -76, -3}, {10688, 511, NAN, NAN}};
    ASSERT_EQ(log->mCellCount, 3u);
    for (size_t k = 0; k < 3; ++k) {
        const sMeasuredCell& cell = log->mCells[k];
        EXPECT_EQ(cell.mTechnology, RADIO_WCDMA);
        EXPECT_FALSE(cell.mServing);
        EXPECT_EQ(cell.mChannel, expected[k].mUARFCN) << k;
        EXPECT_EQ(cell.mCell, expected[k].mPSC) << k;
        EXPECT_TRUE(Value(cell.mRSCP, expected[k].mRSCP)) << k;
        EXPECT_TRUE(Value(cell.mEcIo, expected[k].mEcIo)) << k;
        EXPECT_TRUE(std::isnan(cell.mRSRP));
    }
    // 0x80 - 256 = -128 dBm lies below the RSCP range; 0xE0 - 256 = -32 dB below the Ec/Io range.
    EXPECT_EQ(log->mOutOfRange, 2u);

    payload.pop_back();
    EXPECT_EQ(Extracted(0xB188, Envelope({{35, 1, payload}})).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0xB188, Envelope({{35, 1, Hex("00 05 00 00 01 00 00")}})).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0xB188, Envelope({{35, 1, Hex("00 05 00 00 01 00 00 00 01 00")}})).mStatus,
              MEAS_BAD_LENGTH);
}

}  // namespace
