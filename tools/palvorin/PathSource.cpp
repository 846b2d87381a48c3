#include "tools/palvorin/PathSource.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
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

const int kConnectMs = 3000;
const char kBusyHint[] =
    " (ModemManager probes such ports when they appear: sudo systemctl stop ModemManager, or see "
    "docs/FIELD-GUIDE.md)";

// `named`: the message begins with the path ("/dev/ttyUSB0 does not exist"), not "cannot open PATH: ".
std::string OpenError(int error, bool terminal, bool named) {
    switch (error) {
        case ENOENT:
            return named ? "does not exist" : strerror(error);
        case EBUSY:
            return std::string("is busy: another program has it open exclusively") + kBusyHint;
        case EACCES:
        case EPERM:
            return terminal
                       ? "may not be opened: permission denied (serial ports belong to the dialout group: "
                         "sudo usermod -aG dialout $USER, then log in again)"
                       : "may not be opened: permission denied";
        default:
            return strerror(error);
    }
}

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

cPathSource::cPathSource(const std::string& path, const sSourceOptions& options)
    : mPath(path), mOptions(options) {
    mName = path;
}

cPathSource::~cPathSource() {
    cPathSource::Close();
}

void cPathSource::Close() {
    if (mFd >= 0) {
        if (mChanged) {
            tcsetattr(mFd, TCSANOW, &mSaved);
            mChanged = false;
        }
        if (mKind == PATH_TERMINAL && mOptions.mForCapture) {
            ioctl(mFd, TIOCNXCL);
        }
    }
    cFdSource::Close();  // closing also drops the flock
}

eSourceRead cPathSource::AtEnd() {
    if (mKind == PATH_TERMINAL) {
        mReason = "hang-up";
        return SOURCE_GONE;
    }
    return cFdSource::AtEnd();
}

bool cPathSource::OpenSocket(std::string& error) {
    sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (mPath.size() >= sizeof address.sun_path) {
        error = "is a socket with a name too long to connect to";
        return false;
    }
    memcpy(address.sun_path, mPath.c_str(), mPath.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = strerror(errno);
        return false;
    }
    int status = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (status != 0 && (errno == EINPROGRESS || errno == EAGAIN)) {
        pollfd wait = {fd, POLLOUT, 0};
        int failure = ETIMEDOUT;
        socklen_t length = sizeof failure;
        if (poll(&wait, 1, kConnectMs) == 1) {
            getsockopt(fd, SOL_SOCKET, SO_ERROR, &failure, &length);
        }
        status = failure == 0 ? 0 : -1;
        errno = failure;
    }
    if (status != 0) {
        error = std::string("is a socket that takes no connection: ") + strerror(errno);
        close(fd);
        return false;
    }
    Adopt(fd, true, true, true);
    return true;
}

bool cPathSource::SetUpTerminal(std::string& error) {
    speed_t speed = 0;
    if (mOptions.mBaud != 0 && !SerialSpeed(mOptions.mBaud, speed)) {
        error = "unsupported speed " + std::to_string(mOptions.mBaud);
        return false;
    }
    if (tcgetattr(mFd, &mSaved) != 0) {
        error = std::string("cannot read its settings: ") + strerror(errno);
        return false;
    }
    termios raw = mSaved;
    cfmakeraw(&raw);  // no echo, no canonical mode, no signals, no translation, 8 bits, no parity
    raw.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
    raw.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | CRTSCTS);
    raw.c_cflag |= CLOCAL | CREAD;  // no carrier needed, receiver on
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if ((mOptions.mBaud != 0 && (cfsetispeed(&raw, speed) != 0 || cfsetospeed(&raw, speed) != 0)) ||
        tcsetattr(mFd, TCSANOW, &raw) != 0) {
        error = std::string("cannot be set up: ") + strerror(errno);
        return false;
    }
    mChanged = true;
    return true;
}

bool cPathSource::Open(std::string& error) {
    Close();
    mKind = PATH_NONE;
    struct stat file;
    if (stat(mPath.c_str(), &file) != 0) {
        error = OpenError(errno, false, mOptions.mForCapture);
        return false;
    }
    if (S_ISSOCK(file.st_mode)) {
        mKind = PATH_SOCKET;
        return OpenSocket(error);
    }
    if (S_ISDIR(file.st_mode)) {
        error = "is a directory";
        return false;
    }
    const bool device = S_ISCHR(file.st_mode);
    if (mOptions.mForCapture && S_ISREG(file.st_mode)) {
        error = "is a regular file, not a device (palvorin record reads files)";
        return false;
    }
    // A FIFO and a file are read only; a device is written to for capture.
    const bool write = mOptions.mForCapture && device;
    const int fd = open(mPath.c_str(), (write ? O_RDWR : O_RDONLY) | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        error = OpenError(errno, device, mOptions.mForCapture);
        return false;
    }
    Adopt(fd, true, write, false);
    mKind = !device ? (S_ISFIFO(file.st_mode) ? PATH_FIFO : PATH_FILE)
                    : (isatty(fd) ? PATH_TERMINAL : PATH_DEVICE);
    // A terminal is always locked (two readers would share its bytes); another device only when the
    // tool talks to it, which a second reader would disturb.
    if (mKind == PATH_TERMINAL || write) {
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            error = errno == EWOULDBLOCK ? std::string("is busy: another program is using it") + kBusyHint
                                         : strerror(errno);
            Close();
            return false;
        }
    }
    if (mKind == PATH_TERMINAL) {
        if (mOptions.mForCapture) {
            ioctl(fd, TIOCEXCL);  // against other opens by non-root programs
        }
        if (!SetUpTerminal(error)) {
            Close();
            return false;
        }
    }
    return true;
}
