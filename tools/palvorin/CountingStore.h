// The item store with a count of what it writes: items per item type (those it derives and those it is
// given), and the system-information blocks the WCDMA reassembly rebuilt. Every item reaches the file
// through the virtual InternalWriteItem, the unwrapped and rebuilt ones included, so counting there sees
// them all.
#pragma once

#include <cstdint>

#include "jni/ISFStore.h"

class cCountingStore : public cISFStore {
public:
    static constexpr unsigned int kTypeSlots = 32;  // every value of the 5 type bits

    // `streams` makes the file streams; it must outlive the store.
    explicit cCountingStore(cISFStreamFactory* streams) : cISFStore(streams) {}

    unsigned int InternalWriteItem(sSharedBuffer* item, FILETIME time, unsigned int type) override;

    uint64_t mItemsByType[kTypeSlots] = {};
    uint64_t mItems = 0;
    uint64_t mRebuiltBlocks = 0;  // 0x412F logs of channel type 254 or 255 written
};
