// Reading and writing a stream of fields of mixed widths (as in RRC messages) with cBitParser and
// cBitPacker, against the plain version that moves one bit at a time through a local array of bit values.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"

namespace {

const unsigned int kBytes = 1024;
const unsigned int kWidths[] = {1, 3, 4, 5, 8, 11, 16, 2, 24, 7, 32, 6, 64};

std::vector<unsigned char> RandomBytes() {
    std::mt19937 random(7);
    std::vector<unsigned char> bytes(kBytes);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

// One bit at a time: gather the field's bits, then assemble the value.
unsigned long long ReferenceRead(const unsigned char* data, unsigned int& bitPos, unsigned int width,
                                 bool lsbFirst) {
    unsigned char bits[64];
    for (unsigned int k = 0; k < width; ++k) {
        const unsigned int p = bitPos + k;
        bits[k] = (data[p / 8] >> (lsbFirst ? p % 8 : 7 - p % 8)) & 1;
    }
    unsigned long long value = 0;
    for (unsigned int k = 0; k < width; ++k) {
        value |= static_cast<unsigned long long>(bits[k]) << (lsbFirst ? k : width - 1 - k);
    }
    bitPos += width;
    return value;
}

void ReferenceWrite(unsigned char* data, unsigned int& bitPos, unsigned int width, unsigned long long value,
                    bool lsbFirst) {
    unsigned char bits[64];
    for (unsigned int k = 0; k < width; ++k) {
        bits[k] = (value >> (lsbFirst ? k : width - 1 - k)) & 1;
    }
    for (unsigned int k = 0; k < width; ++k) {
        const unsigned int p = bitPos + k;
        data[p / 8] |= static_cast<unsigned char>(bits[k] << (lsbFirst ? p % 8 : 7 - p % 8));
    }
    bitPos += width;
}

// Sum of every field read from the stream, widths in turn, until the next one does not fit.
unsigned long long SumWithParser(const std::vector<unsigned char>& bytes, bool lsbFirst) {
    cBitParser reader(bytes.data(), kBytes * 8);
    reader.mLSBFirst = lsbFirst;
    unsigned long long sum = 0;
    for (unsigned int i = 0;; i = (i + 1) % 13) {
        unsigned long long value = 0;
        if (reader.Get(kWidths[i], value) != BITS_SUCCESS) {
            return sum;
        }
        sum += value;
    }
}

unsigned long long SumWithReference(const std::vector<unsigned char>& bytes, bool lsbFirst) {
    unsigned int bitPos = 0;
    unsigned long long sum = 0;
    for (unsigned int i = 0; kBytes * 8 - bitPos >= kWidths[i]; i = (i + 1) % 13) {
        sum += ReferenceRead(bytes.data(), bitPos, kWidths[i], lsbFirst);
    }
    return sum;
}

void BM_BitParserRead(benchmark::State& state) {
    const bool lsbFirst = state.range(0) != 0;
    const std::vector<unsigned char> bytes = RandomBytes();
    if (SumWithParser(bytes, lsbFirst) != SumWithReference(bytes, lsbFirst)) {
        state.SkipWithError("fields differ from the bit-at-a-time reader");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(SumWithParser(bytes, lsbFirst));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}
BENCHMARK(BM_BitParserRead)->Arg(1)->Arg(0);

void BM_ReferenceRead(benchmark::State& state) {
    const bool lsbFirst = state.range(0) != 0;
    const std::vector<unsigned char> bytes = RandomBytes();
    for (auto _ : state) {
        benchmark::DoNotOptimize(SumWithReference(bytes, lsbFirst));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}
BENCHMARK(BM_ReferenceRead)->Arg(1)->Arg(0);

// The fields of the stream (width, value), read once, so that the write benchmarks time writing only.
std::vector<std::pair<unsigned int, unsigned long long>> Fields(const std::vector<unsigned char>& bytes,
                                                                bool lsbFirst) {
    std::vector<std::pair<unsigned int, unsigned long long>> fields;
    unsigned int bitPos = 0;
    for (unsigned int i = 0; kBytes * 8 - bitPos >= kWidths[i]; i = (i + 1) % 13) {
        fields.emplace_back(kWidths[i], ReferenceRead(bytes.data(), bitPos, kWidths[i], lsbFirst));
    }
    return fields;
}

void WriteAll(const std::vector<std::pair<unsigned int, unsigned long long>>& fields,
              std::vector<unsigned char>& out, bool lsbFirst, bool reference) {
    std::fill(out.begin(), out.end(), 0);
    cBitPacker writer(out.data(), kBytes * 8);
    writer.mLSBFirst = lsbFirst;
    unsigned int bitPos = 0;
    for (const auto& field : fields) {
        if (reference) {
            ReferenceWrite(out.data(), bitPos, field.first, field.second, lsbFirst);
        } else {
            writer.Set(field.first, field.second);
        }
    }
}

void BM_BitPackerWrite(benchmark::State& state) {
    const bool lsbFirst = state.range(0) != 0;
    const auto fields = Fields(RandomBytes(), lsbFirst);
    std::vector<unsigned char> out(kBytes);
    std::vector<unsigned char> expected(kBytes);
    WriteAll(fields, out, lsbFirst, false);
    WriteAll(fields, expected, lsbFirst, true);
    if (out != expected) {
        state.SkipWithError("bytes differ from the bit-at-a-time writer");
        return;
    }
    for (auto _ : state) {
        WriteAll(fields, out, lsbFirst, false);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}
BENCHMARK(BM_BitPackerWrite)->Arg(1)->Arg(0);

void BM_ReferenceWrite(benchmark::State& state) {
    const bool lsbFirst = state.range(0) != 0;
    const auto fields = Fields(RandomBytes(), lsbFirst);
    std::vector<unsigned char> out(kBytes);
    for (auto _ : state) {
        WriteAll(fields, out, lsbFirst, true);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBytes));
}
BENCHMARK(BM_ReferenceWrite)->Arg(1)->Arg(0);

}  // namespace
