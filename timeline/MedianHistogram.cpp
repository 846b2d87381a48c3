#include "timeline/MedianHistogram.h"

#include <cmath>
#include <cstring>
#include <new>

cMedianHistogram::cMedianHistogram(double low, double high, unsigned int stepsPerUnit)
    : mLow(low),
      mSteps(stepsPerUnit),
      mBins(static_cast<size_t>(std::lround((high - low) * stepsPerUnit)) + 1),
      mCounts(nullptr),
      mCount(0),
      mFirstUsed(0),
      mLastUsed(0) {}

cMedianHistogram::~cMedianHistogram() {
    delete[] mCounts;
}

bool cMedianHistogram::Add(double value) {
    const double position = (value - mLow) * mSteps;
    // Written so that NaN fails both comparisons.
    if (!(position > -0.5 && position < static_cast<double>(mBins) - 0.5)) {
        return false;
    }
    if (mCounts == nullptr) {
        mCounts = new (std::nothrow) uint32_t[mBins]();
        if (mCounts == nullptr) {
            return false;
        }
    }
    const size_t bin = static_cast<size_t>(std::lround(position));
    if (mCounts[bin] == UINT32_MAX) {
        return false;
    }
    if (mCount == 0 || bin < mFirstUsed) {
        mFirstUsed = bin;
    }
    if (mCount == 0 || bin > mLastUsed) {
        mLastUsed = bin;
    }
    ++mCounts[bin];
    ++mCount;
    return true;
}

void cMedianHistogram::Clear() {
    if (mCount != 0) {
        memset(mCounts + mFirstUsed, 0, (mLastUsed - mFirstUsed + 1) * sizeof mCounts[0]);
    }
    mCount = 0;
}

double cMedianHistogram::ValueAt(uint64_t rank) const {
    uint64_t seen = 0;
    for (size_t bin = mFirstUsed; bin <= mLastUsed; ++bin) {
        seen += mCounts[bin];
        if (seen > rank) {
            return mLow + static_cast<double>(bin) / mSteps;
        }
    }
    return NAN;
}

double cMedianHistogram::Median() const {
    if (mCount == 0) {
        return NAN;
    }
    if (mCount % 2 == 1) {
        return ValueAt(mCount / 2);
    }
    return (ValueAt(mCount / 2 - 1) + ValueAt(mCount / 2)) / 2;
}
