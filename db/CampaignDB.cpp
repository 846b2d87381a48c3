#include "db/CampaignDB.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

#include "db/CampaignSchema.h"
#include "db/DBTime.h"
#include "db/FileHash.h"
#include "db/PostgresBackend.h"
#include "db/SQLiteBackend.h"
#include "jni/ISFToolVersion.h"
#include "tables/CaptureTables.h"

namespace {

// Held by the transaction that creates the schema, so that workers opening a new PostgreSQL database
// together create it once.
const char* const kSchemaLockSQL = "SELECT pg_advisory_xact_lock(7368801)";

sValue IntValue(int64_t value) {
    sValue v;
    v.mNull = false;
    v.mInt = value;
    return v;
}

sValue TextValue(const std::string& text) {
    sValue v;
    v.mNull = false;
    v.mText = text.data();
    v.mSize = text.size();
    return v;
}

int64_t NowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

bool IsPostgresURL(const std::string& target) {
    return target.rfind("postgresql://", 0) == 0 || target.rfind("postgres://", 0) == 0;
}

// Hands a capture's rows to the database with the file's id in front, and keeps the first and last time of
// its items (which are counted, not stored). The tool-version record that opens every file is stamped with
// the host's clock when the file was opened, not with the capture's time: it is left out of the times.
class cRowWriter : public cTableSink {
public:
    cRowWriter(cDBBackend& backend, int64_t fileId) : mBackend(backend) {
        const sTableDef& items = TableDef(TABLE_ITEMS);
        for (size_t i = 0; i < items.mCount; ++i) {
            if (items.mColumns[i].mType == COLUMN_TIME) {
                mItemTime = i;
            } else if (items.mColumns[i].mType == COLUMN_CODE) {
                mItemCode = i;
            }
        }
        for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
            const sTableDef* stored = StoredTable(static_cast<eTable>(t));
            if (stored != nullptr) {
                mRows[t].resize(stored->mCount);
                mRows[t][0] = IntValue(fileId);
            }
        }
    }

    bool Row(eTable table, const sValue* values) override {
        if (table == TABLE_ITEMS) {
            const sValue& time = values[mItemTime];
            const sValue& code = values[mItemCode];
            if (!time.mNull && (code.mNull || code.mInt != TOOL_VERSION_LOG_CODE)) {
                mFirst = !mHasTime || time.mInt < mFirst ? time.mInt : mFirst;
                mLast = !mHasTime || time.mInt > mLast ? time.mInt : mLast;
                mHasTime = true;
            }
            ++mCount[TABLE_ITEMS];
            return true;
        }
        const sTableDef* stored = StoredTable(table);
        if (stored == nullptr) {
            return true;
        }
        std::vector<sValue>& row = mRows[table];
        std::copy(values, values + stored->mCount - 1, row.begin() + 1);
        if (!mBackend.Insert(*stored, row.data())) {
            mFailed = true;
            return false;
        }
        ++mCount[table];
        return true;
    }

    bool mFailed = false;  // the database refused a row
    uint64_t mCount[TABLE_COUNT] = {};
    bool mHasTime = false;
    int64_t mFirst = 0;
    int64_t mLast = 0;

private:
    cDBBackend& mBackend;
    size_t mItemTime = 0;
    size_t mItemCode = 0;
    std::vector<sValue> mRows[TABLE_COUNT];
};

// Copies the rows of a worker's database into the campaign's, under the file's id there.
class cRowCopier : public cDBRowSink {
public:
    cRowCopier(cDBBackend& target, const sTableDef& table, int64_t fileId)
        : mTarget(target), mTable(table), mRow(table.mCount), mFileId(fileId) {}
    bool Row(const sValue* values) override {
        std::copy(values, values + mTable.mCount, mRow.begin());
        mRow[0] = IntValue(mFileId);
        mFailed = !mTarget.Insert(mTable, mRow.data());
        return !mFailed;
    }
    bool mFailed = false;

private:
    cDBBackend& mTarget;
    const sTableDef& mTable;
    std::vector<sValue> mRow;
    int64_t mFileId;
};

}  // namespace

struct cCampaignDB::sState {
    std::unique_ptr<cDBBackend> mBackend;
    std::string mError;
    bool mBulk = false;  // the indexes are dropped until EndBulkLoad

    bool Fail(const std::string& error) {
        mError = error;
        return false;
    }
    bool FailDB() { return Fail(mBackend->Error()); }
    // Ends the transaction that prepares the schema.
    bool Refuse(const std::string& error) {
        Abort(DB_DATABASE_FAILED, error);
        return false;
    }

    // Ends the open transaction after a failure, keeping the failure's message.
    eDBAddResult Abort(eDBAddResult result, const std::string& error) {
        mError = error;
        if (!mBackend->Rollback()) {
            mError += "; and the rollback failed: " + mBackend->Error();
        }
        return result;
    }

    bool Count(const std::string& sql, int64_t& count) {
        std::vector<std::vector<std::string>> rows;
        if (!mBackend->Query(sql, rows)) {
            return FailDB();
        }
        count = rows.empty() || rows[0].empty() ? 0 : std::strtoll(rows[0][0].c_str(), nullptr, 10);
        return true;
    }

    // Finds the schema of this version, or creates it in an empty database (its indexes only when asked).
    bool PrepareSchema(bool indexes = true) {
        cDBBackend& db = *mBackend;
        if (!db.Begin() || (db.Engine() == DB_POSTGRESQL && !db.Execute(kSchemaLockSQL))) {
            return FailDB();
        }
        int64_t count = 0;
        if (!Count(TableExistsSQL(db.Engine(), "schema_info"), count)) {
            return Refuse(mError);
        }
        if (count > 0) {
            std::vector<std::vector<std::string>> rows;
            if (!db.Query("SELECT value FROM schema_info WHERE name = 'schema_version'", rows)) {
                return Refuse(db.Error());
            }
            const std::string version = rows.empty() ? "none" : rows[0][0];
            if (version != std::to_string(kCampaignSchemaVersion)) {
                return Refuse(db.Name() + ": a campaign database of schema version " + version +
                              "; this writer knows version " + std::to_string(kCampaignSchemaVersion));
            }
            // A write that changes nothing: a database this connection may only read says so now, not at
            // the first file.
            if (!db.Execute("UPDATE schema_info SET value = value WHERE name = 'schema_version'")) {
                return Refuse(db.Error());
            }
            // Indexes a bulk load dropped and never built again (SQLite only: there is one writer).
            if (db.Engine() == DB_SQLITE && !BuildIndexes()) {
                return Refuse(db.Error());
            }
            return db.Commit() || FailDB();
        }
        if (!Count(CountTablesSQL(db.Engine()), count)) {
            return Refuse(mError);
        }
        if (count > 0) {
            return Refuse(db.Name() + ": holds " + std::to_string(count) +
                          " tables but no campaign schema; give a new or empty database");
        }
        for (const std::string& statement : SchemaStatements(db.Engine(), indexes)) {
            if (!db.Execute(statement)) {
                return Refuse(db.Error());
            }
        }
        if (!db.Execute("INSERT INTO schema_info (name, value) VALUES ('schema_version', '" +
                        std::to_string(kCampaignSchemaVersion) + "')")) {
            return Refuse(db.Error());
        }
        return db.Commit() || FailDB();
    }

    bool BuildIndexes() {
        for (const sIndex& index : Indexes()) {
            if (!mBackend->Execute("CREATE INDEX IF NOT EXISTS " + index.mName + " ON " + index.mTable +
                                   " (" + index.mColumns + ")")) {
                return false;
            }
        }
        return true;
    }

    // The id of the file with this SHA-256, or -1.
    bool FindFile(const std::string& sha256, int64_t& id) {
        std::vector<std::vector<std::string>> rows;
        sValue sha = TextValue(sha256);
        if (!mBackend->Query("SELECT id FROM files WHERE sha256 = " + Literal(sha, COLUMN_TEXT, DB_SQLITE),
                             rows)) {
            return FailDB();
        }
        id = rows.empty() ? -1 : std::strtoll(rows[0][0].c_str(), nullptr, 10);
        return true;
    }

    // Inserts the files row of `values` (every column of the files table; the id is not used) in the open
    // transaction; `id` is -1 when a file of the same SHA-256 is there (a writer beside this one may have
    // just added it).
    bool InsertFile(const sValue* values, int64_t& id) {
        const sTableDef& files = FilesTable();
        std::string sql = "INSERT INTO files (" + ColumnList(files, FILE_PATH) + ") VALUES (";
        for (size_t i = FILE_PATH; i < files.mCount; ++i) {
            sql += (i == FILE_PATH ? "" : ", ") +
                   Literal(values[i], files.mColumns[i].mType, mBackend->Engine());
        }
        sql += ") ON CONFLICT (sha256) DO NOTHING RETURNING id";
        std::vector<std::vector<std::string>> rows;
        if (!mBackend->Query(sql, rows)) {
            return FailDB();
        }
        id = rows.empty() ? -1 : std::strtoll(rows[0][0].c_str(), nullptr, 10);
        return true;
    }

    eDBAddResult AddFile(const std::string& path, sDBAddSummary& summary, const std::string& source);
    eDBAddResult CopyFile(cSQLiteBackend* source, const std::vector<std::string>& file, bool& added);
};

namespace {

// The name a worker's database is attached under while a SQLite campaign copies its files.
const char* const kAttached = "campaign_source";

// Copies the rows of `table` of the attached database's file `sourceId` under `fileId`, inside SQLite: no
// value leaves it, none is converted.
std::string CopyRowsSQL(const sTableDef& table, const std::string& sourceId, int64_t fileId) {
    const std::string columns = ColumnList(table, 1);
    return std::string("INSERT INTO main.") + table.mName + " (" + ColumnList(table) + ") SELECT " +
           std::to_string(fileId) + ", " + columns + " FROM " + kAttached + "." + table.mName +
           " WHERE file_id = " + sourceId + " ORDER BY rowid";
}

}  // namespace

eDBAddResult cCampaignDB::sState::AddFile(const std::string& path, sDBAddSummary& summary,
                                          const std::string& source) {
    cDBBackend& db = *mBackend;
    const std::string& identity = source.empty() ? path : source;
    uint64_t size = 0;
    if (!FileSHA256(identity, summary.mSHA256, size, mError)) {
        return DB_FILE_FAILED;
    }
    int64_t id = -1;
    if (!FindFile(summary.mSHA256, id)) {
        return DB_DATABASE_FAILED;
    }
    if (id >= 0) {
        summary.mFileId = id;
        return DB_ALREADY_PRESENT;
    }
    if (!db.Begin()) {
        FailDB();
        return DB_DATABASE_FAILED;
    }
    std::vector<sValue> file(FilesTable().mCount);
    const std::string version = TOOL_VERSION_TEXT;
    std::error_code ignored;
    const std::string absolute = std::filesystem::absolute(identity, ignored).lexically_normal().string();
    file[FILE_PATH] = TextValue(absolute.empty() ? identity : absolute);
    file[FILE_SIZE] = IntValue(static_cast<int64_t>(size));
    file[FILE_SHA256] = TextValue(summary.mSHA256);
    file[FILE_TOOL_VERSION] = TextValue(version);
    file[FILE_ADDED] = IntValue(NowMs());
    if (!InsertFile(file.data(), id)) {
        return Abort(DB_DATABASE_FAILED, mError);
    }
    if (id < 0) {
        const eDBAddResult result = Abort(DB_ALREADY_PRESENT, "");
        return FindFile(summary.mSHA256, summary.mFileId) ? result : DB_DATABASE_FAILED;
    }

    cRowWriter writer(db, id);
    sTableSummary tables;
    std::string error;
    uint64_t problems = 0;
    const bool read = ReadCaptureTables(path, kAllTables, writer, tables, error, &problems);
    if (writer.mFailed) {
        return Abort(DB_DATABASE_FAILED, db.Error());
    }
    if (!read) {
        return Abort(DB_FILE_FAILED, error);
    }
    if (problems > 0) {
        return Abort(DB_FILE_FAILED, path + ": damaged or cut short: the reader found " +
                                         std::to_string(problems) +
                                         " inconsistencies (palvorin verify lists them)");
    }
    const sTableDef& files = FilesTable();
    std::string sql =
        "UPDATE files SET items = " + std::to_string(writer.mCount[TABLE_ITEMS]) + ", " +
        files.mColumns[FILE_FIRST].mName + " = " +
        Literal(writer.mHasTime ? IntValue(writer.mFirst) : sValue(), COLUMN_TIME, db.Engine()) + ", " +
        files.mColumns[FILE_LAST].mName + " = " +
        Literal(writer.mHasTime ? IntValue(writer.mLast) : sValue(), COLUMN_TIME, db.Engine());
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        const size_t column = FilesRowsColumn(static_cast<eTable>(t));
        if (column != 0) {
            sql +=
                std::string(", ") + files.mColumns[column].mName + " = " + std::to_string(writer.mCount[t]);
        }
    }
    sql += " WHERE id = " + std::to_string(id);
    if (!db.Execute(sql) || !db.Commit()) {
        return Abort(DB_DATABASE_FAILED, db.Error());
    }
    summary.mFileId = id;
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        summary.mRows[t] = writer.mCount[t];
    }
    return DB_ADDED;
}

// Copies one file of a worker's database (its files row as text) with its rows, unless it is here: from
// `source` row by row, or, with no `source`, from the database attached to this SQLite one.
eDBAddResult cCampaignDB::sState::CopyFile(cSQLiteBackend* source, const std::vector<std::string>& file,
                                           bool& added) {
    cDBBackend& db = *mBackend;
    added = false;
    int64_t id = -1;
    if (!FindFile(file[FILE_SHA256], id)) {
        return DB_DATABASE_FAILED;
    }
    if (id >= 0) {
        return DB_ALREADY_PRESENT;
    }
    const sTableDef& files = FilesTable();
    std::vector<sValue> values(files.mCount);
    for (size_t i = FILE_PATH; i < files.mCount; ++i) {
        const std::string& text = file[i];
        if (text.empty()) {
            continue;
        }
        switch (files.mColumns[i].mType) {
            case COLUMN_TIME:
                values[i].mNull = !ParseDBTime(text.data(), text.size(), values[i].mInt);
                break;
            case COLUMN_INT:
                values[i] = IntValue(std::strtoll(text.c_str(), nullptr, 10));
                break;
            default:
                values[i] = TextValue(text);
                break;
        }
    }
    if (!db.Begin()) {
        FailDB();
        return DB_DATABASE_FAILED;
    }
    if (!InsertFile(values.data(), id)) {
        return Abort(DB_DATABASE_FAILED, mError);
    }
    if (id < 0) {
        return Abort(DB_ALREADY_PRESENT, "");
    }
    for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
        const sTableDef* table = StoredTable(static_cast<eTable>(t));
        if (table == nullptr) {
            continue;
        }
        if (source == nullptr) {
            if (!db.Execute(CopyRowsSQL(*table, file[FILE_ID], id))) {
                return Abort(DB_DATABASE_FAILED, db.Error());
            }
            continue;
        }
        cRowCopier copier(db, *table, id);
        if (!source->Select(*table, "file_id = " + file[FILE_ID], copier)) {
            return Abort(DB_DATABASE_FAILED, copier.mFailed ? db.Error() : source->Error());
        }
    }
    if (!db.Commit()) {
        return Abort(DB_DATABASE_FAILED, db.Error());
    }
    added = true;
    return DB_ADDED;
}

cCampaignDB::cCampaignDB() : mState(new sState) {}

cCampaignDB::~cCampaignDB() {
    Close();
    delete mState;
}

bool cCampaignDB::Open(const std::string& target) {
    Close();
    if (IsPostgresURL(target)) {
        auto backend = std::make_unique<cPostgresBackend>();
        if (!backend->Open(target)) {
            return mState->Fail(backend->Error());
        }
        return OpenBackend(backend.release());
    }
    auto backend = std::make_unique<cSQLiteBackend>();
    if (!backend->Open(target)) {
        return mState->Fail(backend->Error());
    }
    return OpenBackend(backend.release());
}

bool cCampaignDB::OpenScratch(const std::string& sqlitePath) {
    Close();
    auto backend = std::make_unique<cSQLiteBackend>();
    if (!backend->OpenScratch(sqlitePath)) {
        return mState->Fail(backend->Error());
    }
    mState->mBackend = std::move(backend);
    if (!mState->PrepareSchema(false)) {
        mState->mBackend.reset();
        return false;
    }
    return true;
}

bool cCampaignDB::OpenBackend(cDBBackend* backend) {
    Close();
    mState->mBackend.reset(backend);
    if (backend == nullptr || !mState->PrepareSchema()) {
        mState->mBackend.reset();
        return false;
    }
    return true;
}

eDBAddResult cCampaignDB::AddFile(const std::string& path, sDBAddSummary& summary,
                                  const std::string& source) {
    summary = sDBAddSummary();
    mState->mError.clear();
    if (mState->mBackend == nullptr) {
        mState->mError = "no database is open";
        return DB_DATABASE_FAILED;
    }
    return mState->AddFile(path, summary, source);
}

eDBAddResult cCampaignDB::AddDatabase(const std::string& sqlitePath, uint64_t& added, uint64_t& present) {
    added = 0;
    present = 0;
    mState->mError.clear();
    if (mState->mBackend == nullptr) {
        mState->mError = "no database is open";
        return DB_DATABASE_FAILED;
    }
    cSQLiteBackend source;
    if (!source.Open(sqlitePath, true)) {
        mState->mError = source.Error();
        return DB_DATABASE_FAILED;
    }
    std::vector<std::vector<std::string>> rows;
    const std::string expected = std::to_string(kCampaignSchemaVersion);
    if (!source.Query(TableExistsSQL(DB_SQLITE, "schema_info"), rows) || rows.empty() || rows[0][0] == "0" ||
        !source.Query("SELECT value FROM schema_info WHERE name = 'schema_version'", rows) || rows.empty() ||
        rows[0][0] != expected) {
        mState->mError = sqlitePath + ": not a campaign database of schema version " + expected;
        return DB_DATABASE_FAILED;
    }
    if (!source.Query("SELECT " + ColumnList(FilesTable()) + " FROM files ORDER BY id", rows)) {
        mState->mError = source.Error();
        return DB_DATABASE_FAILED;
    }
    // Into SQLite, the worker's database is attached and each table's rows are copied by one statement;
    // into PostgreSQL they go row by row.
    cDBBackend& db = *mState->mBackend;
    const bool attach = db.Engine() == DB_SQLITE;
    if (attach) {
        sValue path;
        path.mNull = false;
        path.mText = sqlitePath.data();
        path.mSize = sqlitePath.size();
        // A database an earlier merge could not detach is detached first.
        int64_t attached = 0;
        if (!mState->Count(
                std::string("SELECT count(*) FROM pragma_database_list WHERE name = '") + kAttached + "'",
                attached) ||
            (attached > 0 && !db.Execute(std::string("DETACH DATABASE ") + kAttached)) ||
            !db.Execute("ATTACH DATABASE " + Literal(path, COLUMN_TEXT, DB_SQLITE) + " AS " + kAttached)) {
            mState->mError = db.Error();
            return DB_DATABASE_FAILED;
        }
    }
    eDBAddResult result = DB_ADDED;
    for (const std::vector<std::string>& file : rows) {
        bool copied = false;
        if (mState->CopyFile(attach ? nullptr : &source, file, copied) == DB_DATABASE_FAILED) {
            result = DB_DATABASE_FAILED;
            break;
        }
        ++(copied ? added : present);
    }
    if (attach && !db.Execute(std::string("DETACH DATABASE ") + kAttached) && result == DB_ADDED) {
        mState->mError = db.Error();
        result = DB_DATABASE_FAILED;
    }
    return result;
}

bool cCampaignDB::BeginBulkLoad() {
    sState& state = *mState;
    state.mError.clear();
    if (state.mBackend == nullptr) {
        return state.Fail("no database is open");
    }
    if (state.mBackend->Engine() != DB_SQLITE || state.mBulk) {
        return true;
    }
    cDBBackend& db = *state.mBackend;
    if (!db.Begin()) {
        return state.FailDB();
    }
    for (const sIndex& index : Indexes()) {
        if (!db.Execute("DROP INDEX IF EXISTS " + index.mName)) {
            return state.Refuse(db.Error());
        }
    }
    if (!db.Commit()) {
        return state.Refuse(db.Error());
    }
    state.mBulk = true;
    return true;
}

bool cCampaignDB::EndBulkLoad() {
    sState& state = *mState;
    state.mError.clear();
    if (state.mBackend == nullptr || !state.mBulk) {
        return true;
    }
    cDBBackend& db = *state.mBackend;
    if (!db.Begin()) {
        return state.FailDB();
    }
    if (!state.BuildIndexes() || !db.Commit()) {
        return state.Refuse(db.Error());
    }
    state.mBulk = false;
    return true;
}

void cCampaignDB::Close() {
    EndBulkLoad();
    mState->mBackend.reset();
    mState->mBulk = false;
}

const std::string& cCampaignDB::Error() const {
    return mState->mError;
}
