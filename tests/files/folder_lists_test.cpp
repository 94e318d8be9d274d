// Lists of a folder's entries: empty ones, failures, memory, and what is done with a list.
#include "common.h"

#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>

#include "fault.h"
#include "folder_lists.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "mem_malloc.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

namespace fs = std::filesystem;

constexpr auto kFiles = UTIL_FOLDER_ITEMS_FILES;
constexpr auto kFolders = UTIL_FOLDER_ITEMS_FOLDERS;
constexpr char kByIndex[] = "UTIL_GetFolderItemByIndex";

// ---------------------------------------------------------------------------------- nothing there

TEST(FolderItems, NothingKeptIsAnEmptyList)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        FolderList list("/tmp/d", "nothing like it");
        EXPECT_EQ(list.status, STATUS_SUCCESS);
        EXPECT_TRUE(list.is_empty());
        std::uint32_t count = 77;
        EXPECT_EQ(UTIL_GetFolderItemsCount(&list.items, &count), STATUS_SUCCESS);
        EXPECT_EQ(count, 0U);
        char name[8] = "kept";
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, name, sizeof name), STATUS_FAILED);
        EXPECT_STREQ(name, "kept");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelWarn, kByIndex,
                                              "The specified index is out of range!")));
}

TEST(FolderItems, FolderThatCannotBeOpenedIsReported)
{
    const Outcome outcome = well([] {
        make_file("/tmp/file");
        for (const char* folder : {"/tmp/missing", "/tmp/file", ""}) {
            const FolderList list(folder, "x");
            EXPECT_EQ(list.status, STATUS_FAILED);
            EXPECT_TRUE(list.is_empty());
        }
        fault::fail(Call::opendir, 1, EMFILE);
        EXPECT_EQ(FolderList("/tmp").status, STATUS_FAILED);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said(COMMON_LogLevelWarn, kListing, "opendir(\"/tmp/missing\") failed!"),
                    said(COMMON_LogLevelWarn, kListing, "opendir(\"/tmp/file\") failed!"),
                    said(COMMON_LogLevelWarn, kListing, "opendir(\"\") failed!"),
                    said(COMMON_LogLevelWarn, kListing, "opendir(\"/tmp\") failed!")));
}

// The C library tells both in the same way.
FRESH_TEST(FolderItems, FolderThatCannotBeReadOnHasComeToItsEnd)
{
    make_file("/tmp/d/file");
    make_file("/tmp/d/other");
    fault::fail_from(Call::readdir, 3, EIO);
    const FolderList list("/tmp/d");
    EXPECT_EQ(list.status, STATUS_SUCCESS);
    EXPECT_EQ(list.items.count, 2U);
}

TEST(FolderItems, MissingArgumentsAreReportedAndLeaveTheListAlone)
{
    const Outcome outcome = well([] {
        UTIL_FolderItems items{nullptr, 77};
        EXPECT_EQ(UTIL_GetFolderItems(nullptr, nullptr, 0, &items), STATUS_INVALID_PARAM);
        EXPECT_EQ(items.count, 77U);
        EXPECT_EQ(UTIL_GetFolderItems("/tmp", nullptr, 0, nullptr), STATUS_INVALID_PARAM);
        EXPECT_EQ(UTIL_GetFolderItems(nullptr, "(", 0, nullptr), STATUS_INVALID_PARAM);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelError, kListing, kInvalid),
                                         said(COMMON_LogLevelError, kListing, kInvalid),
                                         said(COMMON_LogLevelError, kListing, kInvalid)));
}

// ----------------------------------------------------------------------------------------- memory

class FolderItemsCount : public testing::TestWithParam<int> {};

TEST_P(FolderItemsCount, EveryNameIsThereOnce)
{
    run_silently([] {
        const int files = GetParam();
        fs::create_directory("/tmp/d");
        for (int i = 0; i < files; ++i) {
            make_file("/tmp/d/" + std::to_string(i));
        }
        const FolderList list("/tmp/d", "\\d");
        EXPECT_EQ(list.items.count, static_cast<std::uint32_t>(files));
        std::vector<std::string> expected = names_in_order("/tmp/d");
        std::erase(expected, ".");
        std::erase(expected, "..");
        EXPECT_THAT(list.names(), ElementsAreArray(expected));
    });
}

INSTANTIATE_TEST_SUITE_P(Sizes, FolderItemsCount,
                         testing::Values(1, 9, 10, 11, 20, 21, 99, 100, 101, 199, 200, 201, 1000),
                         testing::PrintToStringParamName());

// Ten slots, twenty, thirty, and then the twenty-five that are needed.
FRESH_TEST(FolderItems, ListGrowsByTenSlotsAndIsCutToSize)
{
    for (int i = 0; i < 23; ++i) {
        make_file("/tmp/d/" + std::to_string(i));
    }
    fault::reset();
    const FolderList list("/tmp/d");
    EXPECT_EQ(list.items.count, 25U);
    EXPECT_EQ(fault::calls(Call::realloc), 3);
}

FRESH_TEST(FolderItems, FullListIsNotCut)
{
    for (int i = 0; i < 8; ++i) {
        make_file("/tmp/d/" + std::to_string(i));
    }
    fault::reset();
    EXPECT_EQ(FolderList("/tmp/d").items.count, 10U);
    EXPECT_EQ(fault::calls(Call::realloc), 0);
}

FRESH_TEST(FolderItems, LongListGrowsInFewSteps)
{
    for (int i = 0; i < 10'000; ++i) {
        make_file("/tmp/d/" + std::to_string(i));
    }
    fault::reset();
    EXPECT_EQ(FolderList("/tmp/d").items.count, 10'002U);
    EXPECT_LT(fault::calls(Call::realloc), 40);
}

TEST(FolderItems, EveryBlockIsGivenBack)
{
    well([] {
        make_file("/tmp/d/file");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        EXPECT_EQ(FolderList("/tmp/missing").status, STATUS_FAILED);
        const long blocks = fault::outstanding_blocks();
        EXPECT_EQ(FolderList("/tmp/d").status, STATUS_SUCCESS);
        EXPECT_EQ(FolderList("/tmp/d", "nothing like it").status, STATUS_SUCCESS);
        EXPECT_EQ(FolderList("/tmp/d", "i", kFiles).status, STATUS_FAILED);
        EXPECT_EQ(FolderList("/tmp/d", "i", kFolders).status, STATUS_FAILED);
        EXPECT_EQ(FolderList("/tmp/missing", "x").status, STATUS_FAILED);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
        {
            const FolderList list("/tmp/d");
            EXPECT_EQ(fault::outstanding_blocks(), blocks + 5) << "four names and their array";
        }
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
}

TEST(FolderItems, RunningOutOfMemoryEndsTheProcess)
{
    EXPECT_THAT(run_fresh([] {
                    fault::fail(Call::malloc);
                    EXPECT_EQ(FolderList("/tmp").status, STATUS_SUCCESS);
                }),
                exited(1));
    EXPECT_THAT(run_fresh([] {
                    fault::fail(Call::malloc, 2);
                    EXPECT_EQ(FolderList("/tmp").status, STATUS_SUCCESS);
                }),
                exited(1));
    EXPECT_THAT(run_fresh([] {
                    fault::fail(Call::realloc);
                    EXPECT_EQ(FolderList("/tmp").status, STATUS_SUCCESS);
                }),
                exited(1));
}

// ------------------------------------------------------------------------------------- using lists

TEST(FolderItems, CountIsGiven)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        const FolderList list("/tmp/d");
        std::uint32_t count = 77;
        EXPECT_EQ(UTIL_GetFolderItemsCount(&list.items, &count), STATUS_SUCCESS);
        EXPECT_EQ(count, 3U);
        count = 77;
        EXPECT_EQ(UTIL_GetFolderItemsCount(nullptr, &count), STATUS_INVALID_PARAM);
        EXPECT_EQ(count, 77U);
        EXPECT_EQ(UTIL_GetFolderItemsCount(&list.items, nullptr), STATUS_INVALID_PARAM);
    });
    const auto invalid = said(COMMON_LogLevelError, "UTIL_GetFolderItemsCount", kInvalid);
    EXPECT_THAT(outcome.log, ElementsAre(invalid, invalid));
}

FRESH_TEST(FolderItems, NameIsCopiedAsStrncpyDoes)
{
    make_file("/tmp/d/name");
    const FolderList list("/tmp/d", "name");
    for (const std::uint32_t size : {5U, 6U, 12U}) {
        char buffer[16];
        std::memset(buffer, 'x', sizeof buffer);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, size), STATUS_SUCCESS);
        const std::string expected =
            "name" + std::string(size - 4, '\0') + std::string(sizeof buffer - size, 'x');
        EXPECT_EQ(std::string(buffer, sizeof buffer), expected);
    }
}

TEST(FolderItems, BufferThatIsTooSmallIsEmptied)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/name");
        const FolderList list("/tmp/d", "name");
        for (const std::uint32_t size : {4U, 1U}) {
            char buffer[8] = "before";
            EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, size), STATUS_FAILED);
            EXPECT_EQ(std::string(buffer, 7), std::string("\0efore\0", 7));
        }
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelWarn, kByIndex,
                                              "Insufficient buffer, Required: 5, Given: 4"),
                                         said(COMMON_LogLevelWarn, kByIndex,
                                              "Insufficient buffer, Required: 5, Given: 1")));
}

TEST(FolderItems, IndexMustBeThatOfAName)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/name");
        FolderList list("/tmp/d", "name");
        char buffer[8] = "before";
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 1, buffer, sizeof buffer), STATUS_FAILED);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, UINT32_MAX, buffer, 1), STATUS_FAILED);
        MEM_Free(list.items.items[0]);
        list.items.items[0] = nullptr;
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, sizeof buffer), STATUS_FAILED);
        char text[] = "x";
        char* slots[] = {text, text};
        const UTIL_FolderItems longer_array{slots, 1};
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&longer_array, 1, buffer, sizeof buffer),
                  STATUS_FAILED);
        const UTIL_FolderItems without_names{nullptr, 3};
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&without_names, 0, buffer, sizeof buffer),
                  STATUS_FAILED);
        EXPECT_STREQ(buffer, "before");
    });
    const auto out_of_range =
        said(COMMON_LogLevelWarn, kByIndex, "The specified index is out of range!");
    EXPECT_THAT(outcome.log,
                ElementsAre(out_of_range, out_of_range, out_of_range, out_of_range, out_of_range));
}

TEST(FolderItems, MissingArgumentsOfACopyAreReported)
{
    const Outcome outcome = well([] {
        const FolderList list("/tmp");
        char buffer[8] = "before";
        EXPECT_EQ(UTIL_GetFolderItemByIndex(nullptr, 0, buffer, sizeof buffer),
                  STATUS_INVALID_PARAM);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, nullptr, 8), STATUS_INVALID_PARAM);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, 0), STATUS_INVALID_PARAM);
        EXPECT_STREQ(buffer, "before");
    });
    const auto invalid = said(COMMON_LogLevelError, kByIndex, kInvalid);
    EXPECT_THAT(outcome.log, ElementsAre(invalid, invalid, invalid));
}

FRESH_TEST(FolderItems, ReleasedListIsEmptyAndMayBeReleasedAgain)
{
    UTIL_FolderItems items{nullptr, 0};
    EXPECT_EQ(UTIL_GetFolderItems("/tmp", nullptr, 0, &items), STATUS_SUCCESS);
    EXPECT_EQ(UTIL_ReleaseFolderItems(&items), STATUS_SUCCESS);
    EXPECT_EQ(items.items, nullptr);
    EXPECT_EQ(items.count, 0U);
    EXPECT_EQ(UTIL_ReleaseFolderItems(&items), STATUS_SUCCESS);
}

FRESH_TEST(FolderItems, ListWithoutNamesIsLeftAlone)
{
    char* slots[1] = {nullptr};
    UTIL_FolderItems no_count{slots, 0};
    EXPECT_EQ(UTIL_ReleaseFolderItems(&no_count), STATUS_SUCCESS);
    EXPECT_EQ(no_count.items, slots);
    UTIL_FolderItems no_array{nullptr, 3};
    EXPECT_EQ(UTIL_ReleaseFolderItems(&no_array), STATUS_SUCCESS);
    EXPECT_EQ(no_array.count, 3U);
}

TEST(FolderItems, NothingToReleaseIsReported)
{
    const Outcome outcome =
        well([] { EXPECT_EQ(UTIL_ReleaseFolderItems(nullptr), STATUS_INVALID_PARAM); });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelError, "UTIL_ReleaseFolderItems", kInvalid)));
}

}  // namespace
