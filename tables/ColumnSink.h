// The rows of the capture tables (tables/TableColumns.h) gathered column by column into flat arrays of
// fixed-size values, for a front end that hands whole columns to another runtime (the Python package's
// data frames) instead of converting row by row. Generic over the column definitions: a table's columns
// come from TableDef, so a new column, or a table that begins to produce rows, needs nothing here.
//
// What a column keeps, by type:
//   COLUMN_TIME, COLUMN_INT, COLUMN_CODE  int64 values (0 where missing) and a flag per row (1: missing)
//   COLUMN_REAL                           double values (NaN where missing)
//   COLUMN_TEXT                           int32 codes into the column's dictionary of texts (-1: missing)
//   COLUMN_BYTES                          the bytes of every row one after another, and the flag per row
//
// Every array grows in a mapping of its own (tables/ColumnArray.h) and is handed over whole: the receiver
// takes the memory the rows were written into, so the peak is one copy of the data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tables/ColumnArray.h"
#include "tables/TableSink.h"

class cColumnData {
public:
    explicit cColumnData(eColumnType type) : mType(type) {}
    eColumnType Type() const { return mType; }
    size_t Rows() const { return mRows; }
    // Appends the value of the next row; false when memory ran out.
    bool Add(const sValue& value);

    // The hand-over. Each Take returns Rows() values that are now the caller's, to be freed with
    // FreeColumnArray (null when there is no row), and leaves the column without them.
    // COLUMN_TIME, COLUMN_INT, COLUMN_CODE: the values.
    int64_t* TakeInts() { return mInts.Release(); }
    // COLUMN_TIME, COLUMN_INT, COLUMN_CODE, COLUMN_BYTES: the flags (1: missing).
    uint8_t* TakeMissing() { return mMissing.Release(); }
    // COLUMN_REAL.
    double* TakeReals() { return mReals.Release(); }
    // COLUMN_TEXT: the codes into `dictionary`, which comes out sorted by text (byte order).
    int32_t* TakeTexts(std::vector<std::string>& dictionary);
    // COLUMN_BYTES, row by row in order: false after the last row, which frees the bytes. `data` (`size`
    // bytes, null when the row's value is missing) lives until then.
    bool NextBytes(const unsigned char*& data, size_t& size);

    cColumnData(const cColumnData&) = delete;
    cColumnData& operator=(const cColumnData&) = delete;

private:
    bool AddText(const char* text, size_t size);

    eColumnType mType;
    size_t mRows = 0;
    cColumnArray<int64_t> mInts;
    cColumnArray<double> mReals;
    cColumnArray<int32_t> mCodes;
    cColumnArray<uint8_t> mMissing;
    // COLUMN_TEXT: the dictionary in order of first appearance, a look-up into it, and the code of the
    // last text (consecutive rows often repeat one).
    std::deque<std::string> mTexts;  // a deque: the look-up's keys point into its strings
    std::unordered_map<std::string_view, int32_t> mTextCodes;
    int32_t mLastCode = -1;
    // COLUMN_BYTES: the bytes of all rows and where each row's end.
    cColumnArray<unsigned char> mBytes;
    cColumnArray<uint64_t> mEnds;
    size_t mReadRow = 0;  // NextBytes: the next row
    static const size_t kDiscardRows = 1 << 15;
};

class cColumnSink : public cTableSink {
public:
    // `tables`: the tables kept (TableBit() of each); rows of others are ignored.
    explicit cColumnSink(uint32_t tables);
    bool Row(eTable table, const sValue* values) override;

    bool Keeps(eTable table) const { return table < TABLE_COUNT && !mColumns[table].empty(); }
    size_t Rows(eTable table) const { return Keeps(table) ? mRows[table] : 0; }
    // Column `column` (below TableDef(table).mCount) of a kept table.
    cColumnData& Column(eTable table, size_t column) { return *mColumns[table][column]; }
    // A row could not be kept: the reading stopped there.
    bool OutOfMemory() const { return mOutOfMemory; }

private:
    std::vector<std::unique_ptr<cColumnData>> mColumns[TABLE_COUNT];  // owned; empty for a table not kept
    size_t mRows[TABLE_COUNT] = {};
    bool mOutOfMemory = false;
};
