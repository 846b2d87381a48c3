#include "tables/ColumnArray.h"

#include <sys/mman.h>

#include <cstring>

namespace {

// The mapping's length is kept in front of the values, so that the receiver frees it with the values'
// address alone; 64 bytes keep the values aligned for any type and for vector loads.
const size_t kHeaderSize = 64;

unsigned char* MappingOf(unsigned char* data) {
    return data - kHeaderSize;
}

size_t LengthOf(unsigned char* data) {
    size_t length = 0;
    memcpy(&length, MappingOf(data), sizeof length);
    return length;
}

}  // namespace

void FreeColumnArray(void* data) {
    if (data != nullptr) {
        unsigned char* values = static_cast<unsigned char*>(data);
        munmap(MappingOf(values), LengthOf(values));
    }
}

bool cColumnMapping::Reserve(size_t bytes) {
    if (bytes <= mCapacity) {
        return true;
    }
    const size_t page = 4096;
    const size_t length = (bytes + kHeaderSize + page - 1) / page * page;
    void* mapping = MAP_FAILED;
    if (mData == nullptr) {
        mapping = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    } else {
        mapping = mremap(MappingOf(mData), LengthOf(mData), length, MREMAP_MAYMOVE);
    }
    if (mapping == MAP_FAILED) {
        return false;
    }
    memcpy(mapping, &length, sizeof length);
    mData = static_cast<unsigned char*>(mapping) + kHeaderSize;
    mCapacity = length - kHeaderSize;
    return true;
}

void cColumnMapping::Discard(size_t bytes) {
    const uintptr_t page = 4096;
    const uintptr_t mapping = reinterpret_cast<uintptr_t>(MappingOf(mData));
    const uintptr_t end = (reinterpret_cast<uintptr_t>(mData) + bytes) / page * page;
    if (mData != nullptr && end > mapping) {
        madvise(reinterpret_cast<void*>(mapping), end - mapping, MADV_DONTNEED);
        // The length in front of the values went with the first page.
        const size_t length = (mCapacity + kHeaderSize);
        memcpy(MappingOf(mData), &length, sizeof length);
    }
}

unsigned char* cColumnMapping::Release() {
    unsigned char* data = mData;
    mData = nullptr;
    mCapacity = 0;
    return data;
}
