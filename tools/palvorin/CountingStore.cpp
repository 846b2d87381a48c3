#include "tools/palvorin/CountingStore.h"

#include "diag/DiagProtocol.h"
#include "diag/OTACodes.h"

namespace {

// Channel types of the logs the WCDMA reassembly rebuilds (from the BCH and from the FACH).
const unsigned char kRebuiltFromBCH = 254;
const unsigned char kRebuiltFromFACH = 255;
const unsigned int kChannelTypeAt = 16;

bool IsRebuiltBlock(const sSharedBuffer* item) {
    return item->mSize > kChannelTypeAt && item->mData[0] == DIAG_CMD_LOG &&
           GetLE(item->mData + 6, 2) == OTA_WCDMA_RRC &&
           (item->mData[kChannelTypeAt] == kRebuiltFromBCH ||
            item->mData[kChannelTypeAt] == kRebuiltFromFACH);
}

}  // namespace

unsigned int cCountingStore::InternalWriteItem(sSharedBuffer* item, FILETIME time, unsigned int type) {
    const unsigned int status = cISFStore::InternalWriteItem(item, time, type);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    unsigned int stored = type;
    if (type == ITEM_TYPE_DERIVE) {
        eAuxSource aux;
        stored = ClassifyItem(item->mData, item->mSize, item->mProtocol, aux);
    }
    ++mItemsByType[stored & (kTypeSlots - 1)];
    ++mItems;
    if (IsRebuiltBlock(item)) {
        ++mRebuiltBlocks;
    }
    return status;
}
