// Placeholder: no event of a report is read yet.
#include "meas/MeasFamilies.h"

eMeasStatus ExtractEventReport(const unsigned char*, size_t, sMeasLog&) {
    return MEAS_NOT_MEASUREMENT;
}
