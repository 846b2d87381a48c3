// The reader that walks the LTE and NR RRC layout tables (OTALTERRC.cpp, OTANRRRC.cpp).
#include "ota/OTAFamilies.h"

namespace {

const sRRCVersion* FindVersion(const sRRCFamily& family, uint32_t version) {
    for (size_t i = 0; i < family.mVersionCount; ++i) {
        if (version >= family.mVersions[i].mFirst && version <= family.mVersions[i].mLast) {
            return &family.mVersions[i];
        }
    }
    return nullptr;
}

bool FindChannel(const sRRCVersion& row, uint32_t pdu, uint8_t& channel) {
    for (const sPDUTable& table : row.mTables) {
        for (size_t i = 0; i < table.mCount; ++i) {
            if (table.mEntries[i].mPDU == pdu) {
                channel = table.mEntries[i].mChannel;
                return true;
            }
        }
    }
    return false;
}

}  // namespace

eOTAExtractStatus ExtractRRC(const sRRCFamily& family, const sOTAPayload& payload, sOTAMessage& out,
                             cOTASegments* segments) {
    uint32_t version = 0;
    if (!ReadField(payload, 0, family.mVersionWidth, version)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    out.mLogVersion = version;
    const sRRCVersion* row = FindVersion(family, version);
    if (row == nullptr) {
        return OTA_EXTRACT_UNSUPPORTED_VERSION;
    }
    const sRRCLayout& layout = *row->mLayout;
    uint32_t cell = 0, channelNumber = 0, frame = 0, pdu = 0, length = 0, segment = 0;
    if (!ReadField(payload, layout.mCellAt, 2, cell) ||
        !ReadField(payload, layout.mChannelNumberAt, layout.mChannelNumberWidth, channelNumber) ||
        (layout.mFrameAt != 0 && !ReadField(payload, layout.mFrameAt, 2, frame)) ||
        !ReadField(payload, layout.mPDUAt, 1, pdu) || !ReadField(payload, layout.mLengthAt, 2, length) ||
        (layout.mSegmentAt != 0 && !ReadField(payload, layout.mSegmentAt, 1, segment)) ||
        payload.mSize != layout.mMessageAt + size_t{length}) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    uint8_t channel = 0;
    if (!FindChannel(*row, pdu, channel)) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    out.mProtocol = family.mProtocol;
    out.mChannel = channel;
    out.mDirection = family.mIsUplink(channel) ? OTA_DIRECTION_UPLINK : OTA_DIRECTION_DOWNLINK;
    out.mChannelNumber = channelNumber;
    out.mCell = static_cast<uint16_t>(cell);
    out.mContext = OTA_HAS_CHANNEL_NUMBER | OTA_HAS_CELL;
    if (layout.mFrameAt != 0) {
        out.mFrame = static_cast<uint16_t>(frame >> 4);
        out.mSubFrame = static_cast<uint8_t>(frame & 0xF);
        out.mContext |= OTA_HAS_FRAME;
    }
    if (segment == 0) {
        SetMessage(payload, layout.mMessageAt, length, out);
        return OTA_EXTRACT_MESSAGE;
    }
    // A piece: the record keeps this (last) piece's radio context and points at the joined bytes.
    if (segments == nullptr) {
        return OTA_EXTRACT_SEGMENTS_INCOMPLETE;  // the extractor could not get its state
    }
    return segments->Add(family.mProtocol, out.mSubscription, channel, segment,
                         payload.mData + layout.mMessageAt, length, out.mData, out.mLength);
}
