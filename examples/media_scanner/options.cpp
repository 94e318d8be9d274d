#include "options.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <regex.h>
#include <strings.h>

#include "oxa_getopt.h"

namespace scanner {

namespace {

constexpr char kUsage[] =
    "usage: media_scanner FOLDER [OPTION...]\n"
    "Counts what is in FOLDER and logs what it finds to the system log.\n"
    "\n"
    "  -p, --pattern EXPR  count only files whose names match the regular expression\n"
    "  -t, --threads N     examine folders with so many threads, 1 to 16 (3)\n"
    "  -f, --layout NAME   layout of all records: Legacy, All, Columns, Syslogng, Syslogngext\n"
    "  -l, --level NAME    least severe level of records: Fatal, Critical, Error, Warn, Note,\n"
    "                      Info, Debug, Verbose\n"
    "  -h, --help          this text\n";

constexpr char kLetters[] = "p:t:f:l:h";
constexpr option kLongOptions[] = {
    {"pattern", required_argument, nullptr, 'p'}, {"threads", required_argument, nullptr, 't'},
    {"layout", required_argument, nullptr, 'f'},  {"level", required_argument, nullptr, 'l'},
    {"help", no_argument, nullptr, 'h'},          {nullptr, 0, nullptr, 0}};

constexpr const char* kLayouts[] = {"Legacy", "All", "Columns", "Syslogng", "Syslogngext"};

bool compiles(const char* pattern)
{
    regex_t expression;
    const int error = regcomp(&expression, pattern, REG_EXTENDED | REG_NOSUB);
    if (error != 0) {
        char reason[128];
        regerror(error, &expression, reason, sizeof reason);
        std::fprintf(stderr, "media_scanner: '%s' is no regular expression: %s\n", pattern, reason);
        return false;
    }
    regfree(&expression);
    return true;
}

std::optional<unsigned> read_examiners(const char* text)
{
    // strtoul() takes signs and blanks, which nobody means.
    if (std::isdigit(static_cast<unsigned char>(*text)) != 0) {
        char* end = nullptr;
        const unsigned long number = std::strtoul(text, &end, 10);
        if (*end == '\0' && number >= 1 && number <= kMostExaminers) {
            return static_cast<unsigned>(number);
        }
    }
    std::fprintf(stderr, "media_scanner: '%s' is no number of threads from 1 to %u\n", text,
                 kMostExaminers);
    return std::nullopt;
}

std::optional<COMMON_LogFormat_t> read_layout(const char* text)
{
    COMMON_LogFormat_t layout = COMMON_LogFormatLegacy;
    for (const char* const name : kLayouts) {
        if (strcasecmp(text, name) == 0) {
            return layout;
        }
        ++layout;
    }
    std::fprintf(stderr, "media_scanner: '%s' is no layout of records\n", text);
    return std::nullopt;
}

std::optional<COMMON_LogLevel_t> read_level(const char* text)
{
    for (COMMON_LogLevel_t level = 0; level <= COMMON_LogLevelVerbose; ++level) {
        if (strcasecmp(text, COMMON_LogLevel_ToString(level)) == 0) {
            return level;
        }
    }
    std::fprintf(stderr, "media_scanner: '%s' is no level of records\n", text);
    return std::nullopt;
}

/// Takes the value of an option in. @return whether it is a good one.
bool take_in(int code, const char* value, Options& options)
{
    switch (code) {
    case 'p':
        options.pattern = value;
        return compiles(value);
    case 't': {
        const std::optional<unsigned> number = read_examiners(value);
        options.examiners = number.value_or(options.examiners);
        return number.has_value();
    }
    case 'f':
        options.layout = read_layout(value);
        return options.layout.has_value();
    case 'l':
        options.level = read_level(value);
        return options.level.has_value();
    default:
        std::fputs(kUsage, stderr);
        return false;
    }
}

}  // namespace

std::optional<Options> read_options(int argc, char** argv, int& status)
{
    Options options;
    status = kBadUsage;
    for (int code = 0;
         (code = OXA_getopt_long(argc, argv, kLetters, kLongOptions, nullptr)) != -1;) {
        if (code == 'h') {
            std::fputs(kUsage, stdout);
            status = EXIT_SUCCESS;
            return std::nullopt;
        }
        if (!take_in(code, optarg, options)) {
            return std::nullopt;
        }
    }
    if (argc - optind != 1 || argv[optind][0] == '\0') {
        std::fputs(kUsage, stderr);
        return std::nullopt;
    }
    options.folder = argv[optind];
    return options;
}

}  // namespace scanner
