// The parts of one SYSTEM INFORMATION payload (segments, complete SIBs, complete SIB lists) and what each
// does to the accumulator's SIBs in assembly. Used only by the accumulator's handlers.
#pragma once

#include <list>

#include "bits/BitParser.h"
#include "wcdma/WCDMARRCAccumulator.h"

// Points `parser` at the RRC message of `item`, most significant bit first, at bit 0. The readable length
// is the log's length word, cut to the bytes the item holds. False for an unusable item or one of fewer
// than 17 bytes.
bool OpenRRCMessage(sSharedBuffer* item, cBitParser& parser);

// Moves the reader to `position`, or to its end when the message is shorter.
void MoveReaderTo(cBitParser& parser, unsigned int position);

// One message taken apart, part after part, in message order. The reader points into the item, which
// must outlive this object. The logs built so far belong to this object until TakeLogs() hands them on.
class cSIMessage {
public:
    cSIMessage(cWCDMARRCAccumulator& accumulator, unsigned long long timestamp);
    ~cSIMessage();

    // Opens the reader on `item` and reads the payload's first field (see InitialProcessing); false when
    // the item is too short or the field cannot be read.
    bool Open(sSharedBuffer* item, bool listFirst);
    unsigned char First() const { return mFirst; }

    // First segment of fixed size: starts a SIB (or emits it when its count is 1).
    void FirstSegment(unsigned char sibType);
    // Subsequent segment, or fixed last segment when `last` (which always ends the SIB's entry).
    void NextSegment(unsigned char sibType, bool last);
    // Short last segment that ends the message.
    void LastSegmentShort(unsigned char sibType);
    // Short last segment followed by other parts; false (map untouched) when its index or length cannot
    // be read. Otherwise leaves the reader on the next part, even when this one was dropped.
    bool LeadingLastSegment(unsigned char sibType);
    // Complete SIB list, its count read here or already read; false when it ends early.
    bool CompleteSIBList();
    bool CompleteSIBList(unsigned char countField);
    // Short first segment that ends the message.
    void FirstSegmentShort();
    // A whole SIB of fixed size.
    void CompleteSIB(unsigned char sibType);

    // Hands over the logs built, in the order their SIBs were finished; the caller owns them.
    std::list<sSharedBuffer*> TakeLogs();

    cSIMessage(const cSIMessage&) = delete;
    cSIMessage& operator=(const cSIMessage&) = delete;

private:
    sSIMTag Key(unsigned char sibType) const { return sSIMTag(mChannelType, mHeaderByte, sibType); }
    bool Read(unsigned int width, unsigned char& field) { return mParser.Get(width, field) == 0; }
    // Appends `length` bits of the message at the SIB's bit count; counts the segment on success.
    bool AppendData(sSIM& sim, unsigned int length);
    void StartSIB(unsigned char sibType, unsigned int count, unsigned int length);
    // Index check, data, completion and erasure shared by both short last segments.
    void FinishLastSegment(std::map<sSIMTag, sSIM>::iterator entry, unsigned int index, unsigned int length);
    void Emit(sSIM& sim);

    cWCDMARRCAccumulator& mAccumulator;
    unsigned long long mTimestamp;
    cBitParser mParser;
    int mChannelType = -1;
    unsigned char mHeaderByte = 0;
    unsigned char mFirst = 0;
    std::list<sSharedBuffer*> mLogs;
};
