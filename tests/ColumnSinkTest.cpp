// The columnar sink (tables/ColumnSink.h): texts coded against a sorted dictionary, and bytes read back row
// by row across the growth of their arrays. Every column of real captures: tests/python/test_frames.py.
#include "tables/ColumnSink.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/TableValues.h"

namespace {

TEST(ColumnSink, TextsAreCodedAgainstASortedDictionary) {
    cColumnData column(COLUMN_TEXT);
    // "lte" again after another text, a missing one, texts that share a prefix, and a buffer reused with
    // new text (as the cells table's MNC): the text, not the address, counts.
    const std::vector<std::string> texts = {"lte", "gsm", "lte", "", "wcdma", "lte", "nr", "nr5", "gsm"};
    for (const std::string& text : texts) {
        ASSERT_TRUE(column.Add(text.empty() ? Null() : Text(text)));
    }
    char buffer[4] = "01";
    const sValue reused = Text(std::string_view(buffer, 2));
    ASSERT_TRUE(column.Add(reused));
    buffer[1] = '2';
    ASSERT_TRUE(column.Add(reused));
    std::vector<std::string> dictionary;
    int32_t* codes = column.TakeTexts(dictionary);
    EXPECT_EQ(dictionary, (std::vector<std::string>{"01", "02", "gsm", "lte", "nr", "nr5", "wcdma"}));
    EXPECT_EQ(std::vector<int32_t>(codes, codes + texts.size() + 2),
              (std::vector<int32_t>{3, 2, 3, -1, 6, 3, 4, 5, 2, 0, 1}));
    FreeColumnArray(codes);
}

TEST(ColumnSink, BytesComeBackRowByRowAcrossTheArraysGrowth) {
    cColumnData column(COLUMN_BYTES);
    // Enough rows and bytes to move the arrays several times and to give pages back while reading; every
    // 1000th row from 7 is missing, row 0 is present and empty.
    std::vector<std::string> rows;
    for (size_t i = 0; i < 200000; ++i) {
        rows.push_back(i % 1000 == 7 ? std::string() : std::string(i % 61, static_cast<char>('a' + i % 26)));
        ASSERT_TRUE(column.Add(i % 1000 == 7 ? Null() : Text(rows[i])));
    }
    const unsigned char* data = nullptr;
    size_t size = 0;
    size_t row = 0;
    while (column.NextBytes(data, size)) {
        ASSERT_LT(row, rows.size());
        if (row % 1000 == 7) {
            EXPECT_EQ(data, nullptr) << row;
        } else {
            ASSERT_NE(data, nullptr) << row;
            ASSERT_EQ(std::string(reinterpret_cast<const char*>(data), size), rows[row]) << row;
        }
        ++row;
    }
    EXPECT_EQ(row, rows.size());
}

}  // namespace
