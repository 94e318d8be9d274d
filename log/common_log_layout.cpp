#include "log/common_log_layout.h"

#include <unistd.h>

#include <cstring>

namespace common {
namespace {

/// Appends to a text that has room for everything.
class Composer {
public:
    explicit Composer(char* text) noexcept : end_(text) {}

    Composer& operator<<(std::string_view part) noexcept
    {
        std::memcpy(end_, part.data(), part.size());
        end_ += part.size();
        return *this;
    }

    /// A literal, whose size the compiler knows.
    template <std::size_t Size>
    Composer& operator<<(const char (&part)[Size]) noexcept
    {
        std::memcpy(end_, part, Size - 1);
        end_ += Size - 1;
        return *this;
    }

    /// As "%-*s".
    Composer& column(std::string_view part, std::size_t width) noexcept
    {
        *this << part;
        return part.size() < width ? fill(' ', width - part.size()) : *this;
    }

    /// As "%*u", or "%0*u" with the filler '0'.
    Composer& number(std::uint32_t value, std::size_t width = 1, char filler = ' ') noexcept
    {
        char digits[10];
        std::size_t first = sizeof digits;
        do {
            digits[--first] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        const std::size_t count = sizeof digits - first;
        if (count < width) {
            fill(filler, width - count);
        }
        return *this << std::string_view(digits + first, count);
    }

    /// As "%d".
    Composer& signed_number(std::int32_t value) noexcept
    {
        const auto bits = static_cast<std::uint32_t>(value);
        return value < 0 ? (*this << "-").number(0U - bits) : number(bits);
    }

    /// As "%09u", for a number below 1,000,000,000.
    Composer& nine_digits(std::uint32_t value) noexcept
    {
        // Three groups that do not wait for one another.
        three_digits(end_, value / 1'000'000);
        three_digits(end_ + 3, value / 1'000 % 1'000);
        three_digits(end_ + 6, value % 1'000);
        end_ += 9;
        return *this;
    }

    void terminate() noexcept { *end_ = '\0'; }

private:
    static void three_digits(char* text, std::uint32_t value) noexcept
    {
        text[0] = static_cast<char>('0' + value / 100);
        text[1] = static_cast<char>('0' + value / 10 % 10);
        text[2] = static_cast<char>('0' + value % 10);
    }

    Composer& fill(char filler, std::size_t count) noexcept
    {
        std::memset(end_, filler, count);
        end_ += count;
        return *this;
    }

    char* end_;
};

/// "[%03u.%s.%09u]"
Composer& bracketed_stamp(Composer& to, const RecordFields& fields) noexcept
{
    return (to << "[" << fields.stamp << ".").nine_digits(fields.nanoseconds) << "]";
}

void legacy(Composer& to, const RecordFields& fields) noexcept
{
    bracketed_stamp(to, fields) << " " << fields.zone << ": " << fields.level
                                << " (file=" << fields.file << ",func=" << fields.function
                                << ",line=";
    to.signed_number(fields.line) << ") " << fields.message;
}

void all(Composer& to, const RecordFields& fields) noexcept
{
    (bracketed_stamp(to, fields) << " PID: ").number(fields.process_id);
    (to << ", TID: ").number(fields.thread_id);
    to << ", Proc: " << fields.process_name << ", Level: " << fields.level
       << ", Zone: " << fields.zone << ", File: " << fields.file << ", Func: " << fields.function
       << ", Line: ";
    to.number(static_cast<std::uint32_t>(fields.line)) << ", Message: " << fields.message;
}

void columns(Composer& to, const RecordFields& fields) noexcept
{
    (to << fields.stamp << ".").nine_digits(fields.nanoseconds) << "   ";
    to.number(fields.thread_id, 2) << "  ";
    to.column(fields.level, 8) << "  ";
    to.column(fields.zone, 15) << "  ";
    to.column(fields.file, 30) << "  ";
    to.column(fields.function, 34) << "  ";
    to.number(static_cast<std::uint32_t>(fields.line), 4) << "  " << fields.message;
}

void syslogng(Composer& to, const RecordFields& fields) noexcept
{
    (to << fields.time_of_day << ", " << fields.zone << ", ").signed_number(getpid());
    to << ", " << fields.level << ", " << fields.file << ", " << fields.function << " ";
    to.signed_number(fields.line) << ", " << fields.message;
}

void syslogngext(Composer& to, const RecordFields& fields) noexcept
{
    bracketed_stamp(to, fields) << ", " << fields.zone << ", " << fields.identity << ", "
                                << fields.level << ", " << fields.file << ", " << fields.function
                                << " ";
    to.signed_number(fields.line) << ", " << fields.message;
}

}  // namespace

std::size_t record_capacity(const RecordFields& fields) noexcept
{
    return kBesidesTexts + fields.stamp.size() + fields.identity.size() +
           fields.process_name.size() + fields.level.size() + fields.zone.size() +
           fields.file.size() + fields.function.size() + fields.message.size();
}

void compose_record(COMMON_LogFormat_t format, const RecordFields& fields, char* text) noexcept
{
    Composer to(text);
    switch (format) {
    case COMMON_LogFormatLegacy:
        legacy(to, fields);
        break;
    case COMMON_LogFormatColumns:
        columns(to, fields);
        break;
    case COMMON_LogFormatSyslogng:
        syslogng(to, fields);
        break;
    case COMMON_LogFormatSyslogngext:
        syslogngext(to, fields);
        break;
    default:
        all(to, fields);
        break;
    }
    to.terminate();
}

}  // namespace common
