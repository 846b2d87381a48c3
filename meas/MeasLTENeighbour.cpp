// Placeholder readers: every log of these codes counts as an unknown version until its layouts are read.
#include "meas/MeasFamilies.h"

eMeasStatus ExtractLTEIdleNeighbours(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractLTENeighbourSubpackets(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractLTEIntraFrequency(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractLTEWCDMANeighbours(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}
