// The index blocks of the open item store file, in file order: a growable array that reports a failure to
// grow instead of throwing.
#pragma once

#include <cstdint>

// One index block of the open file.
struct sIndexBlockInfo {
    uint64_t mOffset;  // file offset of the block
    uint64_t mBaseMs;  // block base time, milliseconds since 1601
};

class cISFIndexBlocks {
public:
    cISFIndexBlocks() {}
    ~cISFIndexBlocks();

    // Appends `block`; false (and nothing changed) when memory runs out.
    bool Append(const sIndexBlockInfo& block);
    // Forgets every block; the memory is kept for the next file.
    void Clear() { mCount = 0; }

    uint32_t Count() const { return mCount; }
    // Block `i` (below Count()), and the current (last) block of a non-empty array.
    const sIndexBlockInfo& operator[](uint32_t i) const { return mBlocks[i]; }
    const sIndexBlockInfo& Last() const { return mBlocks[mCount - 1]; }

    cISFIndexBlocks(const cISFIndexBlocks&) = delete;
    cISFIndexBlocks& operator=(const cISFIndexBlocks&) = delete;

private:
    sIndexBlockInfo* mBlocks = nullptr;  // owned, mCapacity elements
    uint32_t mCount = 0;
    uint32_t mCapacity = 0;
};
