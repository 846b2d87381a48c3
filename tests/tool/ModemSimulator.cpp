// A modem's diagnostic port for the tool's tests. It owns a pseudo-terminal and writes the path of its
// terminal side into the file PORT, whole (written beside it, then renamed: a test that sees the file sees
// the name). It answers the requests that configure logging as a handset does and, once every equipment id
// it reports has its mask, streams the log packets of a real capture whose codes are switched on (the
// capture's responses are not sent). It checks the framing and check sequence of every request and logs
// what it was asked, one line each:
//   disable | ranges | mask EQUIP COUNT CODE... | debug-text LEVEL | other CODE | refused CODE | bad frame |
//   bad request
// Every byte it receives also goes, as received, to LOG.wire.
// "streamed N" once the whole capture is out (N log packets), and at the end "sent N" (log packets sent)
// and "waited N" (writes that found the terminal full).
//
//   palvorin_modem_simulator STREAM LOG PORT [MODE [N]]
// MODE: normal; silent (never answers); refuse-mask (a bad-parameter reply to the mask of equipment 11);
// refuse N (the error reply N, such as 0x18, to every request); vanish N (goes away after N log packets);
// noisy (before each answer: bytes outside any frame, a copy of the answer with a bad check sequence, and a
// run longer than any frame).

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Shared/HDLC.h"
#include "diag/LogConfig.h"
#include "diag/WireFormat.h"
#include "stream/FrameDecoder.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Item counts by equipment id of the handset that recorded capture A (its answer to "get ID ranges").
const std::map<unsigned int, unsigned int> kItemCounts = {
    {1, 0xFD4}, {4, 0x921}, {5, 0xE01}, {7, 0xB57}, {11, 0x1C4}};

Bytes Frame(const Bytes& packet, bool damage = false) {
    sSharedBuffer buffer(packet.data(), static_cast<unsigned int>(packet.size()), PROTOCOL_DIAG_FROM_DEVICE);
    sSharedBuffer* frame = HDLCEncode(&buffer, false);
    Bytes bytes(frame->mData, frame->mData + frame->mSize);
    delete frame;
    if (damage) {
        bytes[0] ^= 0x01;
    }
    return bytes;
}

class cCollect : public cPacketSink {
public:
    bool Packet(sSharedBuffer* packet) override {
        mPackets.emplace_back(packet->mData, packet->mData + packet->mSize);
        return true;
    }
    std::vector<Bytes> mPackets;
};

class cModem : public cPacketSink {
public:
    cModem(FILE* log, std::string mode, long count) : mLog(log), mMode(std::move(mode)), mCount(count) {}

    bool Packet(sSharedBuffer* packet) override {
        const Bytes request(packet->mData, packet->mData + packet->mSize);
        if (mMode == "refuse") {
            fprintf(mLog, "refused %02x\n", request[0]);
            Refuse(static_cast<unsigned char>(mCount), request);
        } else if (request[0] == 0x73) {
            LogConfig(request);
        } else if (request[0] == 0x7D && request.size() == 8 && request[1] == 5) {
            fprintf(mLog, "debug-text %u\n", ReadU32(&request[4]));
            Answer(request);
        } else {
            fprintf(mLog, "other %02x\n", request[0]);
            Refuse(0x13, request);
        }
        return true;
    }

    // Queues log packets while streaming, keeping at most `room` bytes waiting.
    void Stream(const std::vector<Bytes>& logs, size_t room) {
        while (mStreaming && mNext < logs.size() && mOut.size() < room && !Vanished()) {
            const Bytes& log = logs[mNext++];
            const unsigned int code = ReadU16(&log[6]);
            const auto mask = mMasks.find(code >> 12);
            const unsigned int item = code & 0xFFF;
            if (mask != mMasks.end() && item / 8 < mask->second.size() &&
                (mask->second[item / 8] >> (item % 8)) & 1) {
                const Bytes frame = Frame(log);
                mOut.insert(mOut.end(), frame.begin(), frame.end());
                ++mSent;
            }
        }
    }
    bool Streamed(const std::vector<Bytes>& logs) const { return mStreaming && mNext == logs.size(); }
    bool Vanished() const { return mMode == "vanish" && mSent >= mCount; }

    Bytes mOut;  // bytes waiting for the terminal
    long mSent = 0;

private:
    void LogConfig(const Bytes& request) {
        sSharedBuffer copy(request.data(), static_cast<unsigned int>(request.size()),
                           PROTOCOL_DIAG_TO_DEVICE);
        copy.AddRef();
        sDiagLogConfigReq view(&copy);
        const unsigned int op = view.GetRequestedOp();
        if (op == LOG_CONFIG_DISABLE) {
            fprintf(mLog, "disable\n");
            mStreaming = false;
            mMasks.clear();
            Answer(Bytes{0x73, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        } else if (op == LOG_CONFIG_GET_RANGES) {
            fprintf(mLog, "ranges\n");
            Bytes answer{0x73, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
            answer.resize(12 + 64, 0);
            for (const auto& count : kItemCounts) {
                WriteU32(&answer[12 + 4 * count.first], count.second);
            }
            Answer(answer);
        } else if (op == LOG_CONFIG_SET_MASK) {
            unsigned int bits = 0;
            eLogEquipID equipment;
            std::set<unsigned int> codes;
            view.GetRequestedLogCodes(bits, equipment, codes);
            fprintf(mLog, "mask %u %u", static_cast<unsigned int>(equipment), bits);
            for (unsigned int code : codes) {
                fprintf(mLog, " %04x", code);
            }
            fprintf(mLog, "\n");
            if (mMode == "refuse-mask" && equipment == 11) {
                Refuse(0x14, request);
                return;
            }
            mMasks[equipment].assign(request.begin() + 16, request.end());
            Bytes answer{0x73, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0};
            answer.insert(answer.end(), request.begin() + 8, request.end());
            Answer(answer);
            mStreaming = mMasks.size() == kItemCounts.size();
        } else {
            fprintf(mLog, "bad request\n");
            Refuse(0x14, request);
        }
    }
    void Refuse(unsigned char code, const Bytes& request) {
        Bytes answer{code};
        answer.insert(answer.end(), request.begin(), request.end());
        Answer(answer);
    }
    void Answer(const Bytes& answer) {
        if (mMode == "silent") {
            return;
        }
        if (mMode == "noisy") {
            const Bytes junk{0x01, 0x02, 0x03, 0x7E};
            const Bytes bad = Frame(answer, true);
            mOut.insert(mOut.end(), junk.begin(), junk.end());
            mOut.insert(mOut.end(), bad.begin(), bad.end());
            mOut.insert(mOut.end(), 20000, 0x55);
            mOut.push_back(0x7E);
        }
        const Bytes frame = Frame(answer);
        mOut.insert(mOut.end(), frame.begin(), frame.end());
    }

    FILE* mLog;
    std::string mMode;
    long mCount;
    bool mStreaming = false;
    size_t mNext = 0;
    std::map<unsigned int, Bytes> mMasks;  // by equipment id
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

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        fprintf(stderr, "usage: %s STREAM LOG PORT [normal|silent|refuse-mask|refuse N|vanish N|noisy]\n",
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

    int master = -1;
    int terminal = -1;
    termios raw;
    memset(&raw, 0, sizeof raw);
    cfmakeraw(&raw);
    if (openpty(&master, &terminal, nullptr, &raw, nullptr) != 0) {
        perror("openpty");
        return 1;
    }
    if (!WritePortName(argv[3], ttyname(terminal))) {
        perror(argv[3]);
        return 1;
    }
    close(terminal);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);

    cModem modem(log, argc > 4 ? argv[4] : "normal", argc > 5 ? strtol(argv[5], nullptr, 0) : 0);
    cFrameDecoder requests;
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
        unsigned char* space = requests.Space(room);
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
        const uint64_t bad = requests.mBadFrames;
        requests.Decode(static_cast<size_t>(got), false, modem);
        for (uint64_t i = bad; i < requests.mBadFrames; ++i) {
            fprintf(log, "bad frame\n");
        }
    }
    fprintf(log, "sent %ld\nwaited %ld\n", modem.mSent, waited);
    fclose(log);
    fclose(wire);
    close(master);
    return 0;
}
