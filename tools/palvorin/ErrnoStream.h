// The store's production file stream, remembering the system's reason (errno) for the first failed open
// or write, so that the tool can say "No space left on device" rather than only that writing failed.
#pragma once

#include "jni/ISFMappedStream.h"

class cErrnoFileStream : public cISFMappedStream {
public:
    // `error` (kept by the caller, outliving the stream) receives the errno of the first failure.
    explicit cErrnoFileStream(int& error) : mError(error) {}
    bool Open(const char* path) override;
    void Write(const unsigned char* data, size_t length) override;

private:
    int& mError;
};

class cErrnoStreamFactory : public cISFStreamFactory {
public:
    cISFStream* NewStream() override;  // owned by the caller (the store)
    int mError = 0;                    // errno of the first failure of any stream made here
};
