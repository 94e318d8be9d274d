#include "records/prefix.h"

#include <algorithm>
#include <charconv>
#include <syslog.h>

#include "log_record.h"
#include "records/time_reader.h"

namespace commonctl {
namespace {

bool take(std::string_view& rest, std::string_view expected)
{
    if (!rest.starts_with(expected)) {
        return false;
    }
    rest.remove_prefix(expected.size());
    return true;
}

/// Everything up to a blank, which is taken, too; empty when there is none.
std::string_view take_word(std::string_view& rest)
{
    const auto end = rest.find(' ');
    if (end == std::string_view::npos) {
        return {};
    }
    const auto word = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return word;
}

/// A process id of up to nine digits; -1 for any other text.
std::int64_t pid_of(std::string_view text)
{
    std::int64_t pid = -1;
    const bool is_number = !text.empty() && text.size() <= 9 &&
                           text.find_first_not_of("0123456789") == std::string_view::npos;
    return is_number ? (std::from_chars(text.data(), text.data() + text.size(), pid), pid) : -1;
}

/// "<14>"
bool take_priority(std::string_view& rest, int& priority)
{
    if (!rest.starts_with('<')) {
        return false;
    }
    const auto end = rest.substr(0, 5).find('>');
    const auto code = end != std::string_view::npos ? pid_of(rest.substr(1, end - 1)) : -1;
    if (code < 0 || code > (LOG_LOCAL7 | LOG_DEBUG)) {
        return false;
    }
    priority = LOG_PRI(static_cast<int>(code));
    rest.remove_prefix(end + 1);
    return true;
}

bool take_stamp(std::string_view& rest, std::string_view& stamp)
{
    constexpr std::size_t kTraditional = sizeof "Jan  2 03:04:05" - 1;
    std::size_t size = 0;
    if (rest.size() > kTraditional && rest[3] == ' ' && rest[6] == ' ' &&
        rest[kTraditional] == ' ' && second_of_day(rest.substr(7, 8)) >= 0) {
        size = kTraditional;
    } else if (take_rfc3339(rest, size) == kNoTime || size == rest.size() || rest[size] != ' ') {
        return false;
    }
    stamp = rest.substr(0, size);
    rest.remove_prefix(size + 1);
    return true;
}

/// "program[12]:" of a word that ends with the colon.
void read_tag(std::string_view word, Prefix& prefix)
{
    word.remove_suffix(1);
    const auto bracket = word.ends_with(']') ? word.rfind('[') : std::string_view::npos;
    if (bracket != std::string_view::npos) {
        prefix.pid = pid_of(word.substr(bracket + 1, word.size() - bracket - 2));
        if (prefix.pid >= 0) {
            word = word.substr(0, bracket);
        }
    }
    prefix.process = word;
}

bool take_tag(std::string_view& rest, Prefix& prefix)
{
    auto behind = rest;
    auto word = take_word(behind);
    if (word.empty() && rest.ends_with(':')) {  // and no text at all
        word = rest;
        behind = {};
    }
    if (word.size() < 2 || word.back() != ':') {
        return false;
    }
    read_tag(word, prefix);
    rest = behind;
    return true;
}

/// "host program[12]: ", each of which may be missing.
void take_host_and_tag(std::string_view& rest, Prefix& prefix)
{
    if (take_tag(rest, prefix)) {
        return;
    }
    prefix.host = take_word(rest);
    take_tag(rest, prefix);
}

/// "[id name="value" ...]", any number of them, or "-".
bool take_structured_data(std::string_view& rest)
{
    if (take(rest, "-")) {
        return true;
    }
    bool is_there = false;
    while (rest.starts_with('[')) {
        bool is_quoted = false;
        std::size_t at = 1;
        for (; at < rest.size() && (is_quoted || rest[at] != ']'); ++at) {
            is_quoted = is_quoted != (rest[at] == '"');
            at += is_quoted && rest[at] == '\\' ? 1 : 0;
        }
        if (at >= rest.size()) {
            return false;
        }
        rest.remove_prefix(at + 1);
        is_there = true;
    }
    return is_there;
}

/// What follows "<14>1 ".
bool take_rfc5424(std::string_view& rest, Prefix& prefix)
{
    const auto known = [](std::string_view word) { return word == "-" ? "" : word; };
    if (!take(rest, "- ") && !take_stamp(rest, prefix.stamp)) {
        return false;
    }
    prefix.host = known(take_word(rest));
    prefix.process = known(take_word(rest));
    prefix.pid = pid_of(take_word(rest));
    take_word(rest);  // the message's id
    if (!take_structured_data(rest) || !(rest.empty() || take(rest, " "))) {
        return false;
    }
    take(rest, "\xef\xbb\xbf");
    take(rest, " ");  // which a daemon leaves that was behind the tag of a datagram
    return true;
}

/// "info    program: "
bool take_listened(std::string_view& rest, Prefix& prefix)
{
    constexpr std::size_t kWidth = sizeof "warning " - 1;
    if (rest.size() <= kWidth || rest[kWidth - 1] != ' ') {
        return false;
    }
    auto name = rest.substr(0, kWidth);
    name = name.substr(0, name.find_last_not_of(' ') + 1);
    for (int priority = LOG_EMERG; priority <= LOG_DEBUG; ++priority) {
        if (name == support::priority_name(priority)) {
            prefix.priority = priority;
            rest.remove_prefix(kWidth);
            take_tag(rest, prefix);
            return true;
        }
    }
    return false;
}

}  // namespace

Prefix take_prefix(std::string_view text)
{
    Prefix prefix;
    prefix.text = text;
    auto rest = text;
    if (text.starts_with('[')) {  // a bare record, mostly
        return prefix;
    }
    const bool has_priority = take_priority(rest, prefix.priority);
    if (has_priority && rest.starts_with("1 ")) {
        Prefix modern;
        modern.priority = prefix.priority;
        modern.text = rest.substr(2);
        modern.from_daemon = true;
        if (take_rfc5424(modern.text, modern)) {
            return modern;
        }
    }
    if (take_stamp(rest, prefix.stamp)) {
        take_host_and_tag(rest, prefix);
        prefix.from_daemon = true;
    } else if (!has_priority && !take_listened(rest, prefix)) {
        return prefix;
    }
    prefix.text = rest;
    return prefix;
}

}  // namespace commonctl
