#include "tables/ColumnSink.h"

#include <algorithm>
#include <limits>
#include <new>
#include <numeric>

bool cColumnData::Add(const sValue& value) {
    bool kept = true;
    switch (mType) {
        case COLUMN_TIME:
        case COLUMN_INT:
        case COLUMN_CODE:
            kept = mInts.Push(value.mNull ? 0 : value.mInt) && mMissing.Push(value.mNull ? 1 : 0);
            break;
        case COLUMN_REAL:
            kept = mReals.Push(value.mNull ? std::numeric_limits<double>::quiet_NaN() : value.mReal);
            break;
        case COLUMN_TEXT:
            kept = value.mNull ? mCodes.Push(-1) : AddText(value.mText, value.mSize);
            break;
        case COLUMN_BYTES: {
            const size_t size = value.mNull ? 0 : value.mSize;
            kept = mBytes.Append(reinterpret_cast<const unsigned char*>(value.mText), size) &&
                   mEnds.Push(mBytes.Size()) && mMissing.Push(value.mNull ? 1 : 0);
            break;
        }
    }
    mRows += kept ? 1 : 0;
    return kept;
}

bool cColumnData::AddText(const char* text, size_t size) {
    const std::string_view key(text, size);
    if (mLastCode >= 0 && mTexts[static_cast<size_t>(mLastCode)] == key) {
        return mCodes.Push(mLastCode);
    }
    const auto found = mTextCodes.find(key);
    if (found != mTextCodes.end()) {
        mLastCode = found->second;
        return mCodes.Push(mLastCode);
    }
    mTexts.emplace_back(text, size);
    mLastCode = static_cast<int32_t>(mTexts.size() - 1);
    mTextCodes.emplace(std::string_view(mTexts.back()), mLastCode);
    return mCodes.Push(mLastCode);
}

int32_t* cColumnData::TakeTexts(std::vector<std::string>& dictionary) {
    std::vector<int32_t> order(mTexts.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [this](int32_t a, int32_t b) {
        return mTexts[static_cast<size_t>(a)] < mTexts[static_cast<size_t>(b)];
    });
    std::vector<int32_t> sortedCode(mTexts.size());
    dictionary.clear();
    dictionary.reserve(mTexts.size());
    for (size_t i = 0; i < order.size(); ++i) {
        sortedCode[static_cast<size_t>(order[i])] = static_cast<int32_t>(i);
        dictionary.push_back(std::move(mTexts[static_cast<size_t>(order[i])]));
    }
    int32_t* codes = mCodes.Data();
    for (size_t row = 0; row < mCodes.Size(); ++row) {
        codes[row] = codes[row] < 0 ? -1 : sortedCode[static_cast<size_t>(codes[row])];
    }
    mTextCodes.clear();
    mTexts.clear();
    mLastCode = -1;
    return mCodes.Release();
}

bool cColumnData::NextBytes(const unsigned char*& data, size_t& size) {
    static const unsigned char kNothing = 0;
    if (mReadRow >= mEnds.Size()) {
        FreeColumnArray(mBytes.Release());
        FreeColumnArray(mEnds.Release());
        FreeColumnArray(mMissing.Release());
        mReadRow = 0;
        return false;
    }
    const uint64_t begin = mReadRow == 0 ? 0 : mEnds.Data()[mReadRow - 1];
    // What has been read goes back to the system as the reading goes on: the receiver's copies of the
    // rows grow meanwhile.
    if (mReadRow % kDiscardRows == 0) {
        mBytes.Discard(static_cast<size_t>(begin));
        mEnds.Discard(mReadRow);
        mMissing.Discard(mReadRow);
    }
    size = static_cast<size_t>(mEnds.Data()[mReadRow] - begin);
    data = mMissing.Data()[mReadRow] != 0 ? nullptr : size == 0 ? &kNothing : mBytes.Data() + begin;
    ++mReadRow;
    return true;
}

cColumnSink::cColumnSink(uint32_t tables) {
    for (unsigned int table = 0; table < TABLE_COUNT; ++table) {
        if ((tables & TableBit(static_cast<eTable>(table))) == 0) {
            continue;
        }
        const sTableDef& def = TableDef(static_cast<eTable>(table));
        for (size_t i = 0; i < def.mCount; ++i) {
            cColumnData* column = new (std::nothrow) cColumnData(def.mColumns[i].mType);
            mOutOfMemory = mOutOfMemory || column == nullptr;
            mColumns[table].emplace_back(column);
        }
    }
}

bool cColumnSink::Row(eTable table, const sValue* values) {
    if (mOutOfMemory) {
        return false;
    }
    if (!Keeps(table)) {
        return true;
    }
    std::vector<std::unique_ptr<cColumnData>>& columns = mColumns[table];
    for (size_t i = 0; i < columns.size(); ++i) {
        if (!columns[i]->Add(values[i])) {
            mOutOfMemory = true;
            return false;
        }
    }
    ++mRows[table];
    return true;
}
