// What the layer does when the program's own code throws, ends its thread or forks.
#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>

#include <gmock/gmock.h>

#include "bodies.h"
#include "forked.h"
#include "log_expect.h"
#include "sanitizer.h"
#include "wait_until.h"

using namespace harness;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// Cannot be copied when it is armed.
struct Thrower {
    explicit Thrower(bool given_armed) : armed(given_armed) {}
    Thrower(const Thrower& other) : armed(other.armed)
    {
        if (armed) {
            throw std::runtime_error("not copied");
        }
    }
    void operator()() const { throw std::runtime_error("thrown in the call"); }
    bool armed;
};

FRESH_TEST(CommonppExceptions, CallableThatCannotBeKeptLeavesNothing)
{
    const Thrower thrower(true);
    EXPECT_THROW(commonpp::timer{thrower}, std::runtime_error);
    commonpp::thread worker;
    EXPECT_THROW(static_cast<void>(worker.start(thrower)), std::runtime_error);
    EXPECT_FALSE(worker.joinable());
    EXPECT_EQ(worker.start([] {}), commonpp::status::success);
}

TEST(CommonppExceptions, LeavingATimersCallEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        commonpp::timer timer{Thrower(false)};
        EXPECT_EQ(timer.start(1ms), commonpp::status::success);
        EXPECT_TRUE(wait_until([] { return false; }));
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, HasSubstr("thrown in the call"));
}

TEST(CommonppExceptions, LeavingAThreadEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        commonpp::thread worker;
        EXPECT_EQ(worker.start(Thrower(false)), commonpp::status::success);
        EXPECT_EQ(worker.join(), commonpp::status::success);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, HasSubstr("thrown in the call"));
}

FRESH_TEST(CommonppExceptions, ThrowingConditionLeavesTheLockToItsGuard)
{
    commonpp::monitor monitor;
    const auto throwing = []() -> bool { throw std::runtime_error("condition"); };
    EXPECT_THROW(
        {
            const std::unique_lock<commonpp::monitor> held(monitor);
            static_cast<void>(monitor.wait_for(1h, throwing));
        },
        std::runtime_error);
    // Free again.
    const std::lock_guard<commonpp::monitor> held(monitor);
}

// AddressSanitizer does not know that the frames of the library, which is built without exceptions,
// are gone when those above them are unwound, and finds the marks of their variables.
#ifndef HARNESS_ADDRESS_SANITIZER
FRESH_TEST(CommonppExceptions, CancelledThreadIsUnwoundAndJoined)
{
    std::atomic<int> alive{0};
    commonpp::monitor monitor;
    bool waiting = false;
    commonpp::thread worker;
    ASSERT_EQ(worker.start([&, kept = Counted(alive)] {
        const Counted local(alive);
        const std::unique_lock<commonpp::monitor> held(monitor);
        waiting = true;
        monitor.notify_all();
        monitor.wait([] { return false; });
    }),
              commonpp::status::success);
    {
        const std::lock_guard<commonpp::monitor> held(monitor);
        monitor.wait([&] { return waiting; });
    }
    EXPECT_EQ(COMMON_Thread_Cancel(worker.native()), STATUS_SUCCESS);
    void* result = nullptr;
    EXPECT_EQ(worker.join(&result), commonpp::status::success);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(alive.load(), 0);
    const std::lock_guard<commonpp::monitor> held(monitor);
}
#endif

FRESH_TEST(CommonppExceptions, CancelledReaderLeavesTheQueueToOthers)
{
    commonpp::queue<int, 4> queue;
    Flag reading;
    commonpp::thread reader;
    ASSERT_EQ(reader.start([&] {
        reading.set();
        static_cast<void>(queue.pop());
    }),
              commonpp::status::success);
    reading.wait();
    EXPECT_EQ(COMMON_Thread_Cancel(reader.native()), STATUS_SUCCESS);
    EXPECT_EQ(reader.join(), commonpp::status::success);
    EXPECT_TRUE(queue.push(5));
    EXPECT_EQ(queue.pop(), 5);
}

FRESH_TEST(CommonppExceptions, CancelledThreadStillWaitsInADestructor)
{
    Flag started;
    Flag go;
    std::atomic<bool> inner_done{false};
    commonpp::thread outer;
    ASSERT_EQ(outer.start([&] {
        commonpp::thread inner;
        EXPECT_EQ(inner.start([&] {
            go.wait();
            inner_done = true;
        }),
                  commonpp::status::success);
        started.set();
    }),
              commonpp::status::success);
    started.wait();
    EXPECT_EQ(COMMON_Thread_Cancel(outer.native()), STATUS_SUCCESS);
    go.set();
    EXPECT_EQ(outer.join(), commonpp::status::success);
    EXPECT_TRUE(inner_done.load());
}

// ThreadSanitizer does not know that a thread may be cancelled while it waits in pthread_join(3),
// and says that it has ended "with ignores enabled".
#ifndef HARNESS_THREAD_SANITIZER
FRESH_TEST(CommonppExceptions, CancelledJoinLeavesTheThreadToOthers)
{
    Flag go;
    int answer = 0;
    commonpp::thread inner;
    ASSERT_EQ(inner.start([&] {
        go.wait();
        return &answer;
    }),
              commonpp::status::success);
    commonpp::thread outer;
    ASSERT_EQ(outer.start([&] { static_cast<void>(inner.join()); }), commonpp::status::success);
    EXPECT_EQ(COMMON_Thread_Cancel(outer.native()), STATUS_SUCCESS);
    void* result = nullptr;
    EXPECT_EQ(outer.join(&result), commonpp::status::success);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(inner.joinable());
    go.set();
    EXPECT_EQ(inner.join(&result), commonpp::status::success);
    EXPECT_EQ(result, &answer);
}
#endif

FRESH_TEST(CommonppExceptions, TimersDestructorIsNoCancellationPoint)
{
    bool went_on = false;
    commonpp::thread worker;
    ASSERT_EQ(worker.start([&] {
        {
            int value = 0;
            const auto end = [](int*) { pthread_testcancel(); };
            const commonpp::timer timer([kept = std::shared_ptr<int>(&value, end)] {});
            EXPECT_EQ(pthread_cancel(pthread_self()), 0);
        }
        went_on = true;
        pthread_testcancel();
    }),
              commonpp::status::success);
    void* result = nullptr;
    EXPECT_EQ(worker.join(&result), commonpp::status::success);
    EXPECT_TRUE(went_on);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

FRESH_TEST(CommonppExceptions, CallThatEndsItsThreadGivesTheCallableBack)
{
    std::atomic<int> alive{0};
    Flag entered;
    {
        commonpp::timer timer([&, kept = Counted(alive)] {
            entered.set();
            pthread_exit(nullptr);
        });
        EXPECT_EQ(timer.start(1ms), commonpp::status::success);
        entered.wait();
    }
    EXPECT_EQ(alive.load(), 0);
    auto owner = std::make_unique<commonpp::timer>();
    *owner = commonpp::timer([&, kept = Counted(alive)] {
        owner.reset();
        pthread_exit(nullptr);
    });
    EXPECT_EQ(owner->start(1ms), commonpp::status::success);
    EXPECT_TRUE(wait_until([&] { return alive.load() == 0; }));
}

// There it is idle, and its callable goes with it, although a start has neither called nor ended.
FRESH_TEST(CommonppFork, ArmedTimerIsIdleInTheChildAndGoesThere)
{
    std::atomic<int> alive{0};
    auto owner = std::make_unique<commonpp::timer>([kept = Counted(alive)] {});
    EXPECT_EQ(owner->start(1h), commonpp::status::success);
    in_child([&] {
        int problems = owner->in_use() || owner->stop() ? 1 : 0;
        owner.reset();
        problems += alive.load() == 0 ? 0 : 2;
// ThreadSanitizer lets no forked child start threads.
#ifndef HARNESS_THREAD_SANITIZER
        Flag called;
        commonpp::timer again([&] { called.set(); });
        problems += again.start(1ms) == commonpp::status::success ? 0 : 4;
        called.wait();
        again = commonpp::timer();
#endif
        _exit(problems);
    });
    EXPECT_TRUE(owner->stop());
}

TEST(CommonppExceptions, ThreadThatThePlatformRefusesIsNone)
{
    const Outcome outcome = well([] {
        std::atomic<int> alive{0};
        commonpp::thread_options options;
        options.priority = 200;
        commonpp::thread worker;
        EXPECT_EQ(worker.start([kept = Counted(alive)] {}, options), commonpp::status::failed);
        options.schedule = 77;
        EXPECT_EQ(worker.start([kept = Counted(alive)] {}, options), commonpp::status::failed);
        EXPECT_EQ(alive.load(), 0);
        EXPECT_FALSE(worker.joinable());
        EXPECT_EQ(worker.join(), commonpp::status::not_found);
    });
    const auto refused = [](const std::string& what) {
        return said(COMMON_LogLevelError, "", "common_thread", "COMMON_Thread_Start",
                    "Failed to set the scheduling " + what + " with error: Invalid argument (22)");
    };
    EXPECT_THAT(outcome.log, ElementsAre(refused("parameters"), refused("policy")));
}

}  // namespace
