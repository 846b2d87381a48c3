// The tool-version record that opens every file.
#include <time.h>

#include <cstring>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

TEST(ISFToolVersion, IsItemZeroOfEveryFileStampedWithItsOwnTime) {
    const uint64_t before = static_cast<uint64_t>(time(nullptr));
    cTempDir dir;
    const std::string path = dir.File("version.isf");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    }
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent() && file.mClosed) << "the destructor closes the file\n" << Problems(file);
    ASSERT_EQ(file.mItems.size(), 1u);
    const sISFItem& item = file.mItems[0];
    EXPECT_EQ(item.mType, 5u);
    EXPECT_EQ(item.mTimeField, 0u);
    EXPECT_FALSE(item.mHasAux);
    Bytes bytes = item.mPayload;
    ASSERT_EQ(bytes.size(), 165u);
    // Bytes 8-15: the diagnostic timestamp, 1.25 ms periods since 1980-01-06 (11644473600000 + 315964800000
    // ms after 1601); it names the item's millisecond to within one period.
    const uint64_t recordMs = 11644473600000ULL + 315964800000ULL + (GetLE(&bytes[8], 8) >> 16) * 5 / 4;
    EXPECT_LE(recordMs, item.mTimeMs);
    EXPECT_LE(item.mTimeMs, recordMs + 2);
    // Bytes 85-94: the seconds of the clock (8 bytes, 32 bits of them used) and the milliseconds.
    const uint64_t seconds = GetLE(&bytes[85], 4);
    EXPECT_TRUE(seconds >= (before & 0xFFFFFFFF) && seconds <= ((before + 5) & 0xFFFFFFFF)) << seconds;
    EXPECT_LT(GetLE(&bytes[93], 2), 1000u) << "milliseconds of the second";
    std::fill(&bytes[8], &bytes[16], 0);
    std::fill(&bytes[85], &bytes[95], 0);
    // Log header of length 161 and code 0x1FFD, version 3.0, build, tool name, date, zeros.
    Bytes expected = {0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F, 0,   0,   0,  0,
                      0,    0,    0,    0,    3,    0,    0,    0,    '0', '1', '1'};
    expected.resize(165, 0);
    memcpy(&expected[27], "ZOV-Tarnik", 10);
    memcpy(&expected[67], "Jan 29 2018", 11);
    EXPECT_EQ(bytes, expected);
}

}  // namespace
