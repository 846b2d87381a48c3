// The tool-version record that opens every file.
#include <sys/time.h>

#include <cstring>

#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

Bytes Text(const char* text, size_t field) {
    Bytes bytes(text, text + strlen(text));
    bytes.resize(field, 0);
    return bytes;
}

TEST(ISFToolVersion, RecordLayout) {
    timeval before;
    gettimeofday(&before, nullptr);
    cLogCapture log;
    sSharedBuffer* record = cISFStore::GenerateToolVersion(0x1122334455667788ULL);
    EXPECT_EQ(log.Texts(), (std::vector<std::string>{"VERSION 3.00.011", "MAJOR 3, MINOR 0, BUILD 011"}));
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->mSize, 165u);
    EXPECT_EQ(record->mProtocol, 3u);
    EXPECT_EQ(record->mRefCount, 0u);
    const Bytes bytes(record->mData, record->mData + record->mSize);
    delete record;
    const auto field = [&](size_t at, size_t size) {
        return Bytes(bytes.begin() + at, bytes.begin() + at + size);
    };
    EXPECT_EQ(field(0, 16), (Bytes{0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F, 0x88, 0x77, 0x66, 0x55,
                                   0x44, 0x33, 0x22, 0x11}));
    EXPECT_EQ(field(16, 4), (Bytes{3, 0, 0, 0})) << "major 3, minor 0";
    EXPECT_EQ(field(20, 7), Text("011", 7));
    EXPECT_EQ(field(27, 40), Text("ZOV-Tarnik", 40));
    EXPECT_EQ(field(67, 18), Text("Jan 29 2018", 18));
    const uint64_t seconds = GetLE(bytes.data() + 85, 4);
    EXPECT_GE(seconds, static_cast<uint64_t>(before.tv_sec) & 0xFFFFFFFF);
    EXPECT_LE(seconds, (static_cast<uint64_t>(before.tv_sec) + 5) & 0xFFFFFFFF);
    EXPECT_LT(GetLE(bytes.data() + 93, 2), 1000u) << "milliseconds of the second";
    EXPECT_EQ(field(95, 70), Bytes(70, 0));
}

TEST(ISFToolVersion, IsItemZeroOfEveryFileStampedWithItsOwnTime) {
    cTempDir dir;
    const std::string path = dir.File("version.isf");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    }
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_TRUE(file.mClosed) << "the destructor closes the file";
    ASSERT_EQ(file.mItems.size(), 1u);
    const sISFItem& item = file.mItems[0];
    EXPECT_EQ(item.mType, 5u);
    EXPECT_EQ(item.mWidthCode, 0u);
    EXPECT_EQ(item.mTimeField, 0u);
    EXPECT_FALSE(item.mHasAux);
    ASSERT_EQ(item.mPayload.size(), 165u);
    // The diagnostic timestamp counts 1.25 ms periods since 1980-01-06 (11644473600000 + 315964800000 ms
    // after 1601): it names the same millisecond as the item's time, to within one period.
    const uint64_t periods = GetLE(item.mPayload.data() + 8, 8) >> 16;
    const uint64_t recordMs = 11644473600000ULL + 315964800000ULL + periods * 5 / 4;
    EXPECT_LE(recordMs, item.mTimeMs);
    EXPECT_LE(item.mTimeMs, recordMs + 2);
}

}  // namespace
