// Text to numbers and back, and the command line and format parsers. Expected values follow the C
// library's documented conversions (strtol, strtoul, strtoll, strtoull, printf) worked by hand.
#include "text/Numbers.h"
#include "text/Parsing.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
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

TEST(Numbers, EndsOfEveryRangeAndTheFirstRefusedPastThem) {
    Check<long>("base 10", Long<10>,
                {{"  42", 42},
                 {"42 x", 42},
                 {"9223372036854775807", 9223372036854775807L},
                 {"-9223372036854775808", -9223372036854775807L - 1}},
                {"42x", "", nullptr, " ", "0x10", "9223372036854775808", "-9223372036854775809"});
    // Hexadecimal text is read unsigned and keeps its low 32 bits.
    Check<long>(
        "base 0", Long<0>,
        {{"0xFFFFFFFF", 4294967295L}, {"0x100000000", 0}, {"0xFFFFFFFFFFFFFFFF", 4294967295L}, {"-010", -8}},
        {"-0x10", "0x10000000000000000", "08"});
    Check<long>("base 16", Long<16>, {{"ff", 255}}, {" -1"});
    Check<unsigned int>("StringToULONG", ULong<10>,
                        {{"4294967296", 0}, {"18446744073709551615", 4294967295u}},
                        {" -1", "18446744073709551616", nullptr});
    Check<long long>("LONGLONG", +[](const char* t, long long& v) { return StringToLONGLONG(t, 0, v); },
                     {{"0xFFFFFFFFFFFFFFFF", -1}, {"-9223372036854775808", -9223372036854775807LL - 1}},
                     {"0x10000000000000000", "-0x1", "9223372036854775808", nullptr});
    Check<unsigned long long>(
        "ULONGLONG", +[](const char* t, unsigned long long& v) { return StringToULONGLONG(t, 0, v); },
        {{"18446744073709551615", 18446744073709551615ull}}, {"18446744073709551616", "-0", nullptr});
    long unchanged = 5;
    unsigned int unsignedUnchanged = 5;
    EXPECT_FALSE(StringToLONG("1", 1, unchanged) || StringToLONG("1", 37, unchanged) || unchanged != 5);
    EXPECT_FALSE(StringToULONG("1", -1, unsignedUnchanged) || unsignedUnchanged != 5);
    // FromString: hexadecimal text fills the unsigned width of char and short, not of int.
    Check<char>("char", From<char>, {{"127", 127}, {"-128", '\x80'}, {"0xFF", '\xFF'}},
                {"128", "-129", "0x100", "0377", nullptr});
    Check<unsigned char>("unsigned char", From<unsigned char>, {{"255", 255}}, {"256", "-1", nullptr});
    Check<short>("short", From<short>, {{"32767", 32767}, {"-32768", -32768}, {"0xFFFF", -1}},
                 {"32768", "-32769", "0x10000"});
    Check<unsigned short>("unsigned short", From<unsigned short>, {{"65535", 65535}}, {"65536"});
    Check<int>("int", From<int>, {{"0x7FFFFFFF", 2147483647}, {"-2147483648", -2147483647 - 1}},
               {"0x80000000", "2147483648", "-2147483649"});
    Check<unsigned int>("unsigned int", From<unsigned int>, {{"4294967296", 0}}, {"-1"});
    Check<long>("long", From<long>, {{"-5", -5}}, {"- 5"});
    Check<long long>("long long", From<long long>, {{"0xFFFFFFFFFFFFFFFF", -1}}, {});
    Check<unsigned long long>("unsigned long long", From<unsigned long long>, {}, {"-1"});
}

TEST(Numbers, AStaleRangeErrorRefusesALimitValueDeliberately) {
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

template <typename T>
std::string Print(T value) {
    char text[64] = "unwritten";
    EXPECT_TRUE(ToString(value, text));
    return text;
}

TEST(ToString, DecimalTextOfEachType) {
    EXPECT_EQ(Print(static_cast<char>(0xFF)), "255");
    EXPECT_EQ(Print(static_cast<short>(-1)), "-1");
    EXPECT_EQ(Print(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(Print(4294967295u), "4294967295");
    EXPECT_EQ(Print(-9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(Print(-9223372036854775807LL - 1), "-9223372036854775808");
    EXPECT_EQ(Print(18446744073709551615ull), "18446744073709551615");
    EXPECT_FALSE(ToString(static_cast<char>(1), nullptr));
}

using Strings = std::vector<std::string>;

TEST(ParseCommandLine, SplitsAtSpacesAndQuotes) {
    const struct {
        std::string mLine;
        Strings mArguments;
    } cases[] = {
        {" a  \"b c\" d ", {"a", "b c", "d"}},
        {"a \"b\" \"c d", {"a", "b"}},  // an unclosed quote ends the parsing
        {"\"a b\"c", {"a b", "c"}},     // text right after the closing quote
        {"\"\" x", {"", "x"}},          // empty quotes give an empty argument
        {"a\"b c", {"a\"b", "c"}},      // a quote inside an argument is ordinary
        {"a\tb c", {"a\tb", "c"}},      // only the space separates
        {std::string("a\0b c", 5), {std::string("a\0b", 3), "c"}},
    };
    for (const auto& c : cases) {
        Strings arguments = {"kept"};
        ParseCommandLine(c.mLine, arguments);
        Strings expected = {"kept"};
        expected.insert(expected.end(), c.mArguments.begin(), c.mArguments.end());
        EXPECT_EQ(arguments, expected) << "[" << c.mLine << "]";
    }
}

TEST(ParseTokens, SplitsInPlaceWithoutEmptyTokens) {
    char text[] = "a,,b;c";
    std::vector<char*> tokens;
    ParseTokens(",;", text, tokens);
    EXPECT_EQ(tokens, (std::vector<char*>{text, text + 3, text + 5}));
    EXPECT_EQ(std::string(text, sizeof text), std::string("a\0,b\0c\0", 7))
        << "delimiters after tokens become NULs";
    char none[] = ",,,";
    ParseTokens(",", none, tokens);
    ParseTokens(nullptr, none, tokens);
    ParseTokens("", none, tokens);
    ParseTokens(",", nullptr, tokens);
    EXPECT_EQ(tokens.size(), 3u);
}

TEST(ParseFormatSpecifier, ListsTheArgumentsAndRefusesMalformedFormatsKeepingWhatWasListed) {
    const struct {
        const char* mFormat;
        bool mAccepted;
        std::string mTypes;
    } cases[] = {
        {"%d %s%%%*.*f", true, "ds**f"},
        {"%I64d%I32x%Id%Iz", true, "dxd"},  // "I" not followed by a width or an integer conversion is text
        {"%lld%ld%hd%wc%Lf%Fp%Np", true, "dddcfpp"},
        {"%-08.3lf%#x% d%+i%.d", true, "fxdid"},
        {"%c%C%S%Z%p%X%E%G%e%g%o%u%i", true, "cCSZpXEGegoui"},
        {"%5", false, ""},    // ends inside a directive
        {"%y", false, ""},    // beyond the classified characters
        {"%n", false, ""},    // not a conversion
        {"%5*d", false, ""},  // a star after a width
        {"%..d", false, ""},
        {"%d%y%s", false, "d"},
        {"%*", false, "*"},
    };
    for (const auto& c : cases) {
        std::vector<char> types;
        EXPECT_EQ(ParseFormatSpecifier(c.mFormat, 100, types), c.mAccepted) << c.mFormat;
        EXPECT_EQ(std::string(types.begin(), types.end()), c.mTypes) << c.mFormat;
    }
}

TEST(ParseFormatSpecifier, MustEndWithinMaxLength) {
    std::vector<char> types;
    EXPECT_FALSE(ParseFormatSpecifier("%d", 1, types));
    EXPECT_TRUE(ParseFormatSpecifier("%d", 2, types));
    // Not terminated at all: exactly maxLength + 1 bytes are read (the address sanitizer build checks).
    const char unterminated[3] = {'%', 'd', 'x'};
    EXPECT_FALSE(ParseFormatSpecifier(unterminated, 2, types));
    EXPECT_EQ(types, std::vector<char>{'d'}) << "only the accepted format listed its argument";
}

}  // namespace
