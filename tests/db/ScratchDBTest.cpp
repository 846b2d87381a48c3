// A campaign worker's one-file database (cCampaignDB::OpenScratch): a file that fails half-way leaves
// nothing in it, even without a journal file, and the campaign that merges it holds exactly the good files'
// rows, indexed as its own.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "db/CampaignDB.h"
#include "db/SQLiteBackend.h"
#include "jni/ISFFormat.h"
#include "tests/ISFTestSupport.h"
#include "tests/db/Recording.h"

namespace {

std::string Count(const std::string& path, const std::string& sql) {
    cSQLiteBackend db;
    std::vector<std::vector<std::string>> rows;
    if (!db.Open(path, true) || !db.Query(sql, rows) || rows.empty()) {
        return "error: " + db.Error();
    }
    return rows[0][0];
}

TEST(ScratchDB, AFailedFileLeavesNothingAndTheMergeHoldsTheGoodFiles) {
    const isftest::cTempDir dir;
    const std::string a = dir.File("a.isf"), b = dir.File("b.isf"), bad = dir.File("bad.isf");
    ASSERT_TRUE(RecordStream(std::string(PALVORIN_TEST_DATA) + "/raw_diag_stream_a.bin", a));
    ASSERT_TRUE(RecordStream(std::string(PALVORIN_TEST_DATA) + "/raw_diag_stream_b.bin", b));
    // Whole but for the trailer's item count: found wrong once every item has been read and written.
    std::ifstream in(a, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    bytes[bytes.size() - ISF_TRAILER_SIZE + ISF_TRAILER_COUNT_OFFSET] += 1;
    std::ofstream(bad, std::ios::binary) << bytes;

    const std::string scratch = dir.File("worker.sqlite");
    {
        cCampaignDB db;
        ASSERT_TRUE(db.OpenScratch(scratch)) << db.Error();
        sDBAddSummary summary;
        ASSERT_EQ(db.AddFile(bad, summary), DB_FILE_FAILED);
        ASSERT_EQ(db.AddFile(a, summary), DB_ADDED) << db.Error();
        ASSERT_EQ(db.AddFile(b, summary), DB_ADDED) << db.Error();
    }
    EXPECT_FALSE(std::filesystem::exists(scratch + "-journal"));
    EXPECT_FALSE(std::filesystem::exists(scratch + "-wal"));
    // 4,852 messages of capture A and 18 of B (tshark's counts); nothing of the failed copy of A.
    EXPECT_EQ(Count(scratch, "SELECT count(*) FROM messages"), "4870");
    EXPECT_EQ(Count(scratch, "SELECT count(*) FROM files"), "2");

    const std::string campaign = dir.File("campaign.db");
    cCampaignDB db;
    ASSERT_TRUE(db.Open(campaign)) << db.Error();
    uint64_t added = 0, present = 0;
    ASSERT_EQ(db.AddDatabase(scratch, added, present), DB_ADDED) << db.Error();
    EXPECT_EQ(added, 2u);
    db.Close();
    EXPECT_EQ(Count(campaign, "SELECT count(*) FROM messages"), "4870");
    EXPECT_EQ(Count(campaign, "SELECT count(*) FROM sqlite_master WHERE name = 'messages_by_time'"), "1");
}

}  // namespace
