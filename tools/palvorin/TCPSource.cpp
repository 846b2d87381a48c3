#include "tools/palvorin/TCPSource.h"

#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace {

const int kConnectMs = 3000;

// A connected socket to `address`, or -1 with errno set.
int Connect(const addrinfo& address) {
    const int fd = socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    int failure = 0;
    if (connect(fd, address.ai_addr, address.ai_addrlen) != 0) {
        failure = errno;
        if (failure == EINPROGRESS) {
            pollfd wait = {fd, POLLOUT, 0};
            failure = ETIMEDOUT;
            socklen_t length = sizeof failure;
            if (poll(&wait, 1, kConnectMs) == 1) {
                getsockopt(fd, SOL_SOCKET, SO_ERROR, &failure, &length);
            }
        }
    }
    if (failure != 0) {
        close(fd);
        errno = failure;
        return -1;
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    return fd;
}

}  // namespace

cTCPSource::cTCPSource(const std::string& host, uint16_t port, const std::string& name)
    : mHost(host), mPort(port) {
    mName = name;
}

bool cTCPSource::Open(std::string& error) {
    Close();
    addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int status = getaddrinfo(mHost.c_str(), std::to_string(mPort).c_str(), &hints, &found);
    if (status != 0 || found == nullptr) {
        error = std::string("cannot find ") + mHost + ": " + gai_strerror(status);
        return false;
    }
    int failure = ECONNREFUSED;
    for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
        const int fd = Connect(*address);
        if (fd >= 0) {
            freeaddrinfo(found);
            Adopt(fd, true, true, true);
            return true;
        }
        failure = errno;
    }
    freeaddrinfo(found);
    error = std::string("cannot connect: ") + strerror(failure);
    return false;
}
