// palvorin db add: adds capture files to a campaign database (db/CampaignDB.h), one transaction a file, and
// says for each what became of it.

#include <cinttypes>
#include <cstdio>
#include <filesystem>

#include "db/CampaignDB.h"
#include "tools/palvorin/Commands.h"

int RunDBAdd(const sDBAddOptions& options) {
    // A new SQLite database gets its indexes when every file is in (cCampaignDB::BeginBulkLoad; nothing
    // changes for PostgreSQL).
    std::error_code ignored;
    const bool fresh = !std::filesystem::exists(options.mDatabase, ignored) ||
                       std::filesystem::file_size(options.mDatabase, ignored) == 0;
    cCampaignDB db;
    if (!db.Open(options.mDatabase) || (fresh && !db.BeginBulkLoad())) {
        fprintf(stderr, "%s\n", db.Error().c_str());
        return 1;
    }
    uint64_t added = 0, present = 0, failed = 0;
    for (const std::string& path : options.mFiles) {
        sDBAddSummary summary;
        switch (db.AddFile(path, summary)) {
            case DB_ADDED:
                ++added;
                printf("%s: added as file %" PRId64 ": %" PRIu64 " items; rows:", path.c_str(),
                       summary.mFileId, summary.mRows[TABLE_ITEMS]);
                for (unsigned int t = 0; t < TABLE_COUNT; ++t) {
                    if (t != TABLE_ITEMS) {
                        printf(" %" PRIu64 " %s", summary.mRows[t], TableDef(static_cast<eTable>(t)).mName);
                    }
                }
                printf("\n");
                break;
            case DB_ALREADY_PRESENT:
                ++present;
                printf("%s: already present as file %" PRId64 "\n", path.c_str(), summary.mFileId);
                break;
            case DB_FILE_FAILED:
            case DB_DATABASE_FAILED:
                ++failed;
                printf("%s: failed: %s\n", path.c_str(), db.Error().c_str());
                break;
        }
        fflush(stdout);
    }
    if (!db.EndBulkLoad()) {
        fprintf(stderr, "%s\n", db.Error().c_str());
        return 1;
    }
    printf("%zu file%s: %" PRIu64 " added, %" PRIu64 " already present, %" PRIu64 " failed\n",
           options.mFiles.size(), options.mFiles.size() == 1 ? "" : "s", added, present, failed);
    return failed == 0 ? 0 : 1;
}
