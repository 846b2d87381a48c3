// One 7-byte index entry of an item store file and the encoder of its record header.
#pragma once

#include <cstdint>

#include "jni/ISFFormat.h"

class cIndex {
public:
    cIndex();  // all 7 bytes zero

    void SetItemType(unsigned int type);    // flag bits 0-4 = type & 31
    void SetRecordOffset(uint32_t offset);  // from the end of the entry's index block
    void SetLength(uint16_t length);        // payload bytes

    // Writes the record header into `out` (room for ISF_MAX_RECORD_HEADER_SIZE bytes): the time field of
    // `time` against the block base `baseMs` (narrowest delta, or the absolute milliseconds when the clock
    // went backwards or the delta needs 8 bytes), then `aux` unless it is ISF_NO_AUX. Sets the width bits
    // and, with an auxiliary value, bit 7 of the flags. Returns the header size: 1, 2, 4, 5, 6, 8 or 12.
    unsigned int SetAuxiliaryIndex(unsigned char* out, uint64_t baseMs, FILETIME time, uint32_t aux);

    unsigned char mEntry[ISF_ENTRY_SIZE];
};
