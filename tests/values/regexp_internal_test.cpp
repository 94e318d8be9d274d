// How the shorthands of patterns are rewritten.
#include <string>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "mem_malloc.h"
#include "values/regexp_shorthands.h"
#include "values/regexp_text.h"

using namespace harness;

namespace {

std::string rewritten(const char* pattern)
{
    char* const text = common::regexp::rewrite(pattern);
    std::string copy(text);
    MEM_Free(text);
    return copy;
}

TEST(RegExpShorthands, AreRewritten)
{
    struct {
        const char* pattern;
        const char* text;
    } constexpr kCases[] = {
        {"", ""},
        {"abc", "abc"},
        {"\\s", "[[:space:]]"},
        {"\\w", "[a-zA-Z_0-9]"},
        {"\\d", "[[:digit:]]"},
        {"\\W", "[^a-zA-Z_0-9]"},
        // The \W that \b brings is rewritten after it.
        {"\\b", "(^|[^a-zA-Z_0-9]|$)"},
        {"a\\d\\db\\s", "a[[:digit:]][[:digit:]]b[[:space:]]"},
        {"\\S\\D\\B", "\\S\\D\\B"},
        // A backslash in front does not stop it, nor does a bracket expression around it.
        {"\\\\d", "\\[[:digit:]]"},
        {"\\\\\\W", "\\\\[^a-zA-Z_0-9]"},
        {"[\\s,]", "[[[:space:]],]"},
        {"\\", "\\"},
    };
    for (const auto& example : kCases) {
        EXPECT_EQ(rewritten(example.pattern), example.text) << example.pattern;
    }
}

TEST(RegExpShorthands, LongPattern)
{
    std::string pattern;
    std::string expected;
    for (int piece = 0; piece < 10'000; ++piece) {
        pattern += "\\bx";
        expected += "(^|[^a-zA-Z_0-9]|$)x";
    }
    EXPECT_EQ(rewritten(pattern.c_str()), expected);
}

#if defined(__LP64__)
TEST(RegExpText, FourGigabytesEndTheProcess)
{
    // Without touching them: the piece that would make it too long is never read.
    const Outcome outcome = run_fresh([] {
        common::regexp::GrowingText text;
        text.append("abc");
        text.append({"", std::size_t{UINT32_MAX} - 3});
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("regexp", "grow", "size <= UINT32_MAX"));
}
#endif

}  // namespace
