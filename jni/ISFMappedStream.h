// The production stream of the item store: the file is written through a shared memory mapping, so a
// write is a memory copy. Bytes copied into a shared mapping of a file are in the page cache the moment
// the copy ends: a process killed at any moment loses nothing it had written, exactly as with a
// positioned write, and no system call is made per write.
//
// The file grows ahead of the writes in large steps. Each step first reserves its space on the disk
// (posix_fallocate) and only then maps the new range (mremap of the one mapping of the whole file), so a
// full disk or a file-size limit is a failed reservation that sets the bad flag, never a SIGBUS on a
// page the file system cannot back. Near such a limit a step shrinks to what the write needs. The
// process's file-size limit is checked before each reservation, so that passing it is a failed write
// (EFBIG), not a SIGXFSZ that ends the process. Close cuts the file to the highest byte written and waits
// until its bytes are on the disk (fdatasync): a write-back that fails, as on a file system whose space
// reservation is only emulated and runs out of room later, makes Close fail. A file left by a killed
// writer ends in zeros up to the last step.
//
// A shared mapping turns a file cut shorter under it into a SIGBUS at the next write, so the stream
// never truncates a file that another stream of this process has mapped: opening such a path (a store
// reopening the file it is writing, say) puts a new empty file in its place by a rename, and the old one
// is finished, nameless, by its own stream. Like the positioned-write stream, this one must be the only
// writer of its file; another process cutting the file short is not guarded against.
//
// Where mapping is not possible (not a regular file, a file that may be written but not read, a file
// system that cannot reserve space or refuses to map), the stream writes the file with positioned writes
// (cISFFileStream) instead, and logs once why.
#pragma once

#include "jni/ISFFileStream.h"
#include "jni/ISFMappedFiles.h"
#include "jni/ISFStream.h"

class cISFMappedStream : public cISFStream {
public:
    static const uint64_t DEFAULT_GROWTH = 8 << 20;

    // `growth`: bytes reserved and mapped at each step, rounded up to whole pages.
    explicit cISFMappedStream(uint64_t growth = DEFAULT_GROWTH);
    ~cISFMappedStream() override;  // closes the file as Close does if it is still open

    bool Open(const char* path) override;
    bool IsOpen() const override;
    void Write(const unsigned char* data, size_t length) override;
    void Flush() override;
    void Seek(uint64_t position) override;
    void SeekEnd() override;
    uint64_t Tell() override;
    void Close() override;

    // True while the open file is written through the mapping; false after a fall-back to writes.
    bool IsMapped() const { return mMap != nullptr; }

    cISFMappedStream(const cISFMappedStream&) = delete;
    cISFMappedStream& operator=(const cISFMappedStream&) = delete;

protected:
    // Reserves disk space for bytes [offset, offset + length) of the file, making it at least that long:
    // 0, or the error number (posix_fallocate). Tests replace it to act out a file system that cannot.
    virtual int Reserve(int fd, uint64_t offset, uint64_t length);
    // Writes the file's bytes back to the disk: 0, or the error number (fdatasync). Tests replace it to
    // act out a write-back that fails.
    virtual int Sync(int fd);

private:
    bool OpenListed(const char* path);
    bool Map(int fd, int& error);
    bool Grow(uint64_t end);
    void FallBack(int fd, const char* path, const char* reason, int error);
    void Unmap();

    const uint64_t mGrowth;
    int mFd = -1;                   // owned while the file is mapped
    unsigned char* mMap = nullptr;  // mapping of the file's first mMapLength bytes
    uint64_t mMapLength = 0;        // whole pages
    uint64_t mReserved = 0;         // length of the file, all of it reserved on the disk
    uint64_t mPosition = 0;
    uint64_t mSize = 0;        // highest byte written since Open emptied the file
    cISFFileStream mFallback;  // open instead of the mapping where mapping is not possible
    sMappedFile mListed;       // in the list of mapped files while the file is mapped
};

// Makes cISFMappedStream objects; the factory the store uses when it is given none.
class cISFMappedStreamFactory : public cISFStreamFactory {
public:
    cISFStream* NewStream() override;  // owned by the caller
};
