// Extraction of the signalling message from an over-the-air log packet: the log code and its payload
// version pick a layout, the layout gives the message bytes and the radio context, and the PDU or channel
// number gives the message kind. Packets inside the multi-SIM wrapper (command 0x98) are read inside it.
//
// One extractor per stream of packets: it holds the pieces of segmented messages until their last piece
// (bounded: at most the pieces of one message per protocol and subscription, and at most 4 such messages
// of 64 KiB each; ota/OTASegments.h). Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Shared/SharedBuffer.h"
#include "ota/OTAMessage.h"

enum eOTAExtractStatus : uint8_t {
    OTA_EXTRACT_MESSAGE = 0,          // the record holds one message
    OTA_EXTRACT_NOT_SIGNALLING,       // not a log packet, or a log code that carries no signalling message
    OTA_EXTRACT_UNSUPPORTED_VERSION,  // a signalling log code whose payload version has no known layout
    OTA_EXTRACT_BAD_LENGTH,           // length fields disagree with the payload, or the payload is cut
    OTA_EXTRACT_UNKNOWN_CHANNEL,      // a PDU number or channel value outside the version's table
    OTA_EXTRACT_SEGMENT_HELD,         // a piece of a segmented message, held until its last piece
    OTA_EXTRACT_SEGMENTS_INCOMPLETE,  // a piece that does not follow the pieces held (missing or out of
                                      // order); the held ones are dropped too (DroppedPieces)
    OTA_EXTRACT_STATUS_COUNT,
};

// A short fixed name of each status ("not a signalling log", "unsupported version", ...), for summaries.
const char* OTAExtractStatusName(eOTAExtractStatus status);

// A short fixed name of a record's message kind, e.g. "LTE RRC UL-DCCH", "LTE NAS EMM protected",
// "GSM RR CCCH", "WCDMA RRC SysInfoType3", "NR RRC RRCReconfiguration".
const char* OTAMessageKindName(const sOTAMessage& message);

// The log codes that carry a signalling message the extractor reads, in ascending order: index 0 to
// OTASignallingLogCodeCount() - 1 (0 past the end).
size_t OTASignallingLogCodeCount();
unsigned int OTASignallingLogCode(size_t index);

// The inner packet of a multi-SIM wrapper (`98 01 00 00`, u32 subscription id, inner packet): true with
// `inner` pointing into `packet` (not owned), its size and the subscription id; false when `packet` is not
// a complete wrapper.
bool UnwrapMultiSIM(const unsigned char* packet, size_t size, const unsigned char*& inner, size_t& innerSize,
                    uint32_t& subscription);

class cOTAExtractor {
public:
    cOTAExtractor();
    ~cOTAExtractor();

    // Reads the `size` bytes of a diagnostic packet (a log packet, or one inside a multi-SIM wrapper; the
    // caller keeps them). On OTA_EXTRACT_MESSAGE `out` describes the message; otherwise `out` is reset but
    // for what the log header and wrapper give (mLogCode, mTimestamp, mSubscription) and mLogVersion where
    // the payload has one. Never reads outside the `size` bytes.
    eOTAExtractStatus Extract(const unsigned char* packet, size_t size, sOTAMessage& out);
    // The same for a buffer the caller keeps (its mSize bytes).
    eOTAExtractStatus Extract(const sSharedBuffer* packet, sOTAMessage& out);

    // Pieces still held for messages whose last piece never came (each of them counts as
    // OTA_EXTRACT_SEGMENTS_INCOMPLETE once the caller gives up on them), and forgetting them.
    unsigned int HeldPieces() const;
    void Reset();
    // Pieces that answered OTA_EXTRACT_SEGMENT_HELD and were later dropped without their message (a gap,
    // a new first piece, another channel, the size bound), since the extractor was made: a caller that
    // counts statuses moves them from held to incomplete.
    uint64_t DroppedPieces() const;

    cOTAExtractor(const cOTAExtractor&) = delete;
    cOTAExtractor& operator=(const cOTAExtractor&) = delete;

private:
    struct sState;
    sState* mState;  // owned
};
