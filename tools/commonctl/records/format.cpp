#include "records/format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>

#include "records/levels.h"
#include "records/time_reader.h"
#include "terminal.h"

namespace commonctl {
namespace {

constexpr std::string_view kReset = "\033[0m";

// From Fatal to Verbose.
constexpr std::string_view kColors[] = {"\033[1;31m", "\033[1;31m", "\033[31m", "\033[33m",
                                        "\033[36m",   "",           "\033[2m",  "\033[2m"};

void append_number(std::int64_t number, std::string& out)
{
    char text[24];
    out.append(text, std::to_chars(text, text + sizeof text, number).ptr);
}

/// The first digits of nanoseconds.
void append_fraction(std::int64_t nanoseconds, std::size_t digits, std::string& out)
{
    char text[16];
    std::snprintf(text, sizeof text, ".%09d", static_cast<int>(nanoseconds));
    out.append(text, digits + 1);
}

/// A text that neither looks like two lines nor steers the terminal.
void append_printable(std::string_view text, std::string& out)
{
    bool is_plain = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        is_plain = is_plain && byte >= 0x20 && byte != 0x7f;
    }
    if (is_plain) {
        out += text;
    } else {
        out += printable(text);
    }
}

void append_column(std::string_view text, std::size_t width, std::string& out)
{
    const auto before = out.size();
    append_printable(text, out);
    out.append(width - std::min(width, out.size() - before), ' ');
    out += "  ";
}

/// "player[12]", as far as it is known. @return whether anything is.
bool append_process(const Record& record, bool with_thread, std::string& out)
{
    append_printable(record.process, out);
    if (record.pid >= 0 || (with_thread && record.tid >= 0)) {
        out += '[';
        if (record.pid >= 0) {
            append_number(record.pid, out);
        }
        if (with_thread && record.tid >= 0) {
            out += '/';
            append_number(record.tid, out);
        }
        out += ']';
    } else if (record.process.empty()) {
        return false;
    }
    return true;
}

}  // namespace

RecordFormatter::RecordFormatter(Format format, bool colored) : format_(format), colored_(colored)
{
    tzset();  // localtime_r() need not
}

void RecordFormatter::append(const Record& record, std::string& out)
{
    if (record.time_ns != kNoTime) {
        look_up(record.time_ns / kSecond);
    }
    const auto color = colored_ && record.level >= 0 && format_ != Format::Json
                           ? kColors[record.level]
                           : std::string_view();
    out += color;
    switch (format_) {
    case Format::Short:
        append_short(record, out);
        break;
    case Format::Full:
        append_full(record, out);
        break;
    case Format::Columns:
        append_columns(record, out);
        break;
    case Format::Json:
        append_json(record, out);
        break;
    }
    if (!color.empty()) {
        out += kReset;
    }
    out += '\n';
}

void RecordFormatter::look_up(std::int64_t second)
{
    if (second == second_) {
        return;
    }
    second_ = second;
    const auto time = static_cast<std::time_t>(second);
    tm parts{};
    localtime_r(&time, &parts);
    char text[64];
    const std::string all(text, std::strftime(text, sizeof text, "%b %e %T%F %T%z", &parts));
    constexpr std::size_t kSyslog = sizeof "Nov 22 10:00:00" - 1;
    constexpr std::size_t kIso = sizeof "2026-11-22 10:00:00" - 1;
    syslog_text_ = all.substr(0, kSyslog);
    iso_text_ = all.substr(kSyslog, kIso);
    offset_text_ = all.substr(kSyslog + kIso).insert(3, ":");
}

void RecordFormatter::append_short(const Record& record, std::string& out)
{
    if (record.time_ns == kNoTime) {
        out += '-';
    } else {
        out += syslog_text_;
        append_fraction(record.time_ns % kSecond, 6, out);
    }
    out += ' ';
    bool has_head = append_process(record, false, out);
    if (record.layout != Layout::Foreign) {
        out += has_head ? " " : "";
        out += level_text(record.level);
        out += record.zone.empty() ? "" : " ";
        append_printable(record.zone, out);
        has_head = true;
    }
    out += has_head ? ": " : "";
    append_printable(record.message, out);
}

void RecordFormatter::append_full(const Record& record, std::string& out)
{
    if (record.time_ns == kNoTime) {
        out += '-';
    } else {
        out += iso_text_;
        append_fraction(record.time_ns % kSecond, 9, out);
        out += offset_text_;
    }
    out += ' ';
    append_printable(record.host, out);
    out += record.host.empty() ? "" : " ";
    if (append_process(record, true, out)) {
        out += ' ';
    }
    out += record.level >= 0 ? level_text(record.level) : "-";
    if (record.layout != Layout::Foreign) {
        out += ' ';
        append_printable(record.zone.empty() ? "-" : record.zone, out);
        out += ' ';
        append_printable(record.file, out);
        out += ':';
        append_number(record.line, out);
        out += ' ';
        append_printable(record.function, out);
    }
    out += ": ";
    append_printable(record.message, out);
}

void RecordFormatter::append_columns(const Record& record, std::string& out)
{
    std::string text;
    if (record.time_ns != kNoTime) {
        text = iso_text_;
        append_fraction(record.time_ns % kSecond, 6, text);
    }
    append_column(text, 26, out);
    append_column(level_text(record.level), 8, out);
    text.clear();
    append_process(record, true, text);
    append_column(text, 24, out);
    append_column(record.zone, 12, out);
    text.clear();
    if (record.layout != Layout::Foreign) {
        text = record.file;
        text += ':';
        append_number(record.line, text);
    }
    append_column(text, 24, out);
    append_printable(record.message, out);
}

}  // namespace commonctl
