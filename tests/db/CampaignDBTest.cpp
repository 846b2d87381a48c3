// The campaign database, against SQLite and against a real PostgreSQL server the test starts itself: a real
// recording of capture A goes in whole (4,852 messages, tshark's count), once; bad files and faults in the
// middle of a file leave nothing behind; databases that cannot be used say why.
#include "db/CampaignDB.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "db/CampaignSchema.h"
#include "db/FileHash.h"
#include "db/PostgresBackend.h"
#include "db/SQLiteBackend.h"
#include "jni/ISFFormat.h"
#include "reader/ISFReadAll.h"
#include "tables/CaptureTables.h"
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

std::string Data(const std::string& name) {
    return std::string(PALVORIN_TEST_DATA) + "/" + name;
}

// One server for every test of the process, stopped when the process ends.
cPostgresServer* SharedServer(std::string& error) {
    static std::unique_ptr<cPostgresServer> server;
    static std::string failure;
    if (server == nullptr && failure.empty()) {
        auto started = std::make_unique<cPostgresServer>();
        if (started->Start({"fsync=off"})) {
            server = std::move(started);
        } else {
            failure = started->Error();
        }
    }
    error = failure;
    return server.get();
}

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

// The recordings every test uses, made once per process: capture A and capture B, with the rows the
// capture tables make of them (the messages sorted).
struct sRecordings {
    std::string mDir;
    std::string mA;
    std::string mB;
    sProduced mTablesA;
    sProduced mTablesB;
    sRecordings() {
        char name[] = "/tmp/palvorin-db-rec-XXXXXX";
        mDir = mkdtemp(name) != nullptr ? name : "/tmp";
        mA = mDir + "/a.isf";
        mB = mDir + "/b.isf";
        RecordStream(Data("raw_diag_stream_a.bin"), mA);
        RecordStream(Data("raw_diag_stream_b.bin"), mB);
        for (auto [path, produced] : {std::pair(&mA, &mTablesA), std::pair(&mB, &mTablesB)}) {
            sTableSummary tables;
            std::string error;
            EXPECT_TRUE(ReadCaptureTables(*path, kAllTables, *produced, tables, error)) << error;
            std::sort(produced->mMessages.begin(), produced->mMessages.end());
        }
    }
    ~sRecordings() {
        std::error_code ignored;
        std::filesystem::remove_all(mDir, ignored);
    }
};
const sRecordings& Recordings() {
    static const sRecordings recordings;
    return recordings;
}

class CampaignDBTest : public ::testing::TestWithParam<eEngine> {
protected:
    void SetUp() override {
        char name[] = "/tmp/palvorin-db-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        mDir = name;
        if (GetParam() == ENGINE_SQLITE) {
            mTarget = mDir + "/campaign.db";
            return;
        }
        if (cPostgresServer::FindBinaries().empty()) {
            GTEST_SKIP() << "PostgreSQL server binaries are missing (/usr/lib/postgresql/*/bin/initdb): "
                            "install the postgresql package (scripts/install-deps)";
        }
        std::string error;
        cPostgresServer* server = SharedServer(error);
        ASSERT_NE(server, nullptr) << error;
        static int databases = 0;
        const std::string database = "campaign" + std::to_string(++databases);
        ASSERT_TRUE(server->CreateDatabase(database)) << server->Error();
        mTarget = server->URL(database);
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(mDir, ignored);
    }

    bool IsSQLite() const { return GetParam() == ENGINE_SQLITE; }

    // A connection of the engine's own kind to the test's database.
    std::unique_ptr<cDBBackend> Connect() {
        if (IsSQLite()) {
            auto backend = std::make_unique<cSQLiteBackend>();
            EXPECT_TRUE(backend->Open(mTarget)) << backend->Error();
            return backend;
        }
        auto backend = std::make_unique<cPostgresBackend>();
        EXPECT_TRUE(backend->Open(mTarget)) << backend->Error();
        return backend;
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
    // Rows of every table of the campaign, and the files.
    std::map<std::string, std::string> Counts() {
        std::map<std::string, std::string> counts;
        for (const char* table : {"files", "messages", "measurements", "cells", "events"}) {
            counts[table] = One(std::string("SELECT count(*) FROM ") + table);
        }
        return counts;
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
        const std::string path = mDir + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    std::string mDir;
    std::string mTarget;
};

TEST_P(CampaignDBTest, ARealRecordingGoesInWhole) {
    const std::string& a = Recordings().mA;
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    sDBAddSummary summary;
    ASSERT_EQ(db.AddFile(a, summary), DB_ADDED) << db.Error();

    const sProduced& produced = Recordings().mTablesA;
    // tshark decodes 4,852 messages in the export of capture A.
    EXPECT_EQ(summary.mRows[TABLE_MESSAGES], 4852u);
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        EXPECT_EQ(summary.mRows[t], produced.mRows[t]) << TableDef(static_cast<eTable>(t)).mName;
        if (t != TABLE_ITEMS) {
            const std::string name = TableDef(static_cast<eTable>(t)).mName;
            EXPECT_EQ(
                One("SELECT count(*) FROM " + name + " WHERE file_id = " + std::to_string(summary.mFileId)),
                std::to_string(produced.mRows[t]))
                << name;
        }
    }
    EXPECT_EQ(Messages(), produced.mMessages);
    // tshark's counts by protocol: LTE RRC 4,343 (log 0xB0C0), NAS-EPS 95, GSM RR 378 (0x512F), GPRS 9
    // (0x5230) and UMTS NAS 27 (0x713A); log codes are integers.
    const Rows codes = Query("SELECT log_code, count(*) FROM messages GROUP BY log_code ORDER BY log_code");
    std::map<std::string, std::string> byCode;
    for (const auto& row : codes) {
        byCode[row[0]] = row[1];
    }
    EXPECT_EQ(byCode["45248"], "4343");
    EXPECT_EQ(byCode["20783"], "378");
    EXPECT_EQ(byCode["21040"], "9");
    EXPECT_EQ(byCode["28986"], "27");
    EXPECT_EQ(One("SELECT count(*) FROM messages WHERE technology = 'lte' AND channel LIKE 'LTE NAS%'"),
              "95");
    // `palvorin dump` of the recording: item 2 (the first message, LTE NAS EMM) at 2015-08-01T02:11:40.985Z,
    // item 5501 (the last, an LTE RRC PCCH) at 05:00:12.484Z.
    EXPECT_EQ(One("SELECT " + Time("min(time_utc)") + " FROM messages"), "2015-08-01T02:11:40.985Z");
    EXPECT_EQ(One("SELECT " + Time("max(time_utc)") + " FROM messages"), "2015-08-01T05:00:12.484Z");
    EXPECT_EQ(One("SELECT channel FROM messages WHERE time_utc = (SELECT min(time_utc) FROM messages)"),
              "LTE NAS EMM");

    const Rows files = Query("SELECT path, size, sha256, items, " + Time("first_utc") + ", " +
                             Time("last_utc") + ", tool_version, messages_rows FROM files");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0][0], std::filesystem::absolute(a).string());
    EXPECT_EQ(files[0][1], std::to_string(std::filesystem::file_size(a)));
    EXPECT_EQ(files[0][2], summary.mSHA256);
    EXPECT_EQ(files[0][3], std::to_string(ReadISFFile(a).mItems.size()));
    EXPECT_EQ(files[0][4], "2015-08-01T02:11:40.984Z");
    EXPECT_EQ(files[0][5], "2015-08-01T05:00:12.484Z");
    EXPECT_EQ(files[0][6], "3.00.011");
    EXPECT_EQ(files[0][7], "4852");
}

TEST_P(CampaignDBTest, AFileAlreadyThereIsNotAddedAgain) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    sDBAddSummary first;
    ASSERT_EQ(db.AddFile(Recordings().mA, first), DB_ADDED) << db.Error();
    const auto before = Counts();
    // The same bytes under another name are the same file.
    const std::string copy = mDir + "/copy.isf";
    std::filesystem::copy_file(Recordings().mA, copy);
    for (const std::string& path : {Recordings().mA, copy}) {
        sDBAddSummary again;
        EXPECT_EQ(db.AddFile(path, again), DB_ALREADY_PRESENT) << path;
        EXPECT_EQ(again.mFileId, first.mFileId);
        EXPECT_EQ(again.mRows[TABLE_MESSAGES], 0u);
    }
    // A second writer opening the same database sees it too.
    cCampaignDB other;
    ASSERT_TRUE(other.Open(mTarget)) << other.Error();
    sDBAddSummary again;
    EXPECT_EQ(other.AddFile(copy, again), DB_ALREADY_PRESENT);
    EXPECT_EQ(Counts(), before);
}

TEST_P(CampaignDBTest, ARecordingOfARawStreamIsNamedByTheStream) {
    // Each recording of a stream differs (its tool-version record carries the time of the recording): the
    // stream it came from names it, so that recording the stream again finds it there.
    const std::string stream = Data("raw_diag_stream_b.bin");
    const std::string first = mDir + "/first.isf";
    const std::string second = mDir + "/second.isf";
    ASSERT_TRUE(RecordStream(stream, first));
    ASSERT_TRUE(RecordStream(stream, second));
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    sDBAddSummary added;
    ASSERT_EQ(db.AddFile(first, added, stream), DB_ADDED) << db.Error();
    EXPECT_EQ(added.mRows[TABLE_MESSAGES], 18u);
    std::string sha256, error;
    uint64_t size = 0;
    ASSERT_TRUE(FileSHA256(stream, sha256, size, error)) << error;
    EXPECT_EQ(added.mSHA256, sha256);
    const Rows files = Query("SELECT path, size, sha256, messages_rows FROM files");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0],
              (std::vector<std::string>{std::filesystem::absolute(stream).lexically_normal().string(), "2994",
                                        sha256, "18"}));
    sDBAddSummary again;
    EXPECT_EQ(db.AddFile(second, again, stream), DB_ALREADY_PRESENT) << db.Error();
    EXPECT_EQ(again.mFileId, added.mFileId);
    // Without its stream, a recording is a file of its own.
    sDBAddSummary alone;
    EXPECT_EQ(db.AddFile(first, alone), DB_ADDED) << db.Error();
    EXPECT_EQ(One("SELECT count(*) FROM messages"), "36");
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

std::string MiscountedTrailer(std::string file) {
    const size_t at = file.size() - ISF_TRAILER_SIZE + ISF_TRAILER_COUNT_OFFSET;
    file[at] = static_cast<char>(file[at] + 1);
    return file;
}

TEST_P(CampaignDBTest, BadFilesAreReportedAndTheOthersGoOn) {
    std::ifstream in(Recordings().mA, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const struct {
        std::string mPath;
        const char* mSays;
    } bad[] = {
        {mDir + "/missing.isf", "No such file"},
        {File("empty.isf", ""), "not a readable item store file"},
        {File("text.isf", "not an item store file, only text\n"), "not a readable item store file"},
        {File("cut.isf", whole.substr(0, whole.size() / 2)), "damaged or cut short"},
        // Whole but for one field: the trailer counts one item more than the index holds.
        {File("miscounted.isf", MiscountedTrailer(whole)), "damaged or cut short: the reader found 1 "},
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
    // Capture B: 18 NR messages; the other tables hold what the capture tables make of A and B.
    std::map<std::string, std::string> expected = {{"files", "2"}};
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        if (t != TABLE_ITEMS) {
            expected[TableDef(static_cast<eTable>(t)).mName] =
                std::to_string(Recordings().mTablesA.mRows[t] + Recordings().mTablesB.mRows[t]);
        }
    }
    EXPECT_EQ(expected["messages"], std::to_string(4852 + 18));
    EXPECT_EQ(Counts(), expected);
    EXPECT_EQ(One("SELECT count(*) FROM messages WHERE file_id NOT IN (SELECT id FROM files)"), "0");
}

TEST_P(CampaignDBTest, AFaultInTheMiddleOfAFileLeavesNothingOfIt) {
    const struct {
        cFaultBackend::eOp mOp;
        uint64_t mAt;
        const char* mWhere;
    } faults[] = {
        {cFaultBackend::OP_INSERT, 1, "first row"},
        {cFaultBackend::OP_INSERT, 2000, "a row in the middle"},
        {cFaultBackend::OP_INSERT, 4852, "last row"},
        {cFaultBackend::OP_EXECUTE, 1, "the files row's totals"},
        {cFaultBackend::OP_COMMIT, 1, "the commit"},
        {cFaultBackend::OP_QUERY, 2, "the files row"},
        {cFaultBackend::OP_BEGIN, 1, "the transaction's start"},
    };
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.mWhere);
        {
            // The schema is there before the fault's counts begin.
            cCampaignDB db;
            ASSERT_TRUE(db.Open(mTarget)) << db.Error();
        }
        auto* faults = new cFaultBackend(Connect().release(), fault.mOp, fault.mAt);
        cCampaignDB db;
        ASSERT_TRUE(db.OpenBackend(faults)) << db.Error();
        faults->Arm();
        sDBAddSummary summary;
        EXPECT_EQ(db.AddFile(Recordings().mA, summary), DB_DATABASE_FAILED);
        EXPECT_NE(db.Error().find("injected fault"), std::string::npos) << db.Error();
        const std::map<std::string, std::string> empty = {
            {"files", "0"}, {"messages", "0"}, {"measurements", "0"}, {"cells", "0"}, {"events", "0"}};
        EXPECT_EQ(Counts(), empty);
        // The connection is usable after the rollback: the same file goes in whole.
        ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED) << db.Error();
        EXPECT_EQ(One("SELECT count(*) FROM messages"), "4852");
        ASSERT_TRUE(Connect()->Execute(
            "DELETE FROM messages; DELETE FROM measurements; DELETE FROM cells; DELETE FROM events; "
            "DELETE FROM files"));
    }
}

TEST_P(CampaignDBTest, WorkerDatabasesAreCopiedFileByFile) {
    const std::string worker1 = mDir + "/worker1.db";
    const std::string worker2 = mDir + "/worker2.db";
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
    EXPECT_EQ(added, 1u);
    EXPECT_EQ(present, 0u);
    ASSERT_EQ(db.AddDatabase(worker2, added, present), DB_ADDED) << db.Error();
    EXPECT_EQ(added, 1u);
    EXPECT_EQ(present, 1u);
    const auto counts = Counts();
    EXPECT_EQ(counts.at("files"), "2");
    EXPECT_EQ(counts.at("messages"), std::to_string(4852 + 18));
    // The rows are those of the files themselves, under the ids of this database.
    const std::string aId = One("SELECT id FROM files WHERE path LIKE '%/a.isf'");
    EXPECT_EQ(Messages("file_id = " + aId), Recordings().mTablesA.mMessages);
    EXPECT_EQ(One("SELECT " + Time("min(time_utc)") + " FROM messages WHERE file_id = " + aId),
              "2015-08-01T02:11:40.985Z");
    EXPECT_EQ(One("SELECT " + Time("first_utc") + " FROM files WHERE id = " + aId),
              "2015-08-01T02:11:40.984Z");
    EXPECT_EQ(One("SELECT messages_rows FROM files WHERE id = " + aId), "4852");
    // Again: nothing new.
    ASSERT_EQ(db.AddDatabase(worker2, added, present), DB_ADDED);
    EXPECT_EQ(added, 0u);
    EXPECT_EQ(present, 2u);
    EXPECT_EQ(Counts(), counts);
    // Not a campaign database.
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
// the documented types, and the indexes by time and by cell.
TEST_P(CampaignDBTest, TablesHaveTheToolsColumnsAndIndexes) {
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
    for (const auto& table : kIndexes) {
        EXPECT_EQ(Indexes(table.first), table.second) << table.first;
    }
}

TEST_P(CampaignDBTest, ABulkLoadEndsWithEveryIndex) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
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
// tables go in as they come.
TEST_P(CampaignDBTest, RowsOfEveryColumnTypeRoundTrip) {
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    std::unique_ptr<cDBBackend> backend = Connect();
    ASSERT_TRUE(backend->Begin());
    const std::string text = "it's";
    const char bytes[] = {0, '\'', '\\', static_cast<char>(0xFF)};
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        const sTableDef* table = StoredTable(static_cast<eTable>(t));
        if (table == nullptr) {
            continue;
        }
        std::vector<sValue> row(table->mCount);
        for (size_t i = 0; i < table->mCount; ++i) {
            row[i].mNull = i == table->mCount - 1 && table->mColumns[i].mType != COLUMN_BYTES;
            switch (table->mColumns[i].mType) {
                case COLUMN_TIME:
                    row[i].mInt = 951782400123;  // `date -u -d @951782400`: 2000-02-29T00:00:00Z
                    break;
                case COLUMN_INT:
                case COLUMN_CODE:
                    row[i].mInt = i == 0 ? 77 : -123456789012 * (table->mColumns[i].mType == COLUMN_INT);
                    break;
                case COLUMN_REAL:
                    row[i].mReal = -95.25;
                    break;
                case COLUMN_TEXT:
                    row[i].mText = text.data();
                    row[i].mSize = text.size();
                    break;
                case COLUMN_BYTES:
                    row[i].mText = bytes;
                    row[i].mSize = sizeof bytes;
                    break;
            }
        }
        ASSERT_TRUE(backend->Insert(*table, row.data())) << backend->Error();
    }
    ASSERT_TRUE(backend->Commit()) << backend->Error();
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        const sTableDef* table = StoredTable(static_cast<eTable>(t));
        if (table == nullptr) {
            continue;
        }
        std::string select;
        for (size_t i = 0; i < table->mCount; ++i) {
            const std::string name = table->mColumns[i].mName;
            const eColumnType type = table->mColumns[i].mType;
            const std::string value =
                type == COLUMN_TIME ? Time(name)
                : type == COLUMN_BYTES
                    ? (IsSQLite() ? "lower(hex(" + name + "))" : "encode(" + name + ", 'hex')")
                : type == COLUMN_REAL
                    ? (IsSQLite() ? "round(" + name + ", 2)" : "to_char(" + name + ", 'FM990.00')")
                    : name;
            select += (i == 0 ? "" : " || '|' || ") + std::string("coalesce(") +
                      (IsSQLite() ? value : "(" + value + ")::text") + ", 'NULL')";
        }
        std::string expected;
        for (size_t i = 0; i < table->mCount; ++i) {
            const eColumnType type = table->mColumns[i].mType;
            const bool null = i == table->mCount - 1 && type != COLUMN_BYTES;
            expected += i == 0 ? "77" : "|";
            if (i == 0) {
                continue;
            }
            expected += null                  ? "NULL"
                        : type == COLUMN_TIME ? "2000-02-29T00:00:00.123Z"
                        : type == COLUMN_INT  ? "-123456789012"
                        : type == COLUMN_CODE ? "0"
                        : type == COLUMN_REAL ? "-95.25"
                        : type == COLUMN_TEXT ? "it's"
                                              : "00275cff";
        }
        EXPECT_EQ(One("SELECT " + select + " FROM " + table->mName), expected) << table->mName;
    }
}

// The README's example queries run on both engines, over capture A.
TEST_P(CampaignDBTest, TheREADMEsExampleQueriesRun) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/../../README.md");
    std::vector<std::string> queries;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line == "```sql") {
            inside = true;
            queries.emplace_back();
        } else if (line == "```") {
            inside = false;
        } else if (inside) {
            queries.back() += line + "\n";
        }
    }
    ASSERT_EQ(queries.size(), 4u);
    cCampaignDB db;
    ASSERT_TRUE(db.Open(mTarget)) << db.Error();
    sDBAddSummary summary;
    ASSERT_EQ(db.AddFile(Recordings().mA, summary), DB_ADDED) << db.Error();
    const Rows perChannel = Query(queries[0]);
    ASSERT_FALSE(perChannel.empty());
    EXPECT_EQ(perChannel[0][1], "LTE RRC PCCH");
    EXPECT_EQ(perChannel[0][2], "3368");
    for (size_t i = 1; i < queries.size(); ++i) {
        Query(queries[i]);
    }
    // The cell of the example: LTE RRC UL-CCCH, DL-CCCH, ... on EARFCN 37900, PCI 337 between 02:11 and
    // 03:00.
    EXPECT_FALSE(Query(queries[3]).empty());
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
    const std::string url = "postgresql://palvorin:secret@/campaign?host=" + mDir;
    EXPECT_FALSE(db.Open(url));
    EXPECT_NE(db.Error().find("cannot connect to postgresql://palvorin@/campaign?host="), std::string::npos)
        << db.Error();
    EXPECT_EQ(db.Error().find("secret"), std::string::npos) << "no password in messages: " << db.Error();
    EXPECT_NE(db.Error().find("No such file or directory"), std::string::npos) << db.Error();
}

}  // namespace
