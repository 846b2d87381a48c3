// Times as the SQLite campaign database holds them. Expected texts from `date -u -d @SECONDS +%FT%TZ`.
#include "db/DBTime.h"

#include <gtest/gtest.h>

#include <string>

#include "db/FileHash.h"

namespace {

TEST(DBTime, MillisecondsAsISOTextAndBack) {
    const struct {
        int64_t mMs;
        const char* mText;
    } cases[] = {
        {0, "1970-01-01T00:00:00.000Z"},
        {951782400000, "2000-02-29T00:00:00.000Z"},   // a leap day of a year divisible by 400
        {4107456000000, "2100-02-28T00:00:00.000Z"},  // 2100 is no leap year: 1 March follows
        {4107542400000, "2100-03-01T00:00:00.000Z"},
        {-1, "1969-12-31T23:59:59.999Z"},
        {-11644473600000, "1601-01-01T00:00:00.000Z"},  // the item store's epoch
        {253402300799999, "9999-12-31T23:59:59.999Z"},
    };
    for (const auto& c : cases) {
        char text[kDBTimeTextSize];
        ASSERT_TRUE(FormatDBTime(c.mMs, text)) << c.mMs;
        EXPECT_EQ(std::string(text, kDBTimeTextSize), c.mText);
        int64_t ms = 0;
        ASSERT_TRUE(ParseDBTime(c.mText, kDBTimeTextSize, ms)) << c.mText;
        EXPECT_EQ(ms, c.mMs) << c.mText;
    }
    char text[kDBTimeTextSize];
    EXPECT_FALSE(FormatDBTime(253402300800000, text)) << "year 10000";
}

TEST(DBTime, OnlyTheExactFormIsRead) {
    for (const char* text :
         {"2020-01-01 00:00:00.000Z", "2020-01-01T00:00:00.000+", "2020-02-30T00:00:00.000Z",
          "2019-02-29T00:00:00.000Z", "2020-13-01T00:00:00.000Z", "2020-01-01T24:00:00.000Z",
          "2020-01-01T00:60:00.000Z", "2020-01-0aT00:00:00.000Z"}) {
        int64_t ms = 0;
        EXPECT_FALSE(ParseDBTime(text, kDBTimeTextSize, ms)) << text;
    }
    int64_t ms = 0;
    EXPECT_FALSE(ParseDBTime("2020-01-01T00:00:00Z", 20, ms));
}

// FIPS 180-2's example: SHA-256("abc").
TEST(FileHash, SHA256OfAKnownText) {
    char name[] = "/tmp/palvorin-hash-XXXXXX";
    const int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "abc", 3), 3);
    close(fd);
    std::string hex, error;
    uint64_t size = 0;
    ASSERT_TRUE(FileSHA256(name, hex, size, error)) << error;
    EXPECT_EQ(hex, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(size, 3u);
    unlink(name);
    EXPECT_FALSE(FileSHA256(name, hex, size, error));
    EXPECT_NE(error.find("No such file"), std::string::npos) << error;
}

}  // namespace
