#include "jni/ISFTime.h"

#include <sys/time.h>

namespace {

// FILETIME of 1980-01-06 00:00:00 UTC, the start of CDMA system time.
const unsigned long long kCDMAEpoch = 119604384000000000ULL;
const unsigned long long kFiletimePerCDMAPeriod = 12500;  // 1.25 ms
// A period's fraction counts 1/49152 of 12500 steps: 12288/3125 fraction units per 100 ns step.
const unsigned long long kFractionPerStepNumerator = 12288;
const unsigned long long kFractionPerStepDenominator = 3125;

}  // namespace

void FiletimeToCDMA(FILETIME time, unsigned long long& out) {
    if (time < kCDMAEpoch) {
        out = 0;
        return;
    }
    const unsigned long long d = time - kCDMAEpoch;
    out = ((d / kFiletimePerCDMAPeriod) << 16) +
          (d % kFiletimePerCDMAPeriod) * kFractionPerStepNumerator / kFractionPerStepDenominator;
}

FILETIME CDMAToFiletime(unsigned long long cdma) {
    const unsigned long long periods = cdma >> 16;
    const unsigned long long fraction = cdma & 0xFFFF;
    // The last step whose fraction does not pass `fraction`: steps s with s * 12288 / 3125 < fraction + 1.
    unsigned long long steps =
        ((fraction + 1) * kFractionPerStepDenominator + kFractionPerStepNumerator - 1) /
            kFractionPerStepNumerator -
        1;
    if (steps >= kFiletimePerCDMAPeriod) {
        steps = kFiletimePerCDMAPeriod - 1;
    }
    return kCDMAEpoch + periods * kFiletimePerCDMAPeriod + steps;
}

FILETIME CurrentFiletime() {
    timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        return 0;
    }
    return static_cast<FILETIME>(now.tv_sec) * 10000000ULL + static_cast<FILETIME>(now.tv_usec) * 10ULL +
           FILETIME_UNIX_EPOCH;
}
