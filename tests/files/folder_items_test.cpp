// Which of a folder's entries are listed: types, links, expressions.
#include "common.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "fault.h"
#include "folder_lists.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

constexpr auto kFiles = UTIL_FOLDER_ITEMS_FILES;
constexpr auto kFolders = UTIL_FOLDER_ITEMS_FOLDERS;

/// A folder with one entry of each type: what it is called says what it is.
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
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(descriptor);
}

// ------------------------------------------------------------------------------------------ types

FRESH_TEST(FolderItems, EveryEntryIsListedInTheOrderOfTheFolder)
{
    make_one_of_each("/tmp/d");
    fs::create_symlink("nowhere", "/tmp/d/dangling");
    const FolderList list("/tmp/d");
    EXPECT_EQ(list.status, STATUS_SUCCESS);
    EXPECT_THAT(list.names(), ElementsAreArray(names_in_order("/tmp/d")));
    EXPECT_EQ(list.items.count, 10U) << "\".\" and \"..\" are entries, too";
}

FRESH_TEST(FolderItems, WithoutAFilterNoTypeIsAskedFor)
{
    make_one_of_each("/tmp/d");
    fault::reset();
    const FolderList all("/tmp/d");
    const FolderList matching("/tmp/d", "i");
    EXPECT_EQ(fault::calls(Call::stat), 0);
    EXPECT_EQ(fault::calls(Call::opendir), 2);
}

FRESH_TEST(FolderItems, FilesAreWhatIsNoFolder)
{
    make_one_of_each("/tmp/d");
    const FolderList list("/tmp/d", nullptr, kFiles);
    EXPECT_EQ(list.status, STATUS_SUCCESS);
    EXPECT_THAT(list.names(),
                UnorderedElementsAre("file", "link-to-file", "pipe", "link-to-device", "socket"));
}

FRESH_TEST(FolderItems, FoldersAreWhatALinkLeadsTo)
{
    make_one_of_each("/tmp/d");
    const FolderList list("/tmp/d/", nullptr, kFolders);
    EXPECT_EQ(list.status, STATUS_SUCCESS);
    EXPECT_THAT(list.names(), UnorderedElementsAre(".", "..", "folder", "link-to-folder"));
}

FRESH_TEST(FolderItems, FolderWithoutFoldersHasItselfAndItsParent)
{
    make_file("/tmp/d/file");
    EXPECT_THAT(FolderList("/tmp/d", nullptr, kFolders).names(), UnorderedElementsAre(".", ".."));
    EXPECT_THAT(FolderList("/tmp/d", "[^.]", kFolders).names(), IsEmpty());
}

FRESH_TEST(FolderItems, OtherFiltersKeepNothing)
{
    make_one_of_each("/tmp/d");
    for (const std::int32_t filter : {3, -1, 4, INT32_MAX, INT32_MIN}) {
        const FolderList list("/tmp/d", nullptr, filter);
        EXPECT_EQ(list.status, STATUS_SUCCESS);
        EXPECT_TRUE(list.is_empty());
    }
}

TEST(FolderItems, OtherFiltersAskForTypesAllTheSame)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        EXPECT_EQ(FolderList("/tmp/d", nullptr, 3).status, STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/dangling) failed!")));
}

// A thousand files cost no more calls than one: the folder says itself what is no folder.
FRESH_TEST(FolderItems, TypeThatTheFolderKnowsIsNotAskedForAgain)
{
    for (int i = 0; i < 1000; ++i) {
        make_file("/tmp/d/file" + std::to_string(i));
    }
    fault::reset();
    const FolderList list("/tmp/d", nullptr, kFiles);
    EXPECT_EQ(list.items.count, 1000U);
    EXPECT_LE(fault::calls(Call::stat), 3) << "of the first one, \".\" and \"..\"";
    EXPECT_GE(fault::calls(Call::stat), 1);
}

FRESH_TEST(FolderItems, LinksAndFoldersAreAlwaysAskedFor)
{
    for (int i = 0; i < 10; ++i) {
        fs::create_directories("/tmp/d/folder" + std::to_string(i));
        fs::create_symlink("folder0", "/tmp/d/link" + std::to_string(i));
    }
    fault::reset();
    const FolderList list("/tmp/d", nullptr, kFolders);
    EXPECT_EQ(list.items.count, 22U);
    EXPECT_EQ(fault::calls(Call::stat), 22);
}

// -------------------------------------------------------------------- entries that hide their type

TEST(FolderItems, LinkThatLeadsNowhereEndsTheListing)
{
    for (const std::int32_t filter : {kFiles, kFolders}) {
        const Outcome outcome = well([&] {
            for (int i = 0; i < 20; ++i) {
                make_file("/tmp/d/file" + std::to_string(i));
            }
            fs::create_symlink("nowhere", "/tmp/d/dangling");
            const FolderList list("/tmp/d", nullptr, filter);
            EXPECT_EQ(list.status, STATUS_FAILED);
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
        EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelWarn, kListing,
                                                  "stat(/tmp/d/dangling) failed!")));
    }
}

// The type is asked for before the expression is.
TEST(FolderItems, LinkThatLeadsNowhereEndsTheListingWhateverItsName)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        EXPECT_EQ(FolderList("/tmp/d", "file", kFiles).status, STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/dangling) failed!")));
}

TEST(FolderItems, FolderThatMustNotBeSearchedEndsTheListing)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        ASSERT_EQ(chmod("/tmp/d", 0644), 0);
        const std::string first = names_in_order("/tmp/d").front();
        EXPECT_EQ(first, ".");
        list_without_privileges("/tmp/d", kFiles);
        list_without_privileges("/tmp/d", kFolders);
        list_without_privileges("/tmp/d", 3);
    });
    const auto failed = said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/.) failed!");
    EXPECT_THAT(outcome.log, ElementsAre(failed, failed, failed));
}

TEST(FolderItems, FolderThatMustNotBeReadIsReported)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        ASSERT_EQ(chmod("/tmp/d", 0311), 0);
        list_without_privileges("/tmp/d", UTIL_FOLDER_ITEMS_ALL);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "opendir(\"/tmp/d\") failed!")));
}

TEST(FolderItems, FolderThatCannotBeExaminedItselfEndsTheListing)
{
    const Outcome outcome = well([] {
        make_file("/tmp/d/file");
        fault::fail(Call::stat, 1, EACCES);
        const FolderList list("/tmp/d", nullptr, kFiles);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(list.status, STATUS_FAILED);
        EXPECT_TRUE(list.is_empty());
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/.) failed!")));
}

// A file system that is mounted there and does not answer makes stat(2) fail.
TEST(FolderItems, FolderThatCannotBeExaminedEndsTheListing)
{
    const Outcome outcome = well([] {
        fs::create_directories("/tmp/d/folder");
        fault::fail(Call::stat, 3, ENOTCONN);
        EXPECT_EQ(FolderList("/tmp/d", nullptr, kFiles).status, STATUS_FAILED);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/folder) failed!")));
}

TEST(FolderItems, PathWithoutASlashGetsOne)
{
    const Outcome outcome = well([] {
        fs::create_directory("/tmp/d");
        fs::create_symlink("nowhere", "/tmp/d/dangling");
        fs::current_path("/tmp");
        EXPECT_EQ(FolderList("/tmp/d/", "x", kFiles).status, STATUS_FAILED);
        EXPECT_EQ(FolderList("d", "x", kFiles).status, STATUS_FAILED);
        EXPECT_EQ(FolderList("d//", "x", kFiles).status, STATUS_FAILED);
        fs::current_path("/tmp/d");
        EXPECT_EQ(FolderList(".", "x", kFiles).status, STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, kListing, "stat(/tmp/d/dangling) failed!"),
                            said(COMMON_LogLevelWarn, kListing, "stat(d/dangling) failed!"),
                            said(COMMON_LogLevelWarn, kListing, "stat(d//dangling) failed!"),
                            said(COMMON_LogLevelWarn, kListing, "stat(./dangling) failed!")));
}

/// Makes a folder whose path has so many characters, with a file in it. @return the path.
std::string make_deep_folder(std::size_t length, const std::string& file)
{
    std::string path = long_path(length);
    EXPECT_EQ(UTIL_CreateFolderRecursive(path.c_str(), 0755), STATUS_SUCCESS);
    // The file's path may be too long for the system; from inside the folder it is not.
    EXPECT_EQ(chdir(path.c_str()), 0);
    std::ofstream(file) << "";
    EXPECT_EQ(chdir("/"), 0);
    return path;
}

TEST(FolderItems, EntryWhosePathIsTooLongEndsTheListing)
{
    const Outcome outcome = well([] {
        const std::string path = make_deep_folder(4085, "file-name-");
        EXPECT_EQ(FolderList(path.c_str()).items.count, 3U);
        const FolderList list(path.c_str(), nullptr, kFiles);
        EXPECT_EQ(list.status, STATUS_FAILED);
        EXPECT_TRUE(list.is_empty());
    });
    ASSERT_EQ(outcome.log.size(), 1U);
    EXPECT_THAT(outcome.log[0].text, testing::HasSubstr("stat(/tmp/nnn"));
}

FRESH_TEST(FolderItems, EntryWithTheLongestPathIsListed)
{
    const std::string path = make_deep_folder(4085, "file-name");
    EXPECT_THAT(FolderList(path.c_str(), nullptr, kFiles).names(), ElementsAre("file-name"));
    EXPECT_THAT(FolderList(path.c_str(), nullptr, kFolders).names(),
                UnorderedElementsAre(".", ".."));
}

// ------------------------------------------------------------------------------------ expressions

FRESH_TEST(FolderItems, ExpressionMustMatchSomewhereInTheName)
{
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
}

FRESH_TEST(FolderItems, TypeAndExpressionBothFilter)
{
    make_file("/tmp/d/one");
    make_file("/tmp/d/two");
    fs::create_directory("/tmp/d/folder-one");
    EXPECT_THAT(FolderList("/tmp/d", "one", kFiles).names(), ElementsAre("one"));
    EXPECT_THAT(FolderList("/tmp/d", "one", kFolders).names(), ElementsAre("folder-one"));
    EXPECT_THAT(FolderList("/tmp/d", "one").names(), UnorderedElementsAre("one", "folder-one"));
}

// What the type rules out is not matched.
FRESH_TEST(FolderItems, TypeIsLookedAtFirst)
{
    make_file("/tmp/d/one");
    make_file("/tmp/d/two");
    fault::reset();
    const FolderList list("/tmp/d", "o", kFiles);
    EXPECT_EQ(fault::calls(Call::regexec), 2);
}

FRESH_TEST(FolderItems, SearchThatFailsKeepsNothing)
{
    make_file("/tmp/d/one");
    fault::fail_always(Call::regexec);
    const FolderList list("/tmp/d", "o");
    EXPECT_EQ(list.status, STATUS_SUCCESS);
    EXPECT_TRUE(list.is_empty());
}

TEST(FolderItems, ExpressionThatDoesNotCompileEndsTheProcess)
{
    const Outcome outcome = run_fresh([] { const FolderList list("/tmp", "("); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("regexp", "RegExp_New", "0 == ret"));
}

TEST(FolderItems, ExpressionIsCompiledBeforeTheFolderIsOpened)
{
    const Outcome outcome = run_fresh([] { const FolderList list("/tmp/missing", "("); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.log, IsEmpty());
}

}  // namespace
