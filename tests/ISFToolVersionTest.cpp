// The tool-version record that opens every file.
#include <time.h>

#include <cstring>

#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

TEST(ISFToolVersion, RecordLayout) {
    const uint64_t before = static_cast<uint64_t>(time(nullptr));
    cLogCapture log;
    sSharedBuffer* record = cISFStore::GenerateToolVersion(0x1122334455667788ULL);
    EXPECT_EQ(log.Texts(), (std::vector<std::string>{"VERSION 3.00.011", "MAJOR 3, MINOR 0, BUILD 011"}));
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->mSize, 165u);
    EXPECT_EQ(record->mProtocol, 3u);
    EXPECT_EQ(record->mRefCount, 0u);
    Bytes expected = {0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F, 0x88, 0x77, 0x66, 0x55,
                      0x44, 0x33, 0x22, 0x11, 3,    0,    0,    0,    '0',  '1',  '1'};
    expected.resize(165, 0);
    memcpy(&expected[27], "ZOV-Tarnik", 10);
    memcpy(&expected[67], "Jan 29 2018", 11);
    Bytes bytes(record->mData, record->mData + record->mSize);
    delete record;
    // Bytes 85-94: the seconds of the clock (8 bytes, 32 bits of them used) and the milliseconds.
    const uint64_t seconds = GetLE(&bytes[85], 4);
    EXPECT_TRUE(seconds >= (before & 0xFFFFFFFF) && seconds <= ((before + 5) & 0xFFFFFFFF)) << seconds;
    EXPECT_LT(GetLE(&bytes[93], 2), 1000u) << "milliseconds of the second";
    std::fill(&bytes[85], &bytes[95], 0);
    EXPECT_EQ(bytes, expected);
}

TEST(ISFToolVersion, IsItemZeroOfEveryFileStampedWithItsOwnTime) {
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
    ASSERT_EQ(item.mPayload.size(), 165u);
    // The diagnostic timestamp counts 1.25 ms periods since 1980-01-06 (11644473600000 + 315964800000 ms
    // after 1601): it names the same millisecond as the item's time, to within one period.
    const uint64_t recordMs =
        11644473600000ULL + 315964800000ULL + (GetLE(&item.mPayload[8], 8) >> 16) * 5 / 4;
    EXPECT_LE(recordMs, item.mTimeMs);
    EXPECT_LE(item.mTimeMs, recordMs + 2);
}

}  // namespace
