// The core of recording a raw diagnostic stream into an ISF file: bytes, the frame decoder, the item
// clock, the store. It knows nothing of where the bytes come from, of signals, terminals or progress, so
// that every front end that records a raw stream (the tool's `record` and `capture`, a binding for
// scripts) splits, stamps and stores it the same way:
//
//     cISFStore store;                       // its file open
//     cStreamRecorder recorder(store, cItemClock(ITEM_CLOCK_PACKET));
//     while (... bytes ...) recorder.Feed(bytes, size, CurrentFiletime());
//     recorder.End(CurrentFiletime());       // a frame cut by the end counts as bad
//     store.CloseFileStore();
#pragma once

#include <cstddef>

#include "jni/ISFStore.h"
#include "stream/FrameDecoder.h"
#include "stream/ItemClock.h"

class cStreamRecorder : private cPacketSink {
public:
    // `store` has its file open and outlives this object. `after` (may be null; kept by the caller, outliving
    // this object) sees each packet once it is stored, and stops the decoding by returning false.
    cStreamRecorder(cISFStore& store, const cItemClock& clock, cPacketSink* after = nullptr);

    // False when memory ran out for the decoder's buffer.
    bool Ready() const { return mDecoder.Ready(); }
    // Where the next bytes go and how many fit: the decoder's own buffer, so that a reader fills it
    // without a copy.
    unsigned char* Space(size_t& room) { return mDecoder.Space(room); }
    // Decodes and stores the frames completed by the `added` bytes just written into Space(), read at
    // `readTime`. False when storing failed (Status()) or `after` stopped it.
    bool Decode(size_t added, FILETIME readTime);
    // The same for `size` bytes held elsewhere (copied in, in pieces as large as Space allows).
    bool Feed(const unsigned char* bytes, size_t size, FILETIME readTime);
    // The input is over, or broken off (a stop, a device gone): decodes what is held; the bytes of a frame
    // cut there count as one bad frame. Decoding may go on afterwards, as after a gap.
    bool End(FILETIME now);
    // Stores a packet the front end sent itself (a request, kept by the caller) in its place among the
    // packets read, stamped by the same clock at `now`. A store status (ISFStore.h).
    unsigned int Sent(sSharedBuffer* request, FILETIME now);

    // The status of the last store (ISF_STATUS_OK while every one succeeded).
    unsigned int Status() const { return mStatus; }
    const cFrameDecoder& Decoder() const { return mDecoder; }

    cStreamRecorder(const cStreamRecorder&) = delete;
    cStreamRecorder& operator=(const cStreamRecorder&) = delete;

private:
    bool Packet(sSharedBuffer* packet) override;

    cISFStore& mStore;
    cItemClock mClock;
    cPacketSink* mAfter;
    cFrameDecoder mDecoder;
    unsigned int mStatus = ISF_STATUS_OK;
};
