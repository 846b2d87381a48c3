// A modem's diagnostic port for the tool's tests. It is reached through a pseudo-terminal (by default), a
// pseudo-terminal behind a symbolic link (--link PATH: the name stays when it is unplugged and plugged
// again), a TCP port on the loopback interface (--tcp) or a socket file (--socket PATH), and writes the name
// to capture from (the terminal, the link, tcp:127.0.0.1:PORT, the socket file) into the file PORT, whole
// (written beside it, then renamed: a test that sees the file sees the name). It answers the requests that
// configure logging as the tool's in-memory test device does (cDiagResponder, tests/ToolTestSources.h, whose
// lines it writes to LOG) and, once every equipment id it reports has its mask, streams the log packets of a
// real capture whose codes are switched on (the capture's responses are not sent). It also logs "bad frame"
// for a request whose framing or check sequence is wrong, "unplugged" and "plugged", "streamed N" once the
// whole capture is out (N log packets), and at the end "sent N" (log packets sent) and "waited N" (writes
// that found the terminal full). Every byte it receives also goes, as received, to LOG.wire.
//
//   palvorin_modem_simulator [--link PATH | --tcp | --socket PATH] STREAM LOG PORT [MODE [N [MS]]]
// MODE: one of cDiagResponder's (normal, silent, refuse-mask, refuse N, noisy); vanish N (goes away after N
// log packets); unplug N MS (after N log packets goes away for MS milliseconds, comes back at the same name
// unconfigured, and streams the rest once configured again).

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

// Writes `name` and a newline into `path` whole: into a file beside it first, then renamed over it.
bool WritePortName(const std::string& path, const char* name) {
    const std::string temporary = path + ".tmp";
    FILE* out = fopen(temporary.c_str(), "w");
    if (out == nullptr) {
        return false;
    }
    const bool written = name != nullptr && fprintf(out, "%s\n", name) > 0;
    return (fclose(out) == 0) && written && rename(temporary.c_str(), path.c_str()) == 0;
}

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
    while (argc > 1 && strncmp(argv[1], "--", 2) == 0) {
        const std::string option = argv[1];
        if ((option == "--link" || option == "--socket") && argc > 2) {
            kind = option.substr(2);
            where = argv[2];
            argv += 2;
            argc -= 2;
        } else if (option == "--tcp") {
            kind = "tcp";
            argv += 1;
            argc -= 1;
        } else {
            break;
        }
    }
    if (argc < 4) {
        fprintf(stderr,
                "usage: %s [--link PATH | --tcp | --socket PATH] STREAM LOG PORT [normal|silent|refuse-mask|"
                "refuse N|vanish N|unplug N MS|noisy]\n",
                argv[0]);
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
    if (!WritePortName(argv[3], port.Name().c_str())) {
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
