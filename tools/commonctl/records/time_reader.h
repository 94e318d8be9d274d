// The times of log files and records, as instants.
#pragma once

#include <cstdint>
#include <string_view>

#include "records/record.h"

namespace commonctl {

inline constexpr std::int64_t kSecond = 1'000'000'000;
inline constexpr std::int64_t kDaySeconds = 86'400;

/// The seconds of "03:04:05" since midnight; -1 for any other text.
int second_of_day(std::string_view text);

/// Days from the epoch to a date of the Gregorian calendar.
std::int64_t days_since_epoch(std::int64_t year, int month, int day);

/// Whether there is such a date: from 1970 to 2261, which nanoseconds since the epoch can tell.
bool is_date(std::int64_t year, int month, int day);

/// Reads times of this machine's time zone. It keeps the distance from UTC that it looked up last,
/// as neighbours in a log mostly share it.
class TimeReader {
public:
    TimeReader();

    /// The second since the epoch on a day (UTC, since the epoch) at which it is a local time of
    /// day. Of two, when the clocks were set back, any.
    std::int64_t instant(std::int64_t day, int second_of_day);

    /// The second at which it is a local time of day, within half a day of another second.
    std::int64_t nearest(std::int64_t second, int second_of_day);

    /// The second at which it is a local date and time, both in one number: seconds from the epoch
    /// as if they were UTC.
    std::int64_t of_local(std::int64_t local);

    /// The instant of "Jan  2 03:04:05" in nanoseconds: in the last year in which that is not in
    /// the future, but for a day that clocks may differ. kNoTime for any other text.
    std::int64_t of_traditional(std::string_view text);

    /// Seconds that local time is ahead of UTC.
    std::int64_t offset_at(std::int64_t second);

private:
    std::int64_t quarter_ = INT64_MIN;  ///< of an hour, in which `offset_` was looked up
    std::int64_t offset_ = 0;
};

/// Takes "2026-11-22T10:00:00.123456+01:00" from the start of a text.
/// @param size gets the length of what was taken.
/// @return the instant in nanoseconds, kNoTime when there is none or it is out of range.
std::int64_t take_rfc3339(std::string_view text, std::size_t& size);

}  // namespace commonctl
