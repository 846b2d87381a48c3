// The reader in tools/ finds what a closed or cut-off file holds and reports each inconsistency with its
// offset.
#include "tools/ISFReader.h"

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

// A closed file of the store with three 20-byte log items after whatever the open writes.
Bytes ClosedFile() {
    cTempDir dir;
    const std::string path = dir.File("good.isf");
    {
        cISFStore store;
        EXPECT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 4), CurrentFiletime()), 0u);
        }
        store.CloseFileStore();
    }
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

TEST(ISFReader, ReportsEachInconsistencyWithItsOffset) {
    const Bytes good = ClosedFile();
    const sISFFile clean = ReadISF(good);
    ASSERT_TRUE(clean.Consistent() && clean.mClosed) << Problems(clean);
    const size_t size = good.size();
    const size_t items = clean.mItems.size();
    const uint64_t lastRecord = clean.mItems.back().mRecordOffset;
    const unsigned int lastWidth = clean.mItems.back().mWidthCode;
    ASSERT_LT(lastWidth, 3u) << "a delta, written just after the open";
    struct {
        const char* mName;
        std::function<void(Bytes&)> mDamage;
        uint64_t mOffset;  // where a problem must be reported
    } const cases[] = {
        {"header magic", [](Bytes& b) { b[3] = 0xAC; }, 0},
        {"trailer count", [&](Bytes& b) { b[size - 8] += 1; }, size - 8},
        {"trailer zero field", [&](Bytes& b) { b[size - 16] = 1; }, size - 16},
        {"descriptor base time", [&](Bytes& b) { b[size - 24] ^= 1; }, size - 32},
        {"next-block link past the end", [](Bytes& b) { PutLE(b.data() + 4 + 57344, 1ULL << 40, 8); },
         4 + 57344},
        {"entry after an unused slot", [](Bytes& b) { b[4 + 7 * 100 + 6] = 1; }, 4 + 700},
        {"entry of length 0", [&](Bytes& b) { PutLE(b.data() + 4 + 7 * (items - 1) + 5, 0, 2); },
         4 + 7 * (items - 1)},
        {"delta of all ones",
         [&](Bytes& b) { memset(b.data() + lastRecord, 0xFF, ISF_TIME_FIELD_SIZE[lastWidth]); }, lastRecord},
        {"table cut short", [&](Bytes& b) { b.erase(b.end() - 17); },
         clean.mItems.back().mPayloadOffset + 20},
    };
    for (const auto& c : cases) {
        Bytes damaged = good;
        c.mDamage(damaged);
        const sISFFile file = ReadISF(damaged);
        ASSERT_FALSE(file.Consistent()) << c.mName;
        const std::string at = "at " + std::to_string(c.mOffset) + ": ";
        EXPECT_NE(("\n" + Problems(file)).find("\n" + at), std::string::npos) << c.mName << ", " << at;
    }
}

TEST(ISFReader, AcceptsAFileCutOffAnywhereAfterItsLastEntry) {
    const Bytes good = ClosedFile();
    const sISFFile clean = ReadISF(good);
    const sISFItem& last = clean.mItems.back();
    const size_t tableStart = last.mPayloadOffset + last.mPayload.size();
    // Without table and trailer, then with a partly written record behind the last one.
    Bytes open(good.begin(), good.begin() + static_cast<long>(tableStart));
    sISFFile file = ReadISF(open);
    EXPECT_TRUE(file.Consistent() && !file.mClosed) << Problems(file);
    EXPECT_EQ(file.mItems.size(), clean.mItems.size());
    open.insert(open.end(), {0x00, 0x10, 0x00, 0x0C});
    file = ReadISF(open);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_EQ(file.mUnindexedBytes, 4u);
    // The newest entry pointing past the end is not acceptable: its record was written before it.
    open.resize(tableStart - 1);
    EXPECT_FALSE(ReadISF(open).Consistent());
    // A file cut within its header holds nothing, and is fine if what is there begins the magic.
    EXPECT_TRUE(ReadISF(Bytes{}).Consistent());
    EXPECT_TRUE(ReadISF(Bytes{0x08, 0x31}).Consistent());
    EXPECT_FALSE(ReadISF(Bytes{0x08, 0x32}).Consistent());
    EXPECT_TRUE(ReadISF(Bytes(good.begin(), good.begin() + 1000)).Consistent()) << "first block cut short";
}

}  // namespace
