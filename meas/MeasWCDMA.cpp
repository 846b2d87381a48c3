// Placeholder readers: every log of these codes counts as an unknown version until its layouts are read.
#include "meas/MeasFamilies.h"

eMeasStatus ExtractWCDMACellId(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractWCDMAReselectionRank(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractWCDMARRCState(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}
