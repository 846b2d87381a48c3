#include <benchmark/benchmark.h>

#include <set>
#include <vector>

#include "diag/DiagLog.h"
#include "diag/LogMask.h"

namespace {

// Textbook reversal: bit by bit.
unsigned char ReferenceReverse(unsigned char b) {
    unsigned char r = 0;
    for (int bit = 0; bit < 8; ++bit) {
        r = static_cast<unsigned char>((r << 1) | ((b >> bit) & 1));
    }
    return r;
}

// The per-byte rule the word-at-a-time version must equal: three swaps on one byte.
unsigned char SwapReverse(unsigned char b) {
    b = static_cast<unsigned char>(((b & 0xF0) >> 4) | ((b & 0x0F) << 4));
    b = static_cast<unsigned char>(((b & 0xCC) >> 2) | ((b & 0x33) << 2));
    return static_cast<unsigned char>(((b & 0xAA) >> 1) | ((b & 0x55) << 1));
}

std::vector<unsigned char> Pattern(size_t length) {
    std::vector<unsigned char> data(length);
    for (size_t i = 0; i < length; ++i) {
        data[i] = static_cast<unsigned char>(i * 131 + 7);
    }
    return data;
}

void BM_ReverseBits512(benchmark::State& state) {
    std::vector<unsigned char> data = Pattern(512);
    std::vector<unsigned char> check = data;
    ReverseBits(check.data(), 512);
    for (size_t i = 0; i < 512; ++i) {
        if (check[i] != ReferenceReverse(data[i])) {
            state.SkipWithError("result differs from the bit-by-bit reversal");
            return;
        }
    }
    for (auto _ : state) {
        ReverseBits(data.data(), 512);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * 512));
}
BENCHMARK(BM_ReverseBits512);

void BM_ReferenceReverse512(benchmark::State& state) {
    std::vector<unsigned char> data = Pattern(512);
    for (auto _ : state) {
        for (unsigned char& b : data) {
            b = SwapReverse(b);
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * 512));
}
BENCHMARK(BM_ReferenceReverse512);

// A full 4096-bit mask of equipment 1 with every third item set, reversed, to codes and back.
void BM_LogMaskRoundTrip4096(benchmark::State& state) {
    std::set<unsigned int> codes;
    for (unsigned int item = 0; item < 4096; item += 3) {
        codes.insert(0x1000 | item);
    }
    unsigned char mask[512];
    for (auto _ : state) {
        BuildLogMaskFromCodes(mask, 4096, LOG_EQUIP_EXTENDED_MASK, codes, true);
        std::set<unsigned int> back;
        BuildLogCodesFromMask(mask, 4096, LOG_EQUIP_EXTENDED_MASK, back, true);
        benchmark::DoNotOptimize(back.size());
    }
}
BENCHMARK(BM_LogMaskRoundTrip4096);

// Classification of one WCDMA RRC log (broadcast channel), view construction included.
void BM_OTATypeWCDMA(benchmark::State& state) {
    const unsigned char payload[] = {0x04, 0x00, 0x1F, 0x00, 0x64, 0x6E, 0x03, 0xA4, 0x82, 0x41, 0xF7, 0x28,
                                     0x42, 0xFC, 0x61, 0xA0, 0x52, 0x69, 0x13, 0x00, 0x01, 0x4A, 0xFF, 0xFF,
                                     0xFA, 0xDD, 0xC0, 0xA2, 0x28, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03};
    sSharedBuffer* log = sDiagLog::BuildLog(0x412F, 0, payload, sizeof payload);
    log->AddRef();
    if (sDiagOTALog(log).GetOTAType() != std::vector<unsigned int>{4, 7}) {
        state.SkipWithError("unexpected OTA type");
    } else {
        for (auto _ : state) {
            sDiagOTALog view(log);
            benchmark::DoNotOptimize(view.GetOTAType());
        }
    }
    log->Release();
}
BENCHMARK(BM_OTATypeWCDMA);

}  // namespace
