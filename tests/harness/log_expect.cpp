#include "log_expect.h"

#include <ostream>
#include <syslog.h>

#include "log_layout.h"

namespace harness {
namespace {

// How a level is shown: its text and its priority of syslog(3).
struct ShownLevel {
    const char* text;
    int priority;
};

ShownLevel shown(COMMON_LogLevel_t level)
{
    constexpr ShownLevel kLevels[] = {
        {"Fatal", LOG_EMERG}, {"Critical", LOG_CRIT}, {"Error", LOG_ERR},   {"Warn", LOG_WARNING},
        {"Note", LOG_NOTICE}, {"Info", LOG_INFO},     {"Debug", LOG_DEBUG}, {"Verbose", LOG_DEBUG}};
    return level <= COMMON_LogLevelVerbose ? kLevels[level] : ShownLevel{"Invalid", LOG_ERR};
}

}  // namespace

Report report_of(const LogRecord& record)
{
    const auto fields = parse_syslogngext(record.text);
    if (!fields || record.facility != LOG_USER) {
        return {-1, "", "", "", "", record.raw};
    }
    return {record.priority, fields->level,    fields->zone,
            fields->file,    fields->function, fields->message};
}

std::vector<Report> reports(const Outcome& outcome)
{
    std::vector<Report> all;
    for (const LogRecord& record : outcome.log) {
        all.push_back(report_of(record));
    }
    return all;
}

bool operator==(const LogRecord& record, const Report& report)
{
    return report_of(record) == report;
}

std::ostream& operator<<(std::ostream& stream, const Report& report)
{
    return stream << "{" << priority_name(report.priority) << " " << report.level << " zone '"
                  << report.zone << "' " << report.file << " " << report.function << ": "
                  << report.message << "}";
}

Report said(COMMON_LogLevel_t level, const std::string& zone, const std::string& file,
            const std::string& function, const std::string& message)
{
    return {shown(level).priority, shown(level).text, zone, file, function, message};
}

testing::Matcher<const std::string&>
assertion_text(const std::string& file, const std::string& function, const std::string& condition)
{
    // "program: file:line: function: Assertion `condition' failed."
    return testing::AllOf(
        testing::MatchesRegex("[^:\n]+: " + file + ":[0-9]+: " + function + ": Assertion `.*\n"),
        testing::EndsWith(": " + function + ": Assertion `" + condition + "' failed.\n"));
}

}  // namespace harness
