// The exact median of values that lie on a fixed grid (LTE measurements are multiples of 1/16 dB, NR ones
// of 1/128 dB), in a fixed amount of memory: one counter per grid step of the value's physical range.
// The counters are allocated once, at the first value; nothing is kept per value.
#pragma once

#include <cstddef>
#include <cstdint>

class cMedianHistogram {
public:
    // Values from `low` to `high` in steps of 1/`stepsPerUnit`.
    cMedianHistogram(double low, double high, unsigned int stepsPerUnit);
    ~cMedianHistogram();

    // Counts `value`, rounded to the nearest step; false (not counted) for NaN, a value outside the range,
    // or when the counters cannot be allocated.
    bool Add(double value);
    // Forgets every value (the counters stay allocated).
    void Clear();

    uint64_t Count() const { return mCount; }
    // The median of the values counted since the last Clear: the middle one, or the mean of the two middle
    // ones for an even count; NaN without values.
    double Median() const;

    cMedianHistogram(const cMedianHistogram&) = delete;
    cMedianHistogram& operator=(const cMedianHistogram&) = delete;

private:
    // The value of the `rank`-th counted value (0-based) in ascending order.
    double ValueAt(uint64_t rank) const;

    double mLow;
    unsigned int mSteps;
    size_t mBins;
    uint32_t* mCounts;  // owned; mBins counters, null until the first value
    uint64_t mCount;
    size_t mFirstUsed;  // the lowest and highest bins counted into since the last Clear
    size_t mLastUsed;
};
