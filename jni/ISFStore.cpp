// The life of one item store file: creating it with its header and tool-version record, appending index
// blocks, and finishing it with the descriptor table and trailer.
#include "jni/ISFStore.h"

#include <new>

#include "jni/ISFDefaultStream.h"

cISFStore::cISFStore(cISFStreamFactory* streams)
    : mFile(nullptr),
      mItemCount(0),
      mWriteChunkSize(ISF_DEFAULT_WRITE_CHUNK_SIZE),
      mItemsInBlock(0),
      mHintA(ISF_NO_AUX),
      mHintB(ISF_NO_AUX),
      mStreams(streams != nullptr ? streams : &DefaultISFStreams()) {
    pthread_mutex_init(&mLock, nullptr);
}

cISFStore::~cISFStore() {
    cISFStore::CloseFileStore();
    DeleteDiagHealthRsps();
    pthread_mutex_destroy(&mLock);
}

unsigned int cISFStore::OpenNewFileStore(const char* path) {
    // The whole open holds the lock: two opens on one store cannot both install a stream (the loser's
    // would never be closed), and no item of another thread lands before the tool-version record.
    cLockGuard lock(mLock);
    if (mFile != nullptr && FileIdentityOf(path).SameFileAs(mFileIdentity)) {
        // The open file itself: finish it before it is emptied. A failure to create it again below then
        // leaves no file open.
        FinishFile();
    }
    cISFStream* stream = mStreams->NewStream();
    if (stream == nullptr) {
        return ISF_STATUS_IO;
    }
    if (!stream->Open(path)) {
        delete stream;  // the previous file stays open and untouched
        return ISF_STATUS_IO;
    }
    FinishFile();
    mFile = stream;
    mFileIdentity = FileIdentityOf(path);
    unsigned char header[ISF_HEADER_SIZE];
    PutLE(header, ISF_HEADER_MAGIC, ISF_HEADER_SIZE);
    const unsigned int status = WriteFile(0, header, ISF_HEADER_SIZE);
    WriteToolVersionLocked();
    return status;
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
    if (mIndexBlocks.Count() != 0) {
        unsigned char link[8];
        PutLE(link, position, 8);
        status = WriteFile(mIndexBlocks.Last().mOffset + ISF_BLOCK_NEXT_OFFSET, link, 8);
        if (status != ISF_STATUS_OK) {
            return status;
        }
    }
    if (!mIndexBlocks.Append({position, baseMs})) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
        return ISF_STATUS_NO_MEMORY;
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
    if (mIndexBlocks.Count() != 0) {
        const unsigned int size = mIndexBlocks.Count() * ISF_DESCRIPTOR_SIZE;
        unsigned char* table = new (std::nothrow) unsigned char[size];
        if (table == nullptr) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "Memory allocation error");
            return ISF_STATUS_NO_MEMORY;
        }
        for (uint32_t i = 0; i < mIndexBlocks.Count(); ++i) {
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

void cISFStore::CloseFileStore() {
    cLockGuard lock(mLock);
    FinishFile();
}

void cISFStore::FinishFile() {
    if (mFile != nullptr && mFile->IsOpen()) {
        ReplayDiagHealthRsps();
        SaveFileStore();
        CloseStream();
    }
    ClearState();
}

void cISFStore::ClearState() {
    mItemsInBlock = 0;
    mIndexBlocks.Clear();
    mItemCount = 0;
    if (mFile != nullptr && mFile->IsOpen()) {
        CloseStream();
    }
}
