#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common.h"
#include "files/arguments.h"
#include "log/report.h"
#include "platform/uncancelled_scope.h"

namespace common::folder {
namespace {

constexpr Source kSource{"common", Module::Common};

/// What tells a pattern from the path of a file, and stands between its folder and its suffix.
constexpr char kPatternMark[] = "/*.";

/// stat(2), but for a null path, which it leaves undefined.
bool examine(const char* path, struct stat& status) noexcept
{
    if (path == nullptr) {
        errno = EFAULT;
        return false;
    }
    return stat(path, &status) == 0;
}

/// The type bits of what a path names; 0 when there is nothing, or when that cannot be told.
mode_t type_of(const char* path) noexcept
{
    struct stat status;
    if (examine(path, status)) {
        return status.st_mode & S_IFMT;
    }
    if (errno != ENOENT) {
        // Oddity: printed, not logged, as it runs without the log, and under this name also for
        // folders: what reads the output looks for that.
        // Test: Folder.PathThatCannotBeExaminedIsPrinted.
        std::printf("UTIL_FileExists: Error running stat routine: %s\n", std::strerror(errno));
    }
    return 0;
}

bool has_entry_with(const char* folder_path, const char* suffix) noexcept
{
    DIR* const folder = opendir(folder_path);
    if (folder == nullptr) {
        std::printf("UTIL_FileExists: Error opening directory %s, error: %s\n", folder_path,
                    std::strerror(errno));
        return false;
    }
    const dirent* entry;
    do {
        entry = readdir(folder);
        // Oddity: anywhere in the name, as callers rely on "log" being found in "log.1", too.
        // Test: Folder.PatternIsSatisfiedByTheSuffixAnywhereInAName.
    } while (entry != nullptr && std::strstr(entry->d_name, suffix) == nullptr);
    closedir(folder);
    return entry != nullptr;
}

bool pattern_exists(const char* path, const char* mark) noexcept
{
    const auto length = static_cast<std::size_t>(mark - path);
    // Not through MEM_Malloc(): this runs before and without the log.
    auto* const folder_path = static_cast<char*>(std::malloc(length + 1));
    if (folder_path == nullptr) {
        std::printf("UTIL_FileExists: Error allocating buffer (size %u): %s\n",
                    static_cast<unsigned>(length + 1), std::strerror(errno));
        return false;
    }
    std::memcpy(folder_path, path, length);
    folder_path[length] = '\0';
    const bool found = has_entry_with(folder_path, mark + sizeof kPatternMark - 1);
    std::free(folder_path);
    return found;
}

}  // namespace
}  // namespace common::folder

using namespace common;
using namespace common::folder;

extern "C" {

uint32_t UTIL_FileExists(const char* path)
{
    const UncancelledScope uncancelled;
    const char* const mark = path == nullptr ? nullptr : std::strstr(path, kPatternMark);
    if (mark != nullptr) {
        return pattern_exists(path, mark) ? 1 : 0;
    }
    return S_ISREG(type_of(path)) ? 1 : 0;
}

uint32_t UTIL_DirExists(const char* path)
{
    const UncancelledScope uncancelled;
    return S_ISDIR(type_of(path)) ? 1 : 0;
}

int32_t UTIL_DeleteFile(const char* path)
{
    const UncancelledScope uncancelled;
    // Oddity: callers take what is no regular file, or is not there, as removed.
    // Test: Folder.WhatIsNoFileIsNotRemoved.
    return UTIL_FileExists(path) == 0 || unlink(path) == 0 ? 0 : errno;
}

STATUS UTIL_CreateFolderRecursive(const char* path, mode_t mode)
{
    if (are_invalid(kSource, path == nullptr || *path == '\0')) {
        return STATUS_INVALID_PARAM;
    }
    const UncancelledScope uncancelled;
    char prefix[kPathSize + 1];  // with a slash at its end
    std::size_t length = strnlen(path, kPathSize - 1);
    std::memcpy(prefix, path, length);
    if (prefix[length - 1] != '/') {
        prefix[length++] = '/';
    }
    prefix[length] = '\0';
    for (char* slash = std::strchr(prefix, '/'); slash != nullptr;
         slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        if (*prefix != '\0' && UTIL_DirExists(prefix) == 0 && mkdir(prefix, mode) != 0) {
            COMMON_REPORT(kSource, Error, "mkdir() failed creating folder %s: %s.", prefix,
                          std::strerror(errno));
            return STATUS_FAILED;
        }
        *slash = '/';
    }
    return STATUS_SUCCESS;
}

}  // extern "C"
