#include "log_layout.h"

#include <algorithm>
#include <charconv>
#include <ostream>

namespace support {
namespace {

/// Whether a text begins with a digit.
constexpr bool is_digit(std::string_view text)
{
    return !text.empty() && text[0] >= '0' && text[0] <= '9';
}

/// Reads a text from left to right; after the first thing that does not fit nothing does.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    Scanner& literal(std::string_view expected)
    {
        if (expect(rest_.starts_with(expected))) {
            rest_.remove_prefix(expected.size());
        }
        return *this;
    }

    /// A decimal number of a type and of at least `width` places, filled up with `fill` on the
    /// left.
    template <typename Number>
    Scanner& number(std::int64_t& value, std::size_t width = 1, char fill = '0')
    {
        std::size_t blanks = 0;
        while (fill == ' ' && blanks < rest_.size() && rest_[blanks] == ' ') {
            ++blanks;
        }
        Number read = 0;
        const char* first = rest_.data() + blanks;
        const auto [end, error] = std::from_chars(first, rest_.data() + rest_.size(), read);
        const auto places = static_cast<std::size_t>(end - rest_.data());
        const bool width_fits = blanks == 0 ? places >= width : places == width;
        if (expect(error == std::errc() && end != first && width_fits)) {
            value = read;
            rest_.remove_prefix(places);
        }
        return *this;
    }

    /// Everything up to a separator, which is consumed, too.
    Scanner& until(std::string_view separator, std::string_view& value)
    {
        return take_to(rest_.find(separator), separator.size(), value);
    }

    /// A text filled up with blanks to `width` and followed by two more.
    Scanner& padded(std::size_t width, std::string_view& value)
    {
        take_to(rest_.find("  ", width), 2, value);
        value = value.substr(0, value.find_last_not_of(' ') + 1);
        return *this;
    }

    /// "function line, ": the function's name may contain blanks and separators.
    Scanner& function_and_line(LayoutParts& parts)
    {
        for (auto end = rest_.find(", "); fits_; end = rest_.find(", ", end + 1)) {
            if (!expect(end != std::string_view::npos)) {
                break;
            }
            const auto both = rest_.substr(0, end);
            const auto blank = both.rfind(' ');
            if (blank == std::string_view::npos) {
                continue;
            }
            Scanner number_text(both.substr(blank + 1));
            if (number_text.number<std::int32_t>(parts.line).at_end()) {
                parts.function = both.substr(0, blank);
                rest_.remove_prefix(end + 2);
                break;
            }
        }
        return *this;
    }

    bool at_end() const { return fits_ && rest_.empty(); }

    bool message(LayoutParts& parts)
    {
        parts.message = rest_;
        return fits_;
    }

private:
    bool expect(bool condition)
    {
        fits_ = fits_ && condition;
        return fits_;
    }

    Scanner& take_to(std::size_t end, std::size_t separator_size, std::string_view& value)
    {
        if (expect(end != std::string_view::npos)) {
            value = rest_.substr(0, end);
            rest_.remove_prefix(end + separator_size);
        }
        return *this;
    }

    std::string_view rest_;
    bool fits_ = true;
};

/// "%03u.%s.%09u", which four layouts begin with.
Scanner& moment(Scanner& scanner, LayoutParts& parts)
{
    return scanner.number<std::uint32_t>(parts.day, 3)
        .literal(".")
        .until(".", parts.time)
        .number<std::uint32_t>(parts.nanoseconds, 9);
}

bool legacy(std::string_view text, LayoutParts& parts)
{
    Scanner scanner(text);
    return moment(scanner.literal("["), parts)
        .literal("] ")
        .until(": ", parts.zone)
        .until(" (file=", parts.level)
        .until(",func=", parts.file)
        .until(",line=", parts.function)
        .number<std::int32_t>(parts.line)
        .literal(") ")
        .message(parts);
}

bool all(std::string_view text, LayoutParts& parts)
{
    Scanner scanner(text);
    return moment(scanner.literal("["), parts)
        .literal("] PID: ")
        .number<std::uint32_t>(parts.pid)
        .literal(", TID: ")
        .number<std::uint32_t>(parts.tid)
        .literal(", Proc: ")
        .until(", Level: ", parts.process)
        .until(", Zone: ", parts.level)
        .until(", File: ", parts.zone)
        .until(", Func: ", parts.file)
        .until(", Line: ", parts.function)
        .number<std::uint32_t>(parts.line)
        .literal(", Message: ")
        .message(parts);
}

bool columns(std::string_view text, LayoutParts& parts)
{
    Scanner scanner(text);
    return moment(scanner, parts)
        .literal("   ")
        .number<std::uint32_t>(parts.tid, 2, ' ')
        .literal("  ")
        .padded(8, parts.level)
        .padded(15, parts.zone)
        .padded(30, parts.file)
        .padded(34, parts.function)
        .number<std::uint32_t>(parts.line, 4, ' ')
        .literal("  ")
        .message(parts);
}

bool syslogng(std::string_view text, LayoutParts& parts)
{
    Scanner scanner(text);
    return scanner.until(", ", parts.time)
        .until(", ", parts.zone)
        .number<std::int32_t>(parts.pid)
        .literal(", ")
        .until(", ", parts.level)
        .until(", ", parts.file)
        .function_and_line(parts)
        .message(parts);
}

bool syslogngext(std::string_view text, LayoutParts& parts)
{
    Scanner scanner(text);
    return moment(scanner.literal("["), parts)
        .literal("], ")
        .until(", ", parts.zone)
        .number<std::int32_t>(parts.pid)
        .literal(", ")
        .until(", ", parts.process)
        .number<std::int32_t>(parts.tid)
        .literal(", ")
        .until(", ", parts.level)
        .until(", ", parts.file)
        .function_and_line(parts)
        .message(parts);
}

std::optional<LayoutFields> copied(LogLayout layout, std::string_view text)
{
    LayoutParts parts;
    if (!take_apart(layout, text, parts)) {
        return std::nullopt;
    }
    return LayoutFields{.day = parts.day,
                        .time = std::string(parts.time),
                        .nanoseconds = parts.nanoseconds,
                        .pid = parts.pid,
                        .tid = parts.tid,
                        .process = std::string(parts.process),
                        .level = std::string(parts.level),
                        .zone = std::string(parts.zone),
                        .file = std::string(parts.file),
                        .function = std::string(parts.function),
                        .line = parts.line,
                        .message = std::string(parts.message)};
}

}  // namespace

bool take_apart(LogLayout layout, std::string_view text, LayoutParts& parts)
{
    switch (layout) {
    case LogLayout::Legacy:
        return legacy(text, parts);
    case LogLayout::All:
        return all(text, parts);
    case LogLayout::Columns:
        return columns(text, parts);
    case LogLayout::Syslogng:
        return syslogng(text, parts);
    case LogLayout::Syslogngext:
        return syslogngext(text, parts);
    }
    return false;
}

std::optional<LogLayout> possible_layout(std::string_view text)
{
    if (text.starts_with('[')) {
        const auto behind = text.substr(std::min(text.find(']'), text.size()));
        if (behind.starts_with("], ")) {
            return LogLayout::Syslogngext;
        }
        // Behind the zone "PID" there is the text of a level.
        constexpr std::string_view kAll = "] PID: ";
        return behind.starts_with(kAll) && is_digit(behind.substr(kAll.size())) ? LogLayout::All
                                                                                : LogLayout::Legacy;
    }
    if (text.size() < 3 || !is_digit(text) || !is_digit(text.substr(1))) {
        return std::nullopt;
    }
    return text[2] == ':' ? LogLayout::Syslogng : LogLayout::Columns;
}

std::optional<LayoutFields> parse_legacy(std::string_view text)
{
    return copied(LogLayout::Legacy, text);
}

std::optional<LayoutFields> parse_all(std::string_view text)
{
    return copied(LogLayout::All, text);
}

std::optional<LayoutFields> parse_columns(std::string_view text)
{
    return copied(LogLayout::Columns, text);
}

std::optional<LayoutFields> parse_syslogng(std::string_view text)
{
    return copied(LogLayout::Syslogng, text);
}

std::optional<LayoutFields> parse_syslogngext(std::string_view text)
{
    return copied(LogLayout::Syslogngext, text);
}

std::ostream& operator<<(std::ostream& stream, const LayoutFields& fields)
{
    return stream << "{day=" << fields.day << " time=" << fields.time
                  << " nanoseconds=" << fields.nanoseconds << " pid=" << fields.pid
                  << " tid=" << fields.tid << " process=" << fields.process
                  << " level=" << fields.level << " zone=" << fields.zone << " file=" << fields.file
                  << " function=" << fields.function << " line=" << fields.line
                  << " message=" << fields.message << "}";
}

}  // namespace support
