#include "records/time_text.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "records/record.h"
#include "records/time_reader.h"

namespace commonctl {
namespace {

// Beyond any time that records have.
constexpr std::int64_t kMostSeconds = std::int64_t{366} * 300 * kDaySeconds;

bool take(std::string_view& rest, char expected)
{
    if (!rest.starts_with(expected)) {
        return false;
    }
    rest.remove_prefix(1);
    return true;
}

/// A number of so many digits at least and at most; -1 when it is not there.
std::int64_t take_number(std::string_view& rest, std::size_t least, std::size_t most)
{
    std::size_t digits = 0;
    std::int64_t number = 0;
    for (; digits < rest.size() && digits < most && rest[digits] >= '0' && rest[digits] <= '9';
         ++digits) {
        number = number * 10 + (rest[digits] - '0');
    }
    if (digits < least) {
        return -1;
    }
    rest.remove_prefix(digits);
    return number;
}

/// ".25", if it is there. @return nanoseconds; -1 for a point without digits.
std::int64_t take_fraction(std::string_view& rest)
{
    if (!take(rest, '.')) {
        return 0;
    }
    const auto before = rest.size();
    std::int64_t value = take_number(rest, 1, 9);
    for (auto digits = before - rest.size(); value > 0 && digits < 9; ++digits) {
        value *= 10;
    }
    return value;
}

/// "10:00", "10:00:05" or "10:00:05.25". @return nanoseconds since midnight.
std::optional<std::int64_t> clock_time(std::string_view text)
{
    const std::int64_t hour = take_number(text, 1, 2);
    if (hour < 0 || hour > 23 || !take(text, ':')) {
        return std::nullopt;
    }
    const std::int64_t minute = take_number(text, 2, 2);
    const std::int64_t second = take(text, ':') ? take_number(text, 2, 2) : 0;
    const std::int64_t fraction = take_fraction(text);
    if (minute < 0 || minute > 59 || second < 0 || second > 60 || fraction < 0 || !text.empty()) {
        return std::nullopt;
    }
    return ((hour * 60 + minute) * 60 + second) * kSecond + fraction;
}

/// "2026-11-22". @return days since the epoch.
std::optional<std::int64_t> take_date(std::string_view& rest)
{
    auto text = rest;
    const std::int64_t year = take_number(text, 4, 4);
    const std::int64_t month = take(text, '-') ? take_number(text, 1, 2) : -1;
    const std::int64_t day = take(text, '-') ? take_number(text, 1, 2) : -1;
    if (!is_date(year, static_cast<int>(month), static_cast<int>(day))) {
        return std::nullopt;
    }
    rest = text;
    return days_since_epoch(year, static_cast<int>(month), static_cast<int>(day));
}

std::int64_t unit_seconds(std::string_view unit)
{
    constexpr std::pair<std::string_view, std::int64_t> kUnits[] = {{"s", 1},
                                                                    {"sec", 1},
                                                                    {"second", 1},
                                                                    {"seconds", 1},
                                                                    {"m", 60},
                                                                    {"min", 60},
                                                                    {"minute", 60},
                                                                    {"minutes", 60},
                                                                    {"h", 3600},
                                                                    {"hour", 3600},
                                                                    {"hours", 3600},
                                                                    {"d", kDaySeconds},
                                                                    {"day", kDaySeconds},
                                                                    {"days", kDaySeconds},
                                                                    {"w", 7 * kDaySeconds},
                                                                    {"week", 7 * kDaySeconds},
                                                                    {"weeks", 7 * kDaySeconds}};
    for (const auto& [name, seconds] : kUnits) {
        if (unit == name) {
            return seconds;
        }
    }
    return -1;
}

/// "1h30min", with blanks between or not. @return seconds.
std::optional<std::int64_t> span_of(std::string_view text)
{
    std::int64_t sum = 0;
    bool is_there = false;
    const auto skip_blanks = [&text] {
        while (take(text, ' ')) {
        }
    };
    for (skip_blanks(); !text.empty(); skip_blanks()) {
        const std::int64_t count = take_number(text, 1, 10);
        skip_blanks();
        const auto end = std::min(text.find_first_of(" 0123456789"), text.size());
        const std::int64_t unit = unit_seconds(text.substr(0, end));
        if (count < 0 || unit <= 0 || count > kMostSeconds / unit) {
            return std::nullopt;
        }
        text.remove_prefix(end);
        sum += count * unit;
        is_there = true;
    }
    return is_there && sum <= kMostSeconds ? std::optional(sum) : std::nullopt;
}

std::int64_t relative_time(std::string_view text, std::int64_t now)
{
    constexpr std::string_view kAgo = " ago";
    const bool is_ago = text.ends_with(kAgo);
    const bool is_past = is_ago || text.starts_with('-');
    if (is_ago) {
        text.remove_suffix(kAgo.size());
    } else if (!take(text, '-') && !take(text, '+')) {
        return kNoTime;
    }
    const auto span = span_of(text);
    // Not beyond what nanoseconds can tell.
    const std::int64_t second = now / kSecond + span.value_or(0) * (is_past ? -1 : 1);
    return span && second >= 0 && second < kMostSeconds - kDaySeconds
               ? second * kSecond + now % kSecond
               : kNoTime;
}

std::int64_t since_epoch(std::string_view text)
{
    const std::int64_t second = take_number(text, 1, 10);
    const std::int64_t fraction = take_fraction(text);
    const bool fits = second >= 0 && second < INT64_MAX / kSecond && fraction >= 0 && text.empty();
    return fits ? second * kSecond + fraction : kNoTime;
}

}  // namespace

std::int64_t time_of_text(std::string_view text, std::int64_t now)
{
    TimeReader times;
    const std::int64_t local_now = now / kSecond + times.offset_at(now / kSecond);
    const std::int64_t today = local_now / kDaySeconds;
    const auto at = [&times](std::int64_t day, std::int64_t ns_of_day) {
        return times.of_local(day * kDaySeconds + ns_of_day / kSecond) * kSecond +
               ns_of_day % kSecond;
    };
    if (text == "now") {
        return now;
    }
    if (text == "today" || text == "yesterday") {
        return at(text == "today" ? today : today - 1, 0);
    }
    if (take(text, '@')) {
        return since_epoch(text);
    }
    if (const auto time = clock_time(text)) {
        return at(today, *time);
    }
    std::size_t size = 0;
    const std::int64_t exact = take_rfc3339(text, size);
    if (exact != kNoTime && size == text.size()) {
        return exact;
    }
    if (const auto day = take_date(text)) {
        const bool has_time = take(text, ' ') || take(text, 'T');
        const auto time = has_time ? clock_time(text) : std::optional<std::int64_t>(0);
        return time && (has_time || text.empty()) ? at(*day, *time) : kNoTime;
    }
    return relative_time(text, now);
}

}  // namespace commonctl
