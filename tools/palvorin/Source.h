// Where the bytes of a diagnostic stream come from and where the tool's requests go: a terminal, another
// character device, a FIFO, a socket file, a regular file, standard input, a TCP connection or a USB
// interface (SourceAddress.h names them). The recording loop and the capture speak to this interface alone,
// so that a test can put in its place a source that fails as it pleases.
#pragma once

#include <signal.h>

#include <cstddef>
#include <memory>
#include <string>

#include "tools/palvorin/SourceAddress.h"

enum eSourceRead {
    SOURCE_DATA,  // bytes were read
    SOURCE_IDLE,  // nothing within the wait, or a signal came
    SOURCE_END,   // the input ended in order: a file's end, a FIFO's writer or the other side of a
                  // connection closed it
    SOURCE_GONE,  // the device went away or failed (Reason() says how)
};

class cSource {
public:
    virtual ~cSource() {}

    // Opens the source, or opens it again after Close (a device that came back). False with a one-line
    // reason in `error`, without the source's name.
    virtual bool Open(std::string& error) = 0;
    // Waits up to `timeoutMs` (-1: no limit) for bytes, letting the signals of `waitMask` (null: none) in
    // while it waits, and reads at most `room` (at least 1) of them into `into`; `got` says how many.
    virtual eSourceRead Read(unsigned char* into, size_t room, size_t& got, int timeoutMs,
                             const sigset_t* waitMask) = 0;
    // Sends all `size` bytes within `timeoutMs`; false with Reason() set.
    virtual bool Write(const unsigned char* data, size_t size, int timeoutMs) = 0;
    // Lets the device go (its settings restored, its interface released). Open may follow.
    virtual void Close() = 0;
    // False for a source that carries one direction only (a FIFO, a file, standard input).
    virtual bool CanWrite() const = 0;

    // Why the last Read answered SOURCE_GONE or SOURCE_END, or Write failed.
    const std::string& Reason() const { return mReason; }
    // The source in messages: the path, "tcp:HOST:PORT", "usb:1.5", ...
    const std::string& Name() const { return mName; }

protected:
    std::string mReason;
    std::string mName;
};

struct sSourceOptions {
    unsigned int mBaud = 0;    // a terminal's line speed; 0 keeps the speed it has
    bool mForCapture = false;  // to send requests too: opened for writing and for this program alone
};

// A new source for `address` (not open yet), named `text` in messages; owned by the caller.
std::unique_ptr<cSource> MakeSource(const sSourceAddress& address, const std::string& text,
                                    const sSourceOptions& options);
