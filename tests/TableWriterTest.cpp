// The table writer: CSV quoting, JSON escaping, aligned text, and the text of each value: times as the tool's
// dump prints them, real numbers exactly.
#include "tables/TableWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "jni/ISFFormat.h"
#include "tables/CaptureTables.h"
#include "tables/ValueText.h"
#include "tests/DiagPackets.h"
#include "tests/TableValues.h"
#include "tools/palvorin/ItemInfo.h"

namespace {

class cStringOutput : public cTextOutput {
public:
    bool Write(const char* data, size_t size) override {
        if (mFailAfter != 0 && mText.size() + size > mFailAfter) {
            return false;
        }
        mText.append(data, size);
        return true;
    }
    std::string mText;
    size_t mFailAfter = 0;
};

// An events row (time, subscription, technology, event, detail).
std::vector<sValue> Event(int64_t time, sValue subscription, const char* event, const char* detail) {
    return {Int(time), subscription, Text("lte"), Text(event), detail[0] != '\0' ? Text(detail) : Null()};
}

std::string Write(eTable table, eTableFormat format, const std::vector<std::vector<sValue>>& rows) {
    cStringOutput output;
    cTableWriter writer(table, format, output);
    for (const auto& row : rows) {
        EXPECT_TRUE(writer.Row(table, row.data()));
    }
    EXPECT_TRUE(writer.Finish());
    EXPECT_EQ(writer.Rows(), rows.size());
    return output.mText;
}

TEST(TableWriter, TimesAsDumpPrintsThem) {
    // The facts page's worked example (capture A's first packet, 2015-08-01 02:11:40.984841), the last
    // time of four digits and one before 1970, then every day of 1970 to 2104, all against dump.
    const int64_t kMsFrom1601 = static_cast<int64_t>(FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS);
    const struct {
        int64_t mMs;
        const char* mText;
    } cases[] = {
        {1438395100984, "2015-08-01T02:11:40.984Z"},
        {253402300799999, "9999-12-31T23:59:59.999Z"},
        {-1, "before-1970"},
    };
    for (const auto& c : cases) {
        char text[kValueTextSize];
        EXPECT_EQ(std::string(text, FormatTimeUTC(c.mMs, text)), c.mText);
        EXPECT_EQ(FormatUTC(static_cast<uint64_t>(c.mMs + kMsFrom1601)), c.mText);
    }
    cTimeText cached;
    for (int64_t day = 0; day < 49000; day += 1) {
        const int64_t ms = day * 86400000 + (day * 7919) % 86400000;
        char text[kValueTextSize];
        const std::string ours(text, cached.Format(ms, text));
        ASSERT_EQ(ours, FormatUTC(static_cast<uint64_t>(ms + kMsFrom1601))) << day;
    }
}

TEST(TableWriter, NumbersExactly) {
    // Every multiple of 1/128 and 1/10 over the measurement ranges and beyond, values off that grid and
    // NaN, as the standard library's shortest form writes them.
    std::vector<double> values = {-0.0,      1e-300,          5e-324, 1e300, 16777216.5, 2147483647.0 / 128,
                                  0.1 + 0.2, 1e7 + 1.0 / 128, NAN};
    for (int64_t k = -200 * 128; k <= 60 * 128; ++k) {
        values.push_back(static_cast<double>(k) / 128);
        values.push_back(static_cast<double>(k) / 10);
    }
    for (double value : values) {
        char ours[kValueTextSize];
        char theirs[kValueTextSize];
        const std::to_chars_result result = std::to_chars(theirs, theirs + sizeof theirs, value);
        ASSERT_EQ(std::string(ours, FormatReal(value, ours)), std::string(theirs, result.ptr)) << value;
    }
    const struct {
        int64_t mValue;
        const char* mInteger;
        const char* mCode;
    } integers[] = {
        {0xB193, "45459", "0xB193"},
        {0x60, "96", "0x0060"},
        {-5, "-5", "0xFFFFFFFFFFFFFFFB"},
        {std::numeric_limits<int64_t>::min(), "-9223372036854775808", "0x8000000000000000"},
    };
    for (const auto& c : integers) {
        char text[kValueTextSize];
        EXPECT_EQ(std::string(text, FormatInteger(c.mValue, text)), c.mInteger);
        EXPECT_EQ(std::string(text, FormatCode(c.mValue, text)), c.mCode);
    }
}

// A text cell, or a missing one, as CSV quotes it (RFC 4180) and JSON escapes it (RFC 8259).
TEST(TableWriter, TextCellsInCSVAndJSON) {
    const struct {
        const char* mText;
        const char* mCSV;
        const char* mJSON;
    } cases[] = {
        {"", "", "null"},
        {"pci 225 -> pci 162", "pci 225 -> pci 162", "\"pci 225 -> pci 162\""},
        {"cause 24 (rejected, unspecified)", "\"cause 24 (rejected, unspecified)\"",
         "\"cause 24 (rejected, unspecified)\""},
        {"say \"hi\"\nthen go", "\"say \"\"hi\"\"\nthen go\"", "\"say \\\"hi\\\"\\u000athen go\""},
        {"a\rb", "\"a\rb\"", "\"a\\u000db\""},
        {"a\\b\tc", "a\\b\tc", "\"a\\\\b\\u0009c\""},
    };
    for (const auto& c : cases) {
        const std::vector<std::vector<sValue>> rows = {Event(1, Null(), "x", c.mText)};
        EXPECT_EQ(Write(TABLE_EVENTS, TABLE_FORMAT_CSV, rows),
                  std::string("time_utc,subscription,technology,event,detail\n"
                              "1970-01-01T00:00:00.001Z,,lte,x,") +
                      c.mCSV + "\n");
        EXPECT_EQ(Write(TABLE_EVENTS, TABLE_FORMAT_JSON, rows),
                  std::string("[\n{\"time_utc\":\"1970-01-01T00:00:00.001Z\",\"subscription\":null,"
                              "\"technology\":\"lte\",\"event\":\"x\",\"detail\":") +
                      c.mJSON + "}\n]\n");
    }
    EXPECT_EQ(Write(TABLE_EVENTS, TABLE_FORMAT_JSON, {}), "[]\n");
}

TEST(TableWriter, TheFirstServingMeasurementOfARealCaptureAsTheFormatsPageWorksItOut) {
    // The formats page's worked example, the first 0xB193 of lte_bler.bin (tests/data/meas_lte_bler.txt),
    // among every table's rows, the other tables' passed over.
    const std::vector<Bytes> packets = HexLines("meas_lte_bler.txt");
    ASSERT_FALSE(packets.empty());
    const struct {
        eTableFormat mFormat;
        const char* mText;
    } cases[] = {
        {TABLE_FORMAT_CSV,
         "time_utc,subscription,technology,log_code,serving,arfcn,pci,rsrp_dbm,rsrq_db,rssi_dbm,sinr_db,rscp_"
         "dbm,"
         "ecio_db,rxlev_dbm\n2019-07-30T10:19:06.750Z,,lte,0xB193,1,1825,73,-98.5625,-9.8125,-69.875,9.1,,,"
         "\n"},
        {TABLE_FORMAT_JSON,
         "[\n{\"time_utc\":\"2019-07-30T10:19:06.750Z\",\"subscription\":null,\"technology\":\"lte\","
         "\"log_code\":\"0xB193\",\"serving\":1,\"arfcn\":1825,\"pci\":73,\"rsrp_dbm\":-98.5625,"
         "\"rsrq_db\":-9.8125,\"rssi_dbm\":-69.875,\"sinr_db\":9.1,\"rscp_dbm\":null,\"ecio_db\":null,"
         "\"rxlev_dbm\":null}\n]\n"},
    };
    for (const auto& c : cases) {
        cStringOutput output;
        cTableWriter writer(TABLE_MEASUREMENTS, c.mFormat, output);
        cCaptureTables capture(kAllTables);
        ASSERT_TRUE(capture.Item(0, packets[0].data(), packets[0].size(), 5, 1564481946750, writer));
        ASSERT_TRUE(writer.Finish());
        EXPECT_EQ(output.mText, c.mText);
    }
}

TEST(TableWriter, AlignedTextMeasuresItsFirstRows) {
    const std::string text = Write(TABLE_EVENTS, TABLE_FORMAT_TEXT,
                                   {Event(0, Int(1), "handover", "pci 1 earfcn 2 -> pci 3 earfcn 4"),
                                    Event(1, Int(12), "rrc_connection_release", "")});
    // Text columns are left-aligned, numbers right-aligned, two spaces apart; nothing trails a line.
    EXPECT_EQ(
        text,
        "time_utc                  subscription  technology  event                   detail\n"
        "1970-01-01T00:00:00.000Z             1  lte         handover                pci 1 earfcn 2 -> pci 3 "
        "earfcn 4\n"
        "1970-01-01T00:00:00.001Z            12  lte         rrc_connection_release\n");
    // Rows past the measured ones keep the widths: a longer value pushes its line only.
    std::vector<std::vector<sValue>> rows(300, Event(0, Int(1), "x", "y"));
    rows.back() = Event(0, Int(123456789012345), "a_much_longer_event", "z");
    const std::string many = Write(TABLE_EVENTS, TABLE_FORMAT_TEXT, rows);
    EXPECT_NE(many.find("\n1970-01-01T00:00:00.000Z             1  lte         x      y\n"),
              std::string::npos);
    EXPECT_NE(many.find("\n1970-01-01T00:00:00.000Z  123456789012345  lte         a_much_longer_event  z\n"),
              std::string::npos);
    EXPECT_EQ(std::count(many.begin(), many.end(), '\n'), 301);
}

TEST(TableWriter, BinaryMessagesAsHex) {
    const sValue bytes = Text(std::string_view("\x28\x02\x00\xff", 4));
    const std::vector<sValue> row = {Int(0),     Null(),   Text("lte"), Text("LTE RRC DL-DCCH"),
                                     Text("dl"), Int(850), Int(303),    Int(0xB0C0),
                                     bytes};
    EXPECT_EQ(Write(TABLE_MESSAGES, TABLE_FORMAT_CSV, {row}),
              "time_utc,subscription,technology,channel,direction,arfcn,pci,log_code,message\n"
              "1970-01-01T00:00:00.000Z,,lte,LTE RRC DL-DCCH,dl,850,303,0xB0C0,280200ff\n");
}

TEST(TableWriter, AFailingOutputStopsTheRows) {
    cStringOutput output;
    output.mFailAfter = 100000;
    cTableWriter writer(TABLE_EVENTS, TABLE_FORMAT_CSV, output);
    const std::vector<sValue> row = Event(1605527784678, Int(1), "handover", "pci 225 -> pci 162");
    size_t rows = 0;
    while (writer.Row(TABLE_EVENTS, row.data()) && rows < 100000) {
        ++rows;
    }
    EXPECT_LT(rows, 100000u) << "the writer said stop";
    EXPECT_FALSE(output.mText.empty()) << "it wrote what fitted before";
    EXPECT_FALSE(writer.Finish());
}

}  // namespace
