#include "tools/palvorin/FdSource.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

cFdSource::~cFdSource() {
    cFdSource::Close();
}

void cFdSource::Adopt(int fd, bool owned, bool writable, bool socket) {
    mFd = fd;
    mOwned = owned;
    mWritable = writable;
    mSocket = socket;
}

void cFdSource::Close() {
    if (mFd >= 0 && mOwned) {
        close(mFd);
    }
    mFd = -1;
}

eSourceRead cFdSource::AtEnd() {
    mReason = mSocket ? "the other side closed the connection" : "end of input";
    return SOURCE_END;
}

eSourceRead cFdSource::Read(unsigned char* into, size_t room, size_t& got, int timeoutMs,
                            const sigset_t* waitMask) {
    got = 0;
    if (mFd < 0) {
        mReason = "not open";
        return SOURCE_GONE;
    }
    pollfd wait = {mFd, POLLIN, 0};
    const timespec interval = {timeoutMs / 1000, (timeoutMs % 1000) * 1000L * 1000L};
    const int ready = ppoll(&wait, 1, timeoutMs < 0 ? nullptr : &interval, waitMask);
    if (ready < 0) {
        if (errno == EINTR) {
            return SOURCE_IDLE;
        }
        mReason = strerror(errno);
        return SOURCE_GONE;
    }
    if (ready == 0) {
        return SOURCE_IDLE;
    }
    if ((wait.revents & POLLNVAL) != 0) {
        mReason = "the descriptor was closed";
        return SOURCE_GONE;
    }
    const ssize_t count = read(mFd, into, room);
    if (count > 0) {
        got = static_cast<size_t>(count);
        return SOURCE_DATA;
    }
    if (count == 0) {
        return AtEnd();
    }
    if (errno == EAGAIN || errno == EINTR) {
        return SOURCE_IDLE;
    }
    mReason = strerror(errno);
    return SOURCE_GONE;
}

bool cFdSource::Write(const unsigned char* data, size_t size, int timeoutMs) {
    if (mFd < 0 || !mWritable) {
        mReason = mFd < 0 ? "not open" : "carries one direction only";
        return false;
    }
    size_t done = 0;
    while (done < size) {
        const ssize_t wrote = mSocket ? send(mFd, data + done, size - done, MSG_NOSIGNAL)
                                      : write(mFd, data + done, size - done);
        if (wrote > 0) {
            done += static_cast<size_t>(wrote);
            continue;
        }
        if (wrote < 0 && errno != EAGAIN && errno != EINTR) {
            mReason = std::string("cannot write: ") + strerror(errno);
            return false;
        }
        pollfd wait = {mFd, POLLOUT, 0};
        const int ready = poll(&wait, 1, timeoutMs);
        if (ready == 0) {
            mReason = "cannot write: the device takes nothing";
            return false;
        }
        if (ready < 0 && errno != EINTR) {
            mReason = std::string("cannot write: ") + strerror(errno);
            return false;
        }
        if (ready > 0 && (wait.revents & (POLLERR | POLLHUP)) != 0 && (wait.revents & POLLOUT) == 0) {
            mReason = "cannot write: hang-up";
            return false;
        }
    }
    return true;
}

bool cStdinSource::Open(std::string&) {
    Adopt(STDIN_FILENO, false, false, false);
    return true;
}
