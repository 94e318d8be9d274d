// Forks at bad moments: inside the once-initialisation, among threads that hold locks, in a program
// whose fork handlers log. Not for ThreadSanitizer, whose own pthread_once() does not know that a
// fork ends the other threads.
#include <array>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <ostream>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "client_descriptor.h"
#include "common_debug.h"
#include "common_log_settings.h"
#include "fault.h"
#include "forked.h"
#include "hanging_daemon.h"
#include "held_clock.h"
#include "log_calls.h"
#include "oxa_logger.h"
#include "wait_until.h"

namespace {

using namespace harness;
using fault::Call;
using testing::Contains;
using testing::ElementsAre;

/// A place inside the initialisation: the n-th call of a function, made by its thread.
struct Place {
    Call call;
    int nth;
    bool shows_second_run;  // once the debug settings are there
    int lock = 0;           // that its thread holds there, in the order in which a fork takes them
};

std::ostream& operator<<(std::ostream& stream, const Place& place)
{
    return stream << fault::name(place.call) << place.nth;
}

class ForksInside : public testing::TestWithParam<Place> {};
INSTANTIATE_TEST_SUITE_P(
    All, ForksInside,
    testing::Values(Place{Call::pthread_once, 1, false}, Place{Call::pthread_once, 2, true},
                    Place{Call::pthread_once, 3, true}, Place{Call::open, 1, false},
                    Place{Call::dlopen, 1, true}, Place{Call::clock_gettime, 1, true},
                    Place{Call::open, 2, true}, Place{Call::read, 1, true},
                    Place{Call::stat, 1, true}, Place{Call::localtime_r, 1, true, 5},
                    Place{Call::pthread_key_create, 1, true, 4},
                    Place{Call::pthread_mutex_unlock, 1, true, 5}),
    testing::PrintToStringParamName());

TEST_P(ForksInside, ChildGoesOn)
{
    const Place place = GetParam();
    const Outcome outcome = well({.env = kDebugOn}, [&] {
        Event inside;
        Event go_on;
        fault::on_call(place.call, place.nth, [&] {
            inside.set();
            EXPECT_TRUE(go_on.wait());
        });
        std::thread initialising([] { log_message(kInfo, "parent's thread"); });
        EXPECT_TRUE(inside.wait());
        if (place.lock != 0) {
            fault::fail(Call::pthread_mutex_clocklock, place.lock, ETIMEDOUT);
        }
        in_child([] {
            log_message(kInfo, "child");
            COMMON_Log_LevelSet(kDebug);
            log_message(kDebug, "child again");
        });
        go_on.set();
        initialising.join();
        log_message(kInfo, "parent");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "child"), said(kDebug, "child again"),
                                         said(kInfo, "parent's thread"), said(kInfo, "parent")));
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "threadOnce", "The once handler was already called"))
                    .Times(place.shows_second_run ? 1 : 0));
}

TEST(CommonLogFork, IsAnsweredFromTheStartOnAndNothingElseIsDone)
{
    well([] {
        for (int i = 0; i <= static_cast<int>(Call::dlclose); ++i) {
            const auto call = static_cast<Call>(i);
            // A fork made this very process.
            if (call != Call::clock_gettime && call != Call::pthread_mutex_clocklock &&
                call != Call::pthread_mutex_unlock) {
                EXPECT_EQ(fault::calls(call), call == Call::pthread_atfork ? 1 : 0)
                    << fault::name(call);
            }
        }
        EXPECT_GT(fault::calls(Call::pthread_mutex_clocklock), 0);
        log_message(kInfo, "m");
        LOG_ModuleIdAssignDynamic("name");
        Deallocate_Descriptor(Allocate_Descriptor());
        in_child([] { log_message(kInfo, "m"); });
        EXPECT_EQ(fault::calls(Call::pthread_atfork), 1);
    });
}

/// A guard of the program's own, which its fork handlers take: it was there before the log was
/// used.
struct Guard {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    Event forking;
};
Guard* guard = nullptr;

TEST(CommonLogFork, ProgramMayLogUnderALockThatItsHandlersTake)
{
    const Outcome outcome = well([] {
        Guard own;
        guard = &own;
        pthread_atfork(
            [] {
                guard->forking.set();
                pthread_mutex_lock(&guard->mutex);
            },
            [] { pthread_mutex_unlock(&guard->mutex); },
            [] { pthread_mutex_unlock(&guard->mutex); });
        log_message(kInfo, "first");
        Event locked;
        std::thread logging([&] {
            pthread_mutex_lock(&own.mutex);
            locked.set();
            EXPECT_TRUE(own.forking.wait());
            log_message(kInfo, "under the lock");
            pthread_mutex_unlock(&own.mutex);
        });
        EXPECT_TRUE(locked.wait());
        in_child([] { log_message(kInfo, "child"); });
        logging.join();
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "first"), said(kInfo, "under the lock"),
                                         said(kInfo, "child")));
}

TEST(CommonLogFork, HandlersOfTheProgramMayLog)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        pthread_atfork([] { log_message(kInfo, "before"); }, [] { log_message(kInfo, "parent"); },
                       [] { log_message(kInfo, "child's handler"); });
        log_message(kInfo, "first");
        const pid_t child = start_child([] { log_message(kInfo, "child"); });
        await_child(child);
    });
    const auto& all = outcome.log;
    ASSERT_THAT(all, testing::SizeIs(5));
    EXPECT_EQ(all[0], said(kInfo, "first"));
    EXPECT_EQ(all[1], said(kInfo, "before"));
    for (const char* message : {"parent", "child's handler", "child"}) {
        EXPECT_THAT(all, Contains(said(kInfo, message)).Times(1));
    }
}

/// What takes a process-wide lock, and a call that is made while it is held.
struct Holder {
    const char* lock;
    int number;  // in the order in which a fork takes them
    Call inside;
    void (*use)();
};

void allocate_a_descriptor()
{
    Deallocate_Descriptor(Allocate_Descriptor());
}

void write_a_row()
{
    COMMON_Debug_Write(stderr, "file", "function", 1, "row");
}

constexpr Holder kDescriptors{"Descriptors", 1, Call::realloc, allocate_a_descriptor};
constexpr Holder kLocalTime{"LocalTime", 5, Call::localtime_r, write_a_row};
constexpr Holder kHolders[] = {
    kDescriptors,
    {"ModuleConfig", 2, Call::open, [] { LOG_ModuleIdReadConfig(); }},
    {"ModuleNames", 3, Call::strdup, [] { LOG_ModuleIdAssignDynamic("name"); }},
    {"Handler", 4, Call::pthread_key_create, [] { COMMON_Log_CacheSet(1); }},
    kLocalTime,
};

/// Another thread holds a lock from the start of the object on, until it is told to go on.
class HeldLock {
public:
    explicit HeldLock(const Holder& holder)
    {
        fault::on_call(holder.inside, 1, [this] {
            inside_.set();
            EXPECT_TRUE(go_on_.wait());
            on_leaving_();
        });
        thread_ = std::thread(holder.use);
        EXPECT_TRUE(inside_.wait());
    }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    ~HeldLock()
    {
        go_on_.set();
        thread_.join();
    }

    /// Lets the thread go on, after it has called a function.
    void go_on_after(std::function<void()> function)
    {
        on_leaving_ = std::move(function);
        go_on_.set();
    }

private:
    Event inside_;
    Event go_on_;
    std::function<void()> on_leaving_ = [] {};
    std::thread thread_;
};

class HeldWhileForking : public testing::TestWithParam<Holder> {};
INSTANTIATE_TEST_SUITE_P(All, HeldWhileForking, testing::ValuesIn(kHolders),
                         [](const auto& test) { return std::string(test.param.lock); });

TEST_P(HeldWhileForking, IsWaitedForWhateverTheTimeOfDay)
{
    const Holder& holder = GetParam();
    FreshSetup setup{.env = kDebugOn};
    setup.env["COMMON_LOG_CACHE"] = "False";
    well(setup, [&] {
        COMMON_Log_LevelGet();
        hold_clock_at(1'000'000'000);  // long ago
        const int forking = gettid();
        std::atomic<bool> forked{false};
        HeldLock held(holder);
        held.go_on_after([&] {
            EXPECT_TRUE(wait_until([&] { return is_blocked(forking) || forked; }));
            EXPECT_FALSE(forked) << "without the lock";
        });
        const pid_t child = start_child(holder.use);
        forked = true;
        await_child(child);
    });
}

TEST_P(HeldWhileForking, ForTooLongDoesNotHangTheChild)
{
    const Holder& holder = GetParam();
    FreshSetup setup{.env = kDebugOn};
    setup.env["COMMON_LOG_CACHE"] = "False";
    well(setup, [&] {
        COMMON_Log_LevelGet();
        const HeldLock held(holder);
        fault::fail(Call::pthread_mutex_clocklock, holder.number, ETIMEDOUT);
        const pid_t child = start_child([&] {
            log_message(kInfo, "child");
            for (const Holder& other : kHolders) {
                if (other.number != kDescriptors.number) {
                    other.use();
                }
            }
            in_child([] { log_message(kInfo, "grandchild"); });
        });
        EXPECT_EQ(fault::fired(), 1);
        await_child(child);
    });
}

TEST(HeldForTooLong, DescriptorTableEndsTheChildThatUsesIt)
{
    const Outcome outcome = well([] {
        const HeldLock held(kDescriptors);
        fault::fail(Call::pthread_mutex_clocklock, kDescriptors.number, ETIMEDOUT);
        const pid_t child = start_child([] { (void)Allocate_Descriptor(); });
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << "status " << status;
    });
    ASSERT_FALSE(outcome.log.empty());
    EXPECT_EQ(outcome.log[0], said(kError, "CLDES", "client_descriptor", "LockDescriptor",
                                   "Failed to lock descriptor mutex."));
}

TEST(HeldForTooLong, LocalTimeIsTheLastKnownOneInTheChild)
{
    FreshSetup setup{.env = kDebugOn};
    setup.env["TZ"] = "ABC-5:30";
    const Outcome outcome = well(setup, [] {
        COMMON_Log_LevelGet();  // which asks for the local time, for its rows
        hold_clock_at(1'000'000'000 + 9'799);
        const HeldLock held(kLocalTime);
        fault::fail(Call::pthread_mutex_clocklock, kLocalTime.number, ETIMEDOUT);
        in_child([] {
            const int asked = fault::calls(Call::localtime_r);
            log_message(kInfo, "child");
            move_clock(std::chrono::seconds(1));
            in_child([] { log_message(kInfo, "grandchild"); });
            EXPECT_EQ(fault::calls(Call::localtime_r), asked);
        });
    });
    ASSERT_THAT(outcome.log, ElementsAre(said(kInfo, "child"), said(kInfo, "grandchild")));
    for (const auto& record : outcome.log) {
        EXPECT_EQ(fields_of(record).day, 11574);
    }
    EXPECT_EQ(fields_of(outcome.log[0]).time, "09:59:59");
    EXPECT_EQ(fields_of(outcome.log[1]).time, "10:00:00");
}

TEST(HeldForTooLong, SystemLogGetsNothingFromTheChild)
{
    well(hanging_daemon_setup(), [] {
        HangingDaemon daemon;
        const int records = HangingDaemon::more_than_the_queue();
        std::thread writer = daemon.start_blocked_writer(records);
        fault::fail(Call::pthread_mutex_clocklock, 6, ETIMEDOUT);
        const pid_t child = start_child([] {
            log_message(kInfo, "child");
            COMMON_Log_CacheSet(0);
            log_message(kInfo, "child");
            COMMON_Log_LegacySet(1);
            in_child([] { log_message(kInfo, "child"); });
        });
        EXPECT_EQ(fault::fired(), 1);
        await_child(child);  // it does not wait for the daemon
        EXPECT_TRUE(wait_until([&] { return daemon.received(", queued") == records; }));
        writer.join();
        // A child forked now, with nobody waiting, is as good as any.
        in_child([] { log_message(kInfo, "later"); });
        EXPECT_EQ(daemon.received(", child"), 0);
        EXPECT_EQ(daemon.received(", later"), 1);
    });
}

}  // namespace
