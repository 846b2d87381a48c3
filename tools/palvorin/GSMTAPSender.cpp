#include "tools/palvorin/GSMTAPSender.h"

#include <errno.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

cGSMTAPSender::cGSMTAPSender(GSMTAPEncapsulation encapsulation) : mEncapsulation(std::move(encapsulation)) {}

cGSMTAPSender::~cGSMTAPSender() {
    if (mSocket >= 0) {
        close(mSocket);
    }
}

bool cGSMTAPSender::Open(const std::string& target) {
    mTarget = target;
    std::string host = target;
    std::string port = std::to_string(kDefaultPort);
    const size_t colon = target.rfind(':');
    if (!target.empty() && target[0] == '[') {
        const size_t close = target.find(']');
        if (close == std::string::npos) {
            fprintf(stderr,
                    "palvorin: cannot send GSMTAP to %s: the IPv6 address lacks its closing bracket\n",
                    target.c_str());
            return false;
        }
        {
            host = target.substr(1, close - 1);
            if (close + 1 < target.size() && target[close + 1] == ':') {
                port = target.substr(close + 2);
            }
        }
    } else if (colon != std::string::npos && target.find(':') == colon) {
        host = target.substr(0, colon);
        port = target.substr(colon + 1);
    }
    addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int status = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    if (status != 0 || found == nullptr) {
        fprintf(stderr, "palvorin: cannot send GSMTAP to %s: %s\n", target.c_str(), gai_strerror(status));
        return false;
    }
    mSocket = socket(found->ai_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (mSocket < 0) {
        fprintf(stderr, "palvorin: cannot send GSMTAP to %s: %s\n", target.c_str(), strerror(errno));
        freeaddrinfo(found);
        return false;
    }
    memcpy(&mAddress, found->ai_addr, found->ai_addrlen);
    mAddressLength = found->ai_addrlen;
    freeaddrinfo(found);
    return true;
}

void cGSMTAPSender::Packet(const sSharedBuffer* packet) {
    if (packet == nullptr || packet->mData == nullptr || mSocket < 0) {
        return;
    }
    mDatagrams.clear();
    mEncapsulation(packet->mData, packet->mSize, mDatagrams);
    for (const std::vector<unsigned char>& datagram : mDatagrams) {
        // Not connected, so that a port with no listener (an ICMP error) does not fail later sends.
        const ssize_t sent = sendto(mSocket, datagram.data(), datagram.size(), MSG_DONTWAIT,
                                    reinterpret_cast<const sockaddr*>(&mAddress), mAddressLength);
        if (sent == static_cast<ssize_t>(datagram.size())) {
            ++mSent;
        } else {
            ++mDropped;
        }
    }
}

void cGSMTAPSender::Summary() const {
    printf("  gsmtap           %" PRIu64 " datagrams sent to %s, %" PRIu64 " dropped\n", mSent,
           mTarget.c_str(), mDropped);
}

bool OpenLiveGSMTAP(const std::string& target, std::unique_ptr<cGSMTAPSender>& live) {
    if (target.empty()) {
        return true;
    }
    live.reset(new cGSMTAPSender(LiveGSMTAPEncapsulation()));
    return live->Open(target);
}
