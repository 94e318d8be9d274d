// What a listing does where memory or an expression is refused and the process goes on; where a
// folder has no entries for itself and its parent, has one without a name, or does not say of what
// type its entries are; and where a folder is opened whatever its path is. The library's own
// allocation never does that, nor does a usual system, so this program puts itself between them.
#include "common.h"

#include <functional>
#include <string_view>

#include <dirent.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "folder_lists.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "mem_malloc.h"
#include "regexp.h"

namespace {

enum class Refused { Nothing, Malloc, Salloc, Realloc, Expression };

/// What is refused from now on, after so many more calls of it.
Refused refused = Refused::Nothing;
int granted = 0;

/// Blocks that were granted and not given back.
int blocks = 0;

void* counted(void* block)
{
    blocks += block != nullptr ? 1 : 0;
    return block;
}

/// Whether folders have "." and "..", as they have in most file systems.
bool has_dots = true;

/// Whether folders say of what type their entries are.
bool has_types = true;

/// Whether the file called "nameless" has no name.
bool has_nameless = false;

/// The folder that is opened instead of any other.
const char* opened_instead = nullptr;

/// The size that the last call for another size asked for.
std::uint32_t asked_for = 0;

bool is_refused(Refused what)
{
    return refused == what && granted-- <= 0;
}

}  // namespace

// The linker calls __wrap_NAME instead of a wrapped function, which is then __real_NAME.
extern "C" void* real_malloc(uint32_t size) __asm__("__real_MEM_Malloc");
extern "C" void* real_salloc(uint32_t size) __asm__("__real_MEM_Salloc");
extern "C" void* real_realloc(void* block, uint32_t size) __asm__("__real_MEM_Realloc");
extern "C" void real_free(void* block) __asm__("__real_MEM_Free");
extern "C" RegExp* real_new(const char* pattern, uint32_t flag) __asm__("__real_RegExp_New");
extern "C" void* malloc_if_granted(uint32_t size) __asm__("__wrap_MEM_Malloc");
extern "C" void* salloc_if_granted(uint32_t size) __asm__("__wrap_MEM_Salloc");
extern "C" void* realloc_if_granted(void* block, uint32_t size) __asm__("__wrap_MEM_Realloc");
extern "C" void counting_free(void* block) __asm__("__wrap_MEM_Free");
extern "C" RegExp* new_if_granted(const char* pattern, uint32_t flag) __asm__("__wrap_RegExp_New");

extern "C" dirent* real_readdir(DIR* folder) __asm__("__real_readdir64");
extern "C" dirent* readdir_of_plain_folder(DIR* folder) __asm__("__wrap_readdir64");
extern "C" DIR* real_opendir(const char* path) __asm__("__real_opendir");
extern "C" DIR* opendir_of_any(const char* path) __asm__("__wrap_opendir");

void* malloc_if_granted(uint32_t size)
{
    return is_refused(Refused::Malloc) ? nullptr : counted(real_malloc(size));
}

void* salloc_if_granted(uint32_t size)
{
    return is_refused(Refused::Salloc) ? nullptr : counted(real_salloc(size));
}

void* realloc_if_granted(void* block, uint32_t size)
{
    asked_for = size;
    return is_refused(Refused::Realloc) ? nullptr : real_realloc(block, size);
}

void counting_free(void* block)
{
    blocks -= block != nullptr ? 1 : 0;
    real_free(block);
}

RegExp* new_if_granted(const char* pattern, uint32_t flag)
{
    return is_refused(Refused::Expression) ? nullptr : real_new(pattern, flag);
}

dirent* readdir_of_plain_folder(DIR* folder)
{
    dirent* entry = real_readdir(folder);
    while (!has_dots && entry != nullptr && entry->d_name[0] == '.') {
        entry = real_readdir(folder);
    }
    if (!has_types && entry != nullptr) {
        entry->d_type = DT_UNKNOWN;
    }
    if (has_nameless && entry != nullptr && std::string_view(entry->d_name) == "nameless") {
        entry->d_name[0] = '\0';
    }
    return entry;
}

DIR* opendir_of_any(const char* path)
{
    return real_opendir(opened_instead != nullptr ? opened_instead : path);
}

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using harness::said;

/// What a refusal makes the listing say.
Report said(const std::string& message)
{
    return said(COMMON_LogLevelError, kListing, message);
}

/// Runs a body with 25 entries in "/tmp/d" in which something is refused after so many calls.
Outcome run_refusing(Refused what, int count, const std::function<void()>& body)
{
    return well([&] {
        for (int i = 0; i < 23; ++i) {
            make_file("/tmp/d/" + std::to_string(i));
        }
        refused = what;
        granted = count;
        body();
        refused = Refused::Nothing;
        EXPECT_EQ(blocks, 0) << "every one is given back";
    });
}

TEST(FolderRefused, NoArray)
{
    const Outcome outcome = run_refusing(Refused::Salloc, 0, [] {
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.status, STATUS_FAILED);
        EXPECT_TRUE(list.is_empty());
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("Not enough memory for the output data!")));
}

TEST(FolderRefused, NoExpression)
{
    const Outcome outcome = run_refusing(Refused::Expression, 0, [] {
        const FolderList list("/tmp/missing", "x");
        EXPECT_EQ(list.status, STATUS_FAILED);
        EXPECT_TRUE(list.is_empty());
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("RegExp_New() failed!")));
}

TEST(FolderRefused, NoCopyOfTheFirstName)
{
    const Outcome outcome = run_refusing(Refused::Malloc, 0, [] {
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.status, STATUS_FAILED);
        EXPECT_TRUE(list.is_empty());
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("Cannot be allocated memory!")));
}

TEST(FolderRefused, NoCopyOfALaterNameKeepsThoseBefore)
{
    const Outcome outcome = run_refusing(Refused::Malloc, 12, [] {
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.status, STATUS_FAILED);
        std::vector<std::string> expected = names_in_order("/tmp/d");
        expected.resize(12);
        EXPECT_THAT(list.names(), testing::ElementsAreArray(expected));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("Cannot be allocated memory!")));
}

TEST(FolderRefused, NoMoreSlotsLoseTheNames)
{
    for (const int grown : {0, 1}) {
        const Outcome outcome = run_refusing(Refused::Realloc, grown, [&] {
            const FolderList list("/tmp/d");
            EXPECT_EQ(list.status, STATUS_FAILED);
            EXPECT_TRUE(list.is_empty());
            EXPECT_EQ(asked_for, (grown == 0 ? 20 : 30) * sizeof(char*));
        });
        EXPECT_THAT(outcome.log, ElementsAre(said("Memory reallocation failed!")));
    }
}

TEST(FolderRefused, ListThatCannotBeCutToSizeLosesTheNames)
{
    const Outcome outcome = run_refusing(Refused::Realloc, 2, [] {
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.status, STATUS_FAILED);
        EXPECT_TRUE(list.is_empty());
        EXPECT_EQ(asked_for, 25 * sizeof(char*));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("Memory reallocation failed!")));
}

TEST(FolderRefused, NothingIsRefusedBeyondThat)
{
    const Outcome outcome = run_refusing(Refused::Realloc, 3, [] {
        EXPECT_EQ(FolderList("/tmp/d").items.count, 25U);
        EXPECT_EQ(granted, 0);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

// As on file systems that keep the type with the file only.
FRESH_TEST(FolderRefused, EntryOfUnknownTypeIsExamined)
{
    make_file("/tmp/d/file");
    make_file("/tmp/d/folder/x");
    std::filesystem::create_symlink("folder", "/tmp/d/link");
    has_types = false;
    EXPECT_THAT(FolderList("/tmp/d", nullptr, UTIL_FOLDER_ITEMS_FILES).names(),
                ElementsAre("file"));
    EXPECT_THAT(FolderList("/tmp/d", nullptr, UTIL_FOLDER_ITEMS_FOLDERS).names(),
                UnorderedElementsAre(".", "..", "folder", "link"));
}

FRESH_TEST(FolderRefused, EntryWithoutANameIsLeftOut)
{
    make_file("/tmp/d/file");
    make_file("/tmp/d/nameless");
    has_nameless = true;
    EXPECT_THAT(FolderList("/tmp/d").names(), UnorderedElementsAre(".", "..", "file"));
    EXPECT_THAT(FolderList("/tmp/d", nullptr, UTIL_FOLDER_ITEMS_FILES).names(),
                ElementsAre("file"));
}

// As on systems where an empty path is that of the current folder.
FRESH_TEST(FolderRefused, EmptyPathGetsNoSlash)
{
    make_file("/tmp/d/file");
    std::filesystem::current_path("/tmp/d");
    opened_instead = "/tmp/d";
    has_types = false;
    EXPECT_THAT(FolderList("", nullptr, UTIL_FOLDER_ITEMS_FILES).names(), ElementsAre("file"));
}

// AddressSanitizer notices when more is written than has room.
TEST(FolderRefused, PathThatLeavesNoRoomForNamesEndsTheListing)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        opened_instead = "/tmp/d";
        for (const std::size_t length : {4096U, 4097U, 10'000U}) {
            const std::string path(length, 'n');
            const FolderList list(path.c_str(), nullptr, UTIL_FOLDER_ITEMS_FILES);
            EXPECT_EQ(list.status, STATUS_FAILED);
            EXPECT_TRUE(list.is_empty());
        }
    });
    ASSERT_EQ(outcome.log.size(), 3U);
    EXPECT_THAT(outcome.log[2].text, testing::HasSubstr("stat(nnn"));
}

// Also a file is examined when it comes first: it tells whether any entry can be reached.
TEST(FolderRefused, FirstEntryIsExaminedWhateverItIs)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        ASSERT_EQ(chmod("/tmp/d", 0644), 0);
        has_dots = false;
        list_without_privileges("/tmp/d", UTIL_FOLDER_ITEMS_FILES);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/file) failed!")));
}

}  // namespace
