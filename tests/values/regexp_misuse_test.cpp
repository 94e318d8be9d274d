// What ends the process: null arguments and patterns that do not compile.
#include <string>

#include <gmock/gmock.h>

#include "expressions.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::IsEmpty;

namespace {

struct Misuse {
    const char* function;
    const char* condition;
    const char* what;
    void (*call)(RegExp* regexp);
};

void PrintTo(const Misuse& misuse, std::ostream* stream)
{
    *stream << misuse.function << " " << misuse.what;
}

class RegExpMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(RegExpMisuse, EndsTheProcess)
{
    const Outcome outcome = run_fresh([] { GetParam().call(RegExp_New("a", 1)); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("regexp", GetParam().function, GetParam().condition));
    EXPECT_THAT(outcome.log, IsEmpty());
}

const Misuse kMisuses[] = {
    {"RegExp_New", "text", "NullPattern", [](RegExp*) { (void)RegExp_New(nullptr, 1); }},
    {"RegExp_New", "0 == ret", "OpenGroup", [](RegExp*) { (void)RegExp_New("(", 1); }},
    {"RegExp_New", "0 == ret", "OpenBracket", [](RegExp*) { (void)RegExp_New("[a", 0); }},
    {"RegExp_New", "0 == ret", "LoneBackslash", [](RegExp*) { (void)RegExp_New("\\", 1); }},
    {"RegExp_Delete", "regexp", "Null", [](RegExp*) { RegExp_Delete(nullptr); }},
    {"RegExp_Match", "regexp", "Null", [](RegExp*) { RegExp_Match(nullptr, "a"); }},
    {"RegExp_Match", "text", "NullText", [](RegExp* regexp) { RegExp_Match(regexp, nullptr); }},
    {"RegExp_Match", "regexp", "BothNull", [](RegExp*) { RegExp_Match(nullptr, nullptr); }},
    {"RegExp_MatchSubExp", "regexp", "Null", [](RegExp*) { RegExp_MatchSubExp(nullptr, "a", 0); }},
    {"RegExp_MatchSubExp", "text", "NullText",
     [](RegExp* regexp) { RegExp_MatchSubExp(regexp, nullptr, 0); }},
    {"RegExp_MatchSubExp", "regexp", "BothNull",
     [](RegExp*) { RegExp_MatchSubExp(nullptr, nullptr, 0); }},
    {"RegExp_Replace", "regexp", "Null",
     [](RegExp*) { (void)RegExp_Replace(nullptr, "a", "b", 0); }},
    {"RegExp_Replace", "regexp", "AllNull",
     [](RegExp*) { (void)RegExp_Replace(nullptr, nullptr, nullptr, 0); }},
    {"RegExp_Replace", "text", "NullText",
     [](RegExp* regexp) { (void)RegExp_Replace(regexp, nullptr, "b", 0); }},
    {"RegExp_Replace", "replacement", "NullReplacement",
     [](RegExp* regexp) { (void)RegExp_Replace(regexp, "a", nullptr, 0); }},
    {"SubExps_Size", "subexps", "Null", [](RegExp*) { SubExps_Size(nullptr); }},
    {"SubExps_GetIndex", "subexps", "Null", [](RegExp*) { SubExps_GetIndex(nullptr, 0); }},
    {"subexps_clear", "list", "MatchWithoutItsList",
     [](RegExp* regexp) {
         regexp->subexps = nullptr;
         RegExp_MatchSubExp(regexp, "a", 0);
     }},
    {"subexps_clear", "list", "DeleteWithoutItsList",
     [](RegExp* regexp) {
         regexp->subexps = nullptr;
         RegExp_Delete(regexp);
     }},
};

INSTANTIATE_TEST_SUITE_P(Calls, RegExpMisuse, testing::ValuesIn(kMisuses), [](const auto& test) {
    return std::string(test.param.function) + test.param.what;
});

}  // namespace
