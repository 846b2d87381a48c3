// Reassembly of WCDMA RRC system information: SYSTEM INFORMATION messages on the BCCH (BCH or FACH) carry
// system information blocks (SIBs) whole or cut into segments spread over several messages. The
// accumulator keeps the partial SIBs between calls and rebuilds every SIB that becomes whole as a 0x412F
// log of its own: channel type 254 (from the BCH) or 255 (from the FACH), the source header byte, the
// length word, the SIB type, then the SIB's bits.
//
// Nothing is logged or reported: a message that does not fit is ignored or ends its handling early.
// Not thread-safe: its owner calls it from one thread at a time.
#pragma once

#include <list>
#include <map>

#include "Shared/SharedBuffer.h"

class cBitParser;
class cBitPacker;

// Identity of one SIB in assembly, the key of the accumulator's map.
struct sSIMTag {
    sSIMTag() = default;
    sSIMTag(int channelType, unsigned char headerByte, unsigned char sibType)
        : mChannelType(channelType), mHeaderByte(headerByte), mSIBType(sibType) {}

    // Lexicographic: channel type (signed), header byte, SIB type.
    bool operator<(const sSIMTag& other) const;

    int mChannelType = -1;          // 254 from the BCH, 255 from the FACH, -1 otherwise
    unsigned char mHeaderByte = 0;  // byte 17 of the source log
    unsigned char mSIBType = 0;     // 5-bit SIB type
};

// One SIB in assembly: the rebuilt payload under construction, 5 header bytes and then the SIB's bits.
struct sSIM {
    static constexpr unsigned int mBits = 65664;  // capacity of mData in bits (8208 x 8)

    // Every field zero, the tag at its defaults; only ever overwritten at once by a whole sSIM.
    sSIM();
    // mData zeroed, nothing received yet, writing starts after the header.
    sSIM(const sSIMTag& tag, unsigned int segmentCount);

    sSIMTag mTag;
    unsigned int mSegmentCount;      // announced by the first segment, 1..16
    unsigned int mSegmentsReceived;  // segments appended so far
    unsigned int mBitCount;          // bits of mData written, the 40 header bits included
    unsigned char mData[8208];
};

class cWCDMARRCAccumulator {
public:
    // Reads `item` (a stored log; never kept or released) and returns, in the order their SIBs were
    // finished, the rebuilt logs it completed, each carrying `timestamp` (diagnostic time format). The
    // caller owns every returned buffer (reference count 0) and must free it. Only 0x412F logs of channel
    // type 4 or 5 holding a SYSTEM INFORMATION message are used; anything else yields an empty list.
    std::list<sSharedBuffer*> ProcessItem(sSharedBuffer* item, unsigned long long timestamp);

    // Handlers of the ten payload choices that carry SIB data, with the contract of ProcessItem: 1
    // firstSegment, 2 subsequentSegment, 3 lastSegmentShort, 4 lastAndFirst, 5 lastAndComplete,
    // 6 lastAndCompleteAndFirst, 7 completeSIB-List, 8 completeAndFirst, 9 completeSIB, 10 lastSegment.
    // They rely on ProcessItem's checks of the log, but never read past the item's bytes.
    std::list<sSharedBuffer*> ProcessSIM1(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM2(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM3(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM4(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM5(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM6(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM7(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM8(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM9(sSharedBuffer* item, unsigned long long timestamp);
    std::list<sSharedBuffer*> ProcessSIM10(sSharedBuffer* item, unsigned long long timestamp);

    // Frames a finished SIB (header bytes, padding to a whole byte, length word) and appends the new log,
    // owned by whoever owns `out`. `sim` is updated in place; a log that cannot be built is dropped.
    void ConvertCompletedSIM(sSIM& sim, unsigned long long& timestamp, std::list<sSharedBuffer*>& out);

    // SIBs in assembly, at most one per key.
    std::map<sSIMTag, sSIM> mSIMs;
};

// Points `parser` (most significant bit first) at the RRC message of `item`, moves it to the first field
// of the payload and reads that field into `first`: a 4-bit list count when `listFirst`, else a 5-bit SIB
// type. Returns the address of the channel type byte (byte 16 of the item), or null when the item is too
// short or the field cannot be read. `parser` then points into `item`'s bytes.
const unsigned char* InitialProcessing(sSharedBuffer* item, cBitParser& parser, unsigned char& first,
                                       bool listFirst);

// Moves `count` bits, one at a time, from `parser` to `packer`; false at the first bit that cannot be read
// or written (the bits already moved stay written).
bool CopyBits(cBitParser& parser, cBitPacker& packer, unsigned int count);
