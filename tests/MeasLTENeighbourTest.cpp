// Neighbour cells measured by LTE: 0xB180, 0xB192/0xB195, 0xB179 and 0xB188. Expected values from the
// facts page's examples, real packets decoded by hand (tests/data/meas_lte_2016.txt) and packets built from
// the page's layouts.
#include <gtest/gtest.h>

#include "tests/MeasTestSupport.h"

namespace {

// The page's published 0xB180 v5 packet: EARFCN 3350, one cell, PCI 108, RSSI -94.69 dBm, RSRP -120.75 dBm,
// RSRQ -17.06 dB.
TEST(MeasLTENeighbour, IdleNeighboursPublishedV5) {
    EXPECT_EQ(
        Text(Extracted(0xB180, Hex("05 01 00 00 16 0d 00 00 48 00 00 00 6c ea 41 3b b4 43 3b 00 b4 f3 "
                                   "cc 33 cf 3c 13 02 00 00 00 00 ff ef c0 0f ff ef c0 0f 45 08 16 00"))),
        (Lines{"used measurement lte v5",
               "lte neighbour ch 3350 cell 108 RSRP -120.75 RSRQ -17.06 RSSI -94.69"}));
}

// v4 from the page's layout: u16 EARFCN, u16 count word, cells at B+8; release 0, so 28-byte records
// without the Rel-9 word (with release 1 two records no longer fit).
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
    EXPECT_EQ(Text(Extracted(0xB180, body)),
              (Lines{"used measurement lte v4",
                     "lte neighbour ch 12000 cell 1 RSRP -117.50 RSRQ -17.50 RSSI -72.50",
                     "lte neighbour ch 12000 cell 503 RSRP -111.25 RSRQ -14.38 RSSI -41.25"}));
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

const char* const kNeighbour44 = "lte neighbour ch 2075 cell 44 RSRP -119.31 RSRQ -17.00 RSSI -89.75";

// One row per response layout: u16 EARFCN and count (27 v2, 31 v3) or u32 EARFCN, u16 count, 2 reserved
// (27 v4, 31 v24; 31 v4 is the real capture's, below). 0xB192 carries 27 and 0xB195 31. 0xB195 v3's count
// word also has the duplex mode (bits 7..8) and serving cell index (bits 9..12).
TEST(MeasLTENeighbour, ResponseLayouts) {
    const struct {
        unsigned int mCode, mId, mVersion;
        const char* mHeader;
    } cases[] = {
        {0xB192, 27, 2, "1b 08 02 00"},
        {0xB192, 27, 4, "1b 08 00 00 02 00 00 00"},
        {0xB195, 31, 3, "1b 08 82 01"},
        {0xB195, 31, 24, "1b 08 00 00 02 00 00 00"},
    };
    for (const auto& c : cases) {
        Bytes payload = Hex(c.mHeader);
        for (const Bytes& record : {NeighbourRecord(44, 971, 208, 324), NeighbourRecord(473, 0, 0, 0)}) {
            payload.insert(payload.end(), record.begin(), record.end());
        }
        EXPECT_EQ(Text(Extracted(c.mCode, Envelope({{c.mId, c.mVersion, payload}}))),
                  (Lines{"used measurement lte v" + std::to_string(c.mVersion), kNeighbour44,
                         "lte neighbour ch 2075 cell 473"}));
        payload.pop_back();
        EXPECT_EQ(Extracted(c.mCode, Envelope({{c.mId, c.mVersion, payload}})).mStatus, MEAS_BAD_LENGTH)
            << c.mId << " v" << c.mVersion;
    }
    // Other versions are counted; requests (26 of 0xB192, 30 of 0xB195) are passed over.
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
    EXPECT_EQ(Text(Extracted(0xB195, Envelope({{31, 4, payload}}))),
              (Lines{"used measurement lte v4 out of range 1",
                     "lte neighbour ch 2075 RSRP -119.31 RSRQ -17.00 RSSI -89.75"}));
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
    EXPECT_EQ(Text(Extracted(packets[34])),
              (Lines{"used measurement lte v4", kNeighbour44,
                     "lte neighbour ch 2075 cell 273 RSRP -128.81 RSSI -89.75",
                     "lte neighbour ch 2075 cell 472 RSRP -114.50 RSRQ -15.44 RSSI -90.06",
                     "lte neighbour ch 2075 cell 54 RSRP -118.44 RSRQ -15.69 RSSI -90.06"}));
}

// 0xB179, the page's real v4 example: EARFCN 5780, serving PCI 185 at -109.38 dBm / -9.19 dB; neighbours
// PCI 210 at -117.56 / -16.06 and PCI 172 at -124.13 / -19.69.
TEST(MeasLTENeighbour, IntraFrequencyWorkedExample) {
    const Bytes body =
        Hex("04 00 00 00 00 00 00 00 94 16 00 00 b9 00 65 26 6a 04 6a 04 4d 01 4d 01 02 00 00 00 d2 00 "
            "e7 03 e7 03 df 00 df 00 00 00 ac 00 7e 03 7e 03 a5 00 a5 00 00 00");
    EXPECT_EQ(Text(Extracted(0xB179, body)),
              (Lines{"used measurement lte v4", "lte serving #0 ch 5780 cell 185 RSRP -109.38 RSRQ -9.19",
                     "lte neighbour ch 5780 cell 210 RSRP -117.56 RSRQ -16.06",
                     "lte neighbour ch 5780 cell 172 RSRP -124.13 RSRQ -19.69"}));
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
    EXPECT_EQ(Text(Extracted(0xB179, body)),
              (Lines{"used measurement lte v3", "lte serving #2 ch 1300 cell 17 RSRP -117.50 RSRQ -17.50",
                     "lte neighbour ch 1300 cell 18 RSRP -123.75 RSRQ -21.50"}));
}

// The i16 fields: 0 is "not measured", a negative value lies below any physical range (RSRP raw -16 is
// -181 dBm, RSRQ raw -32768), and a PCI above 503 (600) is counted.
TEST(MeasLTENeighbour, IntraFrequencyImpossibleValues) {
    const Bytes body =
        Hex("04 00 00 00 00 00 00 00 94 16 00 00 58 02 65 26 00 00 00 00 4d 01 4d 01 02 00 00 00 d2 00 "
            "f0 ff e7 03 df 00 df 00 00 00 ac 00 7e 03 7e 03 00 80 a5 00 00 00");
    EXPECT_EQ(
        Text(Extracted(0xB179, body)),
        (Lines{"used measurement lte v4 out of range 3", "lte serving #0 ch 5780 RSRQ -9.19",
               "lte neighbour ch 5780 cell 210 RSRQ -16.06", "lte neighbour ch 5780 cell 172 RSRP -124.13"}));
}

// 0xB188 from the page's layout: subpacket 35, DRX cycle, frequencies each with its 16-byte cell records.
TEST(MeasLTENeighbour, WCDMANeighbours) {
    // Each frequency: u16 UARFCN, u8 count, 1 byte; each record: PSC word (PSC bits 0..8, energy 0x55 above),
    // 6 bytes, u8 RSCP, RSSI, Ec/No, 5 bytes.
    Bytes payload =
        Hex("0005 0000 02 000000"  // DRX 1280, 2 frequencies
            "a729 02 00  8dab 000000000000 a0 c0 f6 0000000000  0caa 000000000000 b4 c0 fd 0000000000"
            "c029 01 00  ffab 000000000000 80 c0 e0 0000000000");
    // 0x80 - 256 = -128 dBm lies below the RSCP range; 0xE0 - 256 = -32 dB below the Ec/Io range.
    EXPECT_EQ(Text(Extracted(0xB188, Envelope({{35, 1, payload}}))),
              (Lines{"used measurement lte v1 out of range 2",
                     "wcdma neighbour ch 10663 cell 397 RSCP -96.00 EcIo -10.00",
                     "wcdma neighbour ch 10663 cell 12 RSCP -76.00 EcIo -3.00",
                     "wcdma neighbour ch 10688 cell 511"}));
    payload.pop_back();
    EXPECT_EQ(Extracted(0xB188, Envelope({{35, 1, payload}})).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0xB188, Envelope({{35, 1, Hex("00 05 00 00 01 00 00")}})).mStatus, MEAS_BAD_LENGTH);
    EXPECT_EQ(Extracted(0xB188, Envelope({{35, 1, Hex("00 05 00 00 01 00 00 00 01 00")}})).mStatus,
              MEAS_BAD_LENGTH);
}

}  // namespace
