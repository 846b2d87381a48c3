// The item store: writes diagnostic packets as timestamped items into one item store file (ISF) at a
// time. Every file operation of one store runs under its own mutex, so any thread may write.
//
// Status codes (0 is success):
//   8   memory ran out (logged "Memory allocation error")
//   9   input/output failure: file not created, stream failed, no file for GetFileLength, or corrupt
//       counters ("Corrupt file store detected!")
//   22  invalid item: unknown protocol type, no data, or a length outside 1..16640
//   160 bad arguments or no open file for a positioned write
// Writing an item while no file is open does nothing and returns 0.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <map>

#include "Shared/Log.h"
#include "Shared/SharedBuffer.h"
#include "jni/ISFClassify.h"
#include "jni/ISFFormat.h"
#include "jni/ISFStream.h"
#include "jni/ISFTime.h"
#include "wcdma/WCDMARRCAccumulator.h"

const unsigned int ISF_STATUS_OK = 0;
const unsigned int ISF_STATUS_NO_MEMORY = 8;
const unsigned int ISF_STATUS_IO = 9;
const unsigned int ISF_STATUS_INVALID_ITEM = 22;
const unsigned int ISF_STATUS_BAD_ARGUMENTS = 160;

const unsigned int ISF_DEFAULT_WRITE_CHUNK_SIZE = 16384;

// One index block of the open file.
struct sIndexBlockInfo {
    uint64_t mOffset;  // file offset of the block
    uint64_t mBaseMs;  // block base time, milliseconds since 1601
};

class cISFStore {
public:
    // `streams` makes the stream of every file the store opens; it must outlive the store. Null: the
    // production stream (writes through a shared mapping of the file, jni/ISFMappedStream.h).
    explicit cISFStore(cISFStreamFactory* streams = nullptr);
    // Closes an open file (rewriting the kept responses), then frees the kept responses.
    virtual ~cISFStore();

    // Rewrites the kept responses as items, appends the index-block table and trailer, closes the file and
    // resets the per-file state. Never fails; with no file open it only resets the counters.
    virtual void CloseFileStore();

    // Writes one item under the lock already held: classifies it (type ITEM_TYPE_DERIVE) or takes `type`,
    // updates hints, starts an index block when needed, writes record and entry, then unwraps debug-trace
    // item responses and feeds over-the-air logs onwards. The caller keeps `item`. Returns a status.
    virtual unsigned int InternalWriteItem(sSharedBuffer* item, FILETIME time, unsigned int type);

    // Creates (or empties) the file at `path`, finishing the previous file first, and writes the header
    // and the tool-version record. On failure to create, returns 9 and the previous file stays open.
    unsigned int OpenNewFileStore(const char* path);

    // Entry for raw bytes (copied): protocol type `protocol` (514: stored with protocol 4 and type 7).
    unsigned int WriteItem(unsigned int protocol, unsigned int length, const unsigned char* data,
                           FILETIME time);
    // Entry for a buffer, which the caller keeps. Takes the lock; keeps health and file-list packets.
    unsigned int WriteItem(sSharedBuffer* item, FILETIME time, unsigned int type);

    // The hint update of a request packet alone (protocol 4; other protocols are ignored).
    void CheckForAndUpdateHint(sSharedBuffer* item);

    // Positioned file access; called with the lock held.
    unsigned int WriteFile(uint64_t position, const unsigned char* data, unsigned int length);
    unsigned int SetFilePointer(uint64_t position);
    unsigned int GetFileLength(uint64_t& length);  // all ones when the stream has failed (status 0)
    unsigned int WriteIndexBlock(FILETIME time);
    unsigned int SaveFileStore();
    void ClearState();

    // Writes the tool-version record as an item of type 5 stamped now; a failure is only logged. Defined
    // here, in the header, so that its log line names this file.
    void WriteToolVersion() {
        const FILETIME now = CurrentFiletime();
        unsigned long long cdmaTime = 0;
        FiletimeToCDMA(now, cdmaTime);
        sSharedBuffer* record = GenerateToolVersion(cdmaTime);
        const unsigned int status = WriteItem(record, now, ITEM_TYPE_LOG);
        delete record;
        if (status != ISF_STATUS_OK) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "Unable to write tool ver %lu\n",
                         static_cast<unsigned long>(status));
        }
    }

    // The 165-byte tool-version record (a log packet with log code 0x1FFD) stamped with `cdmaTime`, as a new
    // buffer of protocol 3 owned by the caller (reference count 0); null when memory runs out.
    static sSharedBuffer* GenerateToolVersion(unsigned long long cdmaTime);

    // Kept health and file-list packets (private copies, latest per u16 key at bytes 2-3). The caller keeps
    // `item`.
    void StoreDiagHealthRsp(sSharedBuffer* item);
    void StoreFileListDiagReqRsp(sSharedBuffer* item);
    void ReplayDiagHealthRsps();
    void DeleteDiagHealthRsps();

    // Hands an over-the-air log (read only; the caller keeps it) to the WCDMA reassembly and writes every
    // system-information block it completes as a further item with the same time, in the order returned.
    // Called by InternalWriteItem with the lock held; statuses of the further writes are ignored.
    void UpdateWCDMAOTA(sSharedBuffer* item, FILETIME time);

    cISFStream* mFile;  // owned; null when no file is open
    uint32_t mItemCount;
    uint32_t mWriteChunkSize;
    sIndexBlockInfo* mIndexBlocks;  // owned array of mIndexBlockCount (capacity mIndexBlockCapacity)
    uint32_t mIndexBlockCount;
    uint32_t mIndexBlockCapacity;
    uint32_t mItemsInBlock;
    uint32_t mHintA;  // ISF_NO_AUX when unset
    uint32_t mHintB;
    cWCDMARRCAccumulator mAccumulator;  // partial blocks live as long as the store, across files
    pthread_mutex_t mLock;
    std::map<uint16_t, sSharedBuffer*> mStoredResponses;  // owns the buffers
    cISFStreamFactory* mStreams;                          // not owned

    cISFStore(const cISFStore&) = delete;
    cISFStore& operator=(const cISFStore&) = delete;

private:
    void KeepResponse(sSharedBuffer* item);
    void CloseStream();
    unsigned int AppendIndexBlock(const sIndexBlockInfo& block);
    void UnwrapDebugTraceItem(sSharedBuffer* item, FILETIME time);

    // Record header and payload are put together here so that a record reaches the file in one write.
    unsigned char mRecord[ISF_MAX_RECORD_HEADER_SIZE + MAX_SHARED_BUFFER_SIZE];
};
