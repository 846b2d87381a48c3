// WCDMA RRC signalling logs (0x412F). The channel-type byte picks one of three layouts:
//   0-8        channel | header u8 | length u16 | message                     payload = 4 + length
//   254, 255   the same layout: a system-information block the store rebuilt from segments (from the BCH,
//              from the FACH); the message is the SIB-Type byte and then the block
//   0x80-0x88  channel | 0x80, header u8 | length u16 | UARFCN u16 | PSC u16 | message   payload = 8 + length
//   0x89, 0xF0 the newer layout carrying one block (extension SIB, decoded SIB): a SIB-type byte, counted
//              in the length, then the block
#include "ota/OTAFamilies.h"
#include "wcdma/WCDMARRCFormat.h"

namespace {

const uint32_t kNewerLayoutBit = 0x80;
const uint32_t kNewerExtensionSIB = 0x89;
const uint32_t kNewerDecodedSIB = 0xF0;
const size_t kOldMessageAt = 4;
const size_t kNewerUARFCNAt = 4;
const size_t kNewerPSCAt = 6;
const size_t kNewerMessageAt = 8;

// The newer layout numbers its blocks 0-30 as the SIB-Type enumeration does, but 31 is SIB19 there
// (in the enumeration it is the extension type), and 66 and 67 are SIB11bis and SIB19.
bool NewerSIBType(uint32_t logged, uint8_t& sibType) {
    if (logged < OTA_WCDMA_SIB_EXTENSION_TYPE) {
        sibType = static_cast<uint8_t>(logged);
    } else if (logged == OTA_WCDMA_SIB_EXTENSION_TYPE || logged == OTA_WCDMA_SIB19) {
        sibType = OTA_WCDMA_SIB19;
    } else if (logged == OTA_WCDMA_SIB11BIS) {
        sibType = OTA_WCDMA_SIB11BIS;
    } else {
        return false;
    }
    return true;
}

}  // namespace

eOTAExtractStatus ExtractWCDMARRC(const sOTAPayload& payload, sOTAMessage& out) {
    uint32_t channel = 0, length = 0;
    if (!ReadField(payload, 0, 1, channel) || !ReadField(payload, 2, 2, length)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    const bool rebuilt = channel == REBUILT_CHANNEL_BCCH_BCH || channel == REBUILT_CHANNEL_BCCH_FACH;
    const bool oneBlock = rebuilt || channel == kNewerExtensionSIB || channel == kNewerDecodedSIB;
    if (!oneBlock && (channel & ~kNewerLayoutBit) > OTA_WCDMA_MSCH) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    const bool newer = (channel & kNewerLayoutBit) != 0 && !rebuilt;
    const size_t messageAt = newer ? kNewerMessageAt : kOldMessageAt;
    if (payload.mSize < messageAt || payload.mSize - messageAt != length) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    if (oneBlock) {
        if (length == 0) {
            return OTA_EXTRACT_BAD_LENGTH;  // not even the block type
        }
        const uint32_t logged = payload.mData[messageAt];
        if (rebuilt ? logged > OTA_WCDMA_SIB_EXTENSION_TYPE : !NewerSIBType(logged, out.mSIBType)) {
            return OTA_EXTRACT_UNKNOWN_CHANNEL;
        }
        if (rebuilt) {
            out.mSIBType = static_cast<uint8_t>(logged);
        }
        out.mChannel = OTA_WCDMA_SIB;
        SetMessage(payload, messageAt + 1, length - 1, out);
    } else {
        out.mChannel = static_cast<uint8_t>(channel & ~kNewerLayoutBit);
        SetMessage(payload, messageAt, length, out);
    }
    out.mProtocol = OTA_PROTOCOL_WCDMA_RRC;
    out.mDirection = out.mChannel == OTA_WCDMA_UL_CCCH || out.mChannel == OTA_WCDMA_UL_DCCH
                         ? OTA_DIRECTION_UPLINK
                         : OTA_DIRECTION_DOWNLINK;
    if (newer) {
        uint32_t uarfcn = 0, psc = 0;
        ReadField(payload, kNewerUARFCNAt, 2, uarfcn);
        ReadField(payload, kNewerPSCAt, 2, psc);
        out.mChannelNumber = uarfcn;
        out.mCell = static_cast<uint16_t>(psc);
        out.mContext = OTA_HAS_CHANNEL_NUMBER | OTA_HAS_CELL;
    }
    return OTA_EXTRACT_MESSAGE;
}
