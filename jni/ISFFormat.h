// Layout of the item store file (ISF): every number of the format, shared by the writer, the reader in
// tools/ and the tests. All integers in the file are little-endian; nothing is aligned or padded.
//
//   header (4) | index block (57360) | records... | index block | records... | table (16 per block) | trailer
//   (16)
//
// The table and the trailer exist only in a file that was closed.
#pragma once

#include <cstdint>

// Timestamp of an item: 100-nanosecond units since 1601-01-01 00:00 UTC.
typedef unsigned long long FILETIME;

const unsigned long long FILETIME_UNITS_PER_MS = 10000;
// FILETIME of 1970-01-01 00:00:00 UTC.
const unsigned long long FILETIME_UNIX_EPOCH = 116444736000000000ULL;

// File header, written once at offset 0.
const uint32_t ISF_HEADER_MAGIC = 0xAB603108;
const uint32_t ISF_HEADER_SIZE = 4;
const uint64_t ISF_FIRST_BLOCK_OFFSET = ISF_HEADER_SIZE;

// Index block: 8192 entries of 7 bytes, then the next-block offset and the block base time (ms).
const uint32_t ISF_ENTRIES_PER_BLOCK = 8192;
const uint32_t ISF_ENTRY_SIZE = 7;
const uint32_t ISF_BLOCK_NEXT_OFFSET = ISF_ENTRIES_PER_BLOCK * ISF_ENTRY_SIZE;  // 57344
const uint32_t ISF_BLOCK_BASE_TIME_OFFSET = ISF_BLOCK_NEXT_OFFSET + 8;          // 57352
const uint32_t ISF_BLOCK_SIZE = ISF_BLOCK_BASE_TIME_OFFSET + 8;                 // 57360 (0xE010)

// Index entry: flags, record offset from the end of its block (u32), payload length (u16).
const uint32_t ISF_ENTRY_FLAGS = 0;
const uint32_t ISF_ENTRY_RECORD_OFFSET = 1;
const uint32_t ISF_ENTRY_LENGTH = 5;
const unsigned char ISF_FLAG_TYPE_MASK = 0x1F;   // bits 0-4: item type
const unsigned char ISF_FLAG_WIDTH_MASK = 0x60;  // bits 5-6: width code of the time field
const unsigned int ISF_FLAG_WIDTH_SHIFT = 5;
const unsigned char ISF_FLAG_AUX = 0x80;  // bit 7: an auxiliary value follows the time field

// Width codes of a record's time field. Codes 0-2 hold a delta from the block base time; code 3 holds
// the item's milliseconds themselves.
const unsigned int ISF_WIDTH_DELTA8 = 0;
const unsigned int ISF_WIDTH_DELTA16 = 1;
const unsigned int ISF_WIDTH_DELTA32 = 2;
const unsigned int ISF_WIDTH_ABSOLUTE64 = 3;
const unsigned int ISF_TIME_FIELD_SIZE[4] = {1, 2, 4, 8};
// Largest delta each narrow width holds: the all-ones value of each width is never used as a delta.
const uint64_t ISF_MAX_DELTA8 = 254;
const uint64_t ISF_MAX_DELTA16 = 65534;
const uint64_t ISF_MAX_DELTA32 = 4294967294ULL;

// Auxiliary value of a record: 4 bytes after the time field; this value means "none".
const uint32_t ISF_NO_AUX = 0xFFFFFFFF;
const uint32_t ISF_AUX_SIZE = 4;
// Longest record header: 8-byte time field and the auxiliary value.
const uint32_t ISF_MAX_RECORD_HEADER_SIZE = 8 + ISF_AUX_SIZE;

// Index-block descriptor of the closing table: block file offset (u64), block base time in ms (u64).
const uint32_t ISF_DESCRIPTOR_SIZE = 16;

// Trailer: u64 zero, u32 item count, u32 magic (differs from the header magic only in its lowest byte).
const uint32_t ISF_TRAILER_SIZE = 16;
const uint32_t ISF_TRAILER_COUNT_OFFSET = 8;
const uint32_t ISF_TRAILER_MAGIC_OFFSET = 12;
const uint32_t ISF_TRAILER_MAGIC = 0xAB603107;

// Little-endian fields at any byte address.
inline void PutLE(unsigned char* out, uint64_t value, unsigned int size) {
    for (unsigned int i = 0; i < size; ++i) {
        out[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

inline uint64_t GetLE(const unsigned char* in, unsigned int size) {
    uint64_t value = 0;
    for (unsigned int i = size; i > 0; --i) {
        value = (value << 8) | in[i - 1];
    }
    return value;
}
