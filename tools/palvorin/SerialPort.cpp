#include "tools/palvorin/SerialPort.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace {

struct sSpeed {
    unsigned int mBaud;
    speed_t mSpeed;
};
const sSpeed kSpeeds[] = {{9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
                          {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
                          {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
                          {1500000, B1500000}, {2000000, B2000000}, {3000000, B3000000}, {4000000, B4000000}};

}  // namespace

bool SerialSpeed(unsigned int baud, speed_t& speed) {
    for (const sSpeed& known : kSpeeds) {
        if (known.mBaud == baud) {
            speed = known.mSpeed;
            return true;
        }
    }
    return false;
}

cSerialPort::~cSerialPort() {
    if (mFd >= 0) {
        if (mChanged) {
            tcsetattr(mFd, TCSANOW, &mSaved);
        }
        ioctl(mFd, TIOCNXCL);
        close(mFd);  // also drops the flock
    }
}

bool cSerialPort::Open(const std::string& path, unsigned int baud, std::string& error) {
    speed_t speed;
    if (!SerialSpeed(baud, speed)) {
        error = "unsupported speed " + std::to_string(baud);
        return false;
    }
    // Non-blocking: opening does not wait for a carrier, and no read or write can hang the program.
    mFd = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (mFd < 0) {
        error = errno == ENOENT  ? "does not exist"
                : errno == EBUSY ? "is busy: another program has it open exclusively"
                                 : strerror(errno);
        return false;
    }
    if (!isatty(mFd)) {
        error = "is not a terminal (a serial device such as /dev/ttyUSB0 is needed)";
        return false;
    }
    // flock holds against every cooperating program, root's too; TIOCEXCL against other opens by non-root.
    if (flock(mFd, LOCK_EX | LOCK_NB) != 0) {
        error = errno == EWOULDBLOCK ? "is busy: another program is using it" : strerror(errno);
        return false;
    }
    ioctl(mFd, TIOCEXCL);
    if (tcgetattr(mFd, &mSaved) != 0) {
        error = std::string("cannot read its settings: ") + strerror(errno);
        return false;
    }
    termios raw = mSaved;
    cfmakeraw(&raw);  // no echo, no canonical mode, no signals, no translation, 8 bits, no parity
    raw.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
    raw.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
    raw.c_cflag |= CLOCAL | CREAD;
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (cfsetispeed(&raw, speed) != 0 || cfsetospeed(&raw, speed) != 0 ||
        tcsetattr(mFd, TCSANOW, &raw) != 0) {
        error = std::string("cannot be set up: ") + strerror(errno);
        return false;
    }
    mChanged = true;
    return true;
}

bool cSerialPort::WriteAll(const unsigned char* data, size_t size, int timeoutMs) {
    size_t done = 0;
    while (done < size) {
        const ssize_t wrote = write(mFd, data + done, size - done);
        if (wrote > 0) {
            done += static_cast<size_t>(wrote);
            continue;
        }
        if (wrote < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        pollfd wait = {mFd, POLLOUT, 0};
        const int ready = poll(&wait, 1, timeoutMs);
        if (ready == 0) {
            errno = ETIMEDOUT;
            return false;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        if (ready > 0 && (wait.revents & (POLLERR | POLLHUP)) != 0) {
            errno = EIO;
            return false;
        }
    }
    return true;
}
