// Expected values follow the C library's documented conversions (strtol, strtoul, strtoll, strtoull and
// printf) and the range rules of each function, worked by hand.
#include "text/Numbers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <initializer_list>
#include <string>

namespace {

const bool OK = true;
const bool NO = false;

template <typename T>
struct sCase {
    const char* mText;  // null for a null pointer
    bool mAccepted;
    T mValue;
};

// Runs `parse` over each case, errno cleared first (a stale range error is a case of its own); a refused
// case must leave the output as it was.
template <typename T, typename Parse>
void CheckCases(const char* name, Parse parse, std::initializer_list<sCase<T>> cases) {
    for (const sCase<T>& c : cases) {
        const T sentinel = static_cast<T>(99);
        T value = sentinel;
        errno = 0;
        const std::string text = c.mText == nullptr ? "(null)" : c.mText;
        EXPECT_EQ(parse(c.mText, value), c.mAccepted) << name << " \"" << text << "\"";
        EXPECT_EQ(value, c.mAccepted ? c.mValue : sentinel) << name << " \"" << text << "\"";
    }
}

TEST(StringToLONG, DecimalText) {
    CheckCases<long>("base 10", [](const char* t, long& v) { return StringToLONG(t, 10, v); },
                     {{"  42", OK, 42},
                      {"42x", NO, 0},
                      {"42 x", OK, 42},
                      {"42\t", OK, 42},
                      {"-42", OK, -42},
                      {"+7", OK, 7},
                      {"", NO, 0},
                      {nullptr, NO, 0},
                      {" ", NO, 0},
                      {"x", NO, 0},
                      {"3000000000", OK, 3000000000L},
                      {"9223372036854775807", OK, 9223372036854775807L},
                      {"9223372036854775808", NO, 0},
                      {"-9223372036854775808", OK, -9223372036854775807L - 1},
                      {"-9223372036854775809", NO, 0},
                      {"0x10", NO, 0}});
}

TEST(StringToLONG, HexadecimalTextIsReadUnsignedAndKeepsItsLow32Bits) {
    CheckCases<long>("base 0", [](const char* t, long& v) { return StringToLONG(t, 0, v); },
                     {{"0x10", OK, 16},
                      {"  0X1f", OK, 31},
                      {"+0x10", OK, 16},
                      {"-0x10", NO, 0},
                      {"0xFFFFFFFF", OK, 4294967295L},
                      {"0x100000000", OK, 0},
                      {"0x1FFFFFFFF", OK, 4294967295L},
                      {"0xFFFFFFFFFFFFFFFF", OK, 4294967295L},
                      {"0x10000000000000000", NO, 0},
                      {"0x", NO, 0},
                      {"010", OK, 8},
                      {"08", NO, 0},
                      {"-010", OK, -8}});
    CheckCases<long>("base 16", [](const char* t, long& v) { return StringToLONG(t, 16, v); },
                     {{"10", OK, 16}, {"ff", OK, 255}, {" -1", NO, 0}, {"fg", NO, 0}});
    CheckCases<long>("bad base", [](const char* t, long& v) { return StringToLONG(t, 1, v); },
                     {{"1", NO, 0}});
}

TEST(StringToLONG, AStaleRangeErrorRefusesALimitValueDeliberately) {
    long value = 5;
    errno = ERANGE;
    EXPECT_FALSE(StringToLONG("9223372036854775807", 10, value));
    EXPECT_EQ(value, 5);
    errno = ERANGE;
    EXPECT_FALSE(StringToLONG("-9223372036854775808", 10, value));
    long long wide = 5;
    errno = ERANGE;
    EXPECT_FALSE(StringToLONGLONG("9223372036854775807", 10, wide));
    EXPECT_EQ(wide, 5);
    errno = ERANGE;
    EXPECT_TRUE(StringToLONG("123", 10, value));
    EXPECT_EQ(value, 123);
}

TEST(StringToULONG, WrapsAbove32BitsDeliberately) {
    CheckCases<unsigned int>("base 10",
                             [](const char* t, unsigned int& v) { return StringToULONG(t, 10, v); },
                             {{"-1", NO, 0},
                              {" -1", NO, 0},
                              {"4294967295", OK, 4294967295u},
                              {"4294967296", OK, 0},
                              {"8589934591", OK, 4294967295u},
                              {"18446744073709551615", OK, 4294967295u},
                              {"18446744073709551616", NO, 0},
                              {"12 apples", OK, 12},
                              {"12apples", NO, 0},
                              {"", NO, 0},
                              {nullptr, NO, 0}});
    CheckCases<unsigned int>("base 0", [](const char* t, unsigned int& v) { return StringToULONG(t, 0, v); },
                             {{"0x10", OK, 16}, {"017", OK, 15}, {"-0x10", NO, 0}});
    CheckCases<unsigned int>(
        "bad base", [](const char* t, unsigned int& v) { return StringToULONG(t, 37, v); }, {{"1", NO, 0}});
}

TEST(StringToLONGLONG, SignedTextAndHexadecimalBitPatterns) {
    CheckCases<long long>("base 0", [](const char* t, long long& v) { return StringToLONGLONG(t, 0, v); },
                          {{"0xFFFFFFFFFFFFFFFF", OK, -1},
                           {"0x8000000000000000", OK, -9223372036854775807LL - 1},
                           {"0x100000000", OK, 4294967296LL},
                           {"0x10000000000000000", NO, 0},
                           {"-0x1", NO, 0},
                           {"-9223372036854775808", OK, -9223372036854775807LL - 1},
                           {"9223372036854775808", NO, 0},
                           {"  -77 ", OK, -77},
                           {"", NO, 0},
                           {nullptr, NO, 0}});
}

TEST(StringToULONGLONG, Full64BitRange) {
    CheckCases<unsigned long long>(
        "base 0", [](const char* t, unsigned long long& v) { return StringToULONGLONG(t, 0, v); },
        {{"18446744073709551615", OK, 18446744073709551615ull},
         {"18446744073709551616", NO, 0},
         {"0xFFFFFFFFFFFFFFFF", OK, 18446744073709551615ull},
         {"-0", NO, 0},
         {"0", OK, 0},
         {"  077", OK, 63},
         {"1e3", NO, 0},
         {"", NO, 0},
         {nullptr, NO, 0}});
}

template <typename T>
bool Parse(const char* text, T& value) {
    return FromString(text, value);
}

TEST(FromString, RangeOfEachType) {
    CheckCases<char>("char", Parse<char>,
                     {{"127", OK, 127},
                      {"-128", OK, static_cast<char>(0x80)},
                      {"-1", OK, static_cast<char>(0xFF)},
                      {"128", NO, 0},
                      {"-129", NO, 0},
                      {"0xFF", OK, static_cast<char>(0xFF)},
                      {"0x100", NO, 0},
                      {"0377", NO, 0},
                      {nullptr, NO, 0}});
    CheckCases<unsigned char>("unsigned char", Parse<unsigned char>,
                              {{"255", OK, 255}, {"0xFF", OK, 255}, {"256", NO, 0}, {"-1", NO, 0}});
    CheckCases<short>("short", Parse<short>,
                      {{"32767", OK, 32767},
                       {"-32768", OK, -32768},
                       {"32768", NO, 0},
                       {"0xFFFF", OK, -1},
                       {"0x10000", NO, 0},
                       {nullptr, NO, 0}});
    CheckCases<unsigned short>("unsigned short", Parse<unsigned short>,
                               {{"65535", OK, 65535}, {"65536", NO, 0}, {"0x8000", OK, 0x8000}});
    CheckCases<int>("int", Parse<int>,
                    {{"0x7FFFFFFF", OK, 2147483647},
                     {"0x80000000", NO, 0},
                     {"-2147483648", OK, -2147483647 - 1},
                     {"2147483648", NO, 0},
                     {"-2147483649", NO, 0},
                     {"010", OK, 8},
                     {nullptr, NO, 0}});
    CheckCases<unsigned int>("unsigned int", Parse<unsigned int>,
                             {{"4294967296", OK, 0}, {"0xFFFFFFFF", OK, 4294967295u}, {"-1", NO, 0}});
    CheckCases<long>("long", Parse<long>, {{"0xFFFFFFFF", OK, 4294967295L}, {"-5", OK, -5}});
    CheckCases<long long>("long long", Parse<long long>, {{"0xFFFFFFFFFFFFFFFF", OK, -1}, {"x", NO, 0}});
    CheckCases<unsigned long long>("unsigned long long", Parse<unsigned long long>,
                                   {{"18446744073709551615", OK, 18446744073709551615ull}, {"-1", NO, 0}});
}

TEST(ToString, DecimalTextOfEachType) {
    struct {
        bool (*mFormat)(char*);
        const char* mExpected;
    } const cases[] = {
        {[](char* t) { return ToString(static_cast<char>(0xFF), t); }, "255"},
        {[](char* t) { return ToString(static_cast<unsigned char>(0), t); }, "0"},
        {[](char* t) { return ToString(static_cast<short>(-1), t); }, "-1"},
        {[](char* t) { return ToString(static_cast<unsigned short>(65535), t); }, "65535"},
        {[](char* t) { return ToString(-2147483647 - 1, t); }, "-2147483648"},
        {[](char* t) { return ToString(4294967295u, t); }, "4294967295"},
        {[](char* t) { return ToString(-9223372036854775807L - 1, t); }, "-9223372036854775808"},
        {[](char* t) { return ToString(-9223372036854775807LL - 1, t); }, "-9223372036854775808"},
        {[](char* t) { return ToString(18446744073709551615ull, t); }, "18446744073709551615"},
    };
    for (const auto& c : cases) {
        char text[64];
        EXPECT_TRUE(c.mFormat(text));
        EXPECT_STREQ(text, c.mExpected);
    }
    EXPECT_FALSE(ToString(static_cast<char>(1), nullptr));
    EXPECT_FALSE(ToString(1ull, nullptr));
}

}  // namespace
