// The reader in tools/ finds what a closed or cut-off file holds, reports each inconsistency with its
// offset, and tells a zero-filled tail behind the last record from other bytes there.
#include "reader/ISFReader.h"

#include <unistd.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

// Copies what a walk hands over while the views live.
class cCopy : public cISFVisitor {
public:
    bool Item(const sISFItem& item) override {
        mPayloads.emplace_back(item.mPayload);
        return true;
    }
    void Problem(const std::string& text) override { mProblems += text + "\n"; }
    std::vector<Bytes> mPayloads;
    std::string mProblems;
};

TEST(ISFReader, ReportsEachInconsistencyWithItsOffsetAndAcceptsFilesCutAfterTheLastEntry) {
    cTempDir dir;
    {
        cISFStore store;  // a closed file with three 20-byte log items after the tool-version record
        ASSERT_EQ(store.OpenNewFileStore(dir.File("good.isf").c_str()), 0u);
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 4), CurrentFiletime()), 0u);
        }
    }
    std::ifstream in(dir.File("good.isf"), std::ios::binary);
    const Bytes good{std::istreambuf_iterator<char>(in), {}};
    const sISFFile clean = ReadISF(good);
    ASSERT_TRUE(clean.Consistent() && clean.mClosed) << Problems(clean);
    const size_t size = good.size();
    const size_t items = clean.mItems.size();
    const uint64_t lastRecord = clean.mItems.back().mRecordOffset;
    const unsigned int lastWidth = clean.mItems.back().mWidthCode;
    ASSERT_LT(lastWidth, 3u) << "a delta, written just after the open";
    const size_t tableStart = clean.mItems.back().mPayloadOffset + 20;
    // Outcomes without a problem (unclosed files): only zeros, or other bytes, behind the last record.
    const uint64_t kFine = ~0ULL;
    const uint64_t kDirtyTail = ~1ULL;
    const uint64_t kCutShort = ~2ULL;  // as kDirtyTail (the newest record is there), without its item
    struct {
        const char* mName;
        std::function<void(Bytes&)> mDamage;
        uint64_t mOffset;  // where a problem must be reported, or kFine or kDirtyTail
    } const cases[] = {
        {"header magic", [](Bytes& b) { b[3] = 0xAC; }, 0},
        {"trailer count", [&](Bytes& b) { b[size - 8] += 1; }, size - 8},
        {"trailer zero field", [&](Bytes& b) { b[size - 16] = 1; }, size - 16},
        {"descriptor base time", [&](Bytes& b) { b[size - 24] ^= 1; }, size - 32},
        {"next-block link past the end", [](Bytes& b) { PutLE(b.data() + 4 + 57344, 1ULL << 40, 8); },
         4 + 57344},
        {"entry of length 0", [&](Bytes& b) { PutLE(b.data() + 4 + 7 * (items - 1) + 5, 0, 2); },
         4 + 7 * (items - 1)},
        {"delta of all ones",
         [&](Bytes& b) { memset(b.data() + lastRecord, 0xFF, ISF_TIME_FIELD_SIZE[lastWidth]); }, lastRecord},
        {"table cut short", [&](Bytes& b) { b.erase(b.end() - 17); }, tableStart},
        // An entry of length 0 in an unclosed file is one a killed writer never finished, unless one in use
        // follows it.
        {"unclosed, newest entry without its length",
         [&](Bytes& b) {
             b.resize(tableStart);
             PutLE(b.data() + 4 + 7 * (items - 1) + 5, 0, 2);
         },
         kCutShort},
        {"unclosed, entry without its length before one in use",
         [&](Bytes& b) {
             b.resize(tableStart);
             PutLE(b.data() + 4 + 7 * (items - 2) + 5, 0, 2);
         },
         4 + 7 * (items - 1)},
        // A killed writer's zero-filled growth step passes; one other byte far behind the last record not (a
        // record cut, an unclosed file and zeros only: the tool's verify test).
        {"zeros and one other byte behind the last record",
         [&](Bytes& b) {
             b.resize(tableStart);
             b.resize(tableStart + 100000, 0);
             b[tableStart + 70000] = 1;
         },
         kDirtyTail},
        {"first block cut short", [](Bytes& b) { b.resize(1000); }, kDirtyTail},
        {"empty", [](Bytes& b) { b.clear(); }, kFine},
        {"half the magic", [](Bytes& b) { b.resize(2); }, kDirtyTail},
        {"half a wrong magic", [](Bytes& b) { b.assign(2, 0x32); }, 0},
    };
    {
        // A writer that shrinks the file while it is read (one that grew it in zero-filled steps, at its
        // close) leaves it cut short; a mapping would end the process with SIGBUS.
        cISFReader shrinking;
        ASSERT_TRUE(shrinking.Open(dir.File("good.isf")));
        ASSERT_EQ(truncate(dir.File("good.isf").c_str(), static_cast<off_t>(tableStart - 10)), 0);
        cCopy copy;
        EXPECT_EQ(shrinking.Walk(copy).mItems, items - 1);
        EXPECT_NE(copy.mProblems.find("the file became shorter while it was read"), std::string::npos)
            << copy.mProblems;
    }
    for (const auto& c : cases) {
        Bytes damaged = good;
        c.mDamage(damaged);
        const sISFFile file = ReadISF(damaged);
        // The same from the disk through a window of one page, which every record and block crosses.
        std::ofstream(dir.File("damaged.isf"), std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(damaged.data()),
                   static_cast<std::streamsize>(damaged.size()));
        cISFReader windowed;
        ASSERT_TRUE(windowed.Open(dir.File("damaged.isf"), 4096));
        cCopy copy;
        const sISFSummary summary = windowed.Walk(copy);
        EXPECT_EQ(copy.mProblems, Problems(file)) << c.mName;
        EXPECT_EQ(copy.mPayloads, Payloads(file, 0)) << c.mName;
        EXPECT_EQ(summary.mClosed, file.mClosed) << c.mName;
        EXPECT_EQ(summary.mUnindexedZero, file.mUnindexedZero) << c.mName;
        if (c.mOffset == kFine || c.mOffset == kDirtyTail || c.mOffset == kCutShort) {
            EXPECT_TRUE(file.Consistent() && !file.mClosed) << c.mName << "\n" << Problems(file);
            EXPECT_EQ(file.mItems.size(), damaged.size() > 1000 ? items - (c.mOffset == kCutShort) : 0u)
                << c.mName;
            EXPECT_EQ(file.mUnindexedZero, c.mOffset == kFine) << c.mName;
            continue;
        }
        const std::string at = "at " + std::to_string(c.mOffset) + ": ";
        EXPECT_NE(("\n" + Problems(file)).find("\n" + at), std::string::npos) << c.mName << ", " << at << "\n"
                                                                              << Problems(file);
    }
}

}  // namespace
