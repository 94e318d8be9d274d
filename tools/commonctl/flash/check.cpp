#include "flash/check.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

#include <common/common_log_settings.h>
#include <common/flash_safety.h>

namespace commonctl {
namespace {

constexpr rlim_t kDescriptors = 128;  // a deep check has up to 99 folders open
constexpr int kStep_ms = 1000;
constexpr std::size_t kMostReports = 64 << 10;
/// A record's message is cut at 1023 bytes, of which the words in front of the path take some.
constexpr std::size_t kLongestPath = 980;

enum ChildStatus : int { kIsSound = 10, kIsCorrupt = 11, kNothingToGoBy = 12 };

/// The child: its standard error is the pipe, where each record of the log is shown, too.
[[noreturn]] void check(std::uint32_t index, bool deep, int pipe)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(pipe, STDERR_FILENO);
    COMMON_Log_LegacySet(1);
    COMMON_Log_EnableSet(1);
    COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControlNone);
    COMMON_Log_LevelSet(COMMON_LogLevelWarn);
    // Behind the first use of the log, which opens it without that.
    const std::string identity(kFlashReport.substr(0, kFlashReport.find(':')));
    openlog(identity.c_str(), LOG_PERROR, LOG_USER);

    constexpr std::uint32_t kLeaveAlone = 0;
    std::uint32_t corrupt = 0;
    const std::uint32_t known =
        FLASHSAFE_CheckPartition(index, deep ? 1 : 0, kLeaveAlone, &corrupt);
    _exit(known != 1 ? kNothingToGoBy : corrupt == 1 ? kIsCorrupt : kIsSound);
}

void raise_descriptor_limit()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < kDescriptors) {
        throw std::runtime_error("a check takes up to 128 descriptors, and this shell allows " +
                                 std::to_string(limit.rlim_max) + "; raise \"ulimit -Hn\"");
    }
    limit.rlim_cur = std::max(limit.rlim_cur, kDescriptors);
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// Collects what the child says until it has ended.
std::string wait_for_reports(int pipe, const std::function<void()>& on_wait)
{
    std::string reports;
    pollfd entry{pipe, POLLIN, 0};
    for (;;) {
        on_wait();
        const int ready = poll(&entry, 1, kStep_ms);
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        char block[4096];
        const ssize_t count = read(pipe, block, sizeof block);
        if (count <= 0) {
            return reports;
        }
        reports.append(block,
                       std::min(static_cast<std::size_t>(count), kMostReports - reports.size()));
    }
}

/// The error number of examining a path as the check does; 0 when it can be examined.
int error_of(const std::string& path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISDIR(status.st_mode)) {
        return 0;
    }
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) {
        return errno;
    }
    closedir(folder);
    return 0;
}

FlashFinding finding_of(const FlashReports& reports, const std::string& mount_point)
{
    if (reports.too_deep) {
        return {FlashState::Corrupt, "", "folders are nested more than 98 levels deep"};
    }
    const std::string path = reports.path.empty() ? mount_point : reports.path;
    if (path.size() > kLongestPath) {
        return {FlashState::Corrupt, path, "(the path may go on)"};
    }
    const int error = error_of(path);
    const bool is_ours =
        error == EACCES || error == EPERM || error == EMFILE || error == ENFILE || error == ENOMEM;
    return {is_ours ? FlashState::Unknown : FlashState::Corrupt, path,
            error == 0 ? "it can be examined now" : std::strerror(error)};
}

[[noreturn]] void explain_nothing(const std::vector<std::string>& missing)
{
    std::string names;
    for (const std::string& name : missing) {
        names += (names.empty() ? "" : ", ") + name;
    }
    throw std::runtime_error(
        missing.empty() ? "the check ended without a result; see the system log"
                        : "the environment does not tell the flash device (" + names +
                              "); run this with the environment of the platform's start-up");
}

}  // namespace

int find_partition(std::string_view wanted)
{
    for (std::size_t index = 0; index < std::size(kFlashPartitions); ++index) {
        const std::string_view mount_point = kFlashPartitions[index];
        const std::string_view name = mount_point == "/" ? "root" : mount_point.substr(1);
        if (wanted == mount_point || wanted == name || wanted == std::to_string(index)) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

std::string open_folder_of(pid_t pid, std::string_view folder)
{
    std::string found;
    std::error_code error;
    const std::string all = "/proc/" + std::to_string(pid) + "/fd";
    for (std::filesystem::directory_iterator it(all, error), end; !error && it != end;
         it.increment(error)) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(it->path(), gone).string();
        const bool is_below =
            target == folder || folder == "/" || target.starts_with(std::string(folder) + "/");
        if (is_below && target.size() > found.size() &&
            std::filesystem::is_directory(target, gone)) {
            found = target;
        }
    }
    return found;
}

FlashReports read_flash_reports(std::string_view reports)
{
    constexpr std::string_view kCorrupt = "Detected corruption in file/dir: ";
    constexpr std::string_view kMissing = "getenv(\"";
    FlashReports found;
    while (!reports.empty()) {
        // A path may have line ends in it.
        const std::string next = "\n" + std::string(kFlashReport);
        const std::size_t end = std::min(reports.find(next), reports.size());
        std::string_view report = reports.substr(0, end);
        report = report.substr(0, report.size() - (report.ends_with('\n') ? 1 : 0));
        reports.remove_prefix(std::min(end + 1, reports.size()));
        if (const auto at = report.find(kCorrupt); at != report.npos) {
            found.path = report.substr(at + kCorrupt.size());
        } else if (const auto name = report.find(kMissing); name != report.npos) {
            const std::string_view rest = report.substr(name + kMissing.size());
            found.missing.emplace_back(rest.substr(0, rest.find('"')));
        } else if (report.find("Too many directory levels") != report.npos) {
            found.too_deep = true;
        }
    }
    return found;
}

FlashFinding check_partition(std::uint32_t index, bool deep,
                             const std::function<void(const std::string&)>& on_wait)
{
    raise_descriptor_limit();
    const std::string mount_point(kFlashPartitions[index]);
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start a check");
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        check(index, deep, ends[1]);
    }
    const int error = errno;
    close(ends[1]);
    if (pid < 0) {
        close(ends[0]);
        throw std::system_error(error, std::generic_category(), "cannot start a check");
    }
    const std::string text =
        wait_for_reports(ends[0], [&] { on_wait(open_folder_of(pid, mount_point)); });
    close(ends[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const FlashReports reports = read_flash_reports(text);
    const int ended = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (ended != kIsSound && ended != kIsCorrupt) {
        explain_nothing(reports.missing);
    }
    return ended == kIsSound ? FlashFinding{} : finding_of(reports, mount_point);
}

}  // namespace commonctl
