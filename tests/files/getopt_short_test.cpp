// Short options, arguments that are no options, and their order.
#include <gtest/gtest.h>

#include "getopt_transcript.h"

namespace {

using namespace getopt_test;

constexpr auto S = Function::Short;
constexpr auto L = Function::Long;
constexpr auto N = Function::NoLong;

TEST(GetoptTable, ShortOptionsAndTheirArguments)
{
    static constexpr Row kRows[] = {
        {L, "ab:c::", "", "| ^"},
        {L, "", "", "| ^"},
        {L, "ab:c::", "-a", "a | -a ^"},
        {L, "abc", "-a -b", "a b | -a -b ^"},
        {L, "abc", "-abc", "a b c | -abc ^"},
        {L, "abc", "-cab -b", "c a b b | -cab -b ^"},
        {L, "abc", "-aa", "a a | -aa ^"},
        {L, "ab:c::", "-b x", "b=x | -b x ^"},
        {L, "ab:c::", "-bx", "b=x | -bx ^"},
        {L, "ab:c::", "-ab x", "a b=x | -ab x ^"},
        {L, "ab:c::", "-abx", "a b=x | -abx ^"},
        {L, "ab:c::", "-ba", "b=a | -ba ^"},
        {L, "ab:c::", "-b=x", "b==x | -b=x ^"},
        {L, "ab:c::", "-b -a", "b=-a | -b -a ^"},
        {L, "ab:c::", "-b --", "b=-- | -b -- ^"},
        {L, "ab:c::", "-b -", "b=- | -b - ^"},
        {L, "ab:c::", "-b --verbose", "b=--verbose | -b --verbose ^"},
        {L, "ab:c::", "-b ''", "b= | -b '' ^"},
        {L, "ab:c::", "-b x -a", "b=x a | -b x -a ^"},
        {L, "ab:c::", "-c", "c | -c ^"},
        {L, "ab:c::", "-cx", "c=x | -cx ^"},
        {L, "ab:c::", "-c=x", "c==x | -c=x ^"},
        {L, "ab:c::", "-c x", "c | -c ^x"},
        {L, "ab:c::", "-ac x", "a c | -ac ^x"},
        {L, "ab:c::", "-acx", "a c=x | -acx ^"},
        {L, "ab:c::", "-c -a", "c a | -c -a ^"},
        {L, "ab:c::", "-c ''", "c | -c ^''"},
        // Of a character that stands there twice, the first counts.
        {L, "a:a", "-a x", "a=x | -a x ^"},
        {L, "aa:", "-a x", "a | -a ^x"},
        {L, "a:::", "-a x", "a | -a ^x"},
        {S, "ab:c::", "-ab x -cy -c z", "a b=x c=y c | -ab x -cy -c ^z"},
        {N, "ab:c::", "-ab x -cy -c z", "a b=x c=y c | -ab x -cy -c ^z"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, UnknownShortOptionsAndMissingArguments)
{
    static constexpr Row kRows[] = {
        {L, "a", "-x", "?x | -x ^", "unknown option -- x"},
        {L, "a", "-xa", "?x a | -xa ^", "unknown option -- x"},
        {L, "a", "-ax -a", "a ?x a | -ax -a ^", "unknown option -- x"},
        {L, "a", "-xy", "?x ?y | -xy ^", "unknown option -- x; unknown option -- y"},
        {L, "ab:", "-axb v", "a ?x b=v | -axb v ^", "unknown option -- x"},
        {L, "", "-a", "?a | -a ^", "unknown option -- a"},
        {L, "a:", "-:", "?: | -: ^", "unknown option -- :"},
        {L, "a", "-a:", "a ?: | -a: ^", "unknown option -- :"},
        {L, "a", "-a-", "a ?- | -a- ^", "unknown option -- -"},
        {L, "ab", "-a-b", "a ?- b | -a-b ^", "unknown option -- -"},
        {L, "a", "-?", "?? | -? ^", "unknown option -- ?"},
        {L, "a", "-=", "?= | -= ^", "unknown option -- ="},
        {L, "ab:", "-b", "?b | -b ^", "option requires an argument -- b"},
        {L, "ab:", "-ab", "a ?b | -ab ^", "option requires an argument -- b"},
        {L, "ab:", "-b x -b", "b=x ?b | -b x -b ^", "option requires an argument -- b"},
        {S, "ab:", "-xb", "?x ?b | -xb ^", "unknown option -- x; option requires an argument -- b"},
        // Characters that mean something elsewhere.
        {L, "a;", "-;", "; | -; ^"},
        {L, "a-", "-a-", "a - | -a- ^"},
        {L, "?", "-?", "? | -? ^"},
        {L, "a=", "-=", "= | -= ^"},
        // With a colon in front nothing is printed, and a missing argument is told apart.
        {L, ":ab:", "-b",
         ":b"
         " | -b ^"},
        {L, ":ab:", "-ab", "a :b | -ab ^"},
        {L, ":ab:", "-x -b v", "?x b=v | -x -b v ^"},
        {L, ":a:", "-:", "?: | -: ^"},
        {L, "+:b:", "-b", ":b | -b ^"},
        {L, "+:b:", "-x", "?x | -x ^"},
        {L, "-:b:", "-b", ":b | -b ^"},
        {S, ":b:", "-b", ":b | -b ^"},
        {S, "+:b:", "-x -b", "?x :b | -x -b ^"},
        // Behind the colon "+" and "-" are characters like any other.
        {L, ":+a", "-+ x -a", "+ a | -+ -a ^x"},
        {L, ":-a", "x -a", "a | -a ^x"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, WordsThatAreNoOptions)
{
    static constexpr Row kRows[] = {
        {L, "a", "-", "| ^-"},
        {L, "a", "- -a", "a | -a ^-"},
        {L, "a-", "-", "| ^-"},
        {L, "a-", "- -a", "a | -a ^-"},
        {S, "a", "-", "| ^-"},
        {S, "a-", "- -a", "| ^- -a"},
        {L, "a", "--", "| -- ^"},
        {S, "a", "--", "| -- ^"},
        {L, "a-", "--", "| -- ^"},
        {L, "a", "-a -- -a", "a | -a -- ^-a"},
        {L, "a", "-- --", "| -- ^--"},
        {L, "a", "-- - --verbose", "| -- ^- --verbose"},
        {S, "a", "-a -- -a", "a | -a -- ^-a"},
        {L, "a", "'' -a", "a | -a ^''"},
        {S, "a", "'' -a", "| ^'' -a"},
        {L, "a", "=a", "| ^=a"},
        {L, "a", "+a", "| ^+a"},
        {L, "a", "a-", "| ^a-"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, ArgumentsAreMovedBehindTheOptions)
{
    static constexpr Row kRows[] = {
        {L, "x", "a -x b", "x | -x ^a b"},
        {L, "x", "a", "| ^a"},
        {L, "x", "a b", "| ^a b"},
        {L, "x", "a -x", "x | -x ^a"},
        {L, "x", "-x a", "x | -x ^a"},
        {L, "x", "a -x b -x c", "x x | -x -x ^a b c"},
        {L, "x", "a b c -x", "x | -x ^a b c"},
        {L, "xz", "a -x -z -x", "x z x | -x -z -x ^a"},
        {L, "xz", "a b -x -z", "x z | -x -z ^a b"},
        {L, "xz", "a b c d -x -z", "x z | -x -z ^a b c d"},
        {L, "xz", "a b -x -z -xx -zz", "x z x x z z | -x -z -xx -zz ^a b"},
        {L, "xz", "a b c d e f -x -z -xx -zz", "x z x x z z | -x -z -xx -zz ^a b c d e f"},
        {L, "xz", "a b c -x -z", "x z | -x -z ^a b c"},
        {L, "xz", "a b c d e -x -z -xx", "x z x x | -x -z -xx ^a b c d e"},
        {L, "xz", "-x a -z b -x c -z d", "x z x z | -x -z -x -z ^a b c d"},
        {L, "xz", "-x -z a b -xz c d e -zx", "x z x z z x | -x -z -xz -zx ^a b c d e"},
        {L, "y:", "a -y v b", "y=v | -y v ^a b"},
        {L, "y:", "a b -y v -y w c", "y=v y=w | -y v -y w ^a b c"},
        {L, "y:", "a -y -- b", "y=-- | -y -- ^a b"},
        {L, "y::", "a -y b", "y | -y ^a b"},
        {L, "x", "a -- b", "| -- ^a b"},
        {L, "xz", "a -x -- -z b", "x | -x -- ^a -z b"},
        {L, "xz", "a b -x c -- -z d", "x | -x -- ^a b c -z d"},
        {L, "x", "a - b -x -", "x | -x ^a - b -"},
        {L, "x", "a '' -x", "x | -x ^a ''"},
        {L, "x", "a --verbose b --level 3 c", "v#0 l#2=3 | --verbose --level 3 ^a b c"},
        {L, "xz", "a -xz b", "x z | -xz ^a b"},
        {L, "x", "a -q b", "?q | -q ^a b", "unknown option -- q"},
        {L, "y:", "a b -y", "?y | -y ^a b", "option requires an argument -- y"},
        {L, "x", "a --q b", "0#4!7 | --q ^a b"},
        {L, "x", "a --none b", "?0 | --none ^a b", "unknown option -- none"},
        {N, "x", "a -x b", "x | -x ^a b"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, ShortFormNeverPermutes)
{
    static constexpr Row kRows[] = {
        {S, "x", "a -x b", "| ^a -x b"},
        {S, "xy:", "-x a -x", "x | -x ^a -x"},
        {S, "xy:", "-y v a -x", "y=v | -y v ^a -x"},
        {S, "+x", "-x a -x", "x | -x ^a -x"},
        {S, "x", "-x -- a", "x | -x -- ^a"},
        {S, "-x", "a -x b", "1=a x 1=b | a -x b ^"},
        // It knows no long options.
        {S, "eorsv", "--verbose", "?- v e r ?b o s e | --verbose ^",
         "unknown option -- -; unknown option -- b"},
        {S, "W;", "-W verbose", "W | -W ^verbose"},
        {S, "W;", "-Wv", "W ?v | -Wv ^", "unknown option -- v"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, PlusInFrontStopsAtTheFirstArgument)
{
    static constexpr Row kRows[] = {
        {L, "+x", "a -x", "| ^a -x"},
        {L, "+x", "-x a -x", "x | -x ^a -x"},
        {L, "+xy:", "-y v a -x", "y=v | -y v ^a -x"},
        {L, "+x", "-x -- a", "x | -x -- ^a"},
        {L, "+x", "-x - -x", "x | -x ^- -x"},
        {L, "+x", "--verbose a --verbose", "v#0 | --verbose ^a --verbose"},
        {L, "+x", "-+", "?+ | -+ ^", "unknown option -- +"},
        {L, "++x", "-+ a -x", "+ | -+ ^a -x"},
        {Function::LongOnly, "+x", "-verbose a -verbose", "v#0 | -verbose ^a -verbose"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, MinusInFrontGivesArgumentsInTheirPlaces)
{
    static constexpr Row kRows[] = {
        {L, "-x", "a -x b", "1=a x 1=b | a -x b ^"},
        {L, "-x", "a", "1=a | a ^"},
        {L, "-x", "a b -x", "1=a 1=b x | a b -x ^"},
        {L, "-x", "a -- b", "1=a | a -- ^b"},
        {L, "-x", "- -x", "1=- x | - -x ^"},
        {L, "-x", "''", "1= | '' ^"},
        {L, "-xy:", "-y v a -x", "y=v 1=a x | -y v a -x ^"},
        {L, "-x", "--", "| -- ^"},
        {L, "-x", "a --verbose b", "1=a v#0 1=b | a --verbose b ^"},
        {Function::LongOnly, "-x", "a -verbose b", "1=a v#0 1=b | a -verbose b ^"},
        {N, "-x", "a -x", "1=a x | a -x ^"},
    };
    check_fresh(kRows);
}

}  // namespace
