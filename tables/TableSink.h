// Rows of the capture tables (tables/TableColumns.h) as they are produced: one array of values per row,
// handed to a sink that writes them out (text, data-frame columns, database rows).
#pragma once

#include <cstddef>
#include <cstdint>

#include "tables/TableColumns.h"

// One value of a row; its column's type says which member holds it.
struct sValue {
    bool mNull = true;            // the value does not apply
    int64_t mInt = 0;             // COLUMN_TIME, COLUMN_INT, COLUMN_CODE
    double mReal = 0;             // COLUMN_REAL
    const char* mText = nullptr;  // COLUMN_TEXT, COLUMN_BYTES: mSize bytes, not owned, no terminating NUL
    size_t mSize = 0;
};

class cTableSink {
public:
    virtual ~cTableSink() {}
    // One row of `table`: TableDef(table).mCount values, which live only during the call. Returning false
    // stops the reading.
    virtual bool Row(eTable table, const sValue* values) = 0;
};
