// Status files that cannot be opened, read or closed.
#include "common_process.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <unistd.h>

#include "common_log.h"
#include "debug_rows.h"
#include "fake_proc.h"
#include "fault.h"
#include "forked.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "log_layout.h"
#include "wait_until.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const FreshSetup kDebugOn{.env = {{"COMMON_DEBUG_ENABLE", "True"}}};

std::uint32_t own_id()
{
    return static_cast<std::uint32_t>(getpid());
}

/// Asks for the calling process while something fails; standard output has its id.
Outcome load_with(const FreshSetup& setup, Call failing, int error, STATUS result,
                  const std::string& name)
{
    return well(setup, [&] {
        dprintf(STDOUT_FILENO, "%d", getpid());
        COMMON_Process record = COMMON_Process_NULL;
        COMMON_Process_Get(&record);
        record = COMMON_Process_NULL;
        fault::fail(failing, 1, error);
        EXPECT_EQ(COMMON_Process_GetById(own_id(), &record), result);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(record.id, own_id());
        EXPECT_EQ(record.path, status_path());
        EXPECT_EQ(record.name, name);
        EXPECT_EQ(record.nameLength, name.size());
        EXPECT_EQ(record.bufferLength, name.size());
        EXPECT_EQ(record.loaded, result == STATUS_SUCCESS ? 1U : 0U);
    });
}

TEST(CommonProcessFault, FileThatCannotBeOpenedFails)
{
    Outcome outcome = load_with(kDebugOn, Call::open, EACCES, STATUS_FAILED, "");
    EXPECT_THAT(row_texts(outcome.err),
                ElementsAre(RowText{"stderr", "common_process", "load",
                                    "Failed to fopen '/proc/" + outcome.out +
                                        "/status' with error: Permission denied (13)"}));
    EXPECT_THAT(outcome.log, IsEmpty());

    outcome = load_with({}, Call::open, EMFILE, STATUS_FAILED, "");
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonProcessFault, FileThatCannotBeClosedIsToldAndCounts)
{
    Outcome outcome = load_with(kDebugOn, Call::close, EIO, STATUS_SUCCESS, kernel_name());
    EXPECT_THAT(row_texts(outcome.err),
                ElementsAre(RowText{"stderr", "common_process", "load",
                                    "Failed to fclose the file /proc/" + outcome.out +
                                        "/status with error: Input/output error (5)"}));
    EXPECT_THAT(outcome.log, IsEmpty());

    outcome = load_with({}, Call::close, EIO, STATUS_SUCCESS, kernel_name());
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonProcessFault, FileThatCannotBeReadHasNoName)
{
    const Outcome outcome = load_with(kDebugOn, Call::read, EIO, STATUS_SUCCESS, "");
    EXPECT_THAT(outcome.log, IsEmpty());
    EXPECT_EQ(outcome.err, "");
}

TEST(CommonProcessFault, InterruptedOpenAndReadAreTakenUpAgain)
{
    for (const Call call : {Call::open, Call::read}) {
        SCOPED_TRACE(fault::name(call));
        load_with({}, call, EINTR, STATUS_SUCCESS, kernel_name());
    }
}

TEST(CommonProcessFault, CallingProcessThatCannotBeReadAtFirstEndsIt)
{
    const Outcome outcome = run_fresh([] {
        fault::fail_always(Call::open, EMFILE);
        COMMON_Process_Id();
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_process", "load_calling_process",
                                            "STATUS_SUCCESS == status"));
}

TEST(CommonProcessFault, CloseThatFailsAtFirstIsToldAndCounts)
{
    const Outcome outcome = well({}, [] {
        fault::fail(Call::close);
        EXPECT_EQ(COMMON_Process_Id(), own_id());
        EXPECT_EQ(fault::fired(), 1);
    });
}

// Not under ThreadSanitizer, whose pthread_once() does not know that a fork ends the other threads.
TEST(CommonProcessFault, ChildForkedWhileTheRecordIsLoadedLoadsItsOwn)
{
    for (const Call call : {Call::open, Call::read, Call::close}) {
        SCOPED_TRACE(fault::name(call));
        const Outcome outcome = well([call] {
            Event inside;
            Event go_on;
            fault::on_call(call, 1, [&] {
                inside.set();
                EXPECT_TRUE(go_on.wait());
            });
            std::thread loading([] { EXPECT_EQ(COMMON_Process_Id(), own_id()); });
            EXPECT_TRUE(inside.wait());
            in_child([] {
                COMMON_Process record;
                COMMON_Process_Get(&record);
                EXPECT_EQ(record.id, own_id());
                EXPECT_EQ(record.path, status_path());
                EXPECT_EQ(record.name, kernel_name());
                EXPECT_EQ(record.nameLength, kernel_name().size());
                EXPECT_EQ(record.loaded, 1U);
                COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "", "", "", 0, "%d", getpid());
            });
            go_on.set();
            loading.join();
        });
        ASSERT_EQ(outcome.log.size(), 1U);
        const auto fields = parse_syslogngext(outcome.log[0].text);
        ASSERT_TRUE(fields.has_value());
        EXPECT_EQ(std::to_string(fields->pid), fields->message);
        EXPECT_EQ(fields->process, kernel_name());
    }
}

FRESH_TEST(CommonProcessFault, FileIsReadOnceForTheCallingProcess)
{
    COMMON_Process_Id();
    const int opened = fault::calls(Call::open);
    COMMON_Process record;
    COMMON_Process_Get(&record);
    EXPECT_EQ(COMMON_Process_Id(), own_id());
    EXPECT_EQ(fault::calls(Call::open), opened);
    EXPECT_EQ(fault::calls(Call::malloc), 0);
}

}  // namespace
