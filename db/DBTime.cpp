#include "db/DBTime.h"

namespace {

const int64_t kMsPerDay = 86400000;
// Days from 0000-03-01 to 1970-01-01 in the proleptic Gregorian calendar.
const int64_t kDaysTo1970 = 719468;
// 0000-01-01T00:00:00Z and 10000-01-01T00:00:00Z in milliseconds since 1970.
const int64_t kFirstMs = -62167219200000;
const int64_t kEndMs = 253402300800000;

// Days since 1970-01-01 of a date (H. Hinnant's days_from_civil).
int64_t DaysFromCivil(int64_t year, unsigned int month, unsigned int day) {
    year -= month <= 2 ? 1 : 0;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const auto yearOfEra = static_cast<unsigned int>(year - era * 400);
    const unsigned int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const unsigned int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<int64_t>(dayOfEra) - kDaysTo1970;
}

void Digits(char* out, unsigned int value, unsigned int count) {
    for (unsigned int i = count; i-- > 0; value /= 10) {
        out[i] = static_cast<char>('0' + value % 10);
    }
}

bool ReadDigits(const char* text, unsigned int count, unsigned int& value) {
    value = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        value = value * 10 + static_cast<unsigned int>(text[i] - '0');
    }
    return true;
}

}  // namespace

bool FormatDBTime(int64_t ms, char* out) {
    if (ms < kFirstMs || ms >= kEndMs) {
        return false;
    }
    int64_t days = ms / kMsPerDay;
    int64_t rest = ms % kMsPerDay;
    if (rest < 0) {
        rest += kMsPerDay;
        --days;
    }
    // H. Hinnant's civil_from_days.
    const int64_t z = days + kDaysTo1970;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned int>(z - era * 146097);
    const unsigned int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned int mp = (5 * dayOfYear + 2) / 153;
    const unsigned int day = dayOfYear - (153 * mp + 2) / 5 + 1;
    const unsigned int month = mp < 10 ? mp + 3 : mp - 9;
    const auto year = static_cast<unsigned int>(static_cast<int64_t>(yearOfEra) + era * 400 + (month <= 2));
    const auto msOfDay = static_cast<unsigned int>(rest);
    Digits(out, year, 4);
    out[4] = '-';
    Digits(out + 5, month, 2);
    out[7] = '-';
    Digits(out + 8, day, 2);
    out[10] = 'T';
    Digits(out + 11, msOfDay / 3600000, 2);
    out[13] = ':';
    Digits(out + 14, msOfDay / 60000 % 60, 2);
    out[16] = ':';
    Digits(out + 17, msOfDay / 1000 % 60, 2);
    out[19] = '.';
    Digits(out + 20, msOfDay % 1000, 3);
    out[23] = 'Z';
    return true;
}

bool ParseDBTime(const char* text, size_t size, int64_t& ms) {
    if (size != kDBTimeTextSize || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
        text[16] != ':' || text[19] != '.' || text[23] != 'Z') {
        return false;
    }
    unsigned int year, month, day, hour, minute, second, milli;
    if (!ReadDigits(text, 4, year) || !ReadDigits(text + 5, 2, month) || !ReadDigits(text + 8, 2, day) ||
        !ReadDigits(text + 11, 2, hour) || !ReadDigits(text + 14, 2, minute) ||
        !ReadDigits(text + 17, 2, second) || !ReadDigits(text + 20, 3, milli)) {
        return false;
    }
    static const unsigned char kMonthDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1 || day > kMonthDays[month - 1] || hour > 23 || minute > 59 ||
        second > 59) {
        return false;
    }
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month == 2 && day == 29 && !leap) {
        return false;
    }
    ms = DaysFromCivil(year, month, day) * kMsPerDay +
         static_cast<int64_t>(((hour * 60 + minute) * 60 + second) * 1000 + milli);
    return true;
}
