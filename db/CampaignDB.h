// The database of a campaign: every table of many capture files (tables/TableColumns.h) in one SQL
// database, a SQLite file or a PostgreSQL server, with a `files` table that says which file each row came
// from. One transaction per file: a file is in the database whole or not at all, and a file already there
// (the same SHA-256) is not added again.
#pragma once

#include <cstdint>
#include <string>

enum eDBAddResult {
    DB_ADDED = 0,          // the file's rows are in the database
    DB_ALREADY_PRESENT,    // a file with the same SHA-256 was there: nothing changed
    DB_FILE_FAILED,        // the file could not be read (Error() says why): nothing changed
    DB_DATABASE_FAILED,    // the database refused (connection lost, disk full, ...): nothing changed
};

// What adding one file did.
struct sDBAddSummary {
    int64_t mFileId = -1;
    uint64_t mRows[8] = {};  // rows added per table (eTable)
};

class cCampaignDB {
public:
    cCampaignDB();
    ~cCampaignDB();

    // Opens `target` — a SQLite path (created when missing) or a postgresql:// URL — and creates the
    // schema where it is missing. False when it cannot; Error() says why.
    bool Open(const std::string& target);
    // Adds the capture file at `path` (an ISF file) in one transaction.
    eDBAddResult AddFile(const std::string& path, sDBAddSummary& summary);
    // Adds every file of another campaign database of this schema (a SQLite file a worker wrote) that is not
    // already here, each in its own transaction; `added` and `present` count them.
    eDBAddResult AddDatabase(const std::string& sqlitePath, uint64_t& added, uint64_t& present);
    void Close();

    const std::string& Error() const;

    cCampaignDB(const cCampaignDB&) = delete;
    cCampaignDB& operator=(const cCampaignDB&) = delete;

private:
    struct sState;
    sState* mState;  // owned
};
