// A record as the tool sees it, whichever layout and log it comes from.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace commonctl {

/// What a record looks like: the five layouts of common_log.h, or a line of another program.
enum class Layout : std::uint8_t { Legacy, All, Columns, Syslogng, Syslogngext, Foreign };

/// A time that is not known.
inline constexpr std::int64_t kNoTime = INT64_MIN;

/// One record. The texts are parts of what it was read from, and live as long as that. What its
/// layout and log do not tell is -1 or empty.
struct Record {
    Layout layout = Layout::Foreign;
    std::int64_t time_ns = kNoTime;  ///< since the epoch
    std::int64_t pid = -1;
    std::int64_t tid = -1;
    std::int64_t line = -1;
    /// Of common_log.h, 0 (Fatal) to 7 (Verbose); of a foreign line, by its priority.
    int level = -1;
    int priority = -1;  ///< of syslog(3), where the log tells it
    std::string_view process{};
    std::string_view zone{};
    std::string_view file{};
    std::string_view function{};
    std::string_view message{};
    std::string_view host{};  ///< where the log tells it
    /// The whole of it in the log: the line, the datagram, or the message of a journal entry.
    std::string_view raw{};
};

}  // namespace commonctl
