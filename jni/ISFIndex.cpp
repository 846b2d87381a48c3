#include "jni/ISFIndex.h"

#include <cstring>

cIndex::cIndex() {
    memset(mEntry, 0, sizeof mEntry);
}

void cIndex::SetItemType(unsigned int type) {
    mEntry[ISF_ENTRY_FLAGS] = static_cast<unsigned char>((mEntry[ISF_ENTRY_FLAGS] & ~ISF_FLAG_TYPE_MASK) |
                                                         (type & ISF_FLAG_TYPE_MASK));
}

void cIndex::SetRecordOffset(uint32_t offset) {
    PutLE(mEntry + ISF_ENTRY_RECORD_OFFSET, offset, 4);
}

void cIndex::SetLength(uint16_t length) {
    PutLE(mEntry + ISF_ENTRY_LENGTH, length, 2);
}

unsigned int cIndex::SetAuxiliaryIndex(unsigned char* out, uint64_t baseMs, FILETIME time, uint32_t aux) {
    const uint64_t ms = time / FILETIME_UNITS_PER_MS;
    unsigned int width = ISF_WIDTH_ABSOLUTE64;
    uint64_t field = ms;
    if (ms >= baseMs) {
        const uint64_t delta = ms - baseMs;
        if (delta <= ISF_MAX_DELTA8) {
            width = ISF_WIDTH_DELTA8;
        } else if (delta <= ISF_MAX_DELTA16) {
            width = ISF_WIDTH_DELTA16;
        } else if (delta <= ISF_MAX_DELTA32) {
            width = ISF_WIDTH_DELTA32;
        }
        if (width != ISF_WIDTH_ABSOLUTE64) {
            field = delta;
        }
    }
    unsigned char& flags = mEntry[ISF_ENTRY_FLAGS];
    if (width == ISF_WIDTH_ABSOLUTE64) {
        flags |= ISF_FLAG_WIDTH_MASK;  // simply set: nothing narrower can be left over
    } else {
        flags = static_cast<unsigned char>((flags & ~ISF_FLAG_WIDTH_MASK) | (width << ISF_FLAG_WIDTH_SHIFT));
    }
    unsigned int size = ISF_TIME_FIELD_SIZE[width];
    PutLE(out, field, size);
    if (aux != ISF_NO_AUX) {
        PutLE(out + size, aux, ISF_AUX_SIZE);
        flags |= ISF_FLAG_AUX;  // only ever set, never cleared
        size += ISF_AUX_SIZE;
    }
    return size;
}
