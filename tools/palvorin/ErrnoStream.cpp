#include "tools/palvorin/ErrnoStream.h"

#include <cerrno>
#include <new>

bool cErrnoFileStream::Open(const char* path) {
    const bool open = cISFMappedStream::Open(path);
    if (!open && mFactory.mError == 0) {
        mFactory.mError = errno != 0 ? errno : EIO;
    }
    return open;
}

void cErrnoFileStream::Write(const unsigned char* data, size_t length) {
    const bool wasBad = Bad();
    errno = 0;
    cISFMappedStream::Write(data, length);
    if (!wasBad && Bad() && mFactory.mError == 0) {
        mFactory.mError = errno != 0 ? errno : EIO;
    }
    const uint64_t at = Tell();
    if (at != ~0ULL && at > mFactory.mSize) {
        mFactory.mSize = at;
    }
}

void cErrnoFileStream::Close() {
    const bool wasFailed = Fail();
    errno = 0;
    cISFMappedStream::Close();
    if (!wasFailed && Fail() && mFactory.mCloseError == 0) {
        mFactory.mCloseError = errno != 0 ? errno : EIO;
    }
}

cISFStream* cErrnoStreamFactory::NewStream() {
    mError = 0;
    mCloseError = 0;
    mSize = 0;
    return new (std::nothrow) cErrnoFileStream(*this);
}
