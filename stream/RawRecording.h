// Recording of a raw diagnostic stream into an ISF file, as `palvorin record` records one: bytes read in
// chunks, split into frames (stream/FrameDecoder.h), every good frame stored as an item from the device
// (derived item type) and stamped by the item clock (stream/ItemClock.h). For every front end that records
// a stream it did not capture itself (the Python package, the raw files of a campaign).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "stream/ItemClock.h"

class cISFStore;
class cISFStreamFactory;

// Where the bytes come from: a narrow interface, so that tests can cut the input anywhere or fail a read.
class cRawInput {
public:
    virtual ~cRawInput() {}
    // Reads at most `room` bytes into `into`: how many, 0 at the end of the input, -1 on a failure (errno
    // set).
    virtual long Read(unsigned char* into, size_t room) = 0;
};

// A descriptor, read with read(2); interrupted reads are retried. The descriptor stays the caller's.
class cDescriptorInput : public cRawInput {
public:
    explicit cDescriptorInput(int fd) : mFd(fd) {}
    long Read(unsigned char* into, size_t room) override;

private:
    int mFd;
};

enum eRawRecordingStatus {
    RAW_RECORDING_OK = 0,
    RAW_RECORDING_NO_MEMORY,      // the frame decoder or the store could not be made
    RAW_RECORDING_CANNOT_OPEN,    // the input cannot be opened (mErrno)
    RAW_RECORDING_READ_FAILED,    // reading the input failed (mErrno); what came before is stored
    RAW_RECORDING_CANNOT_CREATE,  // the output file cannot be created (mErrno when the system said why)
    RAW_RECORDING_WRITE_FAILED,   // the store refused an item (mStoreStatus), or the closed file lacks its
                                  // table and trailer
};

// What a recording did.
struct sRawRecording {
    eRawRecordingStatus mStatus = RAW_RECORDING_OK;
    int mErrno = 0;                 // CANNOT_OPEN, READ_FAILED, CANNOT_CREATE
    unsigned int mStoreStatus = 0;  // WRITE_FAILED: the store's status of the refused item
    uint64_t mBytes = 0;            // bytes read
    uint64_t mFrames = 0;           // good frames, each stored as an item
    uint64_t mBadFrames = 0;        // failed check, empty, over-long or left unclosed at the end
    uint64_t mLeadingBytes = 0;     // bytes before the first frame (a capture that began inside a frame)
    uint64_t mUnclosedBytes = 0;    // bytes at the end of the input that no flag closed
    uint64_t mItems = 0;  // RecordRawFile: items in the file (the frames, the tool-version record, blocks
                          // the WCDMA reassembly rebuilt, kept responses)
};

// Reads `input` to its end and stores every good frame through `store` (a file open on it; kept by the
// caller, who closes it), stamped by `clock`. Stops at the first failed read or refused item.
sRawRecording RecordRawStream(cRawInput& input, cISFStore& store, cItemClock& clock);

// Records the raw stream in the file at `input` into a new ISF file at `output` with the packet clock (the
// default of `palvorin record`) and closes it. `streams` makes the output's file stream (null: the store's
// default). A file that holds no frame is recorded too (mFrames 0): whether that is an error is the
// caller's to say.
sRawRecording RecordRawFile(const std::string& input, const std::string& output,
                            cISFStreamFactory* streams = nullptr);

// The reason for a status other than RAW_RECORDING_OK, naming the file it concerns ("cannot open x.bin:
// No such file or directory").
std::string RawRecordingError(const sRawRecording& recording, const std::string& input,
                              const std::string& output);
