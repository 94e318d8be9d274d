#include "processes/settings_files.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace commonctl {
namespace {

/// A settings file has some ten lines.
constexpr off_t kMostBytes = off_t{64} * 1024;

/// Seconds after which whoever was writing a file is taken to be dead.
constexpr std::int64_t kGivenUp_s = 10;

[[noreturn]] void fail(const std::string& path)
{
    const int error = errno;
    throw std::system_error(error, std::generic_category(), path);
}

std::string path_of(const std::string& name)
{
    return std::string(kSettingsFolder) + "/" + name;
}

/// Refuses what another user could use to mislead this one.
void must_be_trusted(const struct stat& status, const std::string& path, uid_t user)
{
    if (status.st_uid != user && status.st_uid != 0) {
        throw std::runtime_error(path + " belongs to another user (" +
                                 std::to_string(status.st_uid) +
                                 ") and is left alone; remove it, or run commonctl as that user");
    }
}

std::int64_t now_s()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

/// Opens a folder without following a link to it; makes it when it is missing and wanted.
Descriptor open_folder(const Descriptor& above, const char* name, const std::string& path,
                       SettingsFolder::Missing missing, uid_t user)
{
    const bool made =
        missing == SettingsFolder::Missing::Make && mkdirat(above.get(), name, 0755) == 0;
    if (!made && missing == SettingsFolder::Missing::Make && errno != EEXIST) {
        fail(path);
    }
    Descriptor folder(openat(above.get(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) {
        if (errno == ENOENT) {
            return folder;
        }
        if (errno == ENOTDIR || errno == ELOOP) {
            throw std::runtime_error(path + " is no folder; remove it");
        }
        fail(path);
    }
    struct stat status {};
    if (fstat(folder.get(), &status) != 0) {
        fail(path);
    }
    must_be_trusted(status, path, user);
    // Whatever this user's mask of modes: processes of all users look into it.
    if (made && fchmod(folder.get(), 0755) != 0) {
        fail(path);
    }
    return folder;
}

/// A new file beside the one that it is to become, so that two do not write at the same time.
Descriptor make_beside(int folder, const std::string& name)
{
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    Descriptor file(openat(folder, name.c_str(), kFlags, 0600));
    struct stat status {};
    if (!file && errno == EEXIST &&
        fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        status.st_mtim.tv_sec + kGivenUp_s < now_s()) {
        unlinkat(folder, name.c_str(), 0);
        file = Descriptor(openat(folder, name.c_str(), kFlags, 0600));
    }
    if (!file && errno == EEXIST) {
        throw std::runtime_error(path_of(name) + " is there: somebody else is changing settings; "
                                                 "try again in some seconds");
    }
    if (!file) {
        fail(path_of(name));
    }
    return file;
}

/// Writes all of it: false with errno set when that fails.
bool write_all(int fd, const std::string& content)
{
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t count = write(fd, content.data() + done, content.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

}  // namespace

std::string process_file(pid_t pid)
{
    return path_of("settings_" + std::to_string(pid) + ".txt");
}

SettingsFolder::SettingsFolder(const std::string& root, Missing missing, uid_t user) : user_(user)
{
    // Who may put a link in the place of /tmp owns the machine, but in a container that is another.
    struct stat own_root {
    }, other_root{};
    const bool is_own =
        root.empty() ||
        (stat("/", &own_root) == 0 && stat((root + "/").c_str(), &other_root) == 0 &&
         own_root.st_dev == other_root.st_dev && own_root.st_ino == other_root.st_ino);
    const Descriptor tmp(open((root + "/tmp").c_str(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC | (is_own ? 0 : O_NOFOLLOW)));
    if (!tmp) {
        fail("/tmp");
    }
    const Descriptor common = open_folder(tmp, "common", "/tmp/common", missing, user);
    if (common) {
        fd_ = open_folder(common, "log", kSettingsFolder, missing, user);
    }
}

std::vector<std::string> SettingsFolder::names() const
{
    // A descriptor of its own, as reading a folder moves its position.
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(
        fdopendir(openat(fd_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), closedir);
    if (folder == nullptr) {
        fail(kSettingsFolder);
    }
    std::vector<std::string> names;
    while (const dirent* const entry = readdir(folder.get())) {
        names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<struct stat> SettingsFolder::status(const std::string& name) const
{
    struct stat status {};
    if (fstatat(fd_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return status;
    }
    if (errno != ENOENT) {
        fail(path_of(name));
    }
    return std::nullopt;
}

std::optional<std::string> SettingsFolder::read(const std::string& name) const
{
    const Descriptor file(
        openat(fd_.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file && errno == ENOENT) {
        return std::nullopt;
    }
    if (!file && errno == ELOOP) {
        throw std::runtime_error(path_of(name) + " is a symbolic link; remove it");
    }
    if (!file || fstat(file.get(), &status) != 0) {
        fail(path_of(name));
    }
    must_be_trusted(status, path_of(name), user_);
    if (!S_ISREG(status.st_mode) || status.st_size > kMostBytes) {
        throw std::runtime_error(path_of(name) + " is no settings file; remove it");
    }
    std::string content(static_cast<std::size_t>(kMostBytes), '\0');
    const ssize_t length = ::read(file.get(), content.data(), content.size());
    if (length < 0) {
        fail(path_of(name));
    }
    content.resize(static_cast<std::size_t>(length));
    return content;
}

std::int64_t SettingsFolder::replace(const std::string& name, const std::string& content) const
{
    const std::string beside = name + ".new";
    const Descriptor file = make_beside(fd_.get(), beside);
    const auto old = status(name);
    timespec times[2]{};
    times[0].tv_nsec = UTIME_NOW;
    times[1].tv_sec = static_cast<time_t>(
        std::max(now_s(), old ? std::int64_t{old->st_mtim.tv_sec} + 1 : INT64_MIN));
    // Its owner alone may write it, and processes of all users read it.
    if (!write_all(file.get(), content) || fchmod(file.get(), 0644) != 0 ||
        futimens(file.get(), times) != 0 ||
        renameat(fd_.get(), beside.c_str(), fd_.get(), name.c_str()) != 0) {
        const int error = errno;
        unlinkat(fd_.get(), beside.c_str(), 0);
        throw std::system_error(error, std::generic_category(),
                                path_of(name) + " is as it was: the new one cannot be written");
    }
    return times[1].tv_sec;
}

void SettingsFolder::remove(const std::string& name) const
{
    if (unlinkat(fd_.get(), name.c_str(), 0) != 0 && errno != ENOENT) {
        fail(path_of(name));
    }
}

}  // namespace commonctl
