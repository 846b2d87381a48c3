// A diagnostic port served over TCP (a modem inside a router, a diagnostic router on Linux): a connection
// to HOST:PORT carrying the same framed protocol as a serial line. Connecting waits at most 3 seconds per
// address. No delay on small writes (the requests are a few bytes), and keep-alive, so that a peer that
// vanished without closing shows in time.
#pragma once

#include "tools/palvorin/FdSource.h"

class cTCPSource : public cFdSource {
public:
    cTCPSource(const std::string& host, uint16_t port, const std::string& name);
    bool Open(std::string& error) override;

private:
    std::string mHost;
    uint16_t mPort;
};
