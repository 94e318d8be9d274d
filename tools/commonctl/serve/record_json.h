// Records as the page gets them.
#pragma once

#include <cstdint>
#include <string>

#include "records/record.h"

namespace commonctl {

/// A JSON object: "id", "time" (microseconds since the epoch), "level" (0 Fatal to 7 Verbose),
/// "pid", "tid", "process", "zone", "file", "line", "function", "host" and "message". What is not
/// known is not there, but for the message. Bytes that are no UTF-8 become U+FFFD, and a text over
/// 8 KiB is cut and ends with "…".
std::string json_of(const Record& record, std::uint64_t id);

}  // namespace commonctl
