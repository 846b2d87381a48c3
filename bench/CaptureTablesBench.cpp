// The measurements and cells tables of a real capture without file reading: the packets of a reduced copy
// of lte_bler.bin (tests/data/meas_lte_bler.txt: serving-cell measurement logs 0xB193 and LTE RRC logs, real
// capture D, Apache-2.0) through the capture tables into the CSV writer, per log packet. The reading of the
// file is measured with the tool (bench/tables-throughput.sh).
#include <benchmark/benchmark.h>

#include <fstream>
#include <string>
#include <vector>

#include "tables/CaptureTables.h"
#include "tables/TableWriter.h"

namespace {

std::vector<std::vector<unsigned char>> Packets() {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/meas_lte_bler.txt");
    std::vector<std::vector<unsigned char>> packets;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::vector<unsigned char> packet;
        for (size_t i = 0; i + 1 < line.size(); i += 2) {
            packet.push_back(static_cast<unsigned char>(std::stoul(line.substr(i, 2), nullptr, 16)));
        }
        packets.push_back(packet);
    }
    return packets;
}

class cNullOutput : public cTextOutput {
public:
    bool Write(const char*, size_t size) override {
        mBytes += size;
        return true;
    }
    size_t mBytes = 0;
};

void Tables(benchmark::State& state, eTable table) {
    const auto packets = Packets();
    if (packets.empty()) {
        state.SkipWithError("no test data");
        return;
    }
    cNullOutput output;
    uint64_t rows = 0;
    for (auto _ : state) {
        cTableWriter writer(table, TABLE_FORMAT_CSV, output);
        cCaptureTables capture(TableBit(table));
        int64_t timeMs = 1564481946750;
        uint64_t index = 0;
        for (const auto& packet : packets) {
            capture.Item(index++, packet.data(), packet.size(), 5, timeMs += 10, writer);
        }
        capture.Finish(writer);
        writer.Finish();
        rows += writer.Rows();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * packets.size()));
    state.counters["rows/packet"] =
        static_cast<double>(rows) / static_cast<double>(state.iterations() * packets.size());
}

void BM_MeasurementsTable(benchmark::State& state) {
    Tables(state, TABLE_MEASUREMENTS);
}
BENCHMARK(BM_MeasurementsTable);

void BM_CellsTable(benchmark::State& state) {
    Tables(state, TABLE_CELLS);
}
BENCHMARK(BM_CellsTable);

}  // namespace
