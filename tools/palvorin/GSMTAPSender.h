// Live GSMTAP: while a stream is recorded, each packet that the encapsulation turns into GSMTAP messages
// goes out as UDP datagrams to HOST:PORT, for a packet analyser listening there. The socket is
// non-blocking: a datagram that cannot leave at once (a full socket buffer, an unreachable port) is dropped
// and counted, so a slow or absent listener never holds up the recording.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Shared/SharedBuffer.h"

using GSMTAPDatagrams = std::vector<std::vector<unsigned char>>;

// Appends to `datagrams` the UDP payloads (GSMTAP header and message) of one packet from the device (`size`
// bytes, kept by the caller); nothing for a packet that carries no exportable message.
using GSMTAPEncapsulation =
    std::function<void(const unsigned char* packet, size_t size, GSMTAPDatagrams& datagrams)>;

// The encapsulation the tool sends with (LiveEncapsulation.cpp).
GSMTAPEncapsulation LiveGSMTAPEncapsulation();

class cGSMTAPSender {
public:
    static const uint16_t kDefaultPort = 4729;

    explicit cGSMTAPSender(GSMTAPEncapsulation encapsulation);
    ~cGSMTAPSender();

    // `target`: HOST[:PORT] (a name, an IPv4 address or a bracketed IPv6 address; port 4729 by default).
    // False after a one-line message on stderr.
    bool Open(const std::string& target);
    // Sends the datagrams of one packet (kept by the caller).
    void Packet(const sSharedBuffer* packet);
    // One summary line on standard output.
    void Summary() const;

    uint64_t mSent = 0;
    uint64_t mDropped = 0;

    cGSMTAPSender(const cGSMTAPSender&) = delete;
    cGSMTAPSender& operator=(const cGSMTAPSender&) = delete;

private:
    GSMTAPEncapsulation mEncapsulation;
    GSMTAPDatagrams mDatagrams;  // reused from packet to packet
    std::string mTarget;
    int mSocket = -1;
    sockaddr_storage mAddress = {};
    socklen_t mAddressLength = 0;
};

// With a `target`, makes `live` with the tool's encapsulation and opens it; without one, leaves `live`
// empty. False after a message on stderr.
bool OpenLiveGSMTAP(const std::string& target, std::unique_ptr<cGSMTAPSender>& live);
