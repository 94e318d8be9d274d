// Scenarios of the fault sweep: memory, codes, clocks, commands.
#include <cerrno>
#include <csignal>
#include <ctime>

#include "ends.h"
#include "scenario.h"

using namespace faults;

namespace {

constexpr char kText[] = "text";

SCENARIO(MEM_Malloc, gives("set"), out_of_memory_ends())
{
    MEM_Free(CALL(MEM_Malloc, 10));
    MEM_Free(MEM_Malloc(10));
}

SCENARIO(MEM_Salloc, gives("set"), out_of_memory_ends())
{
    MEM_Free(CALL(MEM_Salloc, 10));
}

SCENARIO(LargeBlockIsZeroed, gives("set"), out_of_memory_ends())
{
    MEM_Free(CALL(MEM_Salloc, 100'000));
}

SCENARIO(MEM_Realloc, gives("set"), out_of_memory_ends(Call::realloc))
{
    void* const block = MEM_Malloc(10);
    MEM_Free(CALL(MEM_Realloc, block, 10'000));
}

SCENARIO(MEM_Clone, gives("set"), out_of_memory_ends())
{
    char* const copy = static_cast<char*>(CALL(MEM_Clone, sizeof kText, kText));
    EXPECT_STREQ(copy, kText);
    MEM_Free(copy);
}

/// The one that tells of a lack of memory by its result.
SCENARIO(MEM_StrDup, gives("\"text\""), on(Call::strdup).gives("null"))
{
    MEM_Free(CALL(MEM_StrDup, kText));
    char* const copy = MEM_StrDup(kText);
    EXPECT_STREQ(copy, kText);
    MEM_Free(copy);
}

SCENARIO(MemoryIsCopiedAndFreed)
{
    char area[sizeof kText];
    EXPECT_EQ(CALL(MEM_Copy, area, kText, sizeof kText), area);
    EXPECT_EQ(CALL(MEM_Compare, area, kText, sizeof kText), MEM_CompareEqual);
    EXPECT_EQ(CALL(MEM_Move, area, area + 1, 2), area);
    EXPECT_EQ(CALL(MEM_Set, area, 'x', 1), area);
    EXPECT_STREQ(area, "xxxt");
    void* const block = MEM_Malloc(1);
    CALL(MEM_Free, block);
}

SCENARIO(CodesHaveTexts)
{
    EXPECT_STREQ(CALL(StatusToStr, STATUS_SUCCESS), "Success");
    EXPECT_EQ(CALL(StatusStrToStatus, "STATUS_SUCCESS"), STATUS_SUCCESS);
    EXPECT_STREQ(CALL(ServiceToStr, 25), "Custom IR IOS");
    EXPECT_EQ(CALL(ServiceStrToService, "none"), SERVICE{UNKNOWN_SERVICE});
    EXPECT_STREQ(CALL(TransportToStr, TRANSPORT_DDC), "TransportDDC");
    EXPECT_STREQ(CALL(COMMON_Version), COMMON_VERSION);
    EXPECT_STREQ(CALL(COMMON_System_ClockId_ToString, CLOCK_REALTIME), "CLOCK_REALTIME");
}

/// A clock that cannot be read is reported and gives 0.
Promise clock_reports(Call call, const char* function, const char* what)
{
    return on(call).gives("0").logs(
        {said(COMMON_LogLevelFatal, "", "common_system", function,
              std::string("Failed to get the ") + what + " with error: {error}")});
}

Promise time_reports(const char* what)
{
    return clock_reports(Call::clock_gettime, "COMMON_System_GetTimeByClockId", what);
}

Promise resolution_reports()
{
    return clock_reports(Call::clock_getres, "COMMON_System_GetTimeResByClockId",
                         "CLOCK_REALTIME resolution");
}

/// A resolution that cannot be had counts as 0, and is divided by.
Promise division_by_zero()
{
#if !defined(__aarch64__)
    return resolution_reports().dies_of(SIGFPE);
#else
    return resolution_reports();
#endif
}

SCENARIO(COMMON_System_GetTimeByClockId, gives("1"), time_reports("CLOCK_MONOTONIC time"))
{
    const std::uint64_t time = UNTOLD_CALL(COMMON_System_GetTimeByClockId, CLOCK_MONOTONIC);
    note_result(shown(time != 0));
    EXPECT_NE(COMMON_System_GetTimeByClockId(CLOCK_MONOTONIC), 0U);
}

SCENARIO(COMMON_System_Time, gives("1"), time_reports("CLOCK_REALTIME time"))
{
    const std::uint64_t time = UNTOLD_CALL(COMMON_System_Time);
    note_result(shown(time != 0));
    EXPECT_NE(COMMON_System_Time(), 0U);
}

SCENARIO(COMMON_System_GetTimeResByClockId, resolution_reports())
{
    CALL(COMMON_System_GetTimeResByClockId, CLOCK_REALTIME);
    EXPECT_NE(COMMON_System_GetTimeResByClockId(CLOCK_REALTIME), 0U);
}

SCENARIO(COMMON_System_GetCyclesPerSecondByClockId, division_by_zero())
{
    std::signal(SIGFPE, SIG_DFL);  // also where a sanitizer would catch it
    CALL(COMMON_System_GetCyclesPerSecondByClockId, CLOCK_REALTIME);
}

SCENARIO(COMMON_System_Cycles, gives("1"), time_reports("CLOCK_REALTIME time"), division_by_zero())
{
    std::signal(SIGFPE, SIG_DFL);
    const std::uint64_t cycles = UNTOLD_CALL(COMMON_System_Cycles);
    note_result(shown(cycles != 0));
}

SCENARIO(COMMON_System_Exec, gives("768"), on(Call::system).gives("-1"))
{
    CALL(COMMON_System_Exec, "exit 3");
    EXPECT_EQ(COMMON_System_Exec("true"), 0);
}

SCENARIO(COMMON_System_Exit, gives("3"))
{
    note_result(shown(exit_status_of([] { CALL(COMMON_System_Exit, 3); })));
}

/// An interrupted sleep is not resumed.
SCENARIO(OS_Sleep)
{
    CALL(OS_Sleep, 1);
}

/// Ticks that nobody can tell the length of are none.
SCENARIO(GetSystemTime, gives("1"), on(Call::sysconf).gives("0"))
{
    const std::uint64_t time = UNTOLD_CALL(GetSystemTime);
    note_result(shown(time != 0));
    EXPECT_NE(GetSystemTime(), 0U);
}

SCENARIO(EnvironmentIsLookedAt)
{
    EXPECT_EQ(CALL(COMMON_System_Environment), environ);
    EXPECT_STREQ(CALL(COMMON_System_Variable, "TZ"), "UTC");
}

}  // namespace
