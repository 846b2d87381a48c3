// The campaign database in a SQLite file: prepared inserts, one per table, bound and stepped row by row.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "db/DBBackend.h"

struct sqlite3;
struct sqlite3_stmt;

// Receives rows read back from a database (cSQLiteBackend::Select).
class cDBRowSink {
public:
    virtual ~cDBRowSink() {}
    // The table's values, living only during the call. Returning false stops the reading.
    virtual bool Row(const sValue* values) = 0;
};

class cSQLiteBackend : public cDBBackend {
public:
    cSQLiteBackend() {}
    ~cSQLiteBackend() override;

    // Opens the database file at `path`, created when missing unless `readOnly`. False when it cannot, or
    // when the file is not a SQLite database; Error() says why.
    bool Open(const std::string& path, bool readOnly = false);

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
    bool Fail(const std::string& what);
    sqlite3_stmt* InsertStatement(const sTableDef& table);

    sqlite3* mDB = nullptr;  // owned
    std::string mName;
    std::string mError;
    std::vector<std::pair<const sTableDef*, sqlite3_stmt*>> mInserts;  // statements owned
};
