// Writes the rows of one capture table (tables/TableColumns.h) as text for people or programs: an aligned
// table, CSV (RFC 4180 quoting, a header line of column names) or a JSON array of objects keyed by column
// name. A value that does not apply is empty (CSV, text) or null (JSON). Times, codes and numbers are
// written as tables/ValueText.h says; binary data (a message) as lower-case hex.
//
// Rows are formatted into a buffer that goes to the output in large writes; the aligned table holds its
// first rows back to measure the columns, then writes every further row at once. Memory stays bounded
// whatever the number of rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tables/TableSink.h"
#include "tables/ValueText.h"

// Where the text goes (a file descriptor in the tool, a string in tests).
class cTextOutput {
public:
    virtual ~cTextOutput() {}
    // All `size` bytes, or false.
    virtual bool Write(const char* data, size_t size) = 0;
};

enum eTableFormat : uint8_t {
    TABLE_FORMAT_TEXT = 0,  // aligned columns under a header line
    TABLE_FORMAT_CSV,
    TABLE_FORMAT_JSON,
};

class cTableWriter : public cTableSink {
public:
    // Writes the rows of `table` (rows of other tables are passed over) to `output`, which the caller keeps
    // for the writer's life.
    cTableWriter(eTable table, eTableFormat format, cTextOutput& output);
    ~cTableWriter() override;

    // False once the output failed (the reading then stops).
    bool Row(eTable table, const sValue* values) override;
    // After the last row: the rows held back, the end of the JSON array, and everything still buffered.
    // False when the output failed at any time.
    bool Finish();

    uint64_t Rows() const { return mRows; }

    cTableWriter(const cTableWriter&) = delete;
    cTableWriter& operator=(const cTableWriter&) = delete;

private:
    // Rows the aligned table measures before it writes.
    static const size_t kMeasuredRows = 200;
    static const size_t kBufferSize = 1 << 16;

    void Put(const char* data, size_t size);
    void Put(char c);
    bool Flush();
    // A value of a time, integer, code or real column into `out` (kValueTextSize bytes); returns its length.
    size_t Scalar(const sColumn& column, const sValue& value, char* out);
    // `size` bytes of room in the buffer (flushing it first if need be), null once the output failed.
    char* Room(size_t size);
    void PutScalar(const sColumn& column, const sValue& value);
    void PutHex(const sValue& value);
    // The text of a value into mCell (hex of binary data may be long); returns its length.
    size_t CellText(const sColumn& column, const sValue& value);
    void CSVRow(const sValue* values);
    void CSVRowPiecewise(const sValue* values);  // a row larger than the buffer
    void JSONRow(const sValue* values);
    void TextRow(const sValue* values);
    void TextLine(const std::string* cells);
    void WriteHeldRows();

    const eTable mTable;
    const eTableFormat mFormat;
    cTextOutput& mOutput;
    const sTableDef& mDef;
    bool mFailed = false;
    uint64_t mRows = 0;
    char* mBuffer;  // owned, kBufferSize bytes
    size_t mUsed = 0;
    cTimeText mTime;
    std::string mCell;  // the text of one value
    // The aligned table: widths so far, the rows held back (cells in row order), and whether they went out.
    size_t* mWidths;     // owned, one per column
    std::string* mHeld;  // owned, kMeasuredRows * columns cells; null once written
    std::string* mLine;  // owned, one cell per column: the line being written
    size_t mHeldRows = 0;
    bool mMeasured = false;
};
