#include "overview/CaptureOverview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
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

// A row of a capture table built by column name; the other columns, and negative integers, are missing.
class cRow {
public:
    explicit cRow(eTable table) : mTable(table), mValues(TableDef(table).mCount) {}
    cRow& Int(const char* name, int64_t value) { return value < 0 ? *this : Set(name, ::Int(value)); }
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

cRow Measured(int64_t timeMs, int64_t subscription, bool serving, int64_t cell) {
    cRow row(TABLE_MEASUREMENTS);
    row.Int("time_utc", timeMs).Int("subscription", subscription).Text("technology", "lte");
    row.Int("serving", serving ? 1 : 0).Int("arfcn", 1825).Int("pci", cell);
    return row;
}

struct sAggregate {
    uint64_t mCount = 0;
    double mMinimum = INFINITY;
    double mMaximum = -INFINITY;
    void Add(uint64_t count, double minimum, double maximum) {
        mCount += count;
        mMinimum = std::min(mMinimum, minimum);
        mMaximum = std::max(mMaximum, maximum);
    }
};

// Every series, a line each: subscription, technology, serving/neighbour/all serving, channel, cell,
// quantity, count, minimum..maximum.
std::string Series(const cCaptureOverview& overview) {
    const cSeriesDecimator& decimator = overview.Decimator();
    std::ostringstream out;
    out << std::setprecision(17);
    for (const sOverviewSeries& series : overview.Series()) {
        sAggregate aggregate;
        for (size_t i = 0; i < decimator.BucketCount(); ++i) {
            aggregate.Add(decimator.Count(series.mIndex)[i], decimator.Minimum(series.mIndex)[i],
                          decimator.Maximum(series.mIndex)[i]);
        }
        const char* kind = series.mAllServing ? "all" : series.mServing ? "serving" : "neighbour";
        out << series.mSubscription << ' ' << series.mTechnology << ' ' << kind << ' ' << series.mChannel
            << ' ' << series.mCell << ' ' << TableDef(TABLE_MEASUREMENTS).mColumns[series.mColumn].mName
            << ' ' << aggregate.mCount << ' ' << aggregate.mMinimum << ".." << aggregate.mMaximum << '\n';
    }
    return out.str();
}

// A series per subscription, cell and quantity a row gives, and for serving cells one of all serving cells
// together (values of lte_bler.bin's first 0xB193 rows).
TEST(CaptureOverview, EachQuantityOfEachCellIsASeries) {
    cCaptureOverview overview;
    Measured(1564481946774, 1, true, 73).Real("rsrp_dbm", -99.1875).Real("rsrq_db", -8.125).To(overview);
    Measured(1564481946774, 1, false, 220).Real("rsrp_dbm", -111.125).To(overview);
    Measured(1564481946784, 1, true, 73).Real("rsrp_dbm", -98.5).Real("rsrq_db", -9.0625).To(overview);
    Measured(1564481946790, 2, true, 73).Real("rsrp_dbm", -90.25).To(overview);
    EXPECT_EQ(Series(overview),
              "1 lte serving 1825 73 rsrp_dbm 2 -99.1875..-98.5\n"
              "1 lte all -1 -1 rsrp_dbm 2 -99.1875..-98.5\n"
              "1 lte serving 1825 73 rsrq_db 2 -9.0625..-8.125\n"
              "1 lte all -1 -1 rsrq_db 2 -9.0625..-8.125\n"
              "1 lte neighbour 1825 220 rsrp_dbm 1 -111.125..-111.125\n"
              "2 lte serving 1825 73 rsrp_dbm 1 -90.25..-90.25\n"
              "2 lte all -1 -1 rsrp_dbm 1 -90.25..-90.25\n");
    EXPECT_EQ(overview.ValuesNotKept(), 0u);
    EXPECT_EQ(overview.Decimator().Origin(), 1564481946774) << "the grid starts at the first value";
}

// The tool-version record opens every file with the recording host's clock: it is counted but left out
// of the capture's time span.
TEST(CaptureOverview, ItemsAndTheirSpanLeaveOutTheToolVersionRecord) {
    cCaptureOverview overview;
    int64_t first = 0;
    int64_t last = 0;
    EXPECT_FALSE(overview.Span(first, last));
    const int64_t items[][3] = {{1795000000000, -1, TOOL_VERSION_LOG_CODE},  // time, subscription, log code
                                {1605527780445, 1, 0xB0C0},
                                {1605527974060, 2, 0xB0C0},
                                {1605527800000, 1, -1}};
    for (const auto& item : items) {
        cRow(TABLE_ITEMS)
            .Int("time_utc", item[0])
            .Int("subscription", item[1])
            .Int("log_code", item[2])
            .To(overview);
    }
    EXPECT_EQ(overview.Items(), 4u);
    ASSERT_TRUE(overview.Span(first, last));
    EXPECT_EQ(first, 1605527780445);
    EXPECT_EQ(last, 1605527974060);
    const std::map<uint32_t, uint64_t> expected = {{0, 1}, {1, 2}, {2, 1}};
    EXPECT_EQ(overview.ItemsBySubscription(), expected);
}

// Counted per subscription, technology and kind, as kinds come back after others.
TEST(CaptureOverview, MessagesAreCountedPerSubscriptionTechnologyAndKind) {
    cCaptureOverview overview;
    const struct {
        int64_t mSubscription;
        const char* mTechnology;
        const char* mKind;
    } kMessages[] = {
        {1, "lte", "LTE RRC UL-DCCH"}, {1, "lte", "LTE RRC UL-DCCH"}, {1, "lte", "LTE RRC DL-DCCH"},
        {2, "lte", "LTE RRC UL-DCCH"}, {1, "lte", "LTE RRC UL-DCCH"}, {1, "nr", "NR RRC UL-DCCH"},
        {-1, "gsm", "GSM RR CCCH"},
    };
    for (const auto& m : kMessages) {
        cRow(TABLE_MESSAGES)
            .Int("subscription", m.mSubscription)
            .Text("technology", m.mTechnology)
            .Text("channel", m.mKind)
            .To(overview);
    }
    std::ostringstream counts;
    for (const sMessageCount& count : overview.Messages()) {
        counts << count.mSubscription << ' ' << count.mTechnology << ' ' << count.mKind << ' ' << count.mCount
               << '\n';
    }
    EXPECT_EQ(counts.str(),
              "0 gsm GSM RR CCCH 1\n1 lte LTE RRC DL-DCCH 1\n1 lte LTE RRC UL-DCCH 3\n1 nr NR RRC UL-DCCH 1\n"
              "2 lte LTE RRC UL-DCCH 1\n");
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
        Measured(1000 + cell, -1, false, cell).Real("rsrp_dbm", -100).To(overview);
    }
    for (int64_t cell = 0; cell < 4; ++cell) {
        Measured(2000 + cell, -1, true, 50 + cell).Real("rsrp_dbm", -80).To(overview);
    }
    EXPECT_EQ(overview.ValuesNotKept(), 7u + 2u);
    // A cell already kept still takes values.
    Measured(3000, -1, false, 1).Real("rsrp_dbm", -101).To(overview);
    EXPECT_EQ(Series(overview),
              "0 lte neighbour 1825 0 rsrp_dbm 1 -100..-100\n"
              "0 lte neighbour 1825 1 rsrp_dbm 2 -101..-100\n"
              "0 lte neighbour 1825 2 rsrp_dbm 1 -100..-100\n"
              "0 lte serving 1825 50 rsrp_dbm 1 -80..-80\n"
              "0 lte all -1 -1 rsrp_dbm 4 -80..-80\n"
              "0 lte serving 1825 51 rsrp_dbm 1 -80..-80\n");

    for (int i = 0; i < 5; ++i) {
        cRow(TABLE_EVENTS)
            .Int("time_utc", 1000 + i)
            .Text("technology", "lte")
            .Text("event", "x")
            .To(overview);
    }
    cRow(TABLE_CELLS).Int("from_utc", 1).Int("to_utc", 2).Text("technology", "lte").To(overview);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_EVENTS), 2u);
    EXPECT_EQ(overview.RowsNotKept(TABLE_EVENTS), 3u);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_CELLS), 1u);
    EXPECT_EQ(overview.RowsNotKept(TABLE_CELLS), 0u);
}

// The series the measurements table's values make, as Series() gives them, line by line in sorted order.
class cMeasuredValues : public cTableSink {
public:
    bool Row(eTable table, const sValue* values) override {
        if (table != TABLE_MEASUREMENTS) {
            return true;
        }
        auto number = [&](const char* name) {
            const sValue& value = values[Column(table, name)];
            return value.mNull ? -1 : value.mInt;
        };
        const sValue& technology = values[Column(table, "technology")];
        const std::string cell = std::to_string(std::max<int64_t>(number("subscription"), 0)) + ' ' +
                                 std::string(technology.mText, technology.mSize) + ' ';
        const bool serving = number("serving") == 1;
        const sTableDef& def = TableDef(table);
        for (size_t i = 0; i < def.mCount; ++i) {
            if (def.mColumns[i].mType == COLUMN_REAL && !values[i].mNull) {
                const std::string quantity = std::string(" ") + def.mColumns[i].mName;
                const double v = values[i].mReal;
                mSeries[cell + (serving ? "serving " : "neighbour ") + std::to_string(number("arfcn")) + ' ' +
                        std::to_string(number("pci")) + quantity]
                    .Add(1, v, v);
                if (serving) {
                    mSeries[cell + "all -1 -1" + quantity].Add(1, v, v);
                }
                ++mValues;
            }
        }
        return true;
    }
    std::map<std::string, sAggregate> mSeries;
    uint64_t mValues = 0;
};

std::vector<std::string> SortedLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Real capture lte_meas2016.bin: the series hold every value of the measurements table with the same
// extremes, and the messages, cells and events the tables have are counted.
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
    std::ostringstream expected;
    expected << std::setprecision(17);
    for (const auto& entry : table.mSeries) {
        const sAggregate& one = entry.second;
        expected << entry.first << ' ' << one.mCount << ' ' << one.mMinimum << ".." << one.mMaximum << '\n';
    }
    EXPECT_EQ(SortedLines(Series(overview)), SortedLines(expected.str()));
    uint64_t messages = 0;
    for (const sMessageCount& count : overview.Messages()) {
        messages += count.mCount;
    }
    EXPECT_EQ(messages, forTable.Summary().mRows[TABLE_MESSAGES]);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_CELLS), forTable.Summary().mRows[TABLE_CELLS]);
    EXPECT_EQ(overview.TableRows().Rows(TABLE_EVENTS), forTable.Summary().mRows[TABLE_EVENTS]);
}

}  // namespace
