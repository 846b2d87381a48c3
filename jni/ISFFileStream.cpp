#include "jni/ISFFileStream.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <new>

#include "jni/ISFFileLimit.h"

namespace {
// Largest position a file offset (off_t) can take.
const uint64_t kMaxPosition = 0x7FFFFFFFFFFFFFFFULL;
}  // namespace

cISFFileStream::~cISFFileStream() {
    if (mFd >= 0) {
        close(mFd);
    }
}

bool cISFFileStream::Open(const char* path) {
    if (path == nullptr || mFd >= 0) {
        return false;
    }
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return fd >= 0 && Adopt(fd);
}

bool cISFFileStream::Adopt(int fd) {
    if (fd < 0 || mFd >= 0) {
        return false;
    }
    mFd = fd;
    mPosition = 0;
    mSize = 0;
    return true;
}

void cISFFileStream::Write(const unsigned char* data, size_t length) {
    if (length == 0 || Fail()) {
        return;
    }
    if (mFd < 0 || data == nullptr || length > kMaxPosition - mPosition) {
        SetState(STATE_BAD);
        return;
    }
    if (!WithinFileSizeLimit(mPosition + length)) {
        errno = EFBIG;  // a write across the limit would end the process with SIGXFSZ
        SetState(STATE_BAD);
        return;
    }
    while (length > 0) {
        const ssize_t written = pwrite(mFd, data, length, static_cast<off_t>(mPosition));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {  // a full disk surfaces here as ENOSPC (or as a write of nothing)
            SetState(STATE_BAD);
            return;
        }
        data += written;
        length -= static_cast<size_t>(written);
        mPosition += static_cast<uint64_t>(written);
        if (mPosition > mSize) {
            mSize = mPosition;
        }
    }
}

void cISFFileStream::Flush() {
    if (mFd < 0) {
        SetState(STATE_BAD);
    }
    // Nothing is ever held back: each Write is already in the kernel.
}

void cISFFileStream::Seek(uint64_t position) {
    if (mFd < 0 || position > kMaxPosition) {
        SetState(STATE_FAIL);
        return;
    }
    mPosition = position;
}

void cISFFileStream::SeekEnd() {
    if (mFd < 0) {
        SetState(STATE_FAIL);
        return;
    }
    mPosition = mSize;
}

uint64_t cISFFileStream::Tell() {
    return Fail() || mFd < 0 ? ~0ULL : mPosition;
}

void cISFFileStream::Close() {
    if (mFd < 0) {
        SetState(STATE_FAIL);
        return;
    }
    // A device or a pipe has nothing to write back (EINVAL); a regular file's failed write-back shows here.
    int synced;
    do {
        synced = fdatasync(mFd);
    } while (synced != 0 && errno == EINTR);
    int error = synced != 0 && errno != EINVAL && errno != EROFS ? errno : 0;
    // The descriptor is released even when close reports an error; it must not be closed twice.
    if (close(mFd) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        SetState(STATE_FAIL);
        errno = error;
    }
    mFd = -1;
}

cISFStream* cISFFileStreamFactory::NewStream() {
    return new (std::nothrow) cISFFileStream();
}
