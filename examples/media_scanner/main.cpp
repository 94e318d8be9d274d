// Scans a folder with several threads and logs what it finds: a tour of the library's threads and
// what they wait with, its log facility, its containers and values, its files, timers, a watchdog,
// a state machine and options. Watch the records with "commonctl listen -- media_scanner FOLDER".
//
// Exits with 0 after a scan, 1 when the folder cannot be opened, a thread cannot be started or the
// report cannot be written, 2 when it was called in another way than its usage says, and 130 when
// the scan was given up.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "common_log_settings.h"
#include "common_system.h"
#include "control.h"
#include "counted_log.h"
#include "options.h"
#include "scan.h"
#include "summary.h"

namespace {

using namespace scanner;

COMMON_LOG_MODULE(zones().scanner);

int scan_folder(const Options& options)
{
    const std::string& folder = options.folder;
    block_signals();
    Scan scan{options};
    if (const int error = scan.open(folder); error != 0) {
        COMMON_LOG_AT(counted(COMMON_LogLevelError), "Cannot scan %s: %s (%d)", folder.c_str(),
                      std::strerror(error), error);
        std::fprintf(stderr, "media_scanner: %s: %s\n", folder.c_str(), std::strerror(error));
        return 1;
    }
    COMMON_LOG_AT(counted(COMMON_LogLevelNote), "Scan of %s starts", folder.c_str());
    const std::uint64_t start_ns = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC);
    Control control{scan, options.interval_ms};
    if (!control.run()) {
        std::fprintf(stderr, "media_scanner: cannot start a thread\n");
        return 1;
    }
    const std::uint64_t elapsed_ns = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC) - start_ns;
    log_totals(options, scan.totals(), control.given_up() ? "was given up" : "ended");
    if (!print_summary(options, scan.totals(), scan.kinds(),
                       static_cast<double>(elapsed_ns) / 1e9)) {
        std::fprintf(stderr, "media_scanner: cannot write %s\n", options.report->c_str());
        return 1;
    }
    return control.given_up() ? 128 + SIGINT : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    int status = 0;
    const std::optional<Options> options = read_options(argc, argv, status);
    if (!options) {
        return status;
    }
    if (options->layout) {
        COMMON_Log_FormatSet(*options->layout);
    }
    if (options->level) {
        COMMON_Log_LevelSet(*options->level);
    }
    return scan_folder(*options);
}
