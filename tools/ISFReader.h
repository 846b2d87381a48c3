// Reader of item store files (ISF) for tools and tests; not part of the library. It walks the chain of
// index blocks from offset 4, decodes every used entry and its record, checks the descriptor table and
// trailer of a closed file, accepts a file whose writer stopped without closing it, and lists every
// inconsistency it finds with its file offset.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "jni/ISFFormat.h"

struct sISFItem {
    uint32_t mBlock;          // index block holding the entry (0-based)
    uint32_t mSlot;           // entry number in the block
    unsigned int mType;       // flag bits 0-4
    unsigned int mWidthCode;  // flag bits 5-6
    uint64_t mTimeField;      // the time field as stored (delta or absolute)
    uint64_t mTimeMs;         // item milliseconds since 1601
    bool mHasAux;
    uint32_t mAux;
    uint64_t mRecordOffset;   // file offset of the record (time field)
    uint64_t mPayloadOffset;  // file offset of the payload
    std::vector<unsigned char> mPayload;
};

struct sISFBlock {
    uint64_t mOffset;
    uint64_t mNext;    // next-block field as stored
    uint64_t mBaseMs;  // base time as stored
    uint32_t mUsed;    // entries in use
};

struct sISFFile {
    bool mClosed = false;  // table and trailer present and read
    uint32_t mTrailerCount = 0;
    std::vector<sISFBlock> mBlocks;
    std::vector<sISFItem> mItems;
    // Bytes behind the last record that no entry covers, in a file that was not closed (a record or an
    // index block whose writing was cut short).
    uint64_t mUnindexedBytes = 0;
    // Zeros that end a file that was not closed, not counted above: space its writer had reserved ahead
    // of its writes (the store grows a file in large steps) and not filled when it stopped.
    uint64_t mZeroTail = 0;
    std::vector<std::string> mProblems;  // each names the offset where it was found

    bool Consistent() const { return mProblems.empty(); }
};

// Reads a whole file held in memory. Always fills what it could read; problems go to mProblems.
sISFFile ReadISF(const std::vector<unsigned char>& bytes);
// Reads the file at `path`; a file that cannot be read gives one problem.
sISFFile ReadISFFile(const std::string& path);
