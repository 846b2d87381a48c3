// Whole-excerpt checks on two real LTE captures (tests/data/meas_lte_bler.txt, meas_lte_2016.txt): every
// serving-cell measurement is inside the physical ranges and agrees with the capture's serving cell info and
// RRC log headers. The counts come from the excerpts' bytes, counted outside the library.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <utility>

#include "ota/OTAExtractor.h"
#include "tests/MeasTestSupport.h"

namespace {

using Cells = std::set<std::pair<uint32_t, uint16_t>>;  // (EARFCN, PCI)

// The (EARFCN, PCI) of the LTE RRC logs' headers of a file.
Cells RRCHeaderCells(const std::string& file) {
    Cells cells;
    cOTAExtractor extractor;
    sOTAMessage message;
    for (const Bytes& packet : PacketsOf(file, 0xB0C0)) {
        if (extractor.Extract(packet.data(), packet.size(), message) == OTA_EXTRACT_MESSAGE &&
            (message.mContext & OTA_HAS_CHANNEL_NUMBER) != 0 && (message.mContext & OTA_HAS_CELL) != 0) {
            cells.insert({message.mChannelNumber, message.mCell});
        }
    }
    return cells;
}

// Every 0xB193 of the file: used, one serving cell with RSRP (and RSRQ unless not measured) inside the
// physical ranges, nothing out of range. Gives the counts as text, and the serving cells in `serving`.
std::string ServingFigures(const std::string& file, unsigned int version, Cells& serving) {
    size_t logs = 0, cells = 0, neighbours = 0, notMeasured = 0;
    for (const Bytes& packet : PacketsOf(file, 0xB193)) {
        const sExtracted log = Extracted(packet);
        EXPECT_EQ(Text(log)[0], "used measurement lte v" + std::to_string(version));
        size_t servingCells = 0;
        for (size_t k = 0; k < log->mCellCount; ++k) {
            const sMeasuredCell& cell = log->mCells[k];
            EXPECT_TRUE(cell.mHasCell && cell.mHasChannel);
            EXPECT_FALSE(std::isnan(cell.mRSRP));
            if (!cell.mServing) {
                ++neighbours;
                continue;
            }
            ++servingCells;
            serving.insert({cell.mChannel, cell.mCell});
            EXPECT_TRUE(cell.mRSRP >= -144 && cell.mRSRP <= -44) << cell.mRSRP;
            EXPECT_TRUE(std::isnan(cell.mRSRQ) || (cell.mRSRQ >= -34 && cell.mRSRQ <= 2.5)) << cell.mRSRQ;
            EXPECT_FALSE(std::isnan(cell.mRSSI) || std::isnan(cell.mSINR));
            notMeasured += std::isnan(cell.mRSRQ) ? 1 : 0;
        }
        EXPECT_EQ(servingCells, 1u);
        ++logs;
        cells += log->mCellCount;
    }
    return Format("%zu logs, %zu cells, %zu neighbours, %zu RSRQ not measured", logs, cells, neighbours,
                  notMeasured);
}

// 87 v36 logs with 119 cell records, 32 of them not serving; 12 serving cells have RSRQ raw 0. The serving
// cells are the 9 cells of the RRC log headers, on EARFCNs 1825 and 3683.
TEST(MeasLTERealCapture, BLERCaptureV36) {
    Cells serving;
    EXPECT_EQ(ServingFigures("meas_lte_bler.txt", 36, serving),
              "87 logs, 119 cells, 32 neighbours, 12 RSRQ not measured");
    const Cells rrc = RRCHeaderCells("meas_lte_bler.txt");
    EXPECT_EQ(rrc.size(), 9u);
    EXPECT_EQ(serving, rrc);
}

// 43 v19 logs, one serving cell each: PCI 42 on EARFCN 2075, as the capture's serving cell info, its RRC
// headers and its 0xB179 logs say. The neighbours of 0xB179 (500 in 237 logs) and 0xB195 (88 in 41 logs)
// are the same four cells, on the serving EARFCN.
TEST(MeasLTERealCapture, Measurement2016CaptureV19AndNeighbours) {
    const std::string file = "meas_lte_2016.txt";
    Cells serving;
    EXPECT_EQ(ServingFigures(file, 19, serving), "43 logs, 43 cells, 0 neighbours, 0 RSRQ not measured");
    EXPECT_EQ(serving, (Cells{{2075, 42}}));
    EXPECT_EQ(RRCHeaderCells(file), serving);

    const std::vector<Bytes> infos = PacketsOf(file, 0xB0C2);
    ASSERT_EQ(infos.size(), 3u);
    // Each: 03 | 2a 00 | 1b 08 00 00 | 6b 4e 00 00 | 4b 4b | 02 74 56 00 | 01 b0 | 04 00 00 00 | 36 01 | 03 |
    // 04 01 | 00
    for (const Bytes& packet : infos) {
        EXPECT_EQ(
            Text(Extracted(packet)),
            (Lines{
                "used serving cell lte v3",
                "dl 2075 ul 20075 cell 42 id 0x567402 area 0xb001 plmn 310-260 band 4 dl-bw 15 ul-bw 15"}));
    }

    const struct {
        unsigned int mCode;
        size_t mLogs, mNeighbours;
    } neighbourLogs[] = {{0xB179, 237, 500}, {0xB195, 41, 88}};
    for (const auto& n : neighbourLogs) {
        std::set<uint16_t> neighbours;
        size_t logs = 0, count = 0;
        for (const Bytes& packet : PacketsOf(file, n.mCode)) {
            const sExtracted log = Extracted(packet);
            ASSERT_EQ(log.mStatus, MEAS_OK) << std::hex << n.mCode;
            EXPECT_EQ(log->mOutOfRange, 0u);
            ++logs;
            for (size_t k = 0; k < log->mCellCount; ++k) {
                const sMeasuredCell& cell = log->mCells[k];
                EXPECT_EQ(cell.mChannel, 2075u);
                EXPECT_TRUE(cell.mRSRP >= -144 && cell.mRSRP <= -44) << cell.mRSRP;
                if (cell.mServing) {
                    EXPECT_EQ(cell.mCell, 42);
                } else {
                    ++count;
                    neighbours.insert(cell.mCell);
                }
            }
        }
        EXPECT_EQ(logs, n.mLogs) << std::hex << n.mCode;
        EXPECT_EQ(count, n.mNeighbours) << std::hex << n.mCode;
        EXPECT_EQ(neighbours, (std::set<uint16_t>{44, 54, 273, 472})) << std::hex << n.mCode;
    }
}

}  // namespace
