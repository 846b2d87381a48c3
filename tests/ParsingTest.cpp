#include "text/Parsing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

TEST(ParseCommandLine, SplitsAtSpacesAndQuotes) {
    const struct {
        std::string mLine;
        Strings mArguments;
    } cases[] = {
        {" a  \"b c\" d ", {"a", "b c", "d"}},
        {"   ", {}},
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
        {"%5d\x7F\n", true, "d"},
        {"%5", false, ""},  // ends inside a directive
        {"%y", false, ""},  // beyond the classified characters
        {"%n", false, ""},  // not a conversion
        {"100%", false, ""},
        {"%5*d", false, ""},  // a star after a width
        {"%..d", false, ""},
        {"%d%y%s", false, "d"},
        {"%*", false, "*"},
        {"%\x80"
         "d",
         false, ""},
        {"%I64", false, ""},
    };
    for (const auto& c : cases) {
        std::vector<char> types;
        EXPECT_EQ(ParseFormatSpecifier(c.mFormat, 100, types), c.mAccepted) << c.mFormat;
        EXPECT_EQ(std::string(types.begin(), types.end()), c.mTypes) << c.mFormat;
    }
}

TEST(ParseFormatSpecifier, MustEndWithinMaxLength) {
    const struct {
        const char* mFormat;
        unsigned int mMaxLength;
        bool mAccepted;
    } cases[] = {{"%d", 1, false}, {"%d", 2, true}, {"", 0, true}, {"%d", 0, false}};
    for (const auto& c : cases) {
        std::vector<char> types;
        EXPECT_EQ(ParseFormatSpecifier(c.mFormat, c.mMaxLength, types), c.mAccepted)
            << c.mFormat << " within " << c.mMaxLength;
        EXPECT_EQ(types.size(), c.mAccepted && *c.mFormat ? 1u : 0u);
    }
    // Not terminated at all: exactly maxLength + 1 bytes are read (the address sanitizer build checks).
    const char unterminated[3] = {'%', 'd', 'x'};
    std::vector<char> types;
    EXPECT_FALSE(ParseFormatSpecifier(unterminated, 2, types));
    EXPECT_TRUE(types.empty());
}

}  // namespace
