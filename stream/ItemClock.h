// The time each recorded item is stamped with. By default an item carries its packet's own diagnostic
// timestamp (log packets, also inside the multi-SIM wrapper), so that a recording shows when the device
// logged each packet; an item without one takes the time of the item before it, and the first such items
// the time their chunk was read. The host clock alone (the read time of each chunk) and times spread at a
// fixed rate are the other choices. One clock per stream; not thread-safe.
#pragma once

#include <cstddef>

#include "jni/ISFFormat.h"

enum eItemClock {
    ITEM_CLOCK_PACKET,  // the packet's diagnostic timestamp, else the previous item's time
    ITEM_CLOCK_HOST,    // the time the packet's chunk was read
    ITEM_CLOCK_RATE,    // a fixed start, then a fixed step per item
};

class cItemClock {
public:
    // ITEM_CLOCK_RATE: `start` is the first item's time and `step` the distance between items (at least 1).
    explicit cItemClock(eItemClock mode, FILETIME start = 0, FILETIME step = 1);

    // The packets that follow came from a chunk read at `now`.
    void ChunkRead(FILETIME now);
    // The time of the next item, the `size` bytes of `packet` (not kept).
    FILETIME Stamp(const unsigned char* packet, size_t size);

private:
    eItemClock mMode;
    FILETIME mReadTime = 0;
    FILETIME mNext;  // ITEM_CLOCK_RATE
    FILETIME mStep;
    FILETIME mLast = 0;  // ITEM_CLOCK_PACKET: the last item's time; 0 before the first
};

// The diagnostic timestamp of a log packet (header offset 8), looking inside a multi-SIM wrapper: false
// for a packet that has none (not a log packet, or cut inside its header).
bool PacketTimestamp(const unsigned char* packet, size_t size, unsigned long long& timestamp);
