// Regular expressions: compiling, matching and stepping through matches.
#include "regexp.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "expressions.h"
#include "fresh_process.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct MatchCase {
    const char* pattern;
    const char* text;
    std::uint32_t matches;
};

TEST(RegExp, Matches)
{
    constexpr MatchCase kCases[] = {
        {"^\\d+$", "2024", 1}, {"^\\d+$", "20a4", 0}, {"b", "abc", 1},   {"b", "ac", 0},
        {"", "", 1},           {"", "abc", 1},        {"a|b", "b", 1},   {"(a)(b)?", "a", 1},
        {"abc", "ABC", 0},     {"a.c", "a\nc", 1},    {"^b", "a\nb", 0},
    };
    for (const MatchCase& example : kCases) {
        EXPECT_EQ(RegExp_Match(expression(example.pattern).get(), example.text), example.matches)
            << example.pattern << " in " << example.text;
    }
}

TEST(RegExp, CaseFlagDecidesAboutCase)
{
    for (const std::uint32_t flag : {1U, 2U, UINT32_MAX}) {
        EXPECT_EQ(RegExp_Match(expression("abc", flag).get(), "xABCx"), 0U) << flag;
    }
    EXPECT_EQ(RegExp_Match(expression("abc", 0).get(), "xABCx"), 1U);
    EXPECT_EQ(RegExp_Match(expression("ABC", 0).get(), "xabcx"), 1U);
}

TEST(RegExp, ShorthandsStandForTheirClasses)
{
    for (int byte = 1; byte < 128; ++byte) {
        const char text[] = {static_cast<char>(byte), '\0'};
        const bool space = std::string(" \t\n\v\f\r").find(text[0]) != std::string::npos;
        const bool digit = byte >= '0' && byte <= '9';
        const bool word =
            digit || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_';
        EXPECT_EQ(RegExp_Match(expression("\\s").get(), text), space) << byte;
        EXPECT_EQ(RegExp_Match(expression("\\d").get(), text), digit) << byte;
        EXPECT_EQ(RegExp_Match(expression("\\w").get(), text), word) << byte;
        EXPECT_EQ(RegExp_Match(expression("\\W").get(), text), !word) << byte;
    }
}

// The boundary is a group that takes a character with it, not a place between two.
TEST(RegExp, BoundaryIsAGroup)
{
    const Expression boundary = expression("a\\b");
    EXPECT_EQ(boundary->expression.re_nsub, 1U);
    EXPECT_THAT(texts(RegExp_MatchSubExp(boundary.get(), "ab a,c", 0)), ElementsAre("a,", ","));
    EXPECT_THAT(texts(RegExp_MatchSubExp(boundary.get(), "ba", 0)), ElementsAre("a", ""));
    EXPECT_EQ(RegExp_Match(expression("\\bfoo\\b").get(), "a foo b"), 1U);
    EXPECT_EQ(RegExp_Match(expression("\\bfoo\\b").get(), "afoo b"), 0U);
}

TEST(RegExp, NewOneIsAtTheStart)
{
    const Expression regexp = expression("(a)(b(c))");
    EXPECT_EQ(regexp->expression.re_nsub, 3U);
    EXPECT_EQ(regexp->position, 0U);
    EXPECT_EQ(regexp->result, nullptr);
    EXPECT_EQ(SubExps_Size(&regexp->subexps), 0U);
    EXPECT_EQ(SubExps_GetIndex(&regexp->subexps, 0), nullptr);
}

TEST(RegExpStep, EachCallGivesTheNextMatch)
{
    const Expression regexp = expression("(\\d+)");
    const char* const text = "a1b22c333";
    SubExps* const first = RegExp_MatchSubExp(regexp.get(), text, 0);
    EXPECT_EQ(first, &regexp->subexps);
    EXPECT_THAT(texts(first), ElementsAre("1", "1"));
    EXPECT_EQ(regexp->position, 2U);
    EXPECT_THAT(texts(RegExp_MatchSubExp(regexp.get(), text, 1)), ElementsAre("22", "22"));
    EXPECT_EQ(regexp->position, 5U);
    EXPECT_THAT(texts(RegExp_MatchSubExp(regexp.get(), text, 1)), ElementsAre("333", "333"));
    EXPECT_EQ(regexp->position, 9U);
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), text, 1), nullptr);
    EXPECT_EQ(SubExps_Size(&regexp->subexps), 0U) << "the last texts are gone";
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), text, 1), nullptr);
    EXPECT_THAT(texts(RegExp_MatchSubExp(regexp.get(), text, 0)), ElementsAre("1", "1"));
}

TEST(RegExpStep, NoMatchLeavesThePosition)
{
    const Expression regexp = expression("a");
    EXPECT_NE(RegExp_MatchSubExp(regexp.get(), "abb", 0), nullptr);
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), "abb", 1), nullptr);
    EXPECT_EQ(regexp->position, 1U);
    EXPECT_EQ(SubExps_Size(&regexp->subexps), 0U);
}

TEST(RegExpStep, AnyOtherFlagContinues)
{
    const Expression regexp = expression("[ab]");
    EXPECT_THAT(texts(RegExp_MatchSubExp(regexp.get(), "ab", 0)), ElementsAre("a"));
    EXPECT_THAT(texts(RegExp_MatchSubExp(regexp.get(), "ab", UINT32_MAX)), ElementsAre("b"));
}

TEST(RegExpStep, RestIsATextOfItsOwn)
{
    const Expression regexp = expression("^a");
    EXPECT_NE(RegExp_MatchSubExp(regexp.get(), "aab", 0), nullptr);
    EXPECT_NE(RegExp_MatchSubExp(regexp.get(), "aab", 1), nullptr);
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), "aab", 1), nullptr);
}

TEST(RegExpStep, GroupsThatTookNoPartAreLeftOut)
{
    const Expression leading = expression("(a)?b");
    SubExps* subexps = RegExp_MatchSubExp(leading.get(), "b", 0);
    EXPECT_THAT(texts(subexps), ElementsAre("b"));
    EXPECT_EQ(SubExps_GetIndex(subexps, 1), nullptr);
    const Expression middle = expression("(a)(b)?(c)");
    EXPECT_THAT(texts(RegExp_MatchSubExp(middle.get(), "ac", 0)), ElementsAre("ac", "a", "c"));
    EXPECT_THAT(texts(RegExp_MatchSubExp(middle.get(), "abc", 0)),
                ElementsAre("abc", "a", "b", "c"));
    EXPECT_THAT(texts(RegExp_MatchSubExp(expression("(a*)b").get(), "b", 0)), ElementsAre("b", ""))
        << "a group that matched nothing took part";
}

TEST(RegExpStep, MatchOfNothingIsFoundAgain)
{
    const Expression regexp = expression("x*");
    for (int call = 0; call < 3; ++call) {
        EXPECT_THAT(texts(RegExp_MatchSubExp(regexp.get(), "abc", call != 0)), ElementsAre(""));
        EXPECT_EQ(regexp->position, 0U);
    }
}

TEST(RegExpStep, EmptyTextHasNoMatch)
{
    const Expression regexp = expression("x*");
    EXPECT_EQ(RegExp_Match(regexp.get(), ""), 1U);
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), "", 0), nullptr);
}

TEST(RegExpStep, ShorterTextThanBeforeHasNoFurtherMatch)
{
    const Expression regexp = expression("b");
    EXPECT_NE(RegExp_MatchSubExp(regexp.get(), "aaab", 0), nullptr);
    const std::string shorter = "b";
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), shorter.c_str(), 1), nullptr);
}

TEST(RegExpStep, TextOfTheLastMatchMayBeSearched)
{
    const Expression regexp = expression("[a-z]+ (.*)");
    SubExps* found = RegExp_MatchSubExp(regexp.get(), "one two three four", 0);
    for (const char* const rest : {"two three four", "three four"}) {
        const char* const captured = SubExps_GetIndex(found, 1);
        ASSERT_STREQ(captured, rest);
        found = RegExp_MatchSubExp(regexp.get(), captured, 0);
    }
    EXPECT_THAT(texts(found), ElementsAre("three four", "four"));
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), SubExps_GetIndex(found, 1), 0), nullptr);
    EXPECT_EQ(SubExps_Size(&regexp->subexps), 0U);
    found = RegExp_MatchSubExp(regexp.get(), "a b", 0);
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), SubExps_GetIndex(found, 1), 1), nullptr)
        << "shorter than the position";
    EXPECT_EQ(SubExps_Size(&regexp->subexps), 0U);
}

TEST(RegExpStep, ManyGroups)
{
    for (const std::size_t groups : {14U, 15U, 16U, 17U, 500U}) {
        std::string pattern;
        for (std::size_t group = 0; group < groups; ++group) {
            pattern += "(a)";
        }
        const Expression regexp = expression(pattern);
        std::vector<std::string> expected(groups + 1, "a");
        expected[0] = std::string(groups, 'a');
        EXPECT_EQ(texts(RegExp_MatchSubExp(regexp.get(), expected[0].c_str(), 0)), expected);
    }
}

TEST(RegExpStep, TextsOfAMatchByIndex)
{
    const Expression regexp = expression("(a)(b)(c)");
    SubExps* const subexps = RegExp_MatchSubExp(regexp.get(), "abc", 0);
    ASSERT_EQ(SubExps_Size(subexps), 4U);
    EXPECT_STREQ(SubExps_GetIndex(subexps, 0), "abc");
    EXPECT_STREQ(SubExps_GetIndex(subexps, 3), "c");
    EXPECT_EQ(SubExps_GetIndex(subexps, 4), nullptr);
    EXPECT_EQ(SubExps_GetIndex(subexps, UINT32_MAX), nullptr);
}

TEST(RegExp, NothingIsLogged)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_LEVEL", "Verbose"}}}, [] {
        const Expression regexp = expression("(a)");
        EXPECT_EQ(RegExp_Match(regexp.get(), "b"), 0U);
        EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), "b", 0), nullptr);
        EXPECT_STREQ(RegExp_Replace(regexp.get(), "a", "", 1), "");
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

}  // namespace
