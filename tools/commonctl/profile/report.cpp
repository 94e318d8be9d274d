#include "profile/report.h"

#include <algorithm>

#include "profile/text.h"

namespace commonctl::profile {
namespace {

Section make_section(const Profile& profile, By by, std::size_t limit)
{
    Section section{by, {}, profile.others(by).all};
    std::vector<Row> rows = profile.rows(by);
    std::sort(rows.begin(), rows.end(), [](const Row& left, const Row& right) {
        const Amount& one = left.counts.all;
        const Amount& other = right.counts.all;
        return one.records != other.records ? one.records > other.records
               : one.bytes != other.bytes   ? one.bytes > other.bytes
                                            : left.name < right.name;
    });
    for (const Row& row : rows) {
        // There are few levels, and none is worth hiding.
        if (by == By::Level || limit == 0 || section.lines.size() < limit) {
            section.lines.push_back({clean(row.name), row.counts.all});
        } else {
            section.others += row.counts.all;
        }
    }
    return section;
}

}  // namespace

double Report::per_second(std::uint64_t amount) const
{
    return seconds == 0 ? 0 : static_cast<double>(amount) / static_cast<double>(seconds);
}

const Words& words_of(By by)
{
    static constexpr Words kWords[] = {{"process", "PROCESS", "processes"},
                                       {"zone", "ZONE", "zones"},
                                       {"level", "LEVEL", "levels"},
                                       {"call site", "CALL SITE", "sites"}};
    return kWords[static_cast<std::size_t>(by)];
}

Report make_report(const Profile& profile, const std::string& source, const std::vector<By>& by,
                   std::size_t limit)
{
    Report report;
    report.source = clean(source);
    report.all = profile.all().all;
    report.untimed = profile.untimed();
    report.jumps = profile.axis().jumps();
    report.seconds = profile.timeline().seconds();
    report.bucket_seconds = profile.timeline().bucket_seconds();
    report.moments = moments_of(profile);
    report.phases = find_phases(report.moments);
    for (const By one : by) {
        report.sections.push_back(make_section(profile, one, limit));
    }
    return report;
}

}  // namespace commonctl::profile
