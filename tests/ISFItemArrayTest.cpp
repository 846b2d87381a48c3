// The byte arrays of the Java methods WriteItem and WriteItemWithTS, split without a JVM, and what the store
// answers to each.
#include "jni/ISFItemArray.h"

#include <gtest/gtest.h>

#include <vector>

#include "jni/ISFStore.h"

namespace {

using Bytes = std::vector<unsigned char>;

TEST(ISFItemArray, PrefixesAreReadOnlyWhenTheArrayHoldsThem) {
    const unsigned int kAbsent = 0xFFFFFFFF;
    // 116444736000000000 (1970-01-01 as a FILETIME) = 0x019DB1DED53E8000, little-endian.
    const Bytes unixEpoch = {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01};
    const auto stamped = [&](const Bytes& rest) {
        Bytes array = unixEpoch;
        array.insert(array.end(), rest.begin(), rest.end());
        return array;
    };
    struct {
        const char* mName;
        bool mStamped;
        Bytes mArray;
        unsigned int mProtocol;
        FILETIME mTime;
        Bytes mPacket;
        unsigned int mStatus;  // of the store with no file open
    } const cases[] = {
        {"protocol and packet", false, {4, 0, 0, 0, 0x4B, 0x12}, 4, 0, {0x4B, 0x12}, 0},
        {"protocol 514", false, {0x02, 0x02, 0, 0, 0x60}, 514, 0, {0x60}, 0},
        {"protocol only", false, {3, 0, 0, 0}, 3, 0, {}, 22},
        {"too short for the protocol", false, {3, 0, 0}, kAbsent, 0, {}, 22},
        {"empty", false, {}, kAbsent, 0, {}, 22},
        {"time, protocol and packet",
         true,
         stamped({3, 0, 0, 0, 0x10, 0x00}),
         3,
         116444736000000000ULL,
         {0x10, 0x00},
         0},
        {"time and protocol only", true, stamped({3, 0, 0, 0}), 3, 116444736000000000ULL, {}, 22},
        {"too short for the stamped prefix", true, stamped({3, 0, 0}), kAbsent, 0, {}, 22},
        {"a plain array read as stamped", true, {3, 0, 0, 0, 0x4B, 0x12}, kAbsent, 0, {}, 22},
    };
    cISFStore store;
    for (const auto& c : cases) {
        const sItemArray item = ParseItemArray(c.mArray.data(), c.mArray.size(), c.mStamped);
        EXPECT_EQ(item.mProtocol, c.mProtocol) << c.mName;
        EXPECT_EQ(item.mTime, c.mTime) << c.mName;
        EXPECT_EQ(Bytes(item.mPacket, item.mPacket + item.mLength), c.mPacket) << c.mName;
        EXPECT_EQ(store.WriteItem(item.mProtocol, item.mLength, item.mPacket, item.mTime), c.mStatus)
            << c.mName;
    }
}

}  // namespace
