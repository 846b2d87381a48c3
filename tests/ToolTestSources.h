// Sources for the tests of recording and capture, in place of a device: a stream of byte chunks that
// arrive one a read, and a device's diagnostic port acted out in memory, which answers the configuration
// requests as a handset does and can stay silent, answer late, go away and come back.
#pragma once

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <vector>

#include "Shared/HDLC.h"
#include "stream/FrameDecoder.h"
#include "tools/palvorin/Source.h"

namespace tooltest {

using Bytes = std::vector<unsigned char>;

inline Bytes Framed(const Bytes& packet) {
    sSharedBuffer buffer(packet.data(), static_cast<unsigned int>(packet.size()), PROTOCOL_DIAG_FROM_DEVICE);
    sSharedBuffer* frame = HDLCEncode(&buffer, false);
    Bytes bytes(frame->mData, frame->mData + frame->mSize);
    delete frame;
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

// A handset's diagnostic port in memory. Once every equipment id it reports has a mask it streams
// mLogs, one frame a read. It reports the item counts of capture A's handset (equipment 1, 4, 5, 7, 11).
class cScriptedDevice : public cSource, private cPacketSink {
public:
    cScriptedDevice() { mName = "scripted"; }

    // --- the script ---
    std::vector<Bytes> mLogs;
    bool mWritable = true;
    int mSilentRequests = 0;         // the first N requests get no answer
    bool mLateErrorToFirst = false;  // the error reply to the first (unanswered) request comes later
    size_t mGoneAfterLogs = 0;       // goes away once this many logs are out (0: never)
    int mFailedOpens = 0;            // after going away, this many opens fail
    bool mComesBack = true;          // false: every open after going away fails
    bool mStopWhenStreamed = true;   // raises SIGINT once every log is out

    // --- what happened ---
    std::vector<Bytes> mRequests;  // every request, as received
    int mOpens = 0;
    int mWrites = 0;

    bool Open(std::string& error) override {
        ++mOpens;
        if (mGone && (!mComesBack || mFailedOpens-- > 0)) {
            error = "does not exist";
            return false;
        }
        mGone = false;
        mOpen = true;
        mMasks = 0;
        return true;
    }
    eSourceRead Read(unsigned char* into, size_t room, size_t& got, int timeoutMs, const sigset_t*) override {
        got = 0;
        if (!mOpen || mGone) {
            mReason = "unplugged";
            return SOURCE_GONE;
        }
        if (mOut.empty() && Streaming() && mSent < mLogs.size()) {
            if (mGoneAfterLogs != 0 && mSent == mGoneAfterLogs && !mWentAway) {
                mWentAway = mGone = true;
                mReason = "unplugged";
                return SOURCE_GONE;
            }
            const Bytes frame = Framed(mLogs[mSent++]);
            mOut.insert(mOut.end(), frame.begin(), frame.end());
        }
        if (mOut.empty()) {
            if (mStopWhenStreamed && mSent == mLogs.size() && Streaming()) {
                raise(SIGINT);
            }
            usleep(static_cast<useconds_t>(std::min(timeoutMs < 0 ? 5 : timeoutMs, 5)) * 1000);
            return SOURCE_IDLE;
        }
        got = std::min(room, mOut.size());
        std::copy(mOut.begin(), mOut.begin() + static_cast<long>(got), into);
        mOut.erase(mOut.begin(), mOut.begin() + static_cast<long>(got));
        return SOURCE_DATA;
    }
    bool Write(const unsigned char* data, size_t size, int) override {
        ++mWrites;
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
    bool CanWrite() const override { return mWritable; }

private:
    static const unsigned int kEquipments = 5;

    bool Streaming() const { return !mWritable || mMasks == kEquipments; }

    void Answer(const Bytes& answer) {
        const Bytes frame = Framed(answer);
        mOut.insert(mOut.end(), frame.begin(), frame.end());
    }

    bool Packet(sSharedBuffer* packet) override {
        const Bytes request(packet->mData, packet->mData + packet->mSize);
        mRequests.push_back(request);
        if (static_cast<int>(mRequests.size()) <= mSilentRequests) {
            return true;
        }
        if (mLateErrorToFirst && mRequests.size() == static_cast<size_t>(mSilentRequests) + 2) {
            Bytes late = {0x13};
            late.insert(late.end(), mRequests[0].begin(), mRequests[0].end());
            Answer(late);
        }
        if (request[0] == 0x73 && request.size() >= 8) {
            const unsigned int op = request[4];
            if (op == 0) {
                mMasks = 0;
                Answer({0x73, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
            } else if (op == 1) {
                Bytes answer = {0x73, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
                answer.resize(12 + 64, 0);
                const unsigned int counts[][2] = {
                    {1, 0xFD4}, {4, 0x921}, {5, 0xE01}, {7, 0xB57}, {11, 0x1C4}};
                for (const auto& count : counts) {
                    answer[12 + 4 * count[0]] = static_cast<unsigned char>(count[1]);
                    answer[13 + 4 * count[0]] = static_cast<unsigned char>(count[1] >> 8);
                }
                Answer(answer);
            } else if (op == 3) {
                ++mMasks;
                Bytes answer = {0x73, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0};
                answer.insert(answer.end(), request.begin() + 8, request.end());
                Answer(answer);
            }
        } else if (request[0] == 0x7D) {
            Answer(request);
        } else if (request[0] == 0x60) {
            Answer({0x60, 0, 0});
        } else {
            Bytes refusal = {0x13};
            refusal.insert(refusal.end(), request.begin(), request.end());
            Answer(refusal);
        }
        return true;
    }

    cFrameDecoder mRequestDecoder;
    std::deque<unsigned char> mOut;
    size_t mSent = 0;
    unsigned int mMasks = 0;
    bool mOpen = false;
    bool mGone = false;
    bool mWentAway = false;
};

}  // namespace tooltest
