#include "oxa_getopt.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <err.h>
#include <numeric>
#include <optional>
#include <string_view>

namespace common::getopt {
namespace {

// Codes that are no option's.
constexpr int kEnd = -1;
constexpr int kNonOption = 1;
constexpr int kUnknown = '?';
constexpr int kBadArgument = ':';

// The state between two calls: one command line at a time, one thread at a time, and fork copies
// it.

/// What is left of the word of short options that is being worked off.
constinit const char* place = "";

/// The words that have been passed over: from nonopt_start to nonopt_end, which is set when an
/// option follows them; -1 when there are none.
constinit int nonopt_start = -1;
constinit int nonopt_end = -1;

/// The command line that both are about, and where the last call left `optind`.
constinit char* const* last_argv = nullptr;
constinit int last_optind = 1;

enum class Posixly { Unknown, Correct, Free };
constinit Posixly posixly = Posixly::Unknown;

/// A call and how it is to go about non-options.
struct Call {
    int argc;
    char* const* argv;
    const char* letters;  // the option string without its "+" or "-"
    const option* longopts = nullptr;
    int* longindex = nullptr;
    bool long_only = false;
    bool permutes = false;
    bool gives_all = false;  // non-options as well

    bool tells() const noexcept { return opterr != 0 && *letters != ':'; }
    int bad_argument() const noexcept { return *letters == ':' ? kBadArgument : kUnknown; }
};

constexpr char kUnknownOption[] = "unknown option";
constexpr char kNeedsArgument[] = "option requires an argument";

/// Tells the user what is wrong with an option, if the caller wants that.
void complain(const Call& call, const char* what, std::string_view name) noexcept
{
    if (call.tells()) {
        warnx("%s -- %.*s", what, static_cast<int>(name.size()), name.data());
    }
}

/// A short option as a code.
// Oddity: with its sign, as callers compare it with characters.
// Test: GetoptMisuse.CharactersOutsideOfAsciiAreOptions.
constexpr int code_of(char letter) noexcept
{
    return letter;
}

/// Finds a short option in the option string.
const char* find_letter(const Call& call, char letter) noexcept
{
    return letter == ':' ? nullptr : std::strchr(call.letters, letter);
}

/// Exchanges two neighbouring blocks of words: what is from `middle` on goes to the front. Each
/// word moves once: a cycle begins with taking a word out, and fills the hole with the word that
/// belongs there until that is the one taken out.
void permute_args(int start, int middle, int end, char* const* argv) noexcept
{
    char** const words = const_cast<char**>(argv) + start;
    const int distance = middle - start;
    const int count = end - start;
    const int cycles = std::gcd(distance, end - middle);
    for (int cycle = 0; cycle < cycles; ++cycle) {
        char* const taken = words[cycle];
        int hole = cycle;
        for (;;) {
            const int next = hole + distance < count ? hole + distance : hole + distance - count;
            if (next == cycle) {
                break;
            }
            words[hole] = words[next];
            hole = next;
        }
        words[hole] = taken;
    }
}

/// Ends the options: what was passed over goes behind them, and `optind` to it.
int finish(const Call& call) noexcept
{
    if (nonopt_end != -1) {
        permute_args(nonopt_start, nonopt_end, optind, call.argv);
        optind -= nonopt_end - nonopt_start;
    } else if (nonopt_start != -1) {
        optind = nonopt_start;
    }
    nonopt_start = nonopt_end = -1;
    return kEnd;
}

/// Passes over a non-option. Should there be some in front of the last options, they move up to it,
/// so that there is one block of them.
void pass_over(const Call& call) noexcept
{
    if (nonopt_start == -1) {
        nonopt_start = optind;
    } else if (nonopt_end != -1) {
        permute_args(nonopt_start, nonopt_end, optind, call.argv);
        nonopt_start = optind - (nonopt_end - nonopt_start);
        nonopt_end = -1;
    }
    ++optind;
}

/// Looks for the next word with an option and puts `place` behind its "-".
/// @return what the call gives if there is none.
std::optional<int> result_without_option(const Call& call) noexcept
{
    for (;;) {
        if (optind >= call.argc) {
            return finish(call);
        }
        char* const word = call.argv[optind];
        if (word[0] == '-' && word[1] != '\0') {
            break;
        }
        if (call.gives_all) {
            optarg = word;
            ++optind;
            return kNonOption;
        }
        if (!call.permutes) {
            return kEnd;
        }
        pass_over(call);
    }
    if (nonopt_start != -1 && nonopt_end == -1) {
        nonopt_end = optind;
    }
    const char* const word = call.argv[optind];
    if (word[1] == '-' && word[2] == '\0') {
        ++optind;
        return finish(call);
    }
    place = word + 1;
    return std::nullopt;
}

// What a name may be found to be, if not the index of a long option.
constexpr int kNone = -1;
constexpr int kAmbiguous = -2;

/// Tells whether a long option begins with a name.
bool begins_with(const char* option_name, const char* name, std::size_t length) noexcept
{
    for (std::size_t i = 0; i < length; ++i) {
        if (option_name[i] != name[i]) {
            return false;
        }
    }
    return true;
}

/// Finds a long option by its name, or by what only one begins with.
/// @return its index, kNone or kAmbiguous.
int long_option_index(const option* longopts, const char* name, std::size_t length,
                      bool may_be_short) noexcept
{
    int match = kNone;
    for (int index = 0; longopts[index].name != nullptr; ++index) {
        const char* const option_name = longopts[index].name;
        if (!begins_with(option_name, name, length)) {
            continue;
        }
        if (option_name[length] == '\0') {
            return index;
        }
        if (!(may_be_short && length == 1)) {
            match = match == kNone ? index : kAmbiguous;
        }
    }
    return match;
}

/// What the call gives for an argument, missing or not wanted, of a long option.
int refused_argument(const Call& call, const option& found) noexcept
{
    optopt = found.flag == nullptr ? found.val : 0;
    return call.bad_argument();
}

/// Takes `word`, without its dashes, as a long option. It is the rest of argv[optind], or all of
/// it.
/// @return what the call gives; nothing when the word matches none and may be one of short options.
std::optional<int> long_option(const Call& call, const char* word, bool may_be_short) noexcept
{
    const char* const name_end = strchrnul(word, '=');
    const auto length = static_cast<std::size_t>(name_end - word);
    const int match = long_option_index(call.longopts, word, length, may_be_short);
    if (match == kNone && may_be_short) {
        return std::nullopt;
    }
    place = "";
    ++optind;
    if (match < 0) {
        if (match == kAmbiguous) {
            complain(call, "ambiguous option", {word, length});
        } else {
            complain(call, kUnknownOption, word);
        }
        optopt = 0;
        return kUnknown;
    }
    const option& found = call.longopts[match];
    if (*name_end == '=') {
        if (found.has_arg == no_argument) {
            complain(call, "option does not take an argument", {word, length});
            return refused_argument(call, found);
        }
        optarg = const_cast<char*>(name_end + 1);
    } else if (found.has_arg == required_argument) {
        if (optind >= call.argc) {
            complain(call, kNeedsArgument, word);
            return refused_argument(call, found);
        }
        optarg = call.argv[optind++];
    }
    if (call.longindex != nullptr) {
        *call.longindex = match;
    }
    if (found.flag == nullptr) {
        return found.val;
    }
    *found.flag = found.val;
    return 0;
}

/// What the call gives for a missing argument of a short option, with which its word ends.
int refused_without_argument(const Call& call, char letter) noexcept
{
    complain(call, kNeedsArgument, {&letter, 1});
    optopt = code_of(letter);
    return call.bad_argument();
}

/// Takes "-W name" as "--name". `place` is behind the W.
int long_option_of_w(const Call& call) noexcept
{
    const char* name = place;
    place = "";
    if (*name == '\0') {
        if (++optind >= call.argc) {
            return refused_without_argument(call, 'W');
        }
        name = call.argv[optind];
    }
    return long_option(call, name, false).value_or(kUnknown);
}

/// Takes the next character of `place` as a short option.
int short_option(const Call& call) noexcept
{
    const char letter = *place++;
    const char* const found = find_letter(call, letter);
    const bool takes_argument = found != nullptr && found[1] == ':';
    if (found != nullptr && letter == 'W' && found[1] == ';' && call.longopts != nullptr) {
        return long_option_of_w(call);
    }
    const char* const rest = place;
    if (*rest == '\0' || takes_argument) {
        ++optind;
        place = "";  // and not the end of a word that may not outlive this call
    }
    if (found == nullptr) {
        complain(call, kUnknownOption, {&letter, 1});
        optopt = code_of(letter);
        return kUnknown;
    }
    if (takes_argument) {
        if (*rest != '\0') {
            optarg = const_cast<char*>(rest);
        } else if (found[2] != ':') {
            if (optind >= call.argc) {
                return refused_without_argument(call, letter);
            }
            optarg = call.argv[optind++];
        }
    }
    return code_of(letter);
}

/// Tells whether POSIXLY_CORRECT was in the environment when this was first asked.
bool is_posixly_correct() noexcept
{
    if (posixly == Posixly::Unknown) {
        posixly = std::getenv("POSIXLY_CORRECT") != nullptr ? Posixly::Correct : Posixly::Free;
    }
    return posixly == Posixly::Correct;
}

/// Forgets what is left of an earlier parse when the caller has set out for another one. Otherwise
/// that would be taken for a part of this one: words would be moved that are not there. Going on
/// from an index behind the words passed over, as callers do for an option with several arguments,
/// keeps these.
void forget_what_is_left(const Call& call) noexcept
{
    const bool elsewhere = call.argv != last_argv || optind < 1 || optind > call.argc;
    if (elsewhere || optind < last_optind) {
        place = "";
    }
    if (elsewhere || optind < nonopt_end) {
        nonopt_start = nonopt_end = -1;
    }
    optind = std::max(optind, 1);
}

int next_option(Call& call) noexcept
{
    const char order = *call.letters;
    if (order == '+' || order == '-') {
        ++call.letters;
    }
    if (is_posixly_correct() || order == '+') {
        call.permutes = false;
    } else if (order == '-') {
        call.gives_all = true;
    }
    forget_what_is_left(call);
    if (*place == '\0') {
        if (const std::optional<int> code = result_without_option(call)) {
            return *code;
        }
        const bool two_dashes = *place == '-';
        if (call.longopts != nullptr && (two_dashes || call.long_only)) {
            const bool may_be_short = !two_dashes && find_letter(call, *place) != nullptr;
            const char* const word = two_dashes ? place + 1 : place;
            if (const std::optional<int> code = long_option(call, word, may_be_short)) {
                return *code;
            }
        }
    }
    return short_option(call);
}

int parse(Call call) noexcept
{
    optarg = nullptr;
    if (call.argv == nullptr || call.letters == nullptr) {
        return kEnd;
    }
    const int code = next_option(call);
    last_argv = call.argv;
    last_optind = optind;
    return code;
}

}  // namespace
}  // namespace common::getopt

extern "C" {

int OXA_getopt(int argc, char* const* argv, const char* optstring)
{
    return common::getopt::parse({.argc = argc, .argv = argv, .letters = optstring});
}

int OXA_getopt_long(int argc, char* const* argv, const char* optstring, const option* longopts,
                    int* longindex)
{
    return common::getopt::parse({.argc = argc,
                                  .argv = argv,
                                  .letters = optstring,
                                  .longopts = longopts,
                                  .longindex = longindex,
                                  .permutes = true});
}

int OXA_getopt_long_only(int argc, char* const* argv, const char* optstring, const option* longopts,
                         int* longindex)
{
    return common::getopt::parse({.argc = argc,
                                  .argv = argv,
                                  .letters = optstring,
                                  .longopts = longopts,
                                  .longindex = longindex,
                                  .long_only = true,
                                  .permutes = true});
}

}  // extern "C"
