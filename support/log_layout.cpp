#include "log_layout.h"

#include <charconv>
#include <ostream>

namespace support {
namespace {

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

    /// A decimal number of at least `width` places, filled up with `fill` on the left.
    Scanner& number(std::int64_t& value, std::size_t width = 1, char fill = '0')
    {
        std::size_t blanks = 0;
        while (fill == ' ' && blanks < rest_.size() && rest_[blanks] == ' ') {
            ++blanks;
        }
        const char* first = rest_.data() + blanks;
        const auto [end, error] = std::from_chars(first, rest_.data() + rest_.size(), value);
        const auto places = static_cast<std::size_t>(end - rest_.data());
        const bool width_fits = blanks == 0 ? places >= width : places == width;
        if (expect(error == std::errc() && end != first && width_fits)) {
            rest_.remove_prefix(places);
        }
        return *this;
    }

    /// Everything up to a separator, which is consumed, too.
    Scanner& until(std::string_view separator, std::string& value)
    {
        return take_to(rest_.find(separator), separator.size(), value);
    }

    /// A text filled up with blanks to `width` and followed by two more.
    Scanner& padded(std::size_t width, std::string& value)
    {
        take_to(rest_.find("  ", width), 2, value);
        while (value.ends_with(' ')) {
            value.pop_back();
        }
        return *this;
    }

    /// "function line, ": the function's name may contain blanks.
    Scanner& function_and_line(LayoutFields& fields)
    {
        std::string both;
        until(", ", both);
        const auto blank = both.rfind(' ');
        if (expect(blank != std::string::npos)) {
            fields.function = both.substr(0, blank);
            Scanner number_text(std::string_view(both).substr(blank + 1));
            expect(number_text.number(fields.line).at_end());
        }
        return *this;
    }

    bool at_end() const { return fits_ && rest_.empty(); }

    std::optional<LayoutFields> message(LayoutFields& fields)
    {
        if (!fits_) {
            return std::nullopt;
        }
        fields.message = rest_;
        return fields;
    }

private:
    bool expect(bool condition)
    {
        fits_ = fits_ && condition;
        return fits_;
    }

    Scanner& take_to(std::size_t end, std::size_t separator_size, std::string& value)
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
Scanner& moment(Scanner& scanner, LayoutFields& fields)
{
    return scanner.number(fields.day, 3)
        .literal(".")
        .until(".", fields.time)
        .number(fields.nanoseconds, 9);
}

}  // namespace

std::optional<LayoutFields> parse_legacy(std::string_view text)
{
    LayoutFields fields;
    Scanner scanner(text);
    moment(scanner.literal("["), fields)
        .literal("] ")
        .until(": ", fields.zone)
        .until(" (file=", fields.level)
        .until(",func=", fields.file)
        .until(",line=", fields.function)
        .number(fields.line)
        .literal(") ");
    return scanner.message(fields);
}

std::optional<LayoutFields> parse_all(std::string_view text)
{
    LayoutFields fields;
    Scanner scanner(text);
    moment(scanner.literal("["), fields)
        .literal("] PID: ")
        .number(fields.pid)
        .literal(", TID: ")
        .number(fields.tid)
        .literal(", Proc: ")
        .until(", Level: ", fields.process)
        .until(", Zone: ", fields.level)
        .until(", File: ", fields.zone)
        .until(", Func: ", fields.file)
        .until(", Line: ", fields.function)
        .number(fields.line)
        .literal(", Message: ");
    return scanner.message(fields);
}

std::optional<LayoutFields> parse_columns(std::string_view text)
{
    LayoutFields fields;
    Scanner scanner(text);
    moment(scanner, fields)
        .literal("   ")
        .number(fields.tid, 2, ' ')
        .literal("  ")
        .padded(8, fields.level)
        .padded(15, fields.zone)
        .padded(30, fields.file)
        .padded(34, fields.function)
        .number(fields.line, 4, ' ')
        .literal("  ");
    return scanner.message(fields);
}

std::optional<LayoutFields> parse_syslogng(std::string_view text)
{
    LayoutFields fields;
    Scanner scanner(text);
    scanner.until(", ", fields.time)
        .until(", ", fields.zone)
        .number(fields.pid)
        .literal(", ")
        .until(", ", fields.level)
        .until(", ", fields.file)
        .function_and_line(fields);
    return scanner.message(fields);
}

std::optional<LayoutFields> parse_syslogngext(std::string_view text)
{
    LayoutFields fields;
    Scanner scanner(text);
    moment(scanner.literal("["), fields)
        .literal("], ")
        .until(", ", fields.zone)
        .number(fields.pid)
        .literal(", ")
        .until(", ", fields.process)
        .number(fields.tid)
        .literal(", ")
        .until(", ", fields.level)
        .until(", ", fields.file)
        .function_and_line(fields);
    return scanner.message(fields);
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
