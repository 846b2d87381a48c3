// Log packets, and the validation of OTA logs.
#include "diag/DiagLog.h"

#include <cstring>

#include "diag/OTACodes.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int LENGTH_OFFSET = 2;
const unsigned int LENGTH_COPY_OFFSET = 4;
const unsigned int CODE_OFFSET = 6;
const unsigned int TIMESTAMP_OFFSET = 8;
const unsigned int PAYLOAD_OFFSET = 16;
const unsigned int HEADER_AFTER_LENGTH = 12;  // the length field counts the code, timestamp and payload
const unsigned int SHORT_LOG_SIZE = 4;        // the form with a length of 0 and nothing after it
const unsigned int MAX_LOG_PAYLOAD = MAX_DIAG_PACKET_SIZE - PAYLOAD_OFFSET;

}  // namespace

// sDiagLog -----------------------------------------------------------------------------------------------

sDiagLog::sDiagLog(sSharedBuffer* buffer) : sDiagBuffer(buffer) {
    sDiagLog::Validate();
}

bool sDiagLog::Validate() {
    const bool wasValid = IsValid();
    mValid = false;
    if (!wasValid || Protocol() != PROTOCOL_DIAG_FROM_DEVICE || Bytes()[0] != DIAG_CMD_LOG) {
        return false;
    }
    const unsigned int size = Size();
    if (size >= PAYLOAD_OFFSET) {
        const unsigned int length = ReadU16(Bytes() + LENGTH_OFFSET);
        mValid = length == ReadU16(Bytes() + LENGTH_COPY_OFFSET) && length + 4 == size;
    } else {
        mValid = size == SHORT_LOG_SIZE && ReadU16(Bytes() + LENGTH_OFFSET) == 0;
    }
    return mValid;
}

const unsigned char* sDiagLog::GetLog() const {
    return IsValid() ? Bytes() : nullptr;
}

// The code and the timestamp of the 4-byte form lie past the packet: they read as 0.
unsigned int sDiagLog::GetLogCode() const {
    return IsValid() ? sBoundedBytes{Bytes(), Size()}.U16(CODE_OFFSET) : 4294967295u;
}

const unsigned char* sDiagLog::GetLogData(unsigned int& length) const {
    length = 0;
    if (!IsValid()) {
        return nullptr;
    }
    // Wraps for the 4-byte form (kept as it is).
    length = ReadU16(Bytes() + LENGTH_OFFSET) - HEADER_AFTER_LENGTH;
    return length == 0 ? nullptr : Bytes() + PAYLOAD_OFFSET;
}

unsigned long long sDiagLog::GetTimestamp() const {
    return IsValid() ? sBoundedBytes{Bytes(), Size()}.U64(TIMESTAMP_OFFSET) : 0;
}

sSharedBuffer* sDiagLog::BuildLog(unsigned int logCode, unsigned long long timestamp,
                                  const unsigned char* payload, unsigned int length) {
    const unsigned int n = payload == nullptr ? 0 : (length < MAX_LOG_PAYLOAD ? length : MAX_LOG_PAYLOAD);
    unsigned char* bytes = nullptr;
    sSharedBuffer* packet = NewDiagPacket(PAYLOAD_OFFSET + n, PROTOCOL_DIAG_FROM_DEVICE, &bytes);
    if (packet == nullptr) {
        return nullptr;
    }
    WriteU16(bytes, DIAG_CMD_LOG);  // command code and a clear more-data flag
    WriteU16(bytes + LENGTH_OFFSET, HEADER_AFTER_LENGTH + n);
    WriteU16(bytes + LENGTH_COPY_OFFSET, HEADER_AFTER_LENGTH + n);
    WriteU16(bytes + CODE_OFFSET, logCode);
    WriteU64(bytes + TIMESTAMP_OFFSET, timestamp);
    if (n != 0) {
        memcpy(bytes + PAYLOAD_OFFSET, payload, n);
    }
    return packet;
}

// sDiagOTALog --------------------------------------------------------------------------------------------

sDiagOTALog::sDiagOTALog(sSharedBuffer* buffer) : sDiagLog(buffer) {
    sDiagOTALog::Validate();
}

bool sDiagOTALog::Validate() {
    if (!sDiagLog::Validate()) {
        return false;
    }
    // The 4-byte form has neither a code nor a payload of its own (both would lie past the packet).
    if (Size() == SHORT_LOG_SIZE) {
        mValid = false;
        return false;
    }
    const unsigned int code = GetLogCode();
    unsigned int length = 0;
    const unsigned char* payload = GetLogData(length);
    switch (OTATechnologyOf(code)) {
        case OTA_CDMA:
            mValid = ValidateCDMA(code, payload, length);
            break;
        case OTA_CDMA1XEV:
            mValid = ValidateCDMA1xEV(code, payload, length);
            break;
        case OTA_GSM:
            mValid = ValidateGSM(code, payload, length);
            break;
        case OTA_UMTS:
            mValid = ValidateUMTS(code, payload, length);
            break;
        case OTA_WCDMA:
            mValid = ValidateWCDMA(code, payload, length);
            break;
        case OTA_UMB:
            mValid = ValidateUMB(code, payload, length);
            break;
        case OTA_WLAN:
            mValid = ValidateWLAN(code, payload, length);
            break;
        case OTA_UNCLASSIFIED:
            mValid = true;
            break;
        case OTA_NONE:
            mValid = false;
            break;
    }
    return mValid;
}

bool sDiagOTALog::ValidateCDMA(unsigned int logCode, const unsigned char* payload, unsigned int length) {
    const unsigned int minimum = logCode == OTA_CDMA_5000 || logCode == OTA_CDMA_5001 ? 4 : 2;
    return payload != nullptr && length >= minimum;
}

bool sDiagOTALog::ValidateCDMA1xEV(unsigned int logCode, const unsigned char* payload, unsigned int length) {
    const unsigned int minimum = logCode == OTA_1XEV_4229 || logCode == OTA_1XEV_4230 ? 2 : 12;
    return payload != nullptr && length >= minimum;
}

bool sDiagOTALog::ValidateGSM(unsigned int, const unsigned char* payload, unsigned int length) {
    return payload != nullptr && length >= 2;
}

bool sDiagOTALog::ValidateUMTS(unsigned int logCode, const unsigned char* payload, unsigned int length) {
    return payload != nullptr && length >= (logCode == OTA_UMTS_31546 ? 8u : 7u);
}

bool sDiagOTALog::ValidateWCDMA(unsigned int, const unsigned char* payload, unsigned int length) {
    // Channel type, a byte not read, the 16-bit RRC message length, the message.
    return payload != nullptr && length >= 4 && ReadU16(payload + 2) + 4 == length;
}

bool sDiagOTALog::ValidateUMB(unsigned int, const unsigned char* payload, unsigned int length) {
    return payload != nullptr && length >= 1;
}

bool sDiagOTALog::ValidateWLAN(unsigned int, const unsigned char* payload, unsigned int length) {
    return payload != nullptr && length >= 1;
}
