// Expected values follow the C library's documented conversions (strtol, strtoul, strtoll, strtoull and
// printf) and the range rules of each function, worked by hand.
#include "text/Numbers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

template <typename T>
struct sCase {
    const char* mText;
    T mValue;
};

// Runs `parse` over accepted texts and refused ones (null for a null pointer) with errno cleared (a stale
// range error is a case of its own); a refused text must leave the output as it was.
template <typename T>
void Check(const char* name, bool (*parse)(const char*, T&), std::vector<sCase<T>> accepted,
           std::vector<const char*> refused) {
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
    Check<long>("base 10", Long<10>,
                {{"  42", 42},
                 {"42 x", 42},
                 {"42\t", 42},
                 {"-42", -42},
                 {"+7", 7},
                 {"3000000000", 3000000000L},
                 {"9223372036854775807", 9223372036854775807L},
                 {"-9223372036854775808", -9223372036854775807L - 1}},
                {"42x", "", nullptr, " ", "0x10", "9223372036854775808", "-9223372036854775809"});
    // Hexadecimal text is read unsigned and keeps its low 32 bits.
    Check<long>("base 0", Long<0>,
                {{"0x10", 16},
                 {"  0X1f", 31},
                 {"+0x10", 16},
                 {"0xFFFFFFFF", 4294967295L},
                 {"0x100000000", 0},
                 {"0xFFFFFFFFFFFFFFFF", 4294967295L},
                 {"010", 8},
                 {"-010", -8}},
                {"-0x10", "0x10000000000000000", "0x", "08"});
    Check<long>("base 16", Long<16>, {{"10", 16}, {"ff", 255}}, {" -1", "fg"});
    long unchanged = 5;
    EXPECT_FALSE(StringToLONG("1", 1, unchanged) || StringToLONG("1", 37, unchanged) || unchanged != 5);
}

TEST(StringToLONG, AStaleRangeErrorRefusesALimitValueDeliberately) {
    long value = 5;
    long long wide = 5;
    errno = ERANGE;
    EXPECT_FALSE(StringToLONG("-9223372036854775808", 10, value));
    errno = ERANGE;
    EXPECT_FALSE(StringToLONGLONG("9223372036854775807", 10, wide));
    EXPECT_TRUE(value == 5 && wide == 5);
    errno = ERANGE;
    EXPECT_TRUE(StringToLONG("123", 10, value) && value == 123) << "only a limit value is refused";
}

TEST(StringToULONG, WrapsAbove32BitsDeliberately) {
    Check<unsigned int>("base 10", ULong<10>,
                        {{"4294967295", 4294967295u},
                         {"4294967296", 0},
                         {"18446744073709551615", 4294967295u},
                         {"12 apples", 12}},
                        {"-1", " -1", "18446744073709551616", "12apples", "", nullptr});
    Check<unsigned int>("base 0", ULong<0>, {{"0x10", 16}, {"017", 15}}, {"-0x10"});
    unsigned int unchanged = 5;
    EXPECT_FALSE(StringToULONG("1", 37, unchanged) || StringToULONG("1", -1, unchanged) || unchanged != 5);
}

TEST(StringTo64Bits, SignedTextHexadecimalBitPatternsAndUnsigned) {
    Check<long long>("LONGLONG", +[](const char* t, long long& v) { return StringToLONGLONG(t, 0, v); },
                     {{"0xFFFFFFFFFFFFFFFF", -1},
                      {"0x8000000000000000", -9223372036854775807LL - 1},
                      {"0x100000000", 4294967296LL},
                      {"-9223372036854775808", -9223372036854775807LL - 1},
                      {"  -77 ", -77}},
                     {"0x10000000000000000", "-0x1", "9223372036854775808", "", nullptr});
    Check<unsigned long long>(
        "ULONGLONG", +[](const char* t, unsigned long long& v) { return StringToULONGLONG(t, 0, v); },
        {{"18446744073709551615", 18446744073709551615ull},
         {"0xFFFFFFFFFFFFFFFF", 18446744073709551615ull},
         {"  077", 63}},
        {"18446744073709551616", "-0", "1e3", "", nullptr});
}

TEST(FromString, RangeOfEachType) {
    Check<char>("char", From<char>, {{"127", 127}, {"-128", '\x80'}, {"-1", '\xFF'}, {"0xFF", '\xFF'}},
                {"128", "-129", "0x100", "0377", nullptr});
    Check<unsigned char>("unsigned char", From<unsigned char>, {{"255", 255}, {"0xFF", 255}}, {"256", "-1"});
    Check<short>("short", From<short>, {{"32767", 32767}, {"-32768", -32768}, {"0xFFFF", -1}},
                 {"32768", "0x10000", nullptr});
    Check<unsigned short>("unsigned short", From<unsigned short>, {{"65535", 65535}, {"0x8000", 0x8000}},
                          {"65536"});
    Check<int>("int", From<int>, {{"0x7FFFFFFF", 2147483647}, {"-2147483648", -2147483647 - 1}, {"010", 8}},
               {"0x80000000", "2147483648", "-2147483649", nullptr});
    Check<unsigned int>("unsigned int", From<unsigned int>, {{"4294967296", 0}, {"0xFFFFFFFF", 4294967295u}},
                        {"-1"});
    Check<long>("long", From<long>, {{"0xFFFFFFFF", 4294967295L}, {"-5", -5}}, {"- 5"});
    Check<long long>("long long", From<long long>, {{"0xFFFFFFFFFFFFFFFF", -1}}, {"x"});
    Check<unsigned long long>("unsigned long long", From<unsigned long long>,
                              {{"18446744073709551615", 18446744073709551615ull}}, {"-1"});
}

template <typename T>
std::string Print(T value) {
    char text[64] = "unwritten";
    EXPECT_TRUE(ToString(value, text));
    return text;
}

TEST(ToString, DecimalTextOfEachType) {
    EXPECT_EQ(Print(static_cast<char>(0xFF)), "255");
    EXPECT_EQ(Print(static_cast<short>(-1)), "-1");
    EXPECT_EQ(Print(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(Print(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(Print(4294967295u), "4294967295");
    EXPECT_EQ(Print(-9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(Print(-9223372036854775807LL - 1), "-9223372036854775808");
    EXPECT_EQ(Print(18446744073709551615ull), "18446744073709551615");
    EXPECT_FALSE(ToString(static_cast<char>(1), nullptr));
}

}  // namespace
