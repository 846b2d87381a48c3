#include "reader/ISFReader.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

bool operator==(const sISFBytes& a, const std::vector<unsigned char>& b) {
    return a.size() == b.size() && (a.empty() || memcmp(a.data(), b.data(), a.size()) == 0);
}

namespace {

// True when the `size` bytes at `data` are all zero.
bool AllZero(const unsigned char* data, uint64_t size) {
    static const unsigned char kZeros[4096] = {};
    while (size != 0) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(size, sizeof kZeros));
        if (memcmp(data, kZeros, n) != 0) {
            return false;
        }
        data += n;
        size -= n;
    }
    return true;
}

// One walk over the file: every position is checked against the size before it is read. The entries of
// the current index block are copied, the records are read through the reader's window.
class cWalk {
public:
    cWalk(cISFReader& reader, cISFVisitor& visitor)
        : mReader(reader), mSize(reader.Size()), mVisitor(visitor), mBlock(ISF_BLOCK_SIZE) {}

    sISFSummary Run() {
        if (mSize < ISF_HEADER_SIZE) {
            // A file cut short right after it was created: acceptable if what is there begins the magic.
            unsigned char magic[ISF_HEADER_SIZE];
            PutLE(magic, ISF_HEADER_MAGIC, ISF_HEADER_SIZE);
            const unsigned char* bytes = Span(0, mSize);
            if (bytes == nullptr) {
                return mSummary;
            }
            if (mSize != 0 && memcmp(bytes, magic, static_cast<size_t>(mSize)) != 0) {
                Problem(0, "%llu bytes that do not begin the header magic", Ull(mSize));
            }
            mSummary.mUnindexedBytes = mSize;
            mSummary.mUnindexedZero = AllZero(bytes, mSize);
            return mSummary;
        }
        uint64_t magic = 0;
        if (!Get(0, 4, magic)) {
            return mSummary;
        }
        if (magic == 0 && TailIsZero(0)) {
            // Room reserved by a writer that was stopped before it wrote the header: nothing lost.
            mSummary.mUnindexedBytes = mSize;
            return mSummary;
        }
        if (magic != ISF_HEADER_MAGIC) {
            Problem(0, "header magic is 0x%08llx", Ull(magic));
            return mSummary;
        }
        if (ReadBlocks()) {
            ReadEnd();
            if (mCutShortEntry != 0 && mSummary.mClosed) {
                Problem(mCutShortEntry, "entry %u has length 0", mCutShortSlot);
            }
        }
        return mSummary;
    }

private:
    static unsigned long long Ull(uint64_t value) { return static_cast<unsigned long long>(value); }

    void Problem(uint64_t offset, const char* format, ...) __attribute__((format(printf, 3, 4))) {
        char text[320];
        const int n = snprintf(text, sizeof text, "at %llu: ", Ull(offset));
        va_list args;
        va_start(args, format);
        vsnprintf(text + n, sizeof text - static_cast<size_t>(n), format, args);
        va_end(args);
        ++mSummary.mProblems;
        mVisitor.Problem(text);
    }

    // The bytes at `offset`, which the caller has checked to lie inside the file; null (and a problem, once)
    // when they cannot be read.
    const unsigned char* Span(uint64_t offset, uint64_t size) {
        const unsigned char* bytes = mReader.Span(offset, size);
        if (bytes == nullptr && !mFailed) {
            mFailed = true;
            Problem(offset, "cannot read %llu bytes here: %s", Ull(size), mReader.Error().c_str());
        }
        return bytes;
    }
    // A field of up to 8 bytes from anywhere in the file.
    bool Get(uint64_t offset, unsigned int size, uint64_t& value) {
        unsigned char bytes[8];
        value = 0;
        if (!mReader.Read(offset, bytes, size)) {
            if (!mFailed) {
                mFailed = true;
                Problem(offset, "cannot read %u bytes here: %s", size, mReader.Error().c_str());
            }
            return false;
        }
        value = GetLE(bytes, size);
        return true;
    }
    bool Fits(uint64_t offset, uint64_t size) const { return offset <= mSize && mSize - offset >= size; }

    // False when the visitor ended the walk.
    bool ReadBlocks() {
        if (mSize == ISF_HEADER_SIZE) {
            return true;  // nothing written after the header yet
        }
        uint64_t offset = ISF_FIRST_BLOCK_OFFSET;
        for (;;) {
            if (!Fits(offset, ISF_BLOCK_SIZE)) {
                if (mSummary.mBlocks == 0) {
                    return true;  // the first block itself was cut short: an unclosed file with no items
                }
                Problem(mLastBlock + ISF_BLOCK_NEXT_OFFSET,
                        "next-block field points to %llu, beyond the end of the file (%llu bytes)",
                        Ull(offset), Ull(mSize));
                return true;
            }
            const unsigned char* bytes = Span(offset, ISF_BLOCK_SIZE);
            if (bytes == nullptr) {
                return false;
            }
            memcpy(mBlock.data(), bytes, ISF_BLOCK_SIZE);
            const sISFBlock block{static_cast<uint32_t>(mSummary.mBlocks), offset,
                                  GetLE(mBlock.data() + ISF_BLOCK_NEXT_OFFSET, 8),
                                  GetLE(mBlock.data() + ISF_BLOCK_BASE_TIME_OFFSET, 8)};
            ++mSummary.mBlocks;
            mLastBlock = offset;
            mVisitor.Block(block);
            uint32_t used = 0;
            if (!ReadEntries(block, used)) {
                return false;
            }
            if (block.mNext == 0) {
                return true;
            }
            if (used != ISF_ENTRIES_PER_BLOCK) {
                Problem(offset, "block with a successor uses only %u of its %u entries", used,
                        ISF_ENTRIES_PER_BLOCK);
            }
            if (block.mNext < mDataEnd) {
                Problem(offset + ISF_BLOCK_NEXT_OFFSET,
                        "next block at %llu overlaps what comes before it (up to %llu)", Ull(block.mNext),
                        Ull(mDataEnd));
                return true;
            }
            offset = block.mNext;
        }
    }

    bool ReadEntries(const sISFBlock& block, uint32_t& used) {
        const uint64_t recordsStart = block.mOffset + ISF_BLOCK_SIZE;
        mDataEnd = recordsStart;
        bool unused = false;
        for (uint32_t slot = 0; slot < ISF_ENTRIES_PER_BLOCK; ++slot) {
            const uint64_t at = block.mOffset + uint64_t{slot} * ISF_ENTRY_SIZE;
            const unsigned char* entry = mBlock.data() + uint64_t{slot} * ISF_ENTRY_SIZE;
            const unsigned int flags = entry[ISF_ENTRY_FLAGS];
            const uint64_t recordOffset = GetLE(entry + ISF_ENTRY_RECORD_OFFSET, 4);
            const uint64_t length = GetLE(entry + ISF_ENTRY_LENGTH, 2);
            if (flags == 0 && recordOffset == 0 && length == 0) {
                unused = true;
                continue;
            }
            if (unused) {
                Problem(at, "entry %u in use after an unused slot", slot);
                continue;
            }
            if (length == 0) {
                // The writer writes an entry's length last: the last entry of the last block with no length
                // is a write a killed writer left cut short (its item's write had not returned). A problem
                // only when the file turns out to be closed, or something is in use after it.
                if (block.mNext == 0 && mCutShortEntry == 0) {
                    mCutShortEntry = at;
                    mCutShortSlot = slot;
                    unused = true;
                    continue;
                }
                Problem(at, "entry %u has length 0", slot);
                continue;
            }
            ++used;
            if (!ReadRecord(block, slot, at, flags, recordsStart + recordOffset, length)) {
                return false;
            }
        }
        return true;
    }

    bool ReadRecord(const sISFBlock& block, uint32_t slot, uint64_t entryAt, unsigned int flags,
                    uint64_t record, uint64_t length) {
        sISFItem item{};
        item.mIndex = mSummary.mItems;
        item.mBlock = block.mIndex;
        item.mSlot = slot;
        item.mType = flags & ISF_FLAG_TYPE_MASK;
        item.mWidthCode = (flags & ISF_FLAG_WIDTH_MASK) >> ISF_FLAG_WIDTH_SHIFT;
        item.mHasAux = (flags & ISF_FLAG_AUX) != 0;
        item.mRecordOffset = record;
        const unsigned int width = ISF_TIME_FIELD_SIZE[item.mWidthCode];
        const uint64_t headerSize = width + (item.mHasAux ? ISF_AUX_SIZE : 0);
        if (record < mDataEnd) {
            Problem(entryAt,
                    "record of entry %u at %llu overlaps the previous record or block (ends at %llu)", slot,
                    Ull(record), Ull(mDataEnd));
        }
        if (!Fits(record, headerSize + length)) {
            Problem(entryAt, "record of entry %u at %llu (%llu bytes) runs past the end of the file", slot,
                    Ull(record), Ull(headerSize + length));
            mDataEnd = mSize;
            return true;
        }
        const unsigned char* bytes = Span(record, headerSize + length);
        if (bytes == nullptr) {
            return false;
        }
        item.mTimeField = GetLE(bytes, width);
        if (item.mWidthCode == ISF_WIDTH_ABSOLUTE64) {
            item.mTimeMs = item.mTimeField;
        } else {
            const uint64_t allOnes = (1ULL << (8 * width)) - 1;
            if (item.mTimeField == allOnes) {
                Problem(record, "time delta holds the all-ones value of its %u-byte field", width);
            }
            item.mTimeMs = block.mBaseMs + item.mTimeField;
        }
        if (item.mHasAux) {
            item.mAux = static_cast<uint32_t>(GetLE(bytes + width, 4));
            if (item.mAux == ISF_NO_AUX) {
                Problem(record + width, "auxiliary value holds the no-value marker");
            }
        } else {
            item.mAux = ISF_NO_AUX;
        }
        item.mPayloadOffset = record + headerSize;
        item.mPayload.mData = bytes + headerSize;
        item.mPayload.mSize = static_cast<size_t>(length);
        mDataEnd = item.mPayloadOffset + length;
        ++mSummary.mItems;
        return mVisitor.Item(item);
    }

    // What follows the last record: table and trailer of a closed file, or bytes of an unfinished write.
    void ReadEnd() {
        const uint64_t rest = mSize > mDataEnd ? mSize - mDataEnd : 0;
        const uint64_t blocks = mSummary.mBlocks;
        uint64_t magic = 0;
        if (rest >= ISF_TRAILER_SIZE && !Get(mSize - ISF_TRAILER_SIZE + ISF_TRAILER_MAGIC_OFFSET, 4, magic)) {
            return;
        }
        if (magic != ISF_TRAILER_MAGIC) {
            mSummary.mUnindexedBytes = rest;
            mSummary.mUnindexedZero = TailIsZero(mSize - rest);
            return;
        }
        mSummary.mClosed = true;
        const uint64_t trailer = mSize - ISF_TRAILER_SIZE;
        uint64_t zero = 0;
        uint64_t count = 0;
        if (!Get(trailer, 8, zero) || !Get(trailer + ISF_TRAILER_COUNT_OFFSET, 4, count)) {
            return;
        }
        mSummary.mTrailerCount = static_cast<uint32_t>(count);
        if (rest != blocks * ISF_DESCRIPTOR_SIZE + ISF_TRAILER_SIZE) {
            Problem(mDataEnd,
                    "%llu bytes follow the last record; a table of %llu blocks and the trailer take %llu",
                    Ull(rest), Ull(blocks), Ull(blocks * ISF_DESCRIPTOR_SIZE + ISF_TRAILER_SIZE));
            return;
        }
        if (zero != 0) {
            Problem(trailer, "first trailer field is not zero");
        }
        if (mSummary.mTrailerCount != mSummary.mItems) {
            Problem(trailer + ISF_TRAILER_COUNT_OFFSET, "trailer counts %u items, the index holds %llu",
                    mSummary.mTrailerCount, Ull(mSummary.mItems));
        }
        // The chain again, block by block beside the table: the walk above found it whole and rising.
        uint64_t block = ISF_FIRST_BLOCK_OFFSET;
        for (uint64_t i = 0; i < blocks; ++i) {
            const uint64_t at = mDataEnd + i * ISF_DESCRIPTOR_SIZE;
            uint64_t offset = 0, base = 0, chainBase = 0, next = 0;
            if (!Get(at, 8, offset) || !Get(at + 8, 8, base) ||
                !Get(block + ISF_BLOCK_BASE_TIME_OFFSET, 8, chainBase) ||
                !Get(block + ISF_BLOCK_NEXT_OFFSET, 8, next)) {
                return;
            }
            if (offset != block || base != chainBase) {
                Problem(at, "descriptor %llu says block %llu base %llu; the chain has block %llu base %llu",
                        Ull(i), Ull(offset), Ull(base), Ull(block), Ull(chainBase));
            }
            block = next;
        }
    }

    // True when every byte from `offset` to the end of the file is zero.
    bool TailIsZero(uint64_t offset) {
        const uint64_t kPiece = 1 << 20;
        while (offset < mSize) {
            const uint64_t size = std::min(kPiece, mSize - offset);
            const unsigned char* bytes = Span(offset, size);
            if (bytes == nullptr || !AllZero(bytes, size)) {
                return false;
            }
            offset += size;
        }
        return true;
    }

    cISFReader& mReader;
    const uint64_t mSize;
    cISFVisitor& mVisitor;
    std::vector<unsigned char> mBlock;  // the current index block
    bool mFailed = false;               // a window could not be read
    sISFSummary mSummary;
    uint64_t mDataEnd = ISF_HEADER_SIZE;  // end of the last block or record read
    uint64_t mLastBlock = 0;              // offset of the last block read
    uint64_t mCutShortEntry = 0;          // offset of a last entry without its length, or 0
    uint32_t mCutShortSlot = 0;
};

}  // namespace

cISFReader::~cISFReader() {
    Close();
}

void cISFReader::Close() {
    if (mMapping != nullptr) {
        munmap(mMapping, static_cast<size_t>(mSize));
        mMapping = nullptr;
    }
    if (mFd >= 0) {
        close(mFd);
        mFd = -1;
    }
    mData = nullptr;
    mSize = 0;
    mWindowAt = mWindowSize = 0;
}

bool cISFReader::Open(const std::string& path, uint64_t window) {
    Close();
    mError.clear();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (fd < 0 || fstat(fd, &status) != 0) {
        mError = "cannot read " + path + ": " + strerror(errno);
        if (fd >= 0) {
            close(fd);
        }
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        mError = "cannot read " + path + ": not a regular file";
        close(fd);
        return false;
    }
    mFd = fd;
    mSize = static_cast<uint64_t>(status.st_size);
    mWindowLimit = window;
    if (window == 0 && mSize != 0) {
        void* mapping = mmap(nullptr, static_cast<size_t>(mSize), PROT_READ, MAP_SHARED, mFd, 0);
        if (mapping == MAP_FAILED) {
            mError = "cannot map " + path + ": " + strerror(errno);
            Close();
            return false;
        }
        mMapping = mapping;
        mData = static_cast<const unsigned char*>(mapping);
    } else {
        // Read front to back: the kernel may read ahead far.
        posix_fadvise(mFd, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    return true;
}

void cISFReader::Use(const unsigned char* data, size_t size) {
    Close();
    mError.clear();
    mData = data;
    mSize = size;
}

const unsigned char* cISFReader::Span(uint64_t offset, uint64_t size) {
    static const unsigned char kNothing = 0;
    if (size == 0) {
        return &kNothing;
    }
    if (mData != nullptr) {
        return mData + offset;
    }
    if (offset >= mWindowAt && offset + size <= mWindowAt + mWindowSize) {
        return mWindow.data() + (offset - mWindowAt);
    }
    if (mFd < 0) {
        return nullptr;
    }
    // The window refilled from `offset`: in full when the walk goes on where the window ends, else (a jump,
    // which only a damaged file makes) with little more than what is asked, so that entries pointing back
    // and forth cost no full window each.
    const uint64_t kJump = 64 << 10;
    const bool onward = offset >= mWindowAt && offset <= mWindowAt + mWindowSize;
    const uint64_t length = std::min(mSize - offset, std::max(onward ? mWindowLimit : kJump, size));
    if (mWindow.size() < length) {
        mWindow.clear();
        mWindow.shrink_to_fit();
        mWindow.resize(static_cast<size_t>(length));
    }
    mWindowAt = offset;
    mWindowSize = 0;
    while (mWindowSize < length) {
        const ssize_t got =
            pread(mFd, mWindow.data() + mWindowSize, static_cast<size_t>(length - mWindowSize),
                  static_cast<off_t>(offset + mWindowSize));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            mError = got < 0 ? strerror(errno) : "the file became shorter while it was read";
            break;
        }
        mWindowSize += static_cast<uint64_t>(got);
    }
    return mWindowSize >= size ? mWindow.data() : nullptr;
}

bool cISFReader::Read(uint64_t offset, unsigned char* out, size_t size) {
    if (mData != nullptr || (offset >= mWindowAt && offset + size <= mWindowAt + mWindowSize)) {
        const unsigned char* bytes = Span(offset, size);
        memcpy(out, bytes, size);
        return true;
    }
    size_t done = 0;
    while (done < size) {
        const ssize_t got = pread(mFd, out + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            mError = got < 0 ? strerror(errno) : "the file became shorter while it was read";
            return false;
        }
        done += static_cast<size_t>(got);
    }
    return true;
}

sISFSummary cISFReader::Walk(cISFVisitor& visitor) {
    return cWalk(*this, visitor).Run();
}
