// Allocations that fail: what is reported, how the process ends, and the one that goes on.
#include "mem_malloc.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>

#include "common_log_settings.h"
#include "fake_proc.h"
#include "fault.h"
#include "memory_report.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Allocation {
    const char* name;
    Call failing;
    const char* message;
    void (*call)();
};

void PrintTo(const Allocation& allocation, std::ostream* stream)
{
    *stream << allocation.name;
}

const Allocation kAllocations[] = {
    {"Malloc", Call::malloc, kNoMemory, [] { (void)MEM_Malloc(16); }},
    {"MallocOfNothing", Call::malloc, kNoMemory, [] { (void)MEM_Malloc(0); }},
    {"Salloc", Call::malloc, kNoMemory, [] { (void)MEM_Salloc(16); }},
    {"SallocOfMuch", Call::malloc, kNoMemory, [] { (void)MEM_Salloc(8192); }},
    {"Clone", Call::malloc, kNoMemory, [] { (void)MEM_Clone(4, "abc"); }},
    {"Realloc", Call::realloc, kNoMemoryAgain, [] { (void)MEM_Realloc(MEM_Malloc(16), 32); }},
    {"ReallocOfNull", Call::realloc, kNoMemoryAgain, [] { (void)MEM_Realloc(nullptr, 16); }},
};

class MemMallocFailure : public testing::TestWithParam<Allocation> {};

TEST_P(MemMallocFailure, EndsTheProcessWithOneRecord)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        fault::fail(GetParam().failing);
        GetParam().call();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(memory_report(kernel_name() + "/ ", outcome, GetParam().message)));
    EXPECT_EQ(outcome.err, "");
}

INSTANTIATE_TEST_SUITE_P(Calls, MemMallocFailure, testing::ValuesIn(kAllocations),
                         [](const auto& test) { return std::string(test.param.name); });

/// Runs out of memory in a process with a setup; standard output has its id.
Outcome run_out_of_memory(
    const FreshSetup& setup, const std::function<void()>& before = [] {})
{
    return run_fresh(setup, [&] {
        tell_process_id();
        before();
        fault::fail_always(Call::malloc);
        (void)MEM_Malloc(16);
    });
}

Report no_memory_for_the_log()
{
    return said(COMMON_LogLevelError, "", "common_log", "handlerLegacy",
                "Failed to allocate memory for log data");
}

TEST(MemMallocFault, EveryAllocationFailingFromTheFirstUseOn)
{
    const Outcome outcome = run_out_of_memory({});
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(no_memory_for_the_log(),
                                         memory_report(kernel_name() + "/ ", outcome, kNoMemory)));
}

TEST(MemMallocFault, EveryAllocationFailingWithoutRecordsOfThreads)
{
    const Outcome outcome = run_out_of_memory({.env = {{"COMMON_LOG_CACHE", "False"}}});
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(memory_report(kernel_name() + "/ ", outcome, kNoMemory)));
}

TEST(MemMallocFault, ThreadThatLoggedBeforeHasItsRecord)
{
    const Outcome outcome = run_out_of_memory({}, [] {
        COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "zone", "file", "function", 1, "before");
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(said(COMMON_LogLevelInfo, "zone", "file", "function", "before"),
                            memory_report(kernel_name() + "/ ", outcome, kNoMemory)));
}

TEST(MemMallocFault, ExitHandlersRun)
{
    const Outcome outcome = run_fresh([] {
        std::atexit([] { std::fputs("handler", stdout); });
        fault::fail(Call::malloc);
        (void)MEM_Malloc(1);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out, "handler");
}

TEST(MemMallocFault, NothingIsWrittenBelowTheLevel)
{
    for (const FreshSetup& setup : {FreshSetup{.env = {{"COMMON_LOG_LEVEL", "Fatal"}}},
                                    FreshSetup{.env = {{"COMMON_LOG_ENABLE", "False"}}}}) {
        const Outcome outcome = run_out_of_memory(setup);
        EXPECT_THAT(outcome, exited(1));
        EXPECT_THAT(outcome.log, IsEmpty());
    }
}

TEST(MemMallocFault, CriticalIsEnoughToBeWritten)
{
    const Outcome outcome =
        run_out_of_memory({.env = {{"COMMON_LOG_LEVEL", "Critical"}, {"COMMON_LOG_CACHE", "0"}}});
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                testing::Contains(memory_report(kernel_name() + "/ ", outcome, kNoMemory)));
}

// The process's name.

TEST(MemMallocFault, NameIsNoFormat)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        set_kernel_name("%s%n%d/x");
        fault::fail(Call::malloc);
        (void)MEM_Malloc(16);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(memory_report("%s%n%d/x/ ", outcome, kNoMemory)));
}

TEST(MemMallocFault, NameIsCutAtABlank)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        set_kernel_name("two words");
        fault::fail(Call::malloc);
        (void)MEM_Malloc(16);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(memory_report("two/ ", outcome, kNoMemory)));
}

TEST(MemMallocFault, LongestNameFits)
{
    const std::string name(248, 'n');  // with "Name:" and a blank, what a line of 254 holds
    const Outcome outcome = run_fresh([&] {
        tell_process_id();
        fake_status("Name:\t" + name + "\n");
        fault::fail(Call::malloc);
        (void)MEM_Malloc(16);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(memory_report(name + "/ ", outcome, kNoMemory)));
}

TEST(MemMallocFault, ProcessWithoutANameIsTheNumberOnly)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        fake_status("State:\tR (running)\n");
        fault::fail(Call::malloc);
        (void)MEM_Malloc(16);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log, ElementsAre(memory_report("", outcome, kNoMemory)));
}

TEST(MemMallocFault, ProcessFileSystemGoneAfterTheFirstUse)
{
    const Outcome outcome = run_fresh([] {
        tell_process_id();
        COMMON_Log_Acceptable(COMMON_LogLevelInfo);
        hide_proc();
        fault::fail_always(Call::malloc);
        (void)MEM_Malloc(16);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_THAT(outcome.log,
                ElementsAre(no_memory_for_the_log(), memory_report("", outcome, kNoMemory)));
}

// The log cannot start without the process's own record.
TEST(MemMallocFault, ProcessFileSystemMissingAtTheFirstUse)
{
    const Outcome outcome = run_out_of_memory({}, [] { hide_proc(); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_process", "load_calling_process",
                                            "STATUS_SUCCESS == status"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

// What does not end it.

TEST(MemMallocFault, TextThatCannotBeCopiedIsNull)
{
    const Outcome outcome = well([] {
        fault::fail(Call::strdup);
        EXPECT_EQ(MEM_StrDup("text"), nullptr);
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(MemMallocFault, ReallocToZeroIsHandedOnAndNullIsNoFailure)
{
    const Outcome outcome = well([] {
        const long blocks = fault::outstanding_blocks();
        void* const block = MEM_Malloc(16);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
        EXPECT_EQ(MEM_Realloc(block, 0), nullptr);
        EXPECT_EQ(fault::calls(Call::realloc), 1);
        EXPECT_EQ(fault::outstanding_blocks(), blocks) << "the block is not freed";
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

FRESH_TEST(MemMallocFault, ReallocOfNullToZeroAllocatesNothing)
{
    EXPECT_EQ(MEM_Realloc(nullptr, 0), nullptr);
    EXPECT_EQ(fault::calls(Call::realloc), 0);
    EXPECT_EQ(fault::calls(Call::malloc), 0);
}

FRESH_TEST(MemMallocFault, NullAndNothingAllocateNothing)
{
    EXPECT_EQ(MEM_StrDup(nullptr), nullptr);
    EXPECT_EQ(fault::calls(Call::strdup), 0);
    COMMON_Log_EnableSet(0);
    EXPECT_EQ(MEM_Clone(0, "x"), nullptr);
    EXPECT_EQ(fault::calls(Call::malloc), 0);
}

}  // namespace
