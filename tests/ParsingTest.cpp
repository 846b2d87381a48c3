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
        {"a  \"b c\" d", {"a", "b c", "d"}},
        {"   ", {}},
        {"", {}},
        {"a \"b", {"a"}},  // an unclosed quote ends the parsing
        {"a \"b\" \"c d", {"a", "b"}},
        {"\"a b\"c", {"a b", "c"}},  // text right after the closing quote
        {"\"\"", {""}},              // empty quotes give an empty argument
        {"\"\" x", {"", "x"}},
        {"a\"b c", {"a\"b", "c"}},  // a quote inside an argument is ordinary
        {"a\tb c", {"a\tb", "c"}},  // only the space separates
        {" lead  trail ", {"lead", "trail"}},
        {"\"x\" ", {"x"}},
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
    ASSERT_EQ(tokens.size(), 3u);
    EXPECT_EQ(tokens[0], text + 0);
    EXPECT_EQ(tokens[1], text + 3);
    EXPECT_EQ(tokens[2], text + 5);
    EXPECT_EQ(std::string(text, sizeof text), std::string("a\0,b\0c\0", 7))
        << "delimiters after tokens become NULs";

    const struct {
        const char* mDelimiters;
        const char* mText;
        Strings mTokens;
    } cases[] = {{" ", "  one two  ", {"one", "two"}},
                 {",", ",,,", {}},
                 {",", "no delimiter", {"no delimiter"}},
                 {nullptr, "a,b", {}},
                 {"", "a,b", {}},
                 {",", nullptr, {}},
                 {",", "", {}}};
    for (const auto& c : cases) {
        std::vector<char> copy;
        if (c.mText != nullptr) {
            copy.assign(c.mText, c.mText + strlen(c.mText) + 1);
        }
        std::vector<char*> found;
        ParseTokens(c.mDelimiters, c.mText == nullptr ? nullptr : copy.data(), found);
        EXPECT_EQ(Strings(found.begin(), found.end()), c.mTokens) << (c.mText ? c.mText : "(null)");
    }
}

TEST(ParseFormatSpecifier, ListsTheArgumentsOfWellFormedFormats) {
    const struct {
        const char* mFormat;
        std::string mTypes;
    } cases[] = {
        {"%d %s", "ds"},    {"%*.*f", "**f"},
        {"%%", ""},         {"", ""},
        {"plain text", ""}, {"%I64d", "d"},
        {"%I32x", "x"},     {"%Id", "d"},
        {"%Iz", ""},  // "I" not followed by a width or an integer conversion is ordinary text
        {"%lld", "d"},      {"%ld%hd%wc%Lf%Fp%Np", "ddcfpp"},
        {"%-08.3lf", "f"},  {"%#x% d%+i", "xdi"},
        {"%.d", "d"},       {"%c%C%S%Z%p%X%E%G%e%g%o%u%i", "cCSZpXEGegoui"},
        {"%5d\x7F", "d"},   {"%d\n%s", "ds"},
    };
    for (const auto& c : cases) {
        std::vector<char> types;
        EXPECT_TRUE(ParseFormatSpecifier(c.mFormat, 100, types)) << c.mFormat;
        EXPECT_EQ(std::string(types.begin(), types.end()), c.mTypes) << c.mFormat;
    }
}

TEST(ParseFormatSpecifier, RefusesMalformedFormatsKeepingWhatWasListed) {
    const struct {
        const char* mFormat;
        std::string mTypes;
    } cases[] = {
        {"%5", ""},  // ends inside a directive
        {"%y", ""},  // beyond the classified characters
        {"%n", ""},  // not a conversion
        {"100%", ""},
        {"%5*d", ""},  // a star after a width
        {"%..d", ""},
        {"%d%y%s", "d"},
        {"%*", "*"},
        {"%\x80"
         "d",
         ""},
        {"%I64", ""},
    };
    for (const auto& c : cases) {
        std::vector<char> types;
        EXPECT_FALSE(ParseFormatSpecifier(c.mFormat, 100, types)) << c.mFormat;
        EXPECT_EQ(std::string(types.begin(), types.end()), c.mTypes) << c.mFormat;
    }
}

TEST(ParseFormatSpecifier, MustEndWithinMaxLength) {
    const struct {
        const char* mFormat;
        unsigned int mMaxLength;
        bool mAccepted;
    } cases[] = {
        {"%d", 1, false}, {"%d", 2, true}, {"%d", 3, true}, {"", 0, true}, {"%d", 0, false},
    };
    for (const auto& c : cases) {
        std::vector<char> types;
        EXPECT_EQ(ParseFormatSpecifier(c.mFormat, c.mMaxLength, types), c.mAccepted)
            << c.mFormat << " within " << c.mMaxLength;
        EXPECT_EQ(types.size(), c.mAccepted && *c.mFormat ? 1u : 0u);
    }
    // Not terminated at all: exactly maxLength + 1 bytes are read.
    const char unterminated[3] = {'%', 'd', 'x'};
    std::vector<char> types;
    EXPECT_FALSE(ParseFormatSpecifier(unterminated, 2, types));
    EXPECT_TRUE(types.empty());
}

}  // namespace
