#include "records/time_reader.h"

#include <cstdlib>
#include <ctime>

namespace commonctl {
namespace {

constexpr std::int64_t kQuarterHour = 900;

constexpr std::int64_t floor_of(std::int64_t value, std::int64_t unit)
{
    return value / unit - (value % unit < 0 ? 1 : 0);
}

/// A number of two digits, the first of which may be a blank; -1 for any other text.
int two_digits(std::string_view text, std::size_t at, bool may_be_blank = false)
{
    const char tens = may_be_blank && text[at] == ' ' ? '0' : text[at];
    const char ones = text[at + 1];
    const bool are_digits = tens >= '0' && tens <= '9' && ones >= '0' && ones <= '9';
    return are_digits ? (tens - '0') * 10 + (ones - '0') : -1;
}

int month_of(std::string_view name)
{
    constexpr std::string_view kNames = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const auto at = kNames.find(name);
    return at != std::string_view::npos && at % 3 == 0 ? static_cast<int>(at / 3) + 1 : -1;
}

/// Takes ".123456" from a text, if it is there. @return nanoseconds.
std::int64_t take_fraction(std::string_view text, std::size_t& at)
{
    std::int64_t nanoseconds = 0;
    if (at < text.size() && text[at] == '.') {
        std::int64_t weight = kSecond / 10;
        for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
            nanoseconds += (text[at] - '0') * weight;
            weight /= 10;
        }
    }
    return nanoseconds;
}

/// Takes "Z" or "+01:00" from a text. @return whether it is there.
bool take_offset(std::string_view text, std::size_t& at, std::int64_t& seconds)
{
    if (at < text.size() && text[at] == 'Z') {
        seconds = 0;
        ++at;
        return true;
    }
    constexpr std::size_t kSize = 6;
    if (text.size() < at + kSize || (text[at] != '+' && text[at] != '-') || text[at + 3] != ':') {
        return false;
    }
    const int hours = two_digits(text, at + 1);
    const int minutes = two_digits(text, at + 4);
    seconds = std::int64_t{60} * (hours * 60 + minutes) * (text[at] == '-' ? -1 : 1);
    at += kSize;
    return hours >= 0 && hours < 24 && minutes >= 0 && minutes < 60;
}

}  // namespace

int second_of_day(std::string_view text)
{
    if (text.size() != 8 || text[2] != ':' || text[5] != ':') {
        return -1;
    }
    const int hour = two_digits(text, 0);
    const int minute = two_digits(text, 3);
    const int second = two_digits(text, 6);
    const bool is_time = hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 &&
                         second <= 60;  // which a leap second is
    return is_time ? (hour * 60 + minute) * 60 + second : -1;
}

std::int64_t days_since_epoch(std::int64_t year, int month, int day)
{
    // In years that begin with March, so that a leap day is the last of its year.
    const std::int64_t shifted = month > 2 ? year : year - 1;
    const std::int64_t era = floor_of(shifted, 400);
    const std::int64_t year_of_era = shifted - era * 400;
    const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146'097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year -
           719'468;
}

bool is_date(std::int64_t year, int month, int day)
{
    if (year < 1970 || year > 2261 || month < 1 || month > 12 || day < 1) {
        return false;
    }
    const std::int64_t next =
        month == 12 ? days_since_epoch(year + 1, 1, 1) : days_since_epoch(year, month + 1, 1);
    return days_since_epoch(year, month, day) < next;
}

TimeReader::TimeReader()
{
    tzset();  // localtime_r() need not
}

std::int64_t TimeReader::offset_at(std::int64_t second)
{
    const std::int64_t quarter = floor_of(second, kQuarterHour);
    if (quarter != quarter_) {
        const auto time = static_cast<std::time_t>(second);
        tm parts{};
        offset_ = localtime_r(&time, &parts) != nullptr ? parts.tm_gmtoff : 0;
        quarter_ = quarter;
    }
    return offset_;
}

std::int64_t TimeReader::instant(std::int64_t day, int second_of_day)
{
    const auto with = [&](std::int64_t offset) {
        const std::int64_t utc = second_of_day - offset;
        return day * kDaySeconds + utc - floor_of(utc, kDaySeconds) * kDaySeconds;
    };
    const std::int64_t assumed = offset_;
    const std::int64_t guess = with(assumed);
    const std::int64_t offset = offset_at(guess);
    return offset == assumed ? guess : with(offset);
}

std::int64_t TimeReader::nearest(std::int64_t second, int second_of_day)
{
    const std::int64_t local = second + offset_at(second);
    std::int64_t distance = second_of_day - (local - floor_of(local, kDaySeconds) * kDaySeconds);
    if (distance > kDaySeconds / 2) {
        distance -= kDaySeconds;
    } else if (distance < -kDaySeconds / 2) {
        distance += kDaySeconds;
    }
    return second + distance;
}

std::int64_t TimeReader::of_local(std::int64_t local)
{
    const std::int64_t guess = local - offset_at(local);
    return local - offset_at(guess);
}

std::int64_t TimeReader::of_traditional(std::string_view text)
{
    constexpr std::size_t kSize = sizeof "Jan  2 03:04:05" - 1;
    if (text.size() != kSize || text[3] != ' ' || text[6] != ' ') {
        return kNoTime;
    }
    const int month = month_of(text.substr(0, 3));
    const int day = two_digits(text, 4, true);
    const int second = second_of_day(text.substr(7));
    if (!is_date(2000, month, day) || second < 0) {
        return kNoTime;
    }
    const std::int64_t latest = std::time(nullptr) + kDaySeconds;
    // A year that has no such day is none of them; there may be seven in a row.
    for (std::int64_t year = 1971 + latest / (365 * kDaySeconds); year >= 1970; --year) {
        const std::int64_t instant =
            of_local(days_since_epoch(year, month, day) * kDaySeconds + second);
        if (instant <= latest && is_date(year, month, day)) {
            return instant * kSecond;
        }
    }
    return kNoTime;
}

std::int64_t take_rfc3339(std::string_view text, std::size_t& size)
{
    constexpr std::size_t kToSeconds = sizeof "2026-11-22T10:00:00" - 1;
    if (text.size() <= kToSeconds || text[4] != '-' || text[7] != '-' || text[10] != 'T') {
        return kNoTime;
    }
    const int century = two_digits(text, 0);
    const int year_of_century = two_digits(text, 2);
    const int month = two_digits(text, 5);
    const int day = two_digits(text, 8);
    const int second = second_of_day(text.substr(11, 8));
    std::size_t at = kToSeconds;
    const std::int64_t nanoseconds = take_fraction(text, at);
    std::int64_t offset = 0;
    if (century < 0 || year_of_century < 0 || second < 0 || !take_offset(text, at, offset) ||
        !is_date(century * 100 + year_of_century, month, day)) {
        return kNoTime;
    }
    size = at;
    const std::int64_t days = days_since_epoch(century * 100 + year_of_century, month, day);
    return (days * kDaySeconds + second - offset) * kSecond + nanoseconds;
}

}  // namespace commonctl
