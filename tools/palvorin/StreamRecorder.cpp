#include "tools/palvorin/StreamRecorder.h"

#include <algorithm>
#include <cstring>

cStreamRecorder::cStreamRecorder(cISFStore& store, const cItemClock& clock, cPacketSink* after)
    : mStore(store), mClock(clock), mAfter(after) {}

bool cStreamRecorder::Packet(sSharedBuffer* packet) {
    mStatus = mStore.WriteItem(packet, mClock.Stamp(packet->mData, packet->mSize), ITEM_TYPE_DERIVE);
    if (mStatus != ISF_STATUS_OK) {
        return false;
    }
    return mAfter == nullptr || mAfter->Packet(packet);
}

bool cStreamRecorder::Decode(size_t added, FILETIME readTime) {
    mClock.ChunkRead(readTime);
    return mDecoder.Decode(added, false, *this);
}

bool cStreamRecorder::Feed(const unsigned char* bytes, size_t size, FILETIME readTime) {
    while (size > 0) {
        size_t room = 0;
        unsigned char* space = mDecoder.Space(room);
        const size_t piece = std::min(room, size);
        memcpy(space, bytes, piece);
        if (!Decode(piece, readTime)) {
            return false;
        }
        bytes += piece;
        size -= piece;
    }
    return true;
}

bool cStreamRecorder::End(FILETIME now) {
    mClock.ChunkRead(now);
    return mDecoder.Decode(0, true, *this);
}

unsigned int cStreamRecorder::Sent(sSharedBuffer* request, FILETIME now) {
    mClock.ChunkRead(now);
    mStatus = mStore.WriteItem(request, mClock.Stamp(request->mData, request->mSize), ITEM_TYPE_DERIVE);
    return mStatus;
}
