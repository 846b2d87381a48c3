#include "overview/SeriesDecimator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

// The non-empty buckets of a series as "index:minimum..maximum/count=sum", space-separated.
std::string Used(const cSeriesDecimator& decimator, size_t series) {
    std::ostringstream out;
    for (size_t i = 0; i < decimator.BucketCount(); ++i) {
        if (decimator.Count(series)[i] != 0) {
            out << (out.tellp() > 0 ? " " : "") << i << ':' << decimator.Minimum(series)[i] << ".."
                << decimator.Maximum(series)[i] << '/' << decimator.Count(series)[i] << '='
                << decimator.Sum(series)[i];
        }
    }
    return out.str();
}

// Grid doubling, worked by hand from eight values at `start`..`start`+7: a value past the end merges buckets
// 2j, 2j+1 into j; one before the origin moves it back by the old span into the upper half. One grid for all.
TEST(SeriesDecimator, TheGridDoublesUntilAValueFits) {
    const double kEight[] = {-90, -95, -80, -85, -100, -70, -60, -65};
    const struct {
        int64_t mStart;
        std::vector<std::tuple<size_t, int64_t, double>> mThen;  // series, time, value
        const char* mGrid;  // origin, width, first and last time | series 0 | series 1
    } cases[] = {
        {0,
         {{0, 8, -75}},
         "0 2 0..8 | 0:-95..-90/2=-185 1:-85..-80/2=-165 2:-100..-70/2=-170 3:-65..-60/2=-125 "
         "4:-75..-75/1=-75 | "},
        // 41 ms need width 8: 8 buckets of 4 end at 32.
        {0,
         {{0, 8, -75}, {0, 40, -50}},
         "0 8 0..40 | 0:-100..-60/8=-645 1:-75..-75/1=-75 5:-50..-50/1=-50 | "},
        {100,
         {{0, 99, -1}},
         "92 2 99..107 | 3:-1..-1/1=-1 4:-95..-90/2=-185 5:-85..-80/2=-165 6:-100..-70/2=-170 "
         "7:-65..-60/2=-125 | "},
        {0,
         {{1, 3, -50}, {1, 12, -60}},
         "0 2 0..12 | 0:-95..-90/2=-185 1:-85..-80/2=-165 2:-100..-70/2=-170 3:-65..-60/2=-125 | "
         "1:-50..-50/1=-50 6:-60..-60/1=-60"},
    };
    for (const auto& c : cases) {
        cSeriesDecimator decimator(8, 3);
        decimator.NewSeries();
        decimator.NewSeries();
        for (int64_t i = 0; i < 8; ++i) {
            ASSERT_TRUE(decimator.Add(0, c.mStart + i, kEight[i]));
        }
        for (const auto& add : c.mThen) {
            ASSERT_TRUE(decimator.Add(std::get<0>(add), std::get<1>(add), std::get<2>(add)));
        }
        std::ostringstream grid;
        grid << decimator.Origin() << ' ' << decimator.Width() << ' ' << decimator.FirstMs() << ".."
             << decimator.LastMs() << " | " << Used(decimator, 0) << " | " << Used(decimator, 1);
        EXPECT_EQ(grid.str(), c.mGrid);
        // A series begun later starts empty on the same grid.
        ASSERT_EQ(decimator.NewSeries(), 2);
        EXPECT_EQ(Used(decimator, 2), "");
    }
}

// Whatever order the values come in (times going back, as at the seams of a recording of copies of one
// capture) and however often the grid grows, every bucket holds exactly the values whose time it covers.
TEST(SeriesDecimator, EveryBucketHoldsTheExtremesSumAndCountOfItsValues) {
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
            const double v = level(random) / 16.0;                // sums of sixteenths are exact
            ASSERT_TRUE(decimator.Add(series, t, v));
            values[series].push_back({t, v});
        }
        for (size_t series = 0; series < 2; ++series) {
            std::vector<double> minimum(buckets, INFINITY);
            std::vector<double> maximum(buckets, -INFINITY);
            std::vector<double> sum(buckets, 0);
            std::vector<uint32_t> count(buckets, 0);
            for (const auto& value : values[series]) {
                ASSERT_GE(value.first, decimator.Origin());
                const size_t at = static_cast<size_t>((value.first - decimator.Origin()) / decimator.Width());
                ASSERT_LT(at, buckets);
                minimum[at] = std::min(minimum[at], value.second);
                maximum[at] = std::max(maximum[at], value.second);
                sum[at] += value.second;
                ++count[at];
            }
            const cSeriesDecimator& d = decimator;
            EXPECT_EQ(std::vector<double>(d.Minimum(series), d.Minimum(series) + buckets), minimum);
            EXPECT_EQ(std::vector<double>(d.Maximum(series), d.Maximum(series) + buckets), maximum);
            EXPECT_EQ(std::vector<double>(d.Sum(series), d.Sum(series) + buckets), sum);
            EXPECT_EQ(std::vector<uint32_t>(d.Count(series), d.Count(series) + buckets), count);
        }
    }
}

// A million values over about twelve days: the grid stays 1024 buckets, now of 2^20 ms (the smallest power
// of two times 1 ms with 1024 buckets over 10^6 · 997 ms), and the one dip survives in its bucket.
TEST(SeriesDecimator, LongSeriesKeepTheirBucketsAndTheirExtremes) {
    cSeriesDecimator decimator(1024, 1);
    decimator.NewSeries();
    for (int64_t i = 0; i < 1000000; ++i) {
        decimator.Add(0, i * 997, i == 654321 ? -140.0 : -90.0 + static_cast<double>(i % 7));
    }
    EXPECT_EQ(decimator.BucketCount(), 1024u);
    EXPECT_EQ(decimator.Width(), int64_t{1} << 20);
    uint64_t count = 0;
    double maximum = -200;
    for (size_t i = 0; i < 1024; ++i) {
        count += decimator.Count(0)[i];
        maximum = std::max(maximum, decimator.Maximum(0)[i]);
    }
    EXPECT_EQ(count, 1000000u);
    EXPECT_EQ(maximum, -84);
    EXPECT_EQ(decimator.Minimum(0)[654321 * 997 / (int64_t{1} << 20)], -140);
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
    EXPECT_EQ(Used(decimator, 1), "");
    // Far, but within about 35 years of buckets: kept.
    EXPECT_TRUE(decimator.Add(1, 1605527780445 - 86400000LL * 365 * 20, -80));
}

}  // namespace
