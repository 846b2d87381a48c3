// The columnar sink (tables/ColumnSink.h): every column type handed over whole with its missing values,
// texts coded against a sorted dictionary, bytes read back row by row across the growth of their arrays,
// and the rows of a real capture column by column as the row-by-row sink sees them.
#include "tables/ColumnSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tables/CaptureTables.h"
#include "tests/StreamPackets.h"
#include "tests/TableValues.h"

namespace {

template <class T>
std::vector<T> Taken(T* values, size_t rows) {
    std::vector<T> out(values, values + rows);
    FreeColumnArray(values);
    return out;
}

TEST(ColumnSink, EveryTypeWithItsMissingValues) {
    const struct {
        eColumnType mType;
        std::vector<sValue> mValues;
    } columns[] = {
        {COLUMN_TIME, {Int(1438395100984), Null(), Int(0)}},
        {COLUMN_INT, {Null(), Int(-5), Int(1LL << 40)}},
        {COLUMN_CODE, {Int(0xB0C0), Int(0x713A), Null()}},
    };
    for (const auto& c : columns) {
        cColumnData column(c.mType);
        for (const sValue& value : c.mValues) {
            ASSERT_TRUE(column.Add(value));
        }
        ASSERT_EQ(column.Rows(), 3u);
        const std::vector<int64_t> values = Taken(column.TakeInts(), 3);
        const std::vector<uint8_t> missing = Taken(column.TakeMissing(), 3);
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(missing[i] != 0, c.mValues[i].mNull) << i;
            EXPECT_EQ(values[i], c.mValues[i].mNull ? 0 : c.mValues[i].mInt) << i;
        }
    }
    cColumnData reals(COLUMN_REAL);
    for (const sValue& value : {Real(-101.5), Null(), Real(0)}) {
        ASSERT_TRUE(reals.Add(value));
    }
    const std::vector<double> values = Taken(reals.TakeReals(), 3);
    EXPECT_EQ(values[0], -101.5);
    EXPECT_TRUE(std::isnan(values[1]));
    EXPECT_EQ(values[2], 0.0);
}

TEST(ColumnSink, TextsAreCodedAgainstASortedDictionary) {
    cColumnData column(COLUMN_TEXT);
    // "lte" again after another text, a missing one, and texts that share a prefix.
    const std::vector<std::string> texts = {"lte", "gsm", "lte", "", "wcdma", "lte", "nr", "nr5", "gsm"};
    for (const std::string& text : texts) {
        ASSERT_TRUE(column.Add(text.empty() ? Null() : Text(text)));
    }
    std::vector<std::string> dictionary;
    const std::vector<int32_t> codes = Taken(column.TakeTexts(dictionary), texts.size());
    EXPECT_EQ(dictionary, (std::vector<std::string>{"gsm", "lte", "nr", "nr5", "wcdma"}));
    EXPECT_EQ(codes, (std::vector<int32_t>{1, 0, 1, -1, 4, 1, 2, 3, 0}));
}

TEST(ColumnSink, TheSameBufferWithNewTextIsANewText) {
    // A caller may reuse one buffer for every row (the cells table's MNC): the text, not the address, counts.
    cColumnData column(COLUMN_TEXT);
    char buffer[4] = "01";
    const sValue value = Text(std::string_view(buffer, 2));
    ASSERT_TRUE(column.Add(Text("01")));
    ASSERT_TRUE(column.Add(value));
    buffer[1] = '2';
    ASSERT_TRUE(column.Add(value));
    std::vector<std::string> dictionary;
    const std::vector<int32_t> codes = Taken(column.TakeTexts(dictionary), 3);
    EXPECT_EQ(dictionary, (std::vector<std::string>{"01", "02"}));
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 0, 1}));
}

TEST(ColumnSink, BytesComeBackRowByRowAcrossTheArraysGrowth) {
    cColumnData column(COLUMN_BYTES);
    // Enough rows and bytes to move the arrays several times and to give pages back while reading.
    std::vector<std::string> rows;
    for (size_t i = 0; i < 200000; ++i) {
        rows.push_back(i % 1000 == 7 ? std::string() : std::string(i % 61, static_cast<char>('a' + i % 26)));
    }
    for (size_t i = 0; i < rows.size(); ++i) {
        // Every 1000th row from 7 is missing; row 0 is present and empty.
        ASSERT_TRUE(column.Add(i % 1000 == 7 ? Null() : Text(rows[i])));
    }
    const unsigned char* data = nullptr;
    size_t size = 0;
    size_t row = 0;
    while (column.NextBytes(data, size)) {
        ASSERT_LT(row, rows.size());
        if (row % 1000 == 7) {
            EXPECT_EQ(data, nullptr) << row;
        } else {
            ASSERT_NE(data, nullptr) << row;
            ASSERT_EQ(std::string(reinterpret_cast<const char*>(data), size), rows[row]) << row;
        }
        ++row;
    }
    EXPECT_EQ(row, rows.size());
}

// The row-by-row view the tool's text output takes, to compare with.
class cKeepRows : public cTableSink {
public:
    bool Row(eTable table, const sValue* values) override {
        if (table == TABLE_MESSAGES) {
            mTimes.push_back(values[0].mInt);
            mSubscriptions.push_back(values[1].mNull ? -1 : values[1].mInt);
            mChannels.emplace_back(values[3].mText, values[3].mSize);
            mArfcns.push_back(values[5].mNull ? -1 : values[5].mInt);
            mMessages.emplace_back(values[8].mText, values[8].mSize);
        }
        return true;
    }
    std::vector<int64_t> mTimes, mSubscriptions, mArfcns;
    std::vector<std::string> mChannels, mMessages;
};

TEST(ColumnSink, CaptureAColumnByColumnAsRowByRow) {
    const std::vector<Bytes> packets = StreamPackets("raw_diag_stream_a.bin");
    cKeepRows rows;
    cColumnSink columns(TableBit(TABLE_MESSAGES));
    for (cTableSink* sink : {static_cast<cTableSink*>(&rows), static_cast<cTableSink*>(&columns)}) {
        cCaptureTables capture(TableBit(TABLE_MESSAGES));
        uint64_t index = 0;
        for (const Bytes& packet : packets) {
            ASSERT_TRUE(capture.Item(index, packet.data(), packet.size(), 5,
                                     1438395100000 + static_cast<int64_t>(index), *sink));
            ++index;
        }
        capture.Finish(*sink);
    }
    const size_t n = columns.Rows(TABLE_MESSAGES);
    ASSERT_EQ(n, 4852u);  // tshark's count of the exported messages
    EXPECT_FALSE(columns.Keeps(TABLE_ITEMS));
    EXPECT_EQ(Taken(columns.Column(TABLE_MESSAGES, 0).TakeInts(), n), rows.mTimes);
    std::vector<int64_t> subscriptions = Taken(columns.Column(TABLE_MESSAGES, 1).TakeInts(), n);
    const std::vector<uint8_t> noSubscription = Taken(columns.Column(TABLE_MESSAGES, 1).TakeMissing(), n);
    std::vector<int64_t> arfcns = Taken(columns.Column(TABLE_MESSAGES, 5).TakeInts(), n);
    const std::vector<uint8_t> noArfcn = Taken(columns.Column(TABLE_MESSAGES, 5).TakeMissing(), n);
    std::vector<std::string> dictionary;
    const std::vector<int32_t> channels = Taken(columns.Column(TABLE_MESSAGES, 3).TakeTexts(dictionary), n);
    cColumnData& messages = columns.Column(TABLE_MESSAGES, 8);
    for (size_t i = 0; i < n; ++i) {
        EXPECT_EQ(noSubscription[i] ? -1 : subscriptions[i], rows.mSubscriptions[i]) << i;
        EXPECT_EQ(noArfcn[i] ? -1 : arfcns[i], rows.mArfcns[i]) << i;
        EXPECT_EQ(dictionary[static_cast<size_t>(channels[i])], rows.mChannels[i]) << i;
        const unsigned char* data = nullptr;
        size_t size = 0;
        ASSERT_TRUE(messages.NextBytes(data, size));
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(data), size), rows.mMessages[i]) << i;
    }
}

}  // namespace
