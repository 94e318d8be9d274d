// Forced failures hit exactly the calls that were asked for, and nobody but the library.
#include "fault.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_library.h"
#include "fresh_process.h"
#include "sanitizer.h"

using namespace harness;
using fault::Call;
using testing::HasSubstr;

namespace {

/// Leaves no request to the next test, should they share a process.
class Fault : public testing::Test {
protected:
    ~Fault() override { fault::reset(); }
};

/// Copies a text through the library: one call of strdup(). @return whether it got a copy.
bool copy_succeeds()
{
    char* copy = MEM_StrDup("text");
    MEM_Free(copy);
    return copy != nullptr;
}

TEST_F(Fault, NothingFailsUnasked)
{
    EXPECT_TRUE(copy_succeeds());
    EXPECT_EQ(fault::calls(Call::strdup), 1);
    EXPECT_EQ(fault::fired(), 0);
}

TEST_F(Fault, ExactlyTheNthCallFails)
{
    for (int nth = 1; nth <= 4; ++nth) {
        copy_succeeds();  // counted, but before the request
        fault::fail(Call::strdup, nth);
        for (int call = 1; call <= 5; ++call) {
            EXPECT_EQ(copy_succeeds(), call != nth) << nth << ", " << call;
        }
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(fault::calls(Call::strdup), 6);
        fault::reset();
    }
}

TEST_F(Fault, EveryCallFromTheNthOnFails)
{
    fault::fail_from(Call::strdup, 3);
    for (int call = 1; call <= 6; ++call) {
        EXPECT_EQ(copy_succeeds(), call < 3) << call;
    }
    EXPECT_EQ(fault::fired(), 4);
    fault::reset();
    EXPECT_EQ(fault::fired(), 0);
    EXPECT_EQ(fault::calls(Call::strdup), 0);
    fault::fail_always(Call::strdup);
    EXPECT_FALSE(copy_succeeds());
    EXPECT_FALSE(copy_succeeds());
}

TEST_F(Fault, WhatIsDeniedIsNotCounted)
{
    fault::deny(Call::system, EMFILE);
    EXPECT_EQ(COMMON_System_Exec("true"), -1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(fault::fired(), 0);
    EXPECT_EQ(fault::calls(Call::system), 1);
    fault::fail_always(Call::system);
    EXPECT_EQ(COMMON_System_Exec("true"), -1);
    EXPECT_EQ(fault::fired(), 1);
}

TEST_F(Fault, ErrorNumberIsTheChosenOrTheUsualOne)
{
    fault::fail(Call::system, 1, EMFILE);
    EXPECT_EQ(COMMON_System_Exec("true"), -1);
    EXPECT_EQ(errno, EMFILE);
    fault::fail(Call::system);
    EXPECT_EQ(COMMON_System_Exec("true"), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(COMMON_System_Exec("true"), 0);
}

TEST_F(Fault, ErrorThatIsAResultIsReturned)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::pthread_kill, 1, EAGAIN);
        COMMON_Thread self{};
        self.id = pthread_self();
        EXPECT_EQ(COMMON_Thread_Kill(&self, 0), static_cast<STATUS>(STATUS_FAILED));
        EXPECT_EQ(COMMON_Thread_Kill(&self, 0), static_cast<STATUS>(STATUS_SUCCESS));
    });
    EXPECT_THAT(outcome, exited(0));
    ASSERT_EQ(outcome.log.size(), 1u);
    EXPECT_THAT(outcome.log[0].text, HasSubstr(std::strerror(EAGAIN)));
}

TEST_F(Fault, OnlyTheLibrarysOwnCallsAreHit)
{
    fault::fail_always(Call::strdup);
    fault::fail_always(Call::malloc);
    char* own = strdup("text");
    EXPECT_NE(own, nullptr);
    std::free(own);
    EXPECT_EQ(fault::calls(Call::strdup), 0);
    EXPECT_EQ(fault::calls(Call::malloc), 0);
}

TEST_F(Fault, EndOfAProcessIsSeenFromOutside)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::malloc);
        MEM_Free(MEM_Malloc(10));
    });
    EXPECT_THAT(outcome, exited(1));
}

TEST_F(Fault, ZeroedMemoryCountsAsMalloc)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::malloc, 2);
        MEM_Free(MEM_Salloc(10));
        MEM_Free(MEM_Salloc(10));
    });
    EXPECT_THAT(outcome, exited(1));
}

TEST_F(Fault, AnyCallCountsAllFunctionsTogether)
{
    fault::fail_any(3);
    EXPECT_TRUE(copy_succeeds());
    EXPECT_EQ(COMMON_System_Exec("true"), 0);
    EXPECT_FALSE(copy_succeeds());
    EXPECT_TRUE(copy_succeeds());
    EXPECT_EQ(fault::fired(), 1);
}

TEST_F(Fault, HookRunsInsideTheNthCallBeforeItsFailure)
{
    std::vector<int> calls_when_run;
    fault::on_call(Call::strdup, 2, [&] { calls_when_run.push_back(fault::calls(Call::strdup)); });
    fault::fail(Call::strdup, 2);
    EXPECT_TRUE(copy_succeeds());
    EXPECT_TRUE(calls_when_run.empty());
    EXPECT_FALSE(copy_succeeds());
    EXPECT_TRUE(copy_succeeds());
    EXPECT_THAT(calls_when_run, testing::ElementsAre(2));
}

TEST_F(Fault, ChildrenInheritTheRequests)
{
    const Outcome outcome = run_fresh([] {
        fault::fail(Call::strdup);
        const pid_t child = fork();
        if (child == 0) {
            EXPECT_FALSE(copy_succeeds());
            _exit(0);
        }
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
        EXPECT_FALSE(copy_succeeds());
    });
    EXPECT_THAT(outcome, exited(0));
}

TEST_F(Fault, BlocksAreCounted)
{
    const long before = fault::outstanding_blocks();
    void* block = MEM_Malloc(10);
    char* text = MEM_StrDup("text");
    EXPECT_EQ(fault::outstanding_blocks(), before + 2);
    block = MEM_Realloc(block, 10'000);
    EXPECT_EQ(fault::outstanding_blocks(), before + 2);
    void* other = MEM_Realloc(nullptr, 10);
    void* zeroed = MEM_Salloc(10);
    EXPECT_EQ(fault::outstanding_blocks(), before + 4);
    for (void* each :
         {block, static_cast<void*>(text), other, zeroed, static_cast<void*>(nullptr)}) {
        MEM_Free(each);
    }
    EXPECT_EQ(fault::outstanding_blocks(), before);
    fault::fail(Call::strdup);
    EXPECT_FALSE(copy_succeeds());
    EXPECT_EQ(fault::outstanding_blocks(), before);
}

#if !defined(HARNESS_ADDRESS_SANITIZER) && !defined(HARNESS_THREAD_SANITIZER)
/// Ends a process that writes a byte at that place of a block and gives it back.
Outcome written_at(std::size_t size, std::size_t place, void (*give_back)(void*))
{
    return run_fresh([=] {
        for (void* const block :
             {MEM_Malloc(static_cast<std::uint32_t>(size)),
              MEM_Salloc(static_cast<std::uint32_t>(size)),
              MEM_Realloc(MEM_Malloc(1), static_cast<std::uint32_t>(size)),
              static_cast<void*>(MEM_StrDup(std::string(size - 1, 'x').c_str()))}) {
            static_cast<volatile char*>(block)[place] = 0;
            give_back(block);
        }
    });
}

TEST_F(Fault, WhatIsWrittenBehindABlockIsFound)
{
    void (*const give_back[])(void*) = {MEM_Free,
                                        [](void* block) { MEM_Free(MEM_Realloc(block, 99)); }};
    for (const std::size_t size : {1UL, 23UL, 24UL, 5000UL, 300'000UL}) {
        for (const auto each : give_back) {
            EXPECT_THAT(written_at(size, size - 1, each), exited(0));
            const Outcome outcome = written_at(size, size, each);
            EXPECT_THAT(outcome, killed_by(SIGABRT));
            EXPECT_EQ(outcome.err,
                      "written behind the end of a block of " + std::to_string(size) + " bytes\n");
        }
    }
}

#endif

TEST_F(Fault, HandlerLibraryThatCannotBeLoadedHasAnErrorText)
{
    const FreshSetup setup{
        .env = {{"COMMON_LOG_LEGACY", "False"}, {"COMMON_DEBUG_ENABLE", "True"}}};
    const Outcome outcome = run_fresh(setup, [] {
        fault::fail(Call::dlopen);
        COMMON_Log_LevelGet();
        EXPECT_EQ(fault::fired(), 1);
    });
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(outcome.out + outcome.err + testing::PrintToString(outcome.log_texts()),
                HasSubstr("forced failure of dlopen"));
}

TEST_F(Fault, OneCallFailsHoweverManyThreadsCall)
{
    constexpr int kThreads = 4;
    constexpr int kCalls = 1'000;
    fault::fail(Call::strdup, kThreads * kCalls / 2);
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < kCalls; ++call) {
                failures += copy_succeeds() ? 0 : 1;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(fault::fired(), 1);
    EXPECT_EQ(fault::calls(Call::strdup), kThreads * kCalls);
}

}  // namespace
