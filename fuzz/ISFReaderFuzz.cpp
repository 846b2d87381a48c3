// Walks arbitrary bytes as an ISF file with the reader of tools/ and touches every byte of every payload
// view it hands out, so that a view reaching outside the input is caught; the summary must agree with
// what the visitor saw, and a walk of the same bytes from a file through a window of one page (which
// blocks and records cross) must find the same.
//
// Input: the file's bytes. A small file holds at most the header and a part of the first index block, so
// inputs that begin with 'Z' are first widened: the rest is placed after a header and an index block whose
// entries are taken from the input too (see Widen).
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "reader/ISFReader.h"

namespace {

class cTouch : public cISFVisitor {
public:
    void Block(const sISFBlock& block) override { FailIf(block.mIndex != mBlocks++); }
    bool Item(const sISFItem& item) override {
        FailIf(item.mIndex != mItems++ || item.mPayload.size() == 0);
        for (unsigned char byte : item.mPayload) {
            mSum += byte;
        }
        return true;
    }
    void Problem(const std::string& text) override {
        FailIf(text.compare(0, 3, "at ") != 0);
        ++mProblems;
    }

    uint64_t mBlocks = 0;
    uint64_t mItems = 0;
    uint64_t mProblems = 0;
    unsigned int mSum = 0;  // of every payload byte
};

// 'Z', then n (1 byte) entries of 7 bytes, then the records: header magic, an index block with those
// entries and a base time of 0, the records.
std::vector<unsigned char> Widen(const uint8_t* data, size_t size) {
    std::vector<unsigned char> file(ISF_HEADER_SIZE + ISF_BLOCK_SIZE, 0);
    PutLE(file.data(), ISF_HEADER_MAGIC, ISF_HEADER_SIZE);
    size_t at = 1;
    const size_t entries = size > 1 ? data[at++] : 0;
    for (size_t i = 0; i < entries && size - at >= ISF_ENTRY_SIZE; ++i, at += ISF_ENTRY_SIZE) {
        memcpy(file.data() + ISF_FIRST_BLOCK_OFFSET + i * ISF_ENTRY_SIZE, data + at, ISF_ENTRY_SIZE);
    }
    file.insert(file.end(), data + at, data + size);
    return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<unsigned char> bytes;
    if (size != 0 && data[0] == 'Z') {
        bytes = Widen(data, size);
    } else {
        bytes.assign(data, data + size);
    }
    // A copy of exactly the input's size: a read past its end is caught.
    cISFReader reader;
    reader.Use(bytes.data(), bytes.size());
    cTouch touch;
    const sISFSummary summary = reader.Walk(touch);
    FailIf(summary.mItems != touch.mItems || summary.mBlocks != touch.mBlocks ||
           summary.mProblems != touch.mProblems || summary.mUnindexedBytes > bytes.size());
    static const std::string path = "/tmp/palvorin-isf-reader-fuzz-" + std::to_string(getpid()) + ".isf";
    FILE* file = fopen(path.c_str(), "wb");
    FailIf(file == nullptr || fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
           fclose(file) != 0);
    cISFReader windowed;
    FailIf(!windowed.Open(path, 4096));
    cTouch again;
    const sISFSummary same = windowed.Walk(again);
    FailIf(same.mItems != summary.mItems || same.mProblems != summary.mProblems ||
           same.mClosed != summary.mClosed || same.mUnindexedBytes != summary.mUnindexedBytes ||
           same.mUnindexedZero != summary.mUnindexedZero || again.mSum != touch.mSum);
    return 0;
}
