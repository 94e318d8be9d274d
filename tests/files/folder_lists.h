/**
 * @file folder_lists.h
 * Lists of folders (common.h) that release themselves, and files to be listed.
 */
#ifndef TESTS_FOLDER_LISTS_H
#define TESTS_FOLDER_LISTS_H

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <dirent.h>
#include <gmock/gmock.h>

#include "common.h"
#include "fresh_process.h"
#include "log_matchers.h"

namespace bench {

/** A list, and how it came about. */
class FolderList {
public:
    explicit FolderList(const char* folder, const char* regex = nullptr,
                        int32_t filter = UTIL_FOLDER_ITEMS_ALL)
        : status(UTIL_GetFolderItems(folder, regex, filter, &items))
    {
    }
    ~FolderList() { EXPECT_EQ(UTIL_ReleaseFolderItems(&items), 100U); }
    FolderList(const FolderList&) = delete;
    FolderList& operator=(const FolderList&) = delete;

    std::vector<std::string> names() const
    {
        return items.count == 0 ? std::vector<std::string>{}
                                : std::vector<std::string>(items.items, items.items + items.count);
    }

    /** Whether it is as it is when nothing was kept. */
    bool is_empty() const { return items.items == nullptr && items.count == 0; }

    // What a call leaves alone shows as this.
    UTIL_FolderItems items{nullptr, 77};
    STATUS status;
};

/** Makes a file, and the folders above it. */
inline void make_file(const std::string& path, const std::string& content = "")
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << content;
}

/** The names of a folder's entries in its own order. */
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

/** The function that reports whatever goes wrong while a folder is listed. */
inline constexpr char kListing[] = "UTIL_GetFolderItems";

inline constexpr char kInvalid[] = "One or more invalid parameters are detected!";

inline auto warning(const char* function, const std::string& message)
{
    return record(COMMON_LogLevelWarn, "COMMON", "common", function, message);
}

/** Runs a body in a fresh process that must neither log nor print anything. */
inline void run_silently(const std::function<void()>& body)
{
    const Outcome outcome = run_fresh(body);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, testing::IsEmpty());
    EXPECT_EQ(outcome.out + outcome.err, "");
}

}  // namespace bench

#endif
