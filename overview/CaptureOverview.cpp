#include "overview/CaptureOverview.h"

#include <algorithm>
#include <cstring>

#include "jni/ISFToolVersion.h"

namespace {

// The column of `table` called `name`; every name asked for here is one of the table's (TableColumns.cpp).
size_t ColumnIndex(eTable table, const char* name) {
    const sTableDef& def = TableDef(table);
    for (size_t i = 0; i < def.mCount; ++i) {
        if (std::strcmp(def.mColumns[i].mName, name) == 0) {
            return i;
        }
    }
    return 0;
}

// Missing subscriptions and cells read as 0 and -1.
uint32_t SubscriptionOf(const sValue& value) {
    return value.mNull ? 0 : static_cast<uint32_t>(value.mInt);
}

int64_t IntOr(const sValue& value, int64_t missing) {
    return value.mNull ? missing : value.mInt;
}

std::string TextOf(const sValue& value) {
    return value.mNull ? std::string() : std::string(value.mText, value.mSize);
}

// Bounds of the small maps against a damaged or made-up file, whose subscriptions, channels and cells can be
// any number: beyond them, items count under kOtherSubscriptions, messages as not counted, and a quantity of
// a further cell is not kept (as beyond the series limits).
const size_t kMaxSubscriptions = 64;
const size_t kMaxMessageKinds = 4096;
const size_t kMaxSeriesKeys = 16384;

bool SameText(const std::string& text, const sValue& value) {
    const size_t size = value.mNull ? 0 : value.mSize;
    return text.size() == size && (size == 0 || std::memcmp(text.data(), value.mText, size) == 0);
}

}  // namespace

cCaptureOverview::cCaptureOverview(const sOverviewLimits& limits)
    : mLimits(limits),
      mItemTime(ColumnIndex(TABLE_ITEMS, "time_utc")),
      mItemSubscription(ColumnIndex(TABLE_ITEMS, "subscription")),
      mItemCode(ColumnIndex(TABLE_ITEMS, "log_code")),
      mMessageSubscription(ColumnIndex(TABLE_MESSAGES, "subscription")),
      mMessageTechnology(ColumnIndex(TABLE_MESSAGES, "technology")),
      mMessageKind(ColumnIndex(TABLE_MESSAGES, "channel")),
      mMeasTime(ColumnIndex(TABLE_MEASUREMENTS, "time_utc")),
      mMeasSubscription(ColumnIndex(TABLE_MEASUREMENTS, "subscription")),
      mMeasTechnology(ColumnIndex(TABLE_MEASUREMENTS, "technology")),
      mMeasServing(ColumnIndex(TABLE_MEASUREMENTS, "serving")),
      mMeasChannel(ColumnIndex(TABLE_MEASUREMENTS, "arfcn")),
      mMeasCell(ColumnIndex(TABLE_MEASUREMENTS, "pci")),
      mDecimator(limits.mBuckets, limits.mServingSeries + limits.mNeighbourSeries + limits.mAllServingSeries),
      mTableRows(TableBit(TABLE_CELLS) | TableBit(TABLE_EVENTS)) {
    const sTableDef& measurements = TableDef(TABLE_MEASUREMENTS);
    for (size_t i = 0; i < measurements.mCount; ++i) {
        if (measurements.mColumns[i].mType == COLUMN_REAL) {
            mQuantities.push_back(i);
        }
    }
}

bool cCaptureOverview::Row(eTable table, const sValue* values) {
    switch (table) {
        case TABLE_ITEMS:
            Item(values);
            return true;
        case TABLE_MESSAGES:
            Message(values);
            return true;
        case TABLE_MEASUREMENTS:
            Measurement(values);
            return true;
        case TABLE_CELLS:
        case TABLE_EVENTS:
            if (mTableRows.Rows(table) >= mLimits.mTableRows) {
                ++mRowsNotKept[table];
                return true;
            }
            // Out of memory stops the reading: what was kept so far is still shown.
            return mTableRows.Row(table, values);
        default:
            return true;
    }
}

bool cCaptureOverview::Span(int64_t& firstMs, int64_t& lastMs) const {
    firstMs = mFirstMs;
    lastMs = mLastMs;
    return mHasSpan;
}

void cCaptureOverview::Item(const sValue* values) {
    ++mItems;
    uint32_t subscription = SubscriptionOf(values[mItemSubscription]);
    if (mItemsBySubscription.size() >= kMaxSubscriptions && mItemsBySubscription.count(subscription) == 0) {
        subscription = kOtherSubscriptions;
    }
    ++mItemsBySubscription[subscription];
    const sValue& time = values[mItemTime];
    const sValue& code = values[mItemCode];
    if (time.mNull || (!code.mNull && code.mInt == TOOL_VERSION_LOG_CODE)) {
        return;
    }
    mFirstMs = !mHasSpan ? time.mInt : std::min(mFirstMs, time.mInt);
    mLastMs = !mHasSpan ? time.mInt : std::max(mLastMs, time.mInt);
    mHasSpan = true;
}

void cCaptureOverview::Message(const sValue* values) {
    const uint32_t subscription = SubscriptionOf(values[mMessageSubscription]);
    const sValue& technology = values[mMessageTechnology];
    const sValue& kind = values[mMessageKind];
    if (mLastMessageCount == nullptr || std::get<0>(mLastMessageKey) != subscription ||
        !SameText(std::get<1>(mLastMessageKey), technology) ||
        !SameText(std::get<2>(mLastMessageKey), kind)) {
        mLastMessageKey = std::make_tuple(subscription, TextOf(technology), TextOf(kind));
        const auto found = mMessages.find(mLastMessageKey);
        if (found == mMessages.end() && mMessages.size() >= kMaxMessageKinds) {
            mLastMessageCount = nullptr;
            ++mMessagesNotCounted;
            return;
        }
        mLastMessageCount = found != mMessages.end() ? &found->second : &mMessages[mLastMessageKey];
    }
    ++*mLastMessageCount;
}

std::vector<sMessageCount> cCaptureOverview::Messages() const {
    std::vector<sMessageCount> counts;
    for (const auto& entry : mMessages) {
        sMessageCount count;
        count.mSubscription = std::get<0>(entry.first);
        count.mTechnology = std::get<1>(entry.first);
        count.mKind = std::get<2>(entry.first);
        count.mCount = entry.second;
        counts.push_back(count);
    }
    return counts;
}

size_t cCaptureOverview::TechnologyId(const sValue& text) {
    for (size_t id = 0; id < mTechnologies.size(); ++id) {
        if (SameText(mTechnologies[id], text)) {
            return id;
        }
    }
    mTechnologies.push_back(TextOf(text));
    return mTechnologies.size() - 1;
}

void cCaptureOverview::Measurement(const sValue* values) {
    const sValue& time = values[mMeasTime];
    if (time.mNull) {
        return;
    }
    const uint32_t subscription = SubscriptionOf(values[mMeasSubscription]);
    const size_t technology = TechnologyId(values[mMeasTechnology]);
    const bool serving = IntOr(values[mMeasServing], 0) != 0;
    const int64_t channel = IntOr(values[mMeasChannel], -1);
    const int64_t cell = IntOr(values[mMeasCell], -1);
    for (size_t column : mQuantities) {
        const sValue& value = values[column];
        if (value.mNull) {
            continue;
        }
        AddValue(SeriesOf(subscription, technology, serving ? KIND_SERVING : KIND_NEIGHBOUR, channel, cell,
                          column),
                 time.mInt, value.mReal);
        if (serving) {
            AddValue(SeriesOf(subscription, technology, KIND_ALL_SERVING, -1, -1, column), time.mInt,
                     value.mReal);
        }
    }
}

void cCaptureOverview::AddValue(long series, int64_t timeMs, double value) {
    if (series < 0 || !mDecimator.Add(mSeries[static_cast<size_t>(series)].mIndex, timeMs, value)) {
        ++mValuesNotKept;
    }
}

long cCaptureOverview::SeriesOf(uint32_t subscription, size_t technology, eKind kind, int64_t channel,
                                int64_t cell, size_t column) {
    // Channels and cells fit 32 bits (an NR-ARFCN is below 2^22), as do subscriptions; the rest is small.
    const sKey key = {(uint64_t{subscription} << 32) | static_cast<uint32_t>(channel),
                      (static_cast<uint64_t>(static_cast<uint32_t>(cell)) << 32) |
                          (uint64_t{technology} << 24) | (uint64_t{kind} << 16) | column};
    const auto found = mSeriesByKey.find(key);
    if (found != mSeriesByKey.end()) {
        return found->second;
    }
    const size_t limits[] = {mLimits.mNeighbourSeries, mLimits.mServingSeries, mLimits.mAllServingSeries};
    long index = -1;
    const long decimated = mInUse[kind] < limits[kind] ? mDecimator.NewSeries() : -1;
    if (decimated >= 0) {
        ++mInUse[kind];
        sOverviewSeries series;
        series.mSubscription = subscription;
        series.mTechnology = mTechnologies[technology];
        series.mServing = kind != KIND_NEIGHBOUR;
        series.mAllServing = kind == KIND_ALL_SERVING;
        series.mChannel = channel;
        series.mCell = cell;
        series.mColumn = column;
        series.mIndex = static_cast<size_t>(decimated);
        mSeries.push_back(series);
        index = static_cast<long>(mSeries.size() - 1);
    }
    if (index >= 0 || mSeriesByKey.size() < kMaxSeriesKeys) {
        mSeriesByKey.emplace(key, index);
    }
    return index;
}

bool ReadCaptureOverview(const std::string& path, cCaptureOverview& overview, sTableSummary& summary,
                         std::string& error, uint64_t* problems) {
    return ReadCaptureTables(path, kAllTables, overview, summary, error, problems);
}
