// The table writer: CSV quoting, JSON escaping, aligned text, and the text of each value: times as the tool's
// dump prints them, real numbers exactly.
#include "tables/TableWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
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
        ++mWrites;
        return true;
    }
    std::string mText;
    size_t mFailAfter = 0;
    size_t mWrites = 0;
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
    // The facts page's worked example (capture A's first packet, 2015-08-01 02:11:40.984841), and days
    // around leap years, centuries and the ends of months, against dump's formatting of the same time.
    const int64_t kMsFrom1601 = static_cast<int64_t>(FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS);
    const struct {
        int64_t mMs;
        const char* mText;
    } cases[] = {
        {1438395100984, "2015-08-01T02:11:40.984Z"},   {0, "1970-01-01T00:00:00.000Z"},
        {951782400000, "2000-02-29T00:00:00.000Z"},    {4107542399999, "2100-02-28T23:59:59.999Z"},
        {4107542400000, "2100-03-01T00:00:00.000Z"},   {1605527784678, "2020-11-16T11:56:24.678Z"},
        {253402300799999, "9999-12-31T23:59:59.999Z"}, {-1, "before-1970"},
    };
    for (const auto& c : cases) {
        char text[kValueTextSize];
        EXPECT_EQ(std::string(text, FormatTimeUTC(c.mMs, text)), c.mText);
        EXPECT_EQ(FormatUTC(static_cast<uint64_t>(c.mMs + kMsFrom1601)), c.mText);
    }
    // Every day of 1970 to 2104 at a varying time of day, against dump.
    cTimeText cached;
    for (int64_t day = 0; day < 49000; day += 1) {
        const int64_t ms = day * 86400000 + (day * 7919) % 86400000;
        char text[kValueTextSize];
        const std::string ours(text, cached.Format(ms, text));
        ASSERT_EQ(ours, FormatUTC(static_cast<uint64_t>(ms + kMsFrom1601))) << day;
    }
}

TEST(TableWriter, NumbersExactly) {
    const struct {
        double mValue;
        const char* mText;
    } reals[] = {
        {-99.3125, "-99.3125"},
        {-98.5625, "-98.5625"},
        {1.4, "1.4"},
        {20, "20"},
        {-90.0078125, "-90.0078125"},
        {0.1 + 0.2, "0.30000000000000004"},
        {-0.5, "-0.5"},
        {NAN, "nan"},
    };
    for (const auto& c : reals) {
        char text[kValueTextSize];
        EXPECT_EQ(std::string(text, FormatReal(c.mValue, text)), c.mText);
    }
    // Every multiple of 1/128 over the measurement ranges and beyond, and values off that grid, as the
    // standard library's shortest form writes them.
    std::vector<double> values = {-0.0,           1e-300, 5e-324, 1e300, 16777216.5, 2147483647.0 / 128,
                                  1e7 + 1.0 / 128};
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
        {0x4005, "16389", "0x4005"},
        {0x60, "96", "0x0060"},
        {0, "0", "0x0000"},
        {-5, "-5", "0xFFFFFFFFFFFFFFFB"},
        {std::numeric_limits<int64_t>::min(), "-9223372036854775808", "0x8000000000000000"},
    };
    for (const auto& c : integers) {
        char text[kValueTextSize];
        EXPECT_EQ(std::string(text, FormatInteger(c.mValue, text)), c.mInteger);
        EXPECT_EQ(std::string(text, FormatCode(c.mValue, text)), c.mCode);
    }
}

TEST(TableWriter, CSVQuotesWhatNeedsIt) {
    const std::string csv = Write(
        TABLE_EVENTS, TABLE_FORMAT_CSV,
        {Event(1605527784678, Int(1), "handover", "pci 225 earfcn 38400 -> pci 162 earfcn 1350"),
         Event(1605527784679, Null(), "attach_reject", "cause 24 (security mode rejected, unspecified)"),
         Event(1605527784680, Int(2), "odd", "say \"hi\"\nthen go"),
         Event(1605527784681, Int(2), "cr", "a\rb")});
    EXPECT_EQ(
        csv,
        "time_utc,subscription,technology,event,detail\n"
        "2020-11-16T11:56:24.678Z,1,lte,handover,pci 225 earfcn 38400 -> pci 162 earfcn 1350\n"
        "2020-11-16T11:56:24.679Z,,lte,attach_reject,\"cause 24 (security mode rejected, unspecified)\"\n"
        "2020-11-16T11:56:24.680Z,2,lte,odd,\"say \"\"hi\"\"\nthen go\"\n"
        "2020-11-16T11:56:24.681Z,2,lte,cr,\"a\rb\"\n");
}

TEST(TableWriter, JSONArrayOfObjects) {
    EXPECT_EQ(Write(TABLE_EVENTS, TABLE_FORMAT_JSON, {}), "[]\n");
    const std::string json =
        Write(TABLE_EVENTS, TABLE_FORMAT_JSON,
              {Event(0, Int(1), "rrc_idle", ""), Event(1, Null(), "a\\b", "tab\there \"q\"")});
    EXPECT_EQ(
        json,
        "[\n"
        "{\"time_utc\":\"1970-01-01T00:00:00.000Z\",\"subscription\":1,\"technology\":\"lte\",\"event\":"
        "\"rrc_idle\",\"detail\":null},\n"
        "{\"time_utc\":\"1970-01-01T00:00:00.001Z\",\"subscription\":null,\"technology\":\"lte\",\"event\":"
        "\"a\\\\b\",\"detail\":\"tab\\u0009here \\\"q\\\"\"}\n"
        "]\n");
}

// The CSV of the same row: the real capture's case below.
TEST(TableWriter, AMeasurementRowAsJSON) {
    // Time, subscription, technology, log code, serving, channel, cell, then seven values.
    const std::vector<sValue> row = {
        Int(1564481946750), Null(),        Text("lte"), Int(0xB193), Int(1), Int(1825), Int(73),
        Real(-98.5625),     Real(-9.8125), Null(),      Null(),      Null(), Null(),    Null()};
    EXPECT_EQ(Write(TABLE_MEASUREMENTS, TABLE_FORMAT_JSON, {row}),
              "[\n{\"time_utc\":\"2019-07-30T10:19:06.750Z\",\"subscription\":null,\"technology\":\"lte\","
              "\"log_code\":\"0xB193\",\"serving\":1,\"arfcn\":1825,\"pci\":73,\"rsrp_dbm\":-98.5625,"
              "\"rsrq_db\":-9.8125,\"rssi_dbm\":null,\"sinr_db\":null,\"rscp_dbm\":null,\"ecio_db\":null,"
              "\"rxlev_dbm\":null}\n]\n");
}

TEST(TableWriter, TheFirstServingMeasurementOfARealCaptureAsTheFormatsPageWorksItOut) {
    // The first 0xB193 of lte_bler.bin (real capture D, Apache-2.0; tests/data/meas_lte_bler.txt), the
    // formats page's worked example: PCI 73 on EARFCN 1825, RSRP raw 663 + 640 -> -98.5625 dBm, RSRQ raw 323
    // -> -9.8125 dB, RSSI raw 642 -> -69.875 dBm, SNR of chain 0 raw 291 -> 9.1 dB (chain 1: 7.9).
    const std::vector<Bytes> packets = HexLines("meas_lte_bler.txt");
    ASSERT_FALSE(packets.empty());
    cStringOutput output;
    cTableWriter writer(TABLE_MEASUREMENTS, TABLE_FORMAT_CSV, output);
    cCaptureTables capture(TableBit(TABLE_MEASUREMENTS));
    ASSERT_TRUE(capture.Item(0, packets[0].data(), packets[0].size(), 5, 1564481946750, writer));
    ASSERT_TRUE(writer.Finish());
    EXPECT_EQ(output.mText.substr(output.mText.find('\n') + 1),
              "2019-07-30T10:19:06.750Z,,lte,0xB193,1,1825,73,-98.5625,-9.8125,-69.875,9.1,,,\n");
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

TEST(TableWriter, RowsOfOtherTablesArePassedOver) {
    const std::vector<sValue> event = Event(0, Int(1), "x", "");
    cStringOutput output;
    cTableWriter writer(TABLE_CELLS, TABLE_FORMAT_CSV, output);
    EXPECT_TRUE(writer.Row(TABLE_EVENTS, event.data()));
    EXPECT_TRUE(writer.Finish());
    EXPECT_EQ(writer.Rows(), 0u);
    EXPECT_EQ(std::count(output.mText.begin(), output.mText.end(), '\n'), 1);
}

TEST(TableWriter, AFailingOutputStopsTheRows) {
    cStringOutput output;
    output.mFailAfter = 100000;
    cTableWriter writer(TABLE_EVENTS, TABLE_FORMAT_CSV, output);
    const std::vector<sValue> row =
        Event(1605527784678, Int(1), "handover", "pci 225 earfcn 38400 -> pci 162 earfcn 1350");
    size_t rows = 0;
    while (writer.Row(TABLE_EVENTS, row.data()) && rows < 100000) {
        ++rows;
    }
    EXPECT_LT(rows, 100000u) << "the writer said stop";
    EXPECT_GT(output.mWrites, 0u) << "it wrote in large pieces before";
    EXPECT_FALSE(writer.Finish());
}

}  // namespace
