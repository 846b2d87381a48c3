// The packets of a raw diagnostic stream in tests/data, split as the recorder splits it.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "stream/FrameDecoder.h"
#include "tests/DiagPackets.h"

inline std::vector<Bytes> StreamPackets(const std::string& name) {
    struct cCollect : cPacketSink {
        bool Packet(sSharedBuffer* packet) override {
            mPackets.emplace_back(packet->mData, packet->mData + packet->mSize);
            return true;
        }
        std::vector<Bytes> mPackets;
    } sink;
    const Bytes stream = ReadTestData(name);
    cFrameDecoder decoder;
    size_t room = 0;
    unsigned char* space = decoder.Space(room);
    EXPECT_GE(room, stream.size());
    memcpy(space, stream.data(), stream.size());
    decoder.Decode(stream.size(), true, sink);
    return sink.mPackets;
}
