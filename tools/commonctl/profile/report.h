// What a profile found, in the order to show it: as a table, as JSON, or as a page.
#pragma once

#include <string>
#include <vector>

#include "profile/phases.h"
#include "profile/profile.h"

namespace commonctl::profile {

/// A line of a section.
struct Line {
    std::string name{};  ///< fit to be shown; empty for what the records do not tell
    Amount amount{};
};

/// The loudest by one count.
struct Section {
    By by = By::Process;
    std::vector<Line> lines{};
    Amount others{};  ///< what all that is not among the lines has together
};

struct Report {
    std::string source{};  ///< what was read, fit to be shown
    Amount all{};
    std::uint64_t untimed = 0;  ///< records that are not on the axis of time
    std::size_t jumps = 0;      ///< of the clock, left out of the axis of time
    std::int64_t seconds = 0;   ///< that the axis has; 0 when no record tells its time
    std::int64_t bucket_seconds = 1;
    std::vector<Moment> moments{};
    Phases phases{};
    std::vector<Section> sections{};

    /// Of an amount, by the second; 0 without a time.
    double per_second(std::uint64_t amount) const;
    /// Seconds since the epoch; only with moments.
    std::int64_t begin() const { return moments.front().time; }
    std::int64_t end() const { return moments.back().time + moments.back().seconds; }
};

/// The words for a section: "process", "PROCESS", "processes".
struct Words {
    const char* one;
    const char* head;
    const char* many;
};
const Words& words_of(By by);

/// @param limit the lines of a section, at most; 0 for all.
Report make_report(const Profile& profile, const std::string& source, const std::vector<By>& by,
                   std::size_t limit);

/// Plain text for people.
/// @param colored heads and loud phases stand out.
std::string table_of(const Report& report, bool colored);

/// One JSON object in a line:
///
///     {"source": text, "records": N, "bytes": N, "records_per_second": X, "bytes_per_second": X,
///      "begin": S, "seconds": N, "untimed": N, "clock_jumps": N,
///      "processes": {"rows": [{"name": text, "records": N, "bytes": N,
///                              "records_per_second": X, "bytes_per_second": X}, ...],
///                    "others": {the same without a name}},
///      "zones": ..., "levels": ..., "sites": ...,
///      "timeline": {"levels": ["Fatal", ..., "Verbose", null], "bucket_seconds": N,
///                   "buckets": [{"begin": S, "seconds": N, "records": [N for each level],
///                                "bytes": N}, ...]},
///      "phases": {"median": X, "loud": [{"begin": S, "seconds": N, "records": N, "bytes": N,
///                                        "records_per_second": X}, ...], "quiet": [...]}}
///
/// S is in seconds since the epoch. Rows are sorted by records, the loudest first. A name is null
/// when records do not tell it. Without a time that is known "begin" and each "..._per_second" is
/// null. Members may be added in time.
std::string json_of(const Report& report);

/// A page that needs nothing else: HTML that is well-formed XML, too.
std::string page_of(const Report& report);

}  // namespace commonctl::profile
