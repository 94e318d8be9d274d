// Runs one hot operation a number of times, for counting its instructions
// (bench/count_instructions).
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common_log.h"
#include "hsm_calls.h"
#include "plain_expression.h"
#include "plain_record.h"
#include "regexp.h"
#include "two_compares.h"

namespace {

volatile unsigned sink;

void check_level()
{
    sink = COMMON_Log_Acceptable(COMMON_LogLevelVerbose);
}

void check_two_compares()
{
    sink = static_cast<unsigned>(two_compares(COMMON_LogLevelVerbose));
}

void record_ours()
{
    COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "MEDIA", "media_scanner.cpp", "scan_folder", 217,
                     MESSAGE_FORMAT, MESSAGE_VALUES);
}

void record_syslog_formatting()
{
    bench::write_plain_record("hot_loop");
}

void record_syslog_finished()
{
    static const char* const text = bench::finished_record();
    syslog(LOG_USER | LOG_INFO, "%s", text);
}

constexpr const char* kArtist = "an (artist)/(an album)";
constexpr const char* kName = "/media/music/an artist/an album/01 a title.flac";
constexpr const char* kComposer = "a composer";

void replace_first_ours()
{
    static RegExp* const regexp = RegExp_New(kArtist, 1);
    sink = static_cast<unsigned char>(*RegExp_Replace(regexp, kName, kComposer, 0));
}

void replace_first_by_hand()
{
    static bench::Expression expression(kArtist);
    sink = static_cast<unsigned char>(*expression.replace_first(kName, kComposer));
}

void groups_ours()
{
    static RegExp* const regexp = RegExp_New(kArtist, 1);
    sink = RegExp_MatchSubExp(regexp, kName, 0) != nullptr ? 1 : 0;
}

void groups_by_hand()
{
    static bench::Expression expression(kArtist);
    sink = expression.groups(kName) != nullptr ? 1 : 0;
}

template <typename Machine, auto load>
void dispatch()
{
    static Machine machine;
    (machine.*load)();
}

#define DISPATCHES(name, Machine)                                \
    {name "_internal", dispatch<Machine, &Machine::internal>},   \
        {name "_bubble", dispatch<Machine, &Machine::bubble>},   \
        {name "_sibling", dispatch<Machine, &Machine::sibling>}, \
    {                                                            \
        name "_deep", dispatch<Machine, &Machine::deep>          \
    }

struct Operation {
    const char* name;
    void (*run)();
};

constexpr Operation kOperations[] = {
    {"check_level", check_level},
    {"check_two_compares", check_two_compares},
    {"record_ours", record_ours},
    {"record_syslog_formatting", record_syslog_formatting},
    {"record_syslog_finished", record_syslog_finished},
    {"replace_first_ours", replace_first_ours},
    {"replace_first_by_hand", replace_first_by_hand},
    {"groups_ours", groups_ours},
    {"groups_by_hand", groups_by_hand},
    DISPATCHES("hsm", bench::HsmMachine),
    DISPATCHES("hsm_by_hand", bench::HsmByHand),
    DISPATCHES("ls_hsm", bench::LsMachine),
    DISPATCHES("ls_hsm_by_hand", bench::LsByHand),
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 1) {
        for (const Operation& operation : kOperations) {
            std::puts(operation.name);
        }
        return 0;
    }
    for (const Operation& operation : kOperations) {
        if (argc == 3 && std::strcmp(argv[1], operation.name) == 0) {
            openlog(nullptr, LOG_NDELAY, LOG_USER);
            for (long count = std::strtol(argv[2], nullptr, 10); count > 0; --count) {
                operation.run();
            }
            return 0;
        }
    }
    std::fputs("usage: hot_loop [OPERATION COUNT]\n", stderr);
    return 2;
}
