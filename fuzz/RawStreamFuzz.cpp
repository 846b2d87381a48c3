// The tool's raw-stream decoder on any bytes: never a fault, and the same packets and counts whatever the
// chunks the stream arrives in (the first input byte chooses the chunk sizes).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "stream/FrameDecoder.h"

namespace {

class cCollect : public cPacketSink {
public:
    bool Packet(sSharedBuffer* packet) override {
        mPackets.emplace_back(packet->mData, packet->mData + packet->mSize);
        return true;
    }
    std::vector<std::vector<unsigned char>> mPackets;
};

struct sOutcome {
    std::vector<std::vector<unsigned char>> mPackets;
    uint64_t mBad, mUnclosed, mLeading;
};

sOutcome Decode(const uint8_t* data, size_t size, size_t chunk) {
    cFrameDecoder decoder;
    cCollect sink;
    FailIf(!decoder.Ready());
    size_t at = 0;
    while (at < size) {
        size_t room = 0;
        unsigned char* space = decoder.Space(room);
        size_t n = chunk < room ? chunk : room;
        n = n < size - at ? n : size - at;
        memcpy(space, data + at, n);
        at += n;
        decoder.Decode(n, false, sink);
    }
    decoder.Decode(0, true, sink);
    FailIf(decoder.mFrames != sink.mPackets.size() || decoder.mBytes != size);
    return {sink.mPackets, decoder.mBadFrames, decoder.mUnclosedBytes, decoder.mLeadingBytes};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const size_t chunk = 1 + data[0] % 64;
    const sOutcome whole = Decode(data + 1, size - 1, size);
    const sOutcome pieces = Decode(data + 1, size - 1, chunk);
    FailIf(whole.mPackets != pieces.mPackets || whole.mBad != pieces.mBad ||
           whole.mUnclosed != pieces.mUnclosed || whole.mLeading != pieces.mLeading);
    return 0;
}
