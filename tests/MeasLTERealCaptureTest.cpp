// Whole-excerpt checks on real captures (tests/data/meas_lte_bler.txt, meas_lte_2016.txt: reduced copies of
// two LTE captures with two layouts of 0xB193): every serving-cell measurement yields values inside the
// physical ranges, and the cells agree with the same capture's serving cell info and RRC log headers. The
// counts come from the excerpts' bytes, counted outside the library.
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

struct sServingFigures {
    size_t mLogs = 0;
    size_t mCells = 0;
    size_t mNeighbours = 0;
    size_t mRSRQNotMeasured = 0;
    Cells mServing;
};

// Every 0xB193 of the file: used, one serving cell with RSRP (and RSRQ unless not measured) inside the
// physical ranges, nothing out of range.
sServingFigures ServingFigures(const std::string& file, unsigned int version) {
    sServingFigures figures;
    for (const Bytes& packet : PacketsOf(file, 0xB193)) {
        const sExtracted log = Extracted(packet);
        EXPECT_EQ(log.mStatus, MEAS_OK);
        EXPECT_EQ(log->mLogVersion, version);
        EXPECT_EQ(log->mOutOfRange, 0u);
        size_t serving = 0;
        for (size_t k = 0; k < log->mCellCount; ++k) {
            const sMeasuredCell& cell = log->mCells[k];
            EXPECT_TRUE(cell.mHasCell && cell.mHasChannel);
            EXPECT_FALSE(std::isnan(cell.mRSRP));
            if (!cell.mServing) {
                ++figures.mNeighbours;
                continue;
            }
            ++serving;
            figures.mServing.insert({cell.mChannel, cell.mCell});
            EXPECT_GE(cell.mRSRP, -144);
            EXPECT_LE(cell.mRSRP, -44);
            if (std::isnan(cell.mRSRQ)) {
                ++figures.mRSRQNotMeasured;
            } else {
                EXPECT_GE(cell.mRSRQ, -34);
                EXPECT_LE(cell.mRSRQ, 2.5);
            }
            EXPECT_FALSE(std::isnan(cell.mRSSI));
            EXPECT_FALSE(std::isnan(cell.mSINR));
        }
        EXPECT_EQ(serving, 1u);
        ++figures.mLogs;
        figures.mCells += log->mCellCount;
    }
    return figures;
}

// 87 v36 logs with 119 cell records, 32 of them not serving; 12 serving cells have RSRQ raw 0. The serving
// cells are the 9 cells of the RRC log headers, on EARFCNs 1825 and 3683.
TEST(MeasLTERealCapture, BLERCaptureV36) {
    const sServingFigures figures = ServingFigures("meas_lte_bler.txt", 36);
    EXPECT_EQ(figures.mLogs, 87u);
    EXPECT_EQ(figures.mCells, 119u);
    EXPECT_EQ(figures.mNeighbours, 32u);
    EXPECT_EQ(figures.mRSRQNotMeasured, 12u);
    const Cells rrc = RRCHeaderCells("meas_lte_bler.txt");
    EXPECT_EQ(rrc.size(), 9u);
    EXPECT_EQ(figures.mServing, rrc);
}

// 43 v19 logs, one serving cell each: PCI 42 on EARFCN 2075, as the capture's serving cell info, its RRC
// headers and its 0xB179 logs say. The neighbours of 0xB179 (500 in 237 logs) and 0xB195 (88 in 41 logs)
// are the same four cells, on the serving EARFCN.
TEST(MeasLTERealCapture, Measurement2016CaptureV19AndNeighbours) {
    const std::string file = "meas_lte_2016.txt";
    const sServingFigures figures = ServingFigures(file, 19);
    EXPECT_EQ(figures.mLogs, 43u);
    EXPECT_EQ(figures.mCells, 43u);
    EXPECT_EQ(figures.mRSRQNotMeasured, 0u);
    const Cells serving = {{2075, 42}};
    EXPECT_EQ(figures.mServing, serving);
    EXPECT_EQ(RRCHeaderCells(file), serving);

    const std::vector<Bytes> infos = PacketsOf(file, 0xB0C2);
    ASSERT_EQ(infos.size(), 3u);
    for (const Bytes& packet : infos) {
        const sExtracted info = Extracted(packet);
        ASSERT_EQ(info.mStatus, MEAS_OK);
        EXPECT_EQ(info->mCellInfo.mDLChannel, 2075u);
        EXPECT_EQ(info->mCellInfo.mCell, 42);
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
                EXPECT_GE(cell.mRSRP, -144);
                EXPECT_LE(cell.mRSRP, -44);
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
