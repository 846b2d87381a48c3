// The accumulator on a cycle of broadcast-channel messages like those of a live cell: a complete-SIB list
// of three blocks, then a block in three segments (first, subsequent, short last). Each cycle rebuilds four
// logs, which are freed as the store frees them.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "bits/BitPacker.h"
#include "wcdma/WCDMARRCAccumulator.h"

namespace {

using Bytes = std::vector<unsigned char>;

// One BCCH-BCH log around fields written most significant bit first: {width, value} pairs, where a width
// above 32 stands for that many bits of a fixed pattern.
Bytes BCHLog(const std::vector<std::pair<unsigned int, unsigned int>>& fields) {
    Bytes message(64, 0);
    cBitPacker packer(message.data(), 64 * 8);
    packer.mLSBFirst = false;
    packer.Set(11, 100u);  // SFN-prime
    for (const auto& field : fields) {
        if (field.first <= 32) {
            packer.Set(field.first, field.second);
        } else {
            for (unsigned int i = 0; i < field.first; ++i) {
                packer.Set(1, static_cast<unsigned char>((i * 7 + field.second) % 3 == 0));
            }
        }
    }
    message.resize((packer.mBitsUsed + 7) / 8);
    const unsigned int length = static_cast<unsigned int>(message.size()) + 16;
    Bytes log = {0x10, 0,   static_cast<unsigned char>(length), 0, static_cast<unsigned char>(length), 0,
                 0x2F, 0x41};
    log.resize(16, 0);
    log.insert(log.end(), {4, 0, static_cast<unsigned char>(message.size()), 0});
    log.insert(log.end(), message.begin(), message.end());
    return log;
}

void BM_WCDMARRCAccumulator(benchmark::State& state) {
    const std::vector<Bytes> logs = {
        // completeSIB-List: 3 entries (MIB 60 bits, SIB7 20 bits, SIB3 120 bits)
        BCHLog(
            {{4, 7}, {4, 2}, {5, 0}, {8, 59}, {60, 1}, {5, 7}, {8, 19}, {20, 2}, {5, 3}, {8, 119}, {120, 3}}),
        BCHLog({{4, 1}, {5, 5}, {4, 2}, {222, 4}}),           // firstSegment of SIB5, count 3
        BCHLog({{4, 2}, {5, 5}, {4, 0}, {222, 5}}),           // subsequentSegment, index 1
        BCHLog({{4, 3}, {5, 5}, {4, 1}, {8, 99}, {100, 6}}),  // lastSegmentShort, index 2, 100 bits
    };
    std::vector<sSharedBuffer*> items;
    for (const Bytes& log : logs) {
        items.push_back(new sSharedBuffer(log.data(), static_cast<unsigned int>(log.size()), 3));
    }
    cWCDMARRCAccumulator accumulator;
    int64_t rebuilt = 0;
    for (auto _ : state) {
        for (sSharedBuffer* item : items) {
            for (sSharedBuffer* log : accumulator.ProcessItem(item, 1)) {
                ++rebuilt;
                delete log;
            }
        }
    }
    if (rebuilt != 4 * state.iterations()) {
        state.SkipWithError("a cycle did not rebuild its four blocks");
    }
    for (sSharedBuffer* item : items) {
        delete item;
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items.size()));
}
BENCHMARK(BM_WCDMARRCAccumulator);

}  // namespace
