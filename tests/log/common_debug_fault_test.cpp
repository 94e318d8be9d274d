// Failures under debug output: closing its file, the local time, the shell.
#include "common_debug.h"

#include "fault.h"
#include "log_calls.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kFile = "/config/common/debug/settings.txt";

const RowText kNotClosed{"stderr", "common_debug", "threadOnce",
                         "Failed to close the global log file "
                         "\"/config/common/debug/settings.txt\" with error: Input/output error"};

TEST(CommonDebugFault, AFailingCloseIsToldWhenTheFileTurnedOutputOn)
{
    const FreshSetup setup{.files = {{kFile, "COMMON_DEBUG_ENABLE=True\n"}}};
    const Outcome outcome = well(setup, [] {
        fault::fail(fault::Call::close, 1, EIO);
        EXPECT_EQ(COMMON_Debug_GetEnable(), 1u);
        EXPECT_EQ(fault::fired(), 1);
        COMMON_Debug_Write(stderr, "f", "g", 1, "next");
    });
    EXPECT_THAT(row_texts(outcome.err),
                ElementsAre(kNotClosed, RowText{"stderr", "f", "g", "next"}));
    EXPECT_EQ(outcome.out, "");
}

TEST(CommonDebugFault, AFailingCloseIsSilentWhenOutputIsOffByThen)
{
    for (const char* content : {"", "COMMON_DEBUG_ENABLE=False\n"}) {
        const FreshSetup setup{.env = kDebugOn, .files = {{kFile, content}}};
        const Outcome outcome = well(setup, [] {
            fault::fail(fault::Call::close, 1, EIO);
            EXPECT_EQ(COMMON_Debug_GetEnable(), 1u);
            EXPECT_EQ(fault::fired(), 1);
        });
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST(CommonDebugFault, AFileThatCannotBeOpenedIsNoError)
{
    const FreshSetup setup{.files = {{kFile, "COMMON_DEBUG_ENABLE=True\n"}}};
    const Outcome outcome = well(setup, [] {
        fault::fail(fault::Call::open, 1, EACCES);
        EXPECT_EQ(COMMON_Debug_GetEnable(), 0u);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(CommonDebugFault, WithoutLocalTimeTheProcessEnds)
{
    const Outcome outcome = run_fresh({.env = kDebugOn}, [] {
        fault::fail(fault::Call::localtime_r);
        COMMON_Debug_Write(stdout, "f", "g", 1, "row");
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_debug", "debugWriteV", "((void *)0) != ptm"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.log, IsEmpty());
}

FRESH_TEST(CommonDebugFault, NoTimeIsAskedForWhileOff)
{
    fault::fail_always(fault::Call::clock_gettime);
    fault::fail_always(fault::Call::localtime_r);
    COMMON_Debug_Write(stderr, "f", "g", 1, "row");
    EXPECT_EQ(fault::fired(), 0);
}

TEST(CommonDebugFault, PanicExitsWithOneWhenTheShellCannotBeRun)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(fault::Call::system);
        COMMON_Debug_Panic();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out + outcome.err, "");
}

FRESH_TEST(CommonDebugFault, ADumpThatIsOffTakesNoMemory)
{
    COMMON_Debug_GetEnable();
    fault::reset();
    COMMON_Debug_HexDump("f", "g", 1, "v", "bytes", 5);
    EXPECT_EQ(fault::calls(fault::Call::malloc), 0);
}

TEST(CommonDebugFault, NoMemoryForADumpEndsTheProcess)
{
    const Outcome outcome = run_fresh({.env = kDebugOn}, [] {
        COMMON_Debug_GetEnable();
        fault::fail(fault::Call::malloc);
        COMMON_Debug_HexDump("f", "g", 1, "area", "bytes", 5);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                testing::ElementsAre(said(kCritical, "MALLOC", "mem_malloc", "ErrorLog_Write",
                                          testing::HasSubstr(") Could not allocate memory."))));
}

TEST(CommonDebugFault, ADumpReturnsItsMemory)
{
    well({.env = kDebugOn}, [] {
        const long blocks = fault::outstanding_blocks();
        COMMON_Debug_HexDump("f", "g", 1, "area", "bytes", 5);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
}

}  // namespace
