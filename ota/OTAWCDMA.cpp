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

// How the message of a layout begins: directly, or with the type of the one block it carries, numbered
// as the SIB-Type enumeration (the store's rebuilt blocks) or as the newer layout numbers it.
enum eBlockType : uint8_t { NO_BLOCK_TYPE, SIB_TYPE_ENUMERATION, NEWER_SIB_TYPE };

struct sWCDMALayout {
    uint8_t mFirst, mLast;  // channel-type bytes
    uint8_t mMessageAt;     // the length word counts the bytes from here to the end
    bool mRadioFields;      // UARFCN u16 at 4, PSC u16 at 6
    eBlockType mBlockType;
};

const sWCDMALayout kLayouts[] = {
    {0x00, 0x08, 4, false, NO_BLOCK_TYPE},
    {0x80, 0x88, 8, true, NO_BLOCK_TYPE},
    {0x89, 0x89, 8, true, NEWER_SIB_TYPE},  // extension SIB
    {0xF0, 0xF0, 8, true, NEWER_SIB_TYPE},  // decoded SIB
    {REBUILT_CHANNEL_BCCH_BCH, REBUILT_CHANNEL_BCCH_FACH, 4, false, SIB_TYPE_ENUMERATION},
};
const uint32_t kChannelBits = 0x7F;  // the newer layout's channel types are the old ones + 0x80
const size_t kUARFCNAt = 4;
const size_t kPSCAt = 6;

// The newer layout numbers its blocks 0-30 as the SIB-Type enumeration does, but 31 is SIB19 there
// (in the enumeration it is the extension type), and 66 and 67 are SIB11bis and SIB19.
bool BlockType(eBlockType numbering, uint32_t logged, uint8_t& sibType) {
    if (logged < OTA_WCDMA_SIB_EXTENSION_TYPE ||
        (numbering == SIB_TYPE_ENUMERATION && logged == OTA_WCDMA_SIB_EXTENSION_TYPE)) {
        sibType = static_cast<uint8_t>(logged);
    } else if (numbering == NEWER_SIB_TYPE &&
               (logged == OTA_WCDMA_SIB_EXTENSION_TYPE || logged == OTA_WCDMA_SIB19)) {
        sibType = OTA_WCDMA_SIB19;
    } else if (numbering == NEWER_SIB_TYPE && logged == OTA_WCDMA_SIB11BIS) {
        sibType = OTA_WCDMA_SIB11BIS;
    } else {
        return false;
    }
    return true;
}

}  // namespace

eOTAExtractStatus ExtractWCDMARRC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments*) {
    uint32_t channel = 0, length = 0;
    if (!ReadField(payload, 0, 1, channel) || !ReadField(payload, 2, 2, length)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    const sWCDMALayout* layout = nullptr;
    for (const sWCDMALayout& candidate : kLayouts) {
        layout = channel >= candidate.mFirst && channel <= candidate.mLast ? &candidate : layout;
    }
    if (layout == nullptr) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    if (payload.mSize < layout->mMessageAt || payload.mSize - layout->mMessageAt != length) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    size_t messageAt = layout->mMessageAt;
    if (layout->mBlockType == NO_BLOCK_TYPE) {
        out.mChannel = static_cast<uint8_t>(channel & kChannelBits);
    } else {
        if (length == 0) {
            return OTA_EXTRACT_BAD_LENGTH;  // not even the block type
        }
        if (!BlockType(layout->mBlockType, payload.mData[messageAt], out.mSIBType)) {
            return OTA_EXTRACT_UNKNOWN_CHANNEL;
        }
        out.mChannel = OTA_WCDMA_SIB;
        ++messageAt;
    }
    SetMessage(payload, messageAt, payload.mSize - messageAt, out);
    out.mProtocol = OTA_PROTOCOL_WCDMA_RRC;
    out.mDirection = out.mChannel == OTA_WCDMA_UL_CCCH || out.mChannel == OTA_WCDMA_UL_DCCH
                         ? OTA_DIRECTION_UPLINK
                         : OTA_DIRECTION_DOWNLINK;
    if (layout->mRadioFields) {
        uint32_t uarfcn = 0, psc = 0;
        ReadField(payload, kUARFCNAt, 2, uarfcn);
        ReadField(payload, kPSCAt, 2, psc);
        out.mChannelNumber = uarfcn;
        out.mCell = static_cast<uint16_t>(psc);
        out.mContext = OTA_HAS_CHANNEL_NUMBER | OTA_HAS_CELL;
    }
    return OTA_EXTRACT_MESSAGE;
}
