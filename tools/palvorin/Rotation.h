// Rotation of the output of a long recording: the file in use is closed and the next one begun once it
// holds a given number of bytes or has been open a given time. The first file has the name given (OUT);
// the next ones OUT-0001.isf, OUT-0002.isf, ... where OUT loses a final ".isf" first (rec.isf,
// rec-0001.isf, rec-0002.isf; the numbers go on past 9999 with more digits).
#pragma once

#include <cstdint>
#include <string>

// The name of file `index` (0: the first) of a recording into `output`.
std::string RotatedPath(const std::string& output, unsigned int index);

// The smallest size limit: every file begins with an index block of 57,360 bytes, so a smaller one would
// close every file after its first item.
const uint64_t kMinRotateBytes = 64 * 1024;

struct sRotationLimits {
    uint64_t mBytes = 0;  // 0: no size limit
    double mSeconds = 0;  // 0: no time limit
    bool Any() const { return mBytes != 0 || mSeconds > 0; }
};

// When the file in use is due to be closed.
class cRotation {
public:
    explicit cRotation(const sRotationLimits& limits) : mLimits(limits) {}
    // A new file was begun at `now` (seconds on any steady clock).
    void Started(double now) { mStarted = now; }
    // True once the file holds `bytes` bytes at least, or `now` is its time limit or later.
    bool Due(uint64_t bytes, double now) const {
        return (mLimits.mBytes != 0 && bytes >= mLimits.mBytes) ||
               (mLimits.mSeconds > 0 && now - mStarted >= mLimits.mSeconds);
    }
    // Seconds until the time limit (a large value without one).
    double SecondsLeft(double now) const {
        return mLimits.mSeconds > 0 ? mLimits.mSeconds - (now - mStarted) : 1e9;
    }
    const sRotationLimits& Limits() const { return mLimits; }

private:
    sRotationLimits mLimits;
    double mStarted = 0;
};
