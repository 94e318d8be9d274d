// Regular expressions: asking whether a pattern compiles.
#include <algorithm>
#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include "expressions.h"
#include "fresh_process.h"

using namespace harness;

namespace {

/// What RegExp_Check() says of a pattern; nothing when it is accepted.
std::string problem(const char* pattern, std::uint32_t case_sensitive = 1)
{
    char error[80];
    std::memset(error, 'x', sizeof error);
    const std::uint32_t good = RegExp_Check(pattern, case_sensitive, error, sizeof error);
    EXPECT_NE(std::memchr(error, '\0', sizeof error), nullptr) << pattern;
    EXPECT_EQ(good, error[0] == '\0' ? 1U : 0U) << pattern;
    return error;
}

FRESH_TEST(RegExpCheck, BadPatternsAreNamedInTheCLibrarysWords)
{
    constexpr const char* kBad[][2] = {
        {"(", "Unmatched ( or \\("},
        {"\\d(", "Unmatched ( or \\("},
        {"a)(", "Unmatched ( or \\("},
        {"[a", "Unmatched [, [^, [:, [., or [="},
        {"\\s[a", "Unmatched [, [^, [:, [., or [="},
        {"\\", "Trailing backslash"},
        {"\\w\\", "Trailing backslash"},
        {"[z-a]", "Invalid range end"},
        {"[[:nothing:]]", "Invalid character class name"},
        {"a{2,1}", "Invalid content of \\{\\}"},
        {"a{99999}", "Regular expression too big"},
        {"(a)\\2", "Invalid back reference"},
        {"*", "Invalid preceding regular expression"},
    };
    for (const auto& [pattern, text] : kBad) {
        for (const std::uint32_t flag : {0U, 1U}) {
            EXPECT_EQ(problem(pattern, flag), text) << pattern;
        }
    }
}

FRESH_TEST(RegExpCheck, WhatIsAcceptedCompiles)
{
    for (const char* const pattern :
         {"", "a", "^\\d+$", "\\bfoo\\b", "[\\s]", "(a)\\1", "a|b", ")", "\\W\\w\\s", "a{1,3}"}) {
        for (const std::uint32_t flag : {0U, 1U, UINT32_MAX}) {
            const std::string why = problem(pattern, flag);
            EXPECT_EQ(why, "") << pattern;
            if (why.empty()) {
                EXPECT_NE(expression(pattern, flag), nullptr);
            }
        }
    }
}

// "\b" becomes a group, to which "\1" refers: without the rewriting there is none.
FRESH_TEST(RegExpCheck, ShorthandsAreRewrittenAsInACompiledExpression)
{
    EXPECT_EQ(problem("\\b\\1"), "");
    EXPECT_EQ(problem("a\\1"), "Invalid back reference");
    // The rewritten class makes the range end behind its start.
    EXPECT_EQ(problem("[a-\\w]"), "Invalid range end");
}

FRESH_TEST(RegExpCheck, TextIsCutAndTerminatedAndMayBeLeftOut)
{
    for (std::uint32_t size = 1; size <= 20; ++size) {
        char error[20];
        std::memset(error, 'x', sizeof error);
        EXPECT_EQ(RegExp_Check("\\", 1, error, size), 0U);
        EXPECT_EQ(error, std::string("Trailing backslash").substr(0, size - 1));
        const std::uint32_t written = std::min<std::uint32_t>(size, sizeof "Trailing backslash");
        EXPECT_TRUE(std::all_of(error + written, error + sizeof error, [](char byte) {
            return byte == 'x';
        })) << size;
    }
    char untouched = 'x';
    for (const char* const pattern : {"\\", "a", static_cast<const char*>(nullptr)}) {
        const std::uint32_t good = pattern != nullptr && *pattern == 'a' ? 1 : 0;
        EXPECT_EQ(RegExp_Check(pattern, 1, &untouched, 0), good);
        EXPECT_EQ(RegExp_Check(pattern, 1, nullptr, 80), good);
        EXPECT_EQ(RegExp_Check(pattern, 1, nullptr, 0), good);
    }
    EXPECT_EQ(untouched, 'x');
}

FRESH_TEST(RegExpCheck, NullPatternIsNotAccepted)
{
    EXPECT_EQ(problem(nullptr), "No pattern");
    char error[4];
    EXPECT_EQ(RegExp_Check(nullptr, 1, error, sizeof error), 0U);
    EXPECT_STREQ(error, "No ");
}

}  // namespace
