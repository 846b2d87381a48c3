// The byte arrays of the Java methods WriteItem and WriteItemWithTS, split without a JVM, and what the store
// (with no file open) answers to each.
#include "jni/ISFItemArray.h"

#include <gtest/gtest.h>

#include <vector>

#include "jni/ISFStore.h"

namespace {

using Bytes = std::vector<unsigned char>;

TEST(ISFItemArray, PrefixesAreReadOnlyWhenTheArrayHoldsThem) {
    const unsigned int kAbsent = 0xFFFFFFFF;
    // 1970-01-01 as a FILETIME, 0x019DB1DED53E8000: little-endian in the stamped arrays below.
    const FILETIME kUnixEpoch = 116444736000000000ULL;
    struct {
        bool mStamped;
        Bytes mArray;
        unsigned int mProtocol;
        FILETIME mTime;
        Bytes mPacket;
        unsigned int mStatus;
    } const cases[] = {
        {false, {0x02, 0x02, 0, 0, 0x4B, 0x12}, 514, 0, {0x4B, 0x12}, 0},
        {false, {3, 0, 0, 0}, 3, 0, {}, 22},  // protocol only
        {false, {3, 0, 0}, kAbsent, 0, {}, 22},
        {true, {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01, 4, 0, 0, 0, 0x10}, 4, kUnixEpoch, {0x10}, 0},
        {true, {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01, 3, 0, 0, 0}, 3, kUnixEpoch, {}, 22},
        {true, {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01, 3, 0, 0}, kAbsent, 0, {}, 22},
    };
    cISFStore store;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const sItemArray item = ParseItemArray(c.mArray.data(), c.mArray.size(), c.mStamped);
        EXPECT_EQ(item.mProtocol, c.mProtocol);
        EXPECT_EQ(item.mTime, c.mTime);
        EXPECT_EQ(Bytes(item.mPacket, item.mPacket + item.mLength), c.mPacket);
        EXPECT_EQ(store.WriteItem(item.mProtocol, item.mLength, item.mPacket, item.mTime), c.mStatus);
    }
}

}  // namespace
