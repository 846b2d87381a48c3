// The tables a capture yields and their columns, stated once for every front end: the tool's CSV, JSON and
// terminal tables, the Python package's data frames and the campaign database all take the names, order and
// types from here.
#pragma once

#include <cstddef>
#include <cstdint>

enum eTable : uint8_t {
    TABLE_ITEMS = 0,     // every stored item
    TABLE_MESSAGES,      // every signalling message of the over-the-air logs
    TABLE_MEASUREMENTS,  // one row per measured cell per measurement log
    TABLE_CELLS,         // one row per serving-cell period
    TABLE_EVENTS,        // handovers, failures, RRC state changes, NAS outcomes
    TABLE_COUNT,
};

// Bit of a table in a set of wanted tables.
inline uint32_t TableBit(eTable table) {
    return 1u << table;
}
const uint32_t kAllTables = (1u << TABLE_COUNT) - 1;

enum eColumnType : uint8_t {
    COLUMN_TIME,   // mInt: milliseconds since 1970-01-01 UTC, shown as YYYY-MM-DDTHH:MM:SS.mmmZ
    COLUMN_INT,    // mInt
    COLUMN_CODE,   // mInt: a log code, shown as 0xB193
    COLUMN_REAL,   // mReal
    COLUMN_TEXT,   // mText, mSize bytes
    COLUMN_BYTES,  // mText, mSize bytes of binary data (a message)
};

struct sColumn {
    const char* mName;
    eColumnType mType;
};

struct sTableDef {
    const char* mName;  // "items", "messages", "measurements", "cells", "events"
    const sColumn* mColumns;
    size_t mCount;
};

// The definition of a table (`table` below TABLE_COUNT).
const sTableDef& TableDef(eTable table);
// The table of a name, false when there is none.
bool TableByName(const char* name, eTable& table);
