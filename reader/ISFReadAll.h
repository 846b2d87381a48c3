// Every item of a small ISF file at once, for tests, fuzzers and benchmarks that compare what a writer
// wrote: the items (views into the mapping, kept alive by every copy), the blocks and the problems. Tools
// walk files with cISFReader and a visitor instead, which keeps nothing per item.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "reader/ISFReader.h"

struct sISFFile {
    std::shared_ptr<cISFReader> mReader;  // owns the mapping the payloads point into
    bool mClosed = false;
    uint32_t mTrailerCount = 0;
    std::vector<sISFBlock> mBlocks;
    std::vector<sISFItem> mItems;
    uint64_t mUnindexedBytes = 0;
    bool mUnindexedZero = true;
    std::vector<std::string> mProblems;  // each names the offset where it was found

    bool Consistent() const { return mProblems.empty(); }
};

namespace isfreadall {

class cCollect : public cISFVisitor {
public:
    explicit cCollect(sISFFile& file) : mFile(file) {}
    void Block(const sISFBlock& block) override { mFile.mBlocks.push_back(block); }
    bool Item(const sISFItem& item) override {
        mFile.mItems.push_back(item);
        return true;
    }
    void Problem(const std::string& text) override { mFile.mProblems.push_back(text); }

private:
    sISFFile& mFile;
};

inline sISFFile Collect(std::shared_ptr<cISFReader> reader) {
    sISFFile file;
    file.mReader = reader;
    cCollect collect(file);
    const sISFSummary summary = reader->Walk(collect);
    file.mClosed = summary.mClosed;
    file.mTrailerCount = summary.mTrailerCount;
    file.mUnindexedBytes = summary.mUnindexedBytes;
    file.mUnindexedZero = summary.mUnindexedZero;
    return file;
}

}  // namespace isfreadall

// Reads `size` bytes the caller keeps alive as long as the result is used.
inline sISFFile ReadISF(const unsigned char* data, size_t size) {
    auto reader = std::make_shared<cISFReader>();
    reader->Use(data, size);
    return isfreadall::Collect(reader);
}
inline sISFFile ReadISF(const std::vector<unsigned char>& bytes) {
    return ReadISF(bytes.data(), bytes.size());
}
// Reads the file at `path`, mapped whole; a file that cannot be read gives one problem.
inline sISFFile ReadISFFile(const std::string& path) {
    auto reader = std::make_shared<cISFReader>();
    if (!reader->Open(path, 0)) {
        sISFFile file;
        file.mProblems.push_back(reader->Error());
        return file;
    }
    return isfreadall::Collect(reader);
}
