// Expected values follow the C library's documented conversions (strtol, strtoul, strtoll, strtoull and
// printf) and the range rules of each function, worked by hand.
#include "text/Numbers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

template <typename T>
struct sCase {
    const char* mText;
    T mValue;
};

// Runs `parse` over accepted texts and refused ones (null for a null pointer) with errno cleared (a stale
// range error is a case of its own); a refused text must leave the output as it was.
template <typename T, typename Parse, size_t A, size_t R>
void Check(const char* name, Parse parse, const sCase<T> (&accepted)[A], const char* const (&refused)[R]) {
    for (const sCase<T>& c : accepted) {
        T value = static_cast<T>(99);
        errno = 0;
        EXPECT_TRUE(parse(c.mText, value)) << name << " \"" << c.mText << "\"";
        EXPECT_EQ(value, c.mValue) << name << " \"" << c.mText << "\"";
    }
    for (const char* text : refused) {
        T value = static_cast<T>(99);
        errno = 0;
        EXPECT_FALSE(parse(text, value)) << name << " \"" << (text == nullptr ? "(null)" : text) << "\"";
        EXPECT_EQ(value, static_cast<T>(99)) << name;
    }
}

template <int Base>
bool Long(const char* t, long& v) {
    return StringToLONG(t, Base, v);
}
template <int Base>
bool ULong(const char* t, unsigned int& v) {
    return StringToULONG(t, Base, v);
}
template <typename T>
bool From(const char* t, T& v) {
    return FromString(t, v);
}

TEST(StringToLONG, SignedAndHexadecimalText) {
    const sCase<long> decimal[] = {{"  42", 42},
                                   {"42 x", 42},
                                   {"42\t", 42},
                                   {"-42", -42},
                                   {"+7", 7},
                                   {"3000000000", 3000000000L},
                                   {"9223372036854775807", 9223372036854775807L},
                                   {"-9223372036854775808", -9223372036854775807L - 1}};
    const char* const decimalRefused[] = {
        "42x", "", nullptr, " ", "0x10", "9223372036854775808", "-9223372036854775809"};
    Check("base 10", Long<10>, decimal, decimalRefused);
    // Hexadecimal text is read unsigned and keeps its low 32 bits.
    const sCase<long> hex[] = {{"0x10", 16},
                               {"  0X1f", 31},
                               {"+0x10", 16},
                               {"0xFFFFFFFF", 4294967295L},
                               {"0x100000000", 0},
                               {"0x1FFFFFFFF", 4294967295L},
                               {"0xFFFFFFFFFFFFFFFF", 4294967295L},
                               {"010", 8},
                               {"-010", -8}};
    const char* const hexRefused[] = {"-0x10", "0x10000000000000000", "0x", "08"};
    Check("base 0", Long<0>, hex, hexRefused);
    const sCase<long> base16[] = {{"10", 16}, {"ff", 255}};
    const char* const base16Refused[] = {" -1", "fg"};
    Check("base 16", Long<16>, base16, base16Refused);
    long unchanged = 5;
    EXPECT_FALSE(StringToLONG("1", 1, unchanged) || StringToLONG("1", 37, unchanged) || unchanged != 5);
}

TEST(StringToLONG, AStaleRangeErrorRefusesALimitValueDeliberately) {
    long value = 5;
    long long wide = 5;
    errno = ERANGE;
    EXPECT_FALSE(StringToLONG("9223372036854775807", 10, value));
    errno = ERANGE;
    EXPECT_FALSE(StringToLONG("-9223372036854775808", 10, value));
    errno = ERANGE;
    EXPECT_FALSE(StringToLONGLONG("9223372036854775807", 10, wide));
    EXPECT_TRUE(value == 5 && wide == 5);
    errno = ERANGE;
    EXPECT_TRUE(StringToLONG("123", 10, value));
    EXPECT_EQ(value, 123);
}

TEST(StringToULONG, WrapsAbove32BitsDeliberately) {
    const sCase<unsigned int> decimal[] = {{"4294967295", 4294967295u},
                                           {"4294967296", 0},
                                           {"8589934591", 4294967295u},
                                           {"18446744073709551615", 4294967295u},
                                           {"12 apples", 12}};
    const char* const decimalRefused[] = {"-1", " -1", "18446744073709551616", "12apples", "", nullptr};
    Check("base 10", ULong<10>, decimal, decimalRefused);
    const sCase<unsigned int> base0[] = {{"0x10", 16}, {"017", 15}};
    const char* const base0Refused[] = {"-0x10"};
    Check("base 0", ULong<0>, base0, base0Refused);
    unsigned int unchanged = 5;
    EXPECT_FALSE(StringToULONG("1", 37, unchanged) || StringToULONG("1", -1, unchanged) || unchanged != 5);
}

TEST(StringTo64Bits, SignedTextHexadecimalBitPatternsAndUnsigned) {
    const sCase<long long> signed64[] = {{"0xFFFFFFFFFFFFFFFF", -1},
                                         {"0x8000000000000000", -9223372036854775807LL - 1},
                                         {"0x100000000", 4294967296LL},
                                         {"-9223372036854775808", -9223372036854775807LL - 1},
                                         {"  -77 ", -77}};
    const char* const signed64Refused[] = {"0x10000000000000000", "-0x1", "9223372036854775808", "", nullptr};
    Check(
        "LONGLONG", [](const char* t, long long& v) { return StringToLONGLONG(t, 0, v); }, signed64,
        signed64Refused);
    const sCase<unsigned long long> unsigned64[] = {{"18446744073709551615", 18446744073709551615ull},
                                                    {"0xFFFFFFFFFFFFFFFF", 18446744073709551615ull},
                                                    {"0", 0},
                                                    {"  077", 63}};
    const char* const unsigned64Refused[] = {"18446744073709551616", "-0", "1e3", "", nullptr};
    Check(
        "ULONGLONG", [](const char* t, unsigned long long& v) { return StringToULONGLONG(t, 0, v); },
        unsigned64, unsigned64Refused);
}

TEST(FromString, RangeOfEachType) {
    const char k80 = static_cast<char>(0x80), kFF = static_cast<char>(0xFF);
    const sCase<char> chars[] = {{"127", 127}, {"-128", k80}, {"-1", kFF}, {"0xFF", kFF}};
    const char* const charsRefused[] = {"128", "-129", "0x100", "0377", nullptr};
    Check("char", From<char>, chars, charsRefused);
    const sCase<unsigned char> bytes[] = {{"255", 255}, {"0xFF", 255}};
    const char* const bytesRefused[] = {"256", "-1"};
    Check("unsigned char", From<unsigned char>, bytes, bytesRefused);
    const sCase<short> shorts[] = {{"32767", 32767}, {"-32768", -32768}, {"0xFFFF", -1}};
    const char* const shortsRefused[] = {"32768", "0x10000", nullptr};
    Check("short", From<short>, shorts, shortsRefused);
    const sCase<unsigned short> ushorts[] = {{"65535", 65535}, {"0x8000", 0x8000}};
    const char* const ushortsRefused[] = {"65536"};
    Check("unsigned short", From<unsigned short>, ushorts, ushortsRefused);
    const sCase<int> ints[] = {{"0x7FFFFFFF", 2147483647}, {"-2147483648", -2147483647 - 1}, {"010", 8}};
    const char* const intsRefused[] = {"0x80000000", "2147483648", "-2147483649", nullptr};
    Check("int", From<int>, ints, intsRefused);
    const sCase<unsigned int> uints[] = {{"4294967296", 0}, {"0xFFFFFFFF", 4294967295u}};
    const char* const uintsRefused[] = {"-1"};
    Check("unsigned int", From<unsigned int>, uints, uintsRefused);
    const sCase<long> longs[] = {{"0xFFFFFFFF", 4294967295L}, {"-5", -5}};
    const char* const longsRefused[] = {"- 5"};
    Check("long", From<long>, longs, longsRefused);
    const sCase<long long> longLongs[] = {{"0xFFFFFFFFFFFFFFFF", -1}};
    const char* const longLongsRefused[] = {"x"};
    Check("long long", From<long long>, longLongs, longLongsRefused);
    const sCase<unsigned long long> ulongLongs[] = {{"18446744073709551615", 18446744073709551615ull}};
    const char* const ulongLongsRefused[] = {"-1"};
    Check("unsigned long long", From<unsigned long long>, ulongLongs, ulongLongsRefused);
}

TEST(ToString, DecimalTextOfEachType) {
    char t[9][64];
    const bool written[] = {
        ToString(static_cast<char>(0xFF), t[0]),   ToString(static_cast<unsigned char>(0), t[1]),
        ToString(static_cast<short>(-1), t[2]),    ToString(static_cast<unsigned short>(65535), t[3]),
        ToString(-2147483647 - 1, t[4]),           ToString(4294967295u, t[5]),
        ToString(-9223372036854775807L - 1, t[6]), ToString(-9223372036854775807LL - 1, t[7]),
        ToString(18446744073709551615ull, t[8])};
    const char* expected[] = {"255",
                              "0",
                              "-1",
                              "65535",
                              "-2147483648",
                              "4294967295",
                              "-9223372036854775808",
                              "-9223372036854775808",
                              "18446744073709551615"};
    for (int i = 0; i < 9; ++i) {
        EXPECT_TRUE(written[i]);
        EXPECT_STREQ(t[i], expected[i]);
    }
    EXPECT_FALSE(ToString(static_cast<char>(1), nullptr));
    EXPECT_FALSE(ToString(1ull, nullptr));
}

}  // namespace
