#include "jni/ISFIndexBlocks.h"

#include <cstring>
#include <new>

cISFIndexBlocks::~cISFIndexBlocks() {
    delete[] mBlocks;
}

bool cISFIndexBlocks::Append(const sIndexBlockInfo& block) {
    if (mCount == mCapacity) {
        const uint32_t capacity = mCapacity == 0 ? 8 : mCapacity * 2;
        sIndexBlockInfo* grown = new (std::nothrow) sIndexBlockInfo[capacity];
        if (grown == nullptr) {
            return false;
        }
        if (mCount != 0) {
            memcpy(grown, mBlocks, mCount * sizeof(sIndexBlockInfo));
        }
        delete[] mBlocks;
        mBlocks = grown;
        mCapacity = capacity;
    }
    mBlocks[mCount++] = block;
    return true;
}
