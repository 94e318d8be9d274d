#include "log/common_log_layout.h"

#include <iterator>

#include "log/composer.h"

namespace common::log {
namespace {

/// "[%03u.%s.%09u]"
template <class To>
constexpr To& bracketed_stamp(To& to, const RecordFields& fields) noexcept
{
    return (to << "[" << fields.stamp << ".").nine_digits(fields.nanoseconds) << "]";
}

template <class To>
constexpr void legacy(To& to, const RecordFields& fields) noexcept
{
    bracketed_stamp(to, fields) << " " << fields.zone << ": " << fields.level
                                << " (file=" << fields.file << ",func=" << fields.function
                                << ",line=";
    to.signed_number(fields.line) << ") ";
}

template <class To>
constexpr void all(To& to, const RecordFields& fields) noexcept
{
    (bracketed_stamp(to, fields) << " PID: ").number(fields.process_id);
    (to << ", TID: ").number(fields.thread_id);
    to << ", Proc: " << fields.process_name << ", Level: " << fields.level
       << ", Zone: " << fields.zone << ", File: " << fields.file << ", Func: " << fields.function
       << ", Line: ";
    to.number(static_cast<std::uint32_t>(fields.line)) << ", Message: ";
}

template <class To>
constexpr void columns(To& to, const RecordFields& fields) noexcept
{
    (to << fields.stamp << ".").nine_digits(fields.nanoseconds) << "   ";
    to.number(fields.thread_id, 2) << "  ";
    to.column(fields.level, 8) << "  ";
    to.column(fields.zone, 15) << "  ";
    to.column(fields.file, 30) << "  ";
    to.column(fields.function, 34) << "  ";
    to.number(static_cast<std::uint32_t>(fields.line), 4) << "  ";
}

template <class To>
constexpr void syslogng(To& to, const RecordFields& fields) noexcept
{
    (to << fields.time_of_day << ", " << fields.zone << ", ").own_process_id();
    to << ", " << fields.level << ", " << fields.file << ", " << fields.function << " ";
    to.signed_number(fields.line) << ", ";
}

template <class To>
constexpr void syslogngext(To& to, const RecordFields& fields) noexcept
{
    bracketed_stamp(to, fields) << ", " << fields.zone << ", " << fields.identity << ", "
                                << fields.level << ", " << fields.file << ", " << fields.function
                                << " ";
    to.signed_number(fields.line) << ", ";
}

/// Hands the fields to the layout of that number: All, unless it is one of the others.
template <class To>
constexpr void lay_out(COMMON_LogFormat_t number, To& to, const RecordFields& fields) noexcept
{
    using Layout = decltype(COMMON_LogFormatAll);  // so that the compiler misses a forgotten row
    const Layout known =
        number < std::size(kLayouts) ? static_cast<Layout>(number) : COMMON_LogFormatAll;
    switch (known) {
#define CASE(name, layout)       \
    case COMMON_LogFormat##name: \
        layout(to, fields);      \
        break;
        COMMON_LOG_LAYOUTS(CASE)
#undef CASE
    }
}

constexpr bool has_room(COMMON_LogFormat_t layout, const RecordFields& fields) noexcept
{
    Counter counter;
    lay_out(layout, counter, fields);
    return counter.with_terminator() <= prefix_capacity(fields);
}

constexpr char kBytes[2 * kBesidesTexts]{};
constexpr std::string_view kText(kBytes, sizeof kBytes);

/// Whether prefix_capacity() is enough for a layout: without texts, and with each of them so long
/// that to show it twice would be too much.
constexpr bool has_room(COMMON_LogFormat_t layout) noexcept
{
    using Fields = RecordFields;
    for (std::string_view Fields::*const text :
         {&Fields::identity, &Fields::process_name, &Fields::level, &Fields::zone, &Fields::file,
          &Fields::function}) {
        RecordFields fields{};
        fields.*text = kText;
        if (!has_room(layout, fields)) {
            return false;
        }
    }
    RecordFields fields{};
    const bool has_room_without = has_room(layout, fields);
    fields.stamp = fields.time_of_day = kText;  // the one is part of the other
    return has_room_without && has_room(layout, fields);
}

#define HAS_ROOM(name, layout)                                                            \
    static_assert(                                                                        \
        COMMON_LogFormat##name < std::size(kLayouts) && has_room(COMMON_LogFormat##name), \
        "layouts are numbered without a gap, and prefix_capacity() is enough for " #name);
COMMON_LOG_LAYOUTS(HAS_ROOM)
#undef HAS_ROOM

}  // namespace

char* compose_prefix(COMMON_LogFormat_t layout, const RecordFields& fields, char* text) noexcept
{
    Composer to(text);
    lay_out(layout, to, fields);
    return to.end();
}

}  // namespace common::log
