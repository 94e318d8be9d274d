#include "records/levels.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <syslog.h>

#include <common/common_log.h>

#include "log_record.h"

namespace commonctl {
namespace {

constexpr int kLevels = COMMON_LogLevelVerbose + 1;

constexpr std::string_view kTexts[kLevels] = {"Fatal", "Critical", "Error", "Warn",
                                              "Note",  "Info",     "Debug", "Verbose"};

// From LOG_EMERG to LOG_DEBUG.
constexpr int kOfPriorities[] = {
    COMMON_LogLevelFatal, COMMON_LogLevelCritical, COMMON_LogLevelCritical, COMMON_LogLevelError,
    COMMON_LogLevelWarn,  COMMON_LogLevelNote,     COMMON_LogLevelInfo,     COMMON_LogLevelDebug};

/// The level whose text begins with a letter: no two begin with the same.
constexpr int level_of_initial(char initial)
{
    for (int level = 0; level < kLevels; ++level) {
        if (kTexts[level][0] == initial) {
            return level;
        }
    }
    return -1;
}

static_assert([] {
    for (int level = 0; level < kLevels; ++level) {
        if (level_of_initial(kTexts[level][0]) != level) {
            return false;
        }
    }
    return true;
}());

bool are_same(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::tolower(x) == std::tolower(y);
    });
}

}  // namespace

int level_of_text(std::string_view text)
{
    const int level = text.empty() ? -1 : level_of_initial(text[0]);
    return level >= 0 && kTexts[level] == text ? level : -1;
}

int level_of_priority(int priority)
{
    return priority >= LOG_EMERG && priority <= LOG_DEBUG ? kOfPriorities[priority] : -1;
}

int level_of_name(std::string_view name)
{
    for (int level = 0; level < kLevels; ++level) {
        if (are_same(name, kTexts[level])) {
            return level;
        }
    }
    for (int priority = LOG_EMERG; priority <= LOG_DEBUG; ++priority) {
        if (are_same(name, support::priority_name(priority))) {
            return level_of_priority(priority);
        }
    }
    return -1;
}

std::string_view level_text(int level)
{
    return level >= 0 && level < kLevels ? kTexts[level] : std::string_view();
}

}  // namespace commonctl
