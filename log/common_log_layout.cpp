#include "log/common_log_layout.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace common {
namespace {

/// Appends to a text of limited size; what does not fit is counted only.
class Composer {
public:
    Composer(char* text, std::size_t capacity) noexcept : text_(text), capacity_(capacity) {}

    Composer& operator<<(std::string_view part) noexcept
    {
        if (length_ < capacity_) {
            std::memcpy(text_ + length_, part.data(), std::min(part.size(), capacity_ - length_));
        }
        length_ += part.size();
        return *this;
    }

    /// As "%-*s".
    Composer& column(std::string_view part, std::size_t width) noexcept
    {
        *this << part;
        return part.size() < width ? fill(' ', width - part.size()) : *this;
    }

    /// As "%0*u", or with another fill.
    Composer& number(std::uint32_t value, std::size_t width = 1, char filler = '0') noexcept
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

    std::size_t finish() noexcept
    {
        text_[std::min(length_, capacity_ - 1)] = '\0';
        return length_;
    }

private:
    Composer& fill(char filler, std::size_t count) noexcept
    {
        if (length_ < capacity_) {
            std::memset(text_ + length_, filler, std::min(count, capacity_ - length_));
        }
        length_ += count;
        return *this;
    }

    char* text_;
    std::size_t capacity_;
    std::size_t length_ = 0;
};

/// "[%03u.%s.%09u]"
Composer& bracketed_stamp(Composer& to, const RecordFields& fields) noexcept
{
    return (to << "[" << fields.stamp << ".").number(fields.nanoseconds, 9) << "]";
}

void legacy(Composer& to, const COMMON_LogRecord& record, const RecordFields& fields) noexcept
{
    bracketed_stamp(to, fields) << " " << fields.zone << ": " << fields.level
                                << " (file=" << fields.file << ",func=" << fields.function
                                << ",line=";
    to.signed_number(record.line) << ") " << record.message;
}

void all(Composer& to, const COMMON_LogRecord& record, const RecordFields& fields) noexcept
{
    (bracketed_stamp(to, fields) << " PID: ").number(record.processId);
    (to << ", TID: ").number(record.threadId);
    to << ", Proc: " << fields.process_name << ", Level: " << fields.level
       << ", Zone: " << fields.zone << ", File: " << fields.file << ", Func: " << fields.function
       << ", Line: ";
    to.number(static_cast<std::uint32_t>(record.line)) << ", Message: " << record.message;
}

void columns(Composer& to, const COMMON_LogRecord& record, const RecordFields& fields) noexcept
{
    (to << fields.stamp << ".").number(fields.nanoseconds, 9) << "   ";
    to.number(record.threadId, 2, ' ') << "  ";
    to.column(fields.level, 8) << "  ";
    to.column(fields.zone, 15) << "  ";
    to.column(fields.file, 30) << "  ";
    to.column(fields.function, 34) << "  ";
    to.number(static_cast<std::uint32_t>(record.line), 4, ' ') << "  " << record.message;
}

void syslogng(Composer& to, const COMMON_LogRecord& record, const RecordFields& fields) noexcept
{
    (to << fields.time_of_day << ", " << fields.zone << ", ").signed_number(getpid());
    to << ", " << fields.level << ", " << fields.file << ", " << fields.function << " ";
    to.signed_number(record.line) << ", " << record.message;
}

void syslogngext(Composer& to, const COMMON_LogRecord& record, const RecordFields& fields) noexcept
{
    (bracketed_stamp(to, fields) << ", " << fields.zone << ", ")
        .signed_number(static_cast<std::int32_t>(record.processId));
    (to << ", " << fields.process_name << ", ")
        .signed_number(static_cast<std::int32_t>(record.threadId));
    to << ", " << fields.level << ", " << fields.file << ", " << fields.function << " ";
    to.signed_number(record.line) << ", " << record.message;
}

}  // namespace

std::size_t compose_record(COMMON_LogFormat_t format, const COMMON_LogRecord& record,
                           const RecordFields& fields, char* text, std::size_t capacity) noexcept
{
    Composer to(text, capacity);
    switch (format) {
    case COMMON_LogFormatLegacy:
        legacy(to, record, fields);
        break;
    case COMMON_LogFormatColumns:
        columns(to, record, fields);
        break;
    case COMMON_LogFormatSyslogng:
        syslogng(to, record, fields);
        break;
    case COMMON_LogFormatSyslogngext:
        syslogngext(to, record, fields);
        break;
    default:
        all(to, record, fields);
        break;
    }
    return to.finish();
}

}  // namespace common
