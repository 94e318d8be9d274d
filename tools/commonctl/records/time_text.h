// Points in time as users write them.
#pragma once

#include <cstdint>
#include <string_view>

namespace commonctl {

/// Reads a point in time, in this machine's time zone:
///
///     2026-11-22 10:00, 2026-11-22 10:00:05.25, 2026-11-22     a date, and a time (else midnight)
///     10:00, 10:00:05                                          today
///     now, today, yesterday                                    the latter two at midnight
///     -5min, -1h30min, 5min ago, +10s                          from now on: s, min, h, d, w
///     2026-11-22T10:00:00+01:00, @1795341600                   as JSON has it; since the epoch
///
/// @param now in nanoseconds since the epoch.
/// @return nanoseconds since the epoch; kNoTime for any other text.
std::int64_t time_of_text(std::string_view text, std::int64_t now);

}  // namespace commonctl
