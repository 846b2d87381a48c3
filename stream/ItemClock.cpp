#include "stream/ItemClock.h"

#include "diag/DiagProtocol.h"
#include "jni/ISFTime.h"
#include "ota/OTAExtractor.h"

namespace {

const size_t kLogHeaderSize = 16;
const size_t kTimestampAt = 8;

}  // namespace

bool PacketTimestamp(const unsigned char* packet, size_t size, unsigned long long& timestamp) {
    const unsigned char* inner = nullptr;
    size_t innerSize = 0;
    uint32_t subscription = 0;
    if (UnwrapMultiSIM(packet, size, inner, innerSize, subscription)) {
        packet = inner;
        size = innerSize;
    }
    if (packet == nullptr || size < kLogHeaderSize || packet[0] != DIAG_CMD_LOG) {
        return false;
    }
    timestamp = GetLE(packet + kTimestampAt, 8);
    return true;
}

cItemClock::cItemClock(eItemClock mode, FILETIME start, FILETIME step)
    : mMode(mode), mNext(start), mStep(step < 1 ? 1 : step) {}

void cItemClock::ChunkRead(FILETIME now) {
    mReadTime = now;
}

FILETIME cItemClock::Stamp(const unsigned char* packet, size_t size) {
    switch (mMode) {
        case ITEM_CLOCK_HOST:
            return mReadTime;
        case ITEM_CLOCK_RATE: {
            const FILETIME time = mNext;
            mNext += mStep;
            return time;
        }
        case ITEM_CLOCK_PACKET:
            break;
    }
    unsigned long long timestamp = 0;
    // A zero timestamp is a device that does not set the field, not a packet from 1980.
    if (PacketTimestamp(packet, size, timestamp) && timestamp != 0) {
        mLast = CDMAToFiletime(timestamp);
    } else if (mLast == 0) {
        return mReadTime;
    }
    return mLast;
}
