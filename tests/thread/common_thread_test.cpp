// The thread record: what it starts with, what is stored in it, and null arguments everywhere.
#include "common_thread.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"

using namespace harness;
using testing::Each;
using testing::ElementsAre;

namespace {

void* no_work(void*)
{
    return nullptr;
}

char argument_area;

COMMON_Thread initialised_record()
{
    COMMON_Thread thread;
    EXPECT_EQ(COMMON_Thread_Initialize(&thread, no_work, &argument_area), STATUS_SUCCESS);
    return thread;
}

TEST(CommonThread, RecordHasItsFieldsInOrder)
{
    constexpr std::size_t kOffsets[] = {
        offsetof(COMMON_Thread, id),          offsetof(COMMON_Thread, schedule),
        offsetof(COMMON_Thread, detachState), offsetof(COMMON_Thread, priority),
        offsetof(COMMON_Thread, stackSize),   offsetof(COMMON_Thread, entry),
        offsetof(COMMON_Thread, argument),    offsetof(COMMON_Thread, name)};
    EXPECT_TRUE(std::is_sorted(std::begin(kOffsets), std::end(kOffsets)));
    EXPECT_EQ(kOffsets[0], 0U);
    EXPECT_EQ(sizeof(COMMON_Thread::id), sizeof(pthread_t));
    EXPECT_EQ(sizeof(COMMON_Thread::schedule), 4U);
    EXPECT_EQ(sizeof(COMMON_Thread::detachState), 4U);
    EXPECT_EQ(sizeof(COMMON_Thread::priority), 1U);
    EXPECT_EQ(sizeof(COMMON_Thread::stackSize), 4U);
    EXPECT_EQ(sizeof(COMMON_Thread::argument), sizeof(void*));
    EXPECT_EQ(sizeof(COMMON_Thread::name), 129U);
}

TEST(CommonThread, InitializeOverwritesTheWholeRecord)
{
    COMMON_Thread thread;
    std::memset(&thread, 0xEE, sizeof thread);
    EXPECT_EQ(COMMON_Thread_Initialize(&thread, no_work, &argument_area), STATUS_SUCCESS);
    EXPECT_EQ(thread.id, pthread_t{});
    EXPECT_EQ(thread.schedule, 2U);
    EXPECT_EQ(thread.detachState, 0U);
    EXPECT_EQ(thread.priority, 10U);
    EXPECT_EQ(thread.stackSize, 65535U);
    EXPECT_EQ(thread.entry, no_work);
    EXPECT_EQ(thread.argument, &argument_area);
    EXPECT_THAT(thread.name, Each('\0'));
}

TEST(CommonThread, InitializeWithoutAnEntryLeavesTheRecordAlone)
{
    COMMON_Thread thread;
    std::memset(&thread, 0xEE, sizeof thread);
    const auto bytes = [&] {
        return std::string(reinterpret_cast<const char*>(&thread), sizeof thread);
    };
    well([&] {
        EXPECT_EQ(COMMON_Thread_Initialize(&thread, nullptr, nullptr), STATUS_INVALID_PARAM);
        EXPECT_EQ(bytes(), std::string(sizeof thread, '\xEE'));
    });
}

FRESH_TEST(CommonThread, NewGivesAnInitialisedRecordThatDeleteFrees)
{
    COMMON_Thread* const thread = COMMON_Thread_New(no_work, &argument_area);
    ASSERT_NE(thread, nullptr);
    const COMMON_Thread expected = initialised_record();
    EXPECT_EQ(thread->id, pthread_t{});
    EXPECT_EQ(thread->schedule, expected.schedule);
    EXPECT_EQ(thread->detachState, expected.detachState);
    EXPECT_EQ(thread->priority, expected.priority);
    EXPECT_EQ(thread->stackSize, expected.stackSize);
    EXPECT_EQ(thread->entry, no_work);
    EXPECT_EQ(thread->argument, &argument_area);
    EXPECT_STREQ(thread->name, "");
    EXPECT_EQ(COMMON_Thread_Delete(thread), STATUS_SUCCESS);
}

TEST(CommonThread, GettersGiveTheDefaults)
{
    const COMMON_Thread thread = initialised_record();
    EXPECT_EQ(COMMON_Thread_GetId(&thread), pthread_t{});
    EXPECT_EQ(COMMON_Thread_GetName(&thread), thread.name);
    EXPECT_EQ(COMMON_Thread_GetDetachState(&thread), COMMON_ThreadDetachJoinable);
    EXPECT_EQ(COMMON_Thread_GetPriority(&thread), COMMON_ThreadPriorityDefault);
    EXPECT_EQ(COMMON_Thread_GetSchedule(&thread), COMMON_ThreadScheduleDefault);
    EXPECT_EQ(COMMON_Thread_GetStackSize(&thread), COMMON_ThreadStackSizeDefault);
}

TEST(CommonThread, WordsAreStoredUnchecked)
{
    COMMON_Thread thread = initialised_record();
    for (const std::uint32_t value : {0U, 1U, 2U, 3U, 10U, 256U, 65535U, 65536U, UINT32_MAX}) {
        COMMON_Thread_SetDetachState(&thread, value);
        COMMON_Thread_SetSchedule(&thread, value + 1);
        COMMON_Thread_SetStackSize(&thread, value + 2);
        EXPECT_EQ(COMMON_Thread_GetDetachState(&thread), value);
        EXPECT_EQ(COMMON_Thread_GetSchedule(&thread), value + 1);
        EXPECT_EQ(COMMON_Thread_GetStackSize(&thread), value + 2);
        EXPECT_EQ(thread.priority, 10U);
    }
}

TEST(CommonThread, PriorityHasEightBits)
{
    COMMON_Thread thread = initialised_record();
    struct {
        std::uint32_t given;
        std::uint32_t stored;
    } constexpr kPriorities[] = {{0, 0},   {1, 1},    {10, 10},         {255, 255},
                                 {256, 0}, {300, 44}, {0xFFFFFF0A, 10}, {UINT32_MAX, 255}};
    for (const auto& priority : kPriorities) {
        COMMON_Thread_SetPriority(&thread, priority.given);
        EXPECT_EQ(COMMON_Thread_GetPriority(&thread), priority.stored) << priority.given;
        EXPECT_EQ(thread.detachState, 0U);
        EXPECT_EQ(thread.stackSize, 65535U);
    }
}

TEST(CommonThread, NamesAreCutAt128Characters)
{
    COMMON_Thread thread = initialised_record();
    std::memset(thread.name, 0xEE, sizeof thread.name);
    for (const std::size_t length : {200U, 129U, 128U, 127U, 1U, 0U, 128U}) {
        const std::string name(length, length % 2 == 0 ? 'e' : 'o');
        EXPECT_EQ(COMMON_Thread_SetName(&thread, name.c_str()), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_GetName(&thread), name.substr(0, 128)) << length;
    }
}

TEST(CommonThread, OwnNameCanBeSet)
{
    COMMON_Thread thread = initialised_record();
    COMMON_Thread_SetName(&thread, "some name");
    EXPECT_EQ(COMMON_Thread_SetName(&thread, thread.name), STATUS_SUCCESS);
    EXPECT_STREQ(COMMON_Thread_GetName(&thread), "some name");
    EXPECT_EQ(COMMON_Thread_SetName(&thread, thread.name + 5), STATUS_SUCCESS);
    EXPECT_STREQ(COMMON_Thread_GetName(&thread), "name");
}

TEST(CommonThread, SchedulesHaveTexts)
{
    EXPECT_STREQ(COMMON_ThreadSchedule_ToString(0), "Other");
    EXPECT_STREQ(COMMON_ThreadSchedule_ToString(1), "First In, First Out (FIFO)");
    EXPECT_STREQ(COMMON_ThreadSchedule_ToString(2), "Round Robin");
    for (const std::uint32_t schedule : {3U, 5U, 256U, 0x80000000U, UINT32_MAX}) {
        EXPECT_STREQ(COMMON_ThreadSchedule_ToString(schedule), "Invalid") << schedule;
    }
}

TEST(CommonThread, DetachStatesHaveTexts)
{
    EXPECT_STREQ(COMMON_ThreadDetach_StateToString(0), "Joinable");
    EXPECT_STREQ(COMMON_ThreadDetach_StateToString(1), "Detached");
    for (const std::uint32_t state : {2U, 3U, 256U, 257U, 0x80000001U, UINT32_MAX}) {
        EXPECT_STREQ(COMMON_ThreadDetach_StateToString(state), "Invalid") << state;
    }
}

TEST(CommonThread, SelfIsTheCallingThread)
{
    EXPECT_EQ(COMMON_Thread_Self(), pthread_self());
    std::thread([main = pthread_self()] {
        EXPECT_EQ(COMMON_Thread_Self(), pthread_self());
        EXPECT_NE(COMMON_Thread_Self(), main);
    }).join();
}

// Null arguments.

COMMON_Thread* const kNoThread = nullptr;

/// A record whose thread does not run, for calls that need one.
COMMON_Thread& idle_record()
{
    static COMMON_Thread thread;
    COMMON_Thread_Initialize(&thread, no_work, nullptr);
    return thread;
}

struct NullCall {
    const char* function;  ///< after "COMMON_Thread_"
    const char* what;
    void (*check)();
};

void PrintTo(const NullCall& call, std::ostream* stream)
{
    *stream << call.function << " " << call.what;
}

const NullCall kNullCalls[] = {
    {"Initialize", "Thread",
     [] {
         EXPECT_EQ(COMMON_Thread_Initialize(kNoThread, no_work, nullptr), STATUS_INVALID_PARAM);
     }},
    {"Initialize", "Entry",
     [] {
         COMMON_Thread thread;
         EXPECT_EQ(COMMON_Thread_Initialize(&thread, nullptr, nullptr), STATUS_INVALID_PARAM);
     }},
    {"Initialize", "All",
     [] {
         EXPECT_EQ(COMMON_Thread_Initialize(kNoThread, nullptr, nullptr), STATUS_INVALID_PARAM);
     }},
    {"New", "Entry", [] { EXPECT_EQ(COMMON_Thread_New(nullptr, &argument_area), nullptr); }},
    {"Start", "Thread", [] { EXPECT_EQ(COMMON_Thread_Start(kNoThread), STATUS_INVALID_PARAM); }},
    {"Create", "Entry",
     [] {
         COMMON_Thread* thread = &idle_record();
         EXPECT_EQ(COMMON_Thread_Create(nullptr, "name", nullptr, &thread), STATUS_INVALID_PARAM);
         EXPECT_EQ(thread, &idle_record());
     }},
    {"Create", "Name",
     [] {
         COMMON_Thread* thread = &idle_record();
         EXPECT_EQ(COMMON_Thread_Create(no_work, nullptr, nullptr, &thread), STATUS_INVALID_PARAM);
         EXPECT_EQ(thread, &idle_record());
     }},
    {"Create", "Record",
     [] {
         EXPECT_EQ(COMMON_Thread_Create(no_work, "name", nullptr, nullptr), STATUS_INVALID_PARAM);
     }},
    {"Delete", "Thread", [] { EXPECT_EQ(COMMON_Thread_Delete(kNoThread), STATUS_INVALID_PARAM); }},
    {"Join", "Thread", [] { EXPECT_EQ(COMMON_Thread_Join(kNoThread), STATUS_INVALID_PARAM); }},
    {"Detach", "Thread", [] { EXPECT_EQ(COMMON_Thread_Detach(kNoThread), STATUS_INVALID_PARAM); }},
    {"Cancel", "Thread", [] { EXPECT_EQ(COMMON_Thread_Cancel(kNoThread), STATUS_INVALID_PARAM); }},
    {"Cancel", "Id", [] { EXPECT_EQ(COMMON_Thread_Cancel(&idle_record()), STATUS_INVALID_PARAM); }},
    {"Kill", "Thread", [] { EXPECT_EQ(COMMON_Thread_Kill(kNoThread, 0), STATUS_INVALID_PARAM); }},
    {"Exit", "Thread",
     [] { EXPECT_EQ(COMMON_Thread_Exit(kNoThread, &argument_area), STATUS_INVALID_PARAM); }},
    {"GetId", "Thread", [] { EXPECT_EQ(COMMON_Thread_GetId(kNoThread), pthread_t{}); }},
    {"GetName", "Thread", [] { EXPECT_EQ(COMMON_Thread_GetName(kNoThread), nullptr); }},
    {"GetDetachState", "Thread",
     [] { EXPECT_EQ(COMMON_Thread_GetDetachState(kNoThread), COMMON_ThreadDetachJoinable); }},
    {"GetPriority", "Thread",
     [] { EXPECT_EQ(COMMON_Thread_GetPriority(kNoThread), COMMON_ThreadPriorityDefault); }},
    {"GetSchedule", "Thread",
     [] { EXPECT_EQ(COMMON_Thread_GetSchedule(kNoThread), COMMON_ThreadScheduleDefault); }},
    {"GetStackSize", "Thread",
     [] { EXPECT_EQ(COMMON_Thread_GetStackSize(kNoThread), COMMON_ThreadStackSizeDefault); }},
    {"SetDetachState", "Thread", [] { COMMON_Thread_SetDetachState(kNoThread, 1); }},
    {"SetPriority", "Thread", [] { COMMON_Thread_SetPriority(kNoThread, 1); }},
    {"SetSchedule", "Thread", [] { COMMON_Thread_SetSchedule(kNoThread, 1); }},
    {"SetStackSize", "Thread", [] { COMMON_Thread_SetStackSize(kNoThread, 1); }},
    {"SetName", "Thread",
     [] { EXPECT_EQ(COMMON_Thread_SetName(kNoThread, "name"), STATUS_INVALID_PARAM); }},
    {"SetName", "Name",
     [] {
         COMMON_Thread_SetName(&idle_record(), "kept");
         EXPECT_EQ(COMMON_Thread_SetName(&idle_record(), nullptr), STATUS_INVALID_PARAM);
     }},
};

class CommonThreadNull : public testing::TestWithParam<NullCall> {};

TEST_P(CommonThreadNull, IsReportedOnce)
{
    const Outcome outcome = well(GetParam().check);
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelError, "", "common_thread",
                                              "COMMON_Thread_" + std::string(GetParam().function),
                                              "One or more input parameters are invalid!")));
}

INSTANTIATE_TEST_SUITE_P(Calls, CommonThreadNull, testing::ValuesIn(kNullCalls),
                         [](const auto& test) {
                             return std::string(test.param.function) + test.param.what;
                         });

TEST(CommonThread, NullNameKeepsTheOldOne)
{
    well([] {
        COMMON_Thread thread = initialised_record();
        COMMON_Thread_SetName(&thread, "kept");
        EXPECT_EQ(COMMON_Thread_SetName(&thread, nullptr), STATUS_INVALID_PARAM);
        EXPECT_STREQ(COMMON_Thread_GetName(&thread), "kept");
    });
}

}  // namespace
