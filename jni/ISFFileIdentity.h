// Which file a path names, by device and inode: two paths name the same file when these agree, whatever
// their spelling (relative, with "./" or "..", through a symbolic or a hard link).
#pragma once

#include <cstdint>

struct sFileIdentity {
    bool mKnown = false;  // false: the path named no file that could be examined
    uint64_t mDevice = 0;
    uint64_t mInode = 0;

    // Both known and equal.
    bool SameFileAs(const sFileIdentity& other) const {
        return mKnown && other.mKnown && mDevice == other.mDevice && mInode == other.mInode;
    }
};

// The identity of the file `path` names now; unknown for a null path or one that names no file.
sFileIdentity FileIdentityOf(const char* path);
