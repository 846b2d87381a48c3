#include "db/SQLiteBackend.h"

#include <sqlite3.h>

#include <cmath>
#include <memory>
#include <string>

#include "db/CampaignSchema.h"
#include "db/DBTime.h"

namespace {

// The writer's settings, for a file that one process writes in large transactions while others may read:
// - page_size 64 KiB (for a new file): fewer, fuller pages for a bulk loader, so shallower indexes, fewer
//   page splits and half the system time of 4 KiB pages;
// - journal_mode WAL: readers (an analyst's query) go on while a file is added, and a commit appends to
//   the log instead of copying every page it changes into a rollback journal first;
// - synchronous NORMAL: in WAL mode the database stays consistent after a crash or power loss; only the last
//   commits may be lost, and their files are added again by the next run (their SHA-256 is not there);
// - cache_size 64 MiB: the indexes of a large campaign stay in memory while a file's rows go in;
// - temp_store MEMORY: sorts and temporary indexes of the queries stay off the disk;
// - busy_timeout 30 s: a reader's lock or a checkpoint makes the writer wait instead of fail.
const char* const kPragmas =
    "PRAGMA page_size = 65536; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA cache_size = "
    "-65536; "
    "PRAGMA temp_store = MEMORY; PRAGMA busy_timeout = 30000";

// A scratch database's: written once by one connection, merged, removed. Without a journal file, syncing
// and a lock taken and dropped per transaction, a worker spends half the system time on a small file.
const char* const kScratchPragmas =
    "PRAGMA page_size = 4096; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF; "
    "PRAGMA locking_mode = EXCLUSIVE; PRAGMA temp_store = MEMORY";

}  // namespace

// The rows of one table held for the next multi-row insert. Texts and blobs are copied into mBytes (the
// caller's values live only during Insert), their offsets there kept in mInt until the flush binds them.
struct cSQLiteBackend::sPending {
    const sTableDef* mTable = nullptr;
    sqlite3_stmt* mSingle = nullptr;  // owned: the insert of one row
    sqlite3_stmt* mBatch = nullptr;   // owned: the insert of kSQLiteBatchRows rows
    std::vector<sValue> mValues;      // kSQLiteBatchRows rows of mTable->mCount values
    std::string mBytes;
    std::vector<char> mTimes;  // the time texts bound by a flush, kDBTimeTextSize per value
    size_t mRows = 0;

    explicit sPending(const sTableDef& table)
        : mTable(&table),
          mValues(kSQLiteBatchRows * table.mCount),
          mTimes(kSQLiteBatchRows * table.mCount * kDBTimeTextSize) {}
    ~sPending() {
        sqlite3_finalize(mSingle);
        sqlite3_finalize(mBatch);
    }
    sPending(const sPending&) = delete;
    sPending& operator=(const sPending&) = delete;

    // Binds the row held at `row` to the parameters from `first` (1-based) on.
    void Bind(sqlite3_stmt* statement, int first, size_t row) {
        const size_t count = mTable->mCount;
        for (size_t i = 0; i < count; ++i) {
            const sValue& value = mValues[row * count + i];
            const int at = first + static_cast<int>(i);
            if (value.mNull) {
                sqlite3_bind_null(statement, at);
                continue;
            }
            switch (mTable->mColumns[i].mType) {
                case COLUMN_TIME: {
                    char* text = &mTimes[(row * count + i) * kDBTimeTextSize];
                    if (FormatDBTime(value.mInt, text)) {
                        sqlite3_bind_text(statement, at, text, kDBTimeTextSize, SQLITE_STATIC);
                    } else {
                        sqlite3_bind_null(statement, at);
                    }
                    break;
                }
                case COLUMN_INT:
                case COLUMN_CODE:
                    sqlite3_bind_int64(statement, at, value.mInt);
                    break;
                case COLUMN_REAL:
                    if (std::isfinite(value.mReal)) {
                        sqlite3_bind_double(statement, at, value.mReal);
                    } else {
                        sqlite3_bind_null(statement, at);
                    }
                    break;
                case COLUMN_TEXT:
                    sqlite3_bind_text(statement, at, mBytes.data() + value.mInt,
                                      static_cast<int>(value.mSize), SQLITE_STATIC);
                    break;
                case COLUMN_BYTES:
                    if (value.mSize == 0) {
                        sqlite3_bind_zeroblob(statement, at, 0);  // a null pointer would bind NULL
                    } else {
                        sqlite3_bind_blob(statement, at, mBytes.data() + value.mInt,
                                          static_cast<int>(value.mSize), SQLITE_STATIC);
                    }
                    break;
            }
        }
    }
};

cSQLiteBackend::cSQLiteBackend() {}

cSQLiteBackend::~cSQLiteBackend() {
    mPending.clear();
    sqlite3_close(mDB);
}

bool cSQLiteBackend::Fail(const std::string& what) {
    mError = mName + ": " + what + (mDB != nullptr ? std::string(": ") + sqlite3_errmsg(mDB) : std::string());
    return false;
}

bool cSQLiteBackend::Open(const std::string& path, bool readOnly) {
    return readOnly ? OpenWith(path, SQLITE_OPEN_READONLY, "PRAGMA busy_timeout = 30000")
                    : OpenWith(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, kPragmas);
}

bool cSQLiteBackend::OpenScratch(const std::string& path) {
    return OpenWith(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, kScratchPragmas);
}

bool cSQLiteBackend::OpenWith(const std::string& path, int flags, const char* pragmas) {
    mName = path;
    // SQLite counts every allocation under a global lock unless told before its first use not to (it is
    // then told too late, harmlessly, when the process used SQLite before, as Python's sqlite3 may).
    static const bool kUncounted = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK;
    (void)kUncounted;
    // NOMUTEX: one connection is used by one thread at a time (db/CampaignDB.h), so SQLite's own locks
    // around every call are not needed.
    if (sqlite3_open_v2(path.c_str(), &mDB, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
        return Fail("cannot open");
    }
    sqlite3_extended_result_codes(mDB, 1);
    // The first read of the file tells a SQLite database from anything else.
    std::vector<std::vector<std::string>> rows;
    if (!Query("SELECT count(*) FROM sqlite_master", rows)) {
        mError = path + ": not a SQLite database, or unreadable (" + mError + ")";
        return false;
    }
    return Execute(pragmas);
}

bool cSQLiteBackend::Execute(const std::string& sql) {
    if (!FlushAll()) {
        return false;
    }
    char* message = nullptr;
    if (sqlite3_exec(mDB, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
        mError = mName + ": " + (message != nullptr ? message : sqlite3_errmsg(mDB));
        sqlite3_free(message);
        return false;
    }
    return true;
}

bool cSQLiteBackend::Query(const std::string& sql, std::vector<std::vector<std::string>>& rows) {
    rows.clear();
    if (!FlushAll()) {
        return false;
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(mDB, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        return Fail("cannot prepare a query");
    }
    int status;
    while ((status = sqlite3_step(statement)) == SQLITE_ROW) {
        const int count = sqlite3_column_count(statement);
        rows.emplace_back();
        for (int i = 0; i < count; ++i) {
            const unsigned char* text = sqlite3_column_text(statement, i);
            rows.back().emplace_back(text != nullptr ? reinterpret_cast<const char*>(text) : "");
        }
    }
    const bool done = status == SQLITE_DONE;
    if (!done) {
        Fail("query failed");
    }
    sqlite3_finalize(statement);
    return done;
}

bool cSQLiteBackend::Begin() {
    // IMMEDIATE takes the write lock now: two writers wait for each other here instead of failing later.
    return Execute("BEGIN IMMEDIATE");
}

bool cSQLiteBackend::Commit() {
    return Execute("COMMIT");  // which writes the rows held first
}

bool cSQLiteBackend::Rollback() {
    DropPending();
    // SQLite may have rolled back by itself (disk full, out of memory): then there is nothing left to undo.
    return sqlite3_get_autocommit(mDB) != 0 || Execute("ROLLBACK");
}

sqlite3_stmt* cSQLiteBackend::Prepare(const sTableDef& table, size_t rows) {
    std::string sql = std::string("INSERT INTO ") + table.mName + " (" + ColumnList(table) + ") VALUES ";
    std::string marks = "(";
    for (size_t i = 0; i < table.mCount; ++i) {
        marks += i == 0 ? "?" : ", ?";
    }
    marks += ")";
    for (size_t row = 0; row < rows; ++row) {
        sql += (row == 0 ? "" : ", ") + marks;
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(mDB, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        Fail(std::string("cannot prepare the insert into ") + table.mName);
        return nullptr;
    }
    return statement;
}

cSQLiteBackend::sPending* cSQLiteBackend::Pending(const sTableDef& table) {
    for (const auto& pending : mPending) {
        if (pending->mTable == &table) {
            return pending.get();
        }
    }
    auto pending = std::make_unique<sPending>(table);
    pending->mSingle = Prepare(table, 1);
    if (pending->mSingle == nullptr) {
        return nullptr;
    }
    mPending.push_back(std::move(pending));
    return mPending.back().get();
}

bool cSQLiteBackend::Flush(sPending& pending) {
    const sTableDef& table = *pending.mTable;
    const size_t rows = pending.mRows;
    pending.mRows = 0;
    int status = SQLITE_DONE;
    if (rows == kSQLiteBatchRows) {
        if (pending.mBatch == nullptr && (pending.mBatch = Prepare(table, kSQLiteBatchRows)) == nullptr) {
            pending.mBytes.clear();
            return false;
        }
        for (size_t row = 0; row < rows; ++row) {
            pending.Bind(pending.mBatch, static_cast<int>(row * table.mCount + 1), row);
        }
        status = sqlite3_step(pending.mBatch);
        sqlite3_reset(pending.mBatch);
    } else {
        for (size_t row = 0; row < rows && status == SQLITE_DONE; ++row) {
            pending.Bind(pending.mSingle, 1, row);
            status = sqlite3_step(pending.mSingle);
            sqlite3_reset(pending.mSingle);
        }
    }
    pending.mBytes.clear();
    if (status != SQLITE_DONE) {
        return Fail(std::string("cannot insert into ") + table.mName);
    }
    return true;
}

bool cSQLiteBackend::FlushAll() {
    for (const auto& pending : mPending) {
        if (pending->mRows > 0 && !Flush(*pending)) {
            DropPending();
            return false;
        }
    }
    return true;
}

void cSQLiteBackend::DropPending() {
    for (const auto& pending : mPending) {
        pending->mRows = 0;
        pending->mBytes.clear();
    }
}

bool cSQLiteBackend::Insert(const sTableDef& table, const sValue* values) {
    sPending* pending = Pending(table);
    if (pending == nullptr) {
        return false;
    }
    sValue* row = &pending->mValues[pending->mRows * table.mCount];
    for (size_t i = 0; i < table.mCount; ++i) {
        row[i] = values[i];
        const eColumnType type = table.mColumns[i].mType;
        if (!values[i].mNull && (type == COLUMN_TEXT || type == COLUMN_BYTES)) {
            row[i].mInt = static_cast<int64_t>(pending->mBytes.size());
            row[i].mText = nullptr;
            row[i].mSize = values[i].mText != nullptr ? values[i].mSize : 0;
            pending->mBytes.append(values[i].mText != nullptr ? values[i].mText : "", row[i].mSize);
        }
    }
    if (++pending->mRows < kSQLiteBatchRows) {
        return true;
    }
    if (!Flush(*pending)) {
        DropPending();
        return false;
    }
    return true;
}

bool cSQLiteBackend::Select(const sTableDef& table, const std::string& where, cDBRowSink& sink) {
    if (!FlushAll()) {
        return false;
    }
    const std::string sql =
        "SELECT " + ColumnList(table) + " FROM " + table.mName + " WHERE " + where + " ORDER BY rowid";
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(mDB, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        return Fail(std::string("cannot read ") + table.mName);
    }
    std::vector<sValue> values(table.mCount);
    int status = SQLITE_DONE;
    bool going = true;
    while (going && (status = sqlite3_step(statement)) == SQLITE_ROW) {
        for (size_t i = 0; i < table.mCount; ++i) {
            const int at = static_cast<int>(i);
            sValue& value = values[i];
            value = sValue();
            if (sqlite3_column_type(statement, at) == SQLITE_NULL) {
                continue;
            }
            value.mNull = false;
            switch (table.mColumns[i].mType) {
                case COLUMN_TIME: {
                    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, at));
                    const auto size = static_cast<size_t>(sqlite3_column_bytes(statement, at));
                    value.mNull = text == nullptr || !ParseDBTime(text, size, value.mInt);
                    break;
                }
                case COLUMN_INT:
                case COLUMN_CODE:
                    value.mInt = sqlite3_column_int64(statement, at);
                    break;
                case COLUMN_REAL:
                    value.mReal = sqlite3_column_double(statement, at);
                    break;
                case COLUMN_TEXT:
                    value.mText = reinterpret_cast<const char*>(sqlite3_column_text(statement, at));
                    value.mSize = static_cast<size_t>(sqlite3_column_bytes(statement, at));
                    break;
                case COLUMN_BYTES:
                    value.mText = static_cast<const char*>(sqlite3_column_blob(statement, at));
                    value.mSize = static_cast<size_t>(sqlite3_column_bytes(statement, at));
                    break;
            }
        }
        going = sink.Row(values.data());
    }
    const bool done = !going || status == SQLITE_DONE;
    if (!done) {
        Fail(std::string("cannot read ") + table.mName);
    }
    sqlite3_finalize(statement);
    return done && going;
}
