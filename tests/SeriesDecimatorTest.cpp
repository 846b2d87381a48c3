#include "overview/SeriesDecimator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

// The non-empty buckets of a series as {index, minimum, maximum, count}.
struct sUsed {
    size_t mIndex;
    double mMinimum;
    double mMaximum;
    uint32_t mCount;
};

std::vector<sUsed> Used(const cSeriesDecimator& decimator, size_t series) {
    std::vector<sUsed> used;
    for (size_t i = 0; i < decimator.BucketCount(); ++i) {
        if (decimator.Count(series)[i] != 0) {
            used.push_back(
                {i, decimator.Minimum(series)[i], decimator.Maximum(series)[i], decimator.Count(series)[i]});
        }
    }
    return used;
}

void ExpectUsed(const cSeriesDecimator& decimator, size_t series, const std::vector<sUsed>& expected) {
    const std::vector<sUsed> used = Used(decimator, series);
    ASSERT_EQ(used.size(), expected.size());
    for (size_t i = 0; i < used.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(used[i].mIndex, expected[i].mIndex);
        EXPECT_EQ(used[i].mMinimum, expected[i].mMinimum);
        EXPECT_EQ(used[i].mMaximum, expected[i].mMaximum);
        EXPECT_EQ(used[i].mCount, expected[i].mCount);
    }
}

// A value past the grid doubles the width, merging buckets 2j and 2j+1 into j (worked by hand).
TEST(SeriesDecimator, GrowingToTheRightMergesPairs) {
    cSeriesDecimator decimator(8, 1);
    decimator.NewSeries();
    // The first value fixes the origin; buckets are 1 ms wide until the span needs more.
    const double values[8] = {-90, -95, -80, -85, -100, -70, -60, -65};
    for (int64_t t = 0; t < 8; ++t) {
        decimator.Add(0, t, values[t]);
    }
    ASSERT_TRUE(decimator.Add(0, 8, -75));  // one past the end: width 2, origin unchanged
    EXPECT_EQ(decimator.Origin(), 0);
    EXPECT_EQ(decimator.Width(), 2);
    ExpectUsed(decimator, 0,
               {{0, -95, -90, 2}, {1, -85, -80, 2}, {2, -100, -70, 2}, {3, -65, -60, 2}, {4, -75, -75, 1}});

    ASSERT_TRUE(decimator.Add(0, 40, -50));  // needs 41 ms: width 8 (8 buckets of 4 would end at 32)
    EXPECT_EQ(decimator.Width(), 8);
    ExpectUsed(decimator, 0, {{0, -100, -60, 8}, {1, -75, -75, 1}, {5, -50, -50, 1}});
}

// A value before the grid moves the origin back by the old span and doubles the width; the old buckets
// merge into the upper half.
TEST(SeriesDecimator, GrowingToTheLeftMovesTheOrigin) {
    cSeriesDecimator decimator(8, 1);
    decimator.NewSeries();
    for (int64_t t = 0; t < 8; ++t) {
        decimator.Add(0, 100 + t, static_cast<double>(t));
    }
    ASSERT_TRUE(decimator.Add(0, 99, -1));
    EXPECT_EQ(decimator.Origin(), 92);  // 100 - 8 buckets of 1 ms
    EXPECT_EQ(decimator.Width(), 2);
    // 99 is in [98, 100): bucket 3; 100..107 pair up into buckets 4..7.
    ExpectUsed(decimator, 0, {{3, -1, -1, 1}, {4, 0, 1, 2}, {5, 2, 3, 2}, {6, 4, 5, 2}, {7, 6, 7, 2}});
    EXPECT_EQ(decimator.FirstMs(), 99);
    EXPECT_EQ(decimator.LastMs(), 107);
}

// Whatever order the values come in (times going back, as at the seams of a recording of copies of one
// capture) and however often the grid grows, every bucket holds exactly the values whose time it covers:
// checked against the values themselves.
TEST(SeriesDecimator, EveryBucketHoldsTheExtremesOfItsValues) {
    std::mt19937 random(1);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        const size_t buckets = 2 + 2 * (random() % 40);
        cSeriesDecimator decimator(buckets, 2);
        decimator.NewSeries();
        decimator.NewSeries();
        std::vector<std::pair<int64_t, double>> values[2];
        std::uniform_int_distribution<int64_t> time(-5000000, 5000000);
        std::uniform_int_distribution<int> level(-144 * 16, -44 * 16);
        for (int i = 0; i < 3000; ++i) {
            const size_t series = random() % 2;
            const int64_t t = i < 100 ? 1000 + i : time(random);  // dense at first, then anywhere
            const double v = level(random) / 16.0;
            ASSERT_TRUE(decimator.Add(series, t, v));
            values[series].push_back({t, v});
        }
        for (size_t series = 0; series < 2; ++series) {
            std::vector<sUsed> expected(buckets, {0, std::numeric_limits<double>::infinity(),
                                                  -std::numeric_limits<double>::infinity(), 0});
            for (const auto& value : values[series]) {
                ASSERT_GE(value.first, decimator.Origin());
                const size_t at = static_cast<size_t>((value.first - decimator.Origin()) / decimator.Width());
                ASSERT_LT(at, buckets);
                expected[at].mMinimum = std::min(expected[at].mMinimum, value.second);
                expected[at].mMaximum = std::max(expected[at].mMaximum, value.second);
                ++expected[at].mCount;
            }
            for (size_t i = 0; i < buckets; ++i) {
                EXPECT_EQ(decimator.Count(series)[i], expected[i].mCount) << i;
                EXPECT_EQ(decimator.Minimum(series)[i], expected[i].mMinimum) << i;
                EXPECT_EQ(decimator.Maximum(series)[i], expected[i].mMaximum) << i;
            }
        }
    }
}

// A million values over about twelve days: the grid is 1024 buckets of 2^20 ms (the smallest power of two
// times 1 ms with 1024 buckets over 10^6 · 997 ms), the one dip survives, and the memory is the same as
// for the first value.
TEST(SeriesDecimator, LongSeriesKeepTheirBucketsAndTheirExtremes) {
    cSeriesDecimator decimator(1024, 1);
    decimator.NewSeries();
    for (int64_t i = 0; i < 1000000; ++i) {
        decimator.Add(0, i * 997, i == 654321 ? -140.0 : -90.0 + static_cast<double>(i % 7));
    }
    EXPECT_EQ(decimator.BucketCount(), 1024u);
    EXPECT_EQ(decimator.Width(), int64_t{1} << 20);
    uint64_t count = 0;
    double minimum = 0;
    double maximum = -200;
    for (size_t i = 0; i < 1024; ++i) {
        count += decimator.Count(0)[i];
        minimum = std::min(minimum, decimator.Minimum(0)[i]);
        maximum = std::max(maximum, decimator.Maximum(0)[i]);
    }
    EXPECT_EQ(count, 1000000u);
    EXPECT_EQ(minimum, -140);
    EXPECT_EQ(maximum, -84);
    const size_t dip = static_cast<size_t>(654321 * 997 / (int64_t{1} << 20));
    EXPECT_EQ(decimator.Minimum(0)[dip], -140);
}

TEST(SeriesDecimator, RefusesWhatItCannotKeep) {
    cSeriesDecimator decimator(7, 2);  // rounded up to 8 buckets
    EXPECT_EQ(decimator.BucketCount(), 8u);
    EXPECT_FALSE(decimator.Add(0, 0, -90));  // no series yet
    EXPECT_EQ(decimator.NewSeries(), 0);
    EXPECT_EQ(decimator.NewSeries(), 1);
    EXPECT_EQ(decimator.NewSeries(), -1);  // at most 2
    EXPECT_FALSE(decimator.Add(2, 0, -90));
    EXPECT_FALSE(decimator.Add(0, 0, std::nan("")));
    EXPECT_FALSE(decimator.HasValues());

    ASSERT_TRUE(decimator.Add(0, 1605527780445, -90));
    // A time 2^61 ms away needs buckets wider than kMaxWidthMs: refused, the grid as it was.
    EXPECT_FALSE(decimator.Add(1, 1605527780445 + (int64_t{1} << 61), -80));
    EXPECT_FALSE(decimator.Add(1, std::numeric_limits<int64_t>::min(), -80));
    EXPECT_EQ(decimator.Width(), 1);
    EXPECT_EQ(decimator.Origin(), 1605527780445);
    EXPECT_TRUE(Used(decimator, 1).empty());
    // Far, but within about 35 years of buckets: kept.
    EXPECT_TRUE(decimator.Add(1, 1605527780445 - 86400000LL * 365 * 20, -80));
}

TEST(SeriesDecimator, SeriesShareTheGridButNotTheirValues) {
    cSeriesDecimator decimator(4, 3);
    decimator.NewSeries();
    decimator.NewSeries();
    decimator.Add(0, 0, -100);
    decimator.Add(1, 3, -50);
    decimator.Add(1, 6, -60);  // widens both series' buckets
    EXPECT_EQ(decimator.Width(), 2);
    ExpectUsed(decimator, 0, {{0, -100, -100, 1}});
    ExpectUsed(decimator, 1, {{1, -50, -50, 1}, {3, -60, -60, 1}});
    // A series begun later starts empty on the same grid.
    ASSERT_EQ(decimator.NewSeries(), 2);
    EXPECT_TRUE(Used(decimator, 2).empty());
    decimator.Add(2, 5, -70);
    ExpectUsed(decimator, 2, {{2, -70, -70, 1}});
}

}  // namespace
