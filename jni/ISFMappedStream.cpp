#include "jni/ISFMappedStream.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "Shared/Log.h"
#include "jni/ISFFileLimit.h"
#include "jni/ISFMappedFiles.h"

namespace {

// Largest position a file offset (off_t) can take.
const uint64_t kMaxPosition = 0x7FFFFFFFFFFFFFFFULL;

uint64_t PageSize() {
    static const long size = sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<uint64_t>(size) : 4096;
}

// `value` rounded up to whole pages; values near the top of the range are left as they are.
uint64_t WholePages(uint64_t value) {
    const uint64_t page = PageSize();
    return value > kMaxPosition ? value : (value + page - 1) / page * page;
}

// A reservation that failed for want of room, as opposed to one the file system cannot make at all.
bool OutOfRoom(int error) {
    return error == ENOSPC || error == EFBIG || error == EDQUOT;
}

void CloseKeepingErrno(int fd) {
    if (fd >= 0) {
        const int error = errno;
        close(fd);
        errno = error;
    }
}

}  // namespace

cISFMappedStream::cISFMappedStream(uint64_t growth) : mGrowth(WholePages(growth != 0 ? growth : 1)) {}

cISFMappedStream::~cISFMappedStream() {
    if (mFd >= 0) {
        Close();
    }
}

bool cISFMappedStream::IsOpen() const {
    return mFd >= 0 || mFallback.IsOpen();
}

int cISFMappedStream::Reserve(int fd, uint64_t offset, uint64_t length) {
    if (offset > kMaxPosition || length > kMaxPosition - offset || !WithinFileSizeLimit(offset + length)) {
        return EFBIG;
    }
    int error;
    do {
        error = posix_fallocate(fd, static_cast<off_t>(offset), static_cast<off_t>(length));
    } while (error == EINTR);
    return error;
}

bool cISFMappedStream::Open(const char* path) {
    if (path == nullptr || IsOpen()) {
        return false;
    }
    LockMappedFiles();  // two streams opening one path at once see each other
    const bool opened = OpenListed(path);
    UnlockMappedFiles();
    return opened;
}

bool cISFMappedStream::OpenListed(const char* path) {
    int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) {
        if (errno != EACCES) {
            return false;
        }
        // Perhaps a file that may be written but not read: a mapping needs both.
        fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0) {
            return false;
        }
        FallBack(fd, path, "the file may not be read", EACCES);
        return true;
    }
    struct stat file;
    if (fstat(fd, &file) != 0 || !S_ISREG(file.st_mode)) {
        FallBack(fd, path, "not a regular file", 0);  // emptying means nothing to a device or a pipe
        return true;
    }
    if (IsMappedFile(file)) {
        close(fd);
        fd = ReplaceFile(path, file.st_mode);
        if (fd < 0 || fstat(fd, &file) != 0) {
            CloseKeepingErrno(fd);
            return false;
        }
    } else if (ftruncate(fd, 0) != 0) {
        CloseKeepingErrno(fd);
        return false;
    }
    int error = 0;
    if (!Map(fd, error)) {
        ftruncate(fd, 0);  // whatever part of a reservation was made
        FallBack(fd, path, "the file cannot be mapped with space reserved", error);
        return true;
    }
    ListMappedFile(mListed, file);
    mFd = fd;
    mPosition = 0;
    mSize = 0;
    return true;
}

bool cISFMappedStream::Map(int fd, int& error) {
    uint64_t reserved = mGrowth;
    error = Reserve(fd, 0, reserved);
    if (OutOfRoom(error)) {  // room for a page may still be there
        reserved = PageSize();
        error = Reserve(fd, 0, reserved);
    }
    if (error != 0) {
        return false;
    }
    void* map = mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED) {
        error = errno;
        return false;
    }
    mMap = static_cast<unsigned char*>(map);
    mMapLength = reserved;
    mReserved = reserved;
    return true;
}

void cISFMappedStream::FallBack(int fd, const char* path, const char* reason, int error) {
    if (error != 0) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "%s: %s (%s): written without a mapping\n", path, reason,
                     strerror(error));
    } else {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "%s: %s: written without a mapping\n", path, reason);
    }
    mFallback.Adopt(fd);
}

bool cISFMappedStream::Grow(uint64_t end) {
    uint64_t reserved = WholePages(end);
    if (mGrowth <= kMaxPosition - mReserved && mReserved + mGrowth > reserved) {
        reserved = mReserved + mGrowth;
    }
    int error = Reserve(mFd, mReserved, reserved - mReserved);
    if (OutOfRoom(error) && reserved > end) {  // near a limit: only what this write needs
        reserved = end;
        error = Reserve(mFd, mReserved, reserved - mReserved);
    }
    if (error != 0) {
        errno = error;
        return false;
    }
    const uint64_t length = WholePages(reserved);
    if (length > mMapLength) {
        if (length > SIZE_MAX) {
            errno = EFBIG;
            return false;
        }
        // The mapping only ever covers reserved space; the file keeps any reservation made here even
        // when the mapping cannot follow, and a later step asks for it again.
        void* moved = mremap(mMap, mMapLength, length, MREMAP_MAYMOVE);
        if (moved == MAP_FAILED) {
            return false;
        }
        mMap = static_cast<unsigned char*>(moved);
        mMapLength = length;
    }
    mReserved = reserved;
    return true;
}

void cISFMappedStream::Write(const unsigned char* data, size_t length) {
    if (length == 0 || Fail()) {
        return;
    }
    if (mFallback.IsOpen()) {
        mFallback.Write(data, length);
        SetState(mFallback.State());
        return;
    }
    if (mFd < 0 || data == nullptr || length > kMaxPosition - mPosition) {
        SetState(STATE_BAD);
        return;
    }
    const uint64_t end = mPosition + length;
    if (end > mReserved && !Grow(end)) {
        SetState(STATE_BAD);
        return;
    }
    memcpy(mMap + mPosition, data, length);
    mPosition = end;
    if (end > mSize) {
        mSize = end;
    }
}

void cISFMappedStream::Flush() {
    if (mFallback.IsOpen()) {
        mFallback.Flush();
        SetState(mFallback.State());
    } else if (mFd < 0) {
        SetState(STATE_BAD);
    }
    // Nothing to hand over: what was copied into the mapping is already in the page cache.
}

void cISFMappedStream::Seek(uint64_t position) {
    if (mFallback.IsOpen()) {
        mFallback.Seek(position);
        SetState(mFallback.State());
    } else if (mFd < 0 || position > kMaxPosition) {
        SetState(STATE_FAIL);
    } else {
        mPosition = position;
    }
}

void cISFMappedStream::SeekEnd() {
    if (mFallback.IsOpen()) {
        mFallback.SeekEnd();
        SetState(mFallback.State());
    } else if (mFd < 0) {
        SetState(STATE_FAIL);
    } else {
        mPosition = mSize;
    }
}

uint64_t cISFMappedStream::Tell() {
    if (Fail()) {
        return ~0ULL;
    }
    if (mFallback.IsOpen()) {
        return mFallback.Tell();
    }
    return mFd < 0 ? ~0ULL : mPosition;
}

int cISFMappedStream::Sync(int fd) {
    int synced;
    do {
        synced = fdatasync(fd);
    } while (synced != 0 && errno == EINTR);
    return synced == 0 ? 0 : errno;
}

void cISFMappedStream::Unmap() {
    if (mMap != nullptr) {
        munmap(mMap, mMapLength);
        mMap = nullptr;
        mMapLength = 0;
    }
}

void cISFMappedStream::Close() {
    if (mFallback.IsOpen()) {
        mFallback.Close();
        SetState(mFallback.State());
        return;
    }
    if (mFd < 0) {
        SetState(STATE_FAIL);
        return;
    }
    Unmap();
    // The steps reserved beyond the last byte written go back to the disk. Only then may another stream
    // of this process empty the file, which it could otherwise have grown and mapped.
    int cut;
    do {
        cut = ftruncate(mFd, static_cast<off_t>(mSize));
    } while (cut != 0 && errno == EINTR);
    int error = cut != 0 ? errno : 0;
    // The pages copied into the mapping reach the disk only now; a failure to write them back (a full
    // disk under an emulated reservation, an I/O error) is reported here or never.
    const int synced = Sync(mFd);
    error = error != 0 ? error : synced;
    LockMappedFiles();
    UnlistMappedFile(mListed);
    UnlockMappedFiles();
    // The descriptor is released even when close reports an error; it must not be closed twice.
    if (close(mFd) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        SetState(STATE_FAIL);
        errno = error;
    }
    mFd = -1;
    mReserved = 0;
}

cISFStream* cISFMappedStreamFactory::NewStream() {
    return new (std::nothrow) cISFMappedStream();
}
