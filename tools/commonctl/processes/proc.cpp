#include "processes/proc.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace commonctl {
namespace {

constexpr int kFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

bool is_number(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// "libcommon.so", also with numbers behind it, and also when the file has been replaced since.
bool is_library(std::string path)
{
    constexpr std::string_view kDeleted = " (deleted)";
    constexpr std::string_view kLibrary = "libcommon.so";
    if (path.ends_with(kDeleted)) {
        path.resize(path.size() - kDeleted.size());
    }
    const std::string name = path.substr(path.rfind('/') + 1);
    if (!name.starts_with(kLibrary)) {
        return false;
    }
    const std::string version = name.substr(kLibrary.size());
    return version.empty() || (version[0] == '.' && version.size() > 1 &&
                               version.find_first_not_of(".0123456789") == std::string::npos);
}

std::int64_t nanoseconds(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/// Reads all of a regular file, and closes it.
std::optional<std::string> content_of(int fd, std::size_t most)
{
    if (fd < 0) {
        return std::nullopt;
    }
    std::string content;
    struct stat status {};
    ssize_t length = -1;
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        errno = EINVAL;
    } else {
        char buffer[4096];
        while (content.size() < most && (length = read(fd, buffer, sizeof buffer)) > 0) {
            content.append(buffer, static_cast<std::size_t>(length));
        }
    }
    const int error = errno;
    close(fd);
    errno = error;
    if (length < 0) {
        return std::nullopt;
    }
    content.resize(std::min(content.size(), most));
    return content;
}

}  // namespace

std::string proc_folder(pid_t pid)
{
    return "/proc/" + std::to_string(pid) + "/";
}

std::vector<pid_t> all_processes()
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
    if (folder == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot list processes in /proc");
    }
    std::vector<pid_t> ids;
    while (const dirent* const entry = readdir(folder.get())) {
        if (is_number(entry->d_name)) {
            ids.push_back(std::stoi(entry->d_name));
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::optional<std::string> read_file(const std::string& path, std::size_t most)
{
    return content_of(open(path.c_str(), O_RDONLY | kFlags), most);
}

std::optional<std::string> look_into(const std::string& path, std::size_t most)
{
    // Who reads a file has closed it without having been able to write. Nothing is written here,
    // and no link is followed to something that writing concerns.
    const int fd = open(path.c_str(), O_RDWR | O_NOFOLLOW | kFlags);
    return fd >= 0 ? content_of(fd, most) : read_file(path, most);
}

std::optional<std::uint64_t> start_ticks(pid_t pid)
{
    const auto stat = read_file(proc_folder(pid) + "stat");
    // The name in parentheses may have any characters; behind it are the fields from the third on.
    const auto end = stat ? stat->rfind(')') : std::string::npos;
    if (end == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(stat->substr(end + 1));
    std::string field;
    std::uint64_t ticks = 0;
    for (int number = 3; number < 22; ++number) {
        fields >> field;
        if (number == 3 && (field == "Z" || field == "X")) {
            return std::nullopt;  // it has ended, and its parent has not noticed
        }
    }
    return fields >> ticks ? std::optional(ticks) : std::nullopt;
}

std::int64_t time_of_ticks(std::uint64_t ticks)
{
    const auto per_second = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    const std::int64_t since_boot = static_cast<std::int64_t>(
        ticks / per_second * 1'000'000'000 + ticks % per_second * (1'000'000'000 / per_second));
    return nanoseconds(CLOCK_REALTIME) - nanoseconds(CLOCK_BOOTTIME) + since_boot;
}

std::optional<std::string> loaded_library(pid_t pid)
{
    const auto maps = read_file(proc_folder(pid) + "maps", SIZE_MAX);
    struct stat status {};
    if (!maps || stat((proc_folder(pid) + "root/").c_str(), &status) != 0) {
        if (errno == EACCES || errno == EPERM) {
            throw std::system_error(errno, std::generic_category());
        }
        return std::nullopt;
    }
    // "ADDRESSES PERMISSIONS OFFSET DEVICE INODE   PATH"
    std::istringstream lines(*maps);
    for (std::string line; std::getline(lines, line);) {
        const auto permissions = line.find(' ');
        const auto path = line.find('/');
        if (permissions != std::string::npos && path != std::string::npos &&
            line.substr(permissions + 1, 4).find('x') != std::string::npos &&
            is_library(line.substr(path))) {
            return line.substr(path);
        }
    }
    return std::nullopt;
}

pid_t own_id(pid_t pid)
{
    const auto status = read_file(proc_folder(pid) + "status");
    std::istringstream lines(status.value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("NSpid:")) {
            const auto number = line.find_last_of(" \t") + 1;
            pid_t own = pid;
            std::from_chars(line.data() + number, line.data() + line.size(), own);
            return own;
        }
    }
    return pid;
}

}  // namespace commonctl
