// What a log has in front of a record's text.
#pragma once

#include <cstdint>
#include <string_view>

namespace commonctl {

/// Parts of the text that it was taken from. What is not there is -1 or empty.
struct Prefix {
    int priority = -1;         ///< of syslog(3)
    std::string_view stamp{};  ///< "Jan  2 03:04:05" or "2026-11-22T10:00:00.123456+01:00"
    std::string_view host{};
    std::string_view process{};
    std::int64_t pid = -1;
    std::string_view text{};  ///< what follows
    /// The log's writer may have replaced control characters of the text.
    bool from_daemon = false;
};

/// Finds which prefix a text has, if any, and takes it off. A text may begin with
///
///     Jan  2 03:04:05 host program[12]:                      a log file
///     2026-11-22T10:00:00.123456+01:00 host program[12]:     one of high precision
///     <14>Jan  2 03:04:05 program[12]:                       a datagram
///     <14>1 2026-11-22T10:00:00Z host program 12 - -         RFC 5424
///     info    program:                                       what "commonctl listen" prints
///
/// A host or program may be missing.
Prefix take_prefix(std::string_view text);

}  // namespace commonctl
