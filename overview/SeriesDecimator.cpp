#include "overview/SeriesDecimator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace {

const double kEmptyMinimum = std::numeric_limits<double>::infinity();
const double kEmptyMaximum = -std::numeric_limits<double>::infinity();
// Bounds that keep every difference of times and origins inside int64: times within ±2^62 ms, at most 2^20
// buckets of at most 2^40 ms, so that an origin never moves further than 2^60 ms.
const int64_t kMaxTimeMs = int64_t{1} << 62;
const size_t kMaxBuckets = size_t{1} << 20;

}  // namespace

cSeriesDecimator::cSeriesDecimator(size_t buckets, size_t maxSeries)
    : mBuckets(std::min(std::max<size_t>(buckets + (buckets & 1), 2), kMaxBuckets)), mMaxSeries(maxSeries) {}

long cSeriesDecimator::NewSeries() {
    if (mSeries >= mMaxSeries) {
        return -1;
    }
    const size_t size = (mSeries + 1) * mBuckets;
    try {
        mMinimum.resize(size, kEmptyMinimum);
        mMaximum.resize(size, kEmptyMaximum);
        mSum.resize(size, 0);
        mCount.resize(size, 0);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    return static_cast<long>(mSeries++);
}

bool cSeriesDecimator::Add(size_t series, int64_t timeMs, double value) {
    if (series >= mSeries || std::isnan(value) || timeMs > kMaxTimeMs || timeMs < -kMaxTimeMs) {
        return false;
    }
    if (!mHasValues) {
        mOrigin = timeMs;
        mWidth = 1;
        mFirstMs = timeMs;
        mLastMs = timeMs;
        mHasValues = true;
    }
    // The grid grows until it holds the time; tried on copies first, so that a time that would need buckets
    // wider than kMaxWidthMs leaves the grid as it is.
    const int64_t span = static_cast<int64_t>(mBuckets);
    int64_t origin = mOrigin;
    int64_t width = mWidth;
    // The distance to a time far right of an origin moved far left may pass int64's range: taken unsigned.
    while (timeMs < origin ||
           (static_cast<uint64_t>(timeMs) - static_cast<uint64_t>(origin)) / static_cast<uint64_t>(width) >=
               static_cast<uint64_t>(span)) {
        if (width >= kMaxWidthMs) {
            return false;
        }
        origin -= timeMs < origin ? span * width : 0;
        width *= 2;
    }
    while (mWidth < width) {
        Grow(timeMs < mOrigin);
    }

    const size_t at = series * mBuckets + static_cast<size_t>((timeMs - mOrigin) / mWidth);
    mMinimum[at] = std::min(mMinimum[at], value);
    mMaximum[at] = std::max(mMaximum[at], value);
    mSum[at] += value;
    if (mCount[at] != std::numeric_limits<uint32_t>::max()) {
        ++mCount[at];
    }
    mFirstMs = std::min(mFirstMs, timeMs);
    mLastMs = std::max(mLastMs, timeMs);
    return true;
}

void cSeriesDecimator::ClearBucket(size_t at) {
    mMinimum[at] = kEmptyMinimum;
    mMaximum[at] = kEmptyMaximum;
    mSum[at] = 0;
    mCount[at] = 0;
}

void cSeriesDecimator::MergeInto(size_t to, size_t from) {
    mMinimum[to] = std::min(mMinimum[to], mMinimum[from]);
    mMaximum[to] = std::max(mMaximum[to], mMaximum[from]);
    mSum[to] += mSum[from];
    const uint64_t count = uint64_t{mCount[to]} + mCount[from];
    mCount[to] = static_cast<uint32_t>(std::min<uint64_t>(count, std::numeric_limits<uint32_t>::max()));
}

void cSeriesDecimator::Grow(bool toLeft) {
    const size_t half = mBuckets / 2;
    for (size_t series = 0; series < mSeries; ++series) {
        const size_t base = series * mBuckets;
        if (!toLeft) {
            // Bucket j takes 2j and 2j+1; going up, nothing is overwritten before it is read.
            for (size_t j = 0; j < half; ++j) {
                const size_t to = base + j;
                const size_t from = base + 2 * j;
                if (to != from) {
                    mMinimum[to] = mMinimum[from];
                    mMaximum[to] = mMaximum[from];
                    mSum[to] = mSum[from];
                    mCount[to] = mCount[from];
                }
                MergeInto(to, from + 1);
            }
            for (size_t j = half; j < mBuckets; ++j) {
                ClearBucket(base + j);
            }
        } else {
            // Bucket half+j takes 2j and 2j+1; going down, nothing is overwritten before it is read.
            for (size_t j = half; j-- > 0;) {
                const size_t to = base + half + j;
                const size_t from = base + 2 * j;
                if (to != from + 1) {
                    mMinimum[to] = mMinimum[from + 1];
                    mMaximum[to] = mMaximum[from + 1];
                    mSum[to] = mSum[from + 1];
                    mCount[to] = mCount[from + 1];
                }
                MergeInto(to, from);
            }
            for (size_t j = 0; j < half; ++j) {
                ClearBucket(base + j);
            }
        }
    }
    if (toLeft) {
        mOrigin -= static_cast<int64_t>(mBuckets) * mWidth;
    }
    mWidth *= 2;
}
