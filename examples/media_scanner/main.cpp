// Scans a folder with several threads and logs what it finds: a tour of the library's threads, its
// log facility, its containers and its values. Watch the records with
// "commonctl listen -- media_scanner FOLDER".
//
// Exits with 0 after a scan, 1 when the folder cannot be opened or a thread cannot be started, and
// 2 when it was called in another way than its usage says.
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "common_system.h"
#include "counted_log.h"
#include "scan.h"
#include "summary.h"

namespace {

using namespace scanner;

constexpr char kUsage[] = "usage: media_scanner FOLDER\n"
                          "Counts what is in FOLDER and logs what it finds to the system log.\n";

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
    print_summary(folder, scan.totals(), scan.kinds(), static_cast<double>(elapsed_ns) / 1e9);
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
