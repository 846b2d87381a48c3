// What a report pictures of one capture, gathered in one reading of the file in bounded memory
// (tables/CaptureTables.h hands it every row of every table as the file streams through):
//   - the items: how many, per subscription, and the time span they cover;
//   - the signalling messages counted per subscription, technology and kind (the messages themselves are
//     not kept);
//   - every measured quantity (the real-valued columns of the measurements table: RSRP, RSRQ, SINR, ...)
//     as a series per subscription, technology, serving or neighbour, channel and cell, and for the serving
//     cells also one series of all of them together (the serving cell whichever it is: a long capture whose
//     cells change faster than a picture's pixels is drawn from it), decimated on one time grid
//     (overview/SeriesDecimator.h);
//   - the rows of the cells and events tables, which are small (a row per serving cell and per event), up
//     to a limit.
// Its memory is fixed by the limits, whatever the file's size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "overview/SeriesDecimator.h"
#include "tables/CaptureTables.h"
#include "tables/ColumnSink.h"

const uint32_t kOtherSubscriptions = 0xFFFFFFFF;

struct sOverviewLimits {
    size_t mBuckets = 2048;         // time buckets per series
    size_t mServingSeries = 128;    // series of serving cells kept
    size_t mNeighbourSeries = 384;  // series of neighbour cells kept
    size_t mAllServingSeries = 64;  // series of all serving cells together kept
    uint64_t mTableRows = 250000;   // rows of the cells and of the events table kept
};

// One decimated series: which values it holds.
struct sOverviewSeries {
    uint32_t mSubscription = 0;  // 0: not given
    std::string mTechnology;     // "lte", "nr", "wcdma", "gsm" (the measurements table's text)
    bool mServing = false;
    bool mAllServing = false;  // every serving cell of the subscription and technology (mServing too)
    int64_t mChannel = -1;     // EARFCN, NR-ARFCN, UARFCN or ARFCN; -1: not given, or mAllServing
    int64_t mCell = -1;        // PCI, PSC or BSIC; -1: not given, or mAllServing
    size_t mColumn = 0;        // the quantity: its column in the measurements table (TableDef)
    size_t mIndex = 0;         // the series in Decimator()
};

// Signalling messages of one kind.
struct sMessageCount {
    uint32_t mSubscription = 0;  // 0: not given
    std::string mTechnology;     // the messages table's technology ("lte", ...)
    std::string mKind;           // its channel column ("LTE RRC UL-DCCH", ...)
    uint64_t mCount = 0;
};

class cCaptureOverview : public cTableSink {
public:
    explicit cCaptureOverview(const sOverviewLimits& limits = sOverviewLimits());
    bool Row(eTable table, const sValue* values) override;

    uint64_t Items() const { return mItems; }
    // Items per subscription (0: items that name none; kOtherSubscriptions: beyond the 64 first named).
    const std::map<uint32_t, uint64_t>& ItemsBySubscription() const { return mItemsBySubscription; }
    // The time span of the items, leaving out the tool-version record that opens a file (stamped with the
    // clock of the recording host, not the capture's): false when no other item has a time.
    bool Span(int64_t& firstMs, int64_t& lastMs) const;

    // In order of subscription, technology and kind; the messages of kinds beyond the first 4096 are only
    // counted.
    std::vector<sMessageCount> Messages() const;
    uint64_t MessagesNotCounted() const { return mMessagesNotCounted; }

    const cSeriesDecimator& Decimator() const { return mDecimator; }
    const std::vector<sOverviewSeries>& Series() const { return mSeries; }
    // Values of series beyond the limits, and values the grid refused (times too far from the others).
    uint64_t ValuesNotKept() const { return mValuesNotKept; }

    // The cells and events rows kept (cColumnSink: their columns, to be taken whole), and those beyond
    // sOverviewLimits::mTableRows.
    cColumnSink& TableRows() { return mTableRows; }
    uint64_t RowsNotKept(eTable table) const { return table < TABLE_COUNT ? mRowsNotKept[table] : 0; }

    cCaptureOverview(const cCaptureOverview&) = delete;
    cCaptureOverview& operator=(const cCaptureOverview&) = delete;

private:
    struct sKey {
        uint64_t mHigh;
        uint64_t mLow;
        bool operator==(const sKey& other) const { return mHigh == other.mHigh && mLow == other.mLow; }
    };
    struct sKeyHash {
        size_t operator()(const sKey& key) const {
            return std::hash<uint64_t>()((key.mHigh * 0x9E3779B97F4A7C15ull) ^ key.mLow);
        }
    };

    void Item(const sValue* values);
    void Message(const sValue* values);
    void Measurement(const sValue* values);
    enum eKind : uint8_t { KIND_NEIGHBOUR = 0, KIND_SERVING, KIND_ALL_SERVING };
    // The series of a quantity of a measured cell (or of all serving cells): its index in mSeries, or -1
    // beyond the limits.
    long SeriesOf(uint32_t subscription, size_t technology, eKind kind, int64_t channel, int64_t cell,
                  size_t column);
    void AddValue(long series, int64_t timeMs, double value);
    size_t TechnologyId(const sValue& text);

    sOverviewLimits mLimits;
    // Columns by name, found once in the table definitions.
    size_t mItemTime, mItemSubscription, mItemCode;
    size_t mMessageSubscription, mMessageTechnology, mMessageKind;
    size_t mMeasTime, mMeasSubscription, mMeasTechnology, mMeasServing, mMeasChannel, mMeasCell;
    std::vector<size_t> mQuantities;  // the real-valued columns of the measurements table

    uint64_t mItems = 0;
    std::map<uint32_t, uint64_t> mItemsBySubscription;
    bool mHasSpan = false;
    int64_t mFirstMs = 0;
    int64_t mLastMs = 0;

    std::map<std::tuple<uint32_t, std::string, std::string>, uint64_t> mMessages;
    uint64_t mMessagesNotCounted = 0;
    uint64_t* mLastMessageCount = nullptr;  // the count of the last message's kind (consecutive ones repeat)
    std::tuple<uint32_t, std::string, std::string> mLastMessageKey;

    std::vector<std::string> mTechnologies;  // the few technology names seen, by id
    cSeriesDecimator mDecimator;
    std::vector<sOverviewSeries> mSeries;
    std::unordered_map<sKey, long, sKeyHash> mSeriesByKey;  // -1: a series beyond the limits
    size_t mInUse[3] = {};                                  // series of each eKind
    uint64_t mValuesNotKept = 0;

    cColumnSink mTableRows;
    uint64_t mRowsNotKept[TABLE_COUNT] = {};
};

// Reads the capture at `path` (an ISF file) into `overview`, as ReadCaptureTables reads its tables (same
// results, errors and problem count).
bool ReadCaptureOverview(const std::string& path, cCaptureOverview& overview, sTableSummary& summary,
                         std::string& error, uint64_t* problems = nullptr);
