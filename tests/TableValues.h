// Values of table rows, as the capture tables hand them to a sink; shared by the sinks' tests. A text
// points into the caller's characters, which must outlive the row.
#pragma once

#include <string_view>

#include "tables/TableSink.h"

inline sValue Null() {
    return sValue();
}

inline sValue Int(int64_t value) {
    sValue v;
    v.mNull = false;
    v.mInt = value;
    return v;
}

inline sValue Real(double value) {
    sValue v;
    v.mNull = false;
    v.mReal = value;
    return v;
}

inline sValue Text(std::string_view text) {
    sValue v;
    v.mNull = false;
    v.mText = text.data();
    v.mSize = text.size();
    return v;
}
