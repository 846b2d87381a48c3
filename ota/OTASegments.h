// Joining of segmented RRC messages (LTE RRC from log version 30, NR RRC from version 23). A log's segment
// number is 0 for a whole message, 1 to 6 for a piece, 7 for the last piece. Pieces must come in order,
// 1, 2, ... with no gap and all of the same channel, each one number above the one before; the last piece
// then completes the message, which is handed out once. Anything else drops the pieces held so far.
//
// The log carries no piece count, and the last piece is always number 7: a message whose pieces 3 to 6
// were lost while 1, 2 and the last arrived cannot be told from a message of three pieces, and is handed
// out joined from the three. Every other loss that shows (a gap, a repeat, a first piece without a last,
// a last piece without a first) drops the message.
//
// Memory is bounded: at most kSlots messages in assembly, one for each (protocol, subscription) in use,
// and at most kCapacity bytes each, allocated once at the slot's first use. Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ota/OTAExtractor.h"

class cOTASegments {
public:
    static constexpr unsigned int kSlots = 4;
    static constexpr size_t kCapacity = 64 * 1024;
    static constexpr unsigned int kLastPiece = 7;

    // Takes piece `piece` (1..7) of a message of `channel`, its `size` bytes at `data` (copied).
    //   OTA_EXTRACT_SEGMENT_HELD: a piece in order, held.
    //   OTA_EXTRACT_MESSAGE: the last piece completed the message: `joined` points to its bytes (owned by
    //     this object, valid until the next call) and `joinedSize` is their count.
    //   OTA_EXTRACT_SEGMENTS_INCOMPLETE: the piece does not follow the held ones (a gap, a repeat, another
    //     channel, a last piece with nothing before it, a piece number above 7, more than kCapacity bytes,
    //     no free slot): the held pieces and this one are dropped.
    // A first piece that arrives while pieces are held drops them and is held itself (SEGMENT_HELD).
    // Pieces held and then dropped count in DroppedPieces(); the piece that answers INCOMPLETE does not.
    eOTAExtractStatus Add(eOTAProtocol protocol, uint32_t subscription, uint8_t channel, unsigned int piece,
                          const unsigned char* data, size_t size, const unsigned char*& joined,
                          size_t& joinedSize);

    // Pieces held for messages whose last piece has not come.
    unsigned int HeldPieces() const;
    // Pieces that were held (they answered SEGMENT_HELD) and then dropped without their message, since
    // this object was made; Reset leaves the count as it is.
    uint64_t DroppedPieces() const { return mDropped; }
    // Forgets the held pieces.
    void Reset();

private:
    struct sSlot {
        eOTAProtocol mProtocol = OTA_PROTOCOL_NONE;
        uint32_t mSubscription = 0;
        uint8_t mChannel = 0;
        unsigned int mPieces = 0;  // pieces held, numbered 1..mPieces; 0: the slot is free
        size_t mSize = 0;
        std::unique_ptr<unsigned char[]> mBytes;  // owned, kCapacity bytes once used
    };
    sSlot* Find(eOTAProtocol protocol, uint32_t subscription, bool orFree);
    void Drop(sSlot& slot);

    sSlot mSlots[kSlots];
    uint64_t mDropped = 0;
};
