// Log configuration requests and responses (command code 115).
#include "diag/LogConfig.h"

#include "diag/LogMask.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int OP_OFFSET = 4;
// Request fields.
const unsigned int REQ_EQUIP_OFFSET = 8;
const unsigned int REQ_BITS_OFFSET = 12;
const unsigned int REQ_MASK_OFFSET = 16;
const unsigned int REQ_PLAIN_SIZE = 8;      // operations 0 and 1
const unsigned int REQ_GET_MASK_SIZE = 12;  // operation 4
// Response fields.
const unsigned int RSP_STATUS_OFFSET = 8;
const unsigned int RSP_RANGES_OFFSET = 12;
const unsigned int RSP_EQUIP_OFFSET = 12;
const unsigned int RSP_BITS_OFFSET = 16;
const unsigned int RSP_MASK_OFFSET = 20;
const unsigned int RSP_MIN_SIZE = 12;
const unsigned int RSP_STATUS_LIMIT = 3;  // statuses 0, 1 and 2 are accepted
const unsigned int EQUIP_COUNT = 16;

// A new request of `size` zeroed bytes with code 115 and `operation`; `*bytes` receives its array.
sSharedBuffer* NewRequest(unsigned int size, eLogConfigOp operation, unsigned char** bytes) {
    sSharedBuffer* packet = NewDiagPacket(size, PROTOCOL_DIAG_TO_DEVICE, bytes);
    if (packet != nullptr) {
        (*bytes)[0] = DIAG_CMD_LOG_CONFIG;
        WriteU32(*bytes + OP_OFFSET, operation);
    }
    return packet;
}

}  // namespace

// Request ------------------------------------------------------------------------------------------------

sDiagLogConfigReq::sDiagLogConfigReq(sSharedBuffer* buffer) : sDiagBuffer(buffer) {
    sDiagLogConfigReq::Validate();
}

bool sDiagLogConfigReq::Validate() {
    const bool wasValid = IsValid();
    mValid = false;
    if (!wasValid || Protocol() != PROTOCOL_DIAG_TO_DEVICE || Bytes()[0] != DIAG_CMD_LOG_CONFIG ||
        Size() < REQ_PLAIN_SIZE) {
        return false;
    }
    const unsigned int size = Size();
    switch (ReadU32(Bytes() + OP_OFFSET)) {
        case LOG_CONFIG_DISABLE:
        case LOG_CONFIG_GET_RANGES:
            mValid = size == REQ_PLAIN_SIZE;
            break;
        case LOG_CONFIG_SET_MASK:
            if (size > REQ_MASK_OFFSET) {
                const unsigned int bitCount = ReadU32(Bytes() + REQ_BITS_OFFSET);
                mValid = bitCount <= MAX_LOG_MASK_BITS && size == REQ_MASK_OFFSET + LogMaskBytes(bitCount) &&
                         ReadU32(Bytes() + REQ_EQUIP_OFFSET) <= LOG_EQUIP_LAST;
            }
            break;
        case LOG_CONFIG_GET_MASK:
            mValid = size == REQ_GET_MASK_SIZE && ReadU32(Bytes() + REQ_EQUIP_OFFSET) <= LOG_EQUIP_LAST;
            break;
        default:  // operation 2, and 5 and above
            break;
    }
    return mValid;
}

unsigned int sDiagLogConfigReq::GetRequestedOp() const {
    return IsValid() ? ReadU32(Bytes() + OP_OFFSET) : LOG_CONFIG_OP_INVALID;
}

bool sDiagLogConfigReq::GetEquipIDForReq(eLogEquipID& equipment) const {
    const unsigned int operation = GetRequestedOp();
    if (operation != LOG_CONFIG_SET_MASK && operation != LOG_CONFIG_GET_MASK) {
        return false;
    }
    const unsigned int id = ReadU32(Bytes() + REQ_EQUIP_OFFSET);
    if (id > LOG_EQUIP_LAST) {
        return false;
    }
    equipment = static_cast<eLogEquipID>(id);
    return true;
}

const unsigned char* sDiagLogConfigReq::GetLogMask(unsigned int& bitCount, eLogEquipID& equipment) const {
    if (GetRequestedOp() != LOG_CONFIG_SET_MASK) {
        return nullptr;
    }
    bitCount = ReadU32(Bytes() + REQ_BITS_OFFSET);
    equipment = static_cast<eLogEquipID>(ReadU32(Bytes() + REQ_EQUIP_OFFSET));
    return Bytes() + REQ_MASK_OFFSET;
}

bool sDiagLogConfigReq::GetRequestedLogCodes(unsigned int& bitCount, eLogEquipID& equipment,
                                             std::set<unsigned int>& codes) const {
    const unsigned char* mask = GetLogMask(bitCount, equipment);
    if (mask == nullptr) {
        return false;
    }
    BuildLogCodesFromMask(mask, bitCount, equipment, codes, false);
    return true;
}

sSharedBuffer* sDiagLogConfigReq::BuildDisableLoggingReq() {
    unsigned char* bytes = nullptr;
    return NewRequest(REQ_PLAIN_SIZE, LOG_CONFIG_DISABLE, &bytes);
}

sSharedBuffer* sDiagLogConfigReq::BuildGetRangesReq() {
    unsigned char* bytes = nullptr;
    return NewRequest(REQ_PLAIN_SIZE, LOG_CONFIG_GET_RANGES, &bytes);
}

sSharedBuffer* sDiagLogConfigReq::BuildGetMaskReq(eLogEquipID equipment) {
    if (equipment > LOG_EQUIP_LAST) {
        return nullptr;
    }
    unsigned char* bytes = nullptr;
    sSharedBuffer* packet = NewRequest(REQ_GET_MASK_SIZE, LOG_CONFIG_GET_MASK, &bytes);
    if (packet != nullptr) {
        WriteU32(bytes + REQ_EQUIP_OFFSET, equipment);
    }
    return packet;
}

sSharedBuffer* sDiagLogConfigReq::BuildSetMaskReq(unsigned int bitCount, eLogEquipID equipment,
                                                  const std::set<unsigned int>& codes) {
    if (bitCount == 0 || bitCount > MAX_LOG_MASK_BITS || equipment > LOG_EQUIP_LAST) {
        return nullptr;
    }
    unsigned char* bytes = nullptr;
    sSharedBuffer* packet = NewRequest(REQ_MASK_OFFSET + LogMaskBytes(bitCount), LOG_CONFIG_SET_MASK, &bytes);
    if (packet != nullptr) {
        WriteU32(bytes + REQ_EQUIP_OFFSET, equipment);
        WriteU32(bytes + REQ_BITS_OFFSET, bitCount);
        BuildLogMaskFromCodes(bytes + REQ_MASK_OFFSET, bitCount, equipment, codes, false);
    }
    return packet;
}

// Response -----------------------------------------------------------------------------------------------

sDiagLogConfigRsp::sDiagLogConfigRsp(sSharedBuffer* buffer) : sDiagBuffer(buffer) {
    sDiagLogConfigRsp::Validate();
}

bool sDiagLogConfigRsp::Validate() {
    const bool wasValid = IsValid();
    mValid = false;
    if (!wasValid || Protocol() != PROTOCOL_DIAG_FROM_DEVICE || Bytes()[0] != DIAG_CMD_LOG_CONFIG ||
        Size() < RSP_MIN_SIZE || ReadU32(Bytes() + RSP_STATUS_OFFSET) >= RSP_STATUS_LIMIT) {
        return false;
    }
    const unsigned int size = Size();
    switch (ReadU32(Bytes() + OP_OFFSET)) {
        case LOG_CONFIG_DISABLE:
        case LOG_CONFIG_SET_MASK:
            mValid = true;
            break;
        case LOG_CONFIG_GET_RANGES:
            mValid = size >= RSP_RANGES_OFFSET + 4 * EQUIP_COUNT;
            break;
        case LOG_CONFIG_GET_MASK:
            // The bit count is not bounded here; the sum cannot overflow 64 bits.
            mValid = size >= RSP_MASK_OFFSET &&
                     size >= RSP_MASK_OFFSET + static_cast<unsigned long long>(
                                                   LogMaskBytes(ReadU32(Bytes() + RSP_BITS_OFFSET)));
            break;
        default:  // operation 2, and 5 and above
            break;
    }
    return mValid;
}

bool sDiagLogConfigRsp::GetStatus() const {
    return IsValid() && ReadU32(Bytes() + RSP_STATUS_OFFSET) == 0;
}

bool sDiagLogConfigRsp::HasOpAndSuccess(unsigned int operation) const {
    return GetStatus() && ReadU32(Bytes() + OP_OFFSET) == operation;
}

bool sDiagLogConfigRsp::DoesContainBits() const {
    return HasOpAndSuccess(LOG_CONFIG_GET_RANGES);
}

bool sDiagLogConfigRsp::DoesContainLogMask() const {
    return HasOpAndSuccess(LOG_CONFIG_GET_MASK);
}

std::map<eLogEquipID, unsigned int> sDiagLogConfigRsp::GetSupportedBits() const {
    std::map<eLogEquipID, unsigned int> bits;
    if (DoesContainBits()) {
        for (unsigned int id = 0; id < EQUIP_COUNT; ++id) {
            bits[static_cast<eLogEquipID>(id)] = ReadU32(Bytes() + RSP_RANGES_OFFSET + 4 * id);
        }
    }
    return bits;
}

const unsigned char* sDiagLogConfigRsp::GetLogMask(unsigned int& bitCount, eLogEquipID& equipment) const {
    if (!DoesContainLogMask()) {
        return nullptr;
    }
    equipment = static_cast<eLogEquipID>(ReadU32(Bytes() + RSP_EQUIP_OFFSET));
    bitCount = ReadU32(Bytes() + RSP_BITS_OFFSET);
    return Bytes() + RSP_MASK_OFFSET;
}

bool sDiagLogConfigRsp::GetValidLogCodes(unsigned int& bitCount, eLogEquipID& equipment,
                                         std::set<unsigned int>& codes) const {
    const unsigned char* mask = GetLogMask(bitCount, equipment);
    if (mask == nullptr) {
        return false;
    }
    BuildLogCodesFromMask(mask, bitCount, equipment, codes, false);
    return true;
}
