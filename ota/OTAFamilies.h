// Inside the extractor: the payload of one log packet, the bounds-checked field reader every family uses,
// and the readers of the log families (one file each: OTALTERRC.cpp, OTANRRRC.cpp, OTANAS.cpp, OTAGSM.cpp,
// OTAWCDMA.cpp). Not part of the library's interface.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ota/OTAExtractor.h"
#include "ota/OTASegments.h"

// The payload of a log packet (after its 16-byte header) and its log code. Not owned.
struct sOTAPayload {
    const unsigned char* mData;
    size_t mSize;
    uint16_t mCode;
};

// The little-endian field of `width` bytes (1 to 4) at `offset`; false when it does not lie inside the
// payload.
inline bool ReadField(const sOTAPayload& payload, size_t offset, unsigned int width, uint32_t& value) {
    if (width == 0 || width > 4 || offset > payload.mSize || payload.mSize - offset < width) {
        return false;
    }
    value = 0;
    for (unsigned int i = 0; i < width; ++i) {
        value |= static_cast<uint32_t>(payload.mData[offset + i]) << (8 * i);
    }
    return true;
}

// Points the record at the `length` bytes from `offset`; false when they do not lie inside the payload.
inline bool SetMessage(const sOTAPayload& payload, size_t offset, size_t length, sOTAMessage& out) {
    if (offset > payload.mSize || payload.mSize - offset < length) {
        return false;
    }
    out.mData = payload.mData + offset;
    out.mLength = length;
    return true;
}

// The family readers. Each fills `out` (whose log code, timestamp and subscription are already set) from
// the payload of a log of one of its codes and returns the status. All share one signature so that the
// code table can point at them; only the RRC readers use `segments` (the extractor's held pieces, or null).
eOTAExtractStatus ExtractLTERRC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractNRRRC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractNAS(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractGSMRR(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractGPRSMAC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractGPRSGMM(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractUMTSNAS(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);
eOTAExtractStatus ExtractWCDMARRC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments);

// The RRC logs of LTE (0xB0C0) and NR (0xB821) share one shape: a header of radio context fields at
// offsets that move from version to version, a PDU number that a per-version table turns into a channel,
// a u16 message length equal to the bytes left, and, in the newest versions, a segment number.
struct sRRCLayout {
    uint8_t mCellAt;              // u16 physical cell id
    uint8_t mChannelNumberAt;     // EARFCN / NR-ARFCN
    uint8_t mChannelNumberWidth;  // its bytes
    uint8_t mFrameAt;             // u16 SFN << 4 | sub-frame; 0: not read
    uint8_t mPDUAt;               // u8 PDU number
    uint8_t mLengthAt;            // u16 message length
    uint8_t mSegmentAt;           // u8 segment number; 0: the layout has none
    uint8_t mMessageAt;
};

// A PDU number and the channel (or bare message kind) it stands for in one numbering.
struct sPDUChannel {
    uint8_t mPDU;
    uint8_t mChannel;
};

struct sPDUTable {
    const sPDUChannel* mEntries;
    size_t mCount;
};

template <size_t N>
constexpr sPDUTable Table(const sPDUChannel (&entries)[N]) {
    return {entries, N};
}
const sPDUTable kNoTable = {nullptr, 0};

// Versions mFirst..mLast: their layout and PDU numbering(s). A PDU number is looked up in each non-empty
// table in turn (an LTE version with NB-IoT numbers has them as a second table).
struct sRRCVersion {
    uint32_t mFirst;
    uint32_t mLast;
    const sRRCLayout* mLayout;
    sPDUTable mTables[2];
};

struct sRRCFamily {
    eOTAProtocol mProtocol;
    unsigned int mVersionWidth;  // bytes of the version field at offset 0
    const sRRCVersion* mVersions;
    size_t mVersionCount;
    bool (*mIsUplink)(uint8_t channel);
};

// The one reader of both RRC families' tables. `segments` (may be null: pieces are then dropped) holds
// the pieces of segmented messages.
eOTAExtractStatus ExtractRRC(const sRRCFamily& family, const sOTAPayload& payload, sOTAMessage& out,
                             cOTASegments* segments);
