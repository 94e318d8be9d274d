// Who writes how much: records and bytes by process, zone, level and call site, and over time.
#pragma once

#include "profile/count_table.h"
#include "profile/timeline.h"
#include "records/record.h"

namespace commonctl::profile {

/// What a table counts by.
enum class By { Process, Zone, Level, Site };

inline constexpr By kEveryBy[] = {By::Process, By::Zone, By::Level, By::Site};

/// The levels as the log writes them; the last one is empty.
extern const char* const kLevelNames[kLevels];

/// Counts records as they come. Its memory has a bound, whatever they hold.
class Profile {
public:
    /// Rows of a table that are kept apart, by default.
    static constexpr std::size_t kMostRows = 4096;

    explicit Profile(std::size_t most_rows = kMostRows);

    /// Counts a record.
    /// @param arrived nanoseconds since the epoch, for one that does not tell its time; kNoTime
    /// when that is not known either: it is missing on the axis of time, and in nothing else.
    void add(const Record& record, std::int64_t arrived = kNoTime);

    /// Makes a time (nanoseconds since the epoch) part of the axis, with or without records.
    void cover(std::int64_t time_ns);

    /// A period is over, and the next one begins.
    void end_period();

    /// The rows of a table, those of levels by severity, others in no order; none without records.
    /// A name is "process[id]", a zone, a level, or "file:line function"; empty when the records
    /// do not tell it.
    std::vector<Row> rows(By by) const;

    /// What rows that were given up had.
    Counts others(By by) const;

    const Counts& all() const { return all_; }
    std::uint64_t untimed() const { return untimed_; }
    const Timeline& timeline() const { return timeline_; }
    const ClockAxis& axis() const { return axis_; }

private:
    void count_time(std::int64_t time_ns, std::size_t level, std::uint64_t bytes);
    const CountTable& table(By by) const;

    CountTable processes_;
    CountTable zones_;
    CountTable sites_;
    std::array<Counts, kLevels> levels_{};
    Counts all_{};
    std::uint64_t untimed_ = 0;
    Timeline timeline_{};
    ClockAxis axis_{};
    std::string name_{};  // of the row in hand; kept for its memory
};

}  // namespace commonctl::profile
