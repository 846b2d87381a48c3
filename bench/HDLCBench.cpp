#include <benchmark/benchmark.h>

#include <cstring>

#include "Shared/HDLC.h"
#include "bench/TextbookReference.h"

namespace {

const size_t kLength = 4096;
const unsigned int kReservedPercent = 1;

bool SameBytes(const sSharedBuffer* buffer, const std::vector<unsigned char>& bytes) {
    return buffer != nullptr && buffer->mSize == bytes.size() &&
           memcmp(buffer->mData, bytes.data(), bytes.size()) == 0;
}

void BM_HDLCEncode(benchmark::State& state) {
    const std::vector<unsigned char> payload = reference::Payload(kLength, kReservedPercent);
    sSharedBuffer packet(payload.data(), kLength, 3);
    std::vector<unsigned char> expected;
    expected.reserve(2 * kLength + 6);
    reference::Encode(payload, expected);
    sSharedBuffer* check = HDLCEncode(&packet, false);
    const bool same = SameBytes(check, expected);
    delete check;
    if (!same) {
        state.SkipWithError("frame differs from the textbook encoder");
        return;
    }
    for (auto _ : state) {
        sSharedBuffer* frame = HDLCEncode(&packet, false);
        benchmark::DoNotOptimize(frame->mData);
        delete frame;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}
BENCHMARK(BM_HDLCEncode);

void BM_ReferenceEncode(benchmark::State& state) {
    const std::vector<unsigned char> payload = reference::Payload(kLength, kReservedPercent);
    for (auto _ : state) {
        std::vector<unsigned char> frame;
        frame.reserve(2 * kLength + 6);
        reference::Encode(payload, frame);
        benchmark::DoNotOptimize(frame.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}
BENCHMARK(BM_ReferenceEncode);

void BM_HDLCDecode(benchmark::State& state) {
    const std::vector<unsigned char> payload = reference::Payload(kLength, kReservedPercent);
    std::vector<unsigned char> frameBytes;
    frameBytes.reserve(2 * kLength + 6);
    reference::Encode(payload, frameBytes);
    sSharedBuffer frame(frameBytes.data(), static_cast<unsigned int>(frameBytes.size()), 3);
    unsigned int consumed = 0;
    sSharedBuffer* check = HDLCDecode(&frame, &consumed);
    const bool same = SameBytes(check, payload) && consumed == frameBytes.size();
    delete check;
    if (!same) {
        state.SkipWithError("packet differs from the payload");
        return;
    }
    for (auto _ : state) {
        sSharedBuffer* packet = HDLCDecode(&frame, &consumed);
        benchmark::DoNotOptimize(packet->mData);
        delete packet;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}
BENCHMARK(BM_HDLCDecode);

void BM_ReferenceDecode(benchmark::State& state) {
    const std::vector<unsigned char> payload = reference::Payload(kLength, kReservedPercent);
    std::vector<unsigned char> frame;
    frame.reserve(2 * kLength + 6);
    reference::Encode(payload, frame);
    std::vector<unsigned char> check;
    if (!reference::Decode(frame, check) || check != payload) {
        state.SkipWithError("reference decoder is wrong");
        return;
    }
    for (auto _ : state) {
        std::vector<unsigned char> packet;
        packet.reserve(frame.size());
        benchmark::DoNotOptimize(reference::Decode(frame, packet));
        benchmark::DoNotOptimize(packet.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}
BENCHMARK(BM_ReferenceDecode);

}  // namespace
