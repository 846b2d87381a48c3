// The record-header encoder of an index entry, and the conversion to the diagnostic time format; expected
// bytes worked out by hand.
#include "jni/ISFIndex.h"

#include <gtest/gtest.h>

#include <vector>

#include "jni/ISFStore.h"

namespace {

using Bytes = std::vector<unsigned char>;

const uint64_t kBaseMs = 13222310400000ULL;  // 2020-01-01 00:00:00 UTC in ms since 1601

TEST(cIndex, SetAuxiliaryIndexWritesTheHeaderAndSetsTheFlags) {
    struct {
        int64_t mDeltaMs;
        uint32_t mAux;
        unsigned char mFlagsBefore;
        Bytes mHeader;  // worked out by hand, little-endian
        unsigned char mFlagsAfter;
    } const cases[] = {
        {0, 0xFFFFFFFF, 0x05, {0x00}, 0x05},
        {254, 0xFFFFFFFF, 0x05, {0xFE}, 0x05},  // the widest delta of each width is one below all ones
        {255, 0xFFFFFFFF, 0x05, {0xFF, 0x00}, 0x25},
        {65534, 0xFFFFFFFF, 0x00, {0xFE, 0xFF}, 0x20},
        {65535, 0xFFFFFFFF, 0x00, {0xFF, 0xFF, 0x00, 0x00}, 0x40},
        {4294967294LL, 0xFFFFFFFF, 0x00, {0xFE, 0xFF, 0xFF, 0xFF}, 0x40},
        // Too wide for a delta: the absolute milliseconds 13226605367295 = 0x0C07_8F1D_4FFF.
        {4294967295LL, 0xFFFFFFFF, 0x00, {0xFF, 0x4F, 0x1D, 0x8F, 0x07, 0x0C, 0, 0}, 0x60},
        // Backwards: 13222310399999 = 0x0C06_8F1D_4FFF, absolute.
        {-1, 0xFFFFFFFF, 0x08, {0xFF, 0x4F, 0x1D, 0x8F, 0x06, 0x0C, 0, 0}, 0x68},
        {300, 0x01020304, 0x09, {0x2C, 0x01, 0x04, 0x03, 0x02, 0x01}, 0xA9},
        {-1, 0, 0x00, {0xFF, 0x4F, 0x1D, 0x8F, 0x06, 0x0C, 0, 0, 0, 0, 0, 0}, 0xE0},
        // Narrow widths clear stale width bits; bit 7 is never cleared.
        {1, 0xFFFFFFFF, 0xE3, {0x01}, 0x83},
        {300, 0xFFFFFFFF, 0xC3, {0x2C, 0x01}, 0xA3},
    };
    for (const auto& c : cases) {
        cIndex entry;
        entry.mEntry[0] = c.mFlagsBefore;
        unsigned char out[12] = {};
        const unsigned int size =
            entry.SetAuxiliaryIndex(out, kBaseMs, (kBaseMs + c.mDeltaMs) * 10000, c.mAux);
        EXPECT_EQ(Bytes(out, out + size), c.mHeader) << "delta " << c.mDeltaMs;
        EXPECT_EQ(entry.mEntry[0], c.mFlagsAfter) << "delta " << c.mDeltaMs;
    }
}

TEST(FiletimeToCDMA, CountsPeriodsAndFractionsSince1980January6) {
    const unsigned long long epoch = 119604384000000000ULL;
    struct {
        FILETIME mTime;
        unsigned long long mCDMA;
    } const cases[] = {
        {epoch - 1, 0},
        {epoch, 0},
        {epoch + 1, 3},               // 12288 / 3125
        {epoch + 12499, 49148},       // the largest fraction
        {epoch + 12500, 1ULL << 16},  // one whole 1.25 ms period
    };
    for (const auto& c : cases) {
        unsigned long long out = 12345;
        FiletimeToCDMA(c.mTime, out);
        EXPECT_EQ(out, c.mCDMA) << c.mTime;
        if (c.mTime >= epoch) {
            EXPECT_EQ(CDMAToFiletime(c.mCDMA), c.mTime) << c.mTime;  // the inverse, where it is one-to-one
        }
    }
}

// The first log packet of a real capture (Apache-2.0): header time 0x00D111A5C293A78E is
// 2015-08-01 02:11:40.984841 UTC by the published reading (1.25 ms ticks, 1/49152 fractions).
TEST(CDMAToFiletime, ReadsARealLogHeaderTime) {
    const FILETIME unix2015 = 1438395100ULL * 10000000ULL + FILETIME_UNIX_EPOCH;  // 2015-08-01 02:11:40
    EXPECT_EQ(CDMAToFiletime(0x00D111A5C293A78EULL) - unix2015, 9848408ULL);      // .9848408 s, in 100 ns
    EXPECT_EQ(CDMAToFiletime(0xFFFF) - CDMAToFiletime(0), 12499ULL);  // a fraction past 49148: last step
}

}  // namespace
