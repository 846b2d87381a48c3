// Sources for the tests of recording and capture in place of a device: byte chunks one a read, and a
// diagnostic port in memory whose answers (cDiagResponder) are also the modem simulator's.
#pragma once

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Shared/HDLC.h"
#include "diag/LogConfig.h"
#include "diag/WireFormat.h"
#include "stream/FrameDecoder.h"
#include "tools/palvorin/Source.h"

namespace tooltest {

using Bytes = std::vector<unsigned char>;

// `packet` framed as the device sends it; `damage` spoils its first byte, so its check sequence fails.
inline Bytes Framed(const Bytes& packet, bool damage = false) {
    sSharedBuffer buffer(packet.data(), static_cast<unsigned int>(packet.size()), PROTOCOL_DIAG_FROM_DEVICE);
    sSharedBuffer* frame = HDLCEncode(&buffer, false);
    Bytes bytes(frame->mData, frame->mData + frame->mSize);
    delete frame;
    if (damage) {
        bytes[0] ^= 0x01;
    }
    return bytes;
}

// A log packet of `code` whose payload starts with `number` (4 bytes) and a device timestamp of 0.
inline Bytes NumberedLog(unsigned int code, uint32_t number) {
    Bytes packet = {
        0x10, 0, 20, 0, 20, 0, static_cast<unsigned char>(code), static_cast<unsigned char>(code >> 8)};
    packet.resize(16, 0);
    for (int i = 0; i < 4; ++i) {
        packet.push_back(static_cast<unsigned char>(number >> (8 * i)));
    }
    packet.resize(24, 0xEE);
    return packet;
}

// Hands out `mChunks` one a read, `mPauseMs` apart, then the input's end; sends nothing.
class cChunkSource : public cSource {
public:
    bool Open(std::string&) override { return true; }
    eSourceRead Read(unsigned char* into, size_t room, size_t& got, int, const sigset_t*) override {
        got = 0;
        if (mNext == mChunks.size()) {
            mReason = "end of input";
            return SOURCE_END;
        }
        usleep(static_cast<useconds_t>(mPauseMs) * 1000);
        const Bytes& chunk = mChunks[mNext++];
        got = std::min(room, chunk.size());
        std::copy(chunk.begin(), chunk.begin() + got, into);
        return SOURCE_DATA;
    }
    bool Write(const unsigned char*, size_t, int) override { return false; }
    void Close() override {}
    bool CanWrite() const override { return false; }

    std::vector<Bytes> mChunks;
    size_t mNext = 0;
    int mPauseMs = 0;
};

// A handset's answers to the logging configuration, framed into mOut, with capture A's handset's item
// counts (equipment 1, 4, 5, 7, 11); each request is a line of `log`. `mode`: normal; silent; refuse-mask
// (of equipment 11); refuse (the error reply `count` to all); noisy (junk, a damaged copy and an over-long
// run before each answer).
class cDiagResponder : public cPacketSink {
public:
    explicit cDiagResponder(FILE* log = nullptr, std::string mode = "normal", long count = 0)
        : mMode(std::move(mode)), mCount(count), mLog(log) {}

    bool Packet(sSharedBuffer* packet) override {
        const Bytes request(packet->mData, packet->mData + packet->mSize);
        if (mMode == "refuse") {
            Note("refused %02x\n", request[0]);
            Refuse(static_cast<unsigned char>(mCount), request);
        } else if (request[0] == 0x73) {
            LogConfig(request);
        } else if (request[0] == 0x60 && request.size() == 2) {
            Note("events %u\n", request[1]);
            Answer(Bytes{0x60, 0, 0});
        } else if (request[0] == 0x7D && request.size() == 8 && request[1] == 5) {
            Note("debug-text %u\n", ReadU32(&request[4]));
            Answer(request);
        } else {
            Note("other %02x\n", request[0]);
            Refuse(0x13, request);
        }
        return true;
    }
    bool Configured() const { return mMasks.size() == kEquipments; }
    void Refuse(unsigned char code, const Bytes& request) {
        Bytes answer{code};
        answer.insert(answer.end(), request.begin(), request.end());
        Answer(answer);
    }

    std::map<unsigned int, Bytes> mMasks;  // by equipment id
    Bytes mOut;                            // bytes waiting to be read

protected:
    void Note(const char* format, ...) {
        if (mLog != nullptr) {
            va_list arguments;
            va_start(arguments, format);
            vfprintf(mLog, format, arguments);
            va_end(arguments);
        }
    }
    std::string mMode;
    long mCount;

private:
    static const size_t kEquipments = 5;

    void LogConfig(const Bytes& request) {
        sSharedBuffer copy(request.data(), static_cast<unsigned int>(request.size()),
                           PROTOCOL_DIAG_TO_DEVICE);
        copy.AddRef();
        sDiagLogConfigReq view(&copy);
        const unsigned int op = view.GetRequestedOp();
        if (op == LOG_CONFIG_DISABLE) {
            Note("disable\n");
            mMasks.clear();
            Answer(Bytes{0x73, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        } else if (op == LOG_CONFIG_GET_RANGES) {
            Note("ranges\n");
            Bytes answer{0x73, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
            answer.resize(12 + 64, 0);
            const unsigned int counts[kEquipments][2] = {
                {1, 0xFD4}, {4, 0x921}, {5, 0xE01}, {7, 0xB57}, {11, 0x1C4}};
            for (const auto& count : counts) {
                WriteU32(&answer[12 + 4 * count[0]], count[1]);
            }
            Answer(answer);
        } else if (op == LOG_CONFIG_SET_MASK) {
            unsigned int bits = 0;
            eLogEquipID equipment;
            std::set<unsigned int> codes;
            view.GetRequestedLogCodes(bits, equipment, codes);
            std::string line = "mask " + std::to_string(equipment) + " " + std::to_string(bits);
            char code[8];
            for (unsigned int each : codes) {
                snprintf(code, sizeof code, " %04x", each);
                line += code;
            }
            Note("%s\n", line.c_str());
            if (mMode == "refuse-mask" && equipment == 11) {
                Refuse(0x14, request);
                return;
            }
            mMasks[equipment].assign(request.begin() + 16, request.end());
            Bytes answer{0x73, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0};
            answer.insert(answer.end(), request.begin() + 8, request.end());
            Answer(answer);
        } else {
            Note("bad request\n");
            Refuse(0x14, request);
        }
    }
    void Answer(const Bytes& answer) {
        if (mMode == "silent") {
            return;
        }
        if (mMode == "noisy") {
            const Bytes junk{0x01, 0x02, 0x03, 0x7E};
            const Bytes bad = Framed(answer, true);
            mOut.insert(mOut.end(), junk.begin(), junk.end());
            mOut.insert(mOut.end(), bad.begin(), bad.end());
            mOut.insert(mOut.end(), 20000, 0x55);
            mOut.push_back(0x7E);
        }
        const Bytes frame = Framed(answer);
        mOut.insert(mOut.end(), frame.begin(), frame.end());
    }

    FILE* mLog;
};

// A handset's diagnostic port in memory, answering as cDiagResponder does. Once every equipment id it
// reports has a mask it streams mLogs, one frame a read, and raises SIGINT when they are out.
class cScriptedDevice : public cSource, private cPacketSink {
public:
    cScriptedDevice() { mName = "scripted"; }

    std::vector<Bytes> mLogs;
    int mSilentRequests = 0;         // the first N requests get no answer
    bool mLateErrorToFirst = false;  // the error reply to the first (unanswered) request comes later
    size_t mGoneAfterLogs = 0;       // goes away for good once this many logs are out (0: never)

    std::vector<Bytes> mRequests;  // every request, as received
    int mOpens = 0;

    bool Open(std::string& error) override {
        ++mOpens;
        if (mGone) {
            error = "does not exist";
            return false;
        }
        mOpen = true;
        return true;
    }
    eSourceRead Read(unsigned char* into, size_t room, size_t& got, int timeoutMs, const sigset_t*) override {
        got = 0;
        if (!mOpen || mGone) {
            mReason = "unplugged";
            return SOURCE_GONE;
        }
        Bytes& out = mAnswers.mOut;
        if (out.empty() && mAnswers.Configured() && mSent < mLogs.size()) {
            if (mGoneAfterLogs != 0 && mSent == mGoneAfterLogs) {
                mGone = true;
                mReason = "unplugged";
                return SOURCE_GONE;
            }
            const Bytes frame = Framed(mLogs[mSent++]);
            out.insert(out.end(), frame.begin(), frame.end());
        }
        if (out.empty()) {
            if (mSent == mLogs.size() && mAnswers.Configured()) {
                raise(SIGINT);
            }
            usleep(static_cast<useconds_t>(std::min(timeoutMs < 0 ? 5 : timeoutMs, 5)) * 1000);
            return SOURCE_IDLE;
        }
        got = std::min(room, out.size());
        std::copy(out.begin(), out.begin() + static_cast<long>(got), into);
        out.erase(out.begin(), out.begin() + static_cast<long>(got));
        return SOURCE_DATA;
    }
    bool Write(const unsigned char* data, size_t size, int) override {
        if (!mOpen || mGone) {
            mReason = "cannot write: unplugged";
            return false;
        }
        size_t room = 0;
        std::copy(data, data + size, mRequestDecoder.Space(room));
        mRequestDecoder.Decode(size, false, *this);
        return true;
    }
    void Close() override { mOpen = false; }
    bool CanWrite() const override { return true; }

private:
    bool Packet(sSharedBuffer* packet) override {
        mRequests.emplace_back(packet->mData, packet->mData + packet->mSize);
        if (static_cast<int>(mRequests.size()) <= mSilentRequests) {
            return true;
        }
        if (mLateErrorToFirst && mRequests.size() == static_cast<size_t>(mSilentRequests) + 2) {
            mAnswers.Refuse(0x13, mRequests[0]);
        }
        return mAnswers.Packet(packet);
    }

    cDiagResponder mAnswers;
    cFrameDecoder mRequestDecoder;
    size_t mSent = 0;
    bool mOpen = false;
    bool mGone = false;
};

}  // namespace tooltest
