// The settings files of running processes, in a folder where anybody may have put anything.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "descriptor.h"

namespace commonctl {

inline constexpr char kSettingsFolder[] = "/tmp/common/log";
inline constexpr char kSharedFile[] = "/tmp/common/log/settings.txt";
inline constexpr char kConfiguredFile[] = "/config/common/log/settings.txt";

/// The file of a process, by its id where it lives.
std::string process_file(pid_t pid);

/// kSettingsFolder. Symbolic links are never followed in it or to it, and only what belongs to this
/// user or to root is read or replaced. All functions throw std::runtime_error or
/// std::system_error with a text that says what to do.
class SettingsFolder {
public:
    enum class Missing : bool { Fail, Make };

    /// Opens the folder.
    /// @param root where "/" is, without a slash behind it: empty, or "/proc/PID/root".
    /// @param missing Make makes it, so that all may look into it and only this user may write.
    /// @param user who is asking.
    SettingsFolder(const std::string& root, Missing missing, uid_t user = geteuid());

    /// Whether there is one.
    bool is_there() const { return fd_.get() >= 0; }
    int fd() const { return fd_.get(); }

    std::vector<std::string> names() const;

    /// The content of a file: nothing when there is none.
    std::optional<std::string> read(const std::string& name) const;

    /// The state of a file: nothing when there is none. A link is not followed.
    std::optional<struct stat> status(const std::string& name) const;

    /// Puts a file in place, whole or not at all. Whoever compares modification times in whole
    /// seconds sees a change: the time is now or, if need be, the second behind the old file's.
    /// @return the file's modification time, in seconds.
    std::int64_t replace(const std::string& name, const std::string& content) const;

    void remove(const std::string& name) const;

private:
    uid_t user_;
    Descriptor fd_{};
};

}  // namespace commonctl
