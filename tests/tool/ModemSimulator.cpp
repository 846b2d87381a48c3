// A modem's diagnostic port for tests/tool/PalvorinToolTest.sh: answers the logging configuration as
// cDiagResponder (tests/ToolTestSources.h) and then streams the enabled log packets of a real capture. It
// logs each request (and "bad frame", "unplugged", "plugged", "streamed N", "sent N", "waited N") to LOG,
// the bytes received to LOG.wire, and writes the name to capture from into PORT whole (renamed into place).
//   palvorin_modem_simulator [--link PATH | --tcp | --socket PATH] STREAM LOG PORT [MODE [N [MS]]]
// MODE: cDiagResponder's; vanish N (gone after N log packets); unplug N MS (away for MS ms after N).

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "stream/FrameDecoder.h"
#include "tests/ToolTestSources.h"

namespace {

using tooltest::Bytes;

class cCollect : public cPacketSink {
public:
    bool Packet(sSharedBuffer* packet) override {
        mPackets.emplace_back(packet->mData, packet->mData + packet->mSize);
        return true;
    }
    std::vector<Bytes> mPackets;
};

// The answers of the tool's in-memory test device, and log packets streamed while logging is on.
class cModem : public tooltest::cDiagResponder {
public:
    cModem(FILE* log, std::string mode, long count) : cDiagResponder(log, std::move(mode), count) {}

    // Queues log packets while streaming, keeping at most `room` bytes waiting.
    void Stream(const std::vector<Bytes>& logs, size_t room) {
        while (Configured() && mNext < logs.size() && mOut.size() < room && !Vanished() && !Unplugging()) {
            const Bytes& log = logs[mNext++];
            const unsigned int code = ReadU16(&log[6]);
            const auto mask = mMasks.find(code >> 12);
            const unsigned int item = code & 0xFFF;
            if (mask != mMasks.end() && item / 8 < mask->second.size() &&
                (mask->second[item / 8] >> (item % 8)) & 1) {
                const Bytes frame = tooltest::Framed(log);
                mOut.insert(mOut.end(), frame.begin(), frame.end());
                ++mSent;
            }
        }
    }
    bool Streamed(const std::vector<Bytes>& logs) const { return Configured() && mNext == logs.size(); }
    bool Vanished() const { return mMode == "vanish" && mSent >= mCount; }
    // Due to go away for a while: once, after mCount log packets.
    bool Unplugging() const { return mMode == "unplug" && !mUnplugged && mSent >= mCount; }
    // Back, unconfigured: it streams the rest once every mask is set again.
    void Replugged() {
        mUnplugged = true;
        mMasks.clear();
        mOut.clear();
    }

    long mSent = 0;

private:
    size_t mNext = 0;
    bool mUnplugged = false;
};

// Where the tool reaches the device, as a connection that can be broken and made again at the same name.
class cPort {
public:
    // `kind`: "pty", "link", "tcp" or "socket"; `path` names the link or the socket file.
    cPort(std::string kind, std::string path) : mKind(std::move(kind)), mPath(std::move(path)) {}
    ~cPort() { Unplug(); }

    // Makes the port; false after a message. Name() is then what the tool captures from.
    bool Plug() {
        if (mKind == "pty" || mKind == "link") {
            int terminal = -1;
            termios raw;
            memset(&raw, 0, sizeof raw);
            cfmakeraw(&raw);
            if (openpty(&mConnection, &terminal, nullptr, &raw, nullptr) != 0) {
                perror("openpty");
                return false;
            }
            mName = ttyname(terminal);
            close(terminal);
            fcntl(mConnection, F_SETFL, fcntl(mConnection, F_GETFL) | O_NONBLOCK);
            if (mKind == "link") {
                // Pointed at the new terminal in one step, as a device manager renames a stable name.
                const std::string temporary = mPath + ".tmp";
                unlink(temporary.c_str());
                if (symlink(mName.c_str(), temporary.c_str()) != 0 ||
                    rename(temporary.c_str(), mPath.c_str()) != 0) {
                    perror(mPath.c_str());
                    return false;
                }
                mName = mPath;
            }
            return true;
        }
        const bool tcp = mKind == "tcp";
        mListener = socket(tcp ? AF_INET : AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        setsockopt(mListener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        int bound = -1;
        if (tcp) {
            sockaddr_in address;
            memset(&address, 0, sizeof address);
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.sin_port = htons(mTCPPort);
            bound = bind(mListener, reinterpret_cast<sockaddr*>(&address), sizeof address);
            socklen_t length = sizeof address;
            getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &length);
            mTCPPort = ntohs(address.sin_port);
            mName = "tcp:127.0.0.1:" + std::to_string(mTCPPort);
        } else {
            sockaddr_un address;
            memset(&address, 0, sizeof address);
            address.sun_family = AF_UNIX;
            strncpy(address.sun_path, mPath.c_str(), sizeof address.sun_path - 1);
            unlink(mPath.c_str());
            bound = bind(mListener, reinterpret_cast<sockaddr*>(&address), sizeof address);
            mName = mPath;
        }
        if (bound != 0 || listen(mListener, 1) != 0) {
            perror("bind");
            return false;
        }
        return true;
    }
    // The connection to read and write: at once for a terminal, once the tool connected for a socket
    // (-1 when it has not within `waitMs`).
    int Connect(int waitMs) {
        if (mListener < 0) {
            return mConnection;
        }
        pollfd wait = {mListener, POLLIN, 0};
        if (poll(&wait, 1, waitMs) != 1) {
            return -1;
        }
        mConnection = accept4(mListener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        return mConnection;
    }
    // Goes away: the connection and the listening socket or terminal are closed.
    void Unplug() {
        if (mConnection >= 0) {
            close(mConnection);
            mConnection = -1;
        }
        if (mListener >= 0) {
            close(mListener);
            mListener = -1;
        }
    }
    const std::string& Name() const { return mName; }

private:
    std::string mKind;
    std::string mPath;
    std::string mName;
    int mConnection = -1;
    int mListener = -1;
    uint16_t mTCPPort = 0;  // 0 at first: any free port, the same one again after an unplug
};

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);  // a tool that closed its socket is seen by the next read, not a signal
    std::string kind = "pty";
    std::string where;
    if (argc > 2 && strncmp(argv[1], "--", 2) == 0) {
        kind = argv[1] + 2;  // link, tcp or socket; the last two take a path
        const int used = kind == "tcp" ? 1 : 2;
        where = argv[used];
        argv += used;
        argc -= used;
    }
    if (argc < 4) {
        fprintf(stderr, "usage: see the head of ModemSimulator.cpp\n");
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    const Bytes stream((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    cFrameDecoder reader;
    size_t room = 0;
    if (stream.empty() || stream.size() > cFrameDecoder::kChunkSize) {
        fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    memcpy(reader.Space(room), stream.data(), stream.size());
    cCollect all;
    reader.Decode(stream.size(), true, all);
    std::vector<Bytes> logs;
    for (const Bytes& packet : all.mPackets) {
        if (packet[0] == 0x10 && packet.size() >= 16) {
            logs.push_back(packet);
        }
    }
    FILE* log = fopen(argv[2], "w");
    if (log == nullptr) {
        return 1;
    }
    setvbuf(log, nullptr, _IOLBF, 0);
    FILE* wire = fopen((std::string(argv[2]) + ".wire").c_str(), "wb");
    if (wire == nullptr) {
        return 1;
    }

    cPort port(kind, where);
    if (!port.Plug()) {
        return 1;
    }
    const std::string named = std::string(argv[3]) + ".tmp";
    FILE* name = fopen(named.c_str(), "w");
    if (name == nullptr || fprintf(name, "%s\n", port.Name().c_str()) <= 0 || fclose(name) != 0 ||
        rename(named.c_str(), argv[3]) != 0) {
        perror(argv[3]);
        return 1;
    }
    int master = port.Connect(30000);
    if (master < 0) {
        fprintf(stderr, "nobody connected\n");
        return 1;
    }

    cModem modem(log, argc > 4 ? argv[4] : "normal", argc > 5 ? strtol(argv[5], nullptr, 0) : 0);
    std::unique_ptr<cFrameDecoder> requests(new cFrameDecoder());  // a new one for each connection
    bool heard = false;  // before the first request, nobody holds the terminal side
    long waited = 0;
    bool streamed = false;
    for (;;) {
        modem.Stream(logs, 65536);
        pollfd wait = {master, static_cast<short>(POLLIN | (modem.mOut.empty() ? 0 : POLLOUT)), 0};
        poll(&wait, 1, 50);
        if (!modem.mOut.empty()) {
            const ssize_t wrote = write(master, modem.mOut.data(), modem.mOut.size());
            if (wrote > 0) {
                modem.mOut.erase(modem.mOut.begin(), modem.mOut.begin() + wrote);
            }
            if (wrote < 0 ? errno == EAGAIN : !modem.mOut.empty()) {
                ++waited;  // the terminal's buffer is full
            }
        }
        if (modem.mOut.empty() && modem.Streamed(logs) && !streamed) {
            fprintf(log, "streamed %ld\n", modem.mSent);
            streamed = true;
        }
        if (modem.Vanished() && modem.mOut.empty()) {
            usleep(200 * 1000);
            break;
        }
        if (modem.Unplugging() && modem.mOut.empty()) {
            // What was written is read before the cable is pulled: a terminal's hang-up drops what its
            // reader has not taken yet.
            usleep(300 * 1000);
            fprintf(log, "unplugged\n");
            port.Unplug();
            usleep(static_cast<useconds_t>(argc > 6 ? atol(argv[6]) : 1000) * 1000);
            modem.Replugged();
            // A tool that does not come back (one without --reconnect) is not waited for long.
            if (!port.Plug() || (master = port.Connect(3000)) < 0) {
                break;
            }
            fprintf(log, "plugged\n");
            requests.reset(new cFrameDecoder());
            heard = false;
            continue;
        }
        unsigned char* space = requests->Space(room);
        const ssize_t got = read(master, space, room);
        if (got <= 0) {
            if (got < 0 && errno == EAGAIN) {
                continue;
            }
            if (heard) {
                break;  // the tool closed the terminal
            }
            usleep(20 * 1000);
            continue;
        }
        heard = true;
        fwrite(space, 1, static_cast<size_t>(got), wire);
        fflush(wire);
        const uint64_t bad = requests->mBadFrames;
        requests->Decode(static_cast<size_t>(got), false, modem);
        for (uint64_t i = bad; i < requests->mBadFrames; ++i) {
            fprintf(log, "bad frame\n");
        }
    }
    fprintf(log, "sent %ld\nwaited %ld\n", modem.mSent, waited);
    fclose(log);
    fclose(wire);
    port.Unplug();
    return 0;
}
