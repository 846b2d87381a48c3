// The database of a campaign: every table of many capture files (tables/TableColumns.h) in one SQL
// database, a SQLite file or a PostgreSQL server, with a `files` table that says which file each row came
// from (the schema: db/CampaignSchema.h, described in the README). One transaction per file: a file is in
// the database whole or not at all, and a file already there (the same SHA-256) is not added again.
//
// One object is one connection, used by one thread at a time. Every failure leaves the database as it was
// before the call and says why in Error().
#pragma once

#include <cstdint>
#include <string>

#include "tables/TableColumns.h"

class cDBBackend;

enum eDBAddResult {
    DB_ADDED = 0,        // the file's rows are in the database
    DB_ALREADY_PRESENT,  // a file with the same SHA-256 was there: nothing changed
    DB_FILE_FAILED,      // the file could not be read, or is not a whole item store file (Error() says why)
    DB_DATABASE_FAILED,  // the database refused (connection lost, disk full, ...): nothing of the file stays
};

// What adding one file did.
struct sDBAddSummary {
    int64_t mFileId = -1;              // the file's id in `files` (added, or already present); -1 otherwise
    std::string mSHA256;               // of the file, 64 lowercase hex digits (empty when it cannot be read)
    uint64_t mRows[TABLE_COUNT] = {};  // rows added per table; [TABLE_ITEMS]: the file's items (not stored)
};

class cCampaignDB {
public:
    cCampaignDB();
    ~cCampaignDB();

    // Opens `target` — a SQLite path (created when missing) or a postgresql:// URL — and creates the
    // schema where the database is empty. False when it cannot be reached, is not a database, holds other
    // tables, or holds a campaign of another schema version; Error() says why.
    bool Open(const std::string& target);
    // Opens a new one-file SQLite database for a campaign worker to write and the campaign to merge
    // (AddDatabase), removed afterwards: written the fastest way for one connection that nobody else reads
    // until it is closed (cSQLiteBackend::OpenScratch), without the indexes (a merge reads each table
    // whole). Files still go in by their own transactions.
    bool OpenScratch(const std::string& sqlitePath);
    // Open() on a backend the caller made (a test's, injecting faults); takes ownership of `backend`. (Its
    // own name, so that bindings see one Open.)
    bool OpenBackend(cDBBackend* backend);
    // Adds the capture file at `path` (an ISF file, closed or left unclosed by its writer; one with
    // inconsistencies is refused) in one transaction. `source`, when given, is the raw diagnostic stream
    // `path` was recorded from: its path, size and SHA-256 stand for the file in `files`, so that the
    // stream recorded again (a new tool-version record, a new SHA-256) is still the same file.
    eDBAddResult AddFile(const std::string& path, sDBAddSummary& summary, const std::string& source = "");
    // Adds every file of another campaign database of this schema (a SQLite file a worker wrote) that is
    // not already here, each in its own transaction; `added` and `present` count them. DB_ADDED when every
    // file is here afterwards; DB_DATABASE_FAILED when either database failed (the files copied before
    // stay).
    eDBAddResult AddDatabase(const std::string& sqlitePath, uint64_t& added, uint64_t& present);
    // For loading many files into a new SQLite database: the indexes are dropped now and built again by
    // EndBulkLoad (or Close), in one pass over each table, which is about twice as fast as keeping them up
    // to date row by row. Every file still goes in by its own transaction; queries meanwhile go without
    // the indexes, and a database left without them by a process that never ended the load gets them back
    // at its next Open. Building them costs a pass over the whole table: for a database that already holds
    // many rows, adding row by row is faster. PostgreSQL keeps its indexes (other writers may be adding
    // files): there both calls do nothing.
    bool BeginBulkLoad();
    bool EndBulkLoad();
    // Ends a bulk load, then the connection.
    void Close();

    // Why the last call failed; empty after a success.
    const std::string& Error() const;

    cCampaignDB(const cCampaignDB&) = delete;
    cCampaignDB& operator=(const cCampaignDB&) = delete;

private:
    struct sState;
    sState* mState;  // owned
};
