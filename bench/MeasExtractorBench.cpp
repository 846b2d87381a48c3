// Measurement extraction over real packets (the excerpts of captures in tests/data, read once before
// timing): the serving-cell measurements of two 0xB193 layouts, the serving cell info logs, and the whole
// excerpt of the poor-coverage capture in capture order (measurements and the RRC logs the extractor passes
// over). Items are logs.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "meas/MeasExtractor.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The packets of a hex-lines file of tests/data with log code `code` (0: every packet).
std::vector<Bytes> Packets(const std::string& name, unsigned int code) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/" + name);
    std::vector<Bytes> packets;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        Bytes packet;
        for (size_t i = 0; i + 1 < line.size(); i += 2) {
            packet.push_back(static_cast<unsigned char>(std::stoul(line.substr(i, 2), nullptr, 16)));
        }
        const size_t at = !packet.empty() && packet[0] == 0x98 ? 8 : 0;
        const unsigned int packetCode = packet.size() >= at + 8 ? packet[at + 6] | (packet[at + 7] << 8) : 0;
        if (code == 0 || packetCode == code) {
            packets.push_back(std::move(packet));
        }
    }
    return packets;
}

void Extract(benchmark::State& state, const std::vector<Bytes>& packets) {
    if (packets.empty()) {
        state.SkipWithError("no packets");
        return;
    }
    const cMeasExtractor extractor;
    std::unique_ptr<sMeasLog> log(new sMeasLog);
    size_t used = 0;
    size_t cells = 0;
    for (auto _ : state) {
        for (const Bytes& packet : packets) {
            used += extractor.Extract(packet.data(), packet.size(), *log) == MEAS_OK;
            cells += log->mCellCount;
        }
        benchmark::DoNotOptimize(used);
        benchmark::DoNotOptimize(cells);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * packets.size()));
    state.counters["logs"] = static_cast<double>(packets.size());
}

void BM_MeasServingV36(benchmark::State& state) {
    Extract(state, Packets("meas_lte_bler.txt", 0xB193));
}
BENCHMARK(BM_MeasServingV36);

void BM_MeasServingV19(benchmark::State& state) {
    Extract(state, Packets("meas_lte_2016.txt", 0xB193));
}
BENCHMARK(BM_MeasServingV19);

void BM_MeasServingCellInfo(benchmark::State& state) {
    Extract(state, Packets("meas_lte_cells.txt", 0xB0C2));
}
BENCHMARK(BM_MeasServingCellInfo);

void BM_MeasCaptureExcerpt(benchmark::State& state) {
    Extract(state, Packets("meas_lte_bler.txt", 0));
}
BENCHMARK(BM_MeasCaptureExcerpt);

}  // namespace
