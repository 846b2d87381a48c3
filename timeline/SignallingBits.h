// What the first bits of a signalling message tell, without an ASN.1 decoder: the kind of an LTE RRC message
// of the dedicated and common control channels (a handover command, a release with redirection, a
// re-establishment request and its cause, ...) and the kind, direction-free, of an EPS mobility-management
// (EMM) NAS message with the cause of a reject. Each reading is a table of bit positions
// (SignallingBits.cpp); a message too short for a field, or of a form the table does not cover (a later
// critical extension, a ciphered NAS message), reads as "not known" rather than as a guess.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ota/OTAMessage.h"

// The LTE RRC messages the cell timeline looks at; every other message of the four channels is
// LTE_RRC_OTHER.
enum eLTERRCKind : uint8_t {
    LTE_RRC_UNREADABLE = 0,             // too short, or not a message of the four channels
    LTE_RRC_OTHER,                      // a message the timeline does not look at
    LTE_RRC_RECONFIGURATION,            // DL-DCCH; mMobility says whether it commands a handover
    LTE_RRC_RELEASE,                    // DL-DCCH; mRedirection, mReleaseCause
    LTE_RRC_REESTABLISHMENT,            // DL-CCCH
    LTE_RRC_REESTABLISHMENT_REJECT,     // DL-CCCH
    LTE_RRC_CONNECTION_REJECT,          // DL-CCCH
    LTE_RRC_CONNECTION_SETUP,           // DL-CCCH
    LTE_RRC_REESTABLISHMENT_REQUEST,    // UL-CCCH; mCause (eReestablishmentCause), mFailedCell
    LTE_RRC_CONNECTION_REQUEST,         // UL-CCCH; mCause (establishment cause)
    LTE_RRC_RECONFIGURATION_COMPLETE,   // UL-DCCH
    LTE_RRC_REESTABLISHMENT_COMPLETE,   // UL-DCCH
    LTE_RRC_CONNECTION_SETUP_COMPLETE,  // UL-DCCH
    LTE_RRC_SCG_FAILURE_NR,             // UL-DCCH: the NR leg of an EN-DC connection failed
};

// A field that a message's later critical extensions place elsewhere: known only for the release 8 form.
enum eBitFlag : uint8_t {
    BIT_FLAG_UNKNOWN = 0,
    BIT_FLAG_CLEAR,
    BIT_FLAG_SET,
};

// Re-establishment causes (UL-CCCH RRCConnectionReestablishmentRequest).
enum eReestablishmentCause : uint8_t {
    REESTABLISHMENT_RECONFIGURATION_FAILURE = 0,
    REESTABLISHMENT_HANDOVER_FAILURE = 1,
    REESTABLISHMENT_OTHER_FAILURE = 2,
};

const uint8_t kNoValue = 0xFF;

struct sLTERRCReading {
    eLTERRCKind mKind = LTE_RRC_UNREADABLE;
    eBitFlag mMobility = BIT_FLAG_UNKNOWN;     // reconfiguration: mobility control information present
    eBitFlag mRedirection = BIT_FLAG_UNKNOWN;  // release: redirected carrier information present
    uint8_t mReleaseCause = kNoValue;          // release: 0 load balancing TAU required, 1 other, 2 CS
                                               // fallback high priority, 3 RRC suspend
    uint8_t mCause = kNoValue;      // re-establishment request: eReestablishmentCause (3: spare); connection
                                    // request: establishment cause 0..7
    uint16_t mFailedCell = 0xFFFF;  // re-establishment request: the physical cell id in the UE identity
                                    // (the cell where the failure happened)
};

// Reads an LTE RRC message of a channel (eOTALTERRCChannel: DL-DCCH, DL-CCCH, UL-CCCH or UL-DCCH; any
// other channel reads as LTE_RRC_UNREADABLE). `data` holds `size` bytes (not kept).
sLTERRCReading ReadLTERRC(uint8_t channel, const unsigned char* data, size_t size);

// EPS mobility-management messages the timeline looks at; every other readable EMM message is EMM_OTHER.
enum eEMMKind : uint8_t {
    EMM_UNREADABLE = 0,  // too short, not an EMM message (ESM, another protocol), or a reserved header
    EMM_CIPHERED,        // security header type 2 or 4: the message cannot be read
    EMM_OTHER,
    EMM_ATTACH_REQUEST,
    EMM_ATTACH_ACCEPT,
    EMM_ATTACH_REJECT,  // mCause
    EMM_DETACH_REQUEST,
    EMM_DETACH_ACCEPT,
    EMM_TAU_REQUEST,
    EMM_TAU_ACCEPT,
    EMM_TAU_REJECT,  // mCause
    EMM_SERVICE_REQUEST,
    EMM_EXTENDED_SERVICE_REQUEST,
    EMM_SERVICE_REJECT,  // mCause
};

struct sEMMReading {
    eEMMKind mKind = EMM_UNREADABLE;
    uint8_t mMessageType = 0;   // the message type octet where there is one (0x41 attach request, ...)
    uint8_t mCause = kNoValue;  // EMM cause of a reject
};

// Reads an EPS NAS message (`size` bytes of `data`, not kept): plain, integrity-protected (the plain
// message after the 6-byte security header), ciphered, or a service request.
sEMMReading ReadEMM(const unsigned char* data, size_t size);

// A name of the common EMM causes ("no suitable cells in tracking area"), null for the others.
const char* EMMCauseName(uint8_t cause);
// "handover failure", "other failure", "reconfiguration failure"; null for a spare value.
const char* ReestablishmentCauseName(uint8_t cause);
// "emergency", "high priority access", "mt access", "mo signalling", "mo data", "delay tolerant access",
// "mo voice call"; null for the spare value.
const char* EstablishmentCauseName(uint8_t cause);
// "load balancing tau required", "other", "cs fallback high priority", "rrc suspend".
const char* ReleaseCauseName(uint8_t cause);
