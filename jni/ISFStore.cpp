#include "jni/ISFStore.h"

#include <sys/time.h>

#include <cstring>
#include <new>

#include "diag/SubsystemCmd.h"
#include "jni/ISFIndex.h"
#include "jni/ISFMappedStream.h"
#include "jni/ISFToolVersion.h"
#include "text/Numbers.h"

namespace {

cISFMappedStreamFactory gFileStreams;

class cLockGuard {
public:
    explicit cLockGuard(pthread_mutex_t& mutex) : mMutex(mutex) { pthread_mutex_lock(&mMutex); }
    ~cLockGuard() { pthread_mutex_unlock(&mMutex); }
    cLockGuard(const cLockGuard&) = delete;
    cLockGuard& operator=(const cLockGuard&) = delete;

private:
    pthread_mutex_t& mMutex;
};

bool IsOpen(const cISFStream* stream) {
    return stream != nullptr && stream->IsOpen();
}

}  // namespace

cISFStore::cISFStore(cISFStreamFactory* streams)
    : mFile(nullptr),
      mItemCount(0),
      mWriteChunkSize(ISF_DEFAULT_WRITE_CHUNK_SIZE),
      mIndexBlocks(nullptr),
      mIndexBlockCount(0),
      mIndexBlockCapacity(0),
      mItemsInBlock(0),
      mHintA(ISF_NO_AUX),
      mHintB(ISF_NO_AUX),
      mStreams(streams != nullptr ? streams : &gFileStreams) {
    pthread_mutex_init(&mLock, nullptr);
}

cISFStore::~cISFStore() {
    cISFStore::CloseFileStore();
    DeleteDiagHealthRsps();
    pthread_mutex_destroy(&mLock);
    delete[] mIndexBlocks;
}

unsigned int cISFStore::OpenNewFileStore(const char* path) {
    cISFStream* stream = mStreams->NewStream();
    if (stream == nullptr) {
        return ISF_STATUS_IO;
    }
    if (!stream->Open(path)) {
        delete stream;  // the previous file stays open and untouched
        return ISF_STATUS_IO;
    }
    CloseFileStore();
    unsigned int status;
    {
        cLockGuard lock(mLock);
        mFile = stream;
        unsigned char header[ISF_HEADER_SIZE];
        PutLE(header, ISF_HEADER_MAGIC, ISF_HEADER_SIZE);
        status = WriteFile(0, header, ISF_HEADER_SIZE);
    }
    WriteToolVersion();
    return status;
}

unsigned int cISFStore::SetFilePointer(uint64_t position) {
    if (!IsOpen(mFile)) {
        return ISF_STATUS_BAD_ARGUMENTS;
    }
    if (mFile->Good()) {
        mFile->Flush();
    }
    if (!mFile->Fail()) {
        mFile->Seek(position);
    }
    return mFile->Good() ? ISF_STATUS_OK : ISF_STATUS_IO;
}

unsigned int cISFStore::GetFileLength(uint64_t& length) {
    if (!IsOpen(mFile)) {
        return ISF_STATUS_IO;
    }
    if (mFile->Good()) {
        mFile->Flush();
    }
    if (!mFile->Fail()) {
        mFile->SeekEnd();
    }
    length = mFile->Fail() ? ~0ULL : mFile->Tell();
    return ISF_STATUS_OK;
}

unsigned int cISFStore::WriteFile(uint64_t position, const unsigned char* data, unsigned int length) {
    if (mFile == nullptr || length == 0 || data == nullptr || !mFile->IsOpen()) {
        return ISF_STATUS_BAD_ARGUMENTS;
    }
    const unsigned int status = SetFilePointer(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    // A chunk size of 0 would never finish: the whole write is then one chunk.
    const unsigned int chunk = mWriteChunkSize != 0 ? mWriteChunkSize : length;
    const unsigned int chunks = length / chunk;
    uint64_t end;
    for (unsigned int i = 0; i < chunks; ++i) {
        mFile->Write(data, chunk);
        data += chunk;
        if (!mFile->Good()) {
            GetFileLength(end);
            return ISF_STATUS_IO;
        }
    }
    mFile->Write(data, length - chunks * chunk);  // the remainder, possibly empty
    const unsigned int result = mFile->Good() ? ISF_STATUS_OK : ISF_STATUS_IO;
    GetFileLength(end);  // back to the end of the file
    return result;
}

unsigned int cISFStore::AppendIndexBlock(const sIndexBlockInfo& block) {
    if (mIndexBlockCount == mIndexBlockCapacity) {
        const uint32_t capacity = mIndexBlockCapacity == 0 ? 8 : mIndexBlockCapacity * 2;
        sIndexBlockInfo* grown = new (std::nothrow) sIndexBlockInfo[capacity];
        if (grown == nullptr) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
            return ISF_STATUS_NO_MEMORY;
        }
        if (mIndexBlockCount != 0) {
            memcpy(grown, mIndexBlocks, mIndexBlockCount * sizeof(sIndexBlockInfo));
        }
        delete[] mIndexBlocks;
        mIndexBlocks = grown;
        mIndexBlockCapacity = capacity;
    }
    mIndexBlocks[mIndexBlockCount++] = block;
    return ISF_STATUS_OK;
}

unsigned int cISFStore::WriteIndexBlock(FILETIME time) {
    uint64_t position = 0;
    unsigned int status = GetFileLength(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    const uint64_t baseMs = time / FILETIME_UNITS_PER_MS;
    unsigned char* block = new (std::nothrow) unsigned char[ISF_BLOCK_SIZE]();
    if (block == nullptr) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
        return ISF_STATUS_NO_MEMORY;
    }
    PutLE(block + ISF_BLOCK_BASE_TIME_OFFSET, baseMs, 8);  // next-block offset stays 0
    status = WriteFile(position, block, ISF_BLOCK_SIZE);
    delete[] block;
    if (status != ISF_STATUS_OK) {
        return status;
    }
    // Link the previous block to the new one only now that the new one is complete.
    if (mIndexBlockCount != 0) {
        unsigned char link[8];
        PutLE(link, position, 8);
        status = WriteFile(mIndexBlocks[mIndexBlockCount - 1].mOffset + ISF_BLOCK_NEXT_OFFSET, link, 8);
        if (status != ISF_STATUS_OK) {
            return status;
        }
    }
    status = AppendIndexBlock({position, baseMs});
    if (status != ISF_STATUS_OK) {
        return status;
    }
    mItemsInBlock = 0;
    return ISF_STATUS_OK;
}

unsigned int cISFStore::SaveFileStore() {
    uint64_t position = 0;
    unsigned int status = GetFileLength(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    if (mIndexBlockCount != 0) {
        const unsigned int size = mIndexBlockCount * ISF_DESCRIPTOR_SIZE;
        unsigned char* table = new (std::nothrow) unsigned char[size];
        if (table == nullptr) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
            return ISF_STATUS_NO_MEMORY;
        }
        for (uint32_t i = 0; i < mIndexBlockCount; ++i) {
            PutLE(table + i * ISF_DESCRIPTOR_SIZE, mIndexBlocks[i].mOffset, 8);
            PutLE(table + i * ISF_DESCRIPTOR_SIZE + 8, mIndexBlocks[i].mBaseMs, 8);
        }
        status = WriteFile(position, table, size);
        delete[] table;
        if (status != ISF_STATUS_OK) {
            return status;
        }
        position += size;
    }
    unsigned char trailer[ISF_TRAILER_SIZE] = {};
    PutLE(trailer + ISF_TRAILER_COUNT_OFFSET, mItemCount, 4);
    PutLE(trailer + ISF_TRAILER_MAGIC_OFFSET, ISF_TRAILER_MAGIC, 4);
    return WriteFile(position, trailer, ISF_TRAILER_SIZE);
}

void cISFStore::CloseStream() {
    mFile->Flush();
    mFile->Close();  // a failure only sets the fail flag of a stream about to go
    delete mFile;
    mFile = nullptr;
}

void cISFStore::CloseFileStore() {
    cLockGuard lock(mLock);
    if (IsOpen(mFile)) {
        ReplayDiagHealthRsps();
        SaveFileStore();
        CloseStream();
    }
    ClearState();
}

void cISFStore::ClearState() {
    mItemsInBlock = 0;
    mIndexBlockCount = 0;
    mItemCount = 0;
    if (IsOpen(mFile)) {
        CloseStream();
    }
}

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
    if (!IsUsableBuffer(item)) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "invalid item written\n");
        return ISF_STATUS_INVALID_ITEM;
    }
    cLockGuard lock(mLock);
    unsigned int status = ISF_STATUS_OK;
    if (IsOpen(mFile)) {
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
    if (mItemCount != (mIndexBlockCount - 1) * ISF_ENTRIES_PER_BLOCK + mItemsInBlock) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Corrupt file store detected!");
        return ISF_STATUS_IO;
    }
    status = GetFileLength(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    const sIndexBlockInfo& block = mIndexBlocks[mIndexBlockCount - 1];
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
    status = WriteFile(block.mOffset + static_cast<uint64_t>(mItemsInBlock) * ISF_ENTRY_SIZE, entry.mEntry,
                       ISF_ENTRY_SIZE);
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

sSharedBuffer* cISFStore::GenerateToolVersion(unsigned long long cdmaTime) {
    unsigned char record[TOOL_VERSION_RECORD_SIZE] = {};
    record[0] = DIAG_CMD_LOG;
    PutLE(record + 2, TOOL_VERSION_LOG_LENGTH, 2);
    PutLE(record + 4, TOOL_VERSION_LOG_LENGTH, 2);
    PutLE(record + 6, TOOL_VERSION_LOG_CODE, 2);
    PutLE(record + TOOL_VERSION_AT_TIMESTAMP, cdmaTime, 8);

    PALVORIN_LOG(PALVORIN_TAG_STORE, "VERSION %s\n", TOOL_VERSION_TEXT);
    // major.minor.build, split at the first and the last dot.
    const char* firstDot = strchr(TOOL_VERSION_TEXT, '.');
    const char* lastDot = strrchr(TOOL_VERSION_TEXT, '.');
    char major[16] = {};
    char minor[16] = {};
    const size_t majorLength = firstDot != nullptr ? static_cast<size_t>(firstDot - TOOL_VERSION_TEXT) : 0;
    const size_t minorLength =
        firstDot != nullptr && lastDot > firstDot ? static_cast<size_t>(lastDot - firstDot - 1) : 0;
    unsigned int majorValue = 0;
    unsigned int minorValue = 0;
    if (firstDot != nullptr && majorLength < sizeof major && minorLength < sizeof minor) {
        memcpy(major, TOOL_VERSION_TEXT, majorLength);
        if (minorLength != 0) {
            memcpy(minor, firstDot + 1, minorLength);
        }
        const char* build = lastDot + 1;
        if (FromString(major, majorValue) && FromString(minor, minorValue)) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "MAJOR %lu, MINOR %lu, BUILD %s\n",
                         static_cast<unsigned long>(majorValue), static_cast<unsigned long>(minorValue),
                         build);
            PutLE(record + TOOL_VERSION_AT_MAJOR, majorValue, 2);
            PutLE(record + TOOL_VERSION_AT_MINOR, minorValue, 2);
            if (strlen(build) < TOOL_VERSION_BUILD_FIELD + 1) {
                memcpy(record + TOOL_VERSION_AT_BUILD, build, strlen(build));
            }
        }
    }
    memcpy(record + TOOL_VERSION_AT_NAME, TOOL_NAME, strlen(TOOL_NAME));
    memcpy(record + TOOL_VERSION_AT_DATE, TOOL_BUILD_DATE, strlen(TOOL_BUILD_DATE));

    timeval now;
    struct timezone zone;
    if (gettimeofday(&now, &zone) == 0) {
        PutLE(record + TOOL_VERSION_AT_SECONDS, static_cast<uint64_t>(now.tv_sec), 4);
        PutLE(record + TOOL_VERSION_AT_MINUTES_WEST, static_cast<uint64_t>(zone.tz_minuteswest), 2);
        PutLE(record + TOOL_VERSION_AT_DST, static_cast<uint64_t>(zone.tz_dsttime), 2);
        PutLE(record + TOOL_VERSION_AT_MILLISECONDS, static_cast<uint64_t>(now.tv_usec / 1000), 2);
    }
    sSharedBuffer* buffer =
        new (std::nothrow) sSharedBuffer(record, TOOL_VERSION_RECORD_SIZE, PROTOCOL_DIAG_FROM_DEVICE);
    if (buffer != nullptr && buffer->mData == nullptr) {
        delete buffer;
        return nullptr;
    }
    return buffer;
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

void cISFStore::UpdateWCDMAOTA(sSharedBuffer* item, FILETIME time) {
    unsigned long long cdmaTime = 0;
    FiletimeToCDMA(time, cdmaTime);
    for (sSharedBuffer* block : mAccumulator.ProcessItem(item, cdmaTime)) {
        // A rebuilt block is itself an over-the-air log: its write hands it back here, where it is ignored.
        InternalWriteItem(block, time, ITEM_TYPE_DERIVE);
        delete block;  // the accumulator's buffers are ours; the write kept a copy of the bytes
    }
}

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
