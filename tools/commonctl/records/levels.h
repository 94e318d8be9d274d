// Levels of records by their texts and by the priorities of syslog(3).
#pragma once

#include <string_view>

namespace commonctl {

/// The level of a text that a record shows, such as "Warn"; -1 for any other text.
int level_of_text(std::string_view text);

/// The level that a priority of syslog(3) stands for; -1 for what is none. "alert", which no level
/// has, is Critical; "debug" is Debug.
int level_of_priority(int priority);

/// The level of a name as users write it: the library's or syslog's ("err", "warning"), in any
/// case; -1 for any other.
int level_of_name(std::string_view name);

/// The text of a level; empty for -1.
std::string_view level_text(int level);

}  // namespace commonctl
