// Per subscription, two tracks of serving-cell periods: the anchor (LTE, WCDMA or GSM: the cell the phone
// camps on or is connected to) and the NR leg (a secondary cell group of EN-DC, or an NR cell of its own).
// Evidence of the serving cell: serving-cell logs (authoritative for identity), serving-cell measurements
// (the primary cell) and the radio context of the LTE and WCDMA RRC logs of the dedicated and common control
// channels. A MIB is read during searches too, so it only fills the bandwidth of the cell already serving.
// The NR leg changes only with NR serving-cell logs or measurements: the first bits of a message never tell
// an NR cell change.
#include "timeline/CellTimeline.h"

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "jni/ISFTime.h"
#include "meas/MeasFamilies.h"
#include "timeline/MedianHistogram.h"
#include "timeline/SignallingBits.h"
#include "timeline/TimelineEvents.h"

namespace {

// More subscriptions than a phone has SIMs: items of further subscription ids are left out.
const size_t kMaxSubscriptions = 8;
// An EMM message logged under a security-protected code and again under a plain one: in real captures the
// two logs lie within 2 ms of each other, with no other EMM log of that direction between them.
const int64_t kNASCopyMs = 5;
// LTE values are multiples of 1/16 dB, NR values of 1/128 dB.
const unsigned int kLTESteps = 16;
const unsigned int kNRSteps = 128;

enum eCoarseState : uint8_t { COARSE_UNKNOWN = 0, COARSE_IDLE, COARSE_CONNECTED };

// What identifies a serving cell; the identity of a serving-cell log comes with it where there is one.
struct sEvidence {
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    bool mHasChannel = false;
    uint32_t mChannel = 0;
    bool mHasCell = false;
    uint16_t mCell = 0;
    const sCellInfo* mInfo = nullptr;  // not owned: lives during the call
};

struct sTrack {
    sTrack(const sRange& rsrp, const sRange& rsrq, unsigned int steps)
        : mRSRP(rsrp.mLow, rsrp.mHigh, steps), mRSRQ(rsrq.mLow, rsrq.mHigh, steps) {}
    bool mNR = false;
    bool mOpen = false;
    bool mHadPeriod = false;
    bool mEnteredByReestablishment = false;  // the open period began with a re-establishment still pending
    int64_t mLastTo = INT64_MIN;             // the end of the last closed period
    sCellPeriod mPeriod;
    cMedianHistogram mRSRP;
    cMedianHistogram mRSRQ;
};

// An EMM message logged under a security-protected code, waiting for its plain copy.
struct sProtectedEMM {
    bool mValid = false;
    int64_t mTimeMs = 0;
    sEMMReading mReading;
};

struct sSlot {
    sSlot() : mAnchor(kLTERSRP, kLTERSRQ, kLTESteps), mNR(kNRRSRP, kNRRSRQ, kNRSteps) { mNR.mNR = true; }
    bool mUsed = false;
    uint32_t mSubscription = 0;
    sTrack mAnchor;
    sTrack mNR;

    eCoarseState mState = COARSE_UNKNOWN;
    int64_t mStateMs = INT64_MIN;   // time of the last state reading
    bool mLTEStateRecords = false;  // LTE states come from state records: the messages no longer tell them

    // What the next change of the anchor cell is entered by.
    bool mHandover = false;  // a handover command whose outcome is not known yet
    int64_t mHandoverMs = 0;
    sEvidence mHandoverFrom;
    bool mHandoverArrived = false;  // a new cell since the command, before any complete
    sEvidence mHandoverTo;
    bool mReestablishment = false;
    bool mRedirection = false;

    // By direction (0 uplink, 1 downlink): a protected EMM log waiting for its plain copy, and the time of
    // the last plain EMM log not yet paired with a protected one.
    sProtectedEMM mProtected[2];
    bool mPlainUnpaired[2] = {false, false};
    int64_t mPlainMs[2] = {0, 0};
};

bool Matches(const sCellInfo& cell, eRadioTechnology technology, const sEvidence& evidence) {
    if (evidence.mTechnology != technology) {
        return false;
    }
    if (evidence.mHasChannel && (cell.mFields & CELL_HAS_DL_CHANNEL) != 0 &&
        evidence.mChannel != cell.mDLChannel) {
        return false;
    }
    if (evidence.mHasCell && (cell.mFields & CELL_HAS_CELL) != 0 && evidence.mCell != cell.mCell) {
        return false;
    }
    const sCellInfo* info = evidence.mInfo;
    return info == nullptr || (info->mFields & CELL_HAS_IDENTITY) == 0 ||
           (cell.mFields & CELL_HAS_IDENTITY) == 0 || info->mIdentity == cell.mIdentity;
}

// The fields of `from` that `to` lacks.
void Fill(sCellInfo& to, const sCellInfo& from) {
    const uint32_t missing = from.mFields & ~to.mFields;
    if ((missing & CELL_HAS_UL_CHANNEL) != 0) {
        to.mULChannel = from.mULChannel;
    }
    if ((missing & CELL_HAS_IDENTITY) != 0) {
        to.mIdentity = from.mIdentity;
    }
    if ((missing & CELL_HAS_AREA) != 0) {
        to.mArea = from.mArea;
    }
    if ((missing & CELL_HAS_PLMN) != 0) {
        to.mMCC = from.mMCC;
        to.mMNC = from.mMNC;
        to.mMNCDigits = from.mMNCDigits;
    }
    if ((missing & CELL_HAS_BAND) != 0) {
        to.mBand = from.mBand;
    }
    if ((missing & CELL_HAS_DL_BANDWIDTH) != 0) {
        to.mDLBandwidthMHz = from.mDLBandwidthMHz;
    }
    if ((missing & CELL_HAS_UL_BANDWIDTH) != 0) {
        to.mULBandwidthMHz = from.mULBandwidthMHz;
    }
    to.mFields |= missing & ~(CELL_HAS_DL_CHANNEL | CELL_HAS_CELL);
}

void Fill(sCellInfo& to, const sEvidence& evidence) {
    if (evidence.mHasChannel && (to.mFields & CELL_HAS_DL_CHANNEL) == 0) {
        to.mDLChannel = evidence.mChannel;
        to.mFields |= CELL_HAS_DL_CHANNEL;
    }
    if (evidence.mHasCell && (to.mFields & CELL_HAS_CELL) == 0) {
        to.mCell = evidence.mCell;
        to.mFields |= CELL_HAS_CELL;
    }
    if (evidence.mInfo != nullptr) {
        Fill(to, *evidence.mInfo);
    }
}

sEvidence EvidenceOf(eRadioTechnology technology, const sCellInfo& info) {
    sEvidence evidence;
    evidence.mTechnology = technology;
    evidence.mHasChannel = (info.mFields & CELL_HAS_DL_CHANNEL) != 0;
    evidence.mChannel = info.mDLChannel;
    evidence.mHasCell = (info.mFields & CELL_HAS_CELL) != 0;
    evidence.mCell = info.mCell;
    evidence.mInfo = &info;
    return evidence;
}

// The radio context of an RRC log on a channel that only the serving cell carries to or from the phone: the
// dedicated and common control channels. Paging and system information come from other cells too (real
// captures show paging of another carrier's cell during a connection).
sEvidence HeaderEvidence(eRadioTechnology technology, const sOTAMessage& message) {
    sEvidence evidence;
    if ((message.mContext & OTA_HAS_CHANNEL_NUMBER) == 0 || (message.mContext & OTA_HAS_CELL) == 0) {
        return evidence;
    }
    bool serving = false;
    if (technology == RADIO_LTE) {
        serving = message.mChannel == OTA_LTE_DL_DCCH || message.mChannel == OTA_LTE_DL_CCCH ||
                  message.mChannel == OTA_LTE_UL_CCCH || message.mChannel == OTA_LTE_UL_DCCH;
    } else if (technology == RADIO_WCDMA) {
        serving = message.mChannel == OTA_WCDMA_DL_DCCH || message.mChannel == OTA_WCDMA_DL_CCCH ||
                  message.mChannel == OTA_WCDMA_UL_CCCH || message.mChannel == OTA_WCDMA_UL_DCCH;
    }
    if (serving) {
        evidence.mTechnology = technology;
        evidence.mHasChannel = true;
        evidence.mChannel = message.mChannelNumber;
        evidence.mHasCell = true;
        evidence.mCell = message.mCell;
    }
    return evidence;
}

// Appends to the NUL-terminated `text` of `room` bytes, cutting what does not fit.
void Append(char* text, size_t room, const char* format, ...) __attribute__((format(printf, 3, 4)));
void Append(char* text, size_t room, const char* format, ...) {
    const size_t used = strnlen(text, room);
    if (used + 1 >= room) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text + used, room - used, format, arguments);
    va_end(arguments);
}

// "pci 73 earfcn 1825", "psc 397 uarfcn 10663", ...; "unknown" without either.
void AppendCell(char* text, size_t room, const sEvidence& cell) {
    static const struct {
        const char* mCell;
        const char* mChannel;
    } kNames[] = {
        {"cell", "channel"}, {"pci", "earfcn"}, {"pci", "nr-arfcn"}, {"psc", "uarfcn"}, {"bsic", "arfcn"}};
    const auto& names = kNames[cell.mTechnology < sizeof kNames / sizeof kNames[0] ? cell.mTechnology : 0];
    if (!cell.mHasCell && !cell.mHasChannel) {
        Append(text, room, "unknown");
    } else if (!cell.mHasChannel) {
        Append(text, room, "%s %u", names.mCell, cell.mCell);
    } else if (!cell.mHasCell) {
        Append(text, room, "%s %u", names.mChannel, cell.mChannel);
    } else {
        Append(text, room, "%s %u %s %u", names.mCell, cell.mCell, names.mChannel, cell.mChannel);
    }
}

sEvidence EvidenceOfPeriod(const sTrack& track) {
    sEvidence evidence;
    if (track.mOpen) {
        evidence = EvidenceOf(track.mPeriod.mTechnology, track.mPeriod.mCell);
        evidence.mInfo = nullptr;
    }
    return evidence;
}

// "cause 15 (no suitable cells in tracking area)", "cause 99"; "" when the message holds no cause.
void CauseText(char* text, size_t room, uint8_t cause) {
    if (cause == kNoValue) {
        return;
    }
    const char* name = EMMCauseName(cause);
    if (name != nullptr) {
        snprintf(text, room, "cause %u (%s)", cause, name);
    } else {
        snprintf(text, room, "cause %u", cause);
    }
}

eCoarseState CoarseOf(eRRCState state) {
    switch (state) {
        case RRC_STATE_IDLE:
        case RRC_STATE_CONNECTING:
            return COARSE_IDLE;
        case RRC_STATE_CONNECTED:
        case RRC_STATE_CLOSING:
            return COARSE_CONNECTED;
        default:
            return COARSE_UNKNOWN;
    }
}

// A state record's own diagnostic timestamp in milliseconds since 1970 UTC.
int64_t UnixMsOfDiagTime(uint64_t timestamp) {
    const FILETIME filetime = CDMAToFiletime(timestamp);
    return static_cast<int64_t>(filetime / FILETIME_UNITS_PER_MS) -
           static_cast<int64_t>(FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS);
}

}  // namespace

const char* CellEntryName(eCellEntry entry) {
    static const char* const kNames[] = {"unknown",     "first",       "handover",
                                         "reselection", "redirection", "reestablishment"};
    return entry < sizeof kNames / sizeof kNames[0] ? kNames[entry] : "unknown";
}

sCellPeriod::sCellPeriod() : mRSRPMedian(NAN), mRSRQMedian(NAN) {}

struct cCellTimeline::sState {
    sSlot mSlots[kMaxSubscriptions];
    cTimelineSink* mSink = nullptr;
    bool mGoing = true;

    sSlot* SlotOf(uint32_t subscription);
    void Emit(const sSlot& slot, int64_t timeMs, eRadioTechnology technology, const char* event,
              const char* detail);
    void EmitPeriod(sTrack& track);

    // Cell evidence: true when the open period of the track is then the evidence's cell.
    bool Observe(sSlot& slot, sTrack& track, int64_t timeMs, const sEvidence& evidence);
    eCellEntry EntryFor(sSlot& slot, sTrack& track);
    void Open(sSlot& slot, sTrack& track, int64_t timeMs, const sEvidence& evidence);
    void Close(sTrack& track);
    void Touch(sSlot& slot, int64_t timeMs);

    void SetState(sSlot& slot, eCoarseState state, int64_t timeMs, eRadioTechnology technology,
                  const char* detail, bool fromRecord);
    void ResolveHandover(sSlot& slot, const char* outcome, const sEvidence* target);

    void LTERRC(sSlot& slot, int64_t timeMs, const sOTAMessage& message);
    void EMM(sSlot& slot, int64_t timeMs, const sOTAMessage& message);
    void EmitEMM(sSlot& slot, int64_t timeMs, const sEMMReading& reading, int direction);
    void FlushProtected(sSlot& slot, int direction);
    void FlushDueEMM(sSlot& slot, int64_t timeMs);
    void Measurement(sSlot& slot, int64_t timeMs, const sMeasLog& log);
};

sSlot* cCellTimeline::sState::SlotOf(uint32_t subscription) {
    for (sSlot& slot : mSlots) {
        if (slot.mUsed && slot.mSubscription == subscription) {
            return &slot;
        }
    }
    for (sSlot& slot : mSlots) {
        if (!slot.mUsed) {
            slot.mUsed = true;
            slot.mSubscription = subscription;
            return &slot;
        }
    }
    return nullptr;
}

void cCellTimeline::sState::Emit(const sSlot& slot, int64_t timeMs, eRadioTechnology technology,
                                 const char* event, const char* detail) {
    if (!mGoing) {
        return;
    }
    sTimelineEvent out;
    out.mTimeMs = timeMs;
    out.mSubscription = slot.mSubscription;
    out.mTechnology = technology;
    out.mEvent = event;
    snprintf(out.mDetail, sizeof out.mDetail, "%s", detail != nullptr ? detail : "");
    mGoing = mSink->Event(out);
}

void cCellTimeline::sState::EmitPeriod(sTrack& track) {
    if (!mGoing) {
        return;
    }
    track.mPeriod.mRSRPMedian = track.mRSRP.Median();
    track.mPeriod.mRSRQMedian = track.mRSRQ.Median();
    mGoing = mSink->Period(track.mPeriod);
}

void cCellTimeline::sState::Close(sTrack& track) {
    if (!track.mOpen) {
        return;
    }
    EmitPeriod(track);
    track.mOpen = false;
    track.mHadPeriod = true;
    track.mEnteredByReestablishment = false;
    track.mLastTo = track.mPeriod.mToMs;
    track.mRSRP.Clear();
    track.mRSRQ.Clear();
}

eCellEntry cCellTimeline::sState::EntryFor(sSlot& slot, sTrack& track) {
    if (track.mNR) {
        return track.mHadPeriod ? CELL_ENTRY_UNKNOWN : CELL_ENTRY_FIRST;
    }
    eCellEntry entry = CELL_ENTRY_UNKNOWN;
    if (slot.mHandover) {
        entry = CELL_ENTRY_HANDOVER;  // until its outcome is known
    } else if (slot.mReestablishment) {
        entry = CELL_ENTRY_REESTABLISHMENT;
        track.mEnteredByReestablishment = true;
    } else if (slot.mRedirection) {
        entry = CELL_ENTRY_REDIRECTION;
    } else if (slot.mState == COARSE_IDLE) {
        entry = CELL_ENTRY_RESELECTION;
    }
    slot.mReestablishment = false;
    slot.mRedirection = false;
    return track.mHadPeriod ? entry : CELL_ENTRY_FIRST;
}

void cCellTimeline::sState::Open(sSlot& slot, sTrack& track, int64_t timeMs, const sEvidence& evidence) {
    track.mPeriod = sCellPeriod();
    track.mPeriod.mFromMs = timeMs > track.mLastTo ? timeMs : track.mLastTo;
    track.mPeriod.mToMs = track.mPeriod.mFromMs;
    track.mPeriod.mSubscription = slot.mSubscription;
    track.mPeriod.mTechnology = evidence.mTechnology;
    Fill(track.mPeriod.mCell, evidence);
    track.mPeriod.mEnteredBy = EntryFor(slot, track);
    track.mOpen = true;
    if (track.mPeriod.mEnteredBy == CELL_ENTRY_HANDOVER) {
        slot.mHandoverArrived = true;
        slot.mHandoverTo = evidence;
        slot.mHandoverTo.mInfo = nullptr;
    }
}

bool cCellTimeline::sState::Observe(sSlot& slot, sTrack& track, int64_t timeMs, const sEvidence& evidence) {
    if (evidence.mTechnology == RADIO_UNKNOWN || (!evidence.mHasChannel && !evidence.mHasCell)) {
        return false;
    }
    if (track.mOpen && Matches(track.mPeriod.mCell, track.mPeriod.mTechnology, evidence)) {
        Fill(track.mPeriod.mCell, evidence);
    } else if (track.mOpen && timeMs < track.mPeriod.mFromMs) {
        return false;  // logged late: it tells of the time before this period
    } else {
        Close(track);
        Open(slot, track, timeMs, evidence);
    }
    if (timeMs > track.mPeriod.mToMs) {
        track.mPeriod.mToMs = timeMs;
    }
    return true;
}

void cCellTimeline::sState::Touch(sSlot& slot, int64_t timeMs) {
    if (slot.mAnchor.mOpen && timeMs > slot.mAnchor.mPeriod.mToMs) {
        slot.mAnchor.mPeriod.mToMs = timeMs;
    }
}

void cCellTimeline::sState::SetState(sSlot& slot, eCoarseState state, int64_t timeMs,
                                     eRadioTechnology technology, const char* detail, bool fromRecord) {
    if (state == COARSE_UNKNOWN || (!fromRecord && slot.mLTEStateRecords)) {
        return;
    }
    if (fromRecord && technology == RADIO_LTE) {
        slot.mLTEStateRecords = true;
    }
    if (timeMs < slot.mStateMs) {
        return;  // logged late
    }
    slot.mStateMs = timeMs;
    if (state == slot.mState) {
        return;
    }
    slot.mState = state;
    if (state == COARSE_CONNECTED) {
        slot.mRedirection = false;
    }
    Emit(slot, timeMs, technology, state == COARSE_CONNECTED ? kEventRRCConnected : kEventRRCIdle, detail);
}

void cCellTimeline::sState::ResolveHandover(sSlot& slot, const char* outcome, const sEvidence* target) {
    if (!slot.mHandover) {
        return;
    }
    slot.mHandover = false;
    if (target == nullptr && slot.mHandoverArrived) {
        target = &slot.mHandoverTo;
    }
    char detail[kTimelineDetailSize] = "";
    AppendCell(detail, sizeof detail, slot.mHandoverFrom);
    Append(detail, sizeof detail, " -> ");
    if (target != nullptr) {
        AppendCell(detail, sizeof detail, *target);
    } else {
        Append(detail, sizeof detail, "%s", outcome);
    }
    Emit(slot, slot.mHandoverMs, RADIO_LTE, kEventHandover, detail);
}

void cCellTimeline::sState::LTERRC(sSlot& slot, int64_t timeMs, const sOTAMessage& message) {
    const sLTERRCReading reading = ReadLTERRC(message.mChannel, message.mData, message.mLength);
    const sEvidence header = HeaderEvidence(RADIO_LTE, message);
    char detail[kTimelineDetailSize] = "";
    // A re-establishment request is sent on the cell the phone selected after the failure: that cell is
    // entered by the re-establishment.
    if (reading.mKind == LTE_RRC_REESTABLISHMENT_REQUEST) {
        ResolveHandover(slot, "re-establishment", nullptr);
        const char* cause = ReestablishmentCauseName(reading.mCause);
        if (cause != nullptr) {
            snprintf(detail, sizeof detail, "cause %s, pci %u", cause, reading.mFailedCell);
        } else {
            snprintf(detail, sizeof detail, "cause %u, pci %u", reading.mCause, reading.mFailedCell);
        }
        Emit(slot, timeMs, RADIO_LTE, kEventReestablishmentRequest, detail);
        if (reading.mCause == REESTABLISHMENT_HANDOVER_FAILURE) {
            snprintf(detail, sizeof detail, "pci %u", reading.mFailedCell);
            Emit(slot, timeMs, RADIO_LTE, kEventHandoverFailure, detail);
        }
        slot.mReestablishment = true;
    }
    Observe(slot, slot.mAnchor, timeMs, header);
    // Dedicated control channels exist only in connected mode; a connection request is only sent in idle.
    if ((message.mChannel == OTA_LTE_DL_DCCH || message.mChannel == OTA_LTE_UL_DCCH) &&
        reading.mKind != LTE_RRC_RELEASE) {
        const char* told =
            reading.mKind == LTE_RRC_CONNECTION_SETUP_COMPLETE  ? "rrc_connection_setup_complete"
            : reading.mKind == LTE_RRC_REESTABLISHMENT_COMPLETE ? "rrc_connection_reestablishment_complete"
                                                                : "dedicated control channel message";
        SetState(slot, COARSE_CONNECTED, timeMs, RADIO_LTE, told, false);
    } else if (reading.mKind == LTE_RRC_CONNECTION_REQUEST) {
        SetState(slot, COARSE_IDLE, timeMs, RADIO_LTE, "rrc_connection_request", false);
    }
    switch (reading.mKind) {
        case LTE_RRC_RECONFIGURATION:
            if (reading.mMobility == BIT_FLAG_SET) {
                ResolveHandover(slot, "unknown", nullptr);
                slot.mHandover = true;
                slot.mHandoverArrived = false;
                slot.mHandoverMs = timeMs;
                slot.mHandoverFrom =
                    header.mTechnology != RADIO_UNKNOWN ? header : EvidenceOfPeriod(slot.mAnchor);
            }
            break;
        case LTE_RRC_RECONFIGURATION_COMPLETE:
            ResolveHandover(slot, "unknown", header.mTechnology != RADIO_UNKNOWN ? &header : nullptr);
            break;
        case LTE_RRC_RELEASE: {
            ResolveHandover(slot, "unknown", nullptr);
            const char* cause = ReleaseCauseName(reading.mReleaseCause);
            if (cause != nullptr) {
                Append(detail, sizeof detail, "cause %s", cause);
            }
            if (reading.mRedirection == BIT_FLAG_SET) {
                Append(detail, sizeof detail, "%sredirected", cause != nullptr ? ", " : "");
            }
            Emit(slot, timeMs, RADIO_LTE, kEventRRCConnectionRelease, detail);
            slot.mReestablishment = false;
            slot.mRedirection = reading.mRedirection == BIT_FLAG_SET;
            SetState(slot, COARSE_IDLE, timeMs, RADIO_LTE, "rrc_connection_release", false);
            break;
        }
        case LTE_RRC_REESTABLISHMENT:
            slot.mReestablishment = false;
            slot.mAnchor.mEnteredByReestablishment = false;
            Emit(slot, timeMs, RADIO_LTE, kEventReestablishment, "");
            break;
        case LTE_RRC_REESTABLISHMENT_REJECT:
            // The re-establishment failed: the phone selected the cell but did not get back its connection.
            if (slot.mAnchor.mOpen && slot.mAnchor.mEnteredByReestablishment) {
                slot.mAnchor.mPeriod.mEnteredBy = CELL_ENTRY_UNKNOWN;
            }
            slot.mReestablishment = false;
            slot.mAnchor.mEnteredByReestablishment = false;
            Emit(slot, timeMs, RADIO_LTE, kEventReestablishmentReject, "");
            SetState(slot, COARSE_IDLE, timeMs, RADIO_LTE, "reestablishment_reject", false);
            break;
        case LTE_RRC_CONNECTION_REQUEST: {
            ResolveHandover(slot, "unknown", nullptr);
            slot.mRedirection = false;
            const char* cause = EstablishmentCauseName(reading.mCause);
            if (cause != nullptr) {
                snprintf(detail, sizeof detail, "cause %s", cause);
            }
            Emit(slot, timeMs, RADIO_LTE, kEventRRCConnectionRequest, detail);
            break;
        }
        case LTE_RRC_CONNECTION_SETUP:
            Emit(slot, timeMs, RADIO_LTE, kEventRRCConnectionSetup, "");
            break;
        case LTE_RRC_CONNECTION_REJECT:
            Emit(slot, timeMs, RADIO_LTE, kEventRRCConnectionReject, "");
            break;
        case LTE_RRC_REESTABLISHMENT_COMPLETE:
            slot.mReestablishment = false;
            break;
        case LTE_RRC_SCG_FAILURE_NR:
            Emit(slot, timeMs, RADIO_NR, kEventSCGFailure, "");
            break;
        default:
            break;
    }
}

void cCellTimeline::sState::EmitEMM(sSlot& slot, int64_t timeMs, const sEMMReading& reading, int direction) {
    char detail[kTimelineDetailSize] = "";
    const char* event = nullptr;
    switch (reading.mKind) {
        case EMM_CIPHERED:
            event = kEventEMMUnknown;
            snprintf(detail, sizeof detail, "ciphered%s",
                     direction == 0   ? ", uplink"
                     : direction == 1 ? ", downlink"
                                      : "");
            break;
        case EMM_ATTACH_REQUEST:
            event = kEventAttachRequest;
            break;
        case EMM_ATTACH_ACCEPT:
            event = kEventAttachAccept;
            break;
        case EMM_ATTACH_REJECT:
            event = kEventAttachReject;
            CauseText(detail, sizeof detail, reading.mCause);
            break;
        case EMM_DETACH_REQUEST:
            event = kEventDetachRequest;
            snprintf(detail, sizeof detail, "%s",
                     direction == 0   ? "from the ue"
                     : direction == 1 ? "from the network"
                                      : "");
            break;
        case EMM_DETACH_ACCEPT:
            event = kEventDetachAccept;
            break;
        case EMM_TAU_REQUEST:
            event = kEventTAURequest;
            break;
        case EMM_TAU_ACCEPT:
            event = kEventTAUAccept;
            break;
        case EMM_TAU_REJECT:
            event = kEventTAUReject;
            CauseText(detail, sizeof detail, reading.mCause);
            break;
        case EMM_SERVICE_REQUEST:
            event = kEventServiceRequest;
            break;
        case EMM_EXTENDED_SERVICE_REQUEST:
            event = kEventServiceRequest;
            snprintf(detail, sizeof detail, "extended");
            break;
        case EMM_SERVICE_REJECT:
            event = kEventServiceReject;
            CauseText(detail, sizeof detail, reading.mCause);
            break;
        default:
            return;
    }
    Emit(slot, timeMs, RADIO_LTE, event, detail);
}

void cCellTimeline::sState::FlushProtected(sSlot& slot, int direction) {
    sProtectedEMM& held = slot.mProtected[direction];
    if (held.mValid) {
        held.mValid = false;
        EmitEMM(slot, held.mTimeMs, held.mReading, direction);
    }
}

void cCellTimeline::sState::FlushDueEMM(sSlot& slot, int64_t timeMs) {
    for (int direction = 0; direction < 2; ++direction) {
        if (slot.mProtected[direction].mValid && timeMs > slot.mProtected[direction].mTimeMs + kNASCopyMs) {
            FlushProtected(slot, direction);
        }
    }
}

// The modem logs a NAS message that travels security-protected twice: under a protected code as it went
// over the air, and under a plain code (EMM or ESM, for what the protection carried) as it reads it. The two
// copies are one message; a protected log without a plain copy is read itself (integrity-protected) or is
// an unknown event (ciphered). Events come from EMM messages only.
void cCellTimeline::sState::EMM(sSlot& slot, int64_t timeMs, const sOTAMessage& message) {
    const sEMMReading reading = ReadEMM(message.mData, message.mLength);
    const int direction = message.mDirection == OTA_DIRECTION_UPLINK     ? 0
                          : message.mDirection == OTA_DIRECTION_DOWNLINK ? 1
                                                                         : -1;
    if (direction < 0) {
        EmitEMM(slot, timeMs, reading, direction);
        return;
    }
    sProtectedEMM& held = slot.mProtected[direction];
    if (!message.mSecurityProtected) {
        if (held.mValid && std::llabs(timeMs - held.mTimeMs) <= kNASCopyMs) {
            held.mValid = false;  // this is its plain copy
        } else {
            FlushProtected(slot, direction);
        }
        EmitEMM(slot, timeMs, reading, direction);
        slot.mPlainUnpaired[direction] = true;
        slot.mPlainMs[direction] = timeMs;
        return;
    }
    if (slot.mPlainUnpaired[direction] && std::llabs(timeMs - slot.mPlainMs[direction]) <= kNASCopyMs) {
        slot.mPlainUnpaired[direction] = false;  // the protected copy of the plain log before
        return;
    }
    FlushProtected(slot, direction);
    held.mValid = true;
    held.mTimeMs = timeMs;
    held.mReading = reading;
}

void cCellTimeline::sState::Measurement(sSlot& slot, int64_t timeMs, const sMeasLog& log) {
    switch (log.mKind) {
        case MEAS_KIND_SERVING_CELL:
            Observe(slot, log.mTechnology == RADIO_NR ? slot.mNR : slot.mAnchor, timeMs,
                    EvidenceOf(log.mTechnology, log.mCellInfo));
            break;
        case MEAS_KIND_MIB: {
            // Read during searches and reselections too: it only fills the bandwidth of the serving cell.
            sTrack& track = log.mTechnology == RADIO_NR ? slot.mNR : slot.mAnchor;
            sEvidence evidence = EvidenceOf(log.mTechnology, log.mCellInfo);
            evidence.mInfo = nullptr;
            const sCellInfo& mib = log.mCellInfo;
            if (track.mOpen && evidence.mHasChannel && evidence.mHasCell && timeMs >= track.mPeriod.mFromMs &&
                (track.mPeriod.mCell.mFields & CELL_HAS_DL_CHANNEL) != 0 &&
                (track.mPeriod.mCell.mFields & CELL_HAS_CELL) != 0 &&
                Matches(track.mPeriod.mCell, track.mPeriod.mTechnology, evidence) &&
                (mib.mFields & CELL_HAS_DL_BANDWIDTH) != 0 &&
                (track.mPeriod.mCell.mFields & CELL_HAS_DL_BANDWIDTH) == 0) {
                track.mPeriod.mCell.mDLBandwidthMHz = mib.mDLBandwidthMHz;
                track.mPeriod.mCell.mFields |= CELL_HAS_DL_BANDWIDTH;
            }
            break;
        }
        case MEAS_KIND_MEASUREMENT:
            // The primary serving cell: the first serving cell of index 0 (or of no index) in the log.
            for (size_t i = 0; i < log.mCellCount; ++i) {
                const sMeasuredCell& cell = log.mCells[i];
                if (!cell.mServing || (cell.mServingIndex != 0 && cell.mServingIndex != 0xFF)) {
                    continue;
                }
                sEvidence evidence;
                evidence.mTechnology = cell.mTechnology != RADIO_UNKNOWN ? cell.mTechnology : log.mTechnology;
                evidence.mHasChannel = cell.mHasChannel;
                evidence.mChannel = cell.mChannel;
                evidence.mHasCell = cell.mHasCell;
                evidence.mCell = cell.mCell;
                sTrack& track = evidence.mTechnology == RADIO_NR ? slot.mNR : slot.mAnchor;
                // In connected mode the primary cell changes only by a handover or a re-establishment: the
                // measurement of another cell without either under way is not this connection's (real
                // captures interleave the idle serving cell of a second SIM logged without a subscription).
                if (&track == &slot.mAnchor && track.mOpen && slot.mState == COARSE_CONNECTED &&
                    !slot.mHandover && !slot.mReestablishment &&
                    !Matches(track.mPeriod.mCell, track.mPeriod.mTechnology, evidence)) {
                    break;
                }
                if (Observe(slot, track, timeMs, evidence)) {
                    track.mRSRP.Add(cell.mRSRP);
                    track.mRSRQ.Add(cell.mRSRQ);
                    ++track.mPeriod.mMeasurements;
                }
                break;
            }
            break;
        case MEAS_KIND_RRC_STATE:
            for (size_t i = 0; i < log.mStateCount && i < kMeasMaxStates; ++i) {
                const sRRCStateChange& change = log.mStates[i];
                char detail[kTimelineDetailSize];
                if (change.mName != nullptr && change.mName[0] != '\0') {
                    snprintf(detail, sizeof detail, "state %s", change.mName);
                } else {
                    snprintf(detail, sizeof detail, "state %u", change.mRaw);
                }
                SetState(slot, CoarseOf(change.mState),
                         change.mTimestamp != 0 ? UnixMsOfDiagTime(change.mTimestamp) : timeMs,
                         change.mTechnology != RADIO_UNKNOWN ? change.mTechnology : log.mTechnology, detail,
                         true);
            }
            break;
        default:
            break;
    }
}

cCellTimeline::cCellTimeline() : mState(new (std::nothrow) sState) {}

cCellTimeline::~cCellTimeline() {
    delete mState;
}

bool cCellTimeline::Message(int64_t timeMs, const sOTAMessage& message, cTimelineSink& sink) {
    sSlot* slot = mState != nullptr ? mState->SlotOf(message.mSubscription) : nullptr;
    if (slot == nullptr) {
        return mState == nullptr || mState->mGoing;
    }
    mState->mSink = &sink;
    mState->FlushDueEMM(*slot, timeMs);
    switch (message.mProtocol) {
        case OTA_PROTOCOL_LTE_RRC:
            mState->LTERRC(*slot, timeMs, message);
            break;
        case OTA_PROTOCOL_LTE_NAS:
            mState->EMM(*slot, timeMs, message);  // ESM too: a protected EMM log may carry an ESM message
            break;
        case OTA_PROTOCOL_WCDMA_RRC:
            mState->Observe(*slot, slot->mAnchor, timeMs, HeaderEvidence(RADIO_WCDMA, message));
            break;
        default:
            break;
    }
    mState->Touch(*slot, timeMs);
    return mState->mGoing;
}

bool cCellTimeline::Measurement(int64_t timeMs, const sMeasLog& log, cTimelineSink& sink) {
    sSlot* slot = mState != nullptr ? mState->SlotOf(log.mSubscription) : nullptr;
    if (slot == nullptr) {
        return mState == nullptr || mState->mGoing;
    }
    mState->mSink = &sink;
    mState->FlushDueEMM(*slot, timeMs);
    mState->Measurement(*slot, timeMs, log);
    mState->Touch(*slot, timeMs);
    return mState->mGoing;
}

bool cCellTimeline::Finish(cTimelineSink& sink) {
    if (mState == nullptr) {
        return true;
    }
    mState->mSink = &sink;
    for (sSlot& slot : mState->mSlots) {
        if (!slot.mUsed) {
            continue;
        }
        mState->FlushProtected(slot, 0);
        mState->FlushProtected(slot, 1);
        mState->ResolveHandover(slot, "unknown", nullptr);
        mState->Close(slot.mAnchor);
        mState->Close(slot.mNR);
    }
    return mState->mGoing;
}
