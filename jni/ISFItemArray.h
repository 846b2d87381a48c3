// The layouts of the byte arrays the Java side hands to the store (WriteItem and WriteItemWithTS):
//   plain:   protocol type (u32 LE), then the packet;
//   stamped: FILETIME of the item (u64 LE), protocol type (u32 LE), then the packet.
// Parsed without a JVM, so that the layouts are tested wherever the library builds.
#pragma once

#include <cstddef>

#include "jni/ISFFormat.h"

// Stands for the protocol type of an array too short to hold one; the store rejects it (status 22).
const unsigned int ISF_PROTOCOL_ABSENT = 0xFFFFFFFF;

const size_t ISF_ITEM_PREFIX_SIZE = 4;
const size_t ISF_STAMPED_ITEM_PREFIX_SIZE = 12;

// One array split into its fields. `mPacket` points into the array (not owned).
struct sItemArray {
    unsigned int mProtocol = ISF_PROTOCOL_ABSENT;
    FILETIME mTime = 0;  // 0 unless stamped
    const unsigned char* mPacket = nullptr;
    unsigned int mLength = 0;
};

// Splits the `size` bytes at `bytes` (`stamped`: the layout with a FILETIME). A prefix is read only when
// the array holds it; an array too short for its prefix gives ISF_PROTOCOL_ABSENT, no packet and length 0.
sItemArray ParseItemArray(const unsigned char* bytes, size_t size, bool stamped);
