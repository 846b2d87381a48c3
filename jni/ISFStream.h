// The narrow output interface through which the item store reaches its file, and the factory the store
// asks for a new one at every open. Failures are kept in sticky state flags, as with a standard stream:
// once fail or bad is set it stays set, and writes to a failed stream do nothing.
#pragma once

#include <cstddef>
#include <cstdint>

class cISFStream {
public:
    static const unsigned int STATE_FAIL = 1;  // an operation did not do what it was asked
    static const unsigned int STATE_BAD = 2;   // bytes may have been lost

    virtual ~cISFStream() {}

    // Opens `path` for binary output, creating the file or emptying it; false when it cannot.
    virtual bool Open(const char* path) = 0;
    virtual bool IsOpen() const = 0;
    // Writes `length` bytes at the write position and moves past them; a failure sets bad. A length of 0
    // does nothing.
    virtual void Write(const unsigned char* data, size_t length) = 0;
    // Hands anything held in user space to the system; a failure sets bad.
    virtual void Flush() = 0;
    // Moves the write position to `position` from the start, or to the end of the file; failure sets fail.
    virtual void Seek(uint64_t position) = 0;
    virtual void SeekEnd() = 0;
    // The write position, or all ones when fail or bad is set.
    virtual uint64_t Tell() = 0;
    // Flushes and closes the file; a failure sets fail.
    virtual void Close() = 0;

    bool Good() const { return mState == 0; }
    bool Fail() const { return (mState & (STATE_FAIL | STATE_BAD)) != 0; }
    bool Bad() const { return (mState & STATE_BAD) != 0; }
    unsigned int State() const { return mState; }
    void SetState(unsigned int flags) { mState |= flags; }

private:
    unsigned int mState = 0;
};

class cISFStreamFactory {
public:
    virtual ~cISFStreamFactory() {}
    // A new stream that is not open yet, owned by the caller; null when memory runs out.
    virtual cISFStream* NewStream() = 0;
};
