#include "tools/ISFReader.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace {

class cReader {
public:
    cReader(const std::vector<unsigned char>& bytes, sISFFile& file) : mBytes(bytes), mFile(file) {}

    void Read() {
        if (std::all_of(mBytes.begin(), mBytes.end(), [](unsigned char byte) { return byte == 0; })) {
            mFile.mZeroTail = mBytes.size();  // space reserved by a writer that had written nothing yet
            return;
        }
        if (mBytes.size() < ISF_HEADER_SIZE) {
            // A file cut short right after it was created: acceptable if what is there begins the magic.
            unsigned char magic[ISF_HEADER_SIZE];
            PutLE(magic, ISF_HEADER_MAGIC, ISF_HEADER_SIZE);
            if (!std::equal(mBytes.begin(), mBytes.end(), magic)) {
                Problem(0, "%zu bytes that do not begin the header magic", mBytes.size());
            }
            mFile.mUnindexedBytes = mBytes.size();
            return;
        }
        if (GetLE(mBytes.data(), 4) != ISF_HEADER_MAGIC) {
            Problem(0, "header magic is 0x%08llx", static_cast<unsigned long long>(GetLE(mBytes.data(), 4)));
            return;
        }
        ReadBlocks();
        ReadEnd();
    }

private:
    void Problem(uint64_t offset, const char* format, ...) __attribute__((format(printf, 3, 4))) {
        char text[320];
        const int n = snprintf(text, sizeof text, "at %llu: ", static_cast<unsigned long long>(offset));
        va_list args;
        va_start(args, format);
        vsnprintf(text + n, sizeof text - static_cast<size_t>(n), format, args);
        va_end(args);
        mFile.mProblems.push_back(text);
    }

    uint64_t Size() const { return mBytes.size(); }

    // The bytes from `from` to the end of an unclosed file, which no entry covers: the zeros that end
    // them are the zero tail, the rest unindexed.
    void Unindexed(uint64_t from) {
        uint64_t end = Size();
        while (end > from && mBytes[end - 1] == 0) {
            --end;
        }
        mFile.mZeroTail = Size() - end;
        mFile.mUnindexedBytes += end - from;
    }
    uint64_t Get(uint64_t offset, unsigned int size) const { return GetLE(mBytes.data() + offset, size); }

    void ReadBlocks() {
        uint64_t offset = ISF_FIRST_BLOCK_OFFSET;
        if (Size() == ISF_HEADER_SIZE) {
            return;  // nothing written after the header yet
        }
        for (;;) {
            if (offset > Size() || Size() - offset < ISF_BLOCK_SIZE) {
                // A first block cut short is an unclosed file with no items, whose bytes ReadEnd counts.
                if (!mFile.mBlocks.empty()) {
                    Problem(mFile.mBlocks.back().mOffset + ISF_BLOCK_NEXT_OFFSET,
                            "next-block field points to %llu, beyond the end of the file (%llu bytes)",
                            static_cast<unsigned long long>(offset), static_cast<unsigned long long>(Size()));
                }
                return;
            }
            sISFBlock block{offset, Get(offset + ISF_BLOCK_NEXT_OFFSET, 8),
                            Get(offset + ISF_BLOCK_BASE_TIME_OFFSET, 8), 0};
            mFile.mBlocks.push_back(block);
            const uint32_t index = static_cast<uint32_t>(mFile.mBlocks.size() - 1);
            ReadEntries(index);
            const uint64_t next = block.mNext;
            if (next == 0) {
                return;
            }
            if (mFile.mBlocks[index].mUsed != ISF_ENTRIES_PER_BLOCK) {
                Problem(offset, "block with a successor uses only %u of its %u entries",
                        mFile.mBlocks[index].mUsed, ISF_ENTRIES_PER_BLOCK);
            }
            if (next < mDataEnd) {
                Problem(offset + ISF_BLOCK_NEXT_OFFSET,
                        "next block at %llu overlaps what comes before it (up to %llu)",
                        static_cast<unsigned long long>(next), static_cast<unsigned long long>(mDataEnd));
                return;
            }
            offset = next;
        }
    }

    void ReadEntries(uint32_t blockIndex) {
        sISFBlock& block = mFile.mBlocks[blockIndex];
        const uint64_t recordsStart = block.mOffset + ISF_BLOCK_SIZE;
        mDataEnd = recordsStart;
        bool unused = false;
        for (uint32_t slot = 0; slot < ISF_ENTRIES_PER_BLOCK; ++slot) {
            const uint64_t at = block.mOffset + static_cast<uint64_t>(slot) * ISF_ENTRY_SIZE;
            const unsigned int flags = mBytes[at + ISF_ENTRY_FLAGS];
            const uint64_t recordOffset = Get(at + ISF_ENTRY_RECORD_OFFSET, 4);
            const uint64_t length = Get(at + ISF_ENTRY_LENGTH, 2);
            if (flags == 0 && recordOffset == 0 && length == 0) {
                unused = true;
                continue;
            }
            if (unused) {
                Problem(at, "entry %u in use after an unused slot", slot);
                continue;
            }
            if (length == 0) {
                Problem(at, "entry %u has length 0", slot);
                continue;
            }
            ReadRecord(blockIndex, slot, at, flags, recordsStart + recordOffset, length);
            ++block.mUsed;
        }
    }

    void ReadRecord(uint32_t blockIndex, uint32_t slot, uint64_t entryAt, unsigned int flags, uint64_t record,
                    uint64_t length) {
        const sISFBlock& block = mFile.mBlocks[blockIndex];
        sISFItem item{};
        item.mBlock = blockIndex;
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
                    static_cast<unsigned long long>(record), static_cast<unsigned long long>(mDataEnd));
        }
        if (record > Size() || Size() - record < headerSize + length) {
            Problem(entryAt, "record of entry %u at %llu (%llu bytes) runs past the end of the file", slot,
                    static_cast<unsigned long long>(record),
                    static_cast<unsigned long long>(headerSize + length));
            mDataEnd = Size();
            return;
        }
        item.mTimeField = Get(record, width);
        if (item.mWidthCode == ISF_WIDTH_ABSOLUTE64) {
            item.mTimeMs = item.mTimeField;
        } else {
            const uint64_t allOnes = (width == 4) ? 0xFFFFFFFFULL : ((1ULL << (8 * width)) - 1);
            if (item.mTimeField == allOnes) {
                Problem(record, "time delta holds the all-ones value of its %u-byte field", width);
            }
            item.mTimeMs = block.mBaseMs + item.mTimeField;
        }
        if (item.mHasAux) {
            item.mAux = static_cast<uint32_t>(Get(record + width, 4));
            if (item.mAux == ISF_NO_AUX) {
                Problem(record + width, "auxiliary value holds the no-value marker");
            }
        } else {
            item.mAux = ISF_NO_AUX;
        }
        item.mPayloadOffset = record + headerSize;
        item.mPayload.assign(mBytes.begin() + static_cast<long>(item.mPayloadOffset),
                             mBytes.begin() + static_cast<long>(item.mPayloadOffset + length));
        mDataEnd = item.mPayloadOffset + length;
        mFile.mItems.push_back(std::move(item));
    }

    // What follows the last record: table and trailer of a closed file, or bytes of an unfinished write.
    void ReadEnd() {
        const uint64_t rest = Size() > mDataEnd ? Size() - mDataEnd : 0;
        const uint64_t blocks = mFile.mBlocks.size();
        const bool trailerMagic =
            rest >= ISF_TRAILER_SIZE &&
            Get(Size() - ISF_TRAILER_SIZE + ISF_TRAILER_MAGIC_OFFSET, 4) == ISF_TRAILER_MAGIC;
        if (!trailerMagic) {
            Unindexed(Size() - rest);
            return;
        }
        mFile.mClosed = true;
        const uint64_t trailer = Size() - ISF_TRAILER_SIZE;
        mFile.mTrailerCount = static_cast<uint32_t>(Get(trailer + ISF_TRAILER_COUNT_OFFSET, 4));
        if (rest != blocks * ISF_DESCRIPTOR_SIZE + ISF_TRAILER_SIZE) {
            Problem(mDataEnd,
                    "%llu bytes follow the last record; a table of %llu blocks and the trailer take %llu",
                    static_cast<unsigned long long>(rest), static_cast<unsigned long long>(blocks),
                    static_cast<unsigned long long>(blocks * ISF_DESCRIPTOR_SIZE + ISF_TRAILER_SIZE));
            return;
        }
        if (Get(trailer, 8) != 0) {
            Problem(trailer, "first trailer field is not zero");
        }
        if (mFile.mTrailerCount != mFile.mItems.size()) {
            Problem(trailer + ISF_TRAILER_COUNT_OFFSET, "trailer counts %u items, the index holds %zu",
                    mFile.mTrailerCount, mFile.mItems.size());
        }
        for (uint64_t i = 0; i < blocks; ++i) {
            const uint64_t at = mDataEnd + i * ISF_DESCRIPTOR_SIZE;
            const sISFBlock& block = mFile.mBlocks[i];
            if (Get(at, 8) != block.mOffset || Get(at + 8, 8) != block.mBaseMs) {
                Problem(at, "descriptor %llu says block %llu base %llu; the chain has block %llu base %llu",
                        static_cast<unsigned long long>(i), static_cast<unsigned long long>(Get(at, 8)),
                        static_cast<unsigned long long>(Get(at + 8, 8)),
                        static_cast<unsigned long long>(block.mOffset),
                        static_cast<unsigned long long>(block.mBaseMs));
            }
        }
    }

    const std::vector<unsigned char>& mBytes;
    sISFFile& mFile;
    uint64_t mDataEnd = ISF_HEADER_SIZE;  // end of the last block or record read
};

}  // namespace

sISFFile ReadISF(const std::vector<unsigned char>& bytes) {
    sISFFile file;
    cReader(bytes, file).Read();
    return file;
}

sISFFile ReadISFFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        sISFFile file;
        file.mProblems.push_back("cannot read " + path);
        return file;
    }
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                           std::istreambuf_iterator<char>());
    return ReadISF(bytes);
}
