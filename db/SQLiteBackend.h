// The campaign database in a SQLite file: the rows of each table are held and written kSQLiteBatchRows at a
// time by one prepared multi-row insert (one pass through SQLite's statement engine for the batch instead of
// one per row); the rows held when a statement, the commit or a read comes are written row by row first.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "db/DBBackend.h"

struct sqlite3;
struct sqlite3_stmt;

// Rows per multi-row insert: 64 rows of the widest table are far below SQLite's limit of bound values
// (32,766), and larger batches gain nothing more.
const size_t kSQLiteBatchRows = 64;

// Receives rows read back from a database (cSQLiteBackend::Select).
class cDBRowSink {
public:
    virtual ~cDBRowSink() {}
    // The table's values, living only during the call. Returning false stops the reading.
    virtual bool Row(const sValue* values) = 0;
};

class cSQLiteBackend : public cDBBackend {
public:
    cSQLiteBackend();
    ~cSQLiteBackend() override;

    // Opens the database file at `path`, created when missing unless `readOnly`. False when it cannot, or
    // when the file is not a SQLite database; Error() says why.
    bool Open(const std::string& path, bool readOnly = false);
    // Opens a new database file at `path` that this connection alone uses until it is closed and that is
    // thrown away when anything fails, as a campaign worker's one-file database is: the rollback journal
    // kept in memory (a failed file is still rolled back), nothing synced, the file locked for this
    // connection, 4 KiB pages. A crash leaves it unusable; it is never the campaign's own file.
    bool OpenScratch(const std::string& path);

    eDBEngine Engine() const override { return DB_SQLITE; }
    const std::string& Name() const override { return mName; }
    bool Execute(const std::string& sql) override;
    bool Query(const std::string& sql, std::vector<std::vector<std::string>>& rows) override;
    bool Begin() override;
    bool Commit() override;
    bool Rollback() override;
    bool Insert(const sTableDef& table, const sValue* values) override;
    const std::string& Error() const override { return mError; }

    // The rows of `table` for which `where` (an SQL condition) holds, in the order they were added, as values
    // of the table's columns.
    bool Select(const sTableDef& table, const std::string& where, cDBRowSink& sink);

    cSQLiteBackend(const cSQLiteBackend&) = delete;
    cSQLiteBackend& operator=(const cSQLiteBackend&) = delete;

private:
    struct sPending;

    bool Fail(const std::string& what);
    bool OpenWith(const std::string& path, int flags, const char* pragmas);
    sqlite3_stmt* Prepare(const sTableDef& table, size_t rows);
    sPending* Pending(const sTableDef& table);
    // Writes the rows held: a full batch by the multi-row insert, fewer row by row.
    bool Flush(sPending& pending);
    bool FlushAll();
    void DropPending();

    sqlite3* mDB = nullptr;  // owned
    std::string mName;
    std::string mError;
    std::vector<std::unique_ptr<sPending>> mPending;  // one per table inserted into
};
