#include "overview/CaptureOverview.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "jni/ISFToolVersion.h"
#include "tests/DiagPackets.h"
#include "tests/TableValues.h"

namespace {

// The column of `table` named `name`.
size_t Column(eTable table, const char* name) {
    const sTableDef& def = TableDef(table);
    for (size_t i = 0; i < def.mCount; ++i) {
        if (std::strcmp(def.mColumns[i].mName, name) == 0) {
            return i;
        }
    }
    ADD_FAILURE() << "no column " << name;
    return 0;
}

// A row of a capture table built by column name; the other columns are missing.
class cRow {
public:
    explicit cRow(eTable table) : mTable(table), mValues(TableDef(table).mCount) {}
    cRow& Int(const char* name, int64_t value) { return Set(name, ::Int(value)); }
    cRow& Real(const char* name, double value) { return Set(name, ::Real(value)); }
    cRow& Text(const char* name, const char* text) { return Set(name, ::Text(text)); }
    bool To(cTableSink& sink) const { return sink.Row(mTable, mValues.data()); }

private:
    cRow& Set(const char* name, const sValue& value) {
        mValues[Column(mTable, name)] = value;
        return *this;
    }

    eTable mTable;
    std::vector<sValue> mValues;
};

cRow Measured(int64_t timeMs, uint32_t subscription, bool serving, int64_t channel, int64_t cell) {
    cRow row(TABLE_MEASUREMENTS);
    row.Int("time_utc", timeMs)
        .Text("technology", "lte")
        .Int("log_code", 0xB193)
        .Int("serving", serving ? 1 : 0);
    row.Int("arfcn", channel).Int("pci", cell);
    if (subscription != 0) {
        row.Int("subscription", subscription);
    }
    return row;
}

// The series of a quantity of a cell, or null.
const sOverviewSeries* Find(const cCaptureOverview& overview, uint32_t subscription, bool serving,
                            int64_t cell, const char* quantity) {
    for (const sOverviewSeries& series : overview.Series()) {
        if (series.mSubscription == subscription && series.mServing == serving && series.mCell == cell &&
            std::strcmp(TableDef(TABLE_MEASUREMENTS).mColumns[series.mColumn].mName, quantity) == 0) {
            return &series;
        }
    }
    return nullptr;
}

struct sAggregate {
    uint64_t mCount = 0;
    double mMinimum = INFINITY;
    double mMaximum = -INFINITY;
    double mSum = 0;
    void Add(uint64_t count, double minimum, double maximum, double sum) {
        mCount += count;
        mMinimum = std::min(mMinimum, minimum);
        mMaximum = std::max(mMaximum, maximum);
        mSum += sum;
    }
};

sAggregate Aggregate(const cCaptureOverview& overview, const sOverviewSeries& series) {
    const cSeriesDecimator& decimator = overview.Decimator();
    sAggregate aggregate;
    for (size_t i = 0; i < decimator.BucketCount(); ++i) {
        aggregate.Add(decimator.Count(series.mIndex)[i], decimator.Minimum(series.mIndex)[i],
                      decimator.Maximum(series.mIndex)[i], decimator.Sum(series.mIndex)[i]);
    }
    return aggregate;
}

// Each quantity a row gives becomes a value of the series of its cell: a series per subscription,
// serving or neighbour, channel, cell and quantity, and for serving cells also of the series of every
// serving cell of the subscription together; a quantity the row lacks adds nothing.
TEST(CaptureOverview, EachQuantityOfEachCellIsASeries) {
    cCaptureOverview overview;
    // Values of real 0xB193 rows (lte_bler.bin, its first serving and neighbour cells).
    Measured(1564481946774, 1, true, 1825, 73)
        .Real("rsrp_dbm", -99.1875)
        .Real("rsrq_db", -8.125)
        .To(overview);
    Measured(1564481946774, 1, false, 1825, 220).Real("rsrp_dbm", -111.125).To(overview);
    Measured(1564481946784, 1, true, 1825, 73).Real("rsrp_dbm", -98.5).Real("rsrq_db", -9.0625).To(overview);
    Measured(1564481946790, 2, true, 1825, 73).Real("rsrp_dbm", -90.25).To(overview);
    Measured(1564481946794, 1, true, 1825, 74).Real("rsrp_dbm", -101.5).To(overview);
    ASSERT_EQ(overview.Series().size(), 8u);

    const struct {
        uint32_t mSubscription;
        bool mServing;
        int64_t mCell;
        const char* mQuantity;
        uint64_t mCount;
        double mMinimum, mMaximum;
    } kCases[] = {
        {1, true, 73, "rsrp_dbm", 2, -99.1875, -98.5},
        {1, true, 73, "rsrq_db", 2, -9.0625, -8.125},
        {1, false, 220, "rsrp_dbm", 1, -111.125, -111.125},
        {2, true, 73, "rsrp_dbm", 1, -90.25, -90.25},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.mQuantity);
        const sOverviewSeries* series = Find(overview, c.mSubscription, c.mServing, c.mCell, c.mQuantity);
        ASSERT_NE(series, nullptr);
        EXPECT_EQ(series->mTechnology, "lte");
        EXPECT_EQ(series->mChannel, c.mCell == -1 ? -1 : 1825);
        const sAggregate aggregate = Aggregate(overview, *series);
        EXPECT_EQ(aggregate.mCount, c.mCount);
        EXPECT_EQ(aggregate.mMinimum, c.mMinimum);
        EXPECT_EQ(aggregate.mMaximum, c.mMaximum);
    }
    EXPECT_EQ(Find(overview, 1, false, 220, "rsrq_db"), nullptr);
    EXPECT_EQ(overview.ValuesNotKept(), 0u);
    // The grid starts at the first value.
    EXPECT_EQ(overview.Decimator().Origin(), 1564481946774);
}

// The tool-version record opens every file with the recording host's clock: it is counted but left out
// of the capture's time span.
TEST(CaptureOverview, ItemsAndTheirSpanLeaveOutTheToolVersionRecord) {
    cCaptureOverview overview;
    int64_t first = 0;
    int64_t last = 0;
    EXPECT_FALSE(overview.Span(first, last));
    cRow(TABLE_ITEMS)
        .Int("index", 0)
        .Int("time_utc", 1795000000000)
        .Int("log_code", TOOL_VERSION_LOG_CODE)
        .To(overview);
    cRow(TABLE_ITEMS)
        .Int("index", 1)
        .Int("time_utc", 1605527780445)
        .Int("subscription", 1)
        .Int("log_code", 0xB0C0)
        .To(overview);
    cRow(TABLE_ITEMS)
        .Int("index", 2)
        .Int("time_utc", 1605527974060)
        .Int("subscription", 2)
        .Int("log_code", 0xB0C0)
        .To(overview);
    cRow(TABLE_ITEMS).Int("index", 3).Int("time_utc", 1605527800000).Int("subscription", 1).To(overview);
    EXPECT_EQ(overview.Items(), 4u);
    ASSERT_TRUE(overview.Span(first, last));
    EXPECT_EQ(first, 1605527780445);
    EXPECT_EQ(last, 1605527974060);
    const std::map<uint32_t, uint64_t> expected = {{0, 1}, {1, 2}, {2, 1}};
    EXPECT_EQ(overview.ItemsBySubscription(), expected);
}

TEST(CaptureOverview, MessagesAreCountedPerSubscriptionTechnologyAndKind) {
    cCaptureOverview overview;
    const struct {
        uint32_t mSubscription;
        const char* mTechnology;
        const char* mKind;
    } kMessages[] = {
        {1, "lte", "LTE RRC UL-DCCH"}, {1, "lte", "LTE RRC UL-DCCH"}, {1, "lte", "LTE RRC DL-DCCH"},
        {2, "lte", "LTE RRC UL-DCCH"}, {1, "lte", "LTE RRC UL-DCCH"}, {1, "nr", "NR RRC UL-DCCH"},
        {0, "gsm", "GSM RR CCCH"},
    };
    for (const auto& m : kMessages) {
        cRow row(TABLE_MESSAGES);
        row.Int("time_utc", 1)
            .Text("technology", m.mTechnology)
            .Text("channel", m.mKind)
            .Int("log_code", 0xB0C0);
        if (m.mSubscription != 0) {
            row.Int("subscription", m.mSubscription);
        }
        row.To(overview);
    }
    std::vector<std::tuple<uint32_t, std::string, std::string, uint64_t>> counts;
    for (const sMessageCount& count : overview.Messages()) {
        counts.emplace_back(count.mSubscription, count.mTechnology, count.mKind, count.mCount);
    }
    const std::vector<std::tuple<uint32_t, std::string, std::string, uint64_t>> expected = {
        {0, "gsm", "GSM RR CCCH", 1},   {1, "lte", "LTE RRC DL-DCCH", 1}, {1, "lte", "LTE RRC UL-DCCH", 3},
        {1, "nr", "NR RRC UL-DCCH", 1}, {2, "lte", "LTE RRC UL-DCCH", 1},
    };
    EXPECT_EQ(counts, expected);
}

// Serving and neighbour cells have limits of their own, so that many neighbours never crowd out a serving
// cell; values beyond the limits are counted. The cells and events tables keep their first rows.
TEST(CaptureOverview, LimitsBoundWhatIsKept) {
    sOverviewLimits limits;
    limits.mBuckets = 16;
    limits.mServingSeries = 2;
    limits.mNeighbourSeries = 3;
    limits.mTableRows = 2;
    cCaptureOverview overview(limits);
    for (int64_t cell = 0; cell < 10; ++cell) {
        Measured(1000 + cell, 0, false, 100, cell).Real("rsrp_dbm", -100).To(overview);
    }
    for (int64_t cell = 0; cell < 4; ++cell) {
        Measured(2000 + cell, 0, true, 100, 50 + cell).Real("rsrp_dbm", -80).To(overview);
    }
    size_t serving = 0;
    size_t neighbours = 0;
    size_t allServing = 0;
    for (const sOverviewSeries& series : overview.Series()) {
        (series.mAllServing ? allServing : series.mServing ? serving : neighbours) += 1;
    }
    EXPECT_EQ(serving, 2u);
    EXPECT_EQ(neighbours, 3u);
    EXPECT_EQ(allServing, 1u);
    EXPECT_EQ(Aggregate(overview, *Find(overview, 0, true, -1, "rsrp_dbm")).mCount, 4u);
    EXPECT_NE(Find(overview, 0, true, 51, "rsrp_dbm"), nullptr);
    EXPECT_EQ(Find(overview, 0, true, 52, "rsrp_dbm"), nullptr);
    EXPECT_EQ(overview.ValuesNotKept(), 7u + 2u);
    // A cell already kept still takes values.
    Measured(3000, 0, false, 100, 1).Real("rsrp_dbm", -101).To(overview);
    EXPECT_EQ(Aggregate(overview, *Find(overview, 0, false, 1, "rsrp_dbm")).mCount, 2u);

    for (int i = 0; i < 5; ++i) {
        cRow(TABLE_EVENTS)
            .Int("time_utc", 1000 + i)
            .Text("technology", "lte")
            .Text("event", "handover")
            .To(overview);
    }
    cRow(TABLE_CELLS).Int("from_utc", 1).Int("to_utc", 2).Text("technology", "lte").To(overview);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_EVENTS), 2u);
    EXPECT_EQ(overview.RowsNotKept(TABLE_EVENTS), 3u);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_CELLS), 1u);
    EXPECT_EQ(overview.RowsNotKept(TABLE_CELLS), 0u);
}

// Collects what the measurements table holds per series, to hold the overview against.
class cMeasuredValues : public cTableSink {
public:
    using tKey = std::tuple<int64_t, std::string, int64_t, int64_t, int64_t, std::string>;
    bool Row(eTable table, const sValue* values) override {
        if (table != TABLE_MEASUREMENTS) {
            return true;
        }
        const sTableDef& def = TableDef(table);
        auto value = [&](const char* name) -> const sValue& { return values[Column(table, name)]; };
        auto number = [](const sValue& v, int64_t missing) { return v.mNull ? missing : v.mInt; };
        for (size_t i = 0; i < def.mCount; ++i) {
            if (def.mColumns[i].mType != COLUMN_REAL || values[i].mNull) {
                continue;
            }
            const sValue& technology = value("technology");
            const tKey key{number(value("subscription"), 0), std::string(technology.mText, technology.mSize),
                           number(value("serving"), 0),      number(value("arfcn"), -1),
                           number(value("pci"), -1),         def.mColumns[i].mName};
            mSeries[key].Add(1, values[i].mReal, values[i].mReal, values[i].mReal);
            ++mValues;
        }
        return true;
    }
    std::map<tKey, sAggregate> mSeries;
    uint64_t mValues = 0;
};

// A real capture (serving cells, neighbours and cell information of lte_meas2016.bin, in capture order): the
// overview's series hold every value of the measurements table, with the same extremes and sums, and
// count the messages the messages table has.
TEST(CaptureOverview, HoldsEveryMeasuredValueOfARealCapture) {
    const std::vector<Bytes> packets = HexLines("meas_lte_2016.txt");
    ASSERT_GT(packets.size(), 300u);
    cCaptureOverview overview;
    cMeasuredValues table;
    cCaptureTables forOverview(kAllTables);
    cCaptureTables forTable(kAllTables);
    for (size_t i = 0; i < packets.size(); ++i) {
        const int64_t timeMs = 1453093617748 + 250 * static_cast<int64_t>(i);
        ASSERT_TRUE(forOverview.Item(i, packets[i].data(), packets[i].size(), 5, timeMs, overview));
        ASSERT_TRUE(forTable.Item(i, packets[i].data(), packets[i].size(), 5, timeMs, table));
    }
    forOverview.Finish(overview);
    forTable.Finish(table);

    ASSERT_GT(table.mValues, 1000u);
    // Every serving cell's values together, per subscription, technology and quantity.
    std::map<cMeasuredValues::tKey, sAggregate> allServing;
    for (const auto& entry : table.mSeries) {
        if (std::get<2>(entry.first) == 1) {
            cMeasuredValues::tKey key = entry.first;
            std::get<3>(key) = -1;
            std::get<4>(key) = -1;
            const sAggregate& one = entry.second;
            allServing[key].Add(one.mCount, one.mMinimum, one.mMaximum, one.mSum);
        }
    }
    ASSERT_FALSE(allServing.empty());
    ASSERT_EQ(overview.Series().size(), table.mSeries.size() + allServing.size());
    for (const sOverviewSeries& series : overview.Series()) {
        const cMeasuredValues::tKey key{series.mSubscription,
                                        series.mTechnology,
                                        series.mServing ? 1 : 0,
                                        series.mChannel,
                                        series.mCell,
                                        TableDef(TABLE_MEASUREMENTS).mColumns[series.mColumn].mName};
        const auto& expectedSeries = series.mAllServing ? allServing : table.mSeries;
        ASSERT_EQ(expectedSeries.count(key), 1u);
        const sAggregate& expected = expectedSeries.at(key);
        const sAggregate actual = Aggregate(overview, series);
        EXPECT_EQ(actual.mCount, expected.mCount);
        EXPECT_EQ(actual.mMinimum, expected.mMinimum);
        EXPECT_EQ(actual.mMaximum, expected.mMaximum);
        EXPECT_NEAR(actual.mSum, expected.mSum, 1e-6 * std::fabs(expected.mSum));
    }
    uint64_t messages = 0;
    for (const sMessageCount& count : overview.Messages()) {
        messages += count.mCount;
    }
    EXPECT_EQ(messages, forTable.Summary().mRows[TABLE_MESSAGES]);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_CELLS), forTable.Summary().mRows[TABLE_CELLS]);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_EVENTS), forTable.Summary().mRows[TABLE_EVENTS]);
}

}  // namespace
