// Extraction over the packets of a real capture (tests/data/raw_diag_stream_a.bin: LTE RRC, LTE NAS, GSM RR,
// UMTS NAS, GPRS and 632 log packets of other codes), unframed once before timing. Items are packets,
// bytes are the packets' bytes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Shared/HDLC.h"
#include "ota/OTAExtractor.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::vector<Bytes> CapturePackets() {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/raw_diag_stream_a.bin", std::ios::binary);
    const Bytes stream((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<Bytes> packets;
    for (size_t offset = 0; offset < stream.size();) {
        const size_t size = std::min<size_t>(stream.size() - offset, MAX_SHARED_BUFFER_SIZE);
        std::unique_ptr<sSharedBuffer> rest(
            new sSharedBuffer(stream.data() + offset, static_cast<unsigned int>(size), 3));
        unsigned int consumed = 0;
        std::unique_ptr<sSharedBuffer> packet(HDLCDecode(rest.get(), &consumed));
        if (consumed == 0) {
            break;
        }
        if (packet && packet->mSize != 0) {
            packets.emplace_back(packet->mData, packet->mData + packet->mSize);
        }
        offset += consumed;
    }
    return packets;
}

void BM_OTAExtractCaptureA(benchmark::State& state) {
    const std::vector<Bytes> packets = CapturePackets();
    size_t bytes = 0;
    for (const Bytes& packet : packets) {
        bytes += packet.size();
    }
    cOTAExtractor extractor;
    sOTAMessage message;
    size_t messages = 0;
    for (auto _ : state) {
        for (const Bytes& packet : packets) {
            messages += extractor.Extract(packet.data(), packet.size(), message) == OTA_EXTRACT_MESSAGE;
        }
        benchmark::DoNotOptimize(messages);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * packets.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["packets"] = static_cast<double>(packets.size());
}
BENCHMARK(BM_OTAExtractCaptureA);

}  // namespace
