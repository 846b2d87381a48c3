#include "jni/ISFClassify.h"

#include <cstddef>

#include "jni/ISFFormat.h"

namespace {

struct sCodeRange {
    uint16_t mFirst;
    uint16_t mLast;
    eAuxSource mAux;
};

// The over-the-air log codes, in ascending order. 0x138A is deliberately outside the set although its
// neighbours are in it.
const sCodeRange kOTALogCodes[] = {
    {0x1004, 0x1008, AUX_HINT_A}, {0x1048, 0x1049, AUX_NONE},   {0x104C, 0x104D, AUX_NONE},
    {0x1052, 0x1053, AUX_NONE},   {0x1076, 0x1079, AUX_NONE},   {0x107C, 0x107C, AUX_NONE},
    {0x1085, 0x1086, AUX_NONE},   {0x1090, 0x1091, AUX_HINT_A}, {0x10D6, 0x10D8, AUX_HINT_A},
    {0x1388, 0x1389, AUX_HINT_A}, {0x138B, 0x138D, AUX_HINT_A}, {0x141B, 0x141C, AUX_NONE},
    {0x149F, 0x149F, AUX_NONE},   {0x412F, 0x412F, AUX_HINT_B}, {0x512F, 0x512F, AUX_NONE},
    {0x5226, 0x5226, AUX_NONE},   {0x5230, 0x5230, AUX_NONE},   {0x713A, 0x713A, AUX_NONE},
    {0x7B3A, 0x7B3A, AUX_NONE},   {0xA000, 0xA000, AUX_NONE},   {0xA100, 0xA103, AUX_NONE},
};

// Health responses are subsystem 18 dispatch packets with one of these subsystem commands.
const unsigned int kDiagSubsystem = 18;
const uint16_t kHealthCommands[] = {53, 55, 57, 58, 59, 60, 81, 82};
const unsigned int kDiagErrorBadCommand = 19;  // the error response that echoes a refused file-list request

// Hints: the request packets they come from and the largest value hint A takes.
const unsigned int kEventRequest = 96;
const unsigned int kEventRequestExt = 116;
const unsigned int kHintARequest = 99;
const unsigned int kMaxHintA = 12;
const unsigned int kHintEventId = 0x103;
const unsigned int kHintBSubsystem = 9;

// A 3-byte packet 96 or 116 whose bytes 1 and 2 are zero is an ordinary response, not an event.
bool IsZeroShortForm(const unsigned char* data, unsigned int length) {
    return length == 3 && data[1] == 0 && data[2] == 0;
}

}  // namespace

bool IsAcceptedProtocol(unsigned int protocol) {
    return protocol <= 10 || (protocol >= 30 && protocol <= 38) || (protocol >= 60 && protocol <= 141) ||
           (protocol >= 508 && protocol <= 514);
}

bool IsOTALogCode(unsigned int logCode, eAuxSource& aux) {
    // Binary search of the sorted ranges: most logs are outside the set, often above all of it, and a
    // scan would walk the whole table for each of them.
    size_t low = 0;
    size_t high = sizeof kOTALogCodes / sizeof kOTALogCodes[0];
    while (low < high) {  // the first range that does not end below the code lies in [low, high]
        const size_t middle = (low + high) / 2;
        if (kOTALogCodes[middle].mLast < logCode) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    if (low == sizeof kOTALogCodes / sizeof kOTALogCodes[0] || logCode < kOTALogCodes[low].mFirst) {
        return false;
    }
    aux = kOTALogCodes[low].mAux;
    return true;
}

unsigned int ClassifyItem(const unsigned char* data, unsigned int length, unsigned int protocol,
                          eAuxSource& aux) {
    aux = AUX_NONE;
    const unsigned int command = data[0];
    if (protocol == PROTOCOL_DIAG_TO_DEVICE) {
        return command == DIAG_CMD_SUBSYS_DISPATCH || command == DIAG_CMD_SUBSYS_DISPATCH_V2
                   ? ITEM_TYPE_SUBSYSTEM_REQUEST
                   : ITEM_TYPE_REQUEST;
    }
    switch (command) {
        case DIAG_CMD_LOG:
            if (length < DIAG_LOG_HEADER_SIZE) {
                return ITEM_TYPE_SHORT_LOG;
            }
            return IsOTALogCode(static_cast<unsigned int>(GetLE(data + 6, 2)), aux) ? ITEM_TYPE_OTA_LOG
                                                                                    : ITEM_TYPE_LOG;
        case kEventRequest:
        case kEventRequestExt:
            return IsZeroShortForm(data, length) ? ITEM_TYPE_RESPONSE : ITEM_TYPE_EVENT;
        case 31:
        case 121:
        case 146:
            return ITEM_TYPE_MESSAGE;
        case DIAG_CMD_SUBSYS_DISPATCH:
        case DIAG_CMD_SUBSYS_DISPATCH_V2:
            return ITEM_TYPE_SUBSYSTEM_RESPONSE;
        default:
            return ITEM_TYPE_RESPONSE;
    }
}

void UpdateHints(const unsigned char* data, unsigned int length, uint32_t& hintA, uint32_t& hintB) {
    if (length < 1) {
        return;
    }
    switch (data[0]) {
        case kEventRequest:
        case kEventRequestExt:
            if (length >= 14 && (GetLE(data + 3, 2) & 0x0FFF) == kHintEventId && data[13] <= kMaxHintA) {
                hintA = data[13];
            }
            break;
        case kHintARequest:
            if (length >= 28 && data[27] <= kMaxHintA) {
                hintA = data[27];
            }
            break;
        case DIAG_CMD_SUBSYS_DISPATCH:
        case DIAG_CMD_SUBSYS_DISPATCH_V2:
            if (length >= 7 && data[1] == kHintBSubsystem && data[2] == 0 && data[3] == 0) {
                hintB = static_cast<uint32_t>(GetLE(data + 4, 3));
            }
            break;
        default:
            break;
    }
}

bool IsDiagHealthRsp(const unsigned char* data, unsigned int length, unsigned int protocol) {
    if (protocol == PROTOCOL_DIAG_TO_DEVICE || length < 4 || data[0] != DIAG_CMD_SUBSYS_DISPATCH ||
        data[1] != kDiagSubsystem) {
        return false;
    }
    const uint16_t key = static_cast<uint16_t>(GetLE(data + 2, 2));
    for (uint16_t command : kHealthCommands) {
        if (key == command) {
            return true;
        }
    }
    return false;
}

bool IsFileListDiagReqRsp(const unsigned char* data, unsigned int length, unsigned int protocol) {
    if (length < 4) {
        return false;
    }
    const bool dispatch = data[0] == DIAG_CMD_SUBSYS_DISPATCH_V2 && data[1] == kDiagSubsystem;
    if (protocol == PROTOCOL_DIAG_FROM_DEVICE) {
        return dispatch || (data[0] == kDiagErrorBadCommand && data[1] == DIAG_CMD_SUBSYS_DISPATCH_V2 &&
                            data[2] == kDiagSubsystem);
    }
    if (protocol == PROTOCOL_DIAG_TO_DEVICE) {
        return dispatch;
    }
    return true;  // deliberate: every other protocol's packet of 4 bytes or more is kept, latest per key
}

namespace {

const char* const kTypeNames[] = {"short-log",
                                  "response",
                                  "request",
                                  nullptr,
                                  "event",
                                  "log",
                                  "message",
                                  "tagged-request",
                                  "ota-log",
                                  "subsystem-response",
                                  "subsystem-request"};
const unsigned int kTypeCount = sizeof kTypeNames / sizeof kTypeNames[0];

}  // namespace

bool IsKnownItemType(unsigned int type) {
    return type < kTypeCount && kTypeNames[type] != nullptr;
}

const char* ItemTypeName(unsigned int type) {
    return IsKnownItemType(type) ? kTypeNames[type] : "unknown";
}
