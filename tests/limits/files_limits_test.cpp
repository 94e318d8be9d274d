// A folder of a million entries, and a partition as deep as it may be.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "common.h"
#include "flash_safety.h"
#include "limits.h"
#include "oxa_file.h"

using namespace harness;

namespace {

// A folder of very many entries.

constexpr char kFolder[] = "/tmp/many";
constexpr char kContent[] = "content";

std::string name_of(int entry)
{
    char name[32];
    std::snprintf(name, sizeof name, "track_%07d.mp3", entry);
    return name;
}

/// The same with its folder.
std::string path_of(int entry)
{
    return std::string(kFolder) + '/' + name_of(entry);
}

/// Makes entries from the first number on; links of one file, which take little memory.
void fill_folder(int first, int end)
{
    for (int entry = first; entry < end; ++entry) {
        ASSERT_EQ(link(path_of(0).c_str(), path_of(entry).c_str()), 0);
    }
}

/// A file system in memory that takes as many entries as there is memory for.
void make_folder()
{
    std::filesystem::create_directory(kFolder);
    ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, "nr_inodes=0"), 0);
    std::ofstream(path_of(0)) << kContent;
}

/// What a listing keeps.
struct Listing {
    UTIL_FolderItems items{};

    explicit Listing(const char* pattern, std::int32_t filter = UTIL_FOLDER_ITEMS_ALL)
    {
        EXPECT_EQ(UTIL_GetFolderItems(kFolder, pattern, filter, &items), STATUS_SUCCESS);
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;
    ~Listing() { UTIL_ReleaseFolderItems(&items); }

    std::int64_t count() const { return items.count; }
};

double list_ns()
{
    return processor_ns([] { const Listing files("_[0-9]+[.]mp3$", UTIL_FOLDER_ITEMS_FILES); });
}

/// How many names are copied out of a list, each of which is there once.
int names_once(const UTIL_FolderItems& items, int entries)
{
    std::vector<bool> seen(static_cast<std::size_t>(entries));
    int once = 0;
    for (std::uint32_t i = 0; i < items.count; ++i) {
        char name[64];
        int entry = -1;
        if (UTIL_GetFolderItemByIndex(&items, i, name, sizeof name) == STATUS_SUCCESS &&
            std::sscanf(name, "track_%7d", &entry) == 1 && entry >= 0 && entry < entries &&
            name == name_of(entry) && !seen[static_cast<std::size_t>(entry)]) {
            seen[static_cast<std::size_t>(entry)] = true;
            ++once;
        }
    }
    return once;
}

void list_many(const std::string& loaded, int entries)
{
    const std::int64_t before = heap_bytes();
    std::int64_t in_use = 0;
    {
        const Listing all(nullptr);
        in_use = heap_bytes();
        const double each = static_cast<double>(in_use - before) / entries;
        promise(loaded, "a list has every entry", counted(all.count() - 2, entries),
                all.count() - 2 == entries);
        promise(loaded, "a name is a block of its own, and a pointer",
                bytes(each) + " each, for a name of " +
                    bytes(static_cast<double>(name_of(0).size() + 1)),
                each < static_cast<double>(name_of(0).size()) + 32 + sizeof(char*));
        const int once = names_once(all.items, entries);
        promise(loaded, "each name is copied by its index", counted(once, entries),
                once == entries);
    }
    promise_given_back(loaded, "the list is released with all names", before, in_use);
}

void filter_many(const std::string& loaded, int entries)
{
    const Listing files(nullptr, UTIL_FOLDER_ITEMS_FILES);
    const Listing folders(nullptr, UTIL_FOLDER_ITEMS_FOLDERS);
    const Listing tenth("7[.]mp3$", UTIL_FOLDER_ITEMS_FILES);
    promise(loaded, "a filter keeps files or folders, an expression what it matches",
            counted(files.count(), entries) + " files, " + counted(folders.count(), 2) +
                " folders, " + counted(tenth.count(), entries / 10) + " matches",
            files.count() == entries && folders.count() == 2 && tenth.count() == entries / 10);
}

void look_for_many(const std::string& loaded, int entries)
{
    std::int64_t found = 0;
    std::int64_t of_that_size = 0;
    for (int entry = 0; entry < entries; ++entry) {
        const std::string path = path_of(entry);
        found += UTIL_FileExists(path.c_str());
        of_that_size += FILE_GetFileSizeByName(path.c_str()) == sizeof kContent - 1 ? 1 : 0;
    }
    const std::string folder = kFolder;
    const std::uint32_t patterns = UTIL_FileExists((folder + "/*._0000000.").c_str()) +
                                   UTIL_FileExists((folder + "/*." + name_of(entries)).c_str());
    promise(loaded, "each is found, with its size, and a pattern finds what is there",
            counted(found, entries) + " found, " + counted(of_that_size, entries) + " sizes, " +
                number(patterns) + " of 2 patterns",
            found == entries && of_that_size == entries && patterns == 1);
}

void remove_many(const std::string& loaded, int entries)
{
    std::int64_t removed = 0;
    for (int entry = 0; entry < entries; ++entry) {
        removed += UTIL_DeleteFile(path_of(entry).c_str()) == 0 ? 1 : 0;
    }
    const bool empty = std::filesystem::is_empty(kFolder);
    promise(loaded, "each is removed",
            counted(removed, entries) + (empty ? ", none is left" : ", some are left"),
            removed == entries && empty);
}

TEST(FolderLimits, MillionEntriesAreListedFoundAndRemoved)
{
    const int entries = load(10'000, 1'000'000);
    run_silently(load_setup(), [=] {
        const std::string loaded = "a folder of " + number(entries) + " files";
        const int few = entries / 100;
        make_folder();
        fill_folder(1, few);
        const double with_few = list_ns();
        fill_folder(few, entries);
        const double growth = list_ns() / with_few;
        promise(loaded, "a long list grows in few steps",
                times(growth) + " the time of a folder of " + number(few), growth < 100 * 6);
        list_many(loaded, entries);
        filter_many(loaded, entries);
        look_for_many(loaded, entries);
        remove_many(loaded, entries);
        ASSERT_EQ(umount2(kFolder, MNT_DETACH), 0);
    });
}

TEST(FolderLimits, LongestPathIsMade)
{
    run_silently(load_setup(), [] {
        std::string path = "/tmp";
        int levels = 0;
        for (; path.size() + 2 <= 4'095; path += "/d") {
            ++levels;
        }
        const bool made = UTIL_CreateFolderRecursive(path.c_str(), 0700) == STATUS_SUCCESS;
        const bool there = UTIL_DirExists(path.c_str()) == 1;
        promise(number(levels) + " folders inside one another, a path of " +
                    number(static_cast<std::int64_t>(path.size())) + " characters",
                "a path may have 4095", made && there ? "all are made" : "not all are made",
                made && there);
    });
}

// A partition.

const std::map<std::string, std::string> kFlashParameters{
    {"FLASH_START_BOOT_SIZE", "1024"},       {"FLASH_START_ROOT_SIZE", "1024"},
    {"FLASH_START_CONFIG_MFG_SIZE", "1024"}, {"FLASH_START_CONFIG_SIZE", "1024"},
    {"FLASH_START_LOG_SIZE", "1024"},        {"FLASH_START_DRIVER_NAME", "driver"},
    {"FLASH_START_DRIVER_OPTIONS", "-o"}};

/// How a deep check of the partition /config ended.
struct Check {
    std::uint32_t done = 0;
    std::uint32_t corrupt = 2;

    void run() { done = FLASHSAFE_CheckPartition(2, 1, 0, &corrupt); }
};

/// Lets the process open so many descriptors more.
void allow_descriptors(int more)
{
    const std::filesystem::directory_iterator open("/proc/self/fd");
    const auto held = std::distance(begin(open), end(open)) - 1;  // without that folder itself
    rlimit descriptors{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
    descriptors.rlim_cur = static_cast<rlim_t>(held + more);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &descriptors), 0);
}

TEST(FlashLimits, DeepestPartitionIsChecked)
{
    const int files = load(10, 2'000);
    FreshSetup setup = load_setup();
    setup.env = kFlashParameters;
    const Outcome outcome = well(setup, [=] {
        constexpr int kLevels = 98;
        const std::string loaded = number(kLevels) + " folders inside one another, with " +
                                   number(files) + " files in each";
        Check flat;
        // This one reads the parameters, too.
        const double stack_of_flat = stack_bytes([&] { flat.run(); });
        EXPECT_EQ(flat.corrupt, 0U);
        std::string folder = "/config";
        for (int level = 0; level <= kLevels; ++level) {
            for (int file = 0; file < files; ++file) {
                std::ofstream(folder + "/" + std::to_string(file));
            }
            if (level < kLevels) {
                folder += "/d";
                std::filesystem::create_directory(folder);
            }
        }
        allow_descriptors(kLevels + 1);
        Check deep;
        const double stack = stack_bytes([&] { deep.run(); });
        promise(loaded, "a folder for each level is open, and the partition is sound",
                deep.corrupt == 0 ? "sound, with " + number(kLevels + 1) + " descriptors to spare"
                                  : "not sound",
                deep.done == 1 && deep.corrupt == 0);
        promise(loaded, "the check takes less than 64 KiB of stack",
                bytes(stack) + ", and " + bytes(stack_of_flat) + " for an empty partition",
                stack < 65'536);
        std::filesystem::create_directory(folder + "/d");
        Check too_deep;
        too_deep.run();
        promise("a folder more inside these", "folders nested more than 98 levels are corrupt",
                too_deep.corrupt == 1 ? "corrupt" : "sound", too_deep.corrupt == 1);
    });
    EXPECT_TRUE(std::any_of(outcome.log.begin(), outcome.log.end(), [](const LogRecord& record) {
        return record.text.ends_with("Too many directory levels (99), assuming corruption");
    }));
}

}  // namespace
