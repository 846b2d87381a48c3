// Sources read through a file descriptor: ppoll, then read; writes wait for room with poll. The
// descriptor is non-blocking wherever the source opened it itself.
#pragma once

#include "tools/palvorin/Source.h"

class cFdSource : public cSource {
public:
    ~cFdSource() override;
    eSourceRead Read(unsigned char* into, size_t room, size_t& got, int timeoutMs,
                     const sigset_t* waitMask) override;
    bool Write(const unsigned char* data, size_t size, int timeoutMs) override;
    void Close() override;
    bool CanWrite() const override { return mWritable; }
    int Fd() const { return mFd; }

protected:
    // What a read of nothing means: the input's end for a file, a FIFO, a connection or a device (the
    // default); a terminal overrides it (a hang-up: the device went away).
    virtual eSourceRead AtEnd();
    // Takes `fd` over (closed by Close when `owned`).
    void Adopt(int fd, bool owned, bool writable, bool socket);

    int mFd = -1;
    bool mOwned = true;
    bool mWritable = false;
    bool mSocket = false;  // written with send(MSG_NOSIGNAL): a closed peer is an error, not SIGPIPE
};

// Standard input, read as it is (its flags are shared with the shell and left alone).
class cStdinSource : public cFdSource {
public:
    cStdinSource() { mName = "-"; }
    bool Open(std::string& error) override;
};
