// The message that the benchmarks of records write, and the same record by syslog(3) in the plain
// way.
#pragma once

#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

/// A message of 80 characters with three conversions.
#define MESSAGE_FORMAT \
    "track %06d of %s is ready to play after a scan that took %8u microseconds in all"
#define MESSAGE_VALUES 4711, "a long album", 123456U

namespace bench {

/// Writes one record: every field is asked for and converted for each record, the message is
/// formatted first because it is cut at 1023 bytes.
inline void write_plain_record(const char* program)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[61];
    strftime(time, sizeof time, "%T", &local);
    char message[1024];
    std::snprintf(message, sizeof message, MESSAGE_FORMAT, MESSAGE_VALUES);
    syslog(LOG_USER | LOG_INFO, "[%03u.%s.%09u], %s, %d, %s, %d, %s, %s, %s %d, %s",
           static_cast<unsigned>(now.tv_sec / 86400), time, static_cast<unsigned>(now.tv_nsec),
           "MEDIA", static_cast<int>(getpid()), program, static_cast<int>(gettid()), "Info",
           "media_scanner.cpp", "scan_folder", 217, message);
}

/// The bytes of a record of the same length.
inline const char* finished_record()
{
    static char text[400];
    std::snprintf(text, sizeof text,
                  "[%03u.%s.%09u], %s, %d, %s, %d, %s, %s, %s %d, " MESSAGE_FORMAT, 20778U,
                  "10:11:12", 123456789U, "MEDIA", static_cast<int>(getpid()), "log_bench",
                  static_cast<int>(gettid()), "Info", "media_scanner.cpp", "scan_folder", 217,
                  MESSAGE_VALUES);
    return text;
}

}  // namespace bench
