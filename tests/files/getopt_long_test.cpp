// Long options: behind two dashes, behind one, and behind a W.
#include <gtest/gtest.h>

#include "getopt_transcript.h"

namespace {

using namespace getopt_test;

constexpr auto L = Function::Long;
constexpr auto N = Function::NoLong;
constexpr auto O = Function::LongOnly;

TEST(GetoptTable, LongOptionsAndTheirArguments)
{
    static constexpr Row kRows[] = {
        {L, "x", "--verbose", "v#0 | --verbose ^"},
        {L, "x", "--verbose --version -x", "v#0 V#1 x | --verbose --version -x ^"},
        {L, "", "--verbose", "v#0 | --verbose ^"},
        {L, "x", "--level 3", "l#2=3 | --level 3 ^"},
        {L, "x", "--level=3", "l#2=3 | --level=3 ^"},
        {L, "x", "--level=", "l#2= | --level= ^"},
        {L, "x", "--level ''", "l#2= | --level '' ^"},
        {L, "x", "--level=a=b", "l#2=a=b | --level=a=b ^"},
        {L, "x", "--level=3 4", "l#2=3 | --level=3 ^4"},
        {L, "x", "--level --", "l#2=-- | --level -- ^"},
        {L, "x", "--level -x", "l#2=-x | --level -x ^"},
        {L, "x", "--level --verbose", "l#2=--verbose | --level --verbose ^"},
        {L, "x", "--colour", "c#3 | --colour ^"},
        {L, "x", "--colour=red", "c#3=red | --colour=red ^"},
        {L, "x", "--colour=", "c#3= | --colour= ^"},
        {L, "x", "--colour red", "c#3 | --colour ^red"},
        {L, "x", "--colour -x", "c#3 x | --colour -x ^"},
        {L, "x", "--x", "256#12 | --x ^"},
        {L, "x", "-x --x", "x 256#12 | -x --x ^"},
        // The flag pointer takes the value.
        {L, "x", "--quiet", "0#4!7 | --quiet ^"},
        {L, "x", "--file x", "0#5!8=x | --file x ^"},
        {L, "x", "--file=x", "0#5!8=x | --file=x ^"},
        {L, "x", "--tag", "0#6!9 | --tag ^"},
        {L, "x", "--tag=x", "0#6!9=x | --tag=x ^"},
        {L, "x", "-x --quiet -x", "x 0#4!7 x | -x --quiet -x ^"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, ShortenedNames)
{
    static constexpr Row kRows[] = {
        {L, "x", "--verb", "v#0 | --verb ^"},
        {L, "x", "--verbos", "v#0 | --verbos ^"},
        {L, "x", "--vers", "V#1 | --vers ^"},
        {L, "x", "--le 3", "l#2=3 | --le 3 ^"},
        {L, "x", "--lev=3", "l#2=3 | --lev=3 ^"},
        {L, "x", "--c=red", "c#3=red | --c=red ^"},
        {L, "x", "--q", "0#4!7 | --q ^"},
        {L, "x", "--ver", "?0 | --ver ^", "ambiguous option -- ver"},
        {L, "x", "--ver=3", "?0 | --ver=3 ^", "ambiguous option -- ver"},
        {L, "x", "--v", "?0 | --v ^", "ambiguous option -- v"},
        {L, "x", "--l 3", "?0 | --l ^3", "ambiguous option -- l"},
        {L, "x", "--li -x", "?0 x | --li -x ^", "ambiguous option -- li"},
        // A name that is written out wins, wherever it stands.
        {L, "x", "--list", "L#7 | --list ^"},
        {L, "x", "--lists", "S#8 | --lists ^"},
        {L, "x", "--lis", "?0 | --lis ^", "ambiguous option -- lis"},
        {L, "x", "--size 1", "z#11=1 | --size 1 ^"},
        {L, "x", "--size=1", "z#11=1 | --size=1 ^"},
        {L, "x", "--sizes 1", "Z#9=1 | --sizes 1 ^"},
        {L, "x", "--sized", "D#10 | --sized ^"},
        {L, "x", "--siz 1", "?0 | --siz ^1", "ambiguous option -- siz"},
        // Everything begins with no characters.
        {L, "x", "--=3", "?0 | --=3 ^", "ambiguous option -- "},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, UnknownLongOptionsAndWrongArguments)
{
    static constexpr Row kRows[] = {
        {L, "x", "--none", "?0 | --none ^", "unknown option -- none"},
        {L, "x", "--none=3", "?0 | --none=3 ^", "unknown option -- none=3"},
        {L, "x", "--none 3", "?0 | --none ^3", "unknown option -- none"},
        {L, "x", "--Verbose", "?0 | --Verbose ^", "unknown option -- Verbose"},
        {L, "x", "--verbosely", "?0 | --verbosely ^", "unknown option -- verbosely"},
        {L, "x", "--verbose-", "?0 | --verbose- ^", "unknown option -- verbose-"},
        {L, "x", "---", "?0 | --- ^", "unknown option -- -"},
        {L, "x", "---verbose", "?0 | ---verbose ^", "unknown option -- -verbose"},
        {L, "x", "--none --verbose", "?0 v#0 | --none --verbose ^", "unknown option -- none"},
        {L, "x", "--verbose=3", "?v | --verbose=3 ^",
         "option does not take an argument -- verbose"},
        {L, "x", "--verbose=", "?v | --verbose= ^", "option does not take an argument -- verbose"},
        {L, "x", "--verb=3 -x", "?v x | --verb=3 -x ^", "option does not take an argument -- verb"},
        {L, "x", "--quiet=3", "?0 | --quiet=3 ^", "option does not take an argument -- quiet"},
        {L, "x", "--x=3", "?256 | --x=3 ^", "option does not take an argument -- x"},
        {L, "x", "--level", "?l | --level ^", "option requires an argument -- level"},
        {L, "x", "--lev", "?l | --lev ^", "option requires an argument -- lev"},
        {L, "x", "-x --level", "x ?l | -x --level ^", "option requires an argument -- level"},
        {L, "x", "--file", "?0 | --file ^", "option requires an argument -- file"},
        {L, ":x", "--level", ":l | --level ^"},
        {L, ":x", "--file", ":0 | --file ^"},
        {L, ":x", "--verbose=3", ":v | --verbose=3 ^"},
        {L, ":x", "--quiet=3", ":0 | --quiet=3 ^"},
        {L, ":x", "--none", "?0 | --none ^"},
        {L, ":x", "--ver", "?0 | --ver ^"},
        {L, "+:x", "--level", ":l | --level ^"},
        {L, "-:x", "--none", "?0 | --none ^"},
        // Also where "-" is a short option.
        {L, "x-", "--none", "?0 | --none ^", "unknown option -- none"},
        {L, "x-", "--q", "0#4!7 | --q ^"},
        {O, "x-", "--none", "?0 | --none ^", "unknown option -- none"},
        // Without long options such a word has short ones.
        {N, "x", "--x", "?- x | --x ^", "unknown option -- -"},
        {N, "x-", "--x", "- x | --x ^"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, LongOptionsBehindAW)
{
    static constexpr Row kRows[] = {
        {L, "W;x", "-W verbose", "v#0 | -W verbose ^"},
        {L, "W;x", "-Wverbose", "v#0 | -Wverbose ^"},
        {L, "W;x", "-W verb", "v#0 | -W verb ^"},
        {L, "W;x", "-Wlevel=3", "l#2=3 | -Wlevel=3 ^"},
        {L, "W;x", "-W level=3", "l#2=3 | -W level=3 ^"},
        {L, "W;x", "-W level 3", "l#2=3 | -W level 3 ^"},
        {L, "W;x", "-Wlevel 3", "l#2=3 | -Wlevel 3 ^"},
        {L, "W;x", "-W quiet", "0#4!7 | -W quiet ^"},
        {L, "W;x", "-xWverbose", "x v#0 | -xWverbose ^"},
        {L, "W;x", "-xW verbose -x", "x v#0 x | -xW verbose -x ^"},
        {L, "W;x", "a -W verbose b -x", "v#0 x | -W verbose -x ^a b"},
        {L, "xW;", "-Wverbose", "v#0 | -Wverbose ^"},
        {L, "W;x", "-W", "?W | -W ^", "option requires an argument -- W"},
        {L, ":W;x", "-xW", "x :W | -xW ^"},
        {L, "W;x", "-W none", "?0 | -W none ^", "unknown option -- none"},
        {L, "W;x", "-Wnone -x", "?0 x | -Wnone -x ^", "unknown option -- none"},
        {L, "W;x", "-W ver", "?0 | -W ver ^", "ambiguous option -- ver"},
        {L, "W;x", "-W level", "?l | -W level ^", "option requires an argument -- level"},
        {L, "W;x", "-W verbose=1", "?v | -W verbose=1 ^",
         "option does not take an argument -- verbose"},
        {L, "W;x", "-W --verbose", "?0 | -W --verbose ^", "unknown option -- --verbose"},
        {L, "W;x", "-W -x", "?0 | -W -x ^", "unknown option -- -x"},
        {L, "W;x", "-W=verbose", "?0 | -W=verbose ^", "ambiguous option -- "},
        {L, "W;x", "-; -x", "; x | -; -x ^"},
        {L, "Wx", "-W verbose", "W | -W ^verbose"},
        {L, "W:x", "-W verbose", "W=verbose | -W verbose ^"},
        {L, "Wx;", "-x verbose", "x | -x ^verbose"},
        {N, "W;x", "-W verbose", "W | -W ^verbose"},
        {O, "W;x", "-W verbose", "v#0 | -W verbose ^"},
        {O, "W;x", "-W x", "256#12 | -W x ^"},
    };
    check_fresh(kRows);
}

TEST(GetoptTable, LongOptionsBehindOneDash)
{
    static constexpr Row kRows[] = {
        {O, "", "-verbose", "v#0 | -verbose ^"},
        {O, "", "--verbose", "v#0 | --verbose ^"},
        {O, "", "-verb --vers", "v#0 V#1 | -verb --vers ^"},
        {O, "", "-level 3", "l#2=3 | -level 3 ^"},
        {O, "", "-level=3", "l#2=3 | -level=3 ^"},
        {O, "", "-le=3 -colour=red", "l#2=3 c#3=red | -le=3 -colour=red ^"},
        {O, "", "-q", "0#4!7 | -q ^"},
        {O, "", "a -verbose b", "v#0 | -verbose ^a b"},
        {O, "", "-ver", "?0 | -ver ^", "ambiguous option -- ver"},
        {O, "", "-level", "?l | -level ^", "option requires an argument -- level"},
        {O, "", "-verbose=1", "?v | -verbose=1 ^", "option does not take an argument -- verbose"},
        {O, "", "-none", "?0 | -none ^", "unknown option -- none"},
        {O, "a", "-none=3", "?0 | -none=3 ^", "unknown option -- none=3"},
        {O, "", "-", "| ^-"},
        {O, "", "-- -verbose", "| -- ^-verbose"},
        // A word whose first character is a short option is taken for short ones where no long
        // option matches.
        {O, "a", "-a", "a | -a ^"},
        {O, "ab:", "-ab v", "a b=v | -ab v ^"},
        {O, "b:", "-bv", "b=v | -bv ^"},
        {O, "n", "-none", "n ?o n ?e | -none ^", "unknown option -- o; unknown option -- e"},
        {O, "v", "-verbose", "v#0 | -verbose ^"},
        {O, "v", "-ver", "?0 | -ver ^", "ambiguous option -- ver"},
        {O, "l:", "-level 3", "l#2=3 | -level 3 ^"},
        // One character that is a short option is no shortened name, but may be a whole one.
        {O, "q", "-q", "q | -q ^"},
        {O, "l:", "-l 3", "l=3 | -l 3 ^"},
        {O, "l:", "-l=3", "l==3 | -l=3 ^"},
        {O, "l:", "-l3", "l=3 | -l3 ^"},
        {O, "q", "--q", "0#4!7 | --q ^"},
        {O, "x", "-x", "256#12 | -x ^"},
        // The rest of such a word is not looked at for long options.
        {O, "ax", "-ax", "a x | -ax ^"},
        {O, "av", "-averbose", "a v ?e ?r ?b ?o ?s ?e | -averbose ^",
         "unknown option -- e; unknown option -- r; unknown option -- b; unknown option -- o; "
         "unknown option -- s; unknown option -- e"},
        {O, "a-", "-a-verbose", "a - ?v ?e ?r ?b ?o ?s ?e | -a-verbose ^",
         "unknown option -- v; unknown option -- e; unknown option -- r; unknown option -- b; "
         "unknown option -- o; unknown option -- s; unknown option -- e"},
        {L, "a", "-a-q", "a ?- ?q | -a-q ^", "unknown option -- -; unknown option -- q"},
        // A colon is no short option.
        {O, "a:", "-:", "?0 | -: ^", "unknown option -- :"},
        {O, ":a:", "-none", "?0 | -none ^"},
        {O, ":a:", "-a", ":a | -a ^"},
    };
    check_fresh(kRows);
}

}  // namespace
