// The cell timeline of a capture, per subscription: the serving-cell periods (which cell, from when to
// when, how the period began, the median of its serving measurements) and the events (handovers,
// failures, RRC state changes, NAS outcomes), derived from the measurement and cell logs
// (meas/MeasExtractor.h) and the signalling messages (ota/OTAExtractor.h) of the items in time order.
// What cannot be told from them is "unknown", never guessed.
//
// Bounded state: per subscription, the open period and a fixed histogram of its measurements. One timeline
// per capture; not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

#include "meas/MeasRecords.h"
#include "ota/OTAMessage.h"

// How a serving-cell period began.
enum eCellEntry : uint8_t {
    CELL_ENTRY_UNKNOWN = 0,
    CELL_ENTRY_FIRST,            // the first cell of the subscription in the capture
    CELL_ENTRY_HANDOVER,         // connected mode: a reconfiguration with mobility control information
    CELL_ENTRY_RESELECTION,      // idle mode
    CELL_ENTRY_REDIRECTION,      // a release with redirected carrier information
    CELL_ENTRY_REESTABLISHMENT,  // a connection re-established after a failure
};

// "unknown", "first", "handover", "reselection", "redirection", "reestablishment".
const char* CellEntryName(eCellEntry entry);

struct sCellPeriod {
    int64_t mFromMs = 0;         // milliseconds since 1970 UTC: the first item that showed the cell
    int64_t mToMs = 0;           // the last item of the period
    uint32_t mSubscription = 0;  // 0: not given
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    sCellInfo mCell;  // what the capture told of the cell (CELL_HAS_* bits)
    eCellEntry mEnteredBy = CELL_ENTRY_UNKNOWN;
    double mRSRPMedian;          // dBm, NaN without serving measurements
    double mRSRQMedian;          // dB
    uint64_t mMeasurements = 0;  // serving-cell measurements in the period
    sCellPeriod();
};

const size_t kTimelineDetailSize = 128;

struct sTimelineEvent {
    int64_t mTimeMs = 0;  // milliseconds since 1970 UTC
    uint32_t mSubscription = 0;
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    const char* mEvent = "";                 // a constant name, e.g. "handover", "attach_reject"
    char mDetail[kTimelineDetailSize] = {};  // NUL-terminated, e.g. "cause 15 (no suitable cells in ...)"
};

class cTimelineSink {
public:
    virtual ~cTimelineSink() {}
    // Each lives only during the call; false stops the timeline's output (the caller then stops feeding).
    virtual bool Period(const sCellPeriod& period) = 0;
    virtual bool Event(const sTimelineEvent& event) = 0;
};

class cCellTimeline {
public:
    cCellTimeline();
    ~cCellTimeline();

    // The items of a capture in file order, each at its time (milliseconds since 1970 UTC). The records
    // live only during the call. False when the sink stopped.
    bool Message(int64_t timeMs, const sOTAMessage& message, cTimelineSink& sink);
    bool Measurement(int64_t timeMs, const sMeasLog& log, cTimelineSink& sink);
    // After the last item: the open periods end at their last item.
    bool Finish(cTimelineSink& sink);

    cCellTimeline(const cCellTimeline&) = delete;
    cCellTimeline& operator=(const cCellTimeline&) = delete;

private:
    struct sState;
    sState* mState;  // owned
};
