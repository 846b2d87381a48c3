// The store's production file stream, remembering the system's reason (errno) for the first failure of
// the file in use (its open, a write, or its close, which includes writing it back to the disk), so that
// the tool can say "No space left on device" rather than only that writing failed; and how many bytes the
// file holds, for the rotation of a long recording.
#pragma once

#include <cstdint>

#include "jni/ISFMappedStream.h"

class cErrnoStreamFactory;

class cErrnoFileStream : public cISFMappedStream {
public:
    // `factory` (outliving the stream) receives the errno of the first failure and the file's size.
    explicit cErrnoFileStream(cErrnoStreamFactory& factory) : mFactory(factory) {}
    bool Open(const char* path) override;
    void Write(const unsigned char* data, size_t length) override;
    void Close() override;

private:
    cErrnoStreamFactory& mFactory;
};

class cErrnoStreamFactory : public cISFStreamFactory {
public:
    // Owned by the caller (the store). A new stream starts the counts below afresh: the store asks for
    // one at every open.
    cISFStream* NewStream() override;

    int mError = 0;       // errno of the first failed open or write of the latest stream
    int mCloseError = 0;  // errno of its failed close
    uint64_t mSize = 0;   // the highest byte written to it
};
