// Threads that end before anybody joins them, until there is no room for more.
#include <cstdint>
#include <string>
#include <sys/resource.h>
#include <thread>

#include "common_thread.h"
#include "limits.h"
#include "log_expect.h"

using namespace harness;

namespace {

void* end_at_once(void* /*argument*/)
{
    return nullptr;
}

/// The usual default; what it is here is up to the stack limit of whoever runs the test.
constexpr std::uint32_t kStack = 8U << 20;

/// Starts threads, each of which has ended before the next one starts, until a start fails.
int start_until_refused(int at_most, COMMON_ThreadDetach_t detach_state)
{
    for (int i = 0; i < at_most; ++i) {
        COMMON_Thread thread;
        COMMON_Thread_Initialize(&thread, end_at_once, nullptr);
        COMMON_Thread_SetDetachState(&thread, detach_state);
        COMMON_Thread_SetStackSize(&thread, kStack);
        if (COMMON_Thread_Start(&thread) != STATUS_SUCCESS) {
            return i;
        }
        while (COMMON_Thread_GetId(&thread) != 0) {
            std::this_thread::yield();
        }
    }
    return at_most;
}

/// Takes most of the addresses away that a process of 64 bits has.
void limit_addresses()
{
    const rlimit limit{1U << 30, 1U << 30};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
}

TEST(ThreadLimits, DetachedThreadsThatEndLeaveNothing)
{
    const int threads = load(300, 20'000);
    run_silently(load_setup(), [=] {
        limit_addresses();
        const int started = start_until_refused(threads, COMMON_ThreadDetachDetached);
        promise(number(threads) + " detached threads, one after the other, with 1 GiB of addresses",
                "a detached one releases its resources when it ends", counted(started, threads),
                started == threads);
    });
}

TEST(ThreadLimits, JoinableThreadsThatEndKeepTheirStacks)
{
    constexpr int kMost = 1'000'000;
    const Outcome outcome = well(load_setup(), [=] {
        if (!is_full()) {
            limit_addresses();
        }
        const int started = start_until_refused(kMost, COMMON_ThreadDetachJoinable);
        const std::string promised = sizeof(void*) == 8
                                         ? "after some thousands the next start fails"
                                         : "with 32-bit addresses, after some hundreds";
        promise("joinable threads that end before they are joined", promised,
                number(started) + ", and the next start says that it failed",
                started >= (is_full() && sizeof(void*) == 8 ? 1'000 : 50) && started < kMost);
    });
    const Report refused =
        said(COMMON_LogLevelError, "", "common_thread", "COMMON_Thread_Start",
             "Failed to create the thread with error: Resource temporarily unavailable (11)");
    EXPECT_THAT(outcome.log, testing::ElementsAre(refused));
}

}  // namespace
