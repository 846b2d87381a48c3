// palvorin verify: the reader's checks of the structure, and the ones a writer's layout adds: records
// follow one another without gaps, each record's time field has the width the writer chooses, item
// types are ones the store assigns, the file holds at least the tool-version record, and it was closed.
// The file is walked once, item by item; nothing is kept per item.

#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "reader/ISFReader.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/ItemInfo.h"

namespace {

const size_t kShownProblems = 20;

std::string At(uint64_t offset, const std::string& text) {
    return "at " + std::to_string(offset) + ": " + text;
}

// The width code the writer gives a record of `timeMs` in a block of base `baseMs`.
unsigned int ExpectedWidth(uint64_t timeMs, uint64_t baseMs) {
    if (timeMs < baseMs) {
        return ISF_WIDTH_ABSOLUTE64;
    }
    const uint64_t delta = timeMs - baseMs;
    return delta <= ISF_MAX_DELTA8    ? ISF_WIDTH_DELTA8
           : delta <= ISF_MAX_DELTA16 ? ISF_WIDTH_DELTA16
           : delta <= ISF_MAX_DELTA32 ? ISF_WIDTH_DELTA32
                                      : ISF_WIDTH_ABSOLUTE64;
}

// The problems of a file: with --all printed as they are found, else the first few kept and printed at the
// end, after those that concern the whole file.
class cReport {
public:
    cReport(const std::string& path, bool all) : mPath(path), mAll(all) {}
    void Add(const std::string& text) {
        if (mAll) {
            printf("%s: %s\n", mPath.c_str(), text.c_str());
        } else if (mShown.size() < kShownProblems) {
            mShown.push_back(text);
        }
        ++mCount;
    }
    // A problem of the whole file, found after the walk: shown first.
    void AddFirst(const std::string& text) {
        if (mAll) {
            Add(text);
            return;
        }
        mShown.insert(mShown.begin(), text);
        if (mShown.size() > kShownProblems) {
            mShown.pop_back();
        }
        ++mCount;
    }
    // Returns the exit status.
    int End() const {
        for (const std::string& text : mShown) {
            printf("%s: %s\n", mPath.c_str(), text.c_str());
        }
        if (!mAll && mCount > mShown.size()) {
            printf("%s: ... %zu more (--all lists them)\n", mPath.c_str(), mCount - mShown.size());
        }
        printf("%s: %zu problem%s\n", mPath.c_str(), mCount, mCount == 1 ? "" : "s");
        return 1;
    }
    size_t Count() const { return mCount; }

private:
    const std::string& mPath;
    const bool mAll;
    std::vector<std::string> mShown;
    size_t mCount = 0;
};

// The layout checks, item by item beside the reader's own.
class cLayout : public cISFVisitor {
public:
    explicit cLayout(cReport& report) : mReport(report) {}

    void Block(const sISFBlock& block) override {
        if (block.mIndex != 0 && block.mOffset > mEnd) {
            mReport.Add(At(mEnd, std::to_string(block.mOffset - mEnd) +
                                     " bytes between the last record and the next index block"));
        }
        mBlock = block;
        mEnd = block.mOffset + ISF_BLOCK_SIZE;
    }

    bool Item(const sISFItem& item) override {
        const uint64_t entryAt = mBlock.mOffset + uint64_t{item.mSlot} * ISF_ENTRY_SIZE;
        const auto entry = [&item] { return "entry " + std::to_string(item.mSlot); };
        if (item.mRecordOffset > mEnd) {
            mReport.Add(
                At(entryAt, "record of " + entry() + " starts " + std::to_string(item.mRecordOffset - mEnd) +
                                " bytes after the " +
                                (mEnd == mBlock.mOffset + ISF_BLOCK_SIZE ? "index block" : "previous one") +
                                " ends"));
        }
        if (!IsKnownItemType(item.mType)) {
            mReport.Add(At(entryAt, entry() + " has item type " + std::to_string(item.mType) +
                                        ", which no item is given"));
        }
        const unsigned int width = ExpectedWidth(item.mTimeMs, mBlock.mBaseMs);
        if (item.mWidthCode != width) {
            mReport.Add(At(entryAt, entry() + " has time width code " + std::to_string(item.mWidthCode) +
                                        " where the writer uses " + std::to_string(width)));
        }
        mEnd = item.mPayloadOffset + item.mPayload.size();
        mLastItemBlock = item.mBlock;
        return true;
    }

    void Problem(const std::string& text) override { mReport.Add(text); }

    // After the walk: a last block that no item uses.
    void End(const sISFSummary& summary) {
        if (summary.mItems != 0 && mLastItemBlock + 1 < summary.mBlocks) {
            mReport.Add(At(mBlock.mOffset, "index block without any item"));
        }
    }

private:
    cReport& mReport;
    sISFBlock mBlock{};
    uint64_t mEnd = 0;            // where the next record (or block) is expected
    uint32_t mLastItemBlock = 0;  // block of the last item read
};

}  // namespace

int RunVerify(const sVerifyOptions& options) {
    cISFReader reader;
    if (!reader.Open(options.mPath)) {
        printf("%s: %s\n", options.mPath.c_str(), reader.Error().c_str());
        return 1;
    }
    cReport report(options.mPath, options.mAll);
    cLayout layout(report);
    const sISFSummary file = reader.Walk(layout);
    layout.End(file);
    // What concerns the whole file goes before the problems in file order.
    if (!file.mClosed && file.mUnindexedBytes != 0 && !file.mUnindexedZero) {
        report.AddFirst(std::to_string(file.mUnindexedBytes) +
                        " bytes at the end that no index entry covers, not all zero (a write cut short)");
    }
    if (!file.mClosed && !options.mAllowUnclosed && file.mBlocks != 0) {
        report.AddFirst("no index-block table and trailer: the file was not closed");
    }
    if (reader.Size() == 0) {
        report.AddFirst("empty file: not even the header");
    } else if (file.mItems == 0 && file.mProblems == 0) {
        report.AddFirst("no items: not even the tool-version record that every file begins with");
    }
    if (report.Count() != 0) {
        return report.End();
    }
    printf("%s: consistent: %" PRIu64 " items in %" PRIu64 " index block%s, %s\n", options.mPath.c_str(),
           file.mItems, file.mBlocks, file.mBlocks == 1 ? "" : "s",
           file.mClosed ? "closed with its table and trailer"
           : file.mUnindexedBytes != 0
               ? ("not closed, followed by " + std::to_string(file.mUnindexedBytes) + " zero bytes").c_str()
               : "not closed");
    return 0;
}
