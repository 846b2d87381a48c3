// RRC state changes among the events of an event report (command 0x60): u8 0x60, u16 length of the events
// that follow, then the events. Each event is a u16 word (id in bits 0..11, payload-length code in bits
// 13..14, short timestamp in bit 15), the timestamp (8 bytes, or 2 with the short flag), then the payload:
// none, 1 byte, 2 bytes, or a u8 count followed by that many bytes.
#include "meas/MeasFamilies.h"

namespace {

const size_t kEventsAt = 3;
const size_t kIdBits = 12;
const size_t kLongTimestamp = 8;
const size_t kShortTimestamp = 2;
const uint8_t kCountedPayload = 3;  // the length code whose payload starts with its own byte count

struct sStateName {
    uint8_t mRaw;
    eRRCState mState;
    const char* mName;
};

// Event 1606, LTE RRC state change: a 1-byte state.
const sStateName kLTEStates[] = {
    {1, RRC_STATE_IDLE, "IDLE_NOT_CAMPED"},  {2, RRC_STATE_IDLE, "IDLE_CAMPED"},
    {3, RRC_STATE_CONNECTING, "CONNECTING"}, {4, RRC_STATE_CONNECTED, "CONNECTED"},
    {7, RRC_STATE_CLOSING, "CLOSING"},
};

const struct sStateEvent {
    uint16_t mId;
    eRadioTechnology mTechnology;
    const sStateName* mStates;
    size_t mStateCount;
} kStateEvents[] = {
    {1606, RADIO_LTE, kLTEStates, sizeof kLTEStates / sizeof kLTEStates[0]},
};

const sStateEvent* StateEventOf(unsigned int id) {
    for (const sStateEvent& event : kStateEvents) {
        if (event.mId == id) {
            return &event;
        }
    }
    return nullptr;
}

void AddState(const sStateEvent& event, uint8_t raw, uint64_t timestamp, sMeasLog& out) {
    if (out.mStateCount >= kMeasMaxStates) {
        ++out.mStatesDropped;
        return;
    }
    sRRCStateChange& change = out.mStates[out.mStateCount++];
    change = sRRCStateChange();
    change.mTechnology = event.mTechnology;
    change.mRaw = raw;
    change.mName = "UNKNOWN";  // a value no source names: kept raw, state unknown
    for (size_t i = 0; i < event.mStateCount; ++i) {
        if (event.mStates[i].mRaw == raw) {
            change.mState = event.mStates[i].mState;
            change.mName = event.mStates[i].mName;
        }
    }
    change.mTimestamp = timestamp;
    out.mTechnology = event.mTechnology;
}

}  // namespace

eMeasStatus ExtractEventReport(const unsigned char* report, size_t size, sMeasLog& out) {
    const sMeasPayload packet = {report, size, 0};
    uint64_t length = 0;
    if (!ReadUnsigned(packet, 1, 2, length) || length != size - kEventsAt) {
        return MEAS_BAD_LENGTH;
    }
    for (size_t at = kEventsAt; at < size;) {
        uint64_t word = 0;
        if (!ReadUnsigned(packet, at, 2, word)) {
            return MEAS_BAD_LENGTH;
        }
        at += 2;
        const bool shortTimestamp = Bits(word, 15, 15) != 0;
        const size_t timestampSize = shortTimestamp ? kShortTimestamp : kLongTimestamp;
        uint64_t timestamp = 0;
        if (!ReadUnsigned(packet, at, static_cast<unsigned int>(timestampSize), timestamp)) {
            return MEAS_BAD_LENGTH;
        }
        at += timestampSize;
        const unsigned int code = Bits(word, 13, 14);
        uint64_t payloadSize = code;
        if (code == kCountedPayload) {
            if (!ReadUnsigned(packet, at, 1, payloadSize)) {
                return MEAS_BAD_LENGTH;
            }
            ++at;
        }
        if (!Fits(packet, at, payloadSize)) {
            return MEAS_BAD_LENGTH;
        }
        const sStateEvent* event = StateEventOf(Bits(word, 0, kIdBits - 1));
        if (event != nullptr) {
            // Every state event carries one byte. A short timestamp holds only the low bits of the time,
            // which is left to the item's own.
            if (payloadSize != 1) {
                return MEAS_BAD_LENGTH;
            }
            AddState(*event, packet.mData[at], shortTimestamp ? 0 : timestamp, out);
        }
        at += payloadSize;
    }
    if (out.mStateCount == 0 && out.mStatesDropped == 0) {
        return MEAS_NOT_MEASUREMENT;
    }
    out.mKind = MEAS_KIND_RRC_STATE;
    return MEAS_OK;
}
