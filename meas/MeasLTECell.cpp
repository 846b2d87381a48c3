// Placeholder readers: every log of these codes counts as an unknown version until its layouts are read.
#include "meas/MeasFamilies.h"

eMeasStatus ExtractLTEMIB(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractLTEServingCellInfo(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}

eMeasStatus ExtractLTEML1CellInfo(const sMeasPayload&, sMeasLog&) {
    return MEAS_UNSUPPORTED_VERSION;
}
