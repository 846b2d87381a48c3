// LTE NAS (0xB0E0-0xB0E3, 0xB0EA-0xB0ED) and NR NAS (0xB800-0xB814) signalling logs: a version (u8 for
// LTE, u32 for NR; 1 is the only layout known), three release bytes, then the message to the end of the
// payload with no length field. Sub-layer, direction and security protection follow from the log code.
#include "ota/OTAFamilies.h"

namespace {

struct sNASCode {
    uint16_t mCode;
    eOTAProtocol mProtocol;
    eOTANASKind mKind;
    eOTADirection mDirection;
    bool mProtected;
};

const eOTADirection DL = OTA_DIRECTION_DOWNLINK;  // "incoming"
const eOTADirection UL = OTA_DIRECTION_UPLINK;    // "outgoing"

const sNASCode kCodes[] = {
    {0xB0E0, OTA_PROTOCOL_LTE_NAS, OTA_NAS_SESSION, DL, true},
    {0xB0E1, OTA_PROTOCOL_LTE_NAS, OTA_NAS_SESSION, UL, true},
    {0xB0E2, OTA_PROTOCOL_LTE_NAS, OTA_NAS_SESSION, DL, false},
    {0xB0E3, OTA_PROTOCOL_LTE_NAS, OTA_NAS_SESSION, UL, false},
    {0xB0EA, OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, DL, true},
    {0xB0EB, OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, UL, true},
    {0xB0EC, OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, DL, false},
    {0xB0ED, OTA_PROTOCOL_LTE_NAS, OTA_NAS_MOBILITY, UL, false},
    {0xB800, OTA_PROTOCOL_NR_NAS, OTA_NAS_SESSION, DL, false},
    {0xB801, OTA_PROTOCOL_NR_NAS, OTA_NAS_SESSION, UL, false},
    // A protected message's outer header is a mobility-management one, whatever it wraps.
    {0xB808, OTA_PROTOCOL_NR_NAS, OTA_NAS_MOBILITY, DL, true},
    {0xB809, OTA_PROTOCOL_NR_NAS, OTA_NAS_MOBILITY, UL, true},
    {0xB80A, OTA_PROTOCOL_NR_NAS, OTA_NAS_MOBILITY, DL, false},
    {0xB80B, OTA_PROTOCOL_NR_NAS, OTA_NAS_MOBILITY, UL, false},
    {0xB814, OTA_PROTOCOL_NR_NAS, OTA_NAS_MOBILITY, OTA_DIRECTION_UNKNOWN, false},  // "container" message
};

const uint32_t kNASVersion = 1;
const unsigned int kReleaseBytes = 3;

}  // namespace

eOTAExtractStatus ExtractNAS(const sOTAPayload& payload, sOTAMessage& out, cOTASegments*) {
    const sNASCode* code = nullptr;
    for (const sNASCode& candidate : kCodes) {
        code = candidate.mCode == payload.mCode ? &candidate : code;
    }
    if (code == nullptr) {
        return OTA_EXTRACT_NOT_SIGNALLING;
    }
    const unsigned int versionWidth = code->mProtocol == OTA_PROTOCOL_NR_NAS ? 4 : 1;
    uint32_t version = 0;
    if (!ReadField(payload, 0, versionWidth, version)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    out.mLogVersion = version;
    if (version != kNASVersion) {
        return OTA_EXTRACT_UNSUPPORTED_VERSION;
    }
    const size_t messageAt = versionWidth + kReleaseBytes;
    if (payload.mSize <= messageAt) {
        return OTA_EXTRACT_BAD_LENGTH;  // no message at all
    }
    out.mProtocol = code->mProtocol;
    out.mChannel = code->mKind;
    out.mDirection = code->mDirection;
    out.mSecurityProtected = code->mProtected;
    SetMessage(payload, messageAt, payload.mSize - messageAt, out);
    return OTA_EXTRACT_MESSAGE;
}
