// A report as plain text.
#include <algorithm>

#include "profile/report.h"
#include "profile/text.h"

namespace commonctl::profile {
namespace {

constexpr const char* kBold = "\033[1m";
constexpr const char* kYellow = "\033[33m";
constexpr const char* kReset = "\033[0m";

std::string in(const char* color, const std::string& text, bool colored)
{
    return colored ? color + text + kReset : text;
}

std::string plural(std::uint64_t count, const char* one)
{
    return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string totals(const Report& report)
{
    std::string text = report.source + ": " + plural(report.all.records, "record") + ", " +
                       bytes_text(static_cast<double>(report.all.bytes)) + "\n";
    if (!report.moments.empty()) {
        text += "From " + time_text(report.begin()) + " to " + time_text(report.end()) + ", " +
                plural(static_cast<std::uint64_t>(report.seconds), "second") + ": " +
                decimal(report.per_second(report.all.records)) + " records/s, " +
                bytes_text(report.per_second(report.all.bytes)) + "/s\n";
    }
    if (report.untimed > 0) {
        text += plural(report.untimed, "record") + " without a time\n";
    }
    if (report.jumps > 0) {
        text += plural(report.jumps, "jump") +
                " of the clock, or gap, of more than a day left out of the time\n";
    }
    return text;
}

std::string line_text(const Report& report, const std::string& name, const Amount& amount)
{
    const double share = report.all.records == 0 ? 0
                                                 : 100 * static_cast<double>(amount.records) /
                                                       static_cast<double>(report.all.records);
    const bool timed = report.seconds > 0;
    return to_the_right(std::to_string(amount.records), 10) +
           to_the_right(decimal(share) + "%", 8) +
           to_the_right(timed ? decimal(report.per_second(amount.records)) : "-", 11) +
           to_the_right(bytes_text(static_cast<double>(amount.bytes)), 10) +
           to_the_right(timed ? bytes_text(report.per_second(amount.bytes)) : "-", 11) + "  " +
           name + "\n";
}

std::string section_text(const Report& report, const Section& section, bool colored)
{
    std::string text = "\n" +
                       in(kBold,
                          std::string("   RECORDS   SHARE  RECORDS/S     BYTES    BYTES/S  ") +
                              words_of(section.by).head,
                          colored) +
                       "\n";
    for (const Line& line : section.lines) {
        text += line_text(report, name_text(line.name), line.amount);
    }
    return text + (section.others.records > 0 ? line_text(report, "(others)", section.others) : "");
}

std::string phase_text(const Moment& phase, const char* kind)
{
    return time_text(phase.time) + to_the_right(duration_text(phase.seconds), 12) +
           to_the_right(decimal(phase.rate()), 13) + "  " + kind;
}

std::string phases_text(const Report& report, bool colored)
{
    const Phases& phases = report.phases;
    if (phases.loud.empty() && phases.quiet.empty()) {
        return "";
    }
    std::vector<std::pair<Moment, bool>> all;
    for (const Moment& phase : phases.loud) {
        all.emplace_back(phase, true);
    }
    for (const Moment& phase : phases.quiet) {
        all.emplace_back(phase, false);
    }
    std::stable_sort(all.begin(), all.end(), [](const auto& left, const auto& right) {
        return left.first.time < right.first.time;
    });
    std::string text =
        "\n" + in(kBold, "BEGIN                    LENGTH    RECORDS/S  PHASE", colored) + "\n";
    for (const auto& [phase, is_loud] : all) {
        const std::string line = phase_text(phase, is_loud ? "loud" : "quiet");
        text += (is_loud ? in(kYellow, line, colored) : line) + "\n";
    }
    return text + "(loud: above " + decimal(phases.median * Phases::kFactor) +
           " records/s, three times the median; quiet: below " +
           decimal(phases.median / Phases::kFactor) + ", a third of it)\n";
}

}  // namespace

std::string table_of(const Report& report, bool colored)
{
    std::string text = totals(report);
    for (const Section& section : report.sections) {
        text += section_text(report, section, colored);
    }
    return text + phases_text(report, colored);
}

}  // namespace commonctl::profile
