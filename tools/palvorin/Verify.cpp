// palvorin verify: the reader's checks of the structure, and the ones a writer's layout adds: records
// follow one another without gaps, each record's time field has the width the writer chooses, item
// types are ones the store assigns, and the file was closed.

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>

#include "tools/ISFReader.h"
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

void CheckLayout(const sISFFile& file, std::vector<std::string>& problems) {
    uint64_t end = 0;  // where the next record (or block) is expected
    uint32_t block = UINT32_MAX;
    for (const sISFItem& item : file.mItems) {
        if (item.mBlock != block) {
            if (block != UINT32_MAX && item.mBlock < file.mBlocks.size() &&
                file.mBlocks[item.mBlock].mOffset != end) {
                problems.push_back(At(end, std::to_string(file.mBlocks[item.mBlock].mOffset - end) +
                                               " bytes between the last record and the next index block"));
            }
            block = item.mBlock;
            end = file.mBlocks[block].mOffset + ISF_BLOCK_SIZE;
        }
        const uint64_t entryAt = file.mBlocks[block].mOffset + uint64_t{item.mSlot} * ISF_ENTRY_SIZE;
        if (item.mRecordOffset > end) {
            problems.push_back(At(entryAt, "record of entry " + std::to_string(item.mSlot) + " starts " +
                                               std::to_string(item.mRecordOffset - end) +
                                               " bytes after the previous one ends"));
        }
        if (!IsKnownItemType(item.mType)) {
            problems.push_back(At(entryAt, "entry " + std::to_string(item.mSlot) + " has item type " +
                                               std::to_string(item.mType) + ", which no item is given"));
        }
        const unsigned int width = ExpectedWidth(item.mTimeMs, file.mBlocks[block].mBaseMs);
        if (item.mWidthCode != width) {
            problems.push_back(At(entryAt, "entry " + std::to_string(item.mSlot) + " has time width code " +
                                               std::to_string(item.mWidthCode) + " where the writer uses " +
                                               std::to_string(width)));
        }
        end = item.mPayloadOffset + item.mPayload.size();
    }
    if (!file.mItems.empty() && file.mItems.back().mBlock + 1 < file.mBlocks.size()) {
        problems.push_back(At(file.mBlocks.back().mOffset, "index block without any item"));
    }
}

}  // namespace

int RunVerify(const sVerifyOptions& options) {
    const sISFFile file = ReadISFFile(options.mPath);
    // What concerns the whole file first, then the problems in file order.
    std::vector<std::string> problems;
    if (!file.mClosed && !options.mAllowUnclosed && !file.mBlocks.empty()) {
        problems.push_back("no index-block table and trailer: the file was not closed");
    }
    if (!file.mClosed && file.mUnindexedBytes != 0) {
        problems.push_back(std::to_string(file.mUnindexedBytes) +
                           " bytes at the end that no index entry covers (a write cut short)");
    }
    problems.insert(problems.end(), file.mProblems.begin(), file.mProblems.end());
    CheckLayout(file, problems);
    if (problems.empty()) {
        printf("%s: consistent: %zu items in %zu index block%s, %s\n", options.mPath.c_str(),
               file.mItems.size(), file.mBlocks.size(), file.mBlocks.size() == 1 ? "" : "s",
               file.mClosed ? "closed with its table and trailer" : "not closed");
        return 0;
    }
    // A cut file has a problem per entry beyond the cut: the first ones tell where it went wrong.
    const size_t shown = options.mAll ? problems.size() : std::min<size_t>(problems.size(), kShownProblems);
    for (size_t i = 0; i < shown; ++i) {
        printf("%s: %s\n", options.mPath.c_str(), problems[i].c_str());
    }
    if (shown < problems.size()) {
        printf("%s: ... %zu more (--all lists them)\n", options.mPath.c_str(), problems.size() - shown);
    }
    printf("%s: %zu problem%s\n", options.mPath.c_str(), problems.size(), problems.size() == 1 ? "" : "s");
    return 1;
}
