#include "tables/TableWriter.h"

#include <cstring>
#include <new>

namespace {

const size_t kSeparatorWidth = 2;  // spaces between the columns of the aligned table

bool RightAligned(const sColumn& column) {
    return column.mType == COLUMN_INT || column.mType == COLUMN_REAL;
}

bool NeedsQuotes(const char* text, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        const char c = text[i];
        if (c == ',' || c == '"' || c == '\n' || c == '\r') {
            return true;
        }
    }
    return false;
}

}  // namespace

cTableWriter::cTableWriter(eTable table, eTableFormat format, cTextOutput& output)
    : mTable(table),
      mFormat(format),
      mOutput(output),
      mDef(TableDef(table)),
      mBuffer(new (std::nothrow) char[kBufferSize]),
      mWidths(nullptr),
      mHeld(nullptr),
      mLine(nullptr) {
    if (mBuffer == nullptr) {
        mFailed = true;
        return;
    }
    if (mFormat == TABLE_FORMAT_CSV) {
        for (size_t i = 0; i < mDef.mCount; ++i) {
            if (i != 0) {
                Put(',');
            }
            Put(mDef.mColumns[i].mName, strlen(mDef.mColumns[i].mName));
        }
        Put('\n');
    } else if (mFormat == TABLE_FORMAT_JSON) {
        Put('[');
    } else {
        mWidths = new (std::nothrow) size_t[mDef.mCount];
        mHeld = new (std::nothrow) std::string[kMeasuredRows * mDef.mCount];
        mLine = new (std::nothrow) std::string[mDef.mCount];
        if (mWidths == nullptr || mHeld == nullptr || mLine == nullptr) {
            mFailed = true;
            return;
        }
        for (size_t i = 0; i < mDef.mCount; ++i) {
            mWidths[i] = strlen(mDef.mColumns[i].mName);
        }
    }
}

cTableWriter::~cTableWriter() {
    delete[] mBuffer;
    delete[] mWidths;
    delete[] mHeld;
    delete[] mLine;
}

void cTableWriter::Put(const char* data, size_t size) {
    while (size > 0 && !mFailed) {
        if (mUsed == kBufferSize && !Flush()) {
            return;
        }
        const size_t part = size < kBufferSize - mUsed ? size : kBufferSize - mUsed;
        memcpy(mBuffer + mUsed, data, part);
        mUsed += part;
        data += part;
        size -= part;
    }
}

void cTableWriter::Put(char c) {
    if (mUsed == kBufferSize && !Flush()) {
        return;
    }
    if (!mFailed) {
        mBuffer[mUsed++] = c;
    }
}

bool cTableWriter::Flush() {
    if (!mFailed && mUsed != 0 && !mOutput.Write(mBuffer, mUsed)) {
        mFailed = true;
    }
    mUsed = 0;
    return !mFailed;
}

size_t cTableWriter::Scalar(const sColumn& column, const sValue& value, char* out) {
    switch (column.mType) {
        case COLUMN_TIME:
            return mTime.Format(value.mInt, out);
        case COLUMN_INT:
            return FormatInteger(value.mInt, out);
        case COLUMN_CODE:
            return FormatCode(value.mInt, out);
        case COLUMN_REAL:
            return FormatReal(value.mReal, out);
        default:
            return 0;
    }
}

char* cTableWriter::Room(size_t size) {
    if (kBufferSize - mUsed < size && !Flush()) {
        return nullptr;
    }
    return mBuffer + mUsed;
}

void cTableWriter::PutScalar(const sColumn& column, const sValue& value) {
    char* out = Room(kValueTextSize);
    if (out != nullptr) {
        mUsed += Scalar(column, value, out);
    }
}

void cTableWriter::PutHex(const sValue& value) {
    const unsigned char* data = reinterpret_cast<const unsigned char*>(value.mText);
    for (size_t done = 0; done < value.mSize && !mFailed;) {
        const size_t part = value.mSize - done < kBufferSize / 4 ? value.mSize - done : kBufferSize / 4;
        char* out = Room(2 * part);
        if (out == nullptr) {
            return;
        }
        FormatHex(data + done, part, out);
        mUsed += 2 * part;
        done += part;
    }
}

size_t cTableWriter::CellText(const sColumn& column, const sValue& value) {
    mCell.clear();
    if (value.mNull) {
        return 0;
    }
    switch (column.mType) {
        case COLUMN_TEXT:
            mCell.assign(value.mText != nullptr ? value.mText : "", value.mText != nullptr ? value.mSize : 0);
            return mCell.size();
        case COLUMN_BYTES:
            mCell.resize(2 * value.mSize);
            if (value.mSize != 0) {
                FormatHex(reinterpret_cast<const unsigned char*>(value.mText), value.mSize, &mCell[0]);
            }
            return mCell.size();
        default: {
            char text[kValueTextSize];
            mCell.assign(text, Scalar(column, value, text));
            return mCell.size();
        }
    }
}

void cTableWriter::CSVRow(const sValue* values) {
    // The most a row can take; when that fits the buffer, the row is written through one pointer.
    size_t most = mDef.mCount + 1;
    for (size_t i = 0; i < mDef.mCount; ++i) {
        const eColumnType type = mDef.mColumns[i].mType;
        most += type == COLUMN_TEXT    ? 2 * values[i].mSize + 2
                : type == COLUMN_BYTES ? 2 * values[i].mSize
                                       : kValueTextSize;
    }
    char* p = most <= kBufferSize ? Room(most) : nullptr;
    if (p == nullptr) {
        CSVRowPiecewise(values);
        return;
    }
    for (size_t i = 0; i < mDef.mCount; ++i) {
        if (i != 0) {
            *p++ = ',';
        }
        const sColumn& column = mDef.mColumns[i];
        const sValue& value = values[i];
        if (value.mNull ||
            ((column.mType == COLUMN_TEXT || column.mType == COLUMN_BYTES) && value.mText == nullptr)) {
            continue;
        }
        if (column.mType == COLUMN_BYTES) {
            FormatHex(reinterpret_cast<const unsigned char*>(value.mText), value.mSize, p);
            p += 2 * value.mSize;
        } else if (column.mType != COLUMN_TEXT) {
            p += Scalar(column, value, p);
        } else if (!NeedsQuotes(value.mText, value.mSize)) {
            memcpy(p, value.mText, value.mSize);
            p += value.mSize;
        } else {
            *p++ = '"';
            for (size_t k = 0; k < value.mSize; ++k) {
                if (value.mText[k] == '"') {
                    *p++ = '"';
                }
                *p++ = value.mText[k];
            }
            *p++ = '"';
        }
    }
    *p++ = '\n';
    mUsed = static_cast<size_t>(p - mBuffer);
}

void cTableWriter::CSVRowPiecewise(const sValue* values) {
    for (size_t i = 0; i < mDef.mCount; ++i) {
        if (i != 0) {
            Put(',');
        }
        const sColumn& column = mDef.mColumns[i];
        const sValue& value = values[i];
        if (value.mNull) {
            continue;
        }
        if (column.mType == COLUMN_BYTES) {
            PutHex(value);
        } else if (column.mType != COLUMN_TEXT) {
            PutScalar(column, value);
        } else if (value.mText == nullptr) {
            continue;
        } else if (!NeedsQuotes(value.mText, value.mSize)) {
            Put(value.mText, value.mSize);
        } else {
            Put('"');
            for (size_t k = 0; k < value.mSize; ++k) {
                if (value.mText[k] == '"') {
                    Put('"');
                }
                Put(value.mText[k]);
            }
            Put('"');
        }
    }
    Put('\n');
}

void cTableWriter::JSONRow(const sValue* values) {
    Put(mRows == 0 ? "\n{" : ",\n{", mRows == 0 ? 2 : 3);
    for (size_t i = 0; i < mDef.mCount; ++i) {
        const sColumn& column = mDef.mColumns[i];
        const sValue& value = values[i];
        if (i != 0) {
            Put(',');
        }
        Put('"');
        Put(column.mName, strlen(column.mName));
        Put("\":", 2);
        if (value.mNull) {
            Put("null", 4);
        } else if (column.mType == COLUMN_INT || column.mType == COLUMN_REAL) {
            PutScalar(column, value);
        } else if (column.mType == COLUMN_TIME || column.mType == COLUMN_CODE) {
            Put('"');
            PutScalar(column, value);
            Put('"');
        } else if (column.mType == COLUMN_BYTES) {
            Put('"');
            PutHex(value);
            Put('"');
        } else {
            Put('"');
            for (size_t k = 0; value.mText != nullptr && k < value.mSize; ++k) {
                const char c = value.mText[k];
                const unsigned char u = static_cast<unsigned char>(c);
                if (c == '"' || c == '\\') {
                    Put('\\');
                    Put(c);
                } else if (u < 0x20) {
                    static const char kHex[] = "0123456789abcdef";
                    const char escape[6] = {'\\', 'u', '0', '0', kHex[u >> 4], kHex[u & 15]};
                    Put(escape, sizeof escape);
                } else {
                    Put(c);
                }
            }
            Put('"');
        }
    }
    Put('}');
}

void cTableWriter::TextLine(const std::string* cells) {
    size_t pending = 0;  // padding owed before the next cell that is not empty
    for (size_t i = 0; i < mDef.mCount; ++i) {
        const std::string& cell = cells[i];
        const size_t width = mWidths[i];
        const size_t pad = width > cell.size() ? width - cell.size() : 0;
        if (i != 0) {
            pending += kSeparatorWidth;
        }
        if (RightAligned(mDef.mColumns[i])) {
            pending += pad;
        }
        if (!cell.empty()) {
            for (; pending > 0; --pending) {
                Put(' ');
            }
            Put(cell.data(), cell.size());
        }
        if (!RightAligned(mDef.mColumns[i])) {
            pending += pad;
        }
    }
    Put('\n');
}

void cTableWriter::WriteHeldRows() {
    for (size_t i = 0; i < mDef.mCount; ++i) {
        mLine[i] = mDef.mColumns[i].mName;
    }
    TextLine(mLine);
    for (size_t row = 0; row < mHeldRows; ++row) {
        TextLine(mHeld + row * mDef.mCount);
    }
    delete[] mHeld;
    mHeld = nullptr;
    mMeasured = true;
}

void cTableWriter::TextRow(const sValue* values) {
    if (mMeasured) {
        for (size_t i = 0; i < mDef.mCount; ++i) {
            CellText(mDef.mColumns[i], values[i]);
            mLine[i] = mCell;
        }
        TextLine(mLine);
        return;
    }
    std::string* cells = mHeld + mHeldRows * mDef.mCount;
    for (size_t i = 0; i < mDef.mCount; ++i) {
        const size_t size = CellText(mDef.mColumns[i], values[i]);
        cells[i] = mCell;
        // The last column is never padded: its width does not matter.
        if (size > mWidths[i] && i + 1 < mDef.mCount) {
            mWidths[i] = size;
        }
    }
    if (++mHeldRows == kMeasuredRows) {
        WriteHeldRows();
    }
}

bool cTableWriter::Row(eTable table, const sValue* values) {
    if (table != mTable || mFailed) {
        return !mFailed;
    }
    switch (mFormat) {
        case TABLE_FORMAT_CSV:
            CSVRow(values);
            break;
        case TABLE_FORMAT_JSON:
            JSONRow(values);
            break;
        default:
            TextRow(values);
            break;
    }
    ++mRows;
    return !mFailed;
}

bool cTableWriter::Finish() {
    if (mFormat == TABLE_FORMAT_JSON) {
        Put(mRows == 0 ? "]\n" : "\n]\n", mRows == 0 ? 2 : 3);
    } else if (mFormat == TABLE_FORMAT_TEXT && !mMeasured && !mFailed) {
        WriteHeldRows();
    }
    return Flush();
}
