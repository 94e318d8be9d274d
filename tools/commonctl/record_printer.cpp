#include "record_printer.h"

#include <cerrno>
#include <syslog.h>
#include <system_error>

namespace commonctl {
namespace {

constexpr const char* kReset = "\033[0m";

// From LOG_EMERG to LOG_DEBUG.
constexpr const char* kColors[] = {"\033[1;31m", "\033[1;31m", "\033[1;31m", "\033[31m",
                                   "\033[33m",   "\033[36m",   "",           "\033[2m"};

}  // namespace

std::string line_of(const support::LogRecord& record, bool colored)
{
    char priority[16];
    std::snprintf(priority, sizeof priority, "%-7s ", support::priority_name(record.priority));
    auto line =
        priority + (record.valid ? printable(record.identity) + ": " : "") + printable(record.text);
    const bool known = record.priority >= LOG_EMERG && record.priority <= LOG_DEBUG;
    const char* color = known ? kColors[record.priority] : "";
    if (colored && *color != '\0') {
        line = color + line + kReset;
    }
    return line;
}

RecordPrinter::RecordPrinter(const std::string& output, Color color)
    : stream_(output.empty() ? stdout : std::fopen(output.c_str(), "we"))
{
    if (stream_ == nullptr) {
        throw std::system_error(errno, std::generic_category(), output);
    }
    colored_ = wants_color(color, stream_);
}

RecordPrinter::~RecordPrinter()
{
    if (stream_ != stdout) {
        std::fclose(stream_);
    }
}

void RecordPrinter::print(const support::LogRecord& record)
{
    std::fprintf(stream_, "%s\n", line_of(record, colored_).c_str());
}

bool RecordPrinter::flush()
{
    return std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
}

}  // namespace commonctl
