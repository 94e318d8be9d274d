// A live view as lines.
#include <algorithm>

#include "profile/live.h"
#include "profile/report.h"
#include "profile/text.h"

namespace commonctl::profile {
namespace {

constexpr const char* kBold = "\033[1m";
constexpr const char* kReset = "\033[0m";

/// A line that is as wide as it may be.
std::string line(const View& view, const std::string& text, bool stands_out = false)
{
    const std::string fitting(view.columns == 0 ? text : cut(text, view.columns));
    return stands_out && view.colored ? kBold + fitting + kReset : fitting;
}

/// An amount in the last period, by the second.
std::string rates(const View& view, const Amount& last)
{
    return to_the_right(decimal(static_cast<double>(last.records) / view.period), 11) +
           to_the_right(bytes_text(static_cast<double>(last.bytes) / view.period) + "/s", 12);
}

std::string row_text(const View& view, const std::string& name, const Counts& counts)
{
    return rates(view, counts.last) + to_the_right(std::to_string(counts.all.records), 11) +
           to_the_right(bytes_text(static_cast<double>(counts.all.bytes)), 10) + "  " + name;
}

bool is_louder(const Row& left, const Row& right)
{
    const Amount& one = left.counts.last;
    const Amount& other = right.counts.last;
    const Amount& one_all = left.counts.all;
    const Amount& other_all = right.counts.all;
    return one.records != other.records           ? one.records > other.records
           : one_all.records != other_all.records ? one_all.records > other_all.records
                                                  : left.name < right.name;
}

std::string totals(const Profile& profile, const View& view)
{
    const Counts& all = profile.all();
    return "commonctl top  " + time_text(view.now) + "  " +
           decimal(static_cast<double>(all.last.records) / view.period) + " records/s  " +
           bytes_text(static_cast<double>(all.last.bytes) / view.period) + "/s  " +
           std::to_string(all.all.records) + " in " + duration_text(view.running) +
           (view.ended ? "  (no more records)" : "");
}

}  // namespace

std::vector<std::string> lines_of(const Profile& profile, const View& view)
{
    std::vector<std::string> lines{line(view, totals(profile, view))};
    if (view.has_keys) {
        lines.push_back(line(view, "by: p process, z zone, l level, s call site; q quit"));
    }
    lines.push_back(
        line(view,
             std::string("  RECORDS/S     BYTES/S    RECORDS     BYTES  ") + words_of(view.by).head,
             true));

    std::vector<Row> rows = profile.rows(view.by);
    std::sort(rows.begin(), rows.end(), is_louder);
    Counts others = profile.others(view.by);
    // The row of the others takes the place of one.
    const bool all_fit = rows.size() <= view.lines && others.all.records == 0;
    const std::size_t shown =
        all_fit ? rows.size()
                : std::min(rows.size(), view.lines - std::min<std::size_t>(1, view.lines));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (i < shown) {
            const std::string name = name_text(clean(rows[i].name));
            lines.push_back(line(view, row_text(view, name, rows[i].counts)));
        } else {
            others += rows[i].counts;
        }
    }
    if (!all_fit && view.lines > 0) {
        lines.push_back(line(view, row_text(view, "(others)", others)));
    }
    return lines;
}

}  // namespace commonctl::profile
