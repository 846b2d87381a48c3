// LTE cell information: the MIB (0xB0C1), the RRC serving cell info (0xB0C2) and the ML1 serving cell info
// (0xB197). Expected values from the facts page's worked examples and real packets decoded by hand
// (tests/data/meas_lte_cells.txt).
#include <gtest/gtest.h>

#include "tests/MeasTestSupport.h"

namespace {

// The facts page's framing example, the packet inside the frame (its 7d 5d escape undone).
TEST(MeasLTECell, WorkedExampleMIB) {
    const sExtracted mib =
        Extracted(Hex("10 00 17 00 17 00 c1 b0 47 92 89 7d 14 1d ed 00 02 67 00 79 09 00 00 d0 02 04 19"));
    EXPECT_EQ(Text(mib), (Lines{"used mib lte v2", "dl 2425 cell 103 dl-bw 5"}));
    EXPECT_EQ(mib->mLogCode, 0xB0C1);
    EXPECT_EQ(mib->mTimestamp, 0x00ED1D147D899247u);
}

// Real MIB logs (v2: u8 version, u16 PCI, u32 EARFCN, u16 SFN, u8 antennas, u8 resource blocks), decoded
// by hand from tests/data/meas_lte_cells.txt.
TEST(MeasLTECell, RealMIBs) {
    const Lines expected[] = {
        // 02 | c0 00 | 6e 14 00 00 | 00 01 | 02 | 32: PCI 192, EARFCN 5230, SFN 256, 2 antennas, 50 RB
        {"used mib lte v2", "dl 5230 cell 192 dl-bw 10"},
        // 02 | cf 00 | 52 03 00 00 | 6c 03 | 04 | 64: PCI 207, EARFCN 850, SFN 876, 4 antennas, 100 RB
        {"used mib lte v2", "dl 850 cell 207 dl-bw 20"},
        // 02 | 1e 00 | 34 08 00 00 | ec 02 | 02 | 64: PCI 30, EARFCN 2100, SFN 748, 2 antennas, 100 RB
        {"used mib lte v2", "dl 2100 cell 30 dl-bw 20"},
        // wrapper 98 01 00 00 02 00 00 00; 02 | 44 00 | 77 01 00 00 | f8 01 | 02 | 4b: PCI 68, EARFCN 375,
        // SFN 504, 2 antennas, 75 RB
        {"used mib lte v2 sim 2", "dl 375 cell 68 dl-bw 15"},
    };
    const std::vector<Bytes> packets = PacketsOf("meas_lte_cells.txt", 0xB0C1);
    ASSERT_EQ(packets.size(), 4u);
    for (size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(Text(Extracted(packets[i])), expected[i]);
    }
}

// Real serving cell info logs (v3), decoded by hand from tests/data/meas_lte_cells.txt (its second and third
// repeat the first's kind of values: left out), then the facts page's worked example inside the multi-SIM
// wrapper of SIM 1, and v2 built from the page's layout.
TEST(MeasLTECell, RealServingCellInfo) {
    const Lines expected[] = {
        // 03 | 38 01 | 1a 04 01 00 | 1a 04 02 00 | 32 32 | 0d d5 82 03 | 0b e6 | 42 00 00 00 | 37 01 | 03 |
        // e0 01 | 00: PCI 312, EARFCN 66586 / 132122, 50 RB, cell 0x0382D50D, TAC 0xE60B, band 66, 311-480
        {"used serving cell lte v3",
         "dl 66586 ul 132122 cell 312 id 0x382d50d area 0xe60b plmn 311-480 band 66 dl-bw 10 ul-bw 10"},
        // wrapper of SIM 2; 03 | e1 00 | b3 8d 00 00 | b3 8d 00 00 | 4b 4b | 1e 58 15 01 | de 10 |
        // 22 00 00 00 | cc 01 | 02 | 00 00 | 00: PCI 225, EARFCN 36275 both ways (TDD), 75 RB, cell
        // 0x0115581E, TAC 0x10DE, band 34, 460-00
        {"used serving cell lte v3 sim 2",
         "dl 36275 ul 36275 cell 225 id 0x115581e area 0x10de plmn 460-00 band 34 dl-bw 15 ul-bw 15"},
        // 03 | fd 00 | 21 07 00 00 | 71 4d 00 00 | 4b 4b | 32 02 9d 01 | ad 18 | 03 00 00 00 | cc 01 | 02 |
        // 0b 00 | 00: PCI 253, EARFCN 1825 / 19825, 75 RB, cell 0x019D0232, TAC 0x18AD, band 3, 460-11
        {"used serving cell lte v3",
         "dl 1825 ul 19825 cell 253 id 0x19d0232 area 0x18ad plmn 460-11 band 3 dl-bw 15 ul-bw 15"},
        // The page: PCI 162, EARFCN 1350 / 19350, 100 RB, cell 0x078980BB (eNB 493952, cell 187), TAC 4566,
        // band 3, 460-00
        {"used serving cell lte v3 sim 1",
         "dl 1350 ul 19350 cell 162 id 0x78980bb area 0x11d6 plmn 460-00 band 3 dl-bw 20 ul-bw 20"},
        // v2: u16 EARFCNs; DL 50 RB, UL 25 RB; a 3-digit MNC with a leading zero
        {"used serving cell lte v2",
         "dl 5110 ul 23110 cell 7 id 0xabcde01 area 0x1234 plmn 310-030 band 12 dl-bw 10 ul-bw 5"},
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
    for (size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(Text(Extracted(packets[i])), expected[i]);
    }
}

// Versions no capture holds, built from the page's layouts: PCI 301, EARFCN 39150 (or 1300 where it is a
// u16), and the bandwidth in resource blocks.
TEST(MeasLTECell, HandBuiltMIBVersions) {
    const struct {
        const char* mBody;
        const char* mInfo;
    } cases[] = {
        // v1: u16 EARFCN, SFN, 1 antenna, 6 RB
        {"01 2d 01 14 05 10 00 01 06", "dl 1300 cell 301 dl-bw 1.4"},
        // v3: v2 and a SIB1-BR scheduling byte; 15 RB
        {"03 2d 01 ee 98 00 00 10 00 02 0f 05", "dl 39150 cell 301 dl-bw 3"},
        // v17 (NB-IoT): no bandwidth field; operation mode 3, 1 antenna
        {"11 2d 01 ee 98 00 00 10 00 02 01 03 04 00 03 00 00 01", "dl 39150 cell 301"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Text(Extracted(0xB0C1, Hex(c.mBody)))[1], c.mInfo);
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
        EXPECT_EQ(
            Text(Extracted(0xB197, body)),
            (Lines{"used serving cell lte v" + std::to_string(c.mVersion), "dl 1300 cell 36 dl-bw 20"}));
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
            EXPECT_EQ(Text(Extracted(c.mCode, body)),
                      Lines{"failed length check none v" + std::to_string(c.mVersion)})
                << std::hex << c.mCode;
        }
    }
    EXPECT_EQ(Extracted(0xB0C1, Bytes()).mStatus, MEAS_BAD_LENGTH);
}

// Values outside their domain are left out and counted, never clamped; the rest of the log is kept.
TEST(MeasLTECell, ImpossibleValuesAreCounted) {
    // MIB v2 with PCI 600 and 7 resource blocks; PCI 503 is the last valid one.
    EXPECT_EQ(Text(Extracted(0xB0C1, Hex("02 58 02 79 09 00 00 d0 02 04 07"))),
              (Lines{"used mib lte v2 out of range 2", "dl 2425"}));
    EXPECT_EQ(Text(Extracted(0xB0C1, Hex("02 f7 01 79 09 00 00 d0 02 04 19")))[1],
              "dl 2425 cell 503 dl-bw 5");
    // Serving cell info v3 (the worked example) with a 29-bit identity, 4 MNC digits and band 0 (none); then
    // a 2-digit MNC above 99 and an MCC above 999; a band beyond 16 bits; MNC 999 of 3 digits and MCC 999.
    const char* const head = "03 a2 00 46 05 00 00 96 4b 00 00 64 64 bb 80 89 ";
    const struct {
        const char* mTail;
        Lines mWant;
    } cases[] = {
        {"17 d6 11 00 00 00 00 cc 01 04 00 00 00",
         {"used serving cell lte v3 out of range 2",
          "dl 1350 ul 19350 cell 162 area 0x11d6 dl-bw 20 ul-bw 20"}},
        {"07 d6 11 00 00 01 00 cc 01 02 64 00 00",
         {"used serving cell lte v3 out of range 2",
          "dl 1350 ul 19350 cell 162 id 0x78980bb area 0x11d6 dl-bw 20 ul-bw 20"}},
        {"07 d6 11 03 00 00 00 e8 03 03 00 00 00",
         {"used serving cell lte v3 out of range 1",
          "dl 1350 ul 19350 cell 162 id 0x78980bb area 0x11d6 band 3 dl-bw 20 ul-bw 20"}},
        {"07 d6 11 03 00 00 00 e7 03 03 e7 03 00",
         {"used serving cell lte v3",
          "dl 1350 ul 19350 cell 162 id 0x78980bb area 0x11d6 plmn 999-999 band 3 dl-bw 20 ul-bw 20"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Text(Extracted(0xB0C2, Hex(std::string(head) + c.mTail))), c.mWant) << c.mTail;
    }
}

}  // namespace
