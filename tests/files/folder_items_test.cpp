// Lists of a folder's entries: what is kept, what is reported, what is given back.
#include "common.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <functional>

#include <gmock/gmock.h>
#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include "fault.h"
#include "folder_lists.h"
#include "fresh_process.h"
#include "log_matchers.h"
#include "mem_malloc.h"

using namespace bench;
using fault::Call;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

constexpr auto kFiles = UTIL_FOLDER_ITEMS_FILES;
constexpr auto kFolders = UTIL_FOLDER_ITEMS_FOLDERS;

/** Runs a body in a fresh process that must neither log nor print anything. */
void run_silently(const std::function<void()>& body)
{
    const Outcome outcome = run_fresh(body);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_EQ(outcome.out + outcome.err, "");
}

auto error(const char* function, const std::string& message)
{
    return record(COMMON_LogLevelError, "COMMON", "common", function, message);
}

auto warning(const char* function, const std::string& message)
{
    return record(COMMON_LogLevelWarn, "COMMON", "common", function, message);
}

constexpr char kInvalid[] = "One or more invalid parameters are detected!";
constexpr char kListing[] = "UTIL_GetFolderItems";
constexpr char kByIndex[] = "UTIL_GetFolderItemByIndex";

/** A folder with one entry of each type: what it is called says what it is. */
void make_one_of_each(const std::string& folder)
{
    make_file(folder + "/file");
    fs::create_directory(folder + "/folder");
    fs::create_symlink("file", folder + "/link-to-file");
    fs::create_symlink("folder", folder + "/link-to-folder");
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    fs::create_symlink("/dev/null", folder + "/link-to-device");
    sockaddr_un address{AF_UNIX, ""};
    std::strcpy(address.sun_path, (folder + "/socket").c_str());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(descriptor);
}

// ------------------------------------------------------------------------------------------ types

TEST(FolderItems, EveryEntryIsListedInTheOrderOfTheFolder)
{
    run_silently([] {
        make_one_of_each("/tmp/d");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.status, 100U);
        EXPECT_THAT(list.names(), ElementsAreArray(names_in_order("/tmp/d")));
        EXPECT_EQ(list.items.count, 10U) << "\".\" and \"..\" are entries, too";
    });
}

TEST(FolderItems, WithoutAFilterNoTypeIsAskedFor)
{
    run_silently([] {
        make_one_of_each("/tmp/d");
        fault::reset();
        const FolderList all("/tmp/d");
        const FolderList matching("/tmp/d", "i");
        EXPECT_EQ(fault::calls(Call::stat), 0);
        EXPECT_EQ(fault::calls(Call::opendir), 2);
    });
}

TEST(FolderItems, FilesAreWhatIsNoFolder)
{
    run_silently([] {
        make_one_of_each("/tmp/d");
        const FolderList list("/tmp/d", nullptr, kFiles);
        EXPECT_EQ(list.status, 100U);
        EXPECT_THAT(list.names(), UnorderedElementsAre("file", "link-to-file", "pipe",
                                                       "link-to-device", "socket"));
    });
}

TEST(FolderItems, FoldersAreWhatALinkLeadsTo)
{
    run_silently([] {
        make_one_of_each("/tmp/d");
        const FolderList list("/tmp/d/", nullptr, kFolders);
        EXPECT_EQ(list.status, 100U);
        EXPECT_THAT(list.names(), UnorderedElementsAre(".", "..", "folder", "link-to-folder"));
    });
}

TEST(FolderItems, FolderWithoutFoldersHasItselfAndItsParent)
{
    run_silently([] {
        make_file("/tmp/d/file");
        EXPECT_THAT(FolderList("/tmp/d", nullptr, kFolders).names(),
                    UnorderedElementsAre(".", ".."));
        EXPECT_THAT(FolderList("/tmp/d", "[^.]", kFolders).names(), IsEmpty());
    });
}

TEST(FolderItems, OtherFiltersKeepNothing)
{
    run_silently([] {
        make_one_of_each("/tmp/d");
        for (const std::int32_t filter : {3, -1, 4, INT32_MAX, INT32_MIN}) {
            const FolderList list("/tmp/d", nullptr, filter);
            EXPECT_EQ(list.status, 100U);
            EXPECT_TRUE(list.is_empty());
        }
    });
}

TEST(FolderItems, OtherFiltersAskForTypesAllTheSame)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        EXPECT_EQ(FolderList("/tmp/d", nullptr, 3).status, 104U);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "stat(/tmp/d/dangling) failed!")));
}

// A thousand files cost no more calls than one: the folder says itself what is no folder.
TEST(FolderItems, TypeThatTheFolderKnowsIsNotAskedForAgain)
{
    run_silently([] {
        for (int i = 0; i < 1000; ++i) {
            make_file("/tmp/d/file" + std::to_string(i));
        }
        fault::reset();
        const FolderList list("/tmp/d", nullptr, kFiles);
        EXPECT_EQ(list.items.count, 1000U);
        EXPECT_LE(fault::calls(Call::stat), 3) << "of the first one, \".\" and \"..\"";
        EXPECT_GE(fault::calls(Call::stat), 1);
    });
}

TEST(FolderItems, LinksAndFoldersAreAlwaysAskedFor)
{
    run_silently([] {
        for (int i = 0; i < 10; ++i) {
            fs::create_directories("/tmp/d/folder" + std::to_string(i));
            fs::create_symlink("folder0", "/tmp/d/link" + std::to_string(i));
        }
        fault::reset();
        const FolderList list("/tmp/d", nullptr, kFolders);
        EXPECT_EQ(list.items.count, 22U);
        EXPECT_EQ(fault::calls(Call::stat), 22);
    });
}

// -------------------------------------------------------------------- entries that hide their type

TEST(FolderItems, LinkThatLeadsNowhereEndsTheListing)
{
    for (const std::int32_t filter : {kFiles, kFolders}) {
        const Outcome outcome = run_fresh([&] {
            for (int i = 0; i < 20; ++i) {
                make_file("/tmp/d/file" + std::to_string(i));
            }
            fs::create_symlink("nowhere", "/tmp/d/dangling");
            const FolderList list("/tmp/d", nullptr, filter);
            EXPECT_EQ(list.status, 104U);
            // What was kept until then is there to be released.
            std::vector<std::string> expected;
            for (const std::string& name : names_in_order("/tmp/d")) {
                if (name == "dangling") {
                    break;
                }
                if (fs::is_directory("/tmp/d/" + name) == (filter == kFolders)) {
                    expected.push_back(name);
                }
            }
            EXPECT_THAT(list.names(), ElementsAreArray(expected));
            EXPECT_EQ(list.items.items == nullptr, expected.empty());
        });
        EXPECT_THAT(outcome, exited(0));
        EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "stat(/tmp/d/dangling) failed!")));
    }
}

// The type is asked for before the expression is.
TEST(FolderItems, LinkThatLeadsNowhereEndsTheListingWhateverItsName)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        EXPECT_EQ(FolderList("/tmp/d", "file", kFiles).status, 104U);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "stat(/tmp/d/dangling) failed!")));
}

/** Lists a folder without special rights, such as root has. */
void list_without_privileges(const char* folder, std::int32_t filter)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct before[2];
    ASSERT_EQ(syscall(SYS_capget, &header, before), 0);
    __user_cap_data_struct none[2] = {before[0], before[1]};
    none[0].effective = none[1].effective = 0;
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
    const FolderList list(folder, nullptr, filter);
    EXPECT_EQ(syscall(SYS_capset, &header, before), 0);
    EXPECT_EQ(list.status, 104U);
    EXPECT_TRUE(list.is_empty());
}

TEST(FolderItems, FolderThatMustNotBeSearchedEndsTheListing)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        ASSERT_EQ(chmod("/tmp/d", 0644), 0);
        const std::string first = names_in_order("/tmp/d").front();
        EXPECT_EQ(first, ".");
        list_without_privileges("/tmp/d", kFiles);
        list_without_privileges("/tmp/d", kFolders);
        list_without_privileges("/tmp/d", 3);
    });
    EXPECT_THAT(outcome, exited(0));
    const auto failed = warning(kListing, "stat(/tmp/d/.) failed!");
    EXPECT_THAT(outcome.log, ElementsAre(failed, failed, failed));
}

TEST(FolderItems, FolderThatMustNotBeReadIsReported)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        ASSERT_EQ(chmod("/tmp/d", 0311), 0);
        list_without_privileges("/tmp/d", UTIL_FOLDER_ITEMS_ALL);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "opendir(\"/tmp/d\") failed!")));
}

// Also a file: the first entry tells whether any can be reached.
TEST(FolderItems, FirstEntryIsAlwaysAskedFor)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        fault::fail(Call::stat, 1, EACCES);
        const FolderList list("/tmp/d", nullptr, kFiles);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(list.status, 104U);
        EXPECT_TRUE(list.is_empty());
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "stat(/tmp/d/.) failed!")));
}

// A file system that is mounted there and does not answer makes stat(2) fail.
TEST(FolderItems, FolderThatCannotBeExaminedEndsTheListing)
{
    const Outcome outcome = run_fresh([] {
        fs::create_directories("/tmp/d/folder");
        fault::fail(Call::stat, 3, ENOTCONN);
        EXPECT_EQ(FolderList("/tmp/d", nullptr, kFiles).status, 104U);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "stat(/tmp/d/folder) failed!")));
}

TEST(FolderItems, PathWithoutASlashGetsOne)
{
    const Outcome outcome = run_fresh([] {
        fs::create_directory("/tmp/d");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        fs::current_path("/tmp");
        EXPECT_EQ(FolderList("/tmp/d/", "x", kFiles).status, 104U);
        EXPECT_EQ(FolderList("d", "x", kFiles).status, 104U);
        EXPECT_EQ(FolderList("d//", "x", kFiles).status, 104U);
        fs::current_path("/tmp/d");
        EXPECT_EQ(FolderList(".", "x", kFiles).status, 104U);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "stat(/tmp/d/dangling) failed!"),
                                         warning(kListing, "stat(d/dangling) failed!"),
                                         warning(kListing, "stat(d//dangling) failed!"),
                                         warning(kListing, "stat(./dangling) failed!")));
}

/** Makes a folder whose path has so many characters, with a file in it. @return the path. */
std::string make_deep_folder(std::size_t length, const std::string& file)
{
    std::string path = "/tmp";
    while (path.size() + 1 < length) {
        path += "/" + std::string(std::min<std::size_t>(99, length - path.size() - 1), 'n');
    }
    EXPECT_EQ(path.size(), length);
    EXPECT_EQ(UTIL_CreateFolderRecursive(path.c_str(), 0755), 100U);
    // The file's path may be too long for the system; from inside the folder it is not.
    EXPECT_EQ(chdir(path.c_str()), 0);
    std::ofstream(file) << "";
    EXPECT_EQ(chdir("/"), 0);
    return path;
}

TEST(FolderItems, EntryWhosePathIsTooLongEndsTheListing)
{
    const Outcome outcome = run_fresh([] {
        const std::string path = make_deep_folder(4085, "file-name-");
        EXPECT_EQ(FolderList(path.c_str()).items.count, 3U);
        const FolderList list(path.c_str(), nullptr, kFiles);
        EXPECT_EQ(list.status, 104U);
        EXPECT_TRUE(list.is_empty());
    });
    EXPECT_THAT(outcome, exited(0));
    ASSERT_EQ(outcome.log.size(), 1U);
    EXPECT_THAT(outcome.log[0].text, testing::HasSubstr("stat(/tmp/nnn"));
}

TEST(FolderItems, EntryWithTheLongestPathIsListed)
{
    run_silently([] {
        const std::string path = make_deep_folder(4085, "file-name");
        EXPECT_THAT(FolderList(path.c_str(), nullptr, kFiles).names(), ElementsAre("file-name"));
        EXPECT_THAT(FolderList(path.c_str(), nullptr, kFolders).names(),
                    UnorderedElementsAre(".", ".."));
    });
}

// ------------------------------------------------------------------------------------ expressions

TEST(FolderItems, ExpressionMustMatchSomewhereInTheName)
{
    run_silently([] {
        for (const char* name : {"a.mp3", "b.MP3", "mp3.txt", "cmp3", "d.ogg", "12"}) {
            make_file(std::string("/tmp/d/") + name);
        }
        EXPECT_THAT(FolderList("/tmp/d", "\\.(mp3|ogg)$").names(),
                    UnorderedElementsAre("a.mp3", "d.ogg"));
        EXPECT_THAT(FolderList("/tmp/d", "mp3").names(),
                    UnorderedElementsAre("a.mp3", "mp3.txt", "cmp3"));
        EXPECT_THAT(FolderList("/tmp/d", "^\\d+$").names(), ElementsAre("12"));
        EXPECT_THAT(FolderList("/tmp/d", "^\\.+$").names(), UnorderedElementsAre(".", ".."));
        EXPECT_EQ(FolderList("/tmp/d", "").items.count, 8U) << "matches everywhere";
    });
}

TEST(FolderItems, TypeAndExpressionBothFilter)
{
    run_silently([] {
        make_file("/tmp/d/one");
        make_file("/tmp/d/two");
        fs::create_directory("/tmp/d/folder-one");
        EXPECT_THAT(FolderList("/tmp/d", "one", kFiles).names(), ElementsAre("one"));
        EXPECT_THAT(FolderList("/tmp/d", "one", kFolders).names(), ElementsAre("folder-one"));
        EXPECT_THAT(FolderList("/tmp/d", "one").names(), UnorderedElementsAre("one", "folder-one"));
    });
}

// What the type rules out is not matched.
TEST(FolderItems, TypeIsLookedAtFirst)
{
    run_silently([] {
        make_file("/tmp/d/one");
        make_file("/tmp/d/two");
        fault::reset();
        const FolderList list("/tmp/d", "o", kFiles);
        EXPECT_EQ(fault::calls(Call::regexec), 2);
    });
}

TEST(FolderItems, SearchThatFailsKeepsNothing)
{
    run_silently([] {
        make_file("/tmp/d/one");
        fault::fail_always(Call::regexec);
        const FolderList list("/tmp/d", "o");
        EXPECT_EQ(list.status, 100U);
        EXPECT_TRUE(list.is_empty());
    });
}

TEST(FolderItems, ExpressionThatDoesNotCompileEndsTheProcess)
{
    const Outcome outcome = run_fresh([] { FolderList("/tmp", "("); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("regexp", "RegExp_New", "0 == ret"));
}

TEST(FolderItems, ExpressionIsCompiledBeforeTheFolderIsOpened)
{
    const Outcome outcome = run_fresh([] { FolderList("/tmp/missing", "("); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.log, IsEmpty());
}

// ---------------------------------------------------------------------------------- nothing there

TEST(FolderItems, NothingKeptIsAnEmptyList)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        FolderList list("/tmp/d", "nothing like it");
        EXPECT_EQ(list.status, 100U);
        EXPECT_TRUE(list.is_empty());
        std::uint32_t count = 77;
        EXPECT_EQ(UTIL_GetFolderItemsCount(&list.items, &count), 100U);
        EXPECT_EQ(count, 0U);
        char name[8] = "kept";
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, name, sizeof name), 104U);
        EXPECT_STREQ(name, "kept");
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log,
                ElementsAre(warning(kByIndex, "The specified index is out of range!")));
}

TEST(FolderItems, FolderThatCannotBeOpenedIsReported)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/file");
        for (const char* folder : {"/tmp/missing", "/tmp/file", ""}) {
            const FolderList list(folder, "x");
            EXPECT_EQ(list.status, 104U);
            EXPECT_TRUE(list.is_empty());
        }
        fault::fail(Call::opendir, 1, EMFILE);
        EXPECT_EQ(FolderList("/tmp").status, 104U);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(warning(kListing, "opendir(\"/tmp/missing\") failed!"),
                                         warning(kListing, "opendir(\"/tmp/file\") failed!"),
                                         warning(kListing, "opendir(\"\") failed!"),
                                         warning(kListing, "opendir(\"/tmp\") failed!")));
}

// The C library tells both in the same way.
TEST(FolderItems, FolderThatCannotBeReadOnHasComeToItsEnd)
{
    run_silently([] {
        make_file("/tmp/d/file");
        make_file("/tmp/d/other");
        fault::fail_from(Call::readdir, 3, EIO);
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.status, 100U);
        EXPECT_EQ(list.items.count, 2U);
    });
}

TEST(FolderItems, MissingArgumentsAreReportedAndLeaveTheListAlone)
{
    const Outcome outcome = run_fresh([] {
        UTIL_FolderItems items{nullptr, 77};
        EXPECT_EQ(UTIL_GetFolderItems(nullptr, nullptr, 0, &items), 120U);
        EXPECT_EQ(items.count, 77U);
        EXPECT_EQ(UTIL_GetFolderItems("/tmp", nullptr, 0, nullptr), 120U);
        EXPECT_EQ(UTIL_GetFolderItems(nullptr, "(", 0, nullptr), 120U);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(error(kListing, kInvalid), error(kListing, kInvalid),
                                         error(kListing, kInvalid)));
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
                         testing::Values(1, 9, 10, 11, 20, 21, 99, 100, 101, 149, 150, 151, 1000),
                         testing::PrintToStringParamName());

// Ten slots, twenty, thirty, and then the twenty-five that are needed.
TEST(FolderItems, ListGrowsByTenSlotsAndIsCutToSize)
{
    run_silently([] {
        for (int i = 0; i < 23; ++i) {
            make_file("/tmp/d/" + std::to_string(i));
        }
        fault::reset();
        const FolderList list("/tmp/d");
        EXPECT_EQ(list.items.count, 25U);
        EXPECT_EQ(fault::calls(Call::realloc), 3);
    });
}

TEST(FolderItems, FullListIsNotCut)
{
    run_silently([] {
        for (int i = 0; i < 8; ++i) {
            make_file("/tmp/d/" + std::to_string(i));
        }
        fault::reset();
        EXPECT_EQ(FolderList("/tmp/d").items.count, 10U);
        EXPECT_EQ(fault::calls(Call::realloc), 0);
    });
}

TEST(FolderItems, LongListGrowsInFewSteps)
{
    run_silently([] {
        for (int i = 0; i < 10'000; ++i) {
            make_file("/tmp/d/" + std::to_string(i));
        }
        fault::reset();
        EXPECT_EQ(FolderList("/tmp/d").items.count, 10'002U);
        EXPECT_LT(fault::calls(Call::realloc), 40);
    });
}

TEST(FolderItems, EveryBlockIsGivenBack)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        FolderList("/tmp/missing");
        const long blocks = fault::outstanding_blocks();
        FolderList("/tmp/d");
        FolderList("/tmp/d", "nothing like it");
        FolderList("/tmp/d", "i", kFiles);
        FolderList("/tmp/d", "i", kFolders);
        FolderList("/tmp/missing", "x");
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
        {
            const FolderList list("/tmp/d");
            EXPECT_EQ(fault::outstanding_blocks(), blocks + 5) << "four names and their array";
        }
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome, exited(0));
}

TEST(FolderItems, RunningOutOfMemoryEndsTheProcess)
{
    EXPECT_THAT(run_fresh([] {
                    fault::fail(Call::malloc);
                    FolderList("/tmp");
                }),
                exited(1));
    EXPECT_THAT(run_fresh([] {
                    fault::fail(Call::malloc, 2);
                    FolderList("/tmp");
                }),
                exited(1));
    EXPECT_THAT(run_fresh([] {
                    fault::fail(Call::realloc);
                    FolderList("/tmp");
                }),
                exited(1));
}

// ------------------------------------------------------------------------------------- using lists

TEST(FolderItems, CountIsGiven)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/file");
        const FolderList list("/tmp/d");
        std::uint32_t count = 77;
        EXPECT_EQ(UTIL_GetFolderItemsCount(&list.items, &count), 100U);
        EXPECT_EQ(count, 3U);
        count = 77;
        EXPECT_EQ(UTIL_GetFolderItemsCount(nullptr, &count), 120U);
        EXPECT_EQ(count, 77U);
        EXPECT_EQ(UTIL_GetFolderItemsCount(&list.items, nullptr), 120U);
    });
    EXPECT_THAT(outcome, exited(0));
    const auto invalid = error("UTIL_GetFolderItemsCount", kInvalid);
    EXPECT_THAT(outcome.log, ElementsAre(invalid, invalid));
}

TEST(FolderItems, NameIsCopiedAsStrncpyDoes)
{
    run_silently([] {
        make_file("/tmp/d/name");
        const FolderList list("/tmp/d", "name");
        for (const std::uint32_t size : {5U, 6U, 12U}) {
            char buffer[16];
            std::memset(buffer, 'x', sizeof buffer);
            EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, size), 100U);
            const std::string expected =
                "name" + std::string(size - 4, '\0') + std::string(sizeof buffer - size, 'x');
            EXPECT_EQ(std::string(buffer, sizeof buffer), expected);
        }
    });
}

TEST(FolderItems, BufferThatIsTooSmallIsEmptied)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/name");
        const FolderList list("/tmp/d", "name");
        for (const std::uint32_t size : {4U, 1U}) {
            char buffer[8] = "before";
            EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, size), 104U);
            EXPECT_EQ(std::string(buffer, 7), std::string("\0efore\0", 7));
        }
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log,
                ElementsAre(warning(kByIndex, "Insufficient buffer, Required: 5, Given: 4"),
                            warning(kByIndex, "Insufficient buffer, Required: 5, Given: 1")));
}

TEST(FolderItems, IndexMustBeThatOfAName)
{
    const Outcome outcome = run_fresh([] {
        make_file("/tmp/d/name");
        FolderList list("/tmp/d", "name");
        char buffer[8] = "before";
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 1, buffer, sizeof buffer), 104U);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, UINT32_MAX, buffer, 1), 104U);
        MEM_Free(list.items.items[0]);
        list.items.items[0] = nullptr;
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, sizeof buffer), 104U);
        const UTIL_FolderItems without_names{nullptr, 3};
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&without_names, 0, buffer, sizeof buffer), 104U);
        EXPECT_STREQ(buffer, "before");
    });
    EXPECT_THAT(outcome, exited(0));
    const auto out_of_range = warning(kByIndex, "The specified index is out of range!");
    EXPECT_THAT(outcome.log, ElementsAre(out_of_range, out_of_range, out_of_range, out_of_range));
}

TEST(FolderItems, MissingArgumentsOfACopyAreReported)
{
    const Outcome outcome = run_fresh([] {
        const FolderList list("/tmp");
        char buffer[8] = "before";
        EXPECT_EQ(UTIL_GetFolderItemByIndex(nullptr, 0, buffer, sizeof buffer), 120U);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, nullptr, 8), 120U);
        EXPECT_EQ(UTIL_GetFolderItemByIndex(&list.items, 0, buffer, 0), 120U);
        EXPECT_STREQ(buffer, "before");
    });
    EXPECT_THAT(outcome, exited(0));
    const auto invalid = error(kByIndex, kInvalid);
    EXPECT_THAT(outcome.log, ElementsAre(invalid, invalid, invalid));
}

TEST(FolderItems, ReleasedListIsEmptyAndMayBeReleasedAgain)
{
    run_silently([] {
        UTIL_FolderItems items{nullptr, 0};
        EXPECT_EQ(UTIL_GetFolderItems("/tmp", nullptr, 0, &items), 100U);
        EXPECT_EQ(UTIL_ReleaseFolderItems(&items), 100U);
        EXPECT_EQ(items.items, nullptr);
        EXPECT_EQ(items.count, 0U);
        EXPECT_EQ(UTIL_ReleaseFolderItems(&items), 100U);
    });
}

TEST(FolderItems, ListWithoutNamesIsLeftAlone)
{
    run_silently([] {
        char* slots[1] = {nullptr};
        UTIL_FolderItems no_count{slots, 0};
        EXPECT_EQ(UTIL_ReleaseFolderItems(&no_count), 100U);
        EXPECT_EQ(no_count.items, slots);
        UTIL_FolderItems no_array{nullptr, 3};
        EXPECT_EQ(UTIL_ReleaseFolderItems(&no_array), 100U);
        EXPECT_EQ(no_array.count, 3U);
    });
}

TEST(FolderItems, NothingToReleaseIsReported)
{
    const Outcome outcome = run_fresh([] { EXPECT_EQ(UTIL_ReleaseFolderItems(nullptr), 120U); });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.log, ElementsAre(error("UTIL_ReleaseFolderItems", kInvalid)));
}

}  // namespace
