#include "log_record.h"

#include <charconv>
#include <ostream>
#include <syslog.h>

namespace support {
namespace {

constexpr std::size_t kTimestampLength = sizeof "Jan  2 03:04:05" - 1;

bool take_number(std::string_view& rest, long& number)
{
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc() || end == rest.data()) {
        return false;
    }
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return true;
}

bool take(std::string_view& rest, std::string_view literal)
{
    if (!rest.starts_with(literal)) {
        return false;
    }
    rest.remove_prefix(literal.size());
    return true;
}

bool take_identity(std::string_view& rest, LogRecord& record)
{
    const auto end = rest.find_first_of("[:");
    if (end == std::string_view::npos) {
        return false;
    }
    record.identity = rest.substr(0, end);
    rest.remove_prefix(end);
    if (take(rest, "[") && !(take_number(rest, record.process) && take(rest, "]"))) {
        return false;
    }
    return take(rest, ": ");
}

}  // namespace

LogRecord parse_datagram(std::string_view datagram)
{
    LogRecord record;
    record.raw = datagram;
    while (datagram.ends_with('\0') || datagram.ends_with('\n')) {
        datagram.remove_suffix(1);
    }
    auto rest = datagram;
    long code = 0;
    const bool has_header = take(rest, "<") && take_number(rest, code) && take(rest, ">") &&
                            rest.size() > kTimestampLength;
    if (has_header) {
        record.timestamp = rest.substr(0, kTimestampLength);
        rest.remove_prefix(kTimestampLength);
    }
    if (!has_header || !take(rest, " ") || !take_identity(rest, record)) {
        LogRecord invalid;
        invalid.raw = record.raw;
        invalid.text = record.raw;
        return invalid;
    }
    record.valid = true;
    record.facility = static_cast<int>(code & LOG_FACMASK);
    record.priority = LOG_PRI(static_cast<int>(code));
    record.text = rest;
    return record;
}

const char* priority_name(int priority)
{
    static constexpr const char* kNames[] = {"emerg",   "alert",  "crit", "err",
                                             "warning", "notice", "info", "debug"};
    return priority >= LOG_EMERG && priority <= LOG_DEBUG ? kNames[priority] : "?";
}

std::ostream& operator<<(std::ostream& stream, const LogRecord& record)
{
    if (!record.valid) {
        return stream << "<?> " << record.raw;
    }
    return stream << '<' << priority_name(record.priority) << "> " << record.identity << ": "
                  << record.text;
}

}  // namespace support
