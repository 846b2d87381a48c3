// The files this process writes through shared mappings, known by device and inode, so that opening one
// of them again never cuts it short under its mapping (a SIGBUS at its next write) but replaces it.
// Every function but the lock's own is called with the lock held.
#pragma once

#include <sys/stat.h>

#include <cstdint>

// A file in the list; the stream that maps the file holds it.
struct sMappedFile {
    uint64_t mDevice = 0;
    uint64_t mInode = 0;
    sMappedFile* mNext = nullptr;
};

void LockMappedFiles();
void UnlockMappedFiles();

// True when `file` (as fstat describes it) is in the list.
bool IsMappedFile(const struct stat& file);
// Puts `entry`, which stays the caller's and must stay in place until unlisted, in the list as `file`.
void ListMappedFile(sMappedFile& entry, const struct stat& file);
void UnlistMappedFile(const sMappedFile& entry);

// A new empty file with permissions `mode` in place of the file that `path` leads to: made under a
// temporary name beside it, then renamed over it, so that the old file, still open, is never cut short.
// The new file's descriptor (read and write), or -1 (errno set) with nothing changed.
int ReplaceFile(const char* path, mode_t mode);
