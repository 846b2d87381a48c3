// The SQLite writer's multi-row inserts (the same rows as SQL literals one statement each, an independent
// path, at each batch boundary; a failure drops what is held) and its merge of a worker's database.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "db/CampaignDB.h"
#include "db/CampaignSchema.h"
#include "db/SQLiteBackend.h"
#include "tests/ISFTestSupport.h"
#include "tests/db/FaultBackend.h"
#include "tests/db/Recording.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;
using isftest::cTempDir;

// Row `n` of `table`: every column's value differs from row to row; some are null, some texts and blobs
// empty, some blobs long, so that the held bytes of a batch are not all of one size.
struct sRow {
    std::vector<sValue> mValues;
    std::string mText;
    std::string mBytes;
    sRow(const sTableDef& table, size_t n) : mValues(table.mCount) {
        mText = std::string(n % 3, 'a' + n % 26) + "'";
        mBytes = std::string(n % 5 == 0 ? 0 : n % 200, static_cast<char>(n));
        for (size_t i = 0; i < table.mCount; ++i) {
            sValue& v = mValues[i];
            v.mNull = i > 0 && (n + i) % 7 == 0;
            switch (table.mColumns[i].mType) {
                case COLUMN_TIME:
                    v.mInt = 1438395100984 + static_cast<int64_t>(n * 37 + i);
                    break;
                case COLUMN_INT:
                case COLUMN_CODE:
                    v.mInt = static_cast<int64_t>(n * 1000 + i) * (n % 2 == 0 ? 1 : -1);
                    break;
                case COLUMN_REAL:
                    v.mReal = static_cast<double>(n) / 4 - 100;
                    break;
                case COLUMN_TEXT:
                    v.mText = mText.data();
                    v.mSize = mText.size();
                    break;
                case COLUMN_BYTES:
                    v.mText = mBytes.data();
                    v.mSize = mBytes.size();
                    break;
            }
        }
    }
};

// Every row of `table` in the database at `path`, each column as text, in the order they were added.
Rows Contents(const std::string& path, const sTableDef& table) {
    cSQLiteBackend db;
    EXPECT_TRUE(db.Open(path)) << db.Error();
    std::string columns;
    for (size_t i = 0; i < table.mCount; ++i) {
        const std::string name = table.mColumns[i].mName;
        columns += (i == 0 ? "" : ", ") + ("typeof(" + name + ") || ':' || coalesce(quote(" + name + "), ''");
        columns += ")";
    }
    Rows rows;
    EXPECT_TRUE(db.Query("SELECT " + columns + " FROM " + table.mName + " ORDER BY rowid", rows))
        << db.Error();
    return rows;
}

std::string One(cDBBackend& db, const std::string& sql) {
    Rows rows;
    EXPECT_TRUE(db.Query(sql, rows)) << db.Error();
    return rows.empty() || rows[0].empty() ? "(no row)" : rows[0][0];
}

std::string NewCampaign(const std::string& path) {
    cCampaignDB db;
    EXPECT_TRUE(db.Open(path)) << db.Error();
    return path;
}

TEST(SQLiteBatch, RowsOfBatchesAndRemaindersAreThoseOfOneStatementEach) {
    const sTableDef& messages = *StoredTable(TABLE_MESSAGES);
    const sTableDef& measurements = *StoredTable(TABLE_MEASUREMENTS);
    const size_t batch = kSQLiteBatchRows;
    for (const size_t count : {size_t(0), batch - 1, batch, batch + 1}) {
        SCOPED_TRACE(count);
        cTempDir dir;
        const std::string batched = NewCampaign(dir.File("batched.db"));
        const std::string single = NewCampaign(dir.File("single.db"));
        cSQLiteBackend a;
        cSQLiteBackend b;
        ASSERT_TRUE(a.Open(batched) && b.Open(single));
        ASSERT_TRUE(a.Begin() && b.Begin());
        for (size_t n = 0; n < count; ++n) {
            // Two tables interleaved: each holds its own rows.
            for (const sTableDef* table : {&messages, &measurements}) {
                const sRow row(*table, n);
                ASSERT_TRUE(a.Insert(*table, row.mValues.data())) << a.Error();
                std::string sql = std::string("INSERT INTO ") + table->mName + " VALUES (";
                for (size_t i = 0; i < table->mCount; ++i) {
                    sql +=
                        (i == 0 ? "" : ", ") + Literal(row.mValues[i], table->mColumns[i].mType, DB_SQLITE);
                }
                ASSERT_TRUE(b.Execute(sql + ")")) << b.Error();
            }
        }
        ASSERT_TRUE(a.Commit() && b.Commit()) << a.Error();
        for (const sTableDef* table : {&messages, &measurements}) {
            const Rows got = Contents(batched, *table);
            EXPECT_EQ(got.size(), count);
            EXPECT_EQ(got, Contents(single, *table)) << table->mName;
        }
    }
}

TEST(SQLiteBatch, AReadSeesTheRowsHeldAndARollbackDropsThem) {
    cTempDir dir;
    const std::string path = NewCampaign(dir.File("campaign.db"));
    const sTableDef& messages = *StoredTable(TABLE_MESSAGES);
    cSQLiteBackend db;
    ASSERT_TRUE(db.Open(path));
    ASSERT_TRUE(db.Begin());
    for (size_t n = 0; n < kSQLiteBatchRows + 5; ++n) {
        ASSERT_TRUE(db.Insert(messages, sRow(messages, n).mValues.data()));
    }
    EXPECT_EQ(One(db, "SELECT count(*) FROM messages"), std::to_string(kSQLiteBatchRows + 5));
    for (size_t n = 0; n < 3; ++n) {
        ASSERT_TRUE(db.Insert(messages, sRow(messages, n).mValues.data()));
    }
    ASSERT_TRUE(db.Rollback());
    ASSERT_TRUE(db.Begin());
    ASSERT_TRUE(db.Insert(messages, sRow(messages, 9).mValues.data()));
    ASSERT_TRUE(db.Commit());
    EXPECT_EQ(One(db, "SELECT count(*) FROM messages"), "1");
    // Rows held with no transaction open (SQLite ended it by itself, as after a full disk): dropped too.
    for (size_t n = 0; n < 2; ++n) {
        ASSERT_TRUE(db.Insert(messages, sRow(messages, n).mValues.data()));
    }
    ASSERT_TRUE(db.Rollback());
    EXPECT_EQ(One(db, "SELECT count(*) FROM messages"), "1");
}

TEST(SQLiteBatch, ARowTheDatabaseRefusesFailsItsBatchOrTheCommit) {
    const sTableDef& messages = *StoredTable(TABLE_MESSAGES);
    // file_id is NOT NULL: the row at `bad` is refused when its batch, or the remainder, is written.
    for (const size_t bad : {size_t(0), kSQLiteBatchRows + 2}) {
        SCOPED_TRACE(bad);
        cTempDir dir;
        const std::string path = NewCampaign(dir.File("campaign.db"));
        cSQLiteBackend db;
        ASSERT_TRUE(db.Open(path));
        ASSERT_TRUE(db.Begin());
        bool refused = false;
        for (size_t n = 0; n < kSQLiteBatchRows + 5 && !refused; ++n) {
            sRow row(messages, n);
            row.mValues[0].mNull = n == bad;
            refused = !db.Insert(messages, row.mValues.data());
            EXPECT_EQ(refused, n == kSQLiteBatchRows - 1 && bad < kSQLiteBatchRows) << n;
        }
        EXPECT_FALSE(!refused && db.Commit());
        EXPECT_NE(db.Error().find("cannot insert into messages"), std::string::npos) << db.Error();
        EXPECT_NE(db.Error().find("NOT NULL"), std::string::npos) << db.Error();
        ASSERT_TRUE(db.Rollback());
        EXPECT_EQ(One(db, "SELECT count(*) FROM messages"), "0");
    }
}

TEST(SQLiteMerge, AFailingCopyLeavesNothingOfTheFile) {
    // Worker databases as a campaign makes them: A alone; B, then A again.
    const cTempDir workers;
    const std::string a = workers.File("a.isf"), b = workers.File("b.isf");
    const std::string one = workers.File("one.db"), two = workers.File("two.db");
    ASSERT_TRUE(RecordStream(PALVORIN_TEST_DATA "/raw_diag_stream_a.bin", a));
    ASSERT_TRUE(RecordStream(PALVORIN_TEST_DATA "/raw_diag_stream_b.bin", b));
    {
        cCampaignDB db;
        sDBAddSummary summary;
        ASSERT_TRUE(db.Open(one));
        ASSERT_EQ(db.AddFile(a, summary), DB_ADDED);
        ASSERT_TRUE(db.Open(two));
        ASSERT_EQ(db.AddFile(b, summary), DB_ADDED);
        ASSERT_EQ(db.AddFile(a, summary), DB_ADDED);
    }
    // The statements of a merge of one file: attach, a copy per table (messages first), detach.
    const struct {
        uint64_t mAt;
        const char* mFiles;  // left in the campaign after the failure
    } faults[] = {{1, "0"}, {5, "0"}, {6, "1"}};
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.mAt);
        cTempDir dir;
        const std::string campaign = NewCampaign(dir.File("campaign.db"));
        auto backend = std::make_unique<cSQLiteBackend>();
        ASSERT_TRUE(backend->Open(campaign));
        auto* faulty = new cFaultBackend(backend.release(), cFaultBackend::OP_EXECUTE, fault.mAt);
        cCampaignDB db;
        ASSERT_TRUE(db.OpenBackend(faulty)) << db.Error();
        faulty->Arm();
        uint64_t added = 0, present = 0;
        EXPECT_EQ(db.AddDatabase(one, added, present), DB_DATABASE_FAILED);
        EXPECT_NE(db.Error().find("injected fault"), std::string::npos) << db.Error();
        cSQLiteBackend look;
        ASSERT_TRUE(look.Open(campaign));
        EXPECT_EQ(One(look, "SELECT count(*) || ' ' || (SELECT count(*) FROM messages) FROM files"),
                  fault.mFiles[0] == '0' ? "0 0" : "1 4852");
        // The connection goes on: the same merge again puts the file in whole; a file there already is
        // skipped (B takes the next id here, whatever its id in the worker's database).
        ASSERT_EQ(db.AddDatabase(two, added, present), DB_ADDED) << db.Error();
        EXPECT_EQ(present, fault.mFiles[0] == '0' ? 0u : 1u);
        EXPECT_EQ(added, 2 - present);
        // Every file's rows under its own id, as many as its files row counts and as many as the worker's
        // database holds for it (by SHA-256); the messages themselves in order.
        ASSERT_TRUE(look.Execute("ATTACH DATABASE '" + two + "' AS w"));
        for (const std::string t : {"messages", "measurements", "cells", "events"}) {
            EXPECT_EQ(
                One(look, "SELECT count(*) FROM files f JOIN w.files g USING (sha256) WHERE f." + t +
                              "_rows != (SELECT count(*) FROM main." + t + " WHERE file_id = f.id) OR f." +
                              t + "_rows != (SELECT count(*) FROM w." + t + " WHERE file_id = g.id)"),
                "0")
                << t;
        }
        EXPECT_EQ(One(look,
                      "SELECT count(*) FROM files f JOIN w.files g USING (sha256) WHERE (SELECT "
                      "group_concat(hex(message) || time_utc, ',') FROM (SELECT message, time_utc FROM "
                      "main.messages WHERE file_id = f.id ORDER BY rowid)) IS NOT (SELECT "
                      "group_concat(hex(message) || time_utc, ',') FROM (SELECT message, time_utc FROM "
                      "w.messages WHERE file_id = g.id ORDER BY rowid))"),
                  "0");
        EXPECT_EQ(One(look, "SELECT count(*) FROM messages"), std::to_string(4852 + 18));
    }
}

}  // namespace
