#include "tables/ValueText.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

const char kBefore1970[] = "before-1970";
const char kHexDigits[] = "0123456789abcdef";
const char kUpperHexDigits[] = "0123456789ABCDEF";

size_t Digits(uint64_t value, char* out) {
    // The count of digits first, then two at a time from the end, from a table of "00".."99".
    static const char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    size_t size = 1;
    for (uint64_t bound = 10; size < 20 && value >= bound; bound *= 10) {
        ++size;
    }
    char* p = out + size;
    while (value >= 100) {
        const unsigned int pair = static_cast<unsigned int>(value % 100) * 2;
        value /= 100;
        *--p = kPairs[pair + 1];
        *--p = kPairs[pair];
    }
    if (value >= 10) {
        *--p = kPairs[value * 2 + 1];
        *--p = kPairs[value * 2];
    } else {
        *--p = static_cast<char>('0' + value);
    }
    return size;
}

// The decimals of k / 128 for k = 0..127 (".5", ".0078125", ...; "" for 0), each with its length.
struct sFractions {
    char mText[128][9];
    unsigned char mLength[128];
    sFractions() {
        for (unsigned int k = 0; k < 128; ++k) {
            unsigned int fraction = k * 78125;  // 10^7 / 128 = 78125: the 7 decimals of k / 128
            char digits[8] = {'.'};
            for (int i = 7; i >= 1; --i) {
                digits[i] = static_cast<char>('0' + fraction % 10);
                fraction /= 10;
            }
            size_t length = 8;
            while (length > 1 && digits[length - 1] == '0') {
                --length;
            }
            mLength[k] = static_cast<unsigned char>(length == 1 ? 0 : length);
            memcpy(mText[k], digits, 8);
        }
    }
};

// At least `width` digits, zero-padded.
size_t Padded(uint64_t value, size_t width, char* out) {
    char digits[24];
    const size_t size = Digits(value, digits);
    const size_t zeros = size < width ? width - size : 0;
    memset(out, '0', zeros);
    memcpy(out + zeros, digits, size);
    return zeros + size;
}

// "YYYY-MM-DDTHH:MM:SS" of a second since 1970 (not negative): the civil date of a day count in the
// proleptic Gregorian calendar, by 400-year eras.
size_t FormatSecond(int64_t seconds, char* out) {
    const int64_t days = seconds / 86400;
    const int64_t inDay = seconds % 86400;
    const int64_t z = days + 719468;
    const int64_t era = z / 146097;
    const int64_t dayOfEra = z - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    const int64_t day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    const int64_t month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    char* p = out;
    p += Padded(static_cast<uint64_t>(year), 4, p);
    *p++ = '-';
    p += Padded(static_cast<uint64_t>(month), 2, p);
    *p++ = '-';
    p += Padded(static_cast<uint64_t>(day), 2, p);
    *p++ = 'T';
    p += Padded(static_cast<uint64_t>(inDay / 3600), 2, p);
    *p++ = ':';
    p += Padded(static_cast<uint64_t>(inDay / 60 % 60), 2, p);
    *p++ = ':';
    p += Padded(static_cast<uint64_t>(inDay % 60), 2, p);
    return static_cast<size_t>(p - out);
}

size_t Milliseconds(unsigned int ms, char* out) {
    out[0] = '.';
    out[1] = static_cast<char>('0' + ms / 100);
    out[2] = static_cast<char>('0' + ms / 10 % 10);
    out[3] = static_cast<char>('0' + ms % 10);
    out[4] = 'Z';
    return 5;
}

}  // namespace

size_t FormatTimeUTC(int64_t msSince1970, char* out) {
    cTimeText text;
    return text.Format(msSince1970, out);
}

size_t cTimeText::Format(int64_t msSince1970, char* out) {
    if (msSince1970 < 0) {
        memcpy(out, kBefore1970, sizeof kBefore1970 - 1);
        return sizeof kBefore1970 - 1;
    }
    const int64_t second = msSince1970 / 1000;
    if (second != mSecond) {
        mLength = FormatSecond(second, mText);
        mSecond = second;
    }
    memcpy(out, mText, mLength);
    return mLength + Milliseconds(static_cast<unsigned int>(msSince1970 % 1000), out + mLength);
}

size_t FormatInteger(int64_t value, char* out) {
    if (value < 0) {
        out[0] = '-';
        return 1 + Digits(0 - static_cast<uint64_t>(value), out + 1);
    }
    return Digits(static_cast<uint64_t>(value), out);
}

size_t FormatCode(int64_t value, char* out) {
    uint64_t code = static_cast<uint64_t>(value);
    char reversed[16];
    size_t size = 0;
    do {
        reversed[size++] = kUpperHexDigits[code & 15];
        code >>= 4;
    } while (code != 0);
    while (size < 4) {
        reversed[size++] = '0';
    }
    out[0] = '0';
    out[1] = 'x';
    for (size_t i = 0; i < size; ++i) {
        out[2 + i] = reversed[size - 1 - i];
    }
    return 2 + size;
}

size_t FormatReal(double value, char* out) {
    if (std::isnan(value)) {
        memcpy(out, "nan", 3);
        return 3;
    }
    // Measurements are multiples of 1/16 or 1/128 dB: such a value's exact decimal expansion has at most 7
    // decimals (1/128 = 0.0078125), and below 2^24 no shorter decimal lies as near it as the doubles next to
    // it, so the exact expansion is the shortest text that reads back. Written with integers; the rest by
    // the general shortest-form conversion.
    // Integer conversions rather than floor and round: no library call on the way.
    const double scaled = value * 128;
    const int64_t steps = scaled > -2147483648.0 && scaled < 2147483648.0 ? static_cast<int64_t>(scaled) : 0;
    if (static_cast<double>(steps) == scaled && !(steps == 0 && std::signbit(value))) {
        const uint64_t magnitude = static_cast<uint64_t>(steps < 0 ? -steps : steps);
        char* p = out;
        if (steps < 0) {
            *p++ = '-';
        }
        p += Digits(magnitude / 128, p);
        static const sFractions kFractions;
        memcpy(p, kFractions.mText[magnitude % 128], 8);  // room for it: kValueTextSize
        return static_cast<size_t>(p - out) + kFractions.mLength[magnitude % 128];
    }
    // Tenths (an SNR of raw / 10): when the value is the double nearest to k / 10, "k/10" with one decimal is
    // its shortest text (no integer is as near).
    const double times10 = value * 10;
    const int64_t k = times10 > -2147483648.0 && times10 < 2147483648.0
                          ? static_cast<int64_t>(times10 < 0 ? times10 - 0.5 : times10 + 0.5)
                          : 0;
    if (k % 10 != 0 && static_cast<double>(k) / 10 == value) {
        const uint64_t magnitude = static_cast<uint64_t>(k < 0 ? -k : k);
        char* p = out;
        if (k < 0) {
            *p++ = '-';
        }
        p += Digits(magnitude / 10, p);
        *p++ = '.';
        *p++ = static_cast<char>('0' + magnitude % 10);
        return static_cast<size_t>(p - out);
    }
    const std::to_chars_result result = std::to_chars(out, out + kValueTextSize, value);
    return result.ec == std::errc() ? static_cast<size_t>(result.ptr - out) : 0;
}

void FormatHex(const unsigned char* data, size_t size, char* out) {
    for (size_t i = 0; i < size; ++i) {
        out[2 * i] = kHexDigits[data[i] >> 4];
        out[2 * i + 1] = kHexDigits[data[i] & 15];
    }
}
