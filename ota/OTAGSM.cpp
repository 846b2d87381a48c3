// GSM and UMTS signalling logs, each with one layout and no version field:
//   GSM RR 0x512F            channel/direction u8 | message type u8 | length u8 | message (to the end)
//   GSM RR 0x5B2F            subscription u8, then the 0x512F layout
//   GPRS MAC 0x5226          channel/direction u8 | message type u8 | length u8 | message
//   GPRS GMM/SM 0x5230       direction u8 | message type u8 | length u16 | message | trailing bytes
//   UMTS NAS 0x713A          direction u8 | length u32 | message (to the end)
//   UMTS NAS 0x7B3A          subscription u8, then the 0x713A layout
#include "ota/OTAFamilies.h"

namespace {

const uint16_t kGSMRRDualSIM = 0x5B2F;
const uint16_t kUMTSNASDualSIM = 0x7B3A;
const uint32_t kDownlinkBit = 0x80;  // GSM RR and GPRS MAC channel byte
const uint32_t kChannelMask = 0x7F;
const uint32_t kGPRSMACNoChannel = 0xFF;  // not a message

// The subscription byte of a dual-SIM log. A value of 0 is the first SIM, as for 0 in the wrapper-less
// logs of single-SIM handsets.
bool ReadSubscription(const sOTAPayload& payload, sOTAMessage& out) {
    uint32_t subscription = 0;
    if (!ReadField(payload, 0, 1, subscription)) {
        return false;
    }
    out.mSubscription = subscription == 0 ? 1 : subscription;
    return true;
}

// GSM RR and GPRS MAC: channel/direction, message type, u8 length, message. `exact`: the message runs
// to the end of the payload.
eOTAExtractStatus ExtractChannelTypeLength(const sOTAPayload& payload, size_t at, bool exact,
                                           uint32_t& channel, sOTAMessage& out) {
    uint32_t length = 0;
    if (!ReadField(payload, at, 1, channel) || !ReadField(payload, at + 2, 1, length) ||
        (exact && payload.mSize != at + 3 + length) || !SetMessage(payload, at + 3, length, out)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    out.mDirection = (channel & kDownlinkBit) != 0 ? OTA_DIRECTION_DOWNLINK : OTA_DIRECTION_UPLINK;
    return OTA_EXTRACT_MESSAGE;
}

}  // namespace

eOTAExtractStatus ExtractGSMRR(const sOTAPayload& payload, sOTAMessage& out, cOTASegments*) {
    const size_t at = payload.mCode == kGSMRRDualSIM ? 1 : 0;
    if (at != 0 && !ReadSubscription(payload, out)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    uint32_t channel = 0;
    const eOTAExtractStatus status = ExtractChannelTypeLength(payload, at, true, channel, out);
    if (status != OTA_EXTRACT_MESSAGE) {
        return status;
    }
    if ((channel & kChannelMask) > OTA_GSM_RACH_NO_DELAY) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    out.mProtocol = OTA_PROTOCOL_GSM_RR;
    out.mChannel = static_cast<uint8_t>(channel & kChannelMask);
    return OTA_EXTRACT_MESSAGE;
}

// Nothing says the payload ends with the message: the length slices it, as for 0x5230.
eOTAExtractStatus ExtractGPRSMAC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments*) {
    uint32_t channel = 0;
    const eOTAExtractStatus status = ExtractChannelTypeLength(payload, 0, false, channel, out);
    if (status != OTA_EXTRACT_MESSAGE) {
        return status;
    }
    if (channel == kGPRSMACNoChannel) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    out.mProtocol = OTA_PROTOCOL_GPRS_MAC;
    out.mChannel = static_cast<uint8_t>(channel & kChannelMask);
    return OTA_EXTRACT_MESSAGE;
}

// Direction 0 is uplink here, the opposite of 0x713A. The bytes after the message are not part of it.
eOTAExtractStatus ExtractGPRSGMM(const sOTAPayload& payload, sOTAMessage& out, cOTASegments*) {
    uint32_t direction = 0, length = 0;
    if (!ReadField(payload, 0, 1, direction) || !ReadField(payload, 2, 2, length) ||
        !SetMessage(payload, 4, length, out)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    if (direction > 1) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    out.mProtocol = OTA_PROTOCOL_GSM_L3;
    out.mDirection = direction == 0 ? OTA_DIRECTION_UPLINK : OTA_DIRECTION_DOWNLINK;
    return OTA_EXTRACT_MESSAGE;
}

// Direction 0 is downlink (to the handset), 1 uplink.
eOTAExtractStatus ExtractUMTSNAS(const sOTAPayload& payload, sOTAMessage& out, cOTASegments*) {
    const size_t at = payload.mCode == kUMTSNASDualSIM ? 1 : 0;
    if (at != 0 && !ReadSubscription(payload, out)) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    uint32_t direction = 0, length = 0;
    if (!ReadField(payload, at, 1, direction) || !ReadField(payload, at + 1, 4, length) ||
        payload.mSize - (at + 5) != length) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    if (direction > 1) {
        return OTA_EXTRACT_UNKNOWN_CHANNEL;
    }
    out.mProtocol = OTA_PROTOCOL_GSM_L3;
    out.mDirection = direction == 0 ? OTA_DIRECTION_DOWNLINK : OTA_DIRECTION_UPLINK;
    SetMessage(payload, at + 5, length, out);
    return OTA_EXTRACT_MESSAGE;
}
