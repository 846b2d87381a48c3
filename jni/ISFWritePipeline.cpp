// The item write pipeline: the public entries validate an item and take the lock; InternalWriteItem
// classifies it, writes its record and index entry, and reacts to debug-trace item responses and
// over-the-air logs.
#include <cstring>
#include <new>

#include "diag/SubsystemCmd.h"
#include "jni/ISFIndex.h"
#include "jni/ISFStore.h"

unsigned int cISFStore::WriteItem(unsigned int protocol, unsigned int length, const unsigned char* data,
                                  FILETIME time) {
    if (data == nullptr || !IsAcceptedProtocol(protocol)) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "invalid item written\n");
        return ISF_STATUS_INVALID_ITEM;
    }
    const bool tagged = protocol == ISF_PROTOCOL_TAGGED_REQUEST;
    // The copy lives only for this call; a length outside 1..16640 leaves it empty, which the next step
    // refuses.
    sSharedBuffer buffer(data, length, tagged ? PROTOCOL_DIAG_TO_DEVICE : protocol);
    if (buffer.mData == nullptr && IsUsableSize(length)) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
        return ISF_STATUS_NO_MEMORY;
    }
    return WriteItem(&buffer, time, tagged ? ITEM_TYPE_TAGGED_REQUEST : ITEM_TYPE_DERIVE);
}

unsigned int cISFStore::WriteItem(sSharedBuffer* item, FILETIME time, unsigned int type) {
    cLockGuard lock(mLock);
    return WriteItemLocked(item, time, type);
}

unsigned int cISFStore::WriteItemLocked(sSharedBuffer* item, FILETIME time, unsigned int type) {
    if (!IsUsableBuffer(item)) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "invalid item written\n");
        return ISF_STATUS_INVALID_ITEM;
    }
    unsigned int status = ISF_STATUS_OK;
    if (mFile != nullptr && mFile->IsOpen()) {
        status = InternalWriteItem(item, time, type);
        StoreFileListDiagReqRsp(item);
        StoreDiagHealthRsp(item);
    }
    uint64_t end;
    GetFileLength(end);
    return status;
}

void cISFStore::CheckForAndUpdateHint(sSharedBuffer* item) {
    if (IsUsableBuffer(item) && item->mProtocol == PROTOCOL_DIAG_TO_DEVICE) {
        UpdateHints(item->mData, item->mSize, mHintA, mHintB);
    }
}

unsigned int cISFStore::InternalWriteItem(sSharedBuffer* item, FILETIME time, unsigned int type) {
    if (!IsUsableBuffer(item)) {
        return ISF_STATUS_BAD_ARGUMENTS;
    }
    unsigned int itemType = type;
    uint32_t aux = ISF_NO_AUX;
    if (type == ITEM_TYPE_DERIVE) {
        const unsigned int command = item->mData[0];
        if (command >= DIAG_FIRST_UNKNOWN_COMMAND) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "Bad Diag type %d\n", command);
        }
        eAuxSource auxSource = AUX_NONE;
        itemType = ClassifyItem(item->mData, item->mSize, item->mProtocol, auxSource);
        if (auxSource == AUX_HINT_A) {
            aux = mHintA;
        } else if (auxSource == AUX_HINT_B) {
            aux = mHintB;
        }
    }
    CheckForAndUpdateHint(item);

    uint64_t position = 0;
    unsigned int status = GetFileLength(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    if (mItemsInBlock % ISF_ENTRIES_PER_BLOCK == 0) {
        status = WriteIndexBlock(time);
        if (status != ISF_STATUS_OK) {
            return status;
        }
    }
    if (mItemCount != (mIndexBlocks.Count() - 1) * ISF_ENTRIES_PER_BLOCK + mItemsInBlock) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Corrupt file store detected!");
        return ISF_STATUS_IO;
    }
    status = GetFileLength(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    const sIndexBlockInfo& block = mIndexBlocks.Last();
    const uint64_t recordsStart = block.mOffset + ISF_BLOCK_SIZE;
    if (position < recordsStart) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Corrupt file store detected!!");
        return ISF_STATUS_IO;
    }

    cIndex entry;
    entry.SetItemType(itemType);
    entry.SetRecordOffset(static_cast<uint32_t>(position - recordsStart));
    entry.SetLength(static_cast<uint16_t>(item->mSize));
    const unsigned int headerSize = entry.SetAuxiliaryIndex(mRecord, block.mBaseMs, time, aux);
    memcpy(mRecord + headerSize, item->mData, item->mSize);
    status = WriteFile(position, mRecord, headerSize + item->mSize);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    // The entry's length last and by itself: a writer killed in the middle of the entry leaves it without
    // a length, which a reader takes for an entry never written (the item's write had not returned).
    const uint64_t entryAt = block.mOffset + static_cast<uint64_t>(mItemsInBlock) * ISF_ENTRY_SIZE;
    status = WriteFile(entryAt, entry.mEntry, ISF_ENTRY_LENGTH);
    if (status == ISF_STATUS_OK) {
        status = WriteFile(entryAt + ISF_ENTRY_LENGTH, entry.mEntry + ISF_ENTRY_LENGTH,
                           ISF_ENTRY_SIZE - ISF_ENTRY_LENGTH);
    }
    if (status != ISF_STATUS_OK) {
        return status;
    }
    ++mItemsInBlock;
    ++mItemCount;

    if (itemType == ITEM_TYPE_SUBSYSTEM_RESPONSE) {
        UnwrapDebugTraceItem(item, time);
    } else if (itemType == ITEM_TYPE_OTA_LOG) {
        UpdateWCDMAOTA(item, time);
    }
    return ISF_STATUS_OK;
}

void cISFStore::UnwrapDebugTraceItem(sSharedBuffer* item, FILETIME time) {
    // The views take references on what they view: they look at a private copy, never at the caller's
    // buffer, whose count they would otherwise bring to zero and destroy.
    sSharedBuffer* copy = new (std::nothrow) sSharedBuffer(item->mData, item->mSize, item->mProtocol);
    if (copy == nullptr) {
        return;
    }
    if (!IsUsableBuffer(copy)) {
        delete copy;
        return;
    }
    copy->AddRef();  // ours, given back below: the copy goes with the last reference
    sSharedBuffer* inner = nullptr;
    {
        const sDiagSubsystemCmd command(copy);
        eDiagSubsysID id = DIAG_SUBSYS_NONE;
        unsigned int subsystemCommand = 0;
        if (command.GetSubsystemDispatch(id, subsystemCommand) && id == DIAG_SUBSYS_DEBUG_TRACE &&
            subsystemCommand == DEBUG_TRACE_GET_ITEM) {
            const sDiagDbgSSGetItemRsp response(copy);
            if (response.IsValid()) {
                inner = response.GetItem();  // a new buffer, ours
            }
        }
    }
    copy->Release();
    if (inner != nullptr) {
        InternalWriteItem(inner, time, ITEM_TYPE_DERIVE);
        delete inner;
    }
}
