// Rows per second into the campaign database: a recording of 100 copies of real capture A (485,200
// messages) added as one file, into SQLite and into a PostgreSQL server the benchmark starts for itself
// (tests/db/PostgresServer.h, default settings: fsync on). The reading alone (the capture tables without a
// database) is the baseline. Arguments: spread (the same recording stamped 1 ms apart, so that the copies do
// not repeat each other's times, as the files of a campaign do not), bulk load (SQLite: the indexes built
// once at the end, cCampaignDB::BeginBulkLoad).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "db/CampaignDB.h"
#include "tables/CaptureTables.h"
#include "tests/db/PostgresServer.h"
#include "tests/db/Recording.h"

namespace {

const unsigned int kCopies = 100;

struct sBenchFiles {
    std::string mDir;
    std::string mRecording;  // packet times: every copy repeats the times of the first
    std::string mSpread;     // 1 ms apart
    sBenchFiles() {
        char name[] = "/tmp/palvorin-dbbench-XXXXXX";
        mDir = mkdtemp(name) != nullptr ? name : "/tmp";
        mRecording = mDir + "/a100.isf";
        mSpread = mDir + "/a100-spread.isf";
        const std::string stream = std::string(PALVORIN_TEST_DATA) + "/raw_diag_stream_a.bin";
        RecordStream(stream, mRecording, kCopies);
        RecordStream(stream, mSpread, kCopies, true);
    }
    ~sBenchFiles() {
        std::error_code ignored;
        std::filesystem::remove_all(mDir, ignored);
    }
};
const sBenchFiles& Files() {
    static const sBenchFiles files;
    return files;
}

const std::string& Recording(int spread) {
    return spread != 0 ? Files().mSpread : Files().mRecording;
}

void Report(benchmark::State& state, uint64_t rows) {
    state.counters["rows"] = static_cast<double>(rows);
    state.counters["rows_per_s"] =
        benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsIterationInvariantRate);
    std::string label = state.range(0) != 0 ? "spread" : "capture A x100";
    if (state.range(1) != 0) {
        label += ", bulk load";
    }
    state.SetLabel(label);
}

struct sCount : cTableSink {
    uint64_t mRows = 0;
    bool Row(eTable table, const sValue*) override {
        mRows += table != TABLE_ITEMS;
        return true;
    }
};

void BM_ReadTablesOnly(benchmark::State& state) {
    uint64_t rows = 0;
    for (auto _ : state) {
        sCount count;
        sTableSummary summary;
        std::string error;
        if (!ReadCaptureTables(Recording(state.range(0)), kAllTables, count, summary, error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        rows = count.mRows;
    }
    Report(state, rows);
}
BENCHMARK(BM_ReadTablesOnly)->Args({0, 0})->Unit(benchmark::kMillisecond)->UseRealTime();

void AddInto(benchmark::State& state, const std::function<std::string()>& newTarget) {
    uint64_t rows = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string target = newTarget();
        state.ResumeTiming();
        cCampaignDB db;
        sDBAddSummary summary;
        const bool bulk = state.range(1) != 0;
        if (!db.Open(target) || (bulk && !db.BeginBulkLoad()) ||
            db.AddFile(Recording(state.range(0)), summary) != DB_ADDED || (bulk && !db.EndBulkLoad())) {
            state.SkipWithError(db.Error().c_str());
            return;
        }
        rows = summary.mRows[TABLE_MESSAGES] + summary.mRows[TABLE_MEASUREMENTS] +
               summary.mRows[TABLE_CELLS] + summary.mRows[TABLE_EVENTS];
    }
    Report(state, rows);
}

void BM_AddFileSQLite(benchmark::State& state) {
    const std::string path = Files().mDir + "/campaign.db";
    AddInto(state, [&] {
        for (const char* suffix : {"", "-wal", "-shm"}) {
            std::filesystem::remove(path + suffix);
        }
        return path;
    });
}
BENCHMARK(BM_AddFileSQLite)
    ->Args({0, 0})
    ->Args({1, 0})
    ->Args({0, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_AddFilePostgreSQL(benchmark::State& state) {
    static std::unique_ptr<cPostgresServer> server;
    if (server == nullptr) {
        server = std::make_unique<cPostgresServer>();
        if (!server->Start()) {
            const std::string error = "no PostgreSQL server: " + server->Error();
            server.reset();
            state.SkipWithError(error.c_str());
            return;
        }
    }
    static int databases = 0;
    AddInto(state, [&] {
        const std::string name = "bench" + std::to_string(++databases);
        server->CreateDatabase(name);
        return server->URL(name);
    });
}
BENCHMARK(BM_AddFilePostgreSQL)->Args({0, 0})->Args({1, 0})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
