// The store's side of the WCDMA system-information reassembly: every block completed by an over-the-air
// item is written as an item of its own.
#include "jni/ISFStore.h"

void cISFStore::UpdateWCDMAOTA(sSharedBuffer* item, FILETIME time) {
    unsigned long long cdmaTime = 0;
    FiletimeToCDMA(time, cdmaTime);
    for (sSharedBuffer* block : mAccumulator.ProcessItem(item, cdmaTime)) {
        // A rebuilt block is itself an over-the-air log: its write hands it back here, where it is ignored.
        InternalWriteItem(block, time, ITEM_TYPE_DERIVE);
        delete block;  // the accumulator's buffers are ours; the write kept a copy of the bytes
    }
}
