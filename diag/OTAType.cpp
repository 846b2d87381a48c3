// OTA types of the technologies whose identifiers sit at fixed byte offsets of the log payload. Reads
// beyond the payload check of a technology are deliberate (e.g. UMB reads byte 34 of a 1-byte payload):
// they go through a bounded reader that gives 0 past the end of the packet, whoever allocated it.
#include <cstdint>

#include "diag/DiagLog.h"
#include "diag/OTACodes.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int LENGTH_OFFSET = 2;
const unsigned int PAYLOAD_OFFSET = 16;
const unsigned int HEADER_AFTER_LENGTH = 12;

}  // namespace

sBoundedBytes sDiagOTALog::Readable(const unsigned char* payload, unsigned int length) const {
    if (payload == nullptr) {
        return {nullptr, 0};
    }
    const uintptr_t start = reinterpret_cast<uintptr_t>(Bytes());
    const uintptr_t end = start + Size();
    const uintptr_t at = reinterpret_cast<uintptr_t>(payload);
    if (at >= start && at <= end) {
        return {payload, static_cast<unsigned int>(end - at)};
    }
    return {payload, length};
}

std::vector<unsigned int> sDiagOTALog::GetOTAType() const {
    if (!IsValid()) {
        return {};
    }
    const unsigned int lengthField = ReadU16(Bytes() + LENGTH_OFFSET);
    if (lengthField <= HEADER_AFTER_LENGTH) {  // no payload (a valid OTA log never has a shorter one)
        return {};
    }
    const unsigned int code = GetLogCode();
    const unsigned char* payload = Bytes() + PAYLOAD_OFFSET;
    const unsigned int length = lengthField - HEADER_AFTER_LENGTH;
    switch (OTATechnologyOf(code)) {
        case OTA_CDMA:
            return GetOTATypeCDMA(code, payload, length);
        case OTA_CDMA1XEV:
            return GetOTATypeCDMA1xEV(code, payload, length);
        case OTA_GSM:
            return GetOTATypeGSM(code, payload, length);
        case OTA_UMTS:
            return GetOTATypeUMTS(code, payload, length);
        case OTA_WCDMA:
            return GetOTATypeWCDMA(code, payload, length);
        case OTA_UMB:
            return GetOTATypeUMB(code, payload, length);
        case OTA_WLAN:
            return GetOTATypeWLAN(code, payload, length);
        default:
            return {};
    }
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeCDMA(unsigned int logCode, const unsigned char* payload,
                                                      unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_CDMA) {
        return {};
    }
    const sBoundedBytes bytes = Readable(payload, length);
    unsigned int value = 0;
    switch (logCode) {
        case OTA_CDMA_4310:
        case OTA_CDMA_4311:
        case OTA_CDMA_4312:
            value = length >= 3 && (bytes.At(0) & 0x80) != 0 ? bytes.At(2) : bytes.At(1);
            break;
        case OTA_CDMA_5003:
        case OTA_CDMA_5004:
        case OTA_CDMA_5005:
            value = bytes.At(2);  // deliberately beyond the check, which asks for 2 bytes only
            break;
        case OTA_CDMA_5000:
        case OTA_CDMA_5001:
            value = bytes.At(3);
            break;
        default:  // 4100 to 4104, 4240, 4241
            value = bytes.At(1);
            break;
    }
    switch (logCode) {
        case OTA_CDMA_4100:
        case OTA_CDMA_4103:
        case OTA_CDMA_4311:
        case OTA_CDMA_5003:
        case OTA_CDMA_5004:
        case OTA_CDMA_5000:
            value &= 0x3F;
            break;
        default:
            break;
    }
    return {value};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeCDMA1xEV(unsigned int logCode, const unsigned char* payload,
                                                          unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_CDMA1XEV || logCode == OTA_1XEV_4229 ||
        logCode == OTA_1XEV_4230 || length < 13) {
        return {};
    }
    const sBoundedBytes bytes = Readable(payload, length);
    const unsigned int protocol = bytes.At(12) & 0x7F;
    const unsigned int message =
        protocol == 11 ? bytes.At(13) >> 6 : bytes.At(13);  // 13: past a 13-byte payload
    std::vector<unsigned int> type = {protocol, message};
    if ((protocol == 21 || protocol == 22 || protocol == 23) && bytes.At(8) >= 32) {
        type.push_back(bytes.At(8) >> 5);
    }
    return type;
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeGSM(unsigned int logCode, const unsigned char* payload,
                                                     unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_GSM) {
        return {};
    }
    const sBoundedBytes bytes = Readable(payload, length);
    return {bytes.At(0), bytes.At(1)};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeUMTS(unsigned int logCode, const unsigned char* payload,
                                                      unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_UMTS) {
        return {};
    }
    const sBoundedBytes bytes = Readable(payload, length);
    const unsigned int offset = logCode == OTA_UMTS_28986 ? 5 : 6;
    const unsigned int protocol = bytes.At(offset) & 0x0F;
    unsigned int message = bytes.At(offset + 1);
    if (protocol == 3 || protocol == 5 || protocol == 8 || protocol == 9) {
        message &= 0x3F;
    }
    return {protocol, message};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeUMB(unsigned int logCode, const unsigned char* payload,
                                                     unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_UMB) {
        return {};
    }
    const sBoundedBytes bytes = Readable(payload, length);
    if ((bytes.At(16) & 0x80) != 0) {
        return {bytes.U16(16), bytes.At(34)};  // offset 34 is deliberate and kept
    }
    return {bytes.At(16), bytes.At(17)};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeWLAN(unsigned int logCode, const unsigned char* payload,
                                                      unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_WLAN) {
        return {};
    }
    return {Readable(payload, length).At(1)};
}
