// Random command lines, worked off by the functions and by the C library's own, which must give the
// same codes, arguments, indices and, at the end, order.
//
// They differ, and the tests below show it, in this:
// 1. Plain getopt() of the C library permutes; it is given a "+" in front here.
// 2. An argument that a long option does not take gives ':' when the option string begins with ":";
//    the C library gives '?'.
// 3. `optopt` is 0 for a long option with a flag pointer; the C library gives the option's value.
// 4. ";" is an option when the option string has it; it never is one of the C library's.
// 5. A name that several long options begin with is ambiguous, whatever they are; the C library
// takes
//    the first one when all have the same argument, flag pointer and value.
// 6. Behind a single "-", one character that is a short option may be the whole name of a long one;
// the
//    C library always takes it for the short one. Followed by "=", it is no shortened name; the C
//    library takes it for one.
// 7. Behind a single "-", ":" is an unknown long option; the C library takes it for an unknown
// short
//    one.
// 8. With POSIXLY_CORRECT a leading "-" of the option string has no meaning; in the C library it
// keeps
//    its own. The environment is asked once; the C library asks at each new command line.
// 9. The words of the diagnostics.
// Between two calls the words may be in another order.
#include <chrono>
#include <cstdlib>
#include <functional>
#include <getopt.h>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "model_seeds.h"
#include "oxa_getopt.h"

namespace {

using namespace harness;

using Function = int (*)(int, char* const*, const char*, const option*, int*);

/// What one call gives.
struct Event {
    int code;
    int index;
    int option;
    int letter;
    int flag;
    bool has_argument;
    std::string argument;

    bool operator==(const Event&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Event& event)
{
    return stream << event.code << " optind " << event.index << " option " << event.option
                  << " optopt " << event.letter << " flag " << event.flag << " optarg "
                  << (event.has_argument ? "\"" + event.argument + "\"" : "none");
}

/// All that a command line gives.
struct Result {
    std::vector<Event> events;
    std::vector<std::string> order;
    int index = 0;

    bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Result& result)
{
    for (const Event& event : result.events) {
        stream << "  " << event << "\n";
    }
    return stream << "  " << testing::PrintToString(result.order) << " optind " << result.index;
}

/// A command line, without the program's name, and what may be in it.
struct Line {
    std::string optstring;
    std::vector<option> options;
    std::vector<std::string> words;
};

std::ostream& operator<<(std::ostream& stream, const Line& line)
{
    stream << "\"" << line.optstring << "\" " << testing::PrintToString(line.words) << " with";
    for (const option& each : line.options) {
        if (each.name != nullptr) {
            stream << " " << each.name << ":" << each.has_arg << ":" << each.val
                   << (each.flag != nullptr ? "!" : "");
        }
    }
    return stream;
}

constexpr int kUntouched = -4711;
int flag;

Result work_off(Function function, const Line& line, const char* prefix = "")
{
    std::vector<std::string> words = line.words;
    words.insert(words.begin(), "program");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const std::string optstring = prefix + line.optstring;

    Result result;
    optind = 0;
    for (;;) {
        flag = optopt = kUntouched;
        int longindex = kUntouched;
        const int code = function(static_cast<int>(words.size()), argv.data(), optstring.c_str(),
                                  line.options.data(), &longindex);
        if (code == -1) {
            break;
        }
        // Set at every call by the C library, but of a meaning only then.
        const int letter = code == '?' || code == ':' ? optopt : kUntouched;
        result.events.push_back({code, optind, longindex, letter, flag, optarg != nullptr,
                                 optarg != nullptr ? optarg : ""});
        if (result.events.size() > 1000) {
            ADD_FAILURE() << "without an end";
            break;
        }
    }
    result.order.assign(argv.begin() + 1, argv.end() - 1);
    result.index = optind;
    return result;
}

int our_getopt(int argc, char* const* argv, const char* optstring, const option* /*unused*/,
               int* /*unused*/)
{
    return OXA_getopt(argc, argv, optstring);
}

int system_getopt(int argc, char* const* argv, const char* optstring, const option* /*unused*/,
                  int* /*unused*/)
{
    return getopt(argc, argv, optstring);
}

struct Peers {
    Function ours;
    Function system;
    bool one_dash;
    const char* prefix;  // what the C library's option string has in front
};

const Peers kShort{our_getopt, system_getopt, false, "+"};
const Peers kLong{OXA_getopt_long, getopt_long, false, ""};
const Peers kLongOnly{OXA_getopt_long_only, getopt_long_only, true, ""};

/// Makes lines on which both must agree.
class Lines {
public:
    Lines(Choices& choices, const Peers& peers, bool posixly)
        : choices_(choices), peers_(peers), posixly_(posixly)
    {
    }

    Line next()
    {
        line_ = {};
        make_optstring();
        make_options();
        const std::size_t count = choices_.below(10);
        for (std::size_t word = 0; word < count; ++word) {
            line_.words.push_back(any_word());
        }
        return line_;
    }

private:
    bool one_in(std::size_t count) { return choices_.below(count) == 0; }

    void make_optstring()
    {
        static constexpr const char* kFronts[] = {"", "", "", "", "+", "-"};
        // Not with "-" where that keeps a meaning (8), nor where the C library gets its "+".
        const std::size_t fronts = posixly_ || *peers_.prefix != '\0' ? 4 : std::size(kFronts);
        line_.optstring = kFronts[choices_.below(fronts)];
        quiet_ = one_in(3);
        line_.optstring += quiet_ ? ":" : "";
        for (const char letter : std::string("abcdlv")) {
            static constexpr const char* kKinds[] = {"", "", ":", "::"};
            if (!one_in(4)) {
                line_.optstring += letter + std::string(kKinds[choices_.below(4)]);
            }
        }
        line_.optstring += one_in(2) ? "W;" : "";
    }

    /// Some of the names; no two have the same value (5), and none is a short option (6).
    void make_options()
    {
        static constexpr const char* kNames[] = {"verbose", "version", "level", "list",
                                                 "lists",   "colour",  "all",   "alls"};
        int value = 1000;
        for (const char* const name : kNames) {
            if (!one_in(4)) {
                line_.options.push_back({name, static_cast<int>(choices_.below(3)),
                                         one_in(4) ? &flag : nullptr, value++});
            }
        }
        line_.options.push_back({nullptr, 0, nullptr, 0});
    }

    std::string any_word()
    {
        static constexpr const char* kPlain[] = {"word", "-", "", "file", "x=y"};
        switch (choices_.below(10)) {
        case 0:
        case 1:
        case 2:
            return cluster();
        case 3:
        case 4:
            return "--" + long_word(0);
        case 5:
            return peers_.one_dash ? "-" + long_word(2) : cluster();
        case 6:
            return one_in(2) ? "-W" : "-W" + long_word(1);
        case 7:
            return one_in(4) ? "--" : long_word(1);
        default:
            return kPlain[choices_.below(std::size(kPlain))];
        }
    }

    std::string cluster()
    {
        static const std::string kLetters = "abcdlvWx-";
        std::string word = "-" + std::string(1, kLetters[choices_.below(kLetters.size() - 1)]);
        for (std::size_t more = choices_.below(4); more > 0; --more) {
            word += kLetters[choices_.below(kLetters.size())];
        }
        return word;
    }

    /// A name, at least so many characters of it, and perhaps an argument.
    std::string long_word(std::size_t least)
    {
        static constexpr const char* kNames[] = {"verbose", "version", "level", "lists", "colour",
                                                 "alls",    "none",    "lost",  "vw"};
        const std::string name = kNames[choices_.below(std::size(kNames))];
        std::string word = name.substr(0, least + choices_.below(name.size() - least + 1));
        if (one_in(3) && !(quiet_ && takes_no_argument(word))) {
            static constexpr const char* kArguments[] = {"=", "=3", "=a=b"};
            word += kArguments[choices_.below(3)];
        }
        return word;
    }

    /// Tells whether this name may mean an option without an argument (2).
    bool takes_no_argument(const std::string& name) const
    {
        for (const option& each : line_.options) {
            if (each.name != nullptr && each.has_arg == no_argument &&
                std::string(each.name).compare(0, name.size(), name) == 0) {
                return true;
            }
        }
        return false;
    }

    Choices& choices_;
    const Peers& peers_;
    bool posixly_;
    Line line_;
    bool quiet_ = false;
};

/// What the C library tells of options with a flag pointer is no character (3).
Result without_values_of_flags(Result result, const Line& line)
{
    for (Event& event : result.events) {
        for (const option& each : line.options) {
            if (each.flag != nullptr && event.letter == each.val) {
                event.letter = 0;
            }
        }
    }
    return result;
}

/// Counts what has been seen, so that the lines are known to be worth it.
class Seen {
public:
    void add(const Result& result, const Line& line)
    {
        for (const Event& event : result.events) {
            ++kinds_[event.code == '?' || event.code == ':' ? (event.letter == 0 ? "long" : "short")
                     : event.code == 1                      ? "argument"
                     : event.option != kUntouched           ? "option"
                                                            : "letter"];
            kinds_["missing"] += event.code == ':' ? 1 : 0;
            kinds_["with argument"] += event.has_argument ? 1 : 0;
            kinds_["flag"] += event.flag != kUntouched ? 1 : 0;
        }
        kinds_["moved"] += result.order != line.words ? 1 : 0;
        kinds_["left"] += result.index <= static_cast<int>(line.words.size()) ? 1 : 0;
    }

    int operator[](const char* kind) { return kinds_[kind]; }

private:
    std::map<std::string, int> kinds_;
};

/// Compares so many lines; ends at the first difference, which says it all.
void compare(std::uint32_t seed, const Peers& peers, int count, bool posixly, Seen& seen)
{
    Choices choices(seed);
    Lines lines(choices, peers, posixly);
    opterr = 0;
    for (int number = 0; number < count && !testing::Test::HasFailure(); ++number) {
        const Line line = lines.next();
        const Result ours = work_off(peers.ours, line);
        const Result system =
            without_values_of_flags(work_off(peers.system, line, peers.prefix), line);
        EXPECT_EQ(ours, system) << line;
        seen.add(ours, line);
    }
}

constexpr int kLines = 20'000;

/// What has been seen once in so many lines is known to agree.
constexpr int kSeldom = 1'000;

class GetoptAgainstSystem : public testing::TestWithParam<const char*> {
protected:
    static std::uint32_t seed()
    {
        return GetParam() == std::string("Fixed") ? kFixedSeed : seed_of_this_run();
    }

    /// Compares in a fresh process, and expects each of these kinds to have been seen often.
    static void compare_fresh(const Peers& peers, int count, const std::vector<const char*>& kinds)
    {
        const FreshSetup setup{.time_limit = std::chrono::seconds{100}};
        const Outcome outcome = well(setup, [&] {
            Seen seen;
            compare(seed(), peers, count, false, seen);
            for (const char* const kind : kinds) {
                EXPECT_GT(seen[kind], count / kSeldom) << kind;
            }
        });
    }
};

TEST_P(GetoptAgainstSystem, AgreesOnLongOptions)
{
    compare_fresh(kLong, kLines,
                  {"letter", "option", "flag", "with argument", "missing", "long", "short",
                   "argument", "moved", "left"});
}

TEST_P(GetoptAgainstSystem, AgreesOnLongOptionsBehindOneDash)
{
    compare_fresh(kLongOnly, kLines / 3,
                  {"letter", "option", "flag", "with argument", "missing", "long", "short",
                   "argument", "moved", "left"});
}

TEST_P(GetoptAgainstSystem, AgreesOnShortOptions)
{
    compare_fresh(kShort, kLines / 3, {"letter", "with argument", "missing", "short", "left"});
}

TEST_P(GetoptAgainstSystem, AgreesWherePosixIsTheRule)
{
    well({.env = {{"POSIXLY_CORRECT", "1"}}, .time_limit = std::chrono::seconds{100}}, [] {
        Seen seen;
        for (const Peers* const peers : {&kShort, &kLong, &kLongOnly}) {
            compare(seed(), *peers, kLines / 10, true, seen);
        }
        EXPECT_GT(seen["option"], kLines / kSeldom);
        EXPECT_GT(seen["left"], kLines / kSeldom);
        EXPECT_EQ(seen["moved"], 0);
    });
}

INSTANTIATE_TEST_SUITE_P(Seeds, GetoptAgainstSystem, testing::Values("Fixed", "OfThisRun"),
                         [](const auto& test) { return std::string(test.param); });

/// The codes that a line gives, and the last `optopt`.
struct Codes {
    std::vector<int> ours;
    std::vector<int> system;
    int our_letter = 0;
    int system_letter = 0;
};

Codes codes(const Peers& peers, const Line& line)
{
    opterr = 0;
    Codes all;
    for (const Event& event : work_off(peers.ours, line).events) {
        all.ours.push_back(event.code);
        all.our_letter = event.letter;
    }
    for (const Event& event : work_off(peers.system, line).events) {
        all.system.push_back(event.code);
        all.system_letter = event.letter;
    }
    return all;
}

void run_good(const Setup& setup, const std::function<void()>& body)
{
    well(setup, body);
}

using testing::ElementsAre;
using testing::IsEmpty;

const option kVerbose{"verbose", no_argument, nullptr, 1000};
const option kQuiet{"quiet", no_argument, &flag, 1001};
const option kEnd{nullptr, 0, nullptr, 0};

TEST(GetoptUnlikeSystem, PlainGetoptDoesNotPermute)
{
    run_good({}, [] {
        const Codes all = codes(kShort, {"x", {kEnd}, {"a", "-x"}});
        EXPECT_THAT(all.ours, IsEmpty());
        EXPECT_THAT(all.system, ElementsAre('x'));
    });
}

TEST(GetoptUnlikeSystem, AnArgumentThatIsNotWantedIsAColonToo)
{
    run_good({}, [] {
        const Codes all = codes(kLong, {":", {kVerbose, kEnd}, {"--verbose=1"}});
        EXPECT_THAT(all.ours, ElementsAre(':'));
        EXPECT_THAT(all.system, ElementsAre('?'));
    });
}

TEST(GetoptUnlikeSystem, TheValueOfAFlagIsNotTold)
{
    run_good({}, [] {
        const Codes all = codes(kLong, {"", {kQuiet, kEnd}, {"--quiet=1"}});
        EXPECT_EQ(all.our_letter, 0);
        EXPECT_EQ(all.system_letter, kQuiet.val);
    });
}

TEST(GetoptUnlikeSystem, ASemicolonMayBeAnOption)
{
    run_good({}, [] {
        const Codes all = codes(kLong, {"a;", {kEnd}, {"-;"}});
        EXPECT_THAT(all.ours, ElementsAre(';'));
        EXPECT_THAT(all.system, ElementsAre('?'));
    });
}

TEST(GetoptUnlikeSystem, NamesOfTheSameOptionAreAmbiguous)
{
    run_good({}, [] {
        const option american{"color", no_argument, nullptr, 'c'};
        const option british{"colour", no_argument, nullptr, 'c'};
        const Codes all = codes(kLong, {"", {american, british, kEnd}, {"--col"}});
        EXPECT_THAT(all.ours, ElementsAre('?'));
        EXPECT_THAT(all.system, ElementsAre('c'));
    });
}

TEST(GetoptUnlikeSystem, OneCharacterBehindOneDash)
{
    run_good({}, [] {
        const option x{"x", no_argument, nullptr, 1000};
        const Codes whole = codes(kLongOnly, {"x", {x, kEnd}, {"-x"}});
        EXPECT_THAT(whole.ours, ElementsAre(1000));
        EXPECT_THAT(whole.system, ElementsAre('x'));
        const option level{"level", required_argument, nullptr, 1000};
        const Codes shortened = codes(kLongOnly, {"l:", {level, kEnd}, {"-l=3"}});
        EXPECT_THAT(shortened.ours, ElementsAre('l'));
        EXPECT_THAT(shortened.system, ElementsAre(1000));
    });
}

TEST(GetoptUnlikeSystem, AColonBehindOneDash)
{
    run_good({}, [] {
        const Codes all = codes(kLongOnly, {"a:", {kVerbose, kEnd}, {"-:"}});
        EXPECT_EQ(all.our_letter, 0);
        EXPECT_EQ(all.system_letter, ':');
    });
}

TEST(GetoptUnlikeSystem, PosixlyCorrect)
{
    run_good({.env = {{"POSIXLY_CORRECT", "1"}}}, [] {
        const Codes front = codes(kLong, {"-x", {kEnd}, {"a"}});
        EXPECT_THAT(front.ours, IsEmpty());
        EXPECT_THAT(front.system, ElementsAre(1));
        unsetenv("POSIXLY_CORRECT");
        const Codes later = codes(kLong, {"x", {kEnd}, {"a", "-x"}});
        EXPECT_THAT(later.ours, IsEmpty());
        EXPECT_THAT(later.system, ElementsAre('x'));
    });
}

}  // namespace
