// OTA types of the technologies whose identifiers sit at fixed byte offsets of the log payload. Reads
// beyond the payload check of a technology are deliberate (e.g. UMB reads byte 34 of a 1-byte payload):
// they land on the zeroed guard tail of every buffer the library allocates.
#include "diag/DiagLog.h"
#include "diag/OTACodes.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int LENGTH_OFFSET = 2;
const unsigned int PAYLOAD_OFFSET = 16;
const unsigned int HEADER_AFTER_LENGTH = 12;

}  // namespace

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
    unsigned int value = 0;
    switch (logCode) {
        case OTA_CDMA_4310:
        case OTA_CDMA_4311:
        case OTA_CDMA_4312:
            value = length >= 3 && (payload[0] & 0x80) != 0 ? payload[2] : payload[1];
            break;
        case OTA_CDMA_5003:
        case OTA_CDMA_5004:
        case OTA_CDMA_5005:
            value = payload[2];  // deliberately unguarded: the check asks for 2 bytes only
            break;
        case OTA_CDMA_5000:
        case OTA_CDMA_5001:
            value = payload[3];
            break;
        default:  // 4100 to 4104, 4240, 4241
            value = payload[1];
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
    const unsigned int protocol = payload[12] & 0x7F;
    const unsigned int message = protocol == 11 ? payload[13] >> 6 : payload[13];
    std::vector<unsigned int> type = {protocol, message};
    if ((protocol == 21 || protocol == 22 || protocol == 23) && payload[8] >= 32) {
        type.push_back(payload[8] >> 5);
    }
    return type;
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeGSM(unsigned int logCode, const unsigned char* payload,
                                                     unsigned int) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_GSM) {
        return {};
    }
    return {payload[0], payload[1]};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeUMTS(unsigned int logCode, const unsigned char* payload,
                                                      unsigned int) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_UMTS) {
        return {};
    }
    const unsigned int offset = logCode == OTA_UMTS_28986 ? 5 : 6;
    const unsigned int protocol = payload[offset] & 0x0F;
    unsigned int message = payload[offset + 1];
    if (protocol == 3 || protocol == 5 || protocol == 8 || protocol == 9) {
        message &= 0x3F;
    }
    return {protocol, message};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeUMB(unsigned int logCode, const unsigned char* payload,
                                                     unsigned int) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_UMB) {
        return {};
    }
    if ((payload[16] & 0x80) != 0) {
        return {ReadU16(payload + 16), payload[34]};  // offset 34 is deliberate and kept
    }
    return {payload[16], payload[17]};
}

std::vector<unsigned int> sDiagOTALog::GetOTATypeWLAN(unsigned int logCode, const unsigned char* payload,
                                                      unsigned int) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_WLAN) {
        return {};
    }
    return {payload[1]};
}
