/**
 * @file log_expect.h
 * Compares the records of an outcome with what they must say:
 *
 *     EXPECT_THAT(reports(outcome), ElementsAre(Report{LOG_WARNING, "Warn", "", "common_log",
 *                                                      "COMMON_Log_LevelSet", "..."}));
 */
#ifndef BENCH_LOG_EXPECT_H
#define BENCH_LOG_EXPECT_H

#include <ostream>
#include <string>
#include <syslog.h>
#include <vector>

#include "log_layout.h"
#include "outcome.h"

namespace bench {

/** What a record says, without the time, the process, the thread and the line. */
struct Report {
    int priority = -1;
    std::string level;
    std::string zone;
    std::string file;
    std::string function;
    std::string message;

    bool operator==(const Report&) const = default;
};

/**
 * Gives what the records of the default layout say, in order. One that has another layout, or
 * another facility than LOG_USER, only has a message, its raw bytes.
 */
inline std::vector<Report> reports(const Outcome& outcome)
{
    std::vector<Report> all;
    for (const auto& record : outcome.log) {
        const auto fields = parse_syslogngext(record.text);
        if (!fields || record.facility != LOG_USER) {
            all.push_back({-1, "", "", "", "", record.raw});
        } else {
            all.push_back({record.priority, fields->level, fields->zone, fields->file,
                           fields->function, fields->message});
        }
    }
    return all;
}

inline std::ostream& operator<<(std::ostream& stream, const Report& report)
{
    return stream << "{" << priority_name(report.priority) << " " << report.level << " zone '"
                  << report.zone << "' " << report.file << " " << report.function << ": "
                  << report.message << "}";
}

}  // namespace bench

#endif
