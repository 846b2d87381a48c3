// The item store: writes diagnostic packets as timestamped items into one item store file (ISF) at a
// time. Every file operation of one store runs under its own mutex, so any thread may write, open or
// close.
//
// Status codes (0 is success):
//   8   memory ran out (logged "Memory allocation error")
//   9   input/output failure: file not created, stream failed, no file for GetFileLength, or corrupt
//       counters ("Corrupt file store detected!")
//   22  invalid item: unknown protocol type, no data, or a length outside 1..16640
//   160 bad arguments or no open file for a positioned write
// Writing an item while no file is open does nothing and returns 0.
//
// The operations are spread over files by concern: the file's life and layout (ISFStore.cpp), positioned
// access to the stream (ISFStoreIO.cpp), the write pipeline (ISFWritePipeline.cpp), the kept health and
// file-list responses (ISFKeptResponses.cpp), the WCDMA reassembly glue (ISFStoreWCDMA.cpp) and the
// tool-version record (ISFToolVersion.cpp).
#pragma once

#include <pthread.h>

#include <cstdint>
#include <map>

#include "Shared/Log.h"
#include "Shared/SharedBuffer.h"
#include "jni/ISFClassify.h"
#include "jni/ISFFileIdentity.h"
#include "jni/ISFFormat.h"
#include "jni/ISFIndexBlocks.h"
#include "jni/ISFLockGuard.h"
#include "jni/ISFStream.h"
#include "jni/ISFTime.h"
#include "wcdma/WCDMARRCAccumulator.h"

const unsigned int ISF_STATUS_OK = 0;
const unsigned int ISF_STATUS_NO_MEMORY = 8;
const unsigned int ISF_STATUS_IO = 9;
const unsigned int ISF_STATUS_INVALID_ITEM = 22;
const unsigned int ISF_STATUS_BAD_ARGUMENTS = 160;

const unsigned int ISF_DEFAULT_WRITE_CHUNK_SIZE = 16384;

class cISFStore {
public:
    // `streams` makes the stream of every file the store opens; it must outlive the store. Null: the
    // default factory (jni/ISFDefaultStream.h: writes through a shared mapping of the file).
    explicit cISFStore(cISFStreamFactory* streams = nullptr);
    // Closes an open file (rewriting the kept responses), then frees the kept responses.
    virtual ~cISFStore();

    // Takes the lock, rewrites the kept responses as items, appends the index-block table and trailer,
    // closes the file and resets the per-file state. Never fails; with no file open it only resets the
    // counters. OpenNewFileStore finishes the previous file with the same steps inside its own hold of the
    // lock (the lock is not recursive), not through this virtual.
    virtual void CloseFileStore();

    // Writes one item; the caller holds the lock. Classifies it (type ITEM_TYPE_DERIVE) or takes `type`,
    // updates hints, starts an index block when needed, writes record and entry, then unwraps debug-trace
    // item responses and feeds over-the-air logs onwards. The caller keeps `item`. Returns a status.
    virtual unsigned int InternalWriteItem(sSharedBuffer* item, FILETIME time, unsigned int type);

    // Creates (or empties) the file at `path`, finishes the previous file, and writes the header and the
    // tool-version record, all under the lock: no other thread's item, open or close comes between. When
    // the file cannot be created, returns 9 and the previous file stays open, except when `path` names the
    // very file being written (same device and inode): that file is finished first, since emptying it
    // under the open stream would leave the old table and trailer behind the new items, so a failed
    // re-creation then leaves no file open.
    unsigned int OpenNewFileStore(const char* path);

    // Entry for raw bytes (copied): protocol type `protocol` (514: stored with protocol 4 and type 7).
    unsigned int WriteItem(unsigned int protocol, unsigned int length, const unsigned char* data,
                           FILETIME time);
    // Entry for a buffer, which the caller keeps. Takes the lock; keeps health and file-list packets.
    unsigned int WriteItem(sSharedBuffer* item, FILETIME time, unsigned int type);

    // Takes the lock and writes the tool-version record as an item of type 5 stamped now; a failure is
    // only logged.
    void WriteToolVersion() {
        cLockGuard lock(mLock);
        WriteToolVersionLocked();
    }

    // The 165-byte tool-version record (a log packet with log code 0x1FFD) stamped with `cdmaTime`, as a new
    // buffer of protocol 3 owned by the caller (reference count 0); null when memory runs out.
    static sSharedBuffer* GenerateToolVersion(unsigned long long cdmaTime);

    cISFStore(const cISFStore&) = delete;
    cISFStore& operator=(const cISFStore&) = delete;

protected:
    // Everything below runs with the lock held.

    // The hint update of a request packet alone (protocol 4; other protocols are ignored).
    void CheckForAndUpdateHint(sSharedBuffer* item);

    // Positioned file access.
    unsigned int WriteFile(uint64_t position, const unsigned char* data, unsigned int length);
    unsigned int SetFilePointer(uint64_t position);
    unsigned int GetFileLength(uint64_t& length);  // all ones when the stream has failed (status 0)
    unsigned int WriteIndexBlock(FILETIME time);
    unsigned int SaveFileStore();
    void ClearState();

    // Kept health and file-list packets (private copies, latest per u16 key at bytes 2-3). The caller keeps
    // `item`.
    void StoreDiagHealthRsp(sSharedBuffer* item);
    void StoreFileListDiagReqRsp(sSharedBuffer* item);
    void ReplayDiagHealthRsps();
    void DeleteDiagHealthRsps();

    // Hands an over-the-air log (read only; the caller keeps it) to the WCDMA reassembly and writes every
    // system-information block it completes as a further item with the same time, in the order returned.
    // Statuses of the further writes are ignored.
    void UpdateWCDMAOTA(sSharedBuffer* item, FILETIME time);

private:
    friend class cISFStoreInspector;  // the tests' look at the counters

    // The body of WriteItem(sSharedBuffer*, ...) and of CloseFileStore, with the lock held.
    unsigned int WriteItemLocked(sSharedBuffer* item, FILETIME time, unsigned int type);
    void FinishFile();
    void CloseStream();
    void KeepResponse(sSharedBuffer* item);
    void UnwrapDebugTraceItem(sSharedBuffer* item, FILETIME time);

    // Defined here, in the header, so that its log line names this file.
    void WriteToolVersionLocked() {
        const FILETIME now = CurrentFiletime();
        unsigned long long cdmaTime = 0;
        FiletimeToCDMA(now, cdmaTime);
        sSharedBuffer* record = GenerateToolVersion(cdmaTime);
        const unsigned int status = WriteItemLocked(record, now, ITEM_TYPE_LOG);
        delete record;
        if (status != ISF_STATUS_OK) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "Unable to write tool ver %lu\n",
                         static_cast<unsigned long>(status));
        }
    }

    cISFStream* mFile;            // owned; null when no file is open
    sFileIdentity mFileIdentity;  // of the open file, taken when it was created
    uint32_t mItemCount;
    uint32_t mWriteChunkSize;
    cISFIndexBlocks mIndexBlocks;
    uint32_t mItemsInBlock;
    uint32_t mHintA;  // ISF_NO_AUX when unset
    uint32_t mHintB;
    cWCDMARRCAccumulator mAccumulator;  // partial blocks live as long as the store, across files
    pthread_mutex_t mLock;
    std::map<uint16_t, sSharedBuffer*> mStoredResponses;  // owns the buffers
    cISFStreamFactory* mStreams;                          // not owned

    // Record header and payload are put together here so that a record reaches the file in one write.
    unsigned char mRecord[ISF_MAX_RECORD_HEADER_SIZE + MAX_SHARED_BUFFER_SIZE];
};
