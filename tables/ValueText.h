// The text of table values as every writer prints them: times as YYYY-MM-DDTHH:MM:SS.mmmZ (UTC, as
// `palvorin dump` prints item times), integers in decimal, log codes as 0xB193, real numbers in the
// shortest form that reads back as the same double (-99.3125, 1.4), binary data as lower-case hex.
// No locale, no iostreams, no allocation.
#pragma once

#include <cstddef>
#include <cstdint>

// Room for any of the texts below but hex.
const size_t kValueTextSize = 48;

// Milliseconds since 1970-01-01 UTC; "before-1970" for a negative time. Returns the length (no NUL).
size_t FormatTimeUTC(int64_t msSince1970, char* out);
size_t FormatInteger(int64_t value, char* out);
// "0xB193": upper-case hex digits, at least four.
size_t FormatCode(int64_t value, char* out);
// The shortest decimal text that reads back as `value`; "nan", "inf" or "-inf" where it is not finite.
size_t FormatReal(double value, char* out);
// 2 * `size` lower-case hex digits of `data` into `out`.
void FormatHex(const unsigned char* data, size_t size, char* out);

// Keeps the date and time of the last second formatted: rows come in time order, so most times differ from
// the one before only in their milliseconds.
class cTimeText {
public:
    size_t Format(int64_t msSince1970, char* out);

private:
    int64_t mSecond = INT64_MIN;
    char mText[kValueTextSize] = {};  // "YYYY-MM-DDTHH:MM:SS" of mSecond
    size_t mLength = 0;
};
