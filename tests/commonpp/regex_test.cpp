// regex: patterns that may be bad, matches, replacement.
#include <cstring>
#include <string>
#include <utility>

#include "bodies.h"

using commonpp::regex;
using commonpp::status;

namespace {

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

BODY(CommonppRegex, GroupsAreForTheCCall)
{
    const auto pair = regex::make("(\\d+)-(\\d+)");
    const SubExps* const texts = RegExp_MatchSubExp(pair->native(), "at 30-40", 0);
    CHECK_EQ(SubExps_Size(texts), 3U);
    CHECK_EQ(std::string(SubExps_GetIndex(texts, 2)), "40");
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
    // NOLINTNEXTLINE(bugprone-use-after-move): what a move leaves behind is looked at.
    CHECK(first.native() == nullptr);
    CHECK(second.native() == record);
    first = std::move(second);
    CHECK(first.match("a"));
    first = *regex::make("b");
    CHECK(!first.match("a"));
}

}  // namespace
