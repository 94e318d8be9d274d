// The attributes with which threads are really created. The platform's pthread_create() is called
// by way of the one below, which looks at them.
#include <atomic>
#include <dlfcn.h>
#include <functional>
#include <pthread.h>
#include <sched.h>
#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

#include "common_thread.h"
#include "fresh_process.h"
#include "log_expect.h"
#include "parked_thread.h"

using namespace harness;
using testing::ElementsAre;

namespace {

/// What pthread_create() was called with.
struct Asked {
    int calls = 0;
    int policy = -1;
    int priority = -1;
    int inherit = -1;
    int detach_state = -1;
    std::size_t stack_size = 0;
    pthread_t* id = nullptr;
    void* argument = nullptr;
};

Asked asked;

/// The record whose threads are looked at: sanitizers make threads, too.
const COMMON_Thread* watched = nullptr;

/// Called instead of creating a thread: the result of pthread_create(), which writes an id first.
std::function<int()> instead_of_creating;

/// Called after a thread was created, before the library knows.
std::function<void(pthread_t* id)> after_creating;

void look_at(const pthread_attr_t* attributes)
{
    sched_param parameters{};
    pthread_attr_getschedpolicy(attributes, &asked.policy);
    pthread_attr_getschedparam(attributes, &parameters);
    pthread_attr_getinheritsched(attributes, &asked.inherit);
    pthread_attr_getdetachstate(attributes, &asked.detach_state);
    pthread_attr_getstacksize(attributes, &asked.stack_size);
    asked.priority = parameters.sched_priority;
}

std::size_t default_stack_size()
{
    pthread_attr_t attributes;
    std::size_t size = 0;
    pthread_attr_init(&attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

}  // namespace

extern "C" int pthread_create(pthread_t* id, const pthread_attr_t* attributes,
                              void* (*entry)(void*), void* argument) noexcept
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (argument != watched) {
        return create(id, attributes, entry, argument);
    }
    ++asked.calls;
    asked.id = id;
    asked.argument = argument;
    look_at(attributes);
    if (instead_of_creating) {
        *id = static_cast<pthread_t>(64);
        return instead_of_creating();
    }
    const int error = create(id, attributes, entry, argument);
    if (after_creating) {
        after_creating(id);
    }
    return error;
}

namespace {

/// Starts a record without making a thread, and gives what was asked for.
Asked ask_for(const std::function<void(COMMON_Thread&)>& set_attributes)
{
    ParkedThread parked;
    set_attributes(parked.record);
    watched = &parked.record;
    instead_of_creating = [] { return 0; };
    EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_SUCCESS);
    instead_of_creating = nullptr;
    EXPECT_EQ(asked.calls, 1);
    EXPECT_EQ(asked.id, &parked.record.id);
    EXPECT_EQ(asked.argument, &parked.record);
    return asked;
}

FRESH_TEST(CommonThreadAttributes, DefaultRecordInheritsAndHasThePlatformsStack)
{
    const Asked now = ask_for([](COMMON_Thread&) {});
    EXPECT_EQ(now.policy, SCHED_RR);
    EXPECT_EQ(now.priority, 10);
    EXPECT_EQ(now.inherit, PTHREAD_INHERIT_SCHED);
    EXPECT_EQ(now.detach_state, PTHREAD_CREATE_JOINABLE);
    EXPECT_EQ(now.stack_size, default_stack_size());
}

TEST(CommonThreadAttributes, SchedulingIsHandedOn)
{
    struct {
        std::uint32_t schedule;
        std::uint32_t priority;
        int inherit;
    } constexpr kCases[] = {
        {SCHED_RR, 1, PTHREAD_EXPLICIT_SCHED},        {SCHED_RR, 99, PTHREAD_EXPLICIT_SCHED},
        {SCHED_FIFO, 9, PTHREAD_EXPLICIT_SCHED},      {SCHED_FIFO, 11, PTHREAD_EXPLICIT_SCHED},
        {SCHED_FIFO, 10, PTHREAD_INHERIT_SCHED},      {SCHED_OTHER, 0, PTHREAD_EXPLICIT_SCHED},
        {SCHED_RR, 256 + 50, PTHREAD_EXPLICIT_SCHED},
    };
    for (const auto& example : kCases) {
        SCOPED_TRACE(example.priority);
        run_silently([&] {
            const Asked now = ask_for([&](COMMON_Thread& thread) {
                COMMON_Thread_SetSchedule(&thread, example.schedule);
                COMMON_Thread_SetPriority(&thread, example.priority);
            });
            EXPECT_EQ(now.policy, static_cast<int>(example.schedule));
            EXPECT_EQ(now.priority, static_cast<int>(example.priority % 256));
            EXPECT_EQ(now.inherit, example.inherit);
        });
    }
}

TEST(CommonThreadAttributes, OnlyOneIsDetached)
{
    for (const std::uint32_t state : {0U, 1U, 2U, 257U, UINT32_MAX}) {
        SCOPED_TRACE(state);
        run_silently([&] {
            const Asked now = ask_for(
                [&](COMMON_Thread& thread) { COMMON_Thread_SetDetachState(&thread, state); });
            EXPECT_EQ(now.detach_state,
                      state == 1 ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE);
        });
    }
}

TEST(CommonThreadAttributes, StackSizeIsHandedOn)
{
    const auto smallest = static_cast<std::uint32_t>(sysconf(_SC_THREAD_STACK_MIN));
    for (const std::uint32_t size : {65534U, 65536U, 262'144U, 16'777'216U}) {
        SCOPED_TRACE(size);
        if (size < smallest) {
            continue;  // which the C library refuses, on processors with large pages
        }
        run_silently([&] {
            const Asked now =
                ask_for([&](COMMON_Thread& thread) { COMMON_Thread_SetStackSize(&thread, size); });
            EXPECT_EQ(now.stack_size, size);
        });
    }
}

/// Takes part of the effective attributes of the calling thread.
std::size_t own_stack_size()
{
    pthread_attr_t attributes;
    std::size_t size = 0;
    EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
    EXPECT_EQ(pthread_attr_getstacksize(&attributes, &size), 0);
    pthread_attr_destroy(&attributes);
    return size;
}

struct Effective {
    pthread_t self;
    std::size_t stack_size;
    int policy;
};

void* look_at_oneself(void* effective)
{
    *static_cast<Effective*>(effective) = {pthread_self(), own_stack_size(), sched_getscheduler(0)};
    return nullptr;
}

/// Runs a thread of the library: what it finds.
Effective run_thread(const std::function<void(COMMON_Thread&)>& set_attributes)
{
    Effective effective{};
    COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, look_at_oneself, &effective);
    set_attributes(thread);
    EXPECT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
    EXPECT_TRUE(has_ended(thread));
    EXPECT_EQ(pthread_join(effective.self, nullptr), 0);
    return effective;
}

/// Runs a thread with the platform's default attributes.
Effective run_plain_thread()
{
    Effective effective{};
    pthread_t id{};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_create(&id, &attributes, look_at_oneself, &effective), 0);
    EXPECT_EQ(pthread_join(id, nullptr), 0);
    pthread_attr_destroy(&attributes);
    return effective;
}

FRESH_TEST(CommonThreadAttributes, StackSizeTakesEffect)
{
    constexpr std::uint32_t kSmall = 1U << 20;
    constexpr std::uint32_t kLarge = 32U << 20;
    const auto small =
        run_thread([](COMMON_Thread& thread) { COMMON_Thread_SetStackSize(&thread, kSmall); });
    const auto large =
        run_thread([](COMMON_Thread& thread) { COMMON_Thread_SetStackSize(&thread, kLarge); });
    // The guard page may be part of the size; sanitizers add to it.
    EXPECT_GE(small.stack_size, kSmall / 2);
    EXPECT_LT(small.stack_size, kLarge / 2);
    EXPECT_GE(large.stack_size, kLarge - kSmall);
}

FRESH_TEST(CommonThreadAttributes, DefaultStackIsThatOfAnyThread)
{
    EXPECT_EQ(run_thread([](COMMON_Thread&) {}).stack_size, run_plain_thread().stack_size);
}

FRESH_TEST(CommonThreadAttributes, DefaultThreadInheritsTheSchedulingOfItsCreator)
{
    EXPECT_EQ(run_thread([](COMMON_Thread&) {}).policy, SCHED_OTHER);
    const sched_param parameters{};
    ASSERT_EQ(sched_setscheduler(0, SCHED_BATCH, &parameters), 0);
    EXPECT_EQ(run_thread([](COMMON_Thread&) {}).policy, SCHED_BATCH);
}

FRESH_TEST(CommonThreadAttributes, SetPriorityMakesTheSchedulingTheRecords)
{
    const sched_param parameters{};
    ASSERT_EQ(sched_setscheduler(0, SCHED_BATCH, &parameters), 0);
    const auto effective = run_thread([](COMMON_Thread& thread) {
        COMMON_Thread_SetSchedule(&thread, COMMON_ThreadScheduleOther);
        COMMON_Thread_SetPriority(&thread, 0);
    });
    EXPECT_EQ(effective.policy, SCHED_OTHER);
}

TEST(CommonThreadAttributes, PriorityThatTheSystemForbidsIsReported)
{
    const Outcome outcome = well([] {
        ParkedThread parked;
        COMMON_Thread_SetPriority(&parked.record, 50);
        watched = &parked.record;
        instead_of_creating = [] { return EPERM; };
        EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_FAILED);
        EXPECT_EQ(COMMON_Thread_GetId(&parked.record), pthread_t{});
        EXPECT_STREQ(COMMON_Thread_GetName(&parked.record), "");
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Thread_Start",
                                 "Failed to create the thread with error: Operation not "
                                 "permitted (1)")));
}

FRESH_TEST(CommonThreadAttributes, DefaultNameHasTheLow32BitsOfTheIdAsAnUnsignedNumber)
{
    ParkedThread parked;
    watched = &parked.record;
    instead_of_creating = [&] {
        parked.record.id = static_cast<pthread_t>(0x7FFF'8000'0001);
        return 0;
    };
    EXPECT_EQ(COMMON_Thread_Start(&parked.record), STATUS_SUCCESS);
    EXPECT_STREQ(COMMON_Thread_GetName(&parked.record), "Unnamed-2147483649");
}

FRESH_TEST(CommonThreadAttributes, ThreadThatEndsBeforeItIsNamedIsUnnamedZero)
{
    after_creating = [](const pthread_t* id) {
        EXPECT_TRUE(wait_until([&] { return __atomic_load_n(id, __ATOMIC_ACQUIRE) == 0; }));
    };
    ParkedThread parked;
    parked.go.set();
    watched = &parked.record;
    ASSERT_EQ(COMMON_Thread_Start(&parked.record), STATUS_SUCCESS);
    EXPECT_STREQ(COMMON_Thread_GetName(&parked.record), "Unnamed-0");
    EXPECT_EQ(COMMON_Thread_GetId(&parked.record), pthread_t{});
    EXPECT_EQ(pthread_join(parked.self, nullptr), 0);
}

}  // namespace
