// Extended log mask requests and responses (command code 93). Their masks are of equipment 1 and run
// most significant bit first.
#include "diag/LogConfig.h"
#include "diag/LogMask.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int BITS_OFFSET = 1;
const unsigned int MASK_OFFSET = 3;

}  // namespace

// Request ------------------------------------------------------------------------------------------------

sDiagLogMaskExReq::sDiagLogMaskExReq(sSharedBuffer* buffer) : sDiagBuffer(buffer) {
    sDiagLogMaskExReq::Validate();
}

bool sDiagLogMaskExReq::Validate() {
    const bool wasValid = IsValid();
    mValid = false;
    if (!wasValid || Protocol() != PROTOCOL_DIAG_TO_DEVICE || Bytes()[0] != DIAG_CMD_LOG_MASK_EX ||
        Size() < MASK_OFFSET) {
        return false;
    }
    const unsigned int bitCount = ReadU16(Bytes() + BITS_OFFSET);
    // A bit count of 0 with no mask asks for the supported count.
    mValid = bitCount <= MAX_LOG_MASK_BITS && Size() == MASK_OFFSET + LogMaskBytes(bitCount);
    return mValid;
}

bool sDiagLogMaskExReq::DoesContainLogMask() const {
    return IsValid() && Size() > MASK_OFFSET;
}

unsigned int sDiagLogMaskExReq::GetRequestedBits() const {
    return IsValid() ? ReadU16(Bytes() + BITS_OFFSET) : 0;
}

const unsigned char* sDiagLogMaskExReq::GetLogMask(unsigned int& bitCount) const {
    if (!DoesContainLogMask()) {
        return nullptr;
    }
    bitCount = ReadU16(Bytes() + BITS_OFFSET);
    return Bytes() + MASK_OFFSET;
}

bool sDiagLogMaskExReq::GetRequestedLogCodes(unsigned int& bitCount, std::set<unsigned int>& codes) const {
    const unsigned char* mask = GetLogMask(bitCount);
    if (mask == nullptr) {
        return false;
    }
    BuildLogCodesFromMask(mask, bitCount, LOG_EQUIP_EXTENDED_MASK, codes, true);
    return true;
}

sSharedBuffer* sDiagLogMaskExReq::BuildGetBitCountReq() {
    const unsigned char noBits[2] = {0, 0};
    return BuildBuffer(DIAG_CMD_LOG_MASK_EX, true, noBits, sizeof noBits);
}

sSharedBuffer* sDiagLogMaskExReq::BuildSetMaskReq(unsigned int bitCount,
                                                  const std::set<unsigned int>& codes) {
    if (bitCount == 0 || bitCount > MAX_LOG_MASK_BITS) {
        return nullptr;
    }
    unsigned char* bytes = nullptr;
    sSharedBuffer* packet =
        NewDiagPacket(MASK_OFFSET + LogMaskBytes(bitCount), PROTOCOL_DIAG_TO_DEVICE, &bytes);
    if (packet != nullptr) {
        bytes[0] = DIAG_CMD_LOG_MASK_EX;
        WriteU16(bytes + BITS_OFFSET, bitCount);
        BuildLogMaskFromCodes(bytes + MASK_OFFSET, bitCount, LOG_EQUIP_EXTENDED_MASK, codes, true);
    }
    return packet;
}

// Response -----------------------------------------------------------------------------------------------

sDiagLogMaskExRsp::sDiagLogMaskExRsp(sSharedBuffer* buffer) : sDiagBuffer(buffer) {
    sDiagLogMaskExRsp::Validate();
}

bool sDiagLogMaskExRsp::Validate() {
    const bool wasValid = IsValid();
    mValid = false;
    if (!wasValid || Protocol() != PROTOCOL_DIAG_FROM_DEVICE || Bytes()[0] != DIAG_CMD_LOG_MASK_EX) {
        return false;
    }
    if (Size() == 1) {
        mValid = true;  // the bare command code: no mask
    } else if (Size() >= MASK_OFFSET) {
        const unsigned int bitCount = ReadU16(Bytes() + BITS_OFFSET);
        mValid =
            bitCount != 0 && bitCount <= MAX_LOG_MASK_BITS && Size() >= MASK_OFFSET + LogMaskBytes(bitCount);
    }
    return mValid;
}

bool sDiagLogMaskExRsp::DoesContainLogMask() const {
    return IsValid() && Size() >= 2;
}

unsigned int sDiagLogMaskExRsp::GetSupportedBits() const {
    return DoesContainLogMask() ? ReadU16(Bytes() + BITS_OFFSET) : 0;
}

const unsigned char* sDiagLogMaskExRsp::GetLogMask(unsigned int& bitCount) const {
    if (!DoesContainLogMask()) {
        return nullptr;
    }
    bitCount = ReadU16(Bytes() + BITS_OFFSET);
    return Bytes() + MASK_OFFSET;
}

bool sDiagLogMaskExRsp::GetValidLogCodes(unsigned int& bitCount, std::set<unsigned int>& codes) const {
    const unsigned char* mask = GetLogMask(bitCount);
    if (mask == nullptr) {
        return false;
    }
    BuildLogCodesFromMask(mask, bitCount, LOG_EQUIP_EXTENDED_MASK, codes, true);
    return true;
}
