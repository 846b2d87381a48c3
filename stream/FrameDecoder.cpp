#include "stream/FrameDecoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Shared/HDLC.h"
#include "jni/ISFClassify.h"

// A shared buffer that points into the decoder's own array for one HDLCDecode call: HDLCDecode takes an
// sSharedBuffer, and copying every window into one would cost a copy of up to 16640 bytes per frame. The
// pointer is taken back before destruction, so the buffer never frees what it does not own.
class cWindow {
public:
    cWindow() : mBuffer(nullptr, 0, PROTOCOL_DIAG_FROM_DEVICE) {}
    ~cWindow() { Set(nullptr, 0); }
    sSharedBuffer* Set(unsigned char* data, size_t size) {
        mBuffer.mData = data;
        mBuffer.mSize = static_cast<unsigned int>(size);
        return &mBuffer;
    }
    cWindow(const cWindow&) = delete;
    cWindow& operator=(const cWindow&) = delete;

private:
    sSharedBuffer mBuffer;
};

cFrameDecoder::cFrameDecoder()
    : mBuffer(NewGuardedArray(static_cast<unsigned int>(kChunkSize + MAX_SHARED_BUFFER_SIZE))),
      mCapacity(kChunkSize + MAX_SHARED_BUFFER_SIZE) {}

cFrameDecoder::~cFrameDecoder() {
    delete[] mBuffer;
}

unsigned char* cFrameDecoder::Space(size_t& room) {
    room = std::min(mCapacity - mHeld, kChunkSize);
    return mBuffer + mHeld;
}

sSharedBuffer* cFrameDecoder::Resynchronise(cWindow& window, size_t at, unsigned int consumed) {
    const size_t start = at + (mBuffer[at] == AHDLC_FLAG ? 1 : 0);
    for (size_t skip = 1; skip + 4 <= consumed; ++skip) {
        unsigned int again = 0;
        sSharedBuffer* packet = HDLCDecode(window.Set(mBuffer + start + skip, consumed - skip), &again);
        if (packet != nullptr && packet->mSize != 0) {
            mLeadingBytes = skip;
            return packet;
        }
        delete packet;
    }
    return nullptr;
}

bool cFrameDecoder::Decode(size_t added, bool end, cPacketSink& sink) {
    mHeld += added;
    mBytes += added;
    cWindow window;
    size_t at = 0;
    bool go = true;
    while (go && at < mHeld) {
        if (mSkipping) {
            // The rest of an over-long run: dropped up to the flag that opens the next frame.
            const void* flag = memchr(mBuffer + at, AHDLC_FLAG, mHeld - at);
            if (flag == nullptr) {
                at = mHeld;
                break;
            }
            at = static_cast<size_t>(static_cast<const unsigned char*>(flag) - mBuffer);
            mSkipping = false;
        }
        const size_t left = mHeld - at;
        if (mBuffer[at] == AHDLC_FLAG) {
            // Flags in a row delimit empty frames, not bad ones; a lone flag opens a frame still to come.
            if (left >= 2 && mBuffer[at + 1] == AHDLC_FLAG) {
                ++at;
                continue;
            }
            if (left == 1) {
                at += end ? 1 : 0;
                break;
            }
        }
        // HDLCDecode never takes one of the first three bytes of a frame for its closing flag, so a frame
        // shorter than that would swallow the next one. It cannot hold a packet and its check bytes anyway:
        // it is counted as bad, and its flag opens the next frame.
        const size_t start = at + (mBuffer[at] == AHDLC_FLAG ? 1 : 0);
        const size_t end3 = std::min(start + 3, mHeld);
        const void* early = start < end3 ? memchr(mBuffer + start, AHDLC_FLAG, end3 - start) : nullptr;
        if (early != nullptr) {
            ++mBadFrames;
            at = static_cast<size_t>(static_cast<const unsigned char*>(early) - mBuffer);
            continue;
        }
        const size_t size = std::min<size_t>(left, MAX_SHARED_BUFFER_SIZE);
        // HDLCDecode takes a flag behind an escape for a closing flag only when it is the last byte it is
        // given: wait for the next byte, so that where a frame ends does not depend on where a chunk ended.
        if (!end && size == left && left >= 2 && mBuffer[mHeld - 1] == AHDLC_FLAG &&
            mBuffer[mHeld - 2] == AHDLC_ESCAPE) {
            break;
        }
        unsigned int consumed = 0;
        sSharedBuffer* packet = HDLCDecode(window.Set(mBuffer + at, size), &consumed);
        if (consumed == 0) {
            delete packet;
            if (size == MAX_SHARED_BUFFER_SIZE) {
                // No closing flag within the largest frame: step to the next flag, which opens a frame.
                ++mBadFrames;
                at += 1;
                mSkipping = true;
                continue;
            }
            if (end) {
                ++mBadFrames;
                mUnclosedBytes += left;
                at = mHeld;
            }
            break;  // a frame cut by the end of the chunk: wait for more bytes
        }
        if (packet == nullptr && mFrames == 0 && mBadFrames == 0 && mLeadingBytes == 0) {
            packet = Resynchronise(window, at, consumed);
        }
        at += consumed;
        if (packet != nullptr && packet->mSize != 0) {
            ++mFrames;
            go = sink.Packet(packet);
        } else {
            ++mBadFrames;
        }
        delete packet;
    }
    if (at != 0) {
        memmove(mBuffer, mBuffer + at, mHeld - at);
        mHeld -= at;
    }
    return go;
}
