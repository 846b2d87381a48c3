// Reader of item store files (ISF), for every front end (the tool, the Python package, the tests). It walks
// the chain of index blocks from offset 4, decoding every used entry and its record in file order, checks the
// descriptor table and trailer of a closed file, accepts a file whose writer stopped without closing it, and
// names every inconsistency it finds with its file offset.
//
// Items are handed to a visitor one at a time as views into the reader's memory: it keeps nothing per
// item, so a file of any size is read in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "jni/ISFFormat.h"

// Bytes inside memory someone else owns (here: the reader's window or mapping).
struct sISFBytes {
    const unsigned char* mData = nullptr;
    size_t mSize = 0;

    const unsigned char* data() const { return mData; }
    size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }
    const unsigned char* begin() const { return mData; }
    const unsigned char* end() const { return mData + mSize; }
    const unsigned char& operator[](size_t i) const { return mData[i]; }
    // A copy, for tests that keep payloads.
    operator std::vector<unsigned char>() const { return std::vector<unsigned char>(begin(), end()); }
};
bool operator==(const sISFBytes& a, const std::vector<unsigned char>& b);
inline bool operator==(const std::vector<unsigned char>& a, const sISFBytes& b) {
    return b == a;
}
inline bool operator!=(const sISFBytes& a, const std::vector<unsigned char>& b) {
    return !(a == b);
}

struct sISFItem {
    uint64_t mIndex;          // item number in file order, from 0
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
    sISFBytes mPayload;       // into the reader's window or mapping
};

struct sISFBlock {
    uint32_t mIndex;  // 0-based, in chain order
    uint64_t mOffset;
    uint64_t mNext;    // next-block field as stored
    uint64_t mBaseMs;  // base time as stored
};

// What a walk found about the file as a whole.
struct sISFSummary {
    bool mClosed = false;  // table and trailer present and read
    uint32_t mTrailerCount = 0;
    uint64_t mItems = 0;
    uint64_t mBlocks = 0;
    // Bytes behind the last record that no entry covers, in a file that was not closed: a record or an
    // index block whose writing was cut short, or the zero-filled room a writer grows its file by.
    uint64_t mUnindexedBytes = 0;
    bool mUnindexedZero = true;  // all of them zero
    uint64_t mProblems = 0;
};

// Receives what a walk finds, in file order. Every view lives only during the call.
class cISFVisitor {
public:
    virtual ~cISFVisitor() {}
    // Before the items of the block.
    virtual void Block(const sISFBlock& block) { (void)block; }
    // Returning false ends the walk (the summary then covers only what was read).
    virtual bool Item(const sISFItem& item) {
        (void)item;
        return true;
    }
    // `text` begins with "at <offset>: ".
    virtual void Problem(const std::string& text) { (void)text; }
};

// Reads a file through a window of it (16 MB, refilled with pread as the walk goes on), so that memory does
// not grow with the file, and a file that a writer shrinks meanwhile reads as cut short (a mapping would
// end the process with SIGBUS there); or through a read-only mapping of the whole file, for small files
// whose items are kept after the walk (reader/ISFReadAll.h).
class cISFReader {
public:
    static const uint64_t kWindowSize = 16 << 20;

    cISFReader() {}
    ~cISFReader();
    cISFReader(const cISFReader&) = delete;
    cISFReader& operator=(const cISFReader&) = delete;

    // Opens the file at `path`. False when it cannot be opened or mapped; Error() says why. With `window`
    // 0, the whole file is mapped and item views stay valid while the reader lives; else the file is read
    // `window` bytes (or the longest record) at a time and views live only during the call handing them.
    bool Open(const std::string& path, uint64_t window = kWindowSize);
    // Reads `size` bytes at `data`, which the caller owns and keeps unchanged while the reader is used.
    void Use(const unsigned char* data, size_t size);
    const std::string& Error() const { return mError; }
    uint64_t Size() const { return mSize; }

    // Walks the whole file once; can be called again.
    sISFSummary Walk(cISFVisitor& visitor);

    // The `size` bytes at `offset` (inside the file as it was opened), valid until the next call; null when
    // they cannot be read (Error() says why). The window moves forward to `offset`: for records and blocks.
    const unsigned char* Span(uint64_t offset, uint64_t size);
    // Copies a few bytes from anywhere in the file, leaving the window where it is. False when they cannot
    // be read.
    bool Read(uint64_t offset, unsigned char* out, size_t size);

private:
    void Close();

    int mFd = -1;  // owned when not -1
    uint64_t mSize = 0;
    const unsigned char* mData = nullptr;  // the whole file (Use, or the whole mapping), or null
    void* mMapping = nullptr;              // owned when not null: the whole file, mSize bytes
    std::vector<unsigned char> mWindow;    // mWindowSize bytes of the file from mWindowAt
    uint64_t mWindowAt = 0;
    uint64_t mWindowSize = 0;
    uint64_t mWindowLimit = kWindowSize;  // bytes read at once
    std::string mError;
};
