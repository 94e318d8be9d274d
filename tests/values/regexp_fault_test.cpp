// Regular expressions when the C library fails, and the blocks that they hold.
#include <regex.h>

#include <gmock/gmock.h>

#include "expressions.h"
#include "fault.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using fault::Call;

namespace {

TEST(RegExpFault, ExpressionThatCannotBeCompiledEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::regcomp);
        (void)RegExp_New("a", 1);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("regexp", "RegExp_New", "0 == ret"));
}

FRESH_TEST(RegExpFault, CheckWithoutTheCLibrarysMemorySaysSo)
{
    const long blocks = fault::outstanding_blocks();
    fault::fail(Call::regcomp);
    char error[64] = "old";
    EXPECT_EQ(RegExp_Check("a", 1, error, sizeof error), 0U);
    EXPECT_STREQ(error, "Memory exhausted");
    EXPECT_EQ(RegExp_Check("a", 1, error, sizeof error), 1U);
    EXPECT_STREQ(error, "");
    EXPECT_EQ(fault::outstanding_blocks(), blocks) << "nothing is kept, neither way";
}

FRESH_TEST(RegExpFault, SearchThatFailsFindsNothing)
{
    const Expression regexp = expression("a");
    fault::fail_always(Call::regexec);
    EXPECT_EQ(RegExp_Match(regexp.get(), "a"), 0U);
    EXPECT_EQ(RegExp_MatchSubExp(regexp.get(), "a", 0), nullptr);
    EXPECT_STREQ(RegExp_Replace(regexp.get(), "a", "b", 1), "a");
    EXPECT_EQ(fault::fired(), 3);
}

FRESH_TEST(RegExpFault, ReplacingTakesOneSearchForEachMatchAndOneMore)
{
    const Expression regexp = expression("o");
    EXPECT_STREQ(RegExp_Replace(regexp.get(), "foo boo", "0", 0), "f0o boo");
    EXPECT_EQ(fault::calls(Call::regexec), 1);
    EXPECT_STREQ(RegExp_Replace(regexp.get(), "foo boot", "0", 1), "f00 b00t");
    EXPECT_EQ(fault::calls(Call::regexec), 6);
    EXPECT_STREQ(RegExp_Replace(regexp.get(), "oo", "0", 1), "00");
    EXPECT_EQ(fault::calls(Call::regexec), 8) << "nothing is looked for in nothing";
}

FRESH_TEST(RegExpFault, ReplacingNothingBySomethingTakesOneBlock)
{
    const Expression regexp = expression("x*");
    const int before = fault::calls(Call::realloc);
    EXPECT_STREQ(RegExp_Replace(regexp.get(), "foo", "0", 0), "0foo");
    EXPECT_EQ(fault::calls(Call::realloc) - before, 1);
}

FRESH_TEST(RegExpFault, SlotsOfManyGroupsAreGivenBack)
{
    const Expression regexp = expression("(a)()()()()()()()()()()()()()()()()");
    (void)RegExp_Replace(regexp.get(), "a", "b", 0);
    const long blocks = fault::outstanding_blocks();
    (void)RegExp_Replace(regexp.get(), "a", "b", 0);
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

FRESH_TEST(RegExpFault, ReplacingTheFirstMatchTakesOneBlock)
{
    const Expression regexp = expression("o+");
    for (const char* const text : {"foo boo", "o", "", "none here", "nothing", "of"}) {
        for (const char* const replacement : {"", "0", "a longer one"}) {
            const int before = fault::calls(Call::realloc);
            (void)RegExp_Replace(regexp.get(), text, replacement, 0);
            EXPECT_EQ(fault::calls(Call::realloc) - before, 1) << text << ": " << replacement;
        }
    }
}

TEST(RegExpFault, RunningOutOfMemoryEndsTheProcess)
{
    EXPECT_THAT(run_fresh([] {
                    fault::fail_always(Call::malloc);
                    (void)RegExp_New("a", 1);
                }),
                exited(1));
    EXPECT_THAT(run_fresh([] {
                    RegExp* const regexp = RegExp_New("a", 1);
                    fault::fail_always(Call::realloc);
                    (void)RegExp_Replace(regexp, "a", "b", 1);
                }),
                exited(1));
}

FRESH_TEST(RegExpFault, EveryBlockIsGivenBack)
{
    const long blocks = fault::outstanding_blocks();
    {
        const Expression regexp = expression("(\\w)(\\d)?");
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 3) << "record, list and what is compiled";
        RegExp_MatchSubExp(regexp.get(), "a1", 0);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 9) << "three nodes with texts";
        RegExp_MatchSubExp(regexp.get(), "a", 0);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 7);
        (void)RegExp_Replace(regexp.get(), "a b", "", 1);
        (void)RegExp_Replace(regexp.get(), "a b", "c", 1);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 8) << "one result";
    }
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

}  // namespace
