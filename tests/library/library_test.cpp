// The library as programs use it: linked into one in C, and loaded late.
#include <gmock/gmock.h>

#include "common_log.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "log_layout.h"

using namespace harness;
using testing::ElementsAre;

namespace {

TEST(Library, ProgramInCUsesEveryHeader)
{
    const Outcome outcome = run_program({}, {C_PROGRAM});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.out, "Warn\n");
    EXPECT_EQ(outcome.err, "");
    ASSERT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelWarn, "COMMON", "c_program", "main",
                                              "Time Out, True")));
    EXPECT_EQ(parse_syslogngext(outcome.log[0].text)->line, 7);
}

TEST(Library, ProgramOfTheReadmeLogsWhatItCannotRead)
{
    const Outcome outcome = run_program({}, {README_PROGRAM, "/no/such/file"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.err, "");
    ASSERT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelWarn, "TUNER", "readme_program.c", "main",
                                 "cannot read /no/such/file: No such file or directory")));
    EXPECT_EQ(parse_syslogngext(outcome.log[0].text)->line, 9);
    EXPECT_THAT(run_program({}, {README_PROGRAM, "/"}).log, testing::IsEmpty());
}

TEST(Library, ThreadsEndWellAfterTheLibraryWasLetGo)
{
    const Outcome outcome = run_program({}, {LATE_LOADER, LIBRARY});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.err, "");
    const auto from_thread =
        said(COMMON_LogLevelWarn, "zone", "late_loader", "log_and_let_go", "from a late thread");
    EXPECT_THAT(outcome.log, ElementsAre(from_thread, from_thread));
}

TEST(Library, ForkHandlersThatWereThereBeforeItMayLog)
{
    const Outcome outcome = run_program({}, {LATE_LOADER, LIBRARY, "fork"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.err, "");
    const auto from = [](const char* handler) {
        return said(COMMON_LogLevelWarn, "zone", "late_loader", handler, "from a handler");
    };
    ASSERT_THAT(outcome.log, testing::SizeIs(5));  // after those of two threads
    EXPECT_THAT(outcome.log[2], from("prepare"));
    for (const char* handler : {"parent", "child"}) {
        EXPECT_THAT(outcome.log, testing::Contains(from(handler)).Times(1));
    }
}

}  // namespace
