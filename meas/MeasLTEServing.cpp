// Placeholder readers: every log of these codes counts as an unknown version until its layouts are read.
#include "meas/MeasFamilies.h"

eMeasStatus ExtractLTEServingMeasurement(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractLTEIdleServing(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}
