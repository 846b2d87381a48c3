// Series of values over time, cut down for a picture while a capture streams through. Every series has the
// same fixed number of time buckets on one time grid; a bucket keeps the minimum, maximum, sum and count of
// the values that fell in it. When a value falls outside the grid, the bucket width doubles and neighbouring
// buckets merge in pairs until it fits: the memory is fixed by the number of buckets and series whatever
// the capture's length, and each bucket still holds the true extremes of its values, so a picture drawn from
// it (a bucket a pixel) loses no peak and no dip.
//
// Times may come in any order (a recording of several captures one after another goes back in time at each
// seam): a value before the grid grows it to the left the same way. One decimator per reading; not
// thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class cSeriesDecimator {
public:
    // `buckets` per series: an even number, at least 2 (other values are rounded up to one). `maxSeries`:
    // NewSeries refuses more.
    cSeriesDecimator(size_t buckets, size_t maxSeries);

    // A new, empty series: its index, or -1 when `maxSeries` are in use or memory ran out.
    long NewSeries();
    // One value of series `series` (an index NewSeries gave) at `timeMs` (milliseconds, any epoch). False
    // when the value is not kept: a series that does not exist, a value that is not a number, or a time so
    // far from the others that the grid would span more than kMaxWidthMs a bucket.
    bool Add(size_t series, int64_t timeMs, double value);

    size_t SeriesCount() const { return mSeries; }
    size_t BucketCount() const { return mBuckets; }
    // The grid: bucket i covers [Origin() + i·Width(), Origin() + (i+1)·Width()). Before the first value:
    // origin 0, width 1.
    int64_t Origin() const { return mOrigin; }
    int64_t Width() const { return mWidth; }
    // Whether any value was kept, and the earliest and latest time of those kept.
    bool HasValues() const { return mHasValues; }
    int64_t FirstMs() const { return mFirstMs; }
    int64_t LastMs() const { return mLastMs; }

    // The BucketCount() buckets of series `series`, each array in grid order; an empty bucket has count 0,
    // minimum +infinity, maximum -infinity and sum 0. Valid until the next Add or NewSeries.
    const double* Minimum(size_t series) const { return &mMinimum[series * mBuckets]; }
    const double* Maximum(size_t series) const { return &mMaximum[series * mBuckets]; }
    const double* Sum(size_t series) const { return &mSum[series * mBuckets]; }
    const uint32_t* Count(size_t series) const { return &mCount[series * mBuckets]; }

    // Widest bucket the grid grows to (about 35 years): a time further out is refused, not allowed to squash
    // every other value into one bucket.
    static const int64_t kMaxWidthMs = int64_t{1} << 40;

private:
    // Doubles the bucket width, merging buckets 2j and 2j+1. Growing to the right the origin stays and the
    // merged buckets fill the lower half; growing to the left the origin moves back by the old span and they
    // fill the upper half.
    void Grow(bool toLeft);
    void ClearBucket(size_t at);
    void MergeInto(size_t to, size_t from);

    size_t mBuckets;
    size_t mMaxSeries;
    size_t mSeries = 0;
    int64_t mOrigin = 0;
    int64_t mWidth = 1;
    bool mHasValues = false;
    int64_t mFirstMs = 0;
    int64_t mLastMs = 0;
    // Series after series, mBuckets each.
    std::vector<double> mMinimum;
    std::vector<double> mMaximum;
    std::vector<double> mSum;
    std::vector<uint32_t> mCount;
};
