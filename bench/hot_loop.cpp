// Runs one hot operation a number of times, for counting its instructions
// (bench/count_instructions).
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "common_log.h"
#include "two_compares.h"

namespace {

volatile unsigned sink;

#define MESSAGE_FORMAT \
    "track %06d of %s is ready to play after a scan that took %8u microseconds in all"
#define MESSAGE_VALUES 4711, "a long album", 123456U

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
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[61];
    strftime(time, sizeof time, "%T", &local);
    char message[1024];
    std::snprintf(message, sizeof message, MESSAGE_FORMAT, MESSAGE_VALUES);
    syslog(LOG_USER | LOG_INFO, "[%03u.%s.%09u], %s, %d, %s, %d, %s, %s, %s %d, %s",
           static_cast<unsigned>(now.tv_sec / 86400), time, static_cast<unsigned>(now.tv_nsec),
           "MEDIA", static_cast<int>(getpid()), "hot_loop", static_cast<int>(gettid()), "Info",
           "media_scanner.cpp", "scan_folder", 217, message);
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
