// The production stream of the item store: positioned writes (pwrite) on a file descriptor with nothing
// held in user space, so every write is in the kernel when Write returns and a killed process loses
// nothing it had written. Seek, Tell and SeekEnd cost no system call: the stream is the file's only
// writer, so it keeps the write position and the file size itself. A write that would carry the file past
// the process's file-size limit writes nothing and fails (EFBIG) instead of raising SIGXFSZ. Close waits
// until the bytes are on the disk (fdatasync), so that a failed write-back makes it fail.
#pragma once

#include "jni/ISFStream.h"

class cISFFileStream : public cISFStream {
public:
    cISFFileStream() {}
    ~cISFFileStream() override;  // closes the descriptor if it is still open

    bool Open(const char* path) override;
    // Takes over `fd`, open for writing on a file just emptied, as if Open had opened it; the stream owns
    // it from then on. False (the descriptor left to the caller) when the stream is already open.
    bool Adopt(int fd);
    bool IsOpen() const override { return mFd >= 0; }
    void Write(const unsigned char* data, size_t length) override;
    void Flush() override;
    void Seek(uint64_t position) override;
    void SeekEnd() override;
    uint64_t Tell() override;
    void Close() override;

    cISFFileStream(const cISFFileStream&) = delete;
    cISFFileStream& operator=(const cISFFileStream&) = delete;

private:
    int mFd = -1;
    uint64_t mPosition = 0;
    uint64_t mSize = 0;  // bytes written since the file was emptied by Open
};

// Makes cISFFileStream objects.
class cISFFileStreamFactory : public cISFStreamFactory {
public:
    cISFStream* NewStream() override;
};
