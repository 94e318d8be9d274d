#include "records/filter.h"

#include <algorithm>
#include <charconv>

#include "records/levels.h"
#include "usage.h"

namespace commonctl {
namespace {

int known_level(std::string_view name)
{
    const int level = level_of_name(name);
    if (level < 0) {
        throw UsageError("there is no level \"" + std::string(name) +
                         "\"; levels are fatal, critical, error, warn, note, info, debug, verbose, "
                         "and syslog's emerg, alert, crit, err, warning, notice");
    }
    return level;
}

/// Whether there are no conditions, or one that holds.
template <typename Values, typename Holds>
bool any_or_none(const Values& values, const Holds& holds)
{
    return values.empty() || std::any_of(values.begin(), values.end(), holds);
}

bool is_process(const Record& record, std::string_view wanted)
{
    if (record.process == wanted) {
        return true;
    }
    std::int64_t pid = -1;
    const char* const end = wanted.data() + wanted.size();
    const auto [last, error] = std::from_chars(wanted.data(), end, pid);
    return error == std::errc() && last == end && pid >= 0 && pid == record.pid;
}

}  // namespace

std::uint32_t levels_of_text(std::string_view text)
{
    constexpr std::string_view kTo = "..";
    const auto dots = text.find(kTo);
    const int first = dots == std::string_view::npos ? 0 : known_level(text.substr(0, dots));
    const int last =
        known_level(dots == std::string_view::npos ? text : text.substr(dots + kTo.size()));
    std::uint32_t levels = 0;
    for (int level = std::min(first, last); level <= std::max(first, last); ++level) {
        levels |= 1u << level;
    }
    return levels;
}

bool Filter::is_empty() const
{
    return levels == 0 && patterns.empty() && zones.empty() && processes.empty() &&
           threads.empty() && files.empty() && since_ns == kNoTime && until_ns == kNoTime;
}

bool Filter::accepts(const Record& record) const
{
    if (levels != 0 && (record.level < 0 || (levels >> record.level & 1u) == 0)) {
        return false;
    }
    if ((since_ns != kNoTime && record.time_ns < since_ns) ||
        (until_ns != kNoTime && (record.time_ns == kNoTime || record.time_ns > until_ns))) {
        return false;
    }
    const auto name = record.file.substr(record.file.rfind('/') + 1);
    return any_or_none(zones, [&](const auto& zone) { return record.zone == zone; }) &&
           any_or_none(threads, [&](auto thread) { return record.tid == thread; }) &&
           any_or_none(files,
                       [&](const auto& file) { return record.file == file || name == file; }) &&
           any_or_none(processes,
                       [&](const auto& process) { return is_process(record, process); }) &&
           any_or_none(patterns,
                       [&](const auto& pattern) { return pattern.is_in(record.message); });
}

}  // namespace commonctl
