// The narrow interface between the campaign writer (db/CampaignDB.h) and one SQL engine: statements,
// transactions and rows. One backend per engine (db/SQLiteBackend.h, db/PostgresBackend.h); tests wrap one
// to inject faults.
#pragma once

#include <string>
#include <vector>

#include "tables/TableSink.h"

enum eDBEngine {
    DB_SQLITE,
    DB_POSTGRESQL,
};

class cDBBackend {
public:
    virtual ~cDBBackend() {}

    virtual eDBEngine Engine() const = 0;
    // The database as the user named it (a path or a URL without its password), for messages.
    virtual const std::string& Name() const = 0;

    // One statement that returns no rows (schema, updates).
    virtual bool Execute(const std::string& sql) = 0;
    // One statement and the rows it returns, each value as text (NULL as an empty text).
    virtual bool Query(const std::string& sql, std::vector<std::vector<std::string>>& rows) = 0;

    virtual bool Begin() = 0;
    // Writes the rows still held, then commits.
    virtual bool Commit() = 0;
    // Drops the rows still held and everything since Begin.
    virtual bool Rollback() = 0;

    // Adds one row to `table` (its name and columns; it lives as long as the backend): table.mCount values,
    // read during the call only. The backend may hold rows and write them later, by Commit at the latest.
    virtual bool Insert(const sTableDef& table, const sValue* values) = 0;

    // Why the last call failed.
    virtual const std::string& Error() const = 0;
};
