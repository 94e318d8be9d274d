// Threads that run: their ids, results and names, and how they are joined, cancelled and ended.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <sched.h>
#include <unistd.h>

#include "common_thread.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "parked_thread.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kInvalid[] = "One or more input parameters are invalid!";

FRESH_TEST(CommonThreadRun, EntryGetsTheArgumentAndGivesTheResult)
{
    ParkedThread parked;
    parked.start();
    EXPECT_EQ(COMMON_Thread_GetId(&parked.record), parked.self);
    EXPECT_NE(parked.self, pthread_self());
    parked.end();
}

FRESH_TEST(CommonThreadRun, RecordCanBeStartedAgain)
{
    COMMON_Thread thread;
    pthread_t ids[2] = {};
    COMMON_Thread_Initialize(
        &thread,
        [](void* id) -> void* {
            *static_cast<pthread_t*>(id) = pthread_self();
            return nullptr;
        },
        nullptr);
    COMMON_Thread_SetName(&thread, "twice");
    for (auto& id : ids) {
        thread.argument = &id;
        ASSERT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
        ASSERT_TRUE(has_ended(thread));
        EXPECT_EQ(pthread_join(id, nullptr), 0);
    }
    EXPECT_STREQ(COMMON_Thread_GetName(&thread), "twice");
}

// Names.

FRESH_TEST(CommonThreadRun, ThreadWithoutANameIsNamedAfterItsId)
{
    ParkedThread parked;
    parked.start();
    EXPECT_EQ(COMMON_Thread_GetName(&parked.record), "Unnamed-" + shown_id(parked.self));
    parked.end();
    EXPECT_EQ(COMMON_Thread_GetName(&parked.record), "Unnamed-" + shown_id(parked.self));
}

FRESH_TEST(CommonThreadRun, NameStaysInTheRecord)
{
    ParkedThread parked;
    COMMON_Thread_SetName(&parked.record, "chosen");
    parked.start();
    EXPECT_STREQ(COMMON_Thread_GetName(&parked.record), "chosen");
    char of_thread[16] = "";
    char of_main[16] = "";
    EXPECT_EQ(pthread_getname_np(parked.self, of_thread, sizeof of_thread), 0);
    EXPECT_EQ(pthread_getname_np(pthread_self(), of_main, sizeof of_main), 0);
    EXPECT_STREQ(of_thread, of_main) << "the operating system was told the name";
    parked.end();
}

// ThreadSanitizer sees whether the start still writes the name.
FRESH_TEST(CommonThreadRun, NameCanBeReadByTheThreadFromItsStart)
{
    COMMON_Thread thread;
    COMMON_Thread_Initialize(
        &thread,
        [](void* record) -> void* {
            EXPECT_STREQ(COMMON_Thread_GetName(static_cast<COMMON_Thread*>(record)), "read");
            return record;
        },
        &thread);
    COMMON_Thread_SetName(&thread, "read");
    COMMON_Thread_SetDetachState(&thread, COMMON_ThreadDetachDetached);
    ASSERT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
    ASSERT_TRUE(has_ended(thread));
}

TEST(CommonThreadRun, CreateNamesAndStarts)
{
    struct Seen {
        COMMON_Thread* record = nullptr;
        COMMON_Thread* record_in_thread = nullptr;
        pthread_t self{};
    };
    run_silently([] {
        Seen seen;
        const auto look = [](void* argument) -> void* {
            auto* const found = static_cast<Seen*>(argument);
            found->record_in_thread = found->record;
            found->self = pthread_self();
            return nullptr;
        };
        EXPECT_EQ(COMMON_Thread_Create(look, "created", &seen, &seen.record), STATUS_SUCCESS);
        ASSERT_NE(seen.record, nullptr);
        ASSERT_TRUE(has_ended(*seen.record));
        EXPECT_EQ(pthread_join(seen.self, nullptr), 0);
        EXPECT_EQ(seen.record_in_thread, seen.record) << "not stored before the start";
        EXPECT_STREQ(COMMON_Thread_GetName(seen.record), "created");
        EXPECT_EQ(COMMON_Thread_Delete(seen.record), STATUS_SUCCESS);
    });
}

FRESH_TEST(CommonThreadRun, CreateCutsTheName)
{
    COMMON_Thread* thread = nullptr;
    const auto end = [](void* self) -> void* {
        *static_cast<pthread_t*>(self) = pthread_self();
        return nullptr;
    };
    pthread_t self{};
    const std::string name(200, 'n');
    EXPECT_EQ(COMMON_Thread_Create(end, name.c_str(), &self, &thread), STATUS_SUCCESS);
    EXPECT_EQ(COMMON_Thread_GetName(thread), name.substr(0, 128));
    ASSERT_TRUE(has_ended(*thread));
    EXPECT_EQ(pthread_join(self, nullptr), 0);
    EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
}

// Delete, join, detach.

TEST(CommonThreadRun, RecordOfARunningThreadIsNotDeleted)
{
    const Outcome outcome = well([] {
        ParkedThread* const parked = new ParkedThread;
        COMMON_Thread* const thread =
            COMMON_Thread_New(parked->record.entry, parked->record.argument);
        COMMON_Thread_SetName(thread, "busy");
        ASSERT_EQ(COMMON_Thread_Start(thread), STATUS_SUCCESS);
        ASSERT_TRUE(parked->running.wait());
        EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_INVALID_PARAM);
        EXPECT_EQ(COMMON_Thread_GetId(thread), parked->self);
        EXPECT_STREQ(COMMON_Thread_GetName(thread), "busy");
        parked->end();
        ASSERT_TRUE(has_ended(*thread));
        EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
        delete parked;
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Thread_Delete", kInvalid)));
}

FRESH_TEST(CommonThreadRun, ThreadThatHasEndedOrNeverRanIsJoinedAtOnce)
{
    ParkedThread parked;
    EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
    parked.start();
    parked.end();
    EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
    EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
}

// The main thread does it, of which ThreadSanitizer does not demand that somebody joins it after.
TEST(CommonThreadRun, JoiningOneselfIsAWarning)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        COMMON_Thread_SetName(&parked.record, "narcissus");
        parked.record.id = pthread_self();
        EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_GetId(&parked.record), pthread_self());
        dprintf(STDOUT_FILENO, "%s", shown_id(pthread_self()).c_str());
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Thread_Join",
                                              "Failed to join 'narcissus' thread " + outcome.out +
                                                  " with error: Resource deadlock avoided (35)",
                                              COMMON_LogLevelWarn)));
}

int detach_state_of(pthread_t id)
{
    pthread_attr_t attributes;
    int state = -1;
    EXPECT_EQ(pthread_getattr_np(id, &attributes), 0);
    EXPECT_EQ(pthread_attr_getdetachstate(&attributes, &state), 0);
    pthread_attr_destroy(&attributes);
    return state;
}

FRESH_TEST(CommonThreadRun, DetachedThreadReleasesItself)
{
    ParkedThread parked;
    parked.start();
    EXPECT_EQ(detach_state_of(parked.self), PTHREAD_CREATE_JOINABLE);
    EXPECT_EQ(COMMON_Thread_Detach(&parked.record), STATUS_SUCCESS);
    EXPECT_EQ(detach_state_of(parked.self), PTHREAD_CREATE_DETACHED);
    parked.go.set();
    EXPECT_TRUE(has_ended(parked.record));
}

FRESH_TEST(CommonThreadRun, ThreadCanBeStartedDetached)
{
    ParkedThread parked;
    COMMON_Thread_SetDetachState(&parked.record, COMMON_ThreadDetachDetached);
    parked.start();
    EXPECT_EQ(detach_state_of(parked.self), PTHREAD_CREATE_DETACHED);
    parked.go.set();
    EXPECT_TRUE(has_ended(parked.record));
}

TEST(CommonThreadRun, ThreadThatDoesNotRunCannotBeDetached)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        COMMON_Thread_SetName(&parked.record, "idle");
        EXPECT_EQ(COMMON_Thread_Detach(&parked.record), STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Thread_Detach",
                                 "Failed to detach 'idle' thread 0 with error: No such process "
                                 "(3)")));
}

// Cancel, kill and exit.

FRESH_TEST(CommonThreadRun, CancelledThreadIsKnownToHaveEnded)
{
    ParkedThread parked;
    parked.start();
    const pthread_t id = parked.self;
    EXPECT_EQ(COMMON_Thread_Cancel(&parked.record), STATUS_SUCCESS);
    void* result = nullptr;
    EXPECT_EQ(pthread_join(id, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(COMMON_Thread_GetId(&parked.record), pthread_t{});
    EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
}

std::atomic<pthread_t> signalled{};

FRESH_TEST(CommonThreadRun, SignalReachesTheThread)
{
    std::signal(SIGUSR1, [](int) { signalled = pthread_self(); });
    ParkedThread parked;
    parked.start();
    EXPECT_EQ(COMMON_Thread_Kill(&parked.record, SIGUSR1), STATUS_SUCCESS);
    EXPECT_TRUE(wait_until([] { return signalled != pthread_t{}; }));
    EXPECT_EQ(signalled, parked.self);
    parked.end();
}

FRESH_TEST(CommonThreadRun, SignalZeroOnlyChecks)
{
    ParkedThread parked;
    parked.start();
    EXPECT_EQ(COMMON_Thread_Kill(&parked.record, 0), STATUS_SUCCESS);
    parked.end();
}

TEST(CommonThreadRun, SignalThatDoesNotExistIsReported)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        COMMON_Thread_SetName(&parked.record, "target");
        parked.start();
        EXPECT_EQ(COMMON_Thread_Kill(&parked.record, 9999), STATUS_FAILED);
        parked.end();
        dprintf(STDOUT_FILENO, "%s", shown_id(parked.self).c_str());
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Thread_Kill",
                                 "Failed to send the signal to 'target' thread " + outcome.out +
                                     " with error: Invalid argument (22)")));
}

TEST(CommonThreadRun, ThreadThatDoesNotRunGetsNoSignal)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        COMMON_Thread_SetName(&parked.record, "idle");
        EXPECT_EQ(COMMON_Thread_Kill(&parked.record, SIGKILL), STATUS_FAILED);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Thread_Kill",
                                 "Failed to send the signal to 'idle' thread 0 with error: No "
                                 "such process (3)")));
}

TEST(CommonThreadRun, ExitEndsTheCallingThreadWhateverTheRecord)
{
    static char result_area;
    run_silently([] {
        ParkedThread other;
        other.start();
        struct Leaving {
            COMMON_Thread record;
            COMMON_Thread* given;
            pthread_t self;
        } leaving{};
        COMMON_Thread_Initialize(
            &leaving.record,
            [](void* argument) -> void* {
                auto* const own = static_cast<Leaving*>(argument);
                own->self = pthread_self();
                COMMON_Thread_Exit(own->given, &result_area);
                ADD_FAILURE() << "the thread goes on";
                return nullptr;
            },
            &leaving);
        leaving.given = &other.record;
        ASSERT_EQ(COMMON_Thread_Start(&leaving.record), STATUS_SUCCESS);
        ASSERT_TRUE(has_ended(leaving.record)) << "the stop handler did not run";
        void* result = nullptr;
        EXPECT_EQ(pthread_join(leaving.self, &result), 0);
        EXPECT_EQ(result, &result_area);
        EXPECT_EQ(COMMON_Thread_GetId(&other.record), other.self) << "the other thread was ended";
        other.end();
    });
}

TEST(CommonThreadRun, ThreadWithoutAnEntryReportsAndEnds)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        parked.record.entry = nullptr;
        ASSERT_EQ(COMMON_Thread_Start(&parked.record), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_Join(&parked.record), STATUS_SUCCESS);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("common_threadStartHandler", kInvalid)));
}

// Once.

int once_calls = 0;

FRESH_TEST(CommonThreadRun, OnceRunsTheFunctionOnce)
{
    pthread_once_t control = PTHREAD_ONCE_INIT;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(COMMON_Thread_Once(&control, [] { ++once_calls; }), 0);
    }
    EXPECT_EQ(once_calls, 1);
}

// _exit() shows that the text was flushed.
TEST(CommonThreadRun, OnceComplainsOnStandardOutput)
{
    pthread_once_t control = PTHREAD_ONCE_INIT;
    void (*const function)() = [] { ADD_FAILURE(); };
    for (const bool without_control : {true, false}) {
        const Outcome outcome = well([&] {
            const int result = without_control ? COMMON_Thread_Once(nullptr, function)
                                               : COMMON_Thread_Once(&control, nullptr);
            _exit(result);
        });
        EXPECT_EQ(outcome.out, kInvalid);
        EXPECT_EQ(outcome.err, "");
        EXPECT_THAT(outcome.log, IsEmpty());
    }
}

TEST(CommonThreadRun, OnceWhoseTextCannotBeWrittenGivesTheResultOfTheFlush)
{
    const Outcome outcome = well([] {
        ASSERT_NE(std::freopen("/dev/full", "w", stdout), nullptr);
        const int result = COMMON_Thread_Once(nullptr, nullptr);
        _exit(result == EOF ? 0 : 2);
    });
}

}  // namespace
