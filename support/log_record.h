// One datagram of the system log, taken apart: "<30>Jan  2 03:04:05 program[12]: text".
// log_layout.h takes the text apart further.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

namespace support {

struct LogRecord {
    std::string raw;        ///< the datagram as received
    bool valid = false;     ///< it has the form above; else only `raw` and `text` (= raw) are set
    int facility = -1;      ///< as in syslog(3), such as LOG_USER
    int priority = -1;      ///< as in syslog(3), LOG_EMERG to LOG_DEBUG
    std::string timestamp;  ///< "Jan  2 03:04:05"
    std::string identity;   ///< the program
    long process = -1;      ///< the number in brackets, if there is one
    std::string text;       ///< the message
};

/** Takes a datagram apart. A zero or newline at its end belongs to the transport, not to the text.
 */
LogRecord parse_datagram(std::string_view datagram);

/// Gives the name of a priority of syslog(3), such as "warning"; "?" for other numbers.
const char* priority_name(int priority);

/// Prints a record on one line: "<priority> identity: text", or the raw bytes of an invalid one.
std::ostream& operator<<(std::ostream& stream, const LogRecord& record);

}  // namespace support
