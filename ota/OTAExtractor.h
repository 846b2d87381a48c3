// Extraction of the signalling message from an over-the-air log packet: the log code and its payload
// version pick a layout, the layout gives the message bytes and the radio context, and the PDU or channel
// number gives the message kind. Packets inside the multi-SIM wrapper (command 0x98) are read inside it.
//
// One extractor per stream of packets: it holds the pieces of segmented messages until their last piece
// (bounded: at most the pieces of one message per protocol and subscription). Not thread-safe.
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
    OTA_EXTRACT_SEGMENTS_INCOMPLETE,  // a last piece whose earlier pieces are missing or out of order, or
                                      // pieces dropped because a new message began before they ended
    OTA_EXTRACT_STATUS_COUNT,
};

// A short fixed name of each status ("not a signalling log", "unsupported version", ...), for summaries.
const char* OTAExtractStatusName(eOTAExtractStatus status);

// A short fixed name of a record's message kind, e.g. "LTE RRC UL-DCCH", "LTE NAS EMM protected",
// "GSM RR CCCH", "WCDMA RRC SysInfoType3", "NR RRC RRCReconfiguration".
const char* OTAMessageKindName(const sOTAMessage& message);

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

    cOTAExtractor(const cOTAExtractor&) = delete;
    cOTAExtractor& operator=(const cOTAExtractor&) = delete;

private:
    struct sState;
    sState* mState;  // owned
};
