// How the item store sorts packets: the item type of each packet, the over-the-air log codes with the
// hint each carries as auxiliary value, the hints taken from request packets, and which health and
// file-list packets are kept for rewriting at close. Only byte values are looked at; nothing is logged.
#pragma once

#include <cstdint>

#include "diag/DiagProtocol.h"

// Kind of a stored item (only bits 0-4 reach the file).
enum eItemType : unsigned int {
    ITEM_TYPE_SHORT_LOG = 0,           // log packet shorter than 16 bytes
    ITEM_TYPE_RESPONSE = 1,            // any other packet from the device
    ITEM_TYPE_REQUEST = 2,             // request packet, derived type
    ITEM_TYPE_EVENT = 4,               // command codes 96 and 116 but their 3-byte zero forms
    ITEM_TYPE_LOG = 5,                 // log packet outside the over-the-air set; the tool-version record
    ITEM_TYPE_MESSAGE = 6,             // command codes 31, 121, 146
    ITEM_TYPE_TAGGED_REQUEST = 7,      // items written with protocol type 514
    ITEM_TYPE_OTA_LOG = 8,             // log packet of the over-the-air set
    ITEM_TYPE_SUBSYSTEM_RESPONSE = 9,  // command codes 75 and 128 from the device
    ITEM_TYPE_SUBSYSTEM_REQUEST = 10,  // request with command code 75 or 128, derived type
    ITEM_TYPE_DERIVE = 0xFFFFFFFF,     // passed in: the store derives the type from the packet
};

// Short name of an item type ("log", "ota-log", ...), or "unknown".
const char* ItemTypeName(unsigned int type);
// True for the item types the store assigns (0, 1, 2 and 4 to 10).
bool IsKnownItemType(unsigned int type);

// The protocol type the store stores with protocol 4 (a request) and item type 7.
const unsigned int ISF_PROTOCOL_TAGGED_REQUEST = 514;
// Command codes from this value up are unknown to the store (logged, still stored).
const unsigned int DIAG_FIRST_UNKNOWN_COMMAND = 154;
// A log packet needs its 16-byte header (log code at bytes 6-7) to be classified by log code.
const unsigned int DIAG_LOG_HEADER_SIZE = 16;

// True for the protocol types the store accepts: 0-10, 30-38, 60-141 and 508-514.
bool IsAcceptedProtocol(unsigned int protocol);

// Where the auxiliary value of an over-the-air log comes from.
enum eAuxSource : unsigned int { AUX_NONE = 0, AUX_HINT_A = 1, AUX_HINT_B = 2 };

// True when `logCode` is in the over-the-air set; `aux` receives the hint it carries.
bool IsOTALogCode(unsigned int logCode, eAuxSource& aux);

// Item type derived from a packet of `length` >= 1 bytes with `protocol`, and the source of its auxiliary
// value (AUX_NONE but for over-the-air logs).
unsigned int ClassifyItem(const unsigned char* data, unsigned int length, unsigned int protocol,
                          eAuxSource& aux);

// Hint update from a request packet (the caller checks that the protocol is 4): may set `hintA` (a value
// 0 to 12 from packets 96, 116 and 99) or `hintB` (24 bits from a subsystem-dispatch request).
void UpdateHints(const unsigned char* data, unsigned int length, uint32_t& hintA, uint32_t& hintB);

// The packets kept for rewriting at close; both are keyed by the u16 at bytes 2-3.
bool IsDiagHealthRsp(const unsigned char* data, unsigned int length, unsigned int protocol);
bool IsFileListDiagReqRsp(const unsigned char* data, unsigned int length, unsigned int protocol);
