// Splitting a raw diagnostic stream into packets: frames cut anywhere by chunk ends, damaged, empty,
// over-long and unclosed frames, and a capture that begins inside a frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Shared/HDLC.h"
#include "stream/FrameDecoder.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The frame of `payload` as the encoder writes it (no leading flag unless asked).
Bytes Frame(const Bytes& payload, bool leadingFlag = false) {
    sSharedBuffer packet(payload.data(), static_cast<unsigned int>(payload.size()), 3);
    sSharedBuffer* frame = HDLCEncode(&packet, leadingFlag);
    Bytes bytes(frame->mData, frame->mData + frame->mSize);
    delete frame;
    return bytes;
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class cCollect : public cPacketSink {
public:
    bool Packet(sSharedBuffer* packet) override {
        EXPECT_EQ(packet->mProtocol, 3u);
        mPackets.emplace_back(packet->mData, packet->mData + packet->mSize);
        return true;
    }
    std::vector<Bytes> mPackets;
};

struct sResult {
    std::vector<Bytes> mPackets;
    uint64_t mBad, mUnclosed, mLeading;
};

// Hands `stream` to a decoder in chunks of at most `chunk` bytes, then ends the input.
sResult Decode(const Bytes& stream, size_t chunk) {
    cFrameDecoder decoder;
    cCollect sink;
    size_t at = 0;
    while (at < stream.size()) {
        size_t room = 0;
        unsigned char* space = decoder.Space(room);
        const size_t n = std::min({room, chunk, stream.size() - at});
        memcpy(space, stream.data() + at, n);
        at += n;
        EXPECT_TRUE(decoder.Decode(n, false, sink));
    }
    EXPECT_TRUE(decoder.Decode(0, true, sink));
    EXPECT_EQ(decoder.mBytes, stream.size());
    EXPECT_EQ(decoder.mFrames, sink.mPackets.size());
    return {sink.mPackets, decoder.mBadFrames, decoder.mUnclosedBytes, decoder.mLeadingBytes};
}

// Payloads full of the two reserved byte values, so that most of their frames are stuffing.
Bytes Reserved(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = (i % 3 == 0) ? AHDLC_FLAG : (i % 3 == 1) ? AHDLC_ESCAPE : static_cast<unsigned char>(i);
    }
    return bytes;
}

TEST(ToolFrameDecoder, FramesCutByChunkEndsAnywhere) {
    // The largest frame: 16637 payload bytes, check bytes that need no stuffing, the flag: 16640 bytes.
    Bytes largest = Bytes(16637, 0x11);
    while (Frame(largest).size() != MAX_SHARED_BUFFER_SIZE) {
        ++largest.back();
    }
    const std::vector<Bytes> payloads = {Bytes(1, 0x10), Reserved(2),     Reserved(300),
                                         largest,        Bytes(17, 0x7E), Reserved(5000)};
    Bytes stream;
    for (const Bytes& payload : payloads) {
        const Bytes frame = Frame(payload);
        stream.insert(stream.end(), frame.begin(), frame.end());
    }
    for (size_t chunk : {size_t{1}, size_t{3}, size_t{16640}, size_t{16641}}) {
        SCOPED_TRACE("chunk " + std::to_string(chunk));
        const sResult result = Decode(stream, chunk);
        EXPECT_EQ(result.mPackets, payloads);
        EXPECT_EQ(result.mBad, 0u);
        EXPECT_EQ(result.mUnclosed, 0u);
    }
}

TEST(ToolFrameDecoder, StreamsWithFaults) {
    const Bytes a = {0x10, 0x00, 0x7E, 0x7D, 0x33};
    const Bytes b = Bytes(40, 0x4B);
    Bytes damaged = Frame(b);
    damaged[10] ^= 0x01;
    Bytes unclosed = Frame(a);
    unclosed.pop_back();
    const Bytes stray = {0x4B, 0x12, 0x0F, 0x02, 0x01, 0x02, 0x00};  // before a real capture's first flag
    // Check bytes of no payload: CRC-16/X-25 of nothing is 0x0000.
    const Bytes empty = {0x00, 0x00, AHDLC_FLAG};
    Bytes noFlag = Bytes(20000, 0x55);
    noFlag.push_back(AHDLC_FLAG);

    struct sCase {
        const char* mName;
        Bytes mStream;
        std::vector<Bytes> mPackets;
        uint64_t mBad, mUnclosed, mLeading;
    } cases[] = {
        {"nothing", {}, {}, 0, 0, 0},
        {"leading flags on every frame", Join({Frame(a, true), Frame(b, true), {0x7E}}), {a, b}, 0, 0, 0},
        {"a damaged frame between good ones", Join({Frame(a), damaged, Frame(b)}), {a, b}, 1, 0, 0},
        {"a frame without payload", Join({Frame(a), empty, Frame(b)}), {a, b}, 1, 0, 0},
        {"the last frame cut", Join({Frame(b), unclosed}), {b}, 1, unclosed.size(), 0},
        // The shortest frame (1 byte, 2 check bytes, the flag) is found only by the last window tried.
        {"stray bytes before a 1-byte packet", Join({stray, Frame({0x42})}), {{0x42}}, 0, 0, stray.size()},
        {"longer than any frame", Join({noFlag, Frame(a)}), {a}, 1, 0, 0},
        // An escape before a flag makes it no closing flag: the frame runs on to the end of the next one.
        {"a flag behind an escape", Join({Frame(a), {0x11, 0x22, 0x33, 0x7D, 0x7E}, Frame(b)}), {a}, 1, 0, 0},
    };
    for (const sCase& test : cases) {
        for (size_t chunk : {size_t{1}, size_t{1} << 20}) {
            SCOPED_TRACE(std::string(test.mName) + ", chunk " + std::to_string(chunk));
            const sResult result = Decode(test.mStream, chunk);
            EXPECT_EQ(result.mPackets, test.mPackets);
            EXPECT_EQ(result.mBad, test.mBad);
            EXPECT_EQ(result.mUnclosed, test.mUnclosed);
            EXPECT_EQ(result.mLeading, test.mLeading);
        }
    }
}

}  // namespace
