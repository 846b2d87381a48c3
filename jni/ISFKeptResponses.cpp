// Health and file-list packets kept aside (the latest per key) and written again at the end of every file
// the store closes, so that a file cut off after them still holds the state they describe.
#include <new>

#include "jni/ISFStore.h"

void cISFStore::KeepResponse(sSharedBuffer* item) {
    const uint16_t key = static_cast<uint16_t>(GetLE(item->mData + 2, 2));
    sSharedBuffer* copy = new (std::nothrow) sSharedBuffer(item->mData, item->mSize, item->mProtocol);
    if (copy != nullptr && copy->mData == nullptr) {
        delete copy;
        copy = nullptr;
    }
    auto kept = mStoredResponses.find(key);
    if (kept != mStoredResponses.end()) {
        delete kept->second;
        kept->second = copy;
    } else if (copy != nullptr) {
        try {
            mStoredResponses.emplace(key, copy);
        } catch (...) {  // the map could not grow: nothing is kept
            delete copy;
            copy = nullptr;
        }
    }
    if (copy == nullptr) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
    }
}

void cISFStore::StoreDiagHealthRsp(sSharedBuffer* item) {
    if (IsUsableBuffer(item) && IsDiagHealthRsp(item->mData, item->mSize, item->mProtocol)) {
        KeepResponse(item);
    }
}

void cISFStore::StoreFileListDiagReqRsp(sSharedBuffer* item) {
    if (IsUsableBuffer(item) && IsFileListDiagReqRsp(item->mData, item->mSize, item->mProtocol)) {
        KeepResponse(item);
    }
}

void cISFStore::ReplayDiagHealthRsps() {
    for (const auto& kept : mStoredResponses) {
        InternalWriteItem(kept.second, CurrentFiletime(), ITEM_TYPE_DERIVE);
    }
}

void cISFStore::DeleteDiagHealthRsps() {
    while (!mStoredResponses.empty()) {
        auto first = mStoredResponses.begin();
        delete first->second;
        mStoredResponses.erase(first);
    }
}
