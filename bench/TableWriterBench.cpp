// CSV rows of the measurements table through the table writer, against a textbook writer that formats each
// value with an output string stream (std::ostringstream, 17 significant digits for real numbers, strftime
// for times). The measured values are multiples of 1/16 dB, whose shortest form has at most 4 decimals, so
// both write the same text; the benchmark checks that before timing.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "tables/TableWriter.h"

namespace {

class cCountingOutput : public cTextOutput {
public:
    bool Write(const char* data, size_t size) override {
        mBytes += size;
        if (mKeep) {
            mText.append(data, size);
        }
        return true;
    }
    size_t mBytes = 0;
    bool mKeep = false;
    std::string mText;
};

// A serving cell of 0xB193 every 10 ms, RSRP and RSRQ walking over their 1/16 dB steps.
std::vector<std::vector<sValue>> Rows(size_t count) {
    std::vector<std::vector<sValue>> rows;
    static const char kLTE[] = "lte";
    for (size_t i = 0; i < count; ++i) {
        std::vector<sValue> row(14);
        for (size_t c = 0; c < 7; ++c) {
            row[c].mNull = false;
        }
        row[0].mInt = 1564481946750 + static_cast<int64_t>(i) * 10;
        row[1].mNull = true;
        row[2].mText = kLTE;
        row[2].mSize = 3;
        row[3].mInt = 0xB193;
        row[4].mInt = 1;
        row[5].mInt = 1825;
        row[6].mInt = 73;
        row[7].mNull = row[8].mNull = row[9].mNull = false;
        row[7].mReal = -140 + static_cast<double>(i % 1500) / 16;
        row[8].mReal = -20 + static_cast<double>(i % 300) / 16;
        row[9].mReal = -90 + static_cast<double>(i % 700) / 16;
        rows.push_back(row);
    }
    return rows;
}

// The textbook writer: a stream per value.
void ReferenceCSV(const std::vector<sValue>& row, std::string& out) {
    std::ostringstream line;
    const sTableDef& def = TableDef(TABLE_MEASUREMENTS);
    for (size_t c = 0; c < def.mCount; ++c) {
        if (c != 0) {
            line << ',';
        }
        const sValue& v = row[c];
        if (v.mNull) {
            continue;
        }
        switch (def.mColumns[c].mType) {
            case COLUMN_TIME: {
                const time_t seconds = static_cast<time_t>(v.mInt / 1000);
                struct tm utc;
                gmtime_r(&seconds, &utc);
                char text[32];
                strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
                line << text << '.' << std::setw(3) << std::setfill('0') << v.mInt % 1000 << 'Z';
                break;
            }
            case COLUMN_CODE:
                line << "0x" << std::hex << std::uppercase << std::setw(4) << v.mInt << std::dec;
                break;
            case COLUMN_REAL:
                line << std::setprecision(17) << v.mReal;
                break;
            case COLUMN_TEXT:
                line << std::string(v.mText, v.mSize);
                break;
            default:
                line << v.mInt;
                break;
        }
    }
    line << '\n';
    out += line.str();
}

const size_t kRows = 10000;

void BM_TableWriterCSV(benchmark::State& state) {
    const auto rows = Rows(kRows);
    {
        cCountingOutput output;
        output.mKeep = true;
        cTableWriter writer(TABLE_MEASUREMENTS, TABLE_FORMAT_CSV, output);
        for (const auto& row : rows) {
            writer.Row(TABLE_MEASUREMENTS, row.data());
        }
        writer.Finish();
        std::string reference;
        for (const auto& row : rows) {
            ReferenceCSV(row, reference);
        }
        if (output.mText.substr(output.mText.find('\n') + 1) != reference) {
            state.SkipWithError("the writer and the reference disagree");
            return;
        }
    }
    cCountingOutput output;
    for (auto _ : state) {
        cTableWriter writer(TABLE_MEASUREMENTS, TABLE_FORMAT_CSV, output);
        for (const auto& row : rows) {
            writer.Row(TABLE_MEASUREMENTS, row.data());
        }
        writer.Finish();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRows));
}
BENCHMARK(BM_TableWriterCSV);

void BM_ReferenceCSV(benchmark::State& state) {
    const auto rows = Rows(kRows);
    for (auto _ : state) {
        std::string out;
        for (const auto& row : rows) {
            ReferenceCSV(row, out);
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRows));
}
BENCHMARK(BM_ReferenceCSV);

}  // namespace
