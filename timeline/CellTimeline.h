// The cell timeline of a capture, per subscription: the serving-cell periods (which cell, from when to
// when, how the period began, the median of its serving measurements) and the events (handovers,
// failures, RRC state changes, NAS outcomes; names and details in timeline/TimelineEvents.h), derived from
// the measurement and cell logs (meas/MeasExtractor.h) and the signalling messages (ota/OTAExtractor.h) of
// the items in file order. What cannot be told from them is "unknown", never guessed.
//
// A subscription has two tracks of periods: the cell it camps on or is connected to (LTE, WCDMA or GSM) and
// the NR leg. Which cell serves: serving-cell logs (which also give its identity), the primary cell of
// serving measurements, and the radio context of RRC logs of the dedicated and common control channels; a
// MIB only fills the bandwidth of the serving cell. A period runs from the first item that showed its cell to
// the last item of the subscription before the next cell (the NR leg: to the last item that showed its
// cell); a log stamped before the open period began tells of an earlier time and changes no cell. RRC
// states come from state logs and event reports where a subscription has them, otherwise from the messages
// (setup complete or any dedicated channel: connected; release, re-establishment reject or a connection
// request: idle). A NAS message logged under a security-protected code waits up to 5 ms for its plain copy,
// so its event may come after events of the few items that followed it.
//
// Bounded state: up to 8 subscriptions (items of further ones are left out), each with its open periods,
// what the next cell change is entered by, and fixed histograms of the measurements (allocated at the first
// measurement of each track). One timeline per capture; not thread-safe.
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
    int64_t mFromMs = 0;  // milliseconds since 1970 UTC: the first item that showed the cell (never before
                          // the end of the subscription's period before)
    int64_t mToMs = 0;           // the last item of the period
    uint32_t mSubscription = 0;  // 0: not given
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    sCellInfo mCell;  // what the capture told of the cell (CELL_HAS_* bits)
    eCellEntry mEnteredBy = CELL_ENTRY_UNKNOWN;
    double mRSRPMedian;          // dBm, NaN without serving measurements; of an even count, the mean of the
    double mRSRQMedian;          // dB   two middle values
    uint64_t mMeasurements = 0;  // serving-cell measurements of the period's cell (with values or without)
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
