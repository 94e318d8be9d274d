// The deep check: a walk over everything below a mount point.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "files/arguments.h"
#include "files/flash_device.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"

namespace common::flash {
namespace {

/// A tree whose folders are nested deeper below the mount point counts as corrupt.
constexpr std::uint32_t kMostLevels = 98;

/// The path of what the walk has come to, one for all levels. It is what reports show; the kernel
/// is given names only, relative to an open folder, for as long as the path is not cut.
class WalkPath {
public:
    explicit WalkPath(const char* mount_point) noexcept
    {
        length_ = strnlen(mount_point, kCapacity);
        std::memcpy(text_, mount_point, length_);
        text_[length_] = '\0';
    }

    const char* text() const noexcept { return text_; }
    std::size_t length() const noexcept { return length_; }

    bool has_room_for(const char* name) const noexcept
    {
        return length_ + 1 + std::strlen(name) <= kCapacity;
    }

    /// Appends a slash and a name, of which so much is left out as there is no room for.
    void append(const char* name) noexcept
    {
        if (length_ < kCapacity) {
            text_[length_++] = '/';
        }
        const std::size_t count = strnlen(name, kCapacity - length_);
        std::memcpy(text_ + length_, name, count);
        length_ += count;
        text_[length_] = '\0';
    }

    void cut(std::size_t length) noexcept
    {
        length_ = length;
        text_[length_] = '\0';
    }

private:
    static constexpr std::size_t kCapacity = kPathSize - 1;

    std::size_t length_ = 0;
    char text_[kCapacity + 1];
};

/// Opens a folder by its path, which takes the fewest system calls. A path over more symbolic links
/// than the kernel follows at once is no reason to stop: then by its name in the folder above.
DIR* open_folder(const WalkPath& path, int parent, const char* name) noexcept
{
    DIR* folder = opendir(path.text());
    if (folder != nullptr || errno != ELOOP) {
        return folder;
    }
    const int fd = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        folder = fdopendir(fd);
        if (folder == nullptr) {
            close(fd);
        }
    }
    return folder;
}

/// Both lead back to where the walk has been: following them would find every tree too deep.
bool leads_back(const char* name) noexcept
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

void report_corrupt(const WalkPath& path, Here here) noexcept
{
    report(kSource, COMMON_LogLevelWarn, here, "Detected corruption in file/dir: %s", path.text());
}

/// Walks over the folder `name`, relative to the open folder `parent`, whose path is `path`. Names
/// that are relative to the folder that they are in cost the kernel one step instead of one for
/// each level, and there is no limit to the symbolic links on the way but that of the levels.
bool flashsafe_DoRecursiveCheck(WalkPath& path, int parent, const char* name,
                                std::uint32_t depth) noexcept
{
    if (depth > kMostLevels) {
        COMMON_REPORT(kSource, Warn, "Too many directory levels (%u), assuming corruption", depth);
        return false;
    }
    DIR* const folder = open_folder(path, parent, name);
    if (folder == nullptr) {
        report_corrupt(path, Here::now());
        return false;
    }
    const std::size_t length = path.length();
    bool sound = true;
    // Oddity: an error of readdir() is the end of the folder, as only what it gives is examined.
    // Test: FlashWalk.WhatReaddirDoesNotGiveIsNotExamined.
    for (const dirent* entry = nullptr; sound && (entry = readdir(folder)) != nullptr;) {
        if (leads_back(entry->d_name)) {
            continue;
        }
        // Oddity: a path that is cut is examined as it stands, be it that of another entry or none.
        // Test: FlashWalk.TheCutPathMayBeThatOfAnotherEntry.
        const char* examined = entry->d_name;
        if (!path.has_room_for(entry->d_name)) {
            path.append(entry->d_name);
            examined = path.text();
        }
        struct stat status;
        const bool known = fstatat(dirfd(folder), examined, &status, 0) == 0;
        if (known && !S_ISDIR(status.st_mode)) {
            path.cut(length);
            continue;
        }
        if (examined == entry->d_name) {
            path.append(entry->d_name);
        }
        if (known) {
            sound = flashsafe_DoRecursiveCheck(path, dirfd(folder), examined, depth + 1);
        } else {
            report_corrupt(path, Here::now());
            sound = false;
        }
        path.cut(length);
    }
    closedir(folder);
    return sound;
}

}  // namespace

bool tree_is_sound(const char* mount_point) noexcept
{
    const UncancelledScope uncancelled;  // cancellation would leave the folders open
    WalkPath path(mount_point);
    return flashsafe_DoRecursiveCheck(path, AT_FDCWD, mount_point, 0);
}

}  // namespace common::flash
