// WCDMA RRC state (0x4125): one byte, the state the RRC entered. A value outside the published six is
// kept raw, with the state unknown, and counted as out of range.
#include "meas/MeasFamilies.h"

namespace {

// The timeline's coarse state of each: CELL_FACH and CELL_DCH hold dedicated resources, and CELL_PCH and
// URA_PCH, though paged like idle, keep the RRC connection and its context (no setup to leave them), so
// all four are connected; only DISCONNECTED has no connection.
const struct sState {
    eRRCState mState;
    const char* mName;
} kStates[] = {
    {RRC_STATE_IDLE, "DISCONNECTED"},      // 0
    {RRC_STATE_CONNECTING, "CONNECTING"},  // 1
    {RRC_STATE_CONNECTED, "CELL_FACH"},    // 2
    {RRC_STATE_CONNECTED, "CELL_DCH"},     // 3
    {RRC_STATE_CONNECTED, "CELL_PCH"},     // 4
    {RRC_STATE_CONNECTED, "URA_PCH"},      // 5
};

const size_t kStateAt = 0;

}  // namespace

eMeasStatus ExtractWCDMARRCState(const sMeasPayload& payload, sMeasLog& out) {
    uint64_t raw = 0;
    if (!ReadUnsigned(payload, kStateAt, 1, raw)) {
        return MEAS_BAD_LENGTH;
    }
    sRRCStateChange& change = out.mStates[0];
    change = sRRCStateChange();
    change.mTechnology = RADIO_WCDMA;
    change.mRaw = static_cast<uint8_t>(raw);
    if (raw < sizeof kStates / sizeof kStates[0]) {
        change.mState = kStates[raw].mState;
        change.mName = kStates[raw].mName;
    } else {
        ++out.mOutOfRange;
    }
    out.mStateCount = 1;
    out.mKind = MEAS_KIND_RRC_STATE;
    out.mTechnology = RADIO_WCDMA;
    return MEAS_OK;
}
