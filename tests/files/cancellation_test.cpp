// Threads that are cancelled in the middle of a function that must not be left half way.
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <pthread.h>
#include <string>

#include <gmock/gmock.h>

#include "common.h"
#include "fault.h"
#include "flash_safety.h"
#include "folder_lists.h"
#include "fresh_process.h"
#include "oxa_file.h"

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

/// Runs a case, which must come to its end, and then is cancelled there.
void* run_cancelled(void* argument)
{
    const auto& [its, has_returned] = *static_cast<const std::pair<const Case&, bool&>*>(argument);
    // Any function that may be a cancellation point is made one.
    fault::on_call(its.call, 1, [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    });
    its.run();
    has_returned = true;
    pthread_testcancel();
    return nullptr;
}

class Cancellation : public testing::TestWithParam<Case> {};

TEST_P(Cancellation, WaitsForTheEnd)
{
    // Writing a record is a point where a thread may be cancelled.
    FreshSetup setup{.env = {{"COMMON_LOG_LEVEL", "Critical"},
                             {"FLASH_START_DRIVER_NAME", "none"},
                             {"FLASH_START_DRIVER_OPTIONS", ""},
                             {"FLASH_START_BOOT_SIZE", "1"},
                             {"FLASH_START_ROOT_SIZE", "1"},
                             {"FLASH_START_CONFIG_MFG_SIZE", "1"},
                             {"FLASH_START_CONFIG_SIZE", "1"},
                             {"FLASH_START_LOG_SIZE", "1"}}};
    setup.prepare = [] {
        make_file("/tmp/d/file.log", "content");
        make_file("/dev/fs0");
        make_file("/dev/shmem/bterrors.log", "1");
    };
    const Outcome outcome = well(setup, [] {
        bool has_returned = false;
        std::pair<const Case&, bool&> state{GetParam(), has_returned};
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, run_cancelled, &state), 0);
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        EXPECT_TRUE(has_returned);
        EXPECT_EQ(result, PTHREAD_CANCELED) << "and can be cancelled again";
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
