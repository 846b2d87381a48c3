// The decimator of a report's series (overview/SeriesDecimator.h) on any sequence of times and values a
// damaged capture could give: no arithmetic overflow (the sanitizers watch), every value kept lands in a
// bucket and is counted once, and each bucket's minimum is at most its maximum.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzSupport.h"
#include "overview/SeriesDecimator.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    // The first byte picks the grid (2..512 buckets), then 11 bytes a value: series, time, value (a 16-bit
    // level in 1/16 dB, or NaN for 0x8000).
    cSeriesDecimator decimator(2 + 2 * data[0], 3);
    decimator.NewSeries();
    decimator.NewSeries();
    uint64_t kept = 0;
    for (size_t at = 1; at + 11 <= size; at += 11) {
        int64_t time = 0;
        std::memcpy(&time, data + at + 1, sizeof time);
        const int16_t level = static_cast<int16_t>(data[at + 9] | data[at + 10] << 8);
        const double value = level == INT16_MIN ? std::nan("") : level / 16.0;
        if (decimator.Add(data[at] % 3, time, value)) {
            ++kept;
        }
    }
    uint64_t counted = 0;
    for (size_t series = 0; series < decimator.SeriesCount(); ++series) {
        for (size_t i = 0; i < decimator.BucketCount(); ++i) {
            const uint32_t count = decimator.Count(series)[i];
            counted += count;
            FailIf(count != 0 && decimator.Minimum(series)[i] > decimator.Maximum(series)[i]);
        }
    }
    FailIf(counted != kept || (kept != 0 && decimator.FirstMs() > decimator.LastMs()));
    return 0;
}
