#include <benchmark/benchmark.h>

#include "Shared/CRC.h"
#include "bench/TextbookReference.h"

namespace {

const size_t kLength = 64 * 1024;

void BM_CalculateCRC(benchmark::State& state) {
    const std::vector<unsigned char> data = reference::Payload(kLength, 1);
    if (CalculateCRC(data.data(), kLength * 8) != reference::Crc(data.data(), kLength)) {
        state.SkipWithError("result differs from the textbook CRC");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(CalculateCRC(data.data(), kLength * 8));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}
BENCHMARK(BM_CalculateCRC);

void BM_ReferenceCRC(benchmark::State& state) {
    const std::vector<unsigned char> data = reference::Payload(kLength, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(reference::Crc(data.data(), kLength));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}
BENCHMARK(BM_ReferenceCRC);

}  // namespace
