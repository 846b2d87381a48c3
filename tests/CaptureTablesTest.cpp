// The tables of a capture: their columns as the tool and every other front end name them, the rows of the
// real captures A and B (counts from tshark's decode of the exported messages and from the captures' own
// descriptions), and the reading of a file through the library's reader.
#include "tables/CaptureTables.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "jni/ISFStore.h"
#include "tests/ISFTestSupport.h"
#include "tests/StreamPackets.h"

namespace {

using Counts = std::map<std::string, unsigned int>;

std::string TextOf(const sValue& value) {
    return value.mNull ? std::string() : std::string(value.mText, value.mSize);
}

// Keeps what the tests look at: rows per table, and chosen columns counted by value.
class cCountingSink : public cTableSink {
public:
    bool Row(eTable table, const sValue* values) override {
        ++mRows[table];
        const sTableDef& def = TableDef(table);
        for (size_t i = 0; i < def.mCount; ++i) {
            if (def.mColumns[i].mType == COLUMN_TEXT) {
                ++mTexts[std::string(def.mName) + "." + def.mColumns[i].mName + "=" + TextOf(values[i])];
            }
        }
        if (table == TABLE_ITEMS && mFirstItems.size() < 3) {
            mFirstItems.emplace_back(values, values + def.mCount);
        }
        if (table == TABLE_MESSAGES) {
            ++mSubscriptions[values[1].mNull ? 0 : static_cast<unsigned int>(values[1].mInt)];
        }
        return mStopAfter == 0 || mRows[table] < mStopAfter;
    }
    std::map<eTable, uint64_t> mRows;
    Counts mTexts;
    std::vector<std::vector<sValue>> mFirstItems;
    std::map<unsigned int, unsigned int> mSubscriptions;
    uint64_t mStopAfter = 0;
};

void Feed(const std::vector<Bytes>& packets, uint32_t tables, cCountingSink& sink, sTableSummary& summary) {
    cCaptureTables capture(tables);
    uint64_t index = 0;
    for (const Bytes& packet : packets) {
        ASSERT_TRUE(capture.Item(index++, packet.data(), packet.size(), 5, 0, sink));
    }
    capture.Finish(sink);
    summary = capture.Summary();
}

TEST(CaptureTables, ColumnsInTheOrderTheToolPrintsThem) {
    const struct {
        eTable mTable;
        const char* mName;
        const char* mColumns;
    } cases[] = {
        {TABLE_MESSAGES, "messages",
         "time_utc,subscription,technology,channel,direction,arfcn,pci,log_code,message"},
        {TABLE_MEASUREMENTS, "measurements",
         "time_utc,subscription,technology,log_code,serving,arfcn,pci,rsrp_dbm,rsrq_db,rssi_dbm,sinr_db,rscp_"
         "dbm,"
         "ecio_db,rxlev_dbm"},
        {TABLE_CELLS, "cells",
         "from_utc,to_utc,subscription,technology,arfcn,pci,cell_id,tac,mcc,mnc,band,bandwidth_mhz,entered_"
         "by,"
         "rsrp_median_dbm,rsrq_median_db,measurements"},
        {TABLE_EVENTS, "events", "time_utc,subscription,technology,event,detail"},
    };
    for (const auto& c : cases) {
        const sTableDef& def = TableDef(c.mTable);
        EXPECT_STREQ(def.mName, c.mName);
        std::string columns;
        for (size_t i = 0; i < def.mCount; ++i) {
            columns += (i == 0 ? "" : ",") + std::string(def.mColumns[i].mName);
        }
        EXPECT_EQ(columns, c.mColumns);
        eTable found = TABLE_COUNT;
        EXPECT_TRUE(TableByName(c.mName, found));
        EXPECT_EQ(found, c.mTable);
    }
    eTable none = TABLE_COUNT;
    EXPECT_FALSE(TableByName("message", none));
}

TEST(CaptureTables, MessagesOfCaptureAAreTheOnesTsharkDecodes) {
    cCountingSink sink;
    sTableSummary summary;
    const std::vector<Bytes> packets = StreamPackets("raw_diag_stream_a.bin");
    Feed(packets, TableBit(TABLE_MESSAGES), sink, summary);
    EXPECT_EQ(sink.mRows[TABLE_MESSAGES], 4852u);
    EXPECT_EQ(sink.mRows.count(TABLE_ITEMS), 0u) << "only the wanted tables";
    EXPECT_EQ(summary.mItems, packets.size());
    // tshark on the export of capture A: LTE RRC 4,343 and NAS-EPS 95; GSM RR 378 and GPRS GMM/SM 9;
    // UMTS NAS 27.
    EXPECT_EQ(sink.mTexts["messages.technology=lte"], 4343u + 95u);
    EXPECT_EQ(sink.mTexts["messages.technology=gsm"], 378u + 9u);
    EXPECT_EQ(sink.mTexts["messages.technology=wcdma"], 27u);
    const Counts channels = {{"LTE RRC PCCH", 3368},   {"LTE RRC UL-DCCH", 360},
                             {"LTE RRC DL-DCCH", 285}, {"LTE RRC BCCH-DL-SCH", 251},
                             {"LTE RRC DL-CCCH", 40},  {"LTE RRC UL-CCCH", 39},
                             {"GSM RR CCCH", 207},     {"GSM RR BCCH", 152},
                             {"UMTS NAS", 27},         {"GPRS GMM/SM", 9}};
    for (const auto& channel : channels) {
        EXPECT_EQ(sink.mTexts["messages.channel=" + channel.first], channel.second) << channel.first;
    }
    // A single-SIM phone names no subscription.
    EXPECT_EQ(sink.mSubscriptions, (std::map<unsigned int, unsigned int>{{0, 4852}}));
}

TEST(CaptureTables, MessagesInsideTheMultiSIMWrapperKeepTheirSubscription) {
    cCountingSink sink;
    sTableSummary summary;
    Feed(StreamPackets("raw_diag_stream_b.bin"), TableBit(TABLE_MESSAGES), sink, summary);
    EXPECT_EQ(sink.mRows[TABLE_MESSAGES], 18u);
    EXPECT_EQ(sink.mTexts["messages.technology=nr"], 18u);
    EXPECT_EQ(sink.mSubscriptions, (std::map<unsigned int, unsigned int>{{1, 18}}));
}

TEST(CaptureTables, ItemsOfAFileReadThroughTheReader) {
    isftest::cTempDir dir;
    const std::string path = dir.File("a.isf");
    const std::vector<Bytes> packets = StreamPackets("raw_diag_stream_a.bin");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        for (const Bytes& packet : packets) {
            ASSERT_EQ(
                store.WriteItem(3, static_cast<unsigned int>(packet.size()), packet.data(), isftest::kT0),
                0u);
        }
        store.CloseFileStore();
    }
    cCountingSink sink;
    sTableSummary summary;
    std::string error;
    ASSERT_TRUE(
        ReadCaptureTables(path, TableBit(TABLE_ITEMS) | TableBit(TABLE_MESSAGES), sink, summary, error))
        << error;
    const sISFFile file = ReadISFFile(path);
    EXPECT_EQ(sink.mRows[TABLE_ITEMS], file.mItems.size());
    EXPECT_EQ(sink.mRows[TABLE_MESSAGES], 4852u);
    EXPECT_EQ(sink.mTexts["items.message_kind=LTE RRC PCCH"], 3368u);
    // Item 0 is the tool-version record (a log 0x1FFD); item 1 the first packet of the stream, a log
    // 0xB0EE, at 2020-01-01T00:00:00Z as written.
    ASSERT_EQ(sink.mFirstItems.size(), 3u);
    EXPECT_EQ(sink.mFirstItems[0][7].mInt, 0x1FFD);
    EXPECT_EQ(TextOf(sink.mFirstItems[0][3]), "log");
    EXPECT_EQ(sink.mFirstItems[1][0].mInt, 1);
    EXPECT_EQ(sink.mFirstItems[1][1].mInt, 1577836800000);
    EXPECT_EQ(sink.mFirstItems[1][7].mInt, 0xB0EE);
    EXPECT_TRUE(sink.mFirstItems[1][6].mNull) << "no subscription";
}

TEST(CaptureTables, ASinkThatStopsEndsTheReading) {
    cCountingSink sink;
    sink.mStopAfter = 10;
    cCaptureTables capture(TableBit(TABLE_MESSAGES));
    bool going = true;
    uint64_t index = 0;
    for (const Bytes& packet : StreamPackets("raw_diag_stream_a.bin")) {
        going = capture.Item(index++, packet.data(), packet.size(), 5, 0, sink);
        if (!going) {
            break;
        }
    }
    EXPECT_FALSE(going);
    EXPECT_EQ(sink.mRows[TABLE_MESSAGES], 10u);
}

TEST(CaptureTables, FilesThatCannotBeReadSayWhy) {
    isftest::cTempDir dir;
    std::ofstream(dir.File("text.isf")) << "not an item store file, just some text\n";
    std::ofstream(dir.File("empty.isf"));
    const struct {
        std::string mPath;
        const char* mSays;
    } cases[] = {
        {dir.File("missing.isf"), "No such file"},
        {dir.File("text.isf"), "not a readable item store file"},
        {dir.File("empty.isf"), "empty.isf"},
    };
    for (const auto& c : cases) {
        cCountingSink sink;
        sTableSummary summary;
        std::string error;
        EXPECT_FALSE(ReadCaptureTables(c.mPath, kAllTables, sink, summary, error)) << c.mPath;
        EXPECT_NE(error.find(c.mSays), std::string::npos) << error;
        EXPECT_EQ(sink.mRows[TABLE_ITEMS], 0u);
    }
}

}  // namespace
