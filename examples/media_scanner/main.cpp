// Scans a folder with several threads and logs what it finds: a tour of the library's threads and
// of its log facility. Watch the records with "commonctl listen -- media_scanner FOLDER".
//
// Exits with 0 after a scan, 1 when the folder cannot be opened or a thread cannot be started, and
// 2 when it was called in another way than its usage says.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "common_log_settings.h"
#include "common_system.h"
#include "counted_log.h"
#include "scan.h"

namespace {

using namespace scanner;

constexpr char kUsage[] = "usage: media_scanner FOLDER\n"
                          "Counts what is in FOLDER and logs what it finds to the system log.\n";

void print_summary(const std::string& folder, const Totals& totals, double seconds)
{
    std::printf("Scanned %s in %.3f s\n", folder.c_str(), seconds);
    std::printf("folders    %12" PRIu64 "\n", totals.folders.load());
    std::printf("files      %12" PRIu64 "\n", totals.files.load());
    std::printf("links      %12" PRIu64 "\n", totals.links.load());
    std::printf("bytes      %12" PRIu64 "\n", totals.bytes.load());
    std::printf("unreadable %12" PRIu64 "\n", totals.unreadable.load());
    std::printf("\nrecords        accepted     rejected\n");
    COMMON_LogLevel_t level = 0;
    for (const LevelCount& count : level_counts()) {
        std::printf("%-10s %12" PRIu64 " %12" PRIu64 "\n", COMMON_LogLevel_ToString(level++),
                    count.accepted.load(), count.rejected.load());
    }
}

/// The totals go to the log as well, in the layout for log files.
void log_totals(const std::string& folder, const Totals& totals)
{
    const COMMON_LogFormat_t layout = COMMON_Log_FormatGet();
    COMMON_Log_FormatSet(COMMON_LogFormatLegacy);
    SCANNER_LOG(COMMON_LogLevelNote, zones().scanner,
                "Scan of %s ended: %" PRIu64 " folders, %" PRIu64 " files, %" PRIu64 " unreadable",
                folder.c_str(), totals.folders.load(), totals.files.load(),
                totals.unreadable.load());
    COMMON_Log_FormatSet(layout);
}

int scan_folder(const std::string& folder)
{
    Scan scan;
    if (const int error = scan.open(folder); error != 0) {
        SCANNER_LOG(COMMON_LogLevelError, zones().scanner, "Cannot scan %s: %s (%d)",
                    folder.c_str(), std::strerror(error), error);
        std::fprintf(stderr, "media_scanner: %s: %s\n", folder.c_str(), std::strerror(error));
        return 1;
    }
    SCANNER_LOG(COMMON_LogLevelNote, zones().scanner, "Scan of %s starts", folder.c_str());
    const std::uint64_t start_ns = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC);
    if (!scan.run()) {
        std::fprintf(stderr, "media_scanner: cannot start a thread\n");
        return 1;
    }
    const std::uint64_t elapsed_ns = COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC) - start_ns;
    log_totals(folder, scan.totals());
    print_summary(folder, scan.totals(), static_cast<double>(elapsed_ns) / 1e9);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc != 2 || argv[1][0] == '-' || argv[1][0] == '\0') {
        std::fputs(kUsage, stderr);
        return 2;
    }
    return scan_folder(argv[1]);
}
