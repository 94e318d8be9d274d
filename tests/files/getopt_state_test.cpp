// What is kept from call to call and from one command line to the next, and what the callers and
// the environment have a say in.
#include <cstdlib>
#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "getopt_transcript.h"

namespace {

using namespace harness;
using namespace getopt_test;

constexpr Function kFunctions[] = {Function::Short, Function::Long, Function::LongOnly,
                                   Function::NoLong};

/// The next option of a command line, and nothing else about it.
std::string next(const CommandLine& line, const char* optstring, Function function = Function::Long)
{
    return step(function, line, optstring);
}

FRESH_TEST(GetoptState, TheFirstCallNeedsNoReset)
{
    const CommandLine line("a -x -y v b");
    EXPECT_EQ(optind, 1);
    EXPECT_EQ(next(line, "xy:"), "x");
    EXPECT_EQ(next(line, "xy:"), "y=v");
    EXPECT_EQ(next(line, "xy:"), "");
    EXPECT_EQ(line.order(), "| -x -y v ^a b");
}

FRESH_TEST(GetoptState, AfterTheEndItStaysAtTheEnd)
{
    for (const char* const words : {"", "a", "-x", "a -x b"}) {
        const CommandLine line(words);
        const std::string all = transcript(Function::Long, "x", line);
        const int end = optind;
        EXPECT_EQ(next(line, "x"), "");
        EXPECT_EQ(next(line, "x"), "");
        EXPECT_EQ(optind, end);
        EXPECT_EQ(all.substr(all.find('|')), line.order());
    }
}

FRESH_TEST(GetoptState, ZeroForgetsTheRestOfAWord)
{
    const CommandLine line("-abc");
    optind = 0;
    EXPECT_EQ(next(line, "abc"), "a");
    EXPECT_EQ(optind, 1);
    optind = 0;
    EXPECT_EQ(next(line, "abc"), "a");
    EXPECT_EQ(next(line, "abc"), "b");
    // One where it is already does not.
    optind = 1;
    EXPECT_EQ(next(line, "abc"), "c");
    EXPECT_EQ(next(line, "abc"), "");
    EXPECT_EQ(optind, 2);
}

FRESH_TEST(GetoptState, ZeroForgetsWhatWasPassedOver)
{
    const CommandLine old_line("a b -x c");
    optind = 0;
    EXPECT_EQ(next(old_line, "x"), "x");
    // The remembered words are those at 1 and 2, between which this one has to be left alone.
    EXPECT_EQ(transcript(Function::Long, "xy:", CommandLine("-y 1 -y 2 -x d")),
              "y=1 y=2 x | -y 1 -y 2 -x ^d");
    optind = 0;
    EXPECT_EQ(next(old_line, "x"), "x");
    EXPECT_EQ(transcript(Function::Long, "xy:", CommandLine("-y 1 -- d -x")),
              "y=1 | -y 1 -- ^d -x");
}

FRESH_TEST(GetoptState, TheEndForgetsWhatWasPassedOver)
{
    for (const char* const words : {"a b -x c", "a b"}) {
        transcript(Function::Long, "x", CommandLine(words));
        const CommandLine line("-x b -x");
        optind = 1;
        EXPECT_EQ(next(line, "x"), "x");
        EXPECT_EQ(next(line, "x"), "x");
        EXPECT_EQ(next(line, "x"), "");
        EXPECT_EQ(line.order(), "| -x -x ^b");
    }
}

// The common way to start anew, also with another command line: what is left of the first one must
// neither be worked off nor move words of the second.
FRESH_TEST(GetoptState, OneStartsAnewWhereverTheOptionsWereLeft)
{
    for (const Function function : {Function::Long, Function::LongOnly, Function::NoLong}) {
        const CommandLine old_line("a b c d -xz -y");
        optind = 0;
        EXPECT_EQ(next(old_line, "xyz", function), "x");
        const CommandLine shorter("-y");
        optind = 1;
        EXPECT_EQ(next(shorter, "xyz", function), "y");
        EXPECT_EQ(next(shorter, "xyz", function), "");
        EXPECT_EQ(shorter.order(), "| -y ^");

        optind = 0;
        EXPECT_EQ(next(old_line, "xyz", function), "x");
        optind = 1;
        EXPECT_EQ(next(old_line, "xyz", function), "x");
        EXPECT_EQ(next(old_line, "xyz", function), "z");
        EXPECT_EQ(next(old_line, "xyz", function), "y");
        EXPECT_EQ(next(old_line, "xyz", function), "");
        EXPECT_EQ(old_line.order(), "| -xz -y ^a b c d");
    }
    const CommandLine word("-y -xz");
    optind = 0;
    EXPECT_EQ(next(word, "xyz", Function::Short), "y");
    EXPECT_EQ(next(word, "xyz", Function::Short), "x");
    optind = 1;
    EXPECT_EQ(next(word, "xyz", Function::Short), "y");
}

FRESH_TEST(GetoptState, AnotherCommandLineStartsAnew)
{
    const CommandLine half_way("-xz");
    const CommandLine other("-y -x");
    optind = 0;
    EXPECT_EQ(next(half_way, "xyz"), "x");
    optind = 1;  // where it is
    EXPECT_EQ(next(other, "xyz"), "y");

    const CommandLine passed_over("a b -x c");
    optind = 0;
    EXPECT_EQ(next(passed_over, "xyz"), "x");
    const CommandLine longer("-y 1 2 3 -z d");
    optind = 5;
    EXPECT_EQ(next(longer, "xyz"), "z");
    EXPECT_EQ(next(longer, "xyz"), "");
    EXPECT_EQ(longer.order(), "| -y 1 2 3 -z ^d");
}

// An option that takes two words, or gives its argument back.
FRESH_TEST(GetoptState, AnIndexBehindWhatWasPassedOverKeepsIt)
{
    const CommandLine two("a b -x 1 2 -z");
    optind = 0;
    EXPECT_EQ(next(two, "x:z"), "x=1");
    ++optind;
    EXPECT_EQ(next(two, "x:z"), "z");
    EXPECT_EQ(next(two, "x:z"), "");
    EXPECT_EQ(two.order(), "| -x 1 2 -z ^a b");

    const CommandLine none("a b -x c");
    optind = 0;
    EXPECT_EQ(next(none, "x:"), "x=c");
    --optind;
    EXPECT_EQ(next(none, "x:"), "");
    EXPECT_EQ(none.order(), "| -x ^a b c");
}

FRESH_TEST(GetoptState, AnIndexThatIsNoneStartsAnew)
{
    // The words behind the count are there, but not to be moved.
    const CommandLine line("a b -x c -y e f");
    const auto work_off = [&](int argc, int index) {
        const int code = OXA_getopt_long(argc, line.argv(), "xy", kLongOptions, nullptr);
        optind = index;
        return code;
    };
    optind = 0;
    EXPECT_EQ(work_off(8, 8), 'x');
    EXPECT_EQ(work_off(6, -3), -1) << "an index behind the last word";
    EXPECT_EQ(line.order(), "| a b -x c -y e f");
    EXPECT_EQ(work_off(4, 4), 'x') << "an index before the first one";
    EXPECT_EQ(work_off(4, 4), -1);
    EXPECT_EQ(line.order(), "| -x a b ^c -y e f");
}

FRESH_TEST(GetoptState, AnotherIndexGoesOnFromThere)
{
    const CommandLine line("-a -b -c");
    optind = 2;
    EXPECT_EQ(next(line, "abc"), "b");
    EXPECT_EQ(next(line, "abc"), "c");
    EXPECT_EQ(next(line, "abc"), "");
}

FRESH_TEST(GetoptState, WordsBehindTheCountAreNotThere)
{
    const CommandLine line("-y v -x");
    for (const Function function : kFunctions) {
        const StandardError standard_error;
        optind = 0;
        CommandLine shorter("-y");
        optarg = nullptr;
        optopt = 0;
        int code = -1;
        if (function == Function::Short) {
            code = OXA_getopt(2, line.argv(), "xy:");
        } else {
            code = OXA_getopt_long(2, line.argv(), "xy:", kLongOptions, nullptr);
        }
        EXPECT_EQ(code, '?');
        EXPECT_EQ(optopt, 'y');
        EXPECT_EQ(optind, 2);
    }
    const CommandLine long_line("--level 3");
    const StandardError standard_error;
    optind = 0;
    EXPECT_EQ(OXA_getopt_long(2, long_line.argv(), "", kLongOptions, nullptr), '?');
    EXPECT_EQ(optind, 2);
    const CommandLine w_line("-W verbose");
    optind = 0;
    EXPECT_EQ(OXA_getopt_long(2, w_line.argv(), "W;", kLongOptions, nullptr), '?');
    EXPECT_EQ(optopt, 'W');
    EXPECT_EQ(optind, 2);
}

FRESH_TEST(GetoptState, NothingIsThereWithoutWords)
{
    const CommandLine line("-a");
    for (const int argc : {0, 1, -1}) {
        optind = 0;
        EXPECT_EQ(OXA_getopt(argc, line.argv(), "a"), -1);
        EXPECT_EQ(OXA_getopt_long(argc, line.argv(), "a", kLongOptions, nullptr), -1);
        EXPECT_EQ(OXA_getopt_long_only(argc, line.argv(), "a", kLongOptions, nullptr), -1);
        EXPECT_EQ(optind, 1);
    }
}

FRESH_TEST(GetoptMisuse, NullIsTheEnd)
{
    const CommandLine line("-a");
    for (const int index : {0, 1}) {
        char stale[] = "stale";
        const auto expect_end = [&](int code) {
            EXPECT_EQ(code, -1);
            EXPECT_EQ(optind, index);
            EXPECT_EQ(optarg, nullptr);
            optarg = stale;
        };
        optind = index;
        optarg = stale;
        expect_end(OXA_getopt(2, nullptr, "a"));
        expect_end(OXA_getopt(2, line.argv(), nullptr));
        expect_end(OXA_getopt_long(2, nullptr, "a", kLongOptions, nullptr));
        expect_end(OXA_getopt_long(2, line.argv(), nullptr, kLongOptions, nullptr));
        expect_end(OXA_getopt_long_only(2, nullptr, "a", kLongOptions, nullptr));
        expect_end(OXA_getopt_long_only(2, line.argv(), nullptr, kLongOptions, nullptr));
    }
    optind = 0;
    EXPECT_EQ(next(line, "a"), "a");
}

FRESH_TEST(GetoptMisuse, IndexOfALongOptionNeedNotBeAskedFor)
{
    const CommandLine line("--verbose");
    optind = 0;
    EXPECT_EQ(OXA_getopt_long(2, line.argv(), "", kLongOptions, nullptr), 'v');
}

FRESH_TEST(GetoptMisuse, LongOptionsMayHaveAnyCode)
{
    static const option kOptions[] = {
        {"end", no_argument, nullptr, -1}, {"nothing", no_argument, nullptr, 0}, {}};
    const CommandLine line("-end -nothing -e");
    optind = 0;
    EXPECT_EQ(OXA_getopt_long_only(4, line.argv(), "e", kOptions, nullptr), -1);
    EXPECT_EQ(optind, 2);
    EXPECT_EQ(OXA_getopt_long_only(4, line.argv(), "e", kOptions, nullptr), 0);
    EXPECT_EQ(OXA_getopt_long_only(4, line.argv(), "e", kOptions, nullptr), 'e');
}

FRESH_TEST(GetoptMisuse, NoLongOptionsAreNoneThatMatch)
{
    static const option kNone[] = {{}};
    const StandardError standard_error;
    const CommandLine line("--x -x");
    optind = 0;
    EXPECT_EQ(OXA_getopt_long(3, line.argv(), "x", kNone, nullptr), '?');
    EXPECT_EQ(optopt, 0);
    EXPECT_EQ(OXA_getopt_long(3, line.argv(), "x", kNone, nullptr), 'x');
    EXPECT_EQ(without_program_name(standard_error.text()), "unknown option -- x");
}

FRESH_TEST(GetoptMisuse, AWordMayBeErasedWhileItIsWorkedOff)
{
    const CommandLine line("-abc");
    optind = 0;
    EXPECT_EQ(next(line, "abc"), "a");
    std::memset(line.argv()[1], 0, 4);
    EXPECT_EQ(next(line, "abc"), "");
    EXPECT_EQ(line.order(), "| ^''");
}

// As the C library's own functions give them: a char with its sign.
FRESH_TEST(GetoptMisuse, CharactersOutsideOfAsciiAreOptions)
{
    const char letter = '\xE4';
    const StandardError standard_error;
    const CommandLine line("-\xE4 -\xF6");
    optind = 0;
    EXPECT_EQ(OXA_getopt(3, line.argv(), "\xE4"), letter);
    EXPECT_EQ(OXA_getopt(3, line.argv(), "\xE4"), '?');
    EXPECT_EQ(optopt, '\xF6');
    EXPECT_EQ(without_program_name(standard_error.text()), "unknown option -- \xF6");
}

TEST(GetoptDiagnostics, BeginWithTheProgramsNameAndEndTheLine)
{
    const Outcome outcome = run_fresh([] {
        program_invocation_short_name = const_cast<char*>("player");
        const CommandLine line("-x");
        EXPECT_EQ(next(line, ""), "?x");
    });
    EXPECT_EQ(outcome.err, "player: unknown option -- x\n");
    EXPECT_EQ(outcome.out, "");
}

TEST(GetoptDiagnostics, CanBeSwitchedOff)
{
    for (const Function function : {Function::Short, Function::Long, Function::LongOnly}) {
        run_silently({}, [function] {
            opterr = 0;
            // What is no option behind one dash is an unknown long one, where there are such.
            EXPECT_EQ(transcript(function, "ab:", CommandLine("-y -b")),
                      function == Function::LongOnly ? "?0 ?b | -y -b ^" : "?y ?b | -y -b ^");
        });
    }
    run_silently({}, [] {
        opterr = 0;
        EXPECT_EQ(transcript(Function::Long, "W;",
                             CommandLine("--none --ver --quiet=1 --level= -W none --level")),
                  "?0 ?0 ?0 l#2= ?0 ?l | --none --ver --quiet=1 --level= -W none --level ^");
        EXPECT_EQ(transcript(Function::Long, "W;", CommandLine("-W")), "?W | -W ^");
    });
}

TEST(GetoptPosixly, NothingIsPermutedAndPrefixesHaveNoMeaning)
{
    for (const char* const value : {"1", ""}) {
        constexpr auto L = Function::Long;
        constexpr auto O = Function::LongOnly;
        static constexpr Row kRows[] = {
            {L, "x", "a -x b", "| ^a -x b"},
            {L, "x", "-x a -x", "x | -x ^a -x"},
            {L, "x", "--verbose a -x", "v#0 | --verbose ^a -x"},
            {O, "x", "-verbose a -x", "v#0 | -verbose ^a -x"},
            {L, "+x", "-x a -x", "x | -x ^a -x"},
            {L, "-x", "-x a -x", "x | -x ^a -x"},
            {L, "-x", "a", "| ^a"},
            {O, "-x", "a", "| ^a"},
            {Function::Short, "-x", "-x a", "x | -x ^a"},
            {Function::Short, "+x", "-x a", "x | -x ^a"},
            {L, "-:y:", "-y", ":y | -y ^"},
            {L, "x", "-x -- -x", "x | -x -- ^-x"},
        };
        check_fresh(kRows, {.env = {{"POSIXLY_CORRECT", value}}});
    }
}

TEST(GetoptPosixly, TheFirstCallDecides)
{
    run_silently({}, [] {
        EXPECT_EQ(transcript(Function::Long, "x", CommandLine("a -x")), "x | -x ^a");
        setenv("POSIXLY_CORRECT", "1", 1);
        EXPECT_EQ(transcript(Function::Long, "x", CommandLine("a -x")), "x | -x ^a");
    });
    run_silently({.env = {{"POSIXLY_CORRECT", "1"}}}, [] {
        EXPECT_EQ(transcript(Function::Short, "x", CommandLine("")), "| ^");
        unsetenv("POSIXLY_CORRECT");
        EXPECT_EQ(transcript(Function::Long, "x", CommandLine("a -x")), "| ^a -x");
    });
}

FRESH_TEST(GetoptPosixly, ACallWithNothingToWorkOffDecidesNothing)
{
    EXPECT_EQ(OXA_getopt(1, nullptr, "x"), -1);
    setenv("POSIXLY_CORRECT", "1", 1);
    EXPECT_EQ(transcript(Function::Long, "x", CommandLine("a -x")), "| ^a -x");
}

}  // namespace
