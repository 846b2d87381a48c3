#include "jni/ISFMappedFiles.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

// Every file mapped by a stream of this process; a stream opens a file whole under the lock and takes
// it off the list only once it is unmapped and cut to its length.
pthread_mutex_t gMappedLock = PTHREAD_MUTEX_INITIALIZER;
sMappedFile* gMappedFiles = nullptr;

}  // namespace

void LockMappedFiles() {
    pthread_mutex_lock(&gMappedLock);
}

void UnlockMappedFiles() {
    pthread_mutex_unlock(&gMappedLock);
}

bool IsMappedFile(const struct stat& file) {
    for (const sMappedFile* listed = gMappedFiles; listed != nullptr; listed = listed->mNext) {
        if (listed->mDevice == static_cast<uint64_t>(file.st_dev) &&
            listed->mInode == static_cast<uint64_t>(file.st_ino)) {
            return true;
        }
    }
    return false;
}

void ListMappedFile(sMappedFile& entry, const struct stat& file) {
    entry.mDevice = static_cast<uint64_t>(file.st_dev);
    entry.mInode = static_cast<uint64_t>(file.st_ino);
    entry.mNext = gMappedFiles;
    gMappedFiles = &entry;
}

void UnlistMappedFile(const sMappedFile& entry) {
    for (sMappedFile** at = &gMappedFiles; *at != nullptr; at = &(*at)->mNext) {
        if (*at == &entry) {
            *at = entry.mNext;
            return;
        }
    }
}

int ReplaceFile(const char* path, mode_t mode) {
    char* real = realpath(path, nullptr);
    if (real == nullptr) {
        return -1;
    }
    static std::atomic<unsigned int> sCounter(0);
    const size_t size = strlen(real) + 48;
    char* temporary = static_cast<char*>(malloc(size));
    int fd = -1;
    for (int attempt = 0; temporary != nullptr && fd < 0 && attempt < 16; ++attempt) {
        snprintf(temporary, size, "%s.%ld-%u.new", real, static_cast<long>(getpid()), sCounter++);
        fd = open(temporary, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0 && errno != EEXIST) {
            break;
        }
    }
    if (fd >= 0 && (fchmod(fd, mode & 07777) != 0 || rename(temporary, real) != 0)) {
        const int error = errno;
        close(fd);
        unlink(temporary);
        errno = error;
        fd = -1;
    }
    free(temporary);
    free(real);
    return fd;
}
