// Placeholder readers: every log of these codes counts as an unknown version until its layouts are read.
#include "meas/MeasFamilies.h"

eMeasStatus ExtractNRSearcher(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractNRServingBeams(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractNRMIB(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractNRServingCellInfo(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}
