// The campaign database, against SQLite and a real PostgreSQL server the test starts itself: a recording of
// capture A goes in whole (4,852 messages, tshark's count); bad files and faults in the middle of a file
// leave nothing behind; databases that cannot be used say why.
#include "db/CampaignDB.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "db/CampaignSchema.h"
#include "db/PostgresBackend.h"
#include "db/SQLiteBackend.h"
#include "jni/ISFFormat.h"
#include "reader/ISFReadAll.h"
#include "tables/CaptureTables.h"
#include "tests/ISFTestSupport.h"
#include "tests/db/FaultBackend.h"
#include "tests/db/PostgresServer.h"
#include "tests/db/Recording.h"

namespace {

// The indexes the README documents.
const std::map<std::string, std::string> kIndexes = {
    {"messages", "messages_by_cell:arfcn,pci messages_by_file:file_id messages_by_time:time_utc"},
    {"measurements",
     "measurements_by_cell:arfcn,pci measurements_by_file:file_id measurements_by_time:time_utc"},
    {"cells", "cells_by_cell:arfcn,pci cells_by_file:file_id cells_by_time:from_utc"},
    {"events", "events_by_file:file_id events_by_time:time_utc"},
};

using Rows = std::vector<std::vector<std::string>>;

enum eEngine { ENGINE_SQLITE, ENGINE_POSTGRESQL };

// The rows the capture tables produce for a file: count per table, and the messages' bytes in hex.
struct sProduced : cTableSink {
    uint64_t mRows[TABLE_COUNT] = {};
    std::vector<std::string> mMessages;
    bool Row(eTable table, const sValue* values) override {
        ++mRows[table];
        if (table == TABLE_MESSAGES) {
            static const char kHex[] = "0123456789abcdef";
            std::string hex;
            const sValue& message = values[TableDef(TABLE_MESSAGES).mCount - 1];
            for (size_t i = 0; i < message.mSize; ++i) {
                hex += kHex[static_cast<unsigned char>(message.mText[i]) >> 4];
                hex += kHex[static_cast<unsigned char>(message.mText[i]) & 15];
            }
            mMessages.push_back(hex);
        }
        return true;
    }
};

// The recordings every test uses, made once per process: captures A and B, with the rows the capture
// tables make of A (the messages sorted).
struct sRecordings {
    isftest::cTempDir mDir;
    std::string mA = mDir.File("a.isf");
    std::string mB = mDir.File("b.isf");
    sProduced mTablesA;
    sRecordings() {
        RecordStream(PALVORIN_TEST_DATA "/raw_diag_stream_a.bin", mA);
        RecordStream(PALVORIN_TEST_DATA "/raw_diag_stream_b.bin", mB);
        sTableSummary tables;
        std::string error;
        EXPECT_TRUE(ReadCaptureTables(mA, kAllTables, mTablesA, tables, error)) << error;
        std::sort(mTablesA.mMessages.begin(), mTablesA.mMessages.end());
    }
};
const sRecordings& Recordings() {
    static const sRecordings recordings;
    return recordings;
}

class CampaignDBTest : public ::testing::TestWithParam<eEngine> {
protected:
    void SetUp() override {
        if (GetParam() == ENGINE_SQLITE) {
            mTarget = mDir.File("campaign.db");
            return;
        }
        if (!cPostgresServer::Installed()) {
            GTEST_SKIP() << "no PostgreSQL server under /usr/lib/postgresql/*/bin (scripts/install-deps)";
        }
        // One server for every test of the process, stopped when the process ends.
        static cPostgresServer server;
        static const bool started = server.Start({"fsync=off"});
        ASSERT_TRUE(started) << server.Error();
        static int databases = 0;
        const std::string database = "campaign" + std::to_string(++databases);
        ASSERT_TRUE(server.CreateDatabase(database)) << server.Error();
        mTarget = server.URL(database);
    }
    bool IsSQLite() const { return GetParam() == ENGINE_SQLITE; }

    // A connection of the engine's own kind to the test's database.
    std::unique_ptr<cDBBackend> Connect() {
        auto sqlite = std::make_unique<cSQLiteBackend>();
        auto postgres = std::make_unique<cPostgresBackend>();
        EXPECT_TRUE(IsSQLite() ? sqlite->Open(mTarget) : postgres->Open(mTarget)) << mTarget;
        return IsSQLite() ? std::unique_ptr<cDBBackend>(std::move(sqlite)) : std::move(postgres);
    }

    Rows Query(const std::string& sql) {
        Rows rows;
        std::unique_ptr<cDBBackend> db = Connect();
        EXPECT_TRUE(db->Query(sql, rows)) << sql << ": " << db->Error();
        return rows;
    }
    std::string One(const std::string& sql) {
        const Rows rows = Query(sql);
        return rows.empty() || rows[0].empty() ? "(no row)" : rows[0][0];
    }
    // The rows of the files, messages, measurements, cells and events tables.
    std::string Counts() {
        return One(
            "SELECT (SELECT count(*) FROM files) || ' ' || (SELECT count(*) FROM messages) || ' ' || "
            "(SELECT count(*) FROM measurements) || ' ' || (SELECT count(*) FROM cells) || ' ' || "
            "(SELECT count(*) FROM events)");
    }
    // Every message's bytes in hex, sorted.
    std::vector<std::string> Messages(const std::string& where = "true") {
        std::vector<std::string> hex;
        const std::string bytes = IsSQLite() ? "lower(hex(message))" : "encode(message, 'hex')";
        for (const auto& row : Query("SELECT " + bytes + " FROM messages WHERE " + where)) {
            hex.push_back(row[0]);
        }
        std::sort(hex.begin(), hex.end());
        return hex;
    }
    // A time column as the ISO text the SQLite database holds.
    std::string Time(const std::string& expression) const {
        return IsSQLite()
                   ? expression
                   : "to_char(" + expression + " AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS.MS\"Z\"')";
    }
    // The indexes of `table` by name, each with its columns: "name:column,column name:column".
    std::string Indexes(const std::string& table) {
        const std::string sql =
            IsSQLite()
                ? "SELECT group_concat(name || ':' || (SELECT group_concat(name) FROM "
                  "pragma_index_info(l.name)), "
                  "' ') FROM (SELECT name FROM pragma_index_list('" +
                      table + "') WHERE origin = 'c' ORDER BY name) l"
                : "SELECT string_agg(indexname || ':' || replace(regexp_replace(indexdef, '.*\\((.*)\\)', "
                  "'\\1'), ' ', ''), ' ' ORDER BY indexname) FROM pg_indexes WHERE tablename = '" +
                      table + "' AND indexname LIKE '%_by_%'";
        const std::string got = One(sql);
        return got == "(no row)" ? "" : got;
    }
    std::string File(const std::string& name, const std::string& content) {
        const std::string path = mDir.File(name);
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    isftest::cTempDir mDir;
    std::string mTarget;
};

TEST_P(CampaignDBTest, ARealRecordingGoesInWholeAndTheREADMEsQueriesRunOnIt) {
    const std::string& a = Recordings().mA;
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    sDBAddSummary summary;
    ASSERT_EQ(db.AddFile(a, summary), DB_ADDED) << db.Error();
    const sProduced& produced = Recordings().mTablesA;
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        EXPECT_EQ(summary.mRows[t], produced.mRows[t]) << TableDef(static_cast<eTable>(t)).mName;
        if (t != TABLE_ITEMS) {
            const std::string name = TableDef(static_cast<eTable>(t)).mName;
            EXPECT_EQ(One("SELECT count(*) FROM " + name), std::to_string(produced.mRows[t])) << name;
        }
    }
    EXPECT_EQ(Messages(), produced.mMessages);
    // tshark's counts of the export: 4,852 messages, LTE RRC (log 0xB0C0) 4,343; `palvorin dump`: the first
    // log packet at 02:11:40.984, the first message (LTE NAS EMM) at .985, the last at 05:00:12.484.
    EXPECT_EQ(One("SELECT count(*) FROM messages WHERE log_code = 45248"), "4343");
    EXPECT_EQ(One("SELECT channel || ' ' || " + Time("time_utc") +
                  " FROM messages WHERE time_utc = (SELECT min(time_utc) FROM messages)"),
              "LTE NAS EMM 2015-08-01T02:11:40.985Z");
    const Rows files = Query("SELECT path, size, sha256, items, " + Time("first_utc") + ", " +
                             Time("last_utc") + ", tool_version, messages_rows FROM files");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0],
              (std::vector<std::string>{
                  std::filesystem::absolute(a).string(), std::to_string(std::filesystem::file_size(a)),
                  summary.mSHA256, std::to_string(ReadISFFile(a).mItems.size()), "2015-08-01T02:11:40.984Z",
                  "2015-08-01T05:00:12.484Z", "3.00.011", "4852"}));

    // The README's example queries run: capture A's messages per channel, the cell of an example (EARFCN
    // 37900, PCI 337 between 02:11 and 03:00).
    std::ifstream in(PALVORIN_TEST_DATA "/../../README.md");
    std::vector<std::string> queries;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line == "```sql" || line == "```") {
            inside = line != "```";
            queries.resize(queries.size() + inside);
        } else if (inside) {
            queries.back() += line + "\n";
        }
    }
    ASSERT_EQ(queries.size(), 4u);
    const Rows perChannel = Query(queries[0]);
    ASSERT_FALSE(perChannel.empty());
    EXPECT_EQ(perChannel[0][1] + " " + perChannel[0][2], "LTE RRC PCCH 3368");
    Query(queries[1]);
    Query(queries[2]);
    EXPECT_FALSE(Query(queries[3]).empty());
}

TEST_P(CampaignDBTest, TwoWritersAddingOneFileStoreItOnce) {
    {
        cCampaignDB db;
        ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    }
    std::mutex mutex;
    std::condition_variable changed;
    bool secondBegins = false;
    bool armed = false;
    // The first writer holds its transaction (its files row in, its rows not yet) until the second has
    // looked the file up, not found it, and begun its own.
    auto* firstBackend = new cFaultBackend(Connect().release(), cFaultBackend::OP_COUNT, 0);
    firstBackend->mBefore = [&](cFaultBackend::eOp op) {
        std::unique_lock<std::mutex> lock(mutex);
        if (op == cFaultBackend::OP_INSERT && armed) {
            armed = false;
            changed.notify_all();
            changed.wait_for(lock, std::chrono::seconds(10), [&] { return secondBegins; });
            lock.unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
    };
    cCampaignDB first;
    ASSERT_TRUE(first.OpenBackend(firstBackend)) << first.Error();
    auto* secondBackend = new cFaultBackend(Connect().release(), cFaultBackend::OP_COUNT, 0);
    secondBackend->mBefore = [&](cFaultBackend::eOp op) {
        std::lock_guard<std::mutex> lock(mutex);
        secondBegins = secondBegins || op == cFaultBackend::OP_BEGIN;
        changed.notify_all();
    };
    cCampaignDB second;
    ASSERT_TRUE(second.OpenBackend(secondBackend)) << second.Error();
    secondBegins = false;  // its connection began a transaction when it opened
    armed = true;
    eDBAddResult firstResult = DB_FILE_FAILED;
    std::string firstError;
    std::thread writer([&] {
        sDBAddSummary summary;
        firstResult = first.AddFile(Recordings().mB, summary);
        firstError = first.Error();
    });
    {
        // Once the first writer is inside its transaction.
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(10), [&] { return !armed; });
    }
    sDBAddSummary summary;
    const eDBAddResult secondResult = second.AddFile(Recordings().mB, summary);
    writer.join();
    EXPECT_EQ(firstResult, DB_ADDED) << firstError;
    EXPECT_EQ(secondResult, DB_ALREADY_PRESENT) << second.Error();
    EXPECT_EQ(One("SELECT count(*) FROM files"), "1");
    EXPECT_EQ(One("SELECT count(*) FROM messages"), "18");
}

TEST_P(CampaignDBTest, BadFilesAreReportedAndTheOthersGoOn) {
    std::ifstream in(Recordings().mA, std::ios::binary);
    std::string whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string cut = whole.substr(0, whole.size() / 2);
    // Whole but for one field: the trailer counts one item more than the index holds.
    whole[whole.size() - ISF_TRAILER_SIZE + ISF_TRAILER_COUNT_OFFSET] += 1;
    const struct {
        std::string mPath;
        const char* mSays;
    } bad[] = {
        {mDir.File("missing.isf"), "No such file"},
        {File("text.isf", "not an item store file, only text\n"), "not a readable item store file"},
        {File("cut.isf", cut), "damaged or cut short"},
        {File("miscounted.isf", whole), "damaged or cut short: the reader found 1 "},
    };
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    sDBAddSummary summary;
    ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED) << db.Error();
    for (const auto& file : bad) {
        EXPECT_EQ(db.AddFile(file.mPath, summary), DB_FILE_FAILED) << file.mPath;
        EXPECT_NE(db.Error().find(file.mSays), std::string::npos) << db.Error();
        EXPECT_NE(db.Error().find(std::filesystem::path(file.mPath).filename().string()), std::string::npos)
            << "names the file: " << db.Error();
    }
    ASSERT_EQ(db.AddFile(Recordings().mB, summary), DB_ADDED) << db.Error();
    // Capture B: 18 NR messages.
    EXPECT_EQ(One("SELECT count(*) || ' ' || sum(messages_rows) FROM files"), "2 4870");
    EXPECT_EQ(One("SELECT count(*) FROM messages WHERE file_id NOT IN (SELECT id FROM files)"), "0");
}

TEST_P(CampaignDBTest, AFaultInTheMiddleOfAFileLeavesNothingOfIt) {
    const std::pair<cFaultBackend::eOp, uint64_t> faults[] = {
        {cFaultBackend::OP_INSERT, 2000}, {cFaultBackend::OP_EXECUTE, 1}, {cFaultBackend::OP_COMMIT, 1},
        {cFaultBackend::OP_QUERY, 2},     {cFaultBackend::OP_BEGIN, 1},
    };
    for (const auto& [op, at] : faults) {
        SCOPED_TRACE(op);
        {
            // The schema is there before the fault's counts begin.
            cCampaignDB db;
            ASSERT_TRUE(db.Open(mTarget)) << db.Error();
        }
        auto* faulty = new cFaultBackend(Connect().release(), op, at);
        cCampaignDB db;
        ASSERT_TRUE(db.OpenBackend(faulty)) << db.Error();
        faulty->Arm();
        sDBAddSummary summary;
        EXPECT_EQ(db.AddFile(Recordings().mA, summary), DB_DATABASE_FAILED);
        EXPECT_NE(db.Error().find("injected fault"), std::string::npos) << db.Error();
        EXPECT_EQ(Counts(), "0 0 0 0 0");
        // The connection is usable after the rollback: the same file goes in whole.
        ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED) << db.Error();
        EXPECT_EQ(One("SELECT count(*) FROM messages"), "4852");
        ASSERT_TRUE(Connect()->Execute(
            "DELETE FROM messages; DELETE FROM measurements; DELETE FROM cells; DELETE FROM events; "
            "DELETE FROM files"));
    }
}

// Into PostgreSQL a worker's rows go row by row (into SQLite: SQLiteBatchTest).
TEST_P(CampaignDBTest, WorkerDatabasesAreCopiedFileByFile) {
    const std::string worker1 = mDir.File("worker1.db");
    const std::string worker2 = mDir.File("worker2.db");
    {
        cCampaignDB db;
        sDBAddSummary summary;
        ASSERT_TRUE(db.Open(worker1)) << db.Error();
        ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED);
        ASSERT_TRUE(db.Open(worker2)) << db.Error();
        ASSERT_EQ(db.AddFile(Recordings().mB, summary), DB_ADDED);
        ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED);
    }
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    uint64_t added = 0, present = 0;
    ASSERT_EQ(db.AddDatabase(worker1, added, present), DB_ADDED) << db.Error();
    EXPECT_EQ(std::pair(added, present), (std::pair<uint64_t, uint64_t>(1, 0)));
    ASSERT_EQ(db.AddDatabase(worker2, added, present), DB_ADDED) << db.Error();
    EXPECT_EQ(std::pair(added, present), (std::pair<uint64_t, uint64_t>(1, 1)));
    // Capture A: 4,852 messages, no measurement, 29 serving-cell periods and 254 events (`palvorin pcap`,
    // `cells`, `events`); capture B: 18 messages.
    EXPECT_EQ(Counts(), "2 4870 0 29 254");
    // The rows are those of the files themselves, under the ids of this database.
    const std::string aId = One("SELECT id FROM files WHERE path LIKE '%/a.isf'");
    EXPECT_EQ(Messages("file_id = " + aId), Recordings().mTablesA.mMessages);
    EXPECT_EQ(One("SELECT " + Time("min(time_utc)") + " FROM messages WHERE file_id = " + aId),
              "2015-08-01T02:11:40.985Z");
    EXPECT_EQ(One("SELECT " + Time("first_utc") + " || ' ' || messages_rows FROM files WHERE id = " + aId),
              "2015-08-01T02:11:40.984Z 4852");
    ASSERT_EQ(db.AddDatabase(worker2, added, present), DB_ADDED);
    EXPECT_EQ(std::pair(added, present), (std::pair<uint64_t, uint64_t>(0, 2)));
    EXPECT_EQ(Counts(), "2 4870 0 29 254");
    EXPECT_EQ(db.AddDatabase(File("text.db", "text"), added, present), DB_DATABASE_FAILED);
    EXPECT_NE(db.Error().find("text.db"), std::string::npos) << db.Error();
}

TEST_P(CampaignDBTest, ADatabaseOfAnotherSchemaOrWithOtherTablesIsRefused) {
    {
        cCampaignDB db;
        ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    }
    ASSERT_TRUE(Connect()->Execute("UPDATE schema_info SET value = '999' WHERE name = 'schema_version'"));
    cCampaignDB db;
    EXPECT_FALSE(db.Open(mTarget));
    EXPECT_NE(db.Error().find("schema version 999"), std::string::npos) << db.Error();
    sDBAddSummary summary;
    EXPECT_EQ(db.AddFile(Recordings().mB, summary), DB_DATABASE_FAILED) << "nothing is open";

    std::unique_ptr<cDBBackend> other = Connect();
    ASSERT_TRUE(other->Execute("DROP TABLE schema_info"));
    EXPECT_FALSE(db.Open(mTarget));
    EXPECT_NE(db.Error().find("no campaign schema"), std::string::npos) << db.Error();
}

// The tables as an analyst sees them: file_id, then the columns of the tool's tables in their order, with
// the documented types, and the indexes by time and by cell, also after a bulk load.
TEST_P(CampaignDBTest, TablesHaveTheToolsColumnsAndEveryIndexAfterABulkLoad) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    const std::string columns =
        IsSQLite()
            ? "SELECT name || ' ' || type FROM pragma_table_info('messages') ORDER BY cid"
            : "SELECT column_name || ' ' || data_type FROM information_schema.columns WHERE table_name = "
              "'messages' ORDER BY ordinal_position";
    std::string got;
    for (const auto& row : Query(columns)) {
        got += row[0] + ",";
    }
    EXPECT_EQ(got, IsSQLite()
                       ? "file_id INTEGER,time_utc TEXT,subscription INTEGER,technology TEXT,channel "
                         "TEXT,direction TEXT,arfcn INTEGER,pci INTEGER,log_code INTEGER,message BLOB,"
                       : "file_id bigint,time_utc timestamp with time zone,subscription bigint,technology "
                         "text,channel text,direction text,arfcn bigint,pci bigint,log_code integer,"
                         "message bytea,");
    ASSERT_TRUE(db.BeginBulkLoad()) << db.Error();
    // SQLite loads without them; PostgreSQL keeps them for the writers beside this one.
    EXPECT_EQ(Indexes("messages"), IsSQLite() ? "" : kIndexes.at("messages"));
    sDBAddSummary summary;
    ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED) << db.Error();
    ASSERT_EQ(db.AddFile(Recordings().mB, summary), DB_ADDED) << db.Error();
    ASSERT_TRUE(db.EndBulkLoad()) << db.Error();
    for (const auto& table : kIndexes) {
        EXPECT_EQ(Indexes(table.first), table.second) << table.first;
    }
    EXPECT_EQ(One("SELECT count(*) FROM messages"), "4870");

    // A load that never ended (the process was killed): the next writer builds the indexes again.
    ASSERT_TRUE(db.BeginBulkLoad());
    db.Close();
    ASSERT_TRUE(Connect()->Execute("DROP INDEX messages_by_time"));
    cCampaignDB next;
    ASSERT_TRUE(next.Open(mTarget)) << next.Error();
    EXPECT_EQ(Indexes("messages"),
              IsSQLite() ? kIndexes.at("messages") : "messages_by_cell:arfcn,pci messages_by_file:file_id");
}

// Every stored table takes rows of every column type: the measurements, cells and events of the capture
// tables go in as they come; the last column is null unless it holds bytes.
TEST_P(CampaignDBTest, RowsOfEveryColumnTypeRoundTrip) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    std::unique_ptr<cDBBackend> backend = Connect();
    const std::string text = "it's";
    const char bytes[] = {0, '\'', '\\', static_cast<char>(0xFF)};
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        const sTableDef* table = StoredTable(static_cast<eTable>(t));
        if (table == nullptr) {
            continue;
        }
        std::vector<sValue> row(table->mCount);
        std::string select;
        std::string expected = "77";
        for (size_t i = 0; i < table->mCount; ++i) {
            const std::string name = table->mColumns[i].mName;
            const eColumnType type = table->mColumns[i].mType;
            sValue& value = row[i];
            value.mNull = i == table->mCount - 1 && type != COLUMN_BYTES;
            std::string read = name;  // the SQL that reads the value as the text `shown`
            std::string shown;
            switch (type) {
                case COLUMN_TIME:
                    value.mInt = 951782400123;  // `date -u -d @951782400`: 2000-02-29T00:00:00Z
                    read = Time(name);
                    shown = "2000-02-29T00:00:00.123Z";
                    break;
                case COLUMN_INT:
                case COLUMN_CODE:
                    value.mInt = i == 0 ? 77 : -123456789012 * (type == COLUMN_INT);
                    shown = type == COLUMN_INT ? "-123456789012" : "0";
                    break;
                case COLUMN_REAL:
                    value.mReal = -95.25;
                    read = IsSQLite() ? "round(" + name + ", 2)" : "to_char(" + name + ", 'FM990.00')";
                    shown = "-95.25";
                    break;
                case COLUMN_TEXT:
                    value.mText = text.data();
                    value.mSize = text.size();
                    shown = text;
                    break;
                case COLUMN_BYTES:
                    value.mText = bytes;
                    value.mSize = sizeof bytes;
                    read = IsSQLite() ? "lower(hex(" + name + "))" : "encode(" + name + ", 'hex')";
                    shown = "00275cff";
                    break;
            }
            select += (i == 0 ? "" : " || '|' || ") + std::string("coalesce(") +
                      (IsSQLite() ? read : "(" + read + ")::text") + ", 'NULL')";
            expected += i == 0 ? "" : "|" + (value.mNull ? "NULL" : shown);
        }
        ASSERT_TRUE(backend->Begin());
        ASSERT_TRUE(backend->Insert(*table, row.data())) << backend->Error();
        ASSERT_TRUE(backend->Commit()) << backend->Error();
        EXPECT_EQ(One("SELECT " + select + " FROM " + table->mName), expected) << table->mName;
    }
}

INSTANTIATE_TEST_SUITE_P(Engines, CampaignDBTest, ::testing::Values(ENGINE_SQLITE, ENGINE_POSTGRESQL),
                         [](const ::testing::TestParamInfo<eEngine>& info) {
                             return info.param == ENGINE_SQLITE ? "SQLite" : "PostgreSQL";
                         });

// What only one engine can show.
class CampaignDBSQLiteOnly : public CampaignDBTest {};

TEST_P(CampaignDBSQLiteOnly, AFileThatIsNotADatabaseIsRefused) {
    cCampaignDB db;
    EXPECT_FALSE(db.Open(File("notes.db", std::string(8192, 'x'))));
    EXPECT_NE(db.Error().find("notes.db: not a SQLite database"), std::string::npos) << db.Error();
}

TEST_P(CampaignDBSQLiteOnly, AFullOrReadOnlyDatabaseSaysSoAndKeepsNothingOfTheFile) {
    const std::string& path = mTarget;
    {
        // Room for the schema and a few pages more: the database fills up in the middle of capture A.
        auto backend = std::make_unique<cSQLiteBackend>();
        ASSERT_TRUE(backend->Open(path));
        cSQLiteBackend* raw = backend.get();
        cCampaignDB db;
        ASSERT_TRUE(db.OpenBackend(backend.release())) << db.Error();
        Rows rows;
        ASSERT_TRUE(raw->Query("PRAGMA page_count", rows));
        ASSERT_TRUE(raw->Query("PRAGMA max_page_count = " + std::to_string(std::stoi(rows[0][0]) + 4), rows));
        sDBAddSummary summary;
        EXPECT_EQ(db.AddFile(Recordings().mA, summary), DB_DATABASE_FAILED);
        EXPECT_NE(db.Error().find("database or disk is full"), std::string::npos) << db.Error();
        EXPECT_NE(db.Error().find("campaign.db"), std::string::npos) << db.Error();
    }
    cSQLiteBackend look;
    ASSERT_TRUE(look.Open(path));
    Rows rows;
    ASSERT_TRUE(look.Query("SELECT (SELECT count(*) FROM files) + (SELECT count(*) FROM messages)", rows));
    EXPECT_EQ(rows[0][0], "0");

    // A database the writer may only read.
    auto readOnly = std::make_unique<cSQLiteBackend>();
    ASSERT_TRUE(readOnly->Open(path, true));
    cCampaignDB db;
    EXPECT_FALSE(db.OpenBackend(readOnly.release()));
    EXPECT_NE(db.Error().find("campaign.db: attempt to write a readonly database"), std::string::npos)
        << db.Error();
}

INSTANTIATE_TEST_SUITE_P(Engines, CampaignDBSQLiteOnly, ::testing::Values(ENGINE_SQLITE),
                         [](const ::testing::TestParamInfo<eEngine>&) { return "SQLite"; });

// Rows wait in a bounded buffer: a file larger than it is sent while it is read, not held whole until the
// commit.
class CampaignDBPostgreSQLOnly : public CampaignDBTest {};

TEST_P(CampaignDBPostgreSQLOnly, RowsAreSentBeforeTheCommitOnceTheBufferIsFull) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    cPostgresBackend backend;
    ASSERT_TRUE(backend.Open(mTarget)) << backend.Error();
    const sTableDef& messages = *StoredTable(TABLE_MESSAGES);
    const std::string message(1000, 'm');
    std::vector<sValue> row(messages.mCount);
    row[0].mNull = false;
    row.back().mNull = false;
    row.back().mText = message.data();
    row.back().mSize = message.size();
    ASSERT_TRUE(backend.Begin());
    const size_t rows = cPostgresBackend::kCopyBytes / message.size() + 10;
    for (size_t i = 0; i < rows; ++i) {
        ASSERT_TRUE(backend.Insert(messages, row.data())) << backend.Error();
    }
    Rows counted;
    ASSERT_TRUE(backend.Query("SELECT count(*) FROM messages", counted)) << backend.Error();
    EXPECT_GT(std::stoul(counted[0][0]), 0u) << "every row still held after " << rows << " rows";
    ASSERT_TRUE(backend.Commit()) << backend.Error();
    EXPECT_EQ(One("SELECT count(*) FROM messages"), std::to_string(rows));
}

// A transaction that an error aborted (here one the writer would have ignored) ends its COMMIT with a
// rollback: that is a failure, with nothing stored. (SQLite undoes a failed statement alone.)
TEST_P(CampaignDBPostgreSQLOnly, ACommitOfAnAbortedTransactionIsAFailure) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    cPostgresBackend backend;
    ASSERT_TRUE(backend.Open(mTarget)) << backend.Error();
    ASSERT_TRUE(backend.Begin());
    ASSERT_TRUE(backend.Execute("INSERT INTO files (path, sha256) VALUES ('a.isf', 'aa')"));
    EXPECT_FALSE(backend.Execute("INSERT INTO files (path, sha256) VALUES ('b.isf', 'aa')"));
    EXPECT_FALSE(backend.Commit());
    EXPECT_NE(backend.Error().find("commit failed"), std::string::npos) << backend.Error();
    EXPECT_EQ(One("SELECT count(*) FROM files"), "0");
}

INSTANTIATE_TEST_SUITE_P(Engines, CampaignDBPostgreSQLOnly, ::testing::Values(ENGINE_POSTGRESQL),
                         [](const ::testing::TestParamInfo<eEngine>&) { return "PostgreSQL"; });

// No server listens in the test's own directory (the SQLite case starts none).
TEST_P(CampaignDBSQLiteOnly, APostgreSQLServerThatIsNotThereIsAClearError) {
    cCampaignDB db;
    const std::string url = "postgresql://palvorin:secret@/campaign?host=" + mDir.File("");
    EXPECT_FALSE(db.Open(url));
    EXPECT_NE(db.Error().find("cannot connect to postgresql://palvorin@/campaign?host="), std::string::npos)
        << db.Error();
    EXPECT_EQ(db.Error().find("secret"), std::string::npos) << "no password in messages: " << db.Error();
    EXPECT_NE(db.Error().find("No such file or directory"), std::string::npos) << db.Error();
}

}  // namespace
