// A report as a page that needs nothing else.
#include <algorithm>
#include <string_view>

#include "markup.h"
#include "profile/page_style.h"
#include "profile/plot.h"
#include "profile/report.h"
#include "profile/text.h"

namespace commonctl::profile {
namespace {

/// The table next to the plot has at most so many rows.
constexpr std::size_t kMostRows = 32;

std::string cell(const std::string& content)
{
    return "<td>" + content + "</td>";
}

/// A table that can be scrolled by itself, also with keys.
std::string table(const std::string& caption, const std::vector<const char*>& heads,
                  const std::string& rows)
{
    std::string text = "<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"" +
                       caption + "\">\n<table><caption>" + caption + "</caption>\n<thead><tr>";
    for (const char* const head : heads) {
        text += std::string("<th scope=\"col\">") + head + "</th>";
    }
    return text + "</tr></thead>\n<tbody>\n" + rows + "</tbody></table></div>\n";
}

std::string item(const char* name, const std::string& value)
{
    return std::string("<div><dt>") + name + "</dt><dd>" + value + "</dd></div>\n";
}

std::string totals(const Report& report)
{
    std::string text = "<dl>\n" + item("Records", std::to_string(report.all.records)) +
                       item("Bytes", bytes_text(static_cast<double>(report.all.bytes)));
    if (!report.moments.empty()) {
        text += item("From", time_text(report.begin())) + item("To", time_text(report.end())) +
                item("Length", duration_text(report.seconds)) +
                item("Records a second", decimal(report.per_second(report.all.records))) +
                item("Bytes a second", bytes_text(report.per_second(report.all.bytes)));
    }
    if (report.untimed > 0) {
        text += item("Records without a time", std::to_string(report.untimed));
    }
    if (report.jumps > 0) {
        text += item("Jumps or gaps of more than a day, left out", std::to_string(report.jumps));
    }
    return text + "</dl>\n";
}

std::string row(const Report& report, const std::string& head, const Amount& amount,
                std::uint64_t most)
{
    const auto part_of = [&](std::uint64_t whole) {
        return whole == 0 ? 0 : static_cast<double>(amount.records) / static_cast<double>(whole);
    };
    const bool timed = report.seconds > 0;
    return "<tr><th scope=\"row\">" + head + "</th>" + cell(std::to_string(amount.records)) +
           cell(bar(part_of(most))) + cell(decimal(100 * part_of(report.all.records)) + "%") +
           cell(timed ? decimal(report.per_second(amount.records)) : "-") +
           cell(bytes_text(static_cast<double>(amount.bytes))) +
           cell(timed ? bytes_text(report.per_second(amount.bytes)) : "-") + "</tr>\n";
}

std::string section(const Report& report, const Section& section)
{
    std::uint64_t most = section.others.records;
    for (const Line& line : section.lines) {
        most = std::max(most, line.amount.records);
    }
    std::string rows;
    for (const Line& line : section.lines) {
        rows += row(report, markup_of(name_text(line.name)), line.amount, most);
    }
    if (section.others.records > 0) {
        rows += row(report, "(others)", section.others, most);
    }
    const Words& words = words_of(section.by);
    const std::string title = std::string("By ") + words.one;
    return std::string("<section aria-labelledby=\"") + words.many + "\">\n<h2 id=\"" + words.many +
           "\">" + title + "</h2>\n" +
           table("The loudest first: by " + std::string(words.one),
                 {"Name", "Records", "Compared", "Share", "Records/s", "Bytes", "Bytes/s"}, rows) +
           "</section>\n";
}

/// Neighbours together, until there are few enough for a table.
std::vector<Moment> few(std::vector<Moment> moments)
{
    while (moments.size() > kMostRows) {
        std::vector<Moment> pairs;
        for (std::size_t i = 0; i < moments.size(); ++i) {
            if (i % 2 == 0) {
                pairs.push_back(moments[i]);
            } else {
                pairs.back().seconds += moments[i].seconds;
                pairs.back().amounts += moments[i].amounts;
            }
        }
        moments = std::move(pairs);
    }
    return moments;
}

/// The levels that have records.
std::vector<std::size_t> levels_of(const Report& report)
{
    std::vector<std::size_t> levels;
    for (std::size_t level = 0; level < kLevels; ++level) {
        const bool written =
            std::any_of(report.moments.begin(), report.moments.end(),
                        [&](const Moment& moment) { return moment.amounts.records[level] > 0; });
        if (written) {
            levels.push_back(level);
        }
    }
    return levels;
}

const char* shown_level(std::size_t level)
{
    return level == kNoLevel ? "no level" : kLevelNames[level];
}

/// Which color is which level.
std::string legend(const Report& report)
{
    std::string text = "<ul class=\"legend\">\n";
    for (const std::size_t level : levels_of(report)) {
        text += "<li><svg class=\"key\" viewBox=\"0 0 10 10\" aria-hidden=\"true\">"
                "<rect class=\"l" +
                std::to_string(level) + "\" width=\"10\" height=\"10\"/></svg>" +
                shown_level(level) + "</li>\n";
    }
    return text + "</ul>\n";
}

std::string rate_table(const Report& report)
{
    const std::vector<std::size_t> levels = levels_of(report);
    std::vector<const char*> heads{"From", "Length", "Records/s"};
    for (const std::size_t level : levels) {
        heads.push_back(shown_level(level));
    }
    std::string rows;
    for (const Moment& moment : few(report.moments)) {
        rows += "<tr><th scope=\"row\">" + time_text(moment.time) + "</th>" +
                cell(duration_text(moment.seconds)) + cell(decimal(moment.rate()));
        for (const std::size_t level : levels) {
            rows += cell(std::to_string(moment.amounts.records[level]));
        }
        rows += "</tr>\n";
    }
    return "<details><summary>The same as a table</summary>\n" +
           table("Records by time and level", heads, rows) + "</details>\n";
}

std::string rates(const Report& report)
{
    std::string text = "<section aria-labelledby=\"rate\">\n"
                       "<h2 id=\"rate\">Records a second over time, by level</h2>\n";
    if (report.moments.empty()) {
        return text + "<p>No record tells its time.</p>\n</section>\n";
    }
    const double highest = highest_rate(report.moments);
    if (highest == 0) {
        return text + "<p>There was no record.</p>\n</section>\n";
    }
    const std::string label = "Records a second by level, on one another, from " +
                              time_text(report.begin()) + " to " + time_text(report.end()) + "; " +
                              decimal(highest) + " at most";
    text += "<figure>\n<div class=\"frame\">\n<div class=\"y\"><span>" + decimal(highest) +
            "</span><span>" + decimal(highest / 2) + "</span><span>0</span></div>\n" +
            rate_plot(report.moments, report.phases, label) + "<div class=\"x\"><span>" +
            time_text(report.begin()) + "</span><span>" +
            time_text(report.moments[report.moments.size() / 2].time) + "</span><span>" +
            time_text(report.end()) + "</span></div>\n</div>\n" + legend(report) +
            "<figcaption>A step is " + duration_text(report.bucket_seconds) +
            " long. Loud phases have an orange ground, quiet ones a blue one.</figcaption>\n"
            "</figure>\n";
    return text + rate_table(report) + "</section>\n";
}

std::string phase_table(const char* caption, const std::vector<Moment>& phases)
{
    if (phases.empty()) {
        return std::string("<p>") + caption + ": none.</p>\n";
    }
    std::string rows;
    for (const Moment& phase : phases) {
        rows += "<tr><th scope=\"row\">" + time_text(phase.time) + "</th>" +
                cell(duration_text(phase.seconds)) + cell(decimal(phase.rate())) +
                cell(std::to_string(phase.amounts.all_records())) +
                cell(bytes_text(static_cast<double>(phase.amounts.bytes))) + "</tr>\n";
    }
    return table(caption, {"From", "Length", "Records/s", "Records", "Bytes"}, rows);
}

std::string phases(const Report& report)
{
    const double median = report.phases.median;
    return "<section aria-labelledby=\"phases\">\n<h2 id=\"phases\">Loud and quiet phases</h2>\n"
           "<p>The median rate of all steps with records is " +
           decimal(median) + " records a second. A step is loud above three times that (" +
           decimal(median * Phases::kFactor) + "), and quiet below a third (" +
           decimal(median / Phases::kFactor) +
           "). Steps of a kind behind one another are a phase; the ten that count most are "
           "shown: loud ones by records, quiet ones by length.</p>\n" +
           phase_table("Loud phases", report.phases.loud) +
           phase_table("Quiet phases", report.phases.quiet) + "</section>\n";
}

}  // namespace

std::string page_of(const Report& report)
{
    const std::string title = "Who writes how much: " + markup_of(report.source);
    std::string text = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n"
                       "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                       "style-src 'unsafe-inline'\"/>\n<title>" +
                       title + "</title>\n<style>" + kPageStyle +
                       "</style>\n</head>\n<body>\n<main>\n<h1>" + title + "</h1>\n" +
                       totals(report) + rates(report);
    for (const Section& one : report.sections) {
        text += section(report, one);
    }
    return text + phases(report) + "</main>\n</body>\n</html>\n";
}

}  // namespace commonctl::profile
