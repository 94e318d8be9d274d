// Scenarios of the fault sweep: files and folders, texts, processes, the error counter.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

#include "fake_proc.h"
#include "scenario.h"
#include "sleeper.h"

using namespace faults;

namespace {

namespace fs = std::filesystem;

constexpr char kFile[] = "/tmp/d/file";

/// A folder with two files and a folder, for the time of a run.
class Folder {
public:
    Folder()
    {
        remove();
        fs::create_directories("/tmp/d/folder");
        std::ofstream(kFile) << "x";
        std::ofstream("/tmp/d/other") << "x";
    }
    ~Folder() { remove(); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

private:
    static void remove() { fs::remove_all("/tmp/d"); }
};

constexpr char kStatFails[] = "UTIL_FileExists: Error running stat routine: {text}\n";

/// What is not there is no failure, and others are printed.
std::vector<Promise> stat_fails(const char* result)
{
    return {on(Call::stat).with({ENOENT}).gives(result),
            on(Call::stat).gives(result).prints(kStatFails)};
}

SCENARIO(UTIL_FileExists, gives("1"), stat_fails("0"))
{
    const Folder folder;
    CALL(UTIL_FileExists, kFile);
    EXPECT_EQ(UTIL_FileExists(kFile), 1U);
}

SCENARIO(FileOfAPatternExists, gives("1"),
         on(Call::malloc)
             .gives("0")
             .prints("UTIL_FileExists: Error allocating buffer (size 7): {text}\n"),
         on(Call::opendir)
             .gives("0")
             .prints("UTIL_FileExists: Error opening directory /tmp/d, error: {text}\n"),
         on(Call::readdir).gives("0"))
{
    const Folder folder;
    std::ofstream("/tmp/d/only.log") << "x";
    for (const char* const other : {"/tmp/d/file", "/tmp/d/other", "/tmp/d/folder"}) {
        fs::remove(other);
    }
    CALL(UTIL_FileExists, "/tmp/d/*.log");
    EXPECT_EQ(UTIL_FileExists("/tmp/d/*.log"), 1U);
}

SCENARIO(UTIL_DirExists, gives("1"), stat_fails("0"))
{
    const Folder folder;
    CALL(UTIL_DirExists, "/tmp/d");
    EXPECT_EQ(UTIL_DirExists("/tmp/d"), 1U);
}

/// What cannot be looked at counts as removed.
SCENARIO(UTIL_DeleteFile, gives("0"), stat_fails("0"), on(Call::unlink).gives("{errno}"))
{
    const Folder folder;
    CALL(UTIL_DeleteFile, kFile);
    EXPECT_EQ(UTIL_DeleteFile(kFile), 0);
    EXPECT_FALSE(fs::exists(kFile));
}

harness::Report record(COMMON_LogLevel_t level, const char* function, const char* message)
{
    return said(level, "COMMON", "common", function, message);
}

/// A folder above that cannot be looked at is made once more, which fails.
SCENARIO(UTIL_CreateFolderRecursive, gives(shown(STATUS_SUCCESS)),
         on(Call::stat).with({ENOENT}).nth(3), on(Call::stat).nth(3).prints(kStatFails),
         on(Call::stat)
             .with({ENOENT})
             .nth(1)
             .gives(shown(STATUS_FAILED))
             .logs({record(COMMON_LogLevelError, "UTIL_CreateFolderRecursive",
                           "mkdir() failed creating folder /tmp: File exists.")}),
         on(Call::stat)
             .nth(1)
             .gives(shown(STATUS_FAILED))
             .prints(kStatFails)
             .logs({record(COMMON_LogLevelError, "UTIL_CreateFolderRecursive",
                           "mkdir() failed creating folder /tmp: File exists.")}),
         on(Call::stat)
             .with({ENOENT})
             .nth(2)
             .gives(shown(STATUS_FAILED))
             .logs({record(COMMON_LogLevelError, "UTIL_CreateFolderRecursive",
                           "mkdir() failed creating folder /tmp/d: File exists.")}),
         on(Call::stat)
             .nth(2)
             .gives(shown(STATUS_FAILED))
             .prints(kStatFails)
             .logs({record(COMMON_LogLevelError, "UTIL_CreateFolderRecursive",
                           "mkdir() failed creating folder /tmp/d: File exists.")}),
         on(Call::mkdir)
             .gives(shown(STATUS_FAILED))
             .logs({record(COMMON_LogLevelError, "UTIL_CreateFolderRecursive",
                           "mkdir() failed creating folder /tmp/d/new: {text}.")}))
{
    const Folder folder;
    CALL(UTIL_CreateFolderRecursive, "/tmp/d/new", 0755);
    EXPECT_EQ(UTIL_CreateFolderRecursive("/tmp/d/new", 0755), STATUS_SUCCESS);
    EXPECT_TRUE(fs::is_directory("/tmp/d/new"));
}

Promise entry_fails(int nth, const char* message)
{
    return on(Call::stat)
        .nth(nth)
        .gives(shown(STATUS_FAILED))
        .logs({record(COMMON_LogLevelWarn, "UTIL_GetFolderItems", message)});
}

/// Names that match, of what is no folder. A folder that cannot be read on has come to its end, and
/// a name that cannot be looked at matches nothing.
SCENARIO(UTIL_GetFolderItems, gives(shown(STATUS_SUCCESS)), out_of_memory_ends(),
         out_of_memory_ends(Call::realloc),
         on(Call::regcomp).asserts("regexp", "RegExp_New", "0 == ret").logs({}),
         on(Call::opendir)
             .gives(shown(STATUS_FAILED))
             .logs({record(COMMON_LogLevelWarn, "UTIL_GetFolderItems",
                           "opendir(\"/tmp/d\") failed!")}),
         entry_fails(1, "stat(/tmp/d/.) failed!"), entry_fails(2, "stat(/tmp/d/..) failed!"),
         entry_fails(3, "stat(/tmp/d/folder) failed!"))
{
    const Folder folder;
    UTIL_FolderItems items;
    CALL(UTIL_GetFolderItems, "/tmp/d", "^[a-z]+$", UTIL_FOLDER_ITEMS_FILES, &items);
    EXPECT_TRUE(items.count == 2 || failed());
    EXPECT_EQ(UTIL_ReleaseFolderItems(&items), STATUS_SUCCESS);
    EXPECT_EQ(UTIL_GetFolderItems("/tmp/d", nullptr, UTIL_FOLDER_ITEMS_FILES, &items),
              STATUS_SUCCESS);
    EXPECT_EQ(items.count, 2U);
    EXPECT_EQ(UTIL_ReleaseFolderItems(&items), STATUS_SUCCESS);
}

SCENARIO(FolderItemsAreLookedAt)
{
    const Folder folder;
    UTIL_FolderItems items;
    EXPECT_EQ(UTIL_GetFolderItems("/tmp/d", "^file$", UTIL_FOLDER_ITEMS_ALL, &items),
              STATUS_SUCCESS);
    std::uint32_t count = 0;
    EXPECT_EQ(CALL(UTIL_GetFolderItemsCount, &items, &count), STATUS_SUCCESS);
    EXPECT_EQ(count, 1U);
    char name[8];
    EXPECT_EQ(CALL(UTIL_GetFolderItemByIndex, &items, 0, name, sizeof name), STATUS_SUCCESS);
    EXPECT_STREQ(name, "file");
    EXPECT_EQ(CALL(UTIL_ReleaseFolderItems, &items), STATUS_SUCCESS);
}

SCENARIO(TextsAreStripped)
{
    char text[] = " a b ";
    CALL(UTIL_StripSpace, text);
    EXPECT_STREQ(text, "a b");
    CALL(UTIL_Squash, text);
    EXPECT_STREQ(text, "ab");
}

/// What standard output refuses is missing.
SCENARIO(UTIL_HexDump, Flag::Rows, Flag::Talks)
{
    CALL(UTIL_HexDump, "some bytes, more than a row", 28);
}

// Processes: among few, as the machine may have thousands.

constexpr char kStatus[] = "Name:\tnamed\nUmask:\t0022\n";

SCENARIO(UTIL_GetProcessName, gives("1"), on(Call::open).with({EINTR}),
         on({Call::open, Call::fstat}).gives("0"), on(Call::read).with({EINTR}),
         on(Call::read).gives("0"))
{
    harness::FakeProcesses processes;
    processes.add("17", kStatus);
    char name[16];
    CALL(UTIL_GetProcessName, 17, name, sizeof name);
    EXPECT_EQ(UTIL_GetProcessName(17, name, sizeof name), 1U);
    EXPECT_STREQ(name, "named");
}

SCENARIO(UTIL_GetPidFromProcessName, gives("1"), on(Call::open).with({EINTR}),
         on({Call::opendir, Call::readdir, Call::open, Call::fstat}).gives("0"),
         on(Call::read).with({EINTR}), on(Call::read).gives("0"))
{
    harness::FakeProcesses processes;
    processes.add("17", kStatus);
    std::uint32_t pid = 0;
    CALL(UTIL_GetPidFromProcessName, "named", &pid);
    EXPECT_EQ(UTIL_GetPidFromProcessName("named", &pid), 1U);
    EXPECT_EQ(pid, 17U);
}

SCENARIO(UTIL_FindPid, gives("1"), on(Call::open).with({EINTR}),
         on({Call::open, Call::fstat}).gives("0"))
{
    CALL(UTIL_FindPid, static_cast<std::uint32_t>(getpid()));
    EXPECT_EQ(UTIL_FindPid(static_cast<std::uint32_t>(getpid())), 1U);
}

SCENARIO(UTIL_TerminatePid, gives("1"), on(Call::kill).gives("0"))
{
    const Sleeper sleeper;
    sleeper.await_end_at_look();
    CALL(UTIL_TerminatePid, sleeper.id(), 100'000, 1);
}

/// It is gone for who cannot look at it.
SCENARIO(ProcessThatDoesNotEndIsWaitedFor, gives("0"), on(Call::kill).gives("0"),
         on(Call::open).with({EINTR}), on({Call::open, Call::fstat}).gives("1"))
{
    const Sleeper sleeper(SIG_IGN);
    CALL(UTIL_TerminatePid, sleeper.id(), 1, 0);
    EXPECT_EQ(kill(static_cast<pid_t>(sleeper.id()), 0), 0);
}

// The error counter. What its calls refuse to do is printed, and the count goes on.

constexpr char kCounter[] = "/dev/shmem/bterrors.log";

/// A count that is there, or not.
class Counter {
public:
    explicit Counter(const char* byte)
    {
        remove();
        fs::create_directories("/dev/shmem");
        if (*byte != '\0') {
            std::ofstream(kCounter) << byte;
        }
    }
    ~Counter()
    {
        for (const auto& entry : fs::directory_iterator("/dev/shmem")) {
            EXPECT_EQ(entry.path(), kCounter) << "another file is left";
        }
        remove();
    }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    static int stored()
    {
        std::ifstream file(kCounter);
        return file.get();
    }

private:
    static void remove() { fs::remove_all("/dev/shmem"); }
};

constexpr char kUnread[] = "ReadBTErrorCount: Couldn't open file: /dev/shmem/bterrors.log\n";
constexpr char kReadError[] = "ReadBTErrorCount: Error reading from file: {text}\n";

/// @param unknown what a count gives that cannot be read.
std::vector<Promise> reading_fails(const char* missing, const char* unknown)
{
    return {on(Call::stat).with({ENOENT}).gives(missing),
            on(Call::stat).gives(missing).prints(kStatFails),
            on(Call::fopen).nth(1).gives(unknown).prints(kUnread),
            on(Call::fread).gives(unknown).prints(kReadError)};
}

SCENARIO(bterrors_ReadErrorCount, gives("3"), reading_fails("0", "-1"))
{
    const Counter counter("\3");
    CALL(bterrors_ReadErrorCount);
    EXPECT_EQ(bterrors_ReadErrorCount(), 3);
}

SCENARIO(BTE_IsErrorLimitReached, gives("1"), reading_fails("0", "0"))
{
    const Counter counter("2");  // 50
    CALL(BTE_IsErrorLimitReached);
    EXPECT_EQ(BTE_IsErrorLimitReached(), 1U);
}

constexpr char kUnopened[] =
    "WriteBTErrorCount: Couldn't open file for writing: /dev/shmem/bterrors.log\n";
constexpr char kUnwritten[] =
    "WriteBTErrorCount: Not all byte(s) were written to file: /dev/shmem/bterrors.log\n";

SCENARIO(BTE_LogError, gives("4"), reading_fails("1", "-1"), on(Call::fopen).nth(2).with({ENOENT}),
         on(Call::fopen).nth(2).prints(kUnopened), on(Call::fwrite).prints(kUnwritten))
{
    const Counter counter("\3");
    CALL(BTE_LogError);
    EXPECT_GE(BTE_LogError(), 1);
}

SCENARIO(FirstErrorIsCounted, gives("1"), on(Call::fopen).nth(1).with({ENOENT}),
         on(Call::stat).with({ENOENT}), on(Call::stat).prints(kStatFails),
         on(Call::fopen).prints(kUnopened), on(Call::fwrite).prints(kUnwritten),
         on(Call::rename).prints(kUnopened))
{
    const Counter counter("");
    CALL(BTE_LogError);
    EXPECT_GE(BTE_LogError(), 1);
    EXPECT_GE(Counter::stored(), 1);
}

/// An empty file is removed.
SCENARIO(EmptyCountIsRemoved, Flag::Rows, Flag::Talks, gives("-1"),
         on(Call::stat).nth(1).gives("0"),
         on(Call::unlink).tells("ReadBTErrorCount: Error deleting file: /dev/shmem/bterrors.log\n"))
{
    const Counter counter("x");
    std::ofstream(kCounter, std::ios::trunc).close();
    CALL(bterrors_ReadErrorCount);
    EXPECT_LE(bterrors_ReadErrorCount(), 0);
}

SCENARIO(FlashErrorsAreNotCounted)
{
    EXPECT_EQ(CALL(FlashWriteErrorDTC), 0U);
}

}  // namespace
