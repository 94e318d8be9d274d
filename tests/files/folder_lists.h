// Lists of folders (common.h) that release themselves, and files to be listed.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <gmock/gmock.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common.h"
#include "fresh_process.h"
#include "log_expect.h"

namespace harness {

/// A list, and how it came about.
class FolderList {
public:
    explicit FolderList(const char* folder, const char* regex = nullptr,
                        int32_t filter = UTIL_FOLDER_ITEMS_ALL)
        : status(UTIL_GetFolderItems(folder, regex, filter, &items))
    {
    }
    ~FolderList() { EXPECT_EQ(UTIL_ReleaseFolderItems(&items), STATUS_SUCCESS); }
    FolderList(const FolderList&) = delete;
    FolderList& operator=(const FolderList&) = delete;

    std::vector<std::string> names() const
    {
        return items.count == 0 ? std::vector<std::string>{}
                                : std::vector<std::string>(items.items, items.items + items.count);
    }

    /// Whether it is as it is when nothing was kept.
    bool is_empty() const { return items.items == nullptr && items.count == 0; }

    // What a call leaves alone shows as this.
    UTIL_FolderItems items{nullptr, 77};
    STATUS status;
};

/// Makes a file, and the folders above it.
inline void make_file(const std::string& path, const std::string& content = "")
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << content;
}

/// A path of folders with names of 99 letters, so long in all.
inline std::string long_path(std::size_t length)
{
    std::string path = "/tmp";
    while (path.size() + 1 < length) {
        path += "/" + std::string(std::min<std::size_t>(99, length - path.size() - 1), 'n');
    }
    EXPECT_EQ(path.size(), length);
    return path;
}

/// The names of a folder's entries in its own order.
inline std::vector<std::string> names_in_order(const char* path)
{
    std::vector<std::string> names;
    DIR* const folder = opendir(path);
    if (folder == nullptr) {
        ADD_FAILURE() << path;
        return names;
    }
    while (const dirent* entry = readdir(folder)) {
        names.emplace_back(entry->d_name);
    }
    closedir(folder);
    return names;
}

/// Lists a folder without special rights, such as root has.
inline void list_without_privileges(const char* folder, std::int32_t filter)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct before[2];
    ASSERT_EQ(syscall(SYS_capget, &header, before), 0);
    __user_cap_data_struct none[2] = {before[0], before[1]};
    none[0].effective = none[1].effective = 0;
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
    const FolderList list(folder, nullptr, filter);
    EXPECT_EQ(syscall(SYS_capset, &header, before), 0);
    EXPECT_EQ(list.status, STATUS_FAILED);
    EXPECT_TRUE(list.is_empty());
}

/// The function that reports whatever goes wrong while a folder is listed.
inline constexpr char kListing[] = "UTIL_GetFolderItems";

inline constexpr char kInvalid[] = "One or more invalid parameters are detected!";

inline Report said(COMMON_LogLevel_t level, const std::string& function, const std::string& message)
{
    return said(level, "COMMON", "common", function, message);
}

}  // namespace harness
