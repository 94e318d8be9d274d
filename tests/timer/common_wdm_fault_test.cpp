// What a watchdog asks of the platform, what it does when that fails, and that nothing is lost.
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cancelled.h"
#include "fault.h"
#include "fault_sweep.h"
#include "forked.h"
#include "fresh_process.h"
#include "watched.h"

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Runs a piece that must give back all memory and report nothing.
void run_whole(const std::function<void()>& body)
{
    const Outcome outcome = well([&] {
        const long blocks = fault::outstanding_blocks();
        body();
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonWdmFault, InitWithoutMemoryGivesNull)
{
    run_whole([] {
        fault::fail(Call::malloc);
        EXPECT_EQ(COMMON_wdm_Init(), nullptr);
        EXPECT_EQ(fault::calls(Call::pthread_create), 0);
    });
}

class CommonWdmThread : public testing::TestWithParam<Call> {};

TEST_P(CommonWdmThread, WithoutAMonitorNothingIsWatchedAndTheWatchdogCanBeDestroyed)
{
    run_whole([] {
        fault::fail(GetParam());
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        EXPECT_EQ(fault::fired(), 1);
        ASSERT_NE(watchdog, nullptr);
        Watched watched;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
        COMMON_wdm_Destroy(watchdog);
        EXPECT_EQ(watched.starts, 0);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST_P(CommonWdmThread, HandlerThatCannotBeStartedIsNotReportedAndDelaysNobody)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
        Watched refused;
        fault::fail(GetParam());
        COMMON_wdm_Subscribe(watchdog, refused.subscriber, 0);
        ASSERT_TRUE(wait_for_deadline(*refused.subscriber, [] { return fault::fired() == 1; }));
        Watched watched;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
        EXPECT_TRUE(watched.has_started());
        COMMON_wdm_Destroy(watchdog);
        EXPECT_EQ(refused.starts, 0);
        EXPECT_EQ(refused.subscriber->fired, 1U);
        COMMON_wdm_Unsubscribe(refused.subscriber);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

INSTANTIATE_TEST_SUITE_P(Calls, CommonWdmThread,
                         testing::Values(Call::pthread_attr_init, Call::pthread_attr_setdetachstate,
                                         Call::pthread_attr_setsigmask_np, Call::pthread_create),
                         [](const auto& test) { return fault::name(test.param); });

/// What the calling thread has.
struct ThreadProperties {
    std::size_t stack_bytes = 0;
    sigset_t blocked{};

    void read()
    {
        pthread_attr_t attributes;
        EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
        EXPECT_EQ(pthread_attr_getstacksize(&attributes, &stack_bytes), 0);
        pthread_attr_destroy(&attributes);
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    }
};

std::size_t default_stack_bytes()
{
    pthread_attr_t attributes;
    std::size_t bytes = 0;
    EXPECT_EQ(pthread_getattr_default_np(&attributes), 0);
    EXPECT_EQ(pthread_attr_getstacksize(&attributes, &bytes), 0);
    pthread_attr_destroy(&attributes);
    return bytes;
}

TEST(CommonWdmFault, ThreadsHaveTheDefaultStackAndTheMonitorTakesNoSignals)
{
    run_whole([] {
        struct Seen : ThreadProperties {
            std::atomic<bool> done{false};
        } monitor, handler;
        sigset_t blocked_here;
        sigemptyset(&blocked_here);
        sigaddset(&blocked_here, SIGUSR2);
        pthread_sigmask(SIG_BLOCK, &blocked_here, nullptr);
        fault::on_call(Call::sem_wait, 1, [&] {  // the first that the monitor calls
            monitor.read();
            monitor.done = true;
        });
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        pthread_sigmask(SIG_UNBLOCK, &blocked_here, nullptr);
        ASSERT_TRUE(wait_until([&] { return monitor.done.load(); }));
        auto* const subscriber = COMMON_wdm_Create_Subscriber(
            [](void* argument) -> void* {
                auto* const self = static_cast<Seen*>(argument);
                self->read();
                self->done = true;
                return nullptr;
            },
            &handler);
        COMMON_wdm_Subscribe(watchdog, subscriber, 0);
        ASSERT_TRUE(wait_for_deadline(*subscriber, [&] { return handler.done.load(); }));
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(subscriber);

        EXPECT_GE(monitor.stack_bytes, default_stack_bytes());
        EXPECT_GE(handler.stack_bytes, default_stack_bytes());
        for (const int signal : {SIGHUP, SIGTERM, SIGALRM, SIGCHLD, SIGUSR1, SIGUSR2, SIGRTMIN}) {
            EXPECT_EQ(sigismember(&monitor.blocked, signal), 1) << signal;
            EXPECT_EQ(sigismember(&handler.blocked, signal), signal == SIGUSR2 ? 1 : 0)
                << signal << " as where the watchdog was made";
        }
    });
}

TEST(CommonWdmFault, SubscriberWithoutMemoryIsNull)
{
    run_whole([] {
        fault::fail(Call::malloc);
        EXPECT_EQ(COMMON_wdm_Create_Subscriber(Watched::handle, nullptr), nullptr);
    });
}

TEST(CommonWdmFault, SubscribingWithoutMemoryLeavesAllAsItWas)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
        Watched watched;
        watched.subscriber->fired = 1;
        fault::fail(Call::malloc);
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
        EXPECT_EQ(watched.subscriber->fired, 1U);
        EXPECT_TRUE(sleeps_empty(*watchdog));
        watched.subscriber->fired = 0;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, kLong_s);
        EXPECT_EQ(fault::fired(), 1);
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST(CommonWdmFault, SubscribingTakesItsStepsInOrder)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
        Watched watched;
        fault::reset();
        std::vector<std::string> trace;
        COMMON_wdm_Node* linked = nullptr;
        for (const Call call : {Call::malloc, Call::clock_gettime}) {
            fault::on_call(call, 1, [&trace, call] { trace.emplace_back(fault::name(call)); });
        }
        fault::on_call(Call::sem_post, 1, [&] {
            trace.emplace_back("sem_post");
            // The tail first, then its link.
            linked = std::atomic_ref(watchdog->tail).load();
            EXPECT_EQ(std::atomic_ref(watchdog->anchor.next).load(),
                      reinterpret_cast<std::uintptr_t>(linked));
            EXPECT_EQ(linked->subscriber, watched.subscriber);
        });
        // Before the monitor is awake only the subscriber calls.
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, kLong_s);
        EXPECT_THAT(trace, ElementsAre("malloc", "clock_gettime", "sem_post"));
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST(CommonWdmFault, SubscribingWakesAMonitorThatWaitsAtTheTail)
{
    run_whole([] {
        std::atomic<int> monitor{0};
        fault::on_call(Call::sem_wait, 1, [&] { monitor = gettid(); });
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([&] { return monitor != 0; }));
        Watched first;
        Watched second;
        COMMON_wdm_Subscribe(watchdog, first.subscriber, kLong_s);
        // It says that it is about to sleep, maybe before that for the link of the first one, and
        // does.
        ASSERT_TRUE(wait_until([&] {
            return sleeps_at_the_tail(*watchdog) && fault::calls(Call::syscall) >= 1 &&
                   is_blocked(monitor);
        }));
        // It would look again in an hour.
        COMMON_wdm_Subscribe(watchdog, second.subscriber, 0);
        EXPECT_TRUE(second.has_started());
        EXPECT_GE(fault::wakes(), 1);
        EXPECT_EQ(fault::calls(Call::nanosleep), 0) << "that is for where it cannot be woken";
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(first.subscriber);
        COMMON_wdm_Unsubscribe(second.subscriber);
    });
}

TEST(CommonWdmFault, TickleAsksForTheTimeOnly)
{
    run_whole([] {
        Watched watched;
        fault::reset();
        COMMON_wdm_Tickle(watched.subscriber, 10);
        COMMON_wdm_Tickle(watched.subscriber, 5);  // nearer
        EXPECT_EQ(fault::calls(Call::clock_gettime), 2);
        EXPECT_EQ(fault::calls(Call::malloc) + fault::calls(Call::syscall) + fault::wakes() +
                      fault::calls(Call::sem_post),
                  0);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST(CommonWdmFault, UnsubscribedRecordIsFreedByTheMonitor)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        const long blocks = fault::outstanding_blocks();
        auto* const subscriber = COMMON_wdm_Create_Subscriber(
            [](void*) -> void* {
                ADD_FAILURE() << "started";
                return nullptr;
            },
            nullptr);
        COMMON_wdm_Subscribe(watchdog, subscriber, 1);
        COMMON_wdm_Unsubscribe(subscriber);
        EXPECT_TRUE(wait_until([&] { return fault::outstanding_blocks() == blocks; }));
        COMMON_wdm_Destroy(watchdog);
    });
}

TEST(CommonWdmFault, RecordThatIsNotInAQueueIsFreedAtOnce)
{
    run_whole([] {
        const long blocks = fault::outstanding_blocks();
        COMMON_wdm_Unsubscribe(COMMON_wdm_Create_Subscriber(nullptr, nullptr));
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        Watched watched;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
        EXPECT_TRUE(watched.has_started());
        // The handler may run before the monitor has come back from starting it.
        EXPECT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
        COMMON_wdm_Unsubscribe(watched.subscriber);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 1) << "the watchdog itself";
        COMMON_wdm_Destroy(watchdog);
    });
}

TEST(CommonWdmFault, DestroyFreesTheQueueAndLeavesClientsTheirRecords)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        std::vector<COMMON_wdm_Subscriber*> kept;
        for (int i = 0; i < 300; ++i) {
            kept.push_back(COMMON_wdm_Create_Subscriber(Watched::handle, nullptr));
            COMMON_wdm_Subscribe(watchdog, kept.back(), kLong_s);
            if (i % 3 == 0) {
                COMMON_wdm_Unsubscribe(kept.back());
                kept.pop_back();
            } else if (i % 3 == 1) {
                COMMON_wdm_Subscribe(watchdog, kept.back(), kLong_s);
            }
        }
        COMMON_wdm_Destroy(watchdog);
        for (auto* const subscriber : kept) {
            EXPECT_EQ(subscriber->fired, 0U);
            COMMON_wdm_Unsubscribe(subscriber);
        }
    });
}

TEST(CommonWdmFault, QueueThatOnlyGrowsIsCleared)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        const long blocks = fault::outstanding_blocks();
        Watched watched;
        for (int i = 0; i < 20'000; ++i) {
            auto* const subscriber = COMMON_wdm_Create_Subscriber(Watched::handle, nullptr);
            COMMON_wdm_Subscribe(watchdog, subscriber, kLong_s);
            COMMON_wdm_Unsubscribe(subscriber);
        }
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, kLong_s);
        EXPECT_TRUE(wait_until([&] { return fault::outstanding_blocks() < blocks + 500; }));
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

// Waits that end early.

TEST(CommonWdmFault, DestroyIsNotCancelledWhileItWaitsForTheMonitor)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([] { return fault::calls(Call::sem_wait) == 1; })) << "the monitor";
        bool returned = false;
        run_until_cancelled([&] {
            fault::on_call(Call::sem_wait, 1, cancel_oneself);
            COMMON_wdm_Destroy(watchdog);
            returned = true;
            pthread_testcancel();
        });
        EXPECT_TRUE(returned);
    });
}

TEST(CommonWdmFault, SleepThatIsInterruptedIsResumed)
{
    run_whole([] {
        fault::fail(Call::sem_wait, 1, EINTR);
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([] { return fault::calls(Call::sem_wait) == 2; }));
        Watched watched;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, 0);
        EXPECT_TRUE(watched.has_started());
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST(CommonWdmFault, DestroyThatIsInterruptedWaitsOn)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        Watched watched;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, kLong_s);
        ASSERT_TRUE(wait_until([&] { return sleeps_at_the_tail(*watchdog); }));
        fault::reset();
        fault::fail_from(Call::sem_wait, 1, EINTR);
        fault::on_call(Call::sem_wait, 3, [] { fault::fail(Call::sem_wait, 1'000); });
        COMMON_wdm_Destroy(watchdog);
        EXPECT_EQ(fault::fired(), 2);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST(CommonWdmFault, EveryLackOfMemoryIsSurvived)
{
    const int count = sweep({},
                            [] {
                                COMMON_wdm* const watchdog = COMMON_wdm_Init();
                                auto* const subscriber = COMMON_wdm_Create_Subscriber(
                                    [](void*) -> void* { return nullptr; }, nullptr);
                                COMMON_wdm_Subscribe(watchdog, subscriber, kLong_s);
                                COMMON_wdm_Tickle(subscriber, 100);
                                COMMON_wdm_Destroy(watchdog);
                                COMMON_wdm_Unsubscribe(subscriber);
                            },
                            survives, {.only = Call::malloc, .blocks_return = true})
                          .failures;
    EXPECT_EQ(count, 3);
}

// Fork.

TEST(CommonWdmFault, ChildHasNoMonitorAndDestroysItsCopy)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        Watched watched;
        COMMON_wdm_Subscribe(watchdog, watched.subscriber, kLong_s);
        ASSERT_TRUE(wait_until([&] { return !sleeps_empty(*watchdog); }));
        const pid_t child = fork();
        if (child == 0) {
            Watched another;
            COMMON_wdm_Subscribe(watchdog, another.subscriber, 0);
            COMMON_wdm_Tickle(watched.subscriber, 10);
            COMMON_wdm_Unsubscribe(another.subscriber);
            COMMON_wdm_Destroy(watchdog);
            COMMON_wdm_Unsubscribe(watched.subscriber);
            _exit(another.starts != 0 || fault::outstanding_blocks() != 0 ? 1 : 0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        COMMON_wdm_Destroy(watchdog);
        COMMON_wdm_Unsubscribe(watched.subscriber);
    });
}

TEST(CommonWdmFault, ChildOfOneThatHadNobodyToWatchDestroysItsCopy)
{
    run_whole([] {
        COMMON_wdm* const watchdog = COMMON_wdm_Init();
        ASSERT_TRUE(wait_until([&] { return sleeps_empty(*watchdog); }));
        in_child([&] {
            COMMON_wdm_Destroy(watchdog);
            EXPECT_EQ(fault::outstanding_blocks(), 0);
        });
        COMMON_wdm_Destroy(watchdog);
    });
}

}  // namespace
