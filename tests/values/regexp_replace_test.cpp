// Replacing the first match of an expression, or all of them.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "expressions.h"
#include "fresh_process.h"

using namespace harness;

namespace {

struct ReplaceCase {
    const char* pattern;
    const char* text;
    const char* replacement;
    const char* first;
    const char* all;
};

TEST(RegExpReplace, FirstOrAll)
{
    constexpr ReplaceCase kCases[] = {
        {"o", "foo boo", "0", "f0o boo", "f00 b00"},
        {"x", "foo", "0", "foo", "foo"},
        {"foo", "foo", "", "", ""},
        {"o", "oo", "ooo", "oooo", "oooooo"},
        {"(o)", "foo", "\\1&$1", "f\\1&$1o", "f\\1&$1\\1&$1"},
        {"o+", "foo boo", "-", "f- boo", "f- b-"},
        {"x", "", "0", "", ""},
        // What is left is a text of its own: its start is one.
        {"^o", "oofo", "0", "0ofo", "00fo"},
        {"o$", "oo", "0", "o0", "o0"},
        {"\\s", "a b\tc", "_", "a_b\tc", "a_b_c"},
        {"a\\b", "a a a", "-", "-a a", "---"},
    };
    for (const ReplaceCase& example : kCases) {
        const Expression regexp = expression(example.pattern);
        EXPECT_STREQ(RegExp_Replace(regexp.get(), example.text, example.replacement, 0),
                     example.first)
            << example.pattern;
        EXPECT_STREQ(RegExp_Replace(regexp.get(), example.text, example.replacement, 1),
                     example.all)
            << example.pattern;
        EXPECT_STREQ(RegExp_Replace(regexp.get(), example.text, example.replacement, 2),
                     example.first)
            << "only 1 is all";
    }
}

TEST(RegExpReplace, MatchOfNothingAtTheStartEndsIt)
{
    constexpr ReplaceCase kCases[] = {
        {"x*", "", "-", "-", "-"},
        {"x*", "foo", "-", "-foo", "-foo"},
        {"^", "foo", "-", "-foo", "-foo"},
        {"o*", "foo", "-", "-foo", "-foo"},
        {"f*", "ffoo", "-", "-oo", "--oo"},
        {"\\b", "foo bar", "-", "-foo bar", "-foo bar"},
        {"$", "foo", "-", "foo-", "foo-"},
        // Of nothing, but further on: what is before it is progress.
        {"o*$", "fo o", "-", "fo -", "fo -"},
    };
    for (const ReplaceCase& example : kCases) {
        const Expression regexp = expression(example.pattern);
        EXPECT_STREQ(RegExp_Replace(regexp.get(), example.text, "-", 0), example.first)
            << example.pattern;
        EXPECT_STREQ(RegExp_Replace(regexp.get(), example.text, "-", 1), example.all)
            << example.pattern;
    }
}

TEST(RegExpReplace, ResultIsKeptUntilTheNextOne)
{
    const Expression regexp = expression("o");
    const char* const first = RegExp_Replace(regexp.get(), "foo", "0", 1);
    EXPECT_EQ(first, regexp->result);
    RegExp_Match(regexp.get(), "boo");
    RegExp_MatchSubExp(regexp.get(), "boo", 0);
    EXPECT_STREQ(first, "f00");
    EXPECT_STREQ(RegExp_Replace(regexp.get(), "none", "0", 1), "n0ne");
    EXPECT_STREQ(regexp->result, "n0ne");
}

TEST(RegExpReplace, TextMayBeTheLastResult)
{
    const Expression regexp = expression("o");
    const char* text = RegExp_Replace(regexp.get(), "foo boo", "0", 0);
    text = RegExp_Replace(regexp.get(), text, "1", 0);
    text = RegExp_Replace(regexp.get(), text, text, 0);
    EXPECT_STREQ(text, "f01 bf01 booo");
    EXPECT_STREQ(RegExp_Replace(regexp.get(), text, "", 1), "f01 bf01 b");
}

TEST(RegExpReplace, StepwiseMatchGoesOnAfterwards)
{
    const Expression regexp = expression("(o|b)");
    RegExp_MatchSubExp(regexp.get(), "foo b", 0);
    (void)RegExp_Replace(regexp.get(), "foo b", "0", 1);
    EXPECT_EQ(regexp->position, 2U);
    EXPECT_EQ(texts(&regexp->subexps), (std::vector<std::string>{"o", "o"}));
}

/// Step by step, as the texts are defined: the rest is replaced first, as a text of its own.
std::string model(RegExp* regexp, const std::string& text, const std::string& replacement)
{
    std::vector<regmatch_t> slots(regexp->expression.re_nsub + 1);
    if (regexec(&regexp->expression, text.c_str(), slots.size(), slots.data(), 0) != 0) {
        return text;
    }
    const auto begin = static_cast<std::size_t>(slots[0].rm_so);
    const auto end = static_cast<std::size_t>(slots[0].rm_eo);
    const std::string rest = text.substr(end);
    return text.substr(0, begin) + replacement +
           (rest.empty() || end == 0 ? rest : model(regexp, rest, replacement));
}

TEST(RegExpReplace, SameAsStepByStep)
{
    constexpr const char* kPatterns[] = {"a",       "^a",   "a$",    "ab*",        "a|^b",
                                         "(a|b)c?", "b*",   "[^a]",  "\\bab?",     "(^|c)a*",
                                         "\\<a",    "c\\>", "a.b|.", "(a|^b)+(c|)"};
    for (const char* const pattern : kPatterns) {
        const Expression regexp = expression(pattern);
        // All texts of up to 6 of 4 characters.
        for (unsigned length = 0; length <= 6; ++length) {
            for (unsigned number = 0; number < 1U << (2 * length); ++number) {
                std::string text;
                for (unsigned place = 0; place < length; ++place) {
                    text += "abc\n"[number >> (2 * place) & 3];
                }
                ASSERT_EQ(RegExp_Replace(regexp.get(), text.c_str(), "<>", 1),
                          model(regexp.get(), text, "<>"))
                    << pattern << " in " << text;
            }
        }
    }
}

// Calls inside one another, with the slots of a match in each, would need more than the stack has.
FRESH_TEST(RegExpReplace, ManyMatchesNeedNoStack)
{
    const std::string text(100'000, 'o');
    const Expression regexp = expression("o");
    EXPECT_EQ(RegExp_Replace(regexp.get(), text.c_str(), "0", 1), std::string(100'000, '0'));
}

}  // namespace
