#include "log_matchers.h"

#include <syslog.h>

#include "log_layout.h"

namespace bench {
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

MATCHER_P5(is_record, level, zone, file, function, message,
           std::string(negation ? "is not a " : "is a ") + shown(level).text + " record of zone '" +
               zone + "', file " + file + ", function " + function + " whose message " +
               testing::DescribeMatcher<const std::string&>(message))
{
    const auto fields = parse_syslogngext(arg.text);
    return fields && arg.facility == LOG_USER && arg.priority == shown(level).priority &&
           fields->level == shown(level).text && fields->zone == zone && fields->file == file &&
           fields->function == function &&
           testing::ExplainMatchResult(message, fields->message, result_listener);
}

}  // namespace

testing::Matcher<const LogRecord&> record(COMMON_LogLevel_t level, const std::string& zone,
                                          const std::string& file, const std::string& function,
                                          const testing::Matcher<const std::string&>& message)
{
    return is_record(level, zone, file, function, message);
}

testing::Matcher<const std::string&>
assertion_text(const std::string& file, const std::string& function, const std::string& condition)
{
    // "program: file:line: function: Assertion `condition' failed."
    return testing::AllOf(
        testing::MatchesRegex("[^:\n]+: " + file + ":[0-9]+: " + function + ": Assertion `.*\n"),
        testing::EndsWith(": " + function + ": Assertion `" + condition + "' failed.\n"));
}

}  // namespace bench
