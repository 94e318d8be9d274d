// What is known about a process: the calling one, once, and any other.
#include "common_process.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common_log.h"
#include "debug_rows.h"
#include "fake_proc.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "wait_until.h"

using namespace harness;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// No process has this id.
constexpr std::uint32_t kNobody = 4'294'967'295;

const FreshSetup kDebugOn{.env = {{"COMMON_DEBUG_ENABLE", "True"}}};

std::uint32_t own_id()
{
    return static_cast<std::uint32_t>(getpid());
}

/// Checks a loaded record but for where its name points to.
void expect_loaded(const COMMON_Process& record, std::uint32_t id, const std::string& name)
{
    EXPECT_EQ(record.id, id);
    EXPECT_EQ(record.path, "/proc/" + std::to_string(id) + "/status");
    EXPECT_EQ(record.buffer, name);
    EXPECT_EQ(record.bufferLength, name.size());
    EXPECT_EQ(record.name, name);
    EXPECT_EQ(record.nameLength, name.size());
    EXPECT_EQ(record.loaded, 1U);
}

TEST(CommonProcess, RecordHasItsFieldsInOrder)
{
    EXPECT_EQ(offsetof(COMMON_Process, id), 0U);
    EXPECT_EQ(offsetof(COMMON_Process, path), 4U);
    EXPECT_EQ(sizeof(COMMON_Process::path), 257U);
    EXPECT_EQ(offsetof(COMMON_Process, buffer), 4U + 257U);
    EXPECT_EQ(sizeof(COMMON_Process::buffer), 256U);
    EXPECT_EQ(sizeof(COMMON_Process::bufferLength), 4U);
    EXPECT_LT(offsetof(COMMON_Process, bufferLength), offsetof(COMMON_Process, name));
    EXPECT_LT(offsetof(COMMON_Process, name), offsetof(COMMON_Process, nameLength));
    EXPECT_LT(offsetof(COMMON_Process, nameLength), offsetof(COMMON_Process, loaded));
    EXPECT_EQ(sizeof(COMMON_Process::loaded), 4U);
}

TEST(CommonProcess, EmptyRecordIsExported)
{
    EXPECT_EQ(COMMON_Process_NULL.id, 0U);
    EXPECT_STREQ(COMMON_Process_NULL.path, "/proc/0");
    EXPECT_THAT(COMMON_Process_NULL.buffer, Each('\0'));
    EXPECT_EQ(COMMON_Process_NULL.bufferLength, 0U);
    EXPECT_STREQ(COMMON_Process_NULL.name, "");
    EXPECT_EQ(COMMON_Process_NULL.nameLength, 0U);
    EXPECT_EQ(COMMON_Process_NULL.loaded, 0U);
}

FRESH_TEST(CommonProcess, CallingProcessIsCopied)
{
    COMMON_Process first = COMMON_Process_NULL;
    COMMON_Process second = COMMON_Process_NULL;
    COMMON_Process_Get(&first);
    COMMON_Process_Get(&second);
    expect_loaded(first, own_id(), kernel_name());
    expect_loaded(second, own_id(), kernel_name());
    EXPECT_NE(first.name, first.buffer);
    EXPECT_EQ(first.name, second.name) << "not the library's own record";
    EXPECT_EQ(COMMON_Process_Id(), own_id());
}

FRESH_TEST(CommonProcess, IdLoadsTheRecord)
{
    EXPECT_EQ(COMMON_Process_Id(), own_id());
}

FRESH_TEST(CommonProcess, LongestKernelNameIsStoredWithoutItsNewline)
{
    set_kernel_name("fifteen letters");
    COMMON_Process record;
    COMMON_Process_Get(&record);
    expect_loaded(record, own_id(), "fifteen letters");
    EXPECT_EQ(record.nameLength, 15U);
    EXPECT_EQ(record.bufferLength, 15U);
}

FRESH_TEST(CommonProcess, CallingProcessIsLoadedOnce)
{
    const std::string name = kernel_name();
    COMMON_Process record;
    COMMON_Process_Get(&record);
    set_kernel_name("renamed");
    COMMON_Process_Get(&record);
    expect_loaded(record, own_id(), name);
    EXPECT_EQ(COMMON_Process_GetById(own_id(), &record), STATUS_SUCCESS);
    expect_loaded(record, own_id(), "renamed");
}

FRESH_TEST(CommonProcess, ChildKeepsTheRecordOfItsParent)
{
    const std::uint32_t parent = COMMON_Process_Id();
    const pid_t child = fork();
    if (child == 0) {
        EXPECT_EQ(COMMON_Process_Id(), parent);
        _exit(0);
    }
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

FRESH_TEST(CommonProcess, AnyProcessCanBeAskedFor)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        set_kernel_name("the child");
        close(ends[1]);
        char byte = 0;
        _exit(static_cast<int>(read(ends[0], &byte, 1)));
    }
    const auto child_id = static_cast<std::uint32_t>(child);
    COMMON_Process record;
    EXPECT_TRUE(wait_until([&] {
        EXPECT_EQ(COMMON_Process_GetById(child_id, &record), STATUS_SUCCESS);
        return std::strcmp(record.name, "the child") == 0;
    }));
    expect_loaded(record, child_id, "the child");
    EXPECT_EQ(record.name, record.buffer);
    COMMON_Process own;
    COMMON_Process_Get(&own);
    expect_loaded(own, own_id(), kernel_name());
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

FRESH_TEST(CommonProcess, MissingProcessFailsSilently)
{
    COMMON_Process record;
    std::memset(&record, 0xEE, sizeof record);
    EXPECT_EQ(COMMON_Process_GetById(kNobody, &record), STATUS_FAILED);
    EXPECT_EQ(record.id, kNobody);
    EXPECT_STREQ(record.path, "/proc/4294967295/status");
    EXPECT_THAT(record.buffer, Each('\xEE'));
    EXPECT_EQ(record.bufferLength, 0xEEEEEEEEU);
    EXPECT_EQ(record.nameLength, 0xEEEEEEEEU);
    EXPECT_EQ(record.loaded, 0xEEEEEEEEU);
}

TEST(CommonProcess, MissingProcessIsTold)
{
    const Outcome outcome = well(kDebugOn, [] {
        COMMON_Process record;
        EXPECT_EQ(COMMON_Process_GetById(kNobody, &record), STATUS_FAILED);
    });
    EXPECT_THAT(row_texts(outcome.err),
                ElementsAre(RowText{"stderr", "common_process", "load",
                                    "Failed to fopen '/proc/4294967295/status' with error: No such "
                                    "file or directory (2)"}));
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.log, IsEmpty());
}

struct StatusFile {
    const char* what;
    std::string content;
    std::string name;
};

void PrintTo(const StatusFile& file, std::ostream* stream)
{
    *stream << file.what;
}

const StatusFile kStatusFiles[] = {
    {"NoNameLine", "State:\tR (running)\nTgid:\t1\n", ""},
    {"Empty", "", ""},
    {"NameInALaterLine", "Umask:\t0022\nName:\tlater\nState:\tR\n", "later"},
    {"FirstNameLineCounts", "Name:\tfirst\nName:\tsecond\n", "first"},
    {"BlanksBelongToTheName", "Name:\t two  words \n", " two  words "},
    {"EmptyName", "Name:\t\nState:\tR\n", ""},
    {"NoNewlineAtTheEnd", "Name:\tlast", "last"},
    {"BlankInsteadOfATab", "Name: not\nName:\tthis\n", "this"},
    {"OtherCase", "NAME:\tnot\nname:\tnot\nName:\tthis\n", "this"},
    {"KeyNotAtTheStart", " Name:\tnot\nXName:\tnot\nName:\tthis\n", "this"},
    {"TabInTheName", "Name:\ta\tb\n", "a\tb"},
    {"LongestLine", "Name:\t" + std::string(249, 'n') + "\n", std::string(249, 'n')},
    {"LineLongerThanTheBuffer", "Name:\t" + std::string(300, 'n') + "\n", std::string(249, 'n')},
    {"PieceOfALongLine", std::string(255, 'x') + "Name:\tpiece\nName:\tline\n", "piece"},
    {"LongLineBeforeIt", std::string(1000, 'x') + "\nName:\tline\n", "line"},
};

class CommonProcessStatus : public testing::TestWithParam<StatusFile> {};

TEST_P(CommonProcessStatus, GivesTheName)
{
    const Outcome outcome = well([] {
        fake_status(GetParam().content);
        COMMON_Process record;
        std::memset(&record, 0xEE, sizeof record);
        COMMON_Process_Get(&record);
        expect_loaded(record, own_id(), GetParam().name);
        std::memset(&record, 0xEE, sizeof record);
        EXPECT_EQ(COMMON_Process_GetById(own_id(), &record), STATUS_SUCCESS);
        expect_loaded(record, own_id(), GetParam().name);
        EXPECT_EQ(record.name, record.buffer);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_EQ(outcome.err, "");
}

INSTANTIATE_TEST_SUITE_P(Files, CommonProcessStatus, testing::ValuesIn(kStatusFiles),
                         [](const auto& test) { return std::string(test.param.what); });

TEST(CommonProcess, NullCopyEndsTheProcess)
{
    const Outcome get = run_fresh([] { COMMON_Process_Get(nullptr); });
    EXPECT_THAT(get, killed_by(SIGABRT));
    EXPECT_THAT(get.err,
                assertion_text("common_process", "COMMON_Process_Get", "((void *)0) != copy"));
    EXPECT_THAT(get.log, IsEmpty());

    const Outcome by_id = run_fresh([] { (void)COMMON_Process_GetById(own_id(), nullptr); });
    EXPECT_THAT(by_id, killed_by(SIGABRT));
    EXPECT_THAT(by_id.err,
                assertion_text("common_process", "COMMON_Process_GetById", "((void *)0) != copy"));
    EXPECT_THAT(by_id.log, IsEmpty());
}

/// Each first use of the library that needs the calling process's record.
struct FirstUse {
    const char* what;
    void (*call)();
};

void PrintTo(const FirstUse& use, std::ostream* stream)
{
    *stream << use.what;
}

const FirstUse kFirstUses[] = {
    {"Id", [] { COMMON_Process_Id(); }},
    {"Get",
     [] {
         COMMON_Process record;
         COMMON_Process_Get(&record);
     }},
    {"GetById",
     [] {
         COMMON_Process record;
         (void)COMMON_Process_GetById(1, &record);
     }},
    {"Log", [] { COMMON_Log_Acceptable(COMMON_LogLevelFatal); }},
};

class CommonProcessMissing : public testing::TestWithParam<FirstUse> {};

TEST_P(CommonProcessMissing, EndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        hide_proc();
        GetParam().call();
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_process", "load_calling_process",
                                            "STATUS_SUCCESS == status"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(FirstUses, CommonProcessMissing, testing::ValuesIn(kFirstUses),
                         [](const auto& test) { return std::string(test.param.what); });

TEST(CommonProcess, MissingFileSystemIsToldBeforeTheEnd)
{
    const Outcome outcome = run_fresh(kDebugOn, [] {
        dprintf(STDOUT_FILENO, "%d", getpid());
        hide_proc();
        COMMON_Process_Id();
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    const RowText told{"stderr", "common_process", "load",
                       "Failed to fopen '/proc/" + outcome.out +
                           "/status' with error: No such file or directory (2)"};
    EXPECT_THAT(row_texts(outcome.err), testing::Contains(told));
    EXPECT_THAT(outcome.err, testing::EndsWith("Assertion `STATUS_SUCCESS == status' failed.\n"));
}

TEST(CommonProcess, FileSystemThatGoesAwayLaterOnlyFails)
{
    const Outcome outcome = well([] {
        COMMON_Process_Id();
        hide_proc();
        COMMON_Process record;
        EXPECT_EQ(COMMON_Process_GetById(own_id(), &record), STATUS_FAILED);
        COMMON_Process_Get(&record);
        EXPECT_EQ(record.name, kernel_name());
        std::exit(0);
    });
}

}  // namespace
