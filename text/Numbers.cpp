#include "text/Numbers.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

namespace {

const unsigned int kLow32 = 0xFFFFFFFFu;
const size_t kTextLimit = 63;  // bytes ToString may write, NUL included

bool IsSpace(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

const char* SkipSpace(const char* text) {
    while (IsSpace(*text)) {
        ++text;
    }
    return text;
}

bool IsHexText(const char* text) {
    text = SkipSpace(text);
    if (*text == '+' || *text == '-') {
        ++text;
    }
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

// Something was converted, and it is followed by the end of the text or by white space.
bool EndsWell(const char* text, const char* end) {
    return end != nullptr && end != text && (*end == '\0' || IsSpace(*end));
}

// Null or empty text, or a base the C library conversions do not know (they may leave the end pointer
// unset for it).
bool IsRefused(const char* text, int base) {
    return text == nullptr || *text == '\0' || base < 0 || base == 1 || base > 36;
}

// The unsigned conversion shared by all four functions: a leading minus is refused, errno is cleared.
bool ParseUnsigned(const char* text, int base, unsigned long long& result, bool& rangeError) {
    if (*SkipSpace(text) == '-') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    result = strtoull(text, &end, base);
    rangeError = errno == ERANGE;
    return EndsWell(text, end);
}

// The signed conversion: errno is deliberately left as the caller had it, so a stale range error with a
// result at the limit is refused.
bool ParseSigned(const char* text, int base, long long& result) {
    char* end = nullptr;
    result = strtoll(text, &end, base);
    if ((result == LLONG_MIN || result == LLONG_MAX) && errno == ERANGE) {
        return false;
    }
    return EndsWell(text, end);
}

// Low 32 bits of an unsigned result, refused like the 32-bit conversion's overflow value.
bool Low32(unsigned long long result, bool rangeError, unsigned int& low) {
    low = static_cast<unsigned int>(result & kLow32);
    return !(low == kLow32 && rangeError);
}

}  // namespace

bool StringToLONG(const char* text, int base, long& value) {
    if (IsRefused(text, base)) {
        return false;
    }
    if (base == 16 || (base == 0 && IsHexText(text))) {
        unsigned long long result = 0;
        bool rangeError = false;
        unsigned int low = 0;
        if (!ParseUnsigned(text, base, result, rangeError) || !Low32(result, rangeError, low)) {
            return false;
        }
        value = static_cast<long>(low);
        return true;
    }
    long long result = 0;
    if (!ParseSigned(text, base, result) || static_cast<long long>(static_cast<long>(result)) != result) {
        return false;  // the second test only ever refuses where long is narrower than 64 bits
    }
    value = static_cast<long>(result);
    return true;
}

bool StringToULONG(const char* text, int base, unsigned int& value) {
    if (IsRefused(text, base)) {
        return false;
    }
    unsigned long long result = 0;
    bool rangeError = false;
    unsigned int low = 0;
    if (!ParseUnsigned(text, base, result, rangeError) || !Low32(result, rangeError, low)) {
        return false;
    }
    value = low;  // deliberately wraps above 32 bits
    return true;
}

bool StringToLONGLONG(const char* text, int base, long long& value) {
    if (IsRefused(text, base)) {
        return false;
    }
    if (base == 16 || (base == 0 && IsHexText(text))) {
        unsigned long long result = 0;
        bool rangeError = false;
        if (!ParseUnsigned(text, base, result, rangeError) || (result == ULLONG_MAX && rangeError)) {
            return false;
        }
        value = static_cast<long long>(result);  // the bit pattern as it is
        return true;
    }
    long long result = 0;
    if (!ParseSigned(text, base, result)) {
        return false;
    }
    value = result;
    return true;
}

bool StringToULONGLONG(const char* text, int base, unsigned long long& value) {
    if (IsRefused(text, base)) {
        return false;
    }
    unsigned long long result = 0;
    bool rangeError = false;
    if (!ParseUnsigned(text, base, result, rangeError) || (result == ULLONG_MAX && rangeError)) {
        return false;
    }
    value = result;
    return true;
}

namespace {

// A signed narrow type: hexadecimal text may fill the unsigned width, other text the signed range.
bool NarrowSigned(const char* text, long minimum, long maximum, unsigned long hexMaximum, long& result) {
    if (text == nullptr || !StringToLONG(text, 0, result)) {
        return false;
    }
    if (IsHexText(text)) {
        return result >= 0 && static_cast<unsigned long>(result) <= hexMaximum;
    }
    return result >= minimum && result <= maximum;
}

bool NarrowUnsigned(const char* text, unsigned int maximum, unsigned int& result) {
    return text != nullptr && StringToULONG(text, 0, result) && result <= maximum;
}

}  // namespace

bool FromString(const char* text, char& value) {
    long result = 0;
    if (!NarrowSigned(text, -128, 127, 0xFF, result)) {
        return false;
    }
    value = static_cast<char>(result & 0xFF);
    return true;
}

bool FromString(const char* text, unsigned char& value) {
    unsigned int result = 0;
    if (!NarrowUnsigned(text, 0xFF, result)) {
        return false;
    }
    value = static_cast<unsigned char>(result);
    return true;
}

bool FromString(const char* text, short& value) {
    long result = 0;
    if (!NarrowSigned(text, -32768, 32767, 0xFFFF, result)) {
        return false;
    }
    value = static_cast<short>(result & 0xFFFF);
    return true;
}

bool FromString(const char* text, unsigned short& value) {
    unsigned int result = 0;
    if (!NarrowUnsigned(text, 0xFFFF, result)) {
        return false;
    }
    value = static_cast<unsigned short>(result);
    return true;
}

bool FromString(const char* text, int& value) {
    long result = 0;
    if (!NarrowSigned(text, -2147483647L - 1, 2147483647L, 0x7FFFFFFF, result)) {
        return false;
    }
    value = static_cast<int>(result);
    return true;
}

bool FromString(const char* text, unsigned int& value) {
    return StringToULONG(text, 0, value);
}

bool FromString(const char* text, long& value) {
    return StringToLONG(text, 0, value);
}

bool FromString(const char* text, long long& value) {
    return StringToLONGLONG(text, 0, value);
}

bool FromString(const char* text, unsigned long long& value) {
    return StringToULONGLONG(text, 0, value);
}

namespace {

// The result of snprintf into the caller's array: a formatting failure leaves an empty string.
bool Formatted(char* text, int written) {
    if (written < 0) {
        text[0] = '\0';
        return false;
    }
    return true;
}

}  // namespace

bool ToString(char value, char* text) {
    return text != nullptr &&
           Formatted(text, snprintf(text, kTextLimit, "%d", static_cast<unsigned char>(value)));
}

bool ToString(unsigned char value, char* text) {
    return text != nullptr &&
           Formatted(text, snprintf(text, kTextLimit, "%u", static_cast<unsigned int>(value)));
}

bool ToString(short value, char* text) {
    return text != nullptr && Formatted(text, snprintf(text, kTextLimit, "%d", static_cast<int>(value)));
}

bool ToString(unsigned short value, char* text) {
    return text != nullptr &&
           Formatted(text, snprintf(text, kTextLimit, "%u", static_cast<unsigned int>(value)));
}

bool ToString(int value, char* text) {
    return text != nullptr && Formatted(text, snprintf(text, kTextLimit, "%d", value));
}

bool ToString(unsigned int value, char* text) {
    return text != nullptr && Formatted(text, snprintf(text, kTextLimit, "%u", value));
}

bool ToString(long value, char* text) {
    return text != nullptr && Formatted(text, snprintf(text, kTextLimit, "%ld", value));
}

bool ToString(long long value, char* text) {
    return text != nullptr && Formatted(text, snprintf(text, kTextLimit, "%lld", value));
}

bool ToString(unsigned long long value, char* text) {
    return text != nullptr && Formatted(text, snprintf(text, kTextLimit, "%llu", value));
}
