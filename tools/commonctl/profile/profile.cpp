#include "profile/profile.h"

#include <charconv>

namespace commonctl::profile {
namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::int64_t whole_seconds(std::int64_t time_ns)
{
    return time_ns / kNanoseconds - (time_ns % kNanoseconds < 0 ? 1 : 0);
}

void append_number(std::string& text, std::int64_t number)
{
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

/// As much of a part of a name as can count, so that a huge one costs no copy.
std::string_view part(std::string_view text)
{
    return text.substr(0, CountTable::kLongestName);
}

void name_process(std::string& name, const Record& record)
{
    name = part(record.process);
    if (record.pid >= 0) {
        name += '[';
        append_number(name, record.pid);
        name += ']';
    }
}

void name_site(std::string& name, const Record& record)
{
    name = part(record.file);
    if (record.line >= 0) {
        name += ':';
        append_number(name, record.line);
    }
    if (!record.function.empty()) {
        name += ' ';
        name += part(record.function);
    }
}

}  // namespace

const char* const kLevelNames[kLevels] = {"Fatal", "Critical", "Error",   "Warn", "Note",
                                          "Info",  "Debug",    "Verbose", ""};

Profile::Profile(std::size_t most_rows)
    : processes_(most_rows), zones_(most_rows), sites_(most_rows)
{
}

void Profile::add(const Record& record, std::int64_t arrived)
{
    const std::uint64_t bytes = record.raw.size();
    const bool has_level = record.level >= 0 && record.level < static_cast<int>(kNoLevel);
    const std::size_t level = has_level ? static_cast<std::size_t>(record.level) : kNoLevel;
    all_.add(bytes);
    levels_[level].add(bytes);
    zones_.add(record.zone, bytes);
    name_process(name_, record);
    processes_.add(name_, bytes);
    name_site(name_, record);
    sites_.add(name_, bytes);
    count_time(record.time_ns != kNoTime ? record.time_ns : arrived, level, bytes);
}

void Profile::count_time(std::int64_t time_ns, std::size_t level, std::uint64_t bytes)
{
    if (time_ns == kNoTime) {
        ++untimed_;
        return;
    }
    timeline_.add(axis_.place(whole_seconds(time_ns)), level, bytes);
}

void Profile::cover(std::int64_t time_ns)
{
    timeline_.cover(axis_.place(whole_seconds(time_ns)));
}

void Profile::end_period()
{
    processes_.end_period();
    zones_.end_period();
    sites_.end_period();
    for (Counts& counts : levels_) {
        counts.end_period();
    }
    all_.end_period();
}

std::vector<Row> Profile::rows(By by) const
{
    if (by != By::Level) {
        return table(by).rows();
    }
    std::vector<Row> rows;
    for (std::size_t i = 0; i < kLevels; ++i) {
        if (levels_[i].all.records > 0) {
            rows.push_back({kLevelNames[i], levels_[i]});
        }
    }
    return rows;
}

Counts Profile::others(By by) const
{
    return by == By::Level ? Counts{} : table(by).others();
}

const CountTable& Profile::table(By by) const
{
    return by == By::Process ? processes_ : by == By::Zone ? zones_ : sites_;
}

}  // namespace commonctl::profile
