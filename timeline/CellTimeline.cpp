// Placeholder: no period or event is derived yet.
#include "timeline/CellTimeline.h"

#include <cmath>

const char* CellEntryName(eCellEntry entry) {
    static const char* const kNames[] = {"unknown",     "first",       "handover",
                                         "reselection", "redirection", "reestablishment"};
    return entry < sizeof kNames / sizeof kNames[0] ? kNames[entry] : "unknown";
}

sCellPeriod::sCellPeriod() : mRSRPMedian(NAN), mRSRQMedian(NAN) {}

struct cCellTimeline::sState {};

cCellTimeline::cCellTimeline() : mState(nullptr) {}

cCellTimeline::~cCellTimeline() {
    delete mState;
}

bool cCellTimeline::Message(int64_t, const sOTAMessage&, cTimelineSink&) {
    return true;
}

bool cCellTimeline::Measurement(int64_t, const sMeasLog&, cTimelineSink&) {
    return true;
}

bool cCellTimeline::Finish(cTimelineSink&) {
    return true;
}
