#include "record_printer.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

namespace commonctl {
namespace {

constexpr const char* kReset = "\033[0m";

// From LOG_EMERG to LOG_DEBUG.
constexpr const char* kColors[] = {"\033[1;31m", "\033[1;31m", "\033[1;31m", "\033[31m",
                                   "\033[33m",   "\033[36m",   "",           "\033[2m"};

bool wants_color(Color color, FILE* stream)
{
    if (color != Color::Auto) {
        return color == Color::Always;
    }
    const char* terminal = std::getenv("TERM");
    return std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
           std::string_view(terminal) != "dumb" && isatty(fileno(stream)) == 1;
}

/// A record must neither look like two nor steer the terminal.
std::string printable(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\t') || byte == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            result += escape;
        } else {
            result += c;
        }
    }
    return result;
}

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
