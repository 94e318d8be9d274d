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
    "  -i, --interval MS   milliseconds between two records of progress (500); 0 for none\n"
    "  -r, --report FILE   write the summary to FILE, too, as a serialised value\n"
    "  -h, --help          this text\n"
    "\n"
    "Ctrl-C pauses. Then SIGCONT (the shell's fg after Ctrl-Z, or kill -CONT) goes on, and "
    "another\n"
    "Ctrl-C ends with what has been found so far and exit status 130.\n";

constexpr char kLetters[] = "p:t:f:l:i:r:h";
constexpr option kLongOptions[] = {
    {"pattern", required_argument, nullptr, 'p'},  {"threads", required_argument, nullptr, 't'},
    {"layout", required_argument, nullptr, 'f'},   {"level", required_argument, nullptr, 'l'},
    {"interval", required_argument, nullptr, 'i'}, {"report", required_argument, nullptr, 'r'},
    {"help", no_argument, nullptr, 'h'},           {nullptr, 0, nullptr, 0}};

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

/// @param what named when the text is no number from `least` to `most`.
std::optional<unsigned> read_number(const char* text, unsigned least, unsigned most,
                                    const char* what)
{
    // strtoul() takes signs and blanks, which nobody means.
    if (std::isdigit(static_cast<unsigned char>(*text)) != 0) {
        char* end = nullptr;
        const unsigned long number = std::strtoul(text, &end, 10);
        if (*end == '\0' && number >= least && number <= most) {
            return static_cast<unsigned>(number);
        }
    }
    std::fprintf(stderr, "media_scanner: '%s' is no number of %s from %u to %u\n", text, what,
                 least, most);
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
        const std::optional<unsigned> number = read_number(value, 1, kMostExaminers, "threads");
        options.examiners = number.value_or(options.examiners);
        return number.has_value();
    }
    case 'i': {
        const std::optional<unsigned> number =
            read_number(value, 0, kLongestInterval_ms, "milliseconds");
        options.interval_ms = number.value_or(options.interval_ms);
        return number.has_value();
    }
    case 'r':
        options.report = value;
        return true;
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
