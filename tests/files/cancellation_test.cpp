// Threads that are cancelled in the middle of a function that must not be left half way.
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>

#include <gmock/gmock.h>

#include "cancelled.h"
#include "common.h"
#include "fault.h"
#include "flash_safety.h"
#include "folder_lists.h"
#include "fresh_process.h"
#include "oxa_file.h"
#include "simulated_target.h"

using namespace harness;
using fault::Call;

namespace {

/// A function, and one that it calls, in which the thread is cancelled.
struct Case {
    const char* function;
    Call call;
    void (*run)();
};

void PrintTo(const Case& its, std::ostream* stream)
{
    *stream << its.function << " in " << fault::name(its.call);
}

class Cancellation : public testing::TestWithParam<Case> {};

TEST_P(Cancellation, WaitsForTheEnd)
{
    // Writing a record is a point where a thread may be cancelled.
    FreshSetup setup{.env = usual_target_environment()};
    setup.env["COMMON_LOG_LEVEL"] = "Critical";
    setup.env["FLASH_START_DRIVER_NAME"] = "none";  // which no test runs
    setup.prepare = [] {
        make_file("/tmp/d/file.log", "content");
        make_file("/dev/fs0");
        make_file("/dev/shmem/bterrors.log", "1");
    };
    well(setup, [] {
        expect_uncancelled(GetParam().call, GetParam().run);
        EXPECT_GE(fault::calls(GetParam().call), 1);
    });
}

void list_files()
{
    UTIL_FolderItems items{};
    (void)UTIL_GetFolderItems("/tmp/d", "f", UTIL_FOLDER_ITEMS_FILES, &items);
    UTIL_ReleaseFolderItems(&items);
}

void find_process()
{
    std::uint32_t pid = 0;
    (void)UTIL_GetPidFromProcessName("none-of-this-name", &pid);
}

void name_process()
{
    char name[16];
    (void)UTIL_GetProcessName(1, name, sizeof name);
}

void read_file()
{
    char byte = 0;
    (void)FILE_OpenAndRead(&byte, 1, 1, "/tmp/d/file.log");
}

void write_file()
{
    (void)FILE_OpenAndWrite("x", 1, 1, "/tmp/d/file.log");
}

void check_deep()
{
    std::uint32_t corrupt = 0;
    (void)FLASHSAFE_CheckPartition(2, 1, 0, &corrupt);
}

const Case kCases[] = {
    {"FileExists", Call::stat, [] { UTIL_FileExists("/tmp/d/file.log"); }},
    {"PatternExists", Call::malloc, [] { UTIL_FileExists("/tmp/d/*.log"); }},
    {"PatternExists", Call::opendir, [] { UTIL_FileExists("/tmp/d/*.log"); }},
    {"PatternExists", Call::readdir, [] { UTIL_FileExists("/tmp/d/*.log"); }},
    {"DirExists", Call::stat, [] { UTIL_DirExists("/tmp/d"); }},
    {"DeleteFile", Call::stat, [] { UTIL_DeleteFile("/tmp/d/file.log"); }},
    {"DeleteFile", Call::unlink, [] { UTIL_DeleteFile("/tmp/d/file.log"); }},
    {"CreateFolderRecursive", Call::stat, [] { UTIL_CreateFolderRecursive("/tmp/a/b", 0755); }},
    {"CreateFolderRecursive", Call::mkdir, [] { UTIL_CreateFolderRecursive("/tmp/a/b", 0755); }},
    {"GetFolderItems", Call::malloc, list_files},
    {"GetFolderItems", Call::opendir, list_files},
    {"GetFolderItems", Call::readdir, list_files},
    {"GetFolderItems", Call::stat, list_files},
    {"GetPidFromProcessName", Call::opendir, find_process},
    {"GetPidFromProcessName", Call::readdir, find_process},
    {"GetPidFromProcessName", Call::open, find_process},
    {"GetPidFromProcessName", Call::read, find_process},
    {"GetProcessName", Call::open, name_process},
    {"FindPid", Call::open, [] { UTIL_FindPid(1); }},
    {"ReadErrorCount", Call::stat, [] { bterrors_ReadErrorCount(); }},
    {"ReadErrorCount", Call::fopen, [] { bterrors_ReadErrorCount(); }},
    {"ReadErrorCount", Call::fclose, [] { bterrors_ReadErrorCount(); }},
    {"LogError", Call::fwrite, [] { BTE_LogError(); }},
    {"OpenAndRead", Call::fclose, read_file},
    {"OpenAndWrite", Call::fclose, write_file},
    {"DevicesLookedFor", Call::glob, [] { (void)FLASHSAFE_ShutdownDriver(0, 0); }},
    {"CheckPartition", Call::readdir, check_deep},
};

INSTANTIATE_TEST_SUITE_P(Files, Cancellation, testing::ValuesIn(kCases), [](const auto& test) {
    return std::string(test.param.function) + "_" + fault::name(test.param.call);
});

}  // namespace
