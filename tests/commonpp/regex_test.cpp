// regex: patterns that may be bad, matches walked through, replacement.
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "bodies.h"

using commonpp::regex;
using commonpp::status;

namespace {

std::string walked(regex& expression, const char* text)
{
    std::string all;
    for (const regex::captures& match : expression.matches(text)) {
        for (std::uint32_t index = 0; index < match.size(); ++index) {
            all += std::string(index == 0 ? "[" : " ") + match[index];
        }
        CHECK(match[match.size()] == nullptr);
        all += "]";
    }
    return all;
}

BODY(CommonppRegex, BadPatternIsAnErrorWithAText)
{
    const char* const kBad[] = {"(", "[a", "\\", "\\d(", "a{2,1}", "*", nullptr};
    for (const char* const pattern : kBad) {
        const auto made = regex::make(pattern);
        CHECK(!made);
        CHECK(made.error().code == status::invalid_param);
        CHECK(std::strlen(made.error().text) != 0);
    }
    CHECK_EQ(std::string(regex::make("\\w(").error().text), "Unmatched ( or \\(");
}

BODY(CommonppRegex, Matches)
{
    const auto digits = regex::make("^\\d+$");
    CHECK(static_cast<bool>(digits));
    CHECK(digits->match("2024"));
    CHECK(!digits->match("20a4"));
    CHECK(!regex::make("abc")->match("xABCx"));
    CHECK(regex::make("abc", false)->match("xABCx"));
}

BODY(CommonppRegex, MatchesAreWalkedThrough)
{
    auto pairs = regex::make("(\\d+)-(\\d+)?");
    CHECK_EQ(walked(*pairs, "1-2 30-40 5-"), "[1-2 1 2][30-40 30 40][5- 5]");
    CHECK(walked(*pairs, "none").empty());
    CHECK_EQ(walked(*pairs, "7-8"), "[7-8 7 8]");
}

BODY(CommonppRegex, MatchOfNoTextIsTheLast)
{
    auto any = regex::make("x*");
    CHECK_EQ(walked(*any, "xxfoo"), "[xx][]");
    CHECK_EQ(walked(*any, "foo"), "[]");
    auto start = regex::make("^");
    CHECK_EQ(walked(*start, "foo"), "[]");
}

BODY(CommonppRegex, Replaces)
{
    auto letter = regex::make("o");
    CHECK_EQ(std::string(letter->replace("foo boo", "0")), "f00 b00");
    CHECK_EQ(std::string(letter->replace("foo boo", "0", false)), "f0o boo");
}

BODY(CommonppRegex, MovesTakeTheExpressionAlong)
{
    auto made = regex::make("a");
    regex first = *std::move(made);
    RegExp* const record = first.native();
    regex second(std::move(first));
    CHECK(first.native() == nullptr);  // NOLINT(bugprone-use-after-move)
    CHECK(second.native() == record);
    first = std::move(second);
    CHECK(first.match("a"));
    first = *regex::make("b");
    CHECK(!first.match("a"));
}

}  // namespace
