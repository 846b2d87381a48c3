// Splits a raw diagnostic stream (async HDLC frames as they come off the diagnostic port) into packets
// with HDLCDecode. Bytes arrive in chunks of any size; a frame cut by a chunk end waits for the next chunk.
// A frame that fails its check, holds no payload or never finds a closing flag within the largest frame
// size is counted and stepped over; nothing about the input is fatal. Bytes before the first frame of a
// capture that began inside a frame are skipped (see Resynchronise).
#pragma once

#include <cstddef>
#include <cstdint>

#include "Shared/SharedBuffer.h"

// Receives each good packet; `packet` (protocol 3) belongs to the decoder and lives only during the call.
// Returning false stops the decoding.
class cWindow;

class cPacketSink {
public:
    virtual ~cPacketSink() {}
    virtual bool Packet(sSharedBuffer* packet) = 0;
};

class cFrameDecoder {
public:
    static constexpr size_t kChunkSize = 1 << 20;  // largest read handed in at once

    cFrameDecoder();
    ~cFrameDecoder();
    bool Ready() const { return mBuffer != nullptr; }

    // Where the next chunk goes and how much fits (at least 1 byte whenever Ready()).
    unsigned char* Space(size_t& room);
    // Decodes the frames completed by the `added` bytes just written into Space(). With `end`, the input is
    // over: bytes that no flag closes count as one bad frame. Returns false when the sink stopped it.
    bool Decode(size_t added, bool end, cPacketSink& sink);

    uint64_t mFrames = 0;         // good frames: packets handed to the sink
    uint64_t mBadFrames = 0;      // failed check, empty, over-long or left unclosed at the end
    uint64_t mBytes = 0;          // bytes taken in
    uint64_t mUnclosedBytes = 0;  // bytes at the end of the input that no flag closed
    uint64_t mLeadingBytes = 0;   // bytes before the first frame (a capture that began inside a frame)

    cFrameDecoder(const cFrameDecoder&) = delete;
    cFrameDecoder& operator=(const cFrameDecoder&) = delete;

private:
    // A capture often begins inside a frame, with no flag between the stray bytes and the first whole
    // frame. When the first frame of the input fails its check, it is tried again from each later byte.
    sSharedBuffer* Resynchronise(cWindow& window, size_t at, unsigned int consumed);

    unsigned char* mBuffer;  // owned: kChunkSize + MAX_SHARED_BUFFER_SIZE bytes and a guard tail
    size_t mCapacity;
    size_t mHeld = 0;        // bytes not decoded yet, from mBuffer
    bool mSkipping = false;  // inside a run longer than any frame: dropping bytes up to the next flag
};
