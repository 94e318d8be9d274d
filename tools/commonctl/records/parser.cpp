#include "records/parser.h"

#include <charconv>
#include <cstring>
#include <optional>
#include <utility>

#include "log_layout.h"
#include "records/levels.h"

namespace commonctl {
namespace {

using support::LogLayout;

// One is taken for the other.
static_assert(static_cast<int>(Layout::Legacy) == static_cast<int>(LogLayout::Legacy) &&
              static_cast<int>(Layout::Columns) == static_cast<int>(LogLayout::Columns) &&
              static_cast<int>(Layout::Syslogngext) == static_cast<int>(LogLayout::Syslogngext));

/// A time that the prefix has and nobody asked for yet.
constexpr std::int64_t kOfStamp = kNoTime + 1;

/// The last day that nanoseconds since the epoch can tell the whole of.
constexpr std::int64_t kLastDay = INT64_MAX / kSecond / kDaySeconds - 1;

/// The number that a text is, from 0 on; -1 for any other text.
std::int64_t number_of(std::string_view text)
{
    std::int64_t number = -1;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && last == end ? number : -1;
}

constexpr bool is_hex_digit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The control character that a daemon wrote as "#011"; nothing for any other text. "#012345" is
/// taken for a color, as a number of six or eight hexadecimal digits is one.
std::optional<char> escaped_control(std::string_view text)
{
    constexpr std::size_t kSize = 4;
    if (text.size() < kSize) {
        return std::nullopt;
    }
    int value = 0;
    for (const char c : text.substr(1, kSize - 1)) {
        if (c < '0' || c > '7') {
            return std::nullopt;
        }
        value = value * 8 + (c - '0');
    }
    std::size_t digits = kSize - 1;
    while (1 + digits < text.size() && digits < 10 && is_hex_digit(text[1 + digits])) {
        ++digits;
    }
    const bool is_control = (value > 0 && value < ' ') || value == '\x7f';
    return is_control && digits != 6 && digits != 8 ? std::optional(static_cast<char>(value))
                                                    : std::nullopt;
}

}  // namespace

void JournalFields::clear()
{
    for (auto& text : texts_) {
        text.clear();
    }
}

JournalField journal_field(std::string_view name)
{
    constexpr std::pair<std::string_view, JournalField> kNames[] = {
        {"MESSAGE", JournalField::Message},
        {"PRIORITY", JournalField::Priority},
        {"SYSLOG_IDENTIFIER", JournalField::Identifier},
        {"_COMM", JournalField::Command},
        {"SYSLOG_PID", JournalField::SyslogPid},
        {"_PID", JournalField::Pid},
        {"_HOSTNAME", JournalField::Host},
        {"_SOURCE_REALTIME_TIMESTAMP", JournalField::SourceTime},
        {"__REALTIME_TIMESTAMP", JournalField::JournalTime}};
    for (const auto& [known, field] : kNames) {
        if (name == known) {
            return field;
        }
    }
    return JournalField::Count;
}

void Parser::parse_line(std::string_view line, Record& record)
{
    Prefix prefix = take_prefix(line);
    if (prefix.from_daemon && undo_escapes(prefix.text)) {
        prefix.text = unescaped_;
    }
    fill(prefix, kOfStamp, record);
    record.raw = line;
}

void Parser::parse_datagram(std::string_view datagram, Record& record)
{
    std::string_view text = datagram;
    while (text.ends_with('\0') || text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    fill(take_prefix(text), kOfStamp, record);
    record.raw = datagram;
}

void Parser::parse_entry(JournalFields& fields, Record& record)
{
    const auto one_of = [&](JournalField first, JournalField second) -> std::string_view {
        return fields[first].empty() ? fields[second] : fields[first];
    };
    auto& message = fields[JournalField::Message];
    Prefix prefix;
    const auto priority = number_of(fields[JournalField::Priority]);
    prefix.priority = priority >= 0 && priority <= 7 ? static_cast<int>(priority) : -1;
    prefix.host = fields[JournalField::Host];
    prefix.process = one_of(JournalField::Identifier, JournalField::Command);
    prefix.pid = number_of(one_of(JournalField::SyslogPid, JournalField::Pid));
    const auto microseconds =
        number_of(one_of(JournalField::SourceTime, JournalField::JournalTime));
    const std::int64_t time_ns =
        microseconds >= 0 && microseconds <= INT64_MAX / 1000 ? microseconds * 1000 : kNoTime;
    // The journal takes blanks off the end of a message: of a record whose own message is empty,
    // those in front of it.
    const auto size = message.size();
    message += "  ";
    for (std::size_t blanks = 0; blanks <= 2; ++blanks) {
        prefix.text = std::string_view(message).substr(0, size + blanks);
        fill(prefix, time_ns, record);
        if (record.layout != Layout::Foreign) {
            break;
        }
        record.message = prefix.text.substr(0, size);
    }
    record.raw = std::string_view(message).substr(0, size);
}

/// Makes the record of what the prefix has, and of the layout of its text.
void Parser::fill(const Prefix& prefix, std::int64_t log_time_ns, Record& record)
{
    record = Record{};
    record.priority = prefix.priority;
    record.host = prefix.host;
    record.process = prefix.process;
    record.pid = prefix.pid;
    if (!fill_from_layout(prefix, log_time_ns, record)) {
        record.layout = Layout::Foreign;
        record.level = level_of_priority(prefix.priority);
        record.message = prefix.text;
        record.time_ns = log_time_ns == kOfStamp ? time_of(prefix.stamp) : log_time_ns;
    }
    if (record.time_ns < 0) {  // nothing was logged then
        record.time_ns = kNoTime;
    }
}

bool Parser::fill_from_layout(const Prefix& prefix, std::int64_t log_time_ns, Record& record)
{
    const auto layout = support::possible_layout(prefix.text);
    support::LayoutParts parts;
    if (!layout || !support::take_apart(*layout, prefix.text, parts)) {
        return false;
    }
    const int level = level_of_text(parts.level);
    const int second = second_of_day(parts.time);
    if (level < 0 || second < 0) {
        return false;
    }
    record.layout = static_cast<Layout>(*layout);
    if (parts.day >= 0 && parts.day <= kLastDay && parts.nanoseconds < kSecond) {
        record.time_ns = times_.instant(parts.day, second) * kSecond + parts.nanoseconds;
    } else {
        const std::int64_t log_ns = log_time_ns == kOfStamp ? time_of(prefix.stamp) : log_time_ns;
        const std::int64_t log_second = log_ns / kSecond;
        if (*layout == LogLayout::Syslogng && log_ns != kNoTime) {
            const std::int64_t own = times_.nearest(log_second, second);
            // Within a second only the log knows the order.
            record.time_ns = own == log_second ? log_ns : own * kSecond;
        } else {
            record.time_ns = log_ns;
        }
    }
    record.level = level;
    if (parts.pid != -1) {
        record.pid = parts.pid;
    }
    if (!parts.process.empty()) {
        record.process = parts.process;
    }
    record.tid = parts.tid;
    record.line = parts.line;
    record.zone = parts.zone;
    record.file = parts.file;
    record.function = parts.function;
    record.message = parts.message;
    return true;
}

std::int64_t Parser::time_of(std::string_view stamp)
{
    if (stamp.empty()) {
        return kNoTime;
    }
    std::size_t size = 0;
    const bool is_rfc3339 = stamp[0] >= '0' && stamp[0] <= '9';
    return is_rfc3339 ? take_rfc3339(stamp, size) : times_.of_traditional(stamp);
}

/// @return whether there were any; then the text without them is in `unescaped_`.
bool Parser::undo_escapes(std::string_view text)
{
    unescaped_.clear();
    std::size_t copied = 0;
    for (auto at = text.find('#'); at != std::string_view::npos; at = text.find('#', at + 1)) {
        if (const auto control = escaped_control(text.substr(at))) {
            unescaped_.append(text, copied, at - copied);
            unescaped_ += *control;
            copied = at + 4;
        }
    }
    unescaped_.append(text, copied != 0 ? copied : text.size());
    return copied != 0;
}

}  // namespace commonctl
