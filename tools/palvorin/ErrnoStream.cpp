#include "tools/palvorin/ErrnoStream.h"

#include <cerrno>
#include <new>

bool cErrnoFileStream::Open(const char* path) {
    const bool open = cISFMappedStream::Open(path);
    if (!open && mError == 0) {
        mError = errno;
    }
    return open;
}

void cErrnoFileStream::Write(const unsigned char* data, size_t length) {
    const bool wasBad = Bad();
    errno = 0;
    cISFMappedStream::Write(data, length);
    if (!wasBad && Bad() && mError == 0) {
        mError = errno != 0 ? errno : EIO;
    }
}

cISFStream* cErrnoStreamFactory::NewStream() {
    return new (std::nothrow) cErrnoFileStream(mError);
}
