// Records a raw diagnostic stream into an ISF file as `palvorin record` does by default: every packet the
// frame decoder finds, stamped with its log packet's own time (the database tests and the benchmark).
#pragma once

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "jni/ISFStore.h"
#include "stream/FrameDecoder.h"
#include "stream/ItemClock.h"

// Writes `copies` copies of the stream file at `stream` into the ISF file at `isf`; false when either
// cannot be read or written. With `spread`, items are 1 ms apart from 2020-01-01 instead (`record --rate
// 1000`), so that the copies do not repeat each other's times.
inline bool RecordStream(const std::string& stream, const std::string& isf, unsigned int copies = 1,
                         bool spread = false) {
    std::ifstream in(stream, std::ios::binary);
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                           std::istreambuf_iterator<char>());
    if (bytes.empty()) {
        return false;
    }
    struct cStoreSink : cPacketSink {
        explicit cStoreSink(bool spread)
            : mClock(spread ? ITEM_CLOCK_RATE : ITEM_CLOCK_PACKET, 132223104000000000ULL, 10000) {}
        cISFStore mStore;
        cItemClock mClock;
        bool mGood = true;
        bool Packet(sSharedBuffer* packet) override {
            const FILETIME time = mClock.Stamp(packet->mData, packet->mSize);
            mGood = mStore.WriteItem(3, packet->mSize, packet->mData, time) == 0;
            return mGood;
        }
    } sink(spread);
    if (sink.mStore.OpenNewFileStore(isf.c_str()) != 0) {
        return false;
    }
    // 2020-01-01T00:00:00Z: the time of items before the first with a timestamp of its own.
    sink.mClock.ChunkRead(132223104000000000ULL);
    cFrameDecoder decoder;
    for (unsigned int copy = 0; copy < copies && sink.mGood; ++copy) {
        size_t done = 0;
        while (done < bytes.size() && sink.mGood) {
            size_t room = 0;
            unsigned char* space = decoder.Space(room);
            const size_t size = std::min(room, bytes.size() - done);
            std::copy(bytes.begin() + done, bytes.begin() + done + size, space);
            done += size;
            decoder.Decode(size, copy + 1 == copies && done == bytes.size(), sink);
        }
    }
    sink.mStore.CloseFileStore();
    return sink.mGood;
}
