// Tests for files and folders; files removed, folders made.
#include "common.h"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fault.h"
#include "folder_lists.h"
#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

/// Runs a body in a fresh process that logs nothing. @return what it prints.
std::string printed_by(const std::function<void()>& body)
{
    const Outcome outcome = well(body);
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

// -------------------------------------------------------------------------------- files, by path

FRESH_TEST(Folder, RegularFilesExist)
{
    make_file("/tmp/f/file", "content");
    make_file("/tmp/f/empty");
    EXPECT_EQ(UTIL_FileExists("/tmp/f/file"), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/f/empty"), 1U);
    fs::create_symlink("file", "/tmp/f/link");
    EXPECT_EQ(UTIL_FileExists("/tmp/f/link"), 1U) << "links are followed";
}

FRESH_TEST(Folder, WhatIsNoRegularFileDoesNotExistAsAFile)
{
    fs::create_directory("/tmp/folder");
    EXPECT_EQ(UTIL_FileExists("/tmp/folder"), 0U);
    EXPECT_EQ(UTIL_FileExists("/dev/null"), 0U);
    ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
    EXPECT_EQ(UTIL_FileExists("/tmp/pipe"), 0U);
}

FRESH_TEST(Folder, MissingFilesAndFoldersAreNoFailure)
{
    fs::create_symlink("nowhere", "/tmp/dangling");
    for (const char* path : {"/tmp/missing", "/tmp/missing/file", "/tmp/dangling", ""}) {
        EXPECT_EQ(UTIL_FileExists(path), 0U) << path;
        EXPECT_EQ(UTIL_DirExists(path), 0U) << path;
    }
}

FRESH_TEST(Folder, FoldersExist)
{
    make_file("/tmp/folder/file");
    fs::create_symlink("folder", "/tmp/link");
    EXPECT_EQ(UTIL_DirExists("/tmp/folder"), 1U);
    EXPECT_EQ(UTIL_DirExists("/tmp/folder/"), 1U);
    EXPECT_EQ(UTIL_DirExists("/tmp/link"), 1U);
    EXPECT_EQ(UTIL_DirExists("/"), 1U);
    EXPECT_EQ(UTIL_DirExists("/tmp/folder/file"), 0U);
    EXPECT_EQ(UTIL_DirExists("/dev/null"), 0U);
}

// Both print under the name of the file test: what reads the output looks for that.
TEST(Folder, PathThatCannotBeExaminedIsPrinted)
{
    const std::string text = "UTIL_FileExists: Error running stat routine: ";
    EXPECT_EQ(printed_by([] {
                  make_file("/tmp/file");
                  EXPECT_EQ(UTIL_FileExists("/tmp/file/below"), 0U);
                  EXPECT_EQ(UTIL_DirExists("/tmp/file/below"), 0U);
                  EXPECT_EQ(UTIL_FileExists(nullptr), 0U);
                  EXPECT_EQ(UTIL_DirExists(nullptr), 0U);
                  fault::fail(Call::stat, 1, EACCES);
                  EXPECT_EQ(UTIL_FileExists("/tmp/file"), 0U);
                  fault::fail(Call::stat, 1, EIO);
                  EXPECT_EQ(UTIL_DirExists("/tmp"), 0U);
                  fault::fail(Call::stat, 1, ENOENT);
                  EXPECT_EQ(UTIL_DirExists("/tmp"), 0U);
                  EXPECT_EQ(fault::fired(), 3);
              }),
              text + "Not a directory\n" + text + "Not a directory\n" + text + "Bad address\n" +
                  text + "Bad address\n" + text + "Permission denied\n" + text +
                  "Input/output error\n");
}

// ----------------------------------------------------------------------------- files, by pattern

FRESH_TEST(Folder, PatternIsSatisfiedByTheSuffixAnywhereInAName)
{
    make_file("/tmp/end/a.log");
    make_file("/tmp/middle/a.log.1");
    make_file("/tmp/start/logger");
    make_file("/tmp/other/a.LOG");
    make_file("/tmp/other/a.lo");
    make_file("/tmp/other/lxog");
    EXPECT_EQ(UTIL_FileExists("/tmp/end/*.log"), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/middle/*.log"), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/start/*.log"), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/other/*.log"), 0U);
}

FRESH_TEST(Folder, PatternDoesNotAskForTheType)
{
    fs::create_directories("/tmp/d/catalog");
    fs::create_directory("/tmp/e");
    fs::create_symlink("nowhere", "/tmp/e/log");
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.log"), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/e/*.log"), 1U);
    EXPECT_EQ(fault::calls(Call::stat), 0);
}

FRESH_TEST(Folder, PatternIsCutAtItsFirstMark)
{
    make_file("/tmp/d/x*.yz");
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.*.y"), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.b/*.y"), 0U) << "no name contains a slash";
    make_file("/tmp/d/b");
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.b/*.y"), 0U);
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*"), 0U) << "not a pattern, but a missing file";
    make_file("/tmp/d/*b");
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*b"), 1U) << "not a pattern, but a file";
}

FRESH_TEST(Folder, EmptySuffixIsInEveryName)
{
    fs::create_directory("/tmp/empty");
    EXPECT_EQ(UTIL_FileExists("/tmp/empty/*."), 1U) << "the folder itself";
    EXPECT_EQ(UTIL_FileExists("/tmp/empty/*.."), 1U);
    EXPECT_EQ(UTIL_FileExists("/tmp/empty/*.x"), 0U);
}

FRESH_TEST(Folder, PatternIsRelativeToTheWorkingFolder)
{
    make_file("/tmp/folders/sub/a.log");
    fs::current_path("/tmp/folders");
    EXPECT_EQ(UTIL_FileExists("sub/*.log"), 1U);
    EXPECT_EQ(UTIL_FileExists("./*.log"), 0U);
}

TEST(Folder, FolderOfAPatternThatCannotBeOpenedIsPrinted)
{
    const std::string text = "UTIL_FileExists: Error opening directory ";
    EXPECT_EQ(printed_by([] {
                  EXPECT_EQ(UTIL_FileExists("/tmp/missing/*.log"), 0U);
                  EXPECT_EQ(UTIL_FileExists("/*.log"), 0U);
                  make_file("/tmp/d/a.log");
                  fault::fail(Call::opendir, 1, EMFILE);
                  EXPECT_EQ(UTIL_FileExists("/tmp/d/*.log"), 0U);
                  EXPECT_EQ(fault::fired(), 1);
              }),
              text + "/tmp/missing, error: No such file or directory\n" + text +
                  ", error: No such file or directory\n" + text +
                  "/tmp/d, error: Too many open files\n");
}

FRESH_TEST(Folder, FolderOfAPatternThatCannotBeReadOnHasNoMoreEntries)
{
    make_file("/tmp/d/a.log");
    fault::fail_always(Call::readdir);
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.log"), 0U);
    EXPECT_EQ(fault::fired(), 1);
}

FRESH_TEST(Folder, PatternStopsAtTheFirstEntryThatSatisfiesIt)
{
    for (int i = 0; i < 20; ++i) {
        make_file("/tmp/d/log" + std::to_string(i));
    }
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.log"), 1U);
    EXPECT_LE(fault::calls(Call::readdir), 3) << "there are two entries without it";
}

TEST(Folder, PatternWithoutMemoryIsPrinted)
{
    EXPECT_EQ(printed_by([] {
                  make_file("/tmp/d/a.log");
                  fault::fail(Call::malloc);
                  EXPECT_EQ(UTIL_FileExists("/tmp/d/*.log"), 0U);
                  EXPECT_EQ(fault::fired(), 1);
                  EXPECT_EQ(fault::calls(Call::opendir), 0);
              }),
              "UTIL_FileExists: Error allocating buffer (size 7): Cannot allocate memory\n");
}

TEST(Folder, BlockOfAPatternIsGivenBack)
{
    EXPECT_EQ(
        printed_by([] {
            const long blocks = fault::outstanding_blocks();
            make_file("/tmp/d/a.log");
            UTIL_FileExists("/tmp/d/*.log");
            UTIL_FileExists("/tmp/d/*.x");
            fault::fail(Call::opendir, 1, ENOENT);
            UTIL_FileExists("/tmp/d/*.log");
            EXPECT_EQ(fault::outstanding_blocks(), blocks);
        }),
        "UTIL_FileExists: Error opening directory /tmp/d, error: No such file or directory\n");
}

// -------------------------------------------------------------------------------------- removing

FRESH_TEST(Folder, FilesAreRemoved)
{
    make_file("/tmp/file");
    EXPECT_EQ(UTIL_DeleteFile("/tmp/file"), 0);
    EXPECT_FALSE(fs::exists("/tmp/file"));
}

// Callers take both as done.
FRESH_TEST(Folder, RemovingAMissingFileIsDoneAlready)
{
    EXPECT_EQ(UTIL_DeleteFile("/tmp/file"), 0);
    EXPECT_EQ(fault::calls(Call::unlink), 0);
}

FRESH_TEST(Folder, WhatIsNoFileIsNotRemoved)
{
    fs::create_directory("/tmp/folder");
    ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
    EXPECT_EQ(UTIL_DeleteFile("/tmp/folder"), 0);
    EXPECT_EQ(UTIL_DeleteFile("/tmp/pipe"), 0);
    EXPECT_TRUE(fs::exists("/tmp/folder"));
    EXPECT_TRUE(fs::exists("/tmp/pipe"));
    EXPECT_EQ(fault::calls(Call::unlink), 0);
}

TEST(Folder, FileThatCannotBeRemovedGivesTheErrorNumber)
{
    EXPECT_EQ(printed_by([] {
                  make_file("/tmp/d/a.log");
                  fault::fail(Call::unlink, 1, EROFS);
                  EXPECT_EQ(UTIL_DeleteFile("/tmp/d/a.log"), EROFS);
                  EXPECT_EQ(UTIL_DeleteFile("/tmp/d/*.log"), ENOENT) << "no pattern here";
                  EXPECT_TRUE(fs::exists("/tmp/d/a.log"));
              }),
              "");
    EXPECT_EQ(printed_by([] { EXPECT_EQ(UTIL_DeleteFile(nullptr), 0); }),
              "UTIL_FileExists: Error running stat routine: Bad address\n");
}

// ---------------------------------------------------------------------------------------- making

/// The permissions of a folder; -1 when there is none.
int mode_of(const char* path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode)
               ? static_cast<int>(status.st_mode & 07777)
               : -1;
}

FRESH_TEST(FolderMaking, RelativePathsAreBelowTheWorkingFolder)
{
    fs::create_directory("/tmp/folders");
    fs::current_path("/tmp/folders");
    EXPECT_EQ(UTIL_CreateFolderRecursive("a/b/c", 0755), STATUS_SUCCESS);
    EXPECT_EQ(mode_of("/tmp/folders/a"), 0755);
    EXPECT_EQ(mode_of("/tmp/folders/a/b"), 0755);
    EXPECT_EQ(mode_of("/tmp/folders/a/b/c"), 0755);
    EXPECT_EQ(fault::calls(Call::mkdir), 3);
}

FRESH_TEST(FolderMaking, EmptyPrefixOfAnAbsolutePathIsSkipped)
{
    umask(0);
    EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/x/y/", 0751), STATUS_SUCCESS);
    EXPECT_EQ(mode_of("/tmp/x"), 0751);
    EXPECT_EQ(mode_of("/tmp/x/y"), 0751);
    EXPECT_EQ(fault::calls(Call::mkdir), 2);
    EXPECT_EQ(fault::calls(Call::stat), 3);
}

FRESH_TEST(FolderMaking, TreeThatIsThereIsLeftAlone)
{
    fs::create_directories("/tmp/x/y/z");
    EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/x/y/z", 0700), STATUS_SUCCESS);
    EXPECT_EQ(UTIL_CreateFolderRecursive("/", 0700), STATUS_SUCCESS);
    EXPECT_EQ(UTIL_CreateFolderRecursive("//tmp//x//", 0700), STATUS_SUCCESS);
    EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/x/../x/.", 0700), STATUS_SUCCESS);
    EXPECT_EQ(fault::calls(Call::mkdir), 0);
}

FRESH_TEST(FolderMaking, RepeatedSlashesCountOnce)
{
    EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp//x///y//", 0755), STATUS_SUCCESS);
    EXPECT_EQ(mode_of("/tmp/x/y"), 0755);
    EXPECT_EQ(fault::calls(Call::mkdir), 2);
}

const auto kNoPath = said(COMMON_LogLevelError, "UTIL_CreateFolderRecursive", kInvalid);

auto not_made(const std::string& message)
{
    return said(COMMON_LogLevelError, "UTIL_CreateFolderRecursive",
                "mkdir() failed creating folder " + message);
}

TEST(FolderMaking, NullAndEmptyPathsAreReported)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(UTIL_CreateFolderRecursive(nullptr, 0755), STATUS_INVALID_PARAM);
        EXPECT_EQ(UTIL_CreateFolderRecursive("", 0755), STATUS_INVALID_PARAM);
        EXPECT_EQ(fault::calls(Call::mkdir), 0);
    });
    EXPECT_THAT(outcome.log, ElementsAre(kNoPath, kNoPath));
}

TEST(FolderMaking, FirstFailureIsReportedAndEndsIt)
{
    const Outcome outcome = well([] {
        fault::fail(Call::mkdir, 2, ENOSPC);
        EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/a/b/c", 0755), STATUS_FAILED);
        EXPECT_EQ(fault::calls(Call::mkdir), 2);
        EXPECT_EQ(mode_of("/tmp/a"), 0755) << "what was made until then stays";
        EXPECT_EQ(mode_of("/tmp/a/b"), -1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(not_made("/tmp/a/b: No space left on device.")));
    EXPECT_EQ(outcome.out, "");
}

TEST(FolderMaking, FileInTheWayIsAFailure)
{
    const Outcome outcome = well([] {
        make_file("/tmp/a/b");
        EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/a/b", 0755), STATUS_FAILED);
        EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/a/b/c", 0755), STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log, ElementsAre(not_made("/tmp/a/b: File exists."),
                                         not_made("/tmp/a/b: File exists.")));
}

TEST(FolderMaking, FolderThatCannotBeExaminedIsTriedAllTheSame)
{
    const Outcome outcome = well([] {
        fault::fail(Call::stat, 1, EIO);
        EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/a", 0755), STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log, ElementsAre(not_made("/tmp: File exists.")));
    EXPECT_EQ(outcome.out, "UTIL_FileExists: Error running stat routine: Input/output error\n");
}

FRESH_TEST(FolderMaking, LongestPathOfTheSystemIsMadeWhole)
{
    const std::string path = long_path(4095);
    EXPECT_EQ(UTIL_CreateFolderRecursive(path.c_str(), 0755), STATUS_SUCCESS);
    EXPECT_EQ(mode_of(path.c_str()), 0755);
}

FRESH_TEST(FolderMaking, LongerPathIsCutAndStaysTerminated)
{
    // The last name begins where the others end, so that it is cut in the middle.
    const std::string path = long_path(4050) + "/" + std::string(100, 'm');
    EXPECT_EQ(UTIL_CreateFolderRecursive(path.c_str(), 0755), STATUS_SUCCESS);
    EXPECT_EQ(mode_of(path.substr(0, 4095).c_str()), 0755);
    const int made = fault::calls(Call::mkdir);
    const std::string longer = path + "/" + std::string(10'000, 'k');
    EXPECT_EQ(UTIL_CreateFolderRecursive(longer.c_str(), 0755), STATUS_SUCCESS);
    EXPECT_EQ(fault::calls(Call::mkdir), made) << "it is there already";
}

FRESH_TEST(FolderMaking, PathCutBehindASlashGetsNoOther)
{
    const std::string path = long_path(4094) + "/" + std::string(100, 'm');
    EXPECT_EQ(UTIL_CreateFolderRecursive(path.c_str(), 0755), STATUS_SUCCESS);
    EXPECT_EQ(mode_of(path.substr(0, 4094).c_str()), 0755);
}

}  // namespace
