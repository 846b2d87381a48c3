// The campaign database on a PostgreSQL server (libpq): rows go in by binary COPY, held per table in a
// bounded buffer and sent when it fills or at the commit.
#pragma once

#include <string>
#include <vector>

#include "db/DBBackend.h"

struct pg_conn;

class cPostgresBackend : public cDBBackend {
public:
    cPostgresBackend() {}
    ~cPostgresBackend() override;

    // Connects to `url` (postgresql://USER@HOST:PORT/DB, or with ?host=/socket/dir for a Unix socket). False
    // when the server cannot be reached or refuses; Error() says why.
    bool Open(const std::string& url);

    eDBEngine Engine() const override { return DB_POSTGRESQL; }
    const std::string& Name() const override { return mName; }
    bool Execute(const std::string& sql) override;
    bool Query(const std::string& sql, std::vector<std::vector<std::string>>& rows) override;
    bool Begin() override;
    bool Commit() override;
    bool Rollback() override;
    bool Insert(const sTableDef& table, const sValue* values) override;
    const std::string& Error() const override { return mError; }

    // Rows of a table held until their COPY: sent when this many bytes are waiting.
    static const size_t kCopyBytes = 4 << 20;

    cPostgresBackend(const cPostgresBackend&) = delete;
    cPostgresBackend& operator=(const cPostgresBackend&) = delete;

private:
    struct sCopy {
        const sTableDef* mTable;
        std::string mSQL;   // the COPY statement
        std::string mData;  // binary COPY rows, after the header
    };

    bool Fail(const std::string& what);
    bool Send(sCopy& copy);
    bool SendAll();

    pg_conn* mConnection = nullptr;  // owned
    std::string mName;
    std::string mError;
    std::vector<sCopy> mCopies;
};
