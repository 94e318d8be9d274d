/**
 * @file log_expect.h
 * Compares the records of an outcome with what they must say:
 *
 *     EXPECT_THAT(reports(outcome), ElementsAre(Report{LOG_WARNING, "Warn", "", "common_log",
 *                                                      "COMMON_Log_LevelSet", "..."}));
 */
#ifndef BENCH_LOG_EXPECT_H
#define BENCH_LOG_EXPECT_H

#include <iosfwd>
#include <string>
#include <syslog.h>
#include <vector>

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
std::vector<Report> reports(const Outcome& outcome);

std::ostream& operator<<(std::ostream& stream, const Report& report);

}  // namespace bench

#endif
