// Mutexes that are misused, and one between processes: what the platform refuses is reported, and a
// null record ends the process.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ostream>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "built_mutex.h"
#include "wait_until.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Values that the platform does not have.

TEST(CommonMutexMisuse, TypeThatDoesNotExistIsReportedTwice)
{
    for (const std::int32_t type : {4, 99, -1}) {
        const Outcome outcome = well([&] {
            Built mutex([&](COMMON_Mutex* record) {
                COMMON_Mutex_SetRecursive(record, 1);
                COMMON_Mutex_SetType(record, type);
            });
            EXPECT_EQ(relocking_by_holder(mutex), 0) << "the other attributes are lost";
        });
        EXPECT_THAT(outcome.log,
                    ElementsAre(said("COMMON_Mutex_Commit",
                                     "Invalid type: Invalid (" + std::to_string(type) + ")"),
                                said("COMMON_Mutex_Commit",
                                     "Failed to set the type with error: Invalid argument (22)")));
    }
}

TEST(CommonMutexMisuse, ProtocolThatDoesNotExistIsReportedTwice)
{
    for (const std::int32_t protocol : {2, -1}) {
        const Outcome outcome = well([&] {
            Built mutex([&](COMMON_Mutex* record) {
                COMMON_Mutex_SetProtocol(record, protocol);
                COMMON_Mutex_SetType(record, COMMON_MutexTypeRecursive);
            });
            EXPECT_EQ(relocking_by_holder(mutex), 0) << "the other attributes are lost";
        });
        EXPECT_THAT(
            outcome.log,
            ElementsAre(said("COMMON_Mutex_Commit",
                             "Invalid mutexProtocol: Invalid (" + std::to_string(protocol) + ")"),
                        said("COMMON_Mutex_Commit",
                             "Failed to set the mutexProtocol with error: Invalid argument (22)")));
    }
}

TEST(CommonMutexMisuse, CeilingThatThePlatformRefusesIsReported)
{
    const Outcome outcome = well([] {
        Built mutex([](COMMON_Mutex* record) { COMMON_Mutex_SetPriorityCeiling(record, 1'000); });
        COMMON_Mutex_Lock(&mutex);
        COMMON_Mutex_Unlock(&mutex);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("COMMON_Mutex_Commit",
                                 "Failed to set the priority ceiling with error: Invalid argument "
                                 "(22)")));
}

// Holders.

TEST(CommonMutexMisuse, UnlockingWhatIsNotHeldIsReportedByAnErrorCheckingMutex)
{
    const Outcome outcome = well([] {
        Built mutex([](COMMON_Mutex* record) {
            COMMON_Mutex_SetType(record, COMMON_MutexTypeErrorChecking);
        });
        COMMON_Mutex_Unlock(&mutex);
        COMMON_Mutex_Lock(&mutex);
        std::thread([&] { COMMON_Mutex_Unlock(&mutex); }).join();
        EXPECT_FALSE(is_free(mutex));
        COMMON_Mutex_Lock(&mutex);
        COMMON_Mutex_Unlock(&mutex);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said("common_mutexHandler",
                         "The mutex operation failed with error: Operation not permitted (1)"),
                    said("common_mutexHandler",
                         "The mutex operation failed with error: Operation not permitted (1)"),
                    said("common_mutexHandler",
                         "The mutex operation failed with error: Resource deadlock avoided (35)")));
}

TEST(CommonMutexMisuse, RelockOfWhatIsNotHeldReportsAndLocks)
{
    const Outcome outcome = well([] {
        Built mutex([](COMMON_Mutex* record) {
            COMMON_Mutex_SetType(record, COMMON_MutexTypeErrorChecking);
        });
        COMMON_Mutex_Relock(&mutex);
        EXPECT_FALSE(is_free(mutex));
        COMMON_Mutex_Unlock(&mutex);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said("common_mutexHandler",
                         "The mutex operation failed with error: Operation not permitted (1)")));
}

TEST(CommonMutexMisuse, DestroyingWhatIsHeldIsReported)
{
    const Outcome outcome = well([] {
        COMMON_Mutex mutex;
        COMMON_Mutex_Initialize(&mutex);
        COMMON_Mutex_Commit(&mutex);
        COMMON_Mutex_Lock(&mutex);
        COMMON_Mutex_Destroy(&mutex);
        EXPECT_EQ(mutex.type, COMMON_MutexTypeDefault) << "the record stays";
        COMMON_Mutex_Unlock(&mutex);
        COMMON_Mutex_Destroy(&mutex);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said("COMMON_Mutex_Destroy",
                                              "Failed to destroy the mutex with error: Device or "
                                              "resource busy (16)")));
}

/// Whether a process sleeps in the kernel.
bool sleeps(pid_t process)
{
    const std::string path = "/proc/" + std::to_string(process) + "/stat";
    std::string state(256, '\0');
    FILE* const stat = std::fopen(path.c_str(), "re");
    if (stat == nullptr) {
        return false;
    }
    state.resize(std::fread(state.data(), 1, state.size(), stat));
    std::fclose(stat);
    return state.find(") S ") != std::string::npos;
}

struct Shared {
    COMMON_Mutex mutex;
    pid_t had_it;
};

// A private mutex would let the child sleep for ever once it waits in the kernel.
FRESH_TEST(CommonMutexMisuse, SharedMutexIsHandedOverBetweenProcesses)
{
    auto* const shared = static_cast<Shared*>(
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(shared, MAP_FAILED);
    COMMON_Mutex_Initialize(&shared->mutex);
    COMMON_Mutex_SetShared(&shared->mutex, 1);
    COMMON_Mutex_Commit(&shared->mutex);
    COMMON_Mutex_Lock(&shared->mutex);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        COMMON_Mutex_Lock(&shared->mutex);
        shared->had_it = getpid();
        COMMON_Mutex_Unlock(&shared->mutex);
        _exit(0);
    }
    EXPECT_TRUE(wait_until([&] { return sleeps(child); }));
    EXPECT_EQ(shared->had_it, 0);
    COMMON_Mutex_Unlock(&shared->mutex);
    int status = -1;
    EXPECT_TRUE(wait_until([&] { return waitpid(child, &status, WNOHANG) == child; }));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shared->had_it, child);
    COMMON_Mutex_Destroy(&shared->mutex);
    munmap(shared, sizeof(Shared));
}

// Null records.

struct NullCall {
    const char* function;
    void (*call)();
};

void PrintTo(const NullCall& null_call, std::ostream* stream)
{
    *stream << null_call.function;
}

const NullCall kNullCalls[] = {
    {"COMMON_Mutex_Initialize", [] { COMMON_Mutex_Initialize(nullptr); }},
    {"COMMON_Mutex_SetPriorityCeiling", [] { COMMON_Mutex_SetPriorityCeiling(nullptr, 1); }},
    {"COMMON_Mutex_SetProtocol", [] { COMMON_Mutex_SetProtocol(nullptr, 1); }},
    {"COMMON_Mutex_SetRecursive", [] { COMMON_Mutex_SetRecursive(nullptr, 1); }},
    {"COMMON_Mutex_SetShared", [] { COMMON_Mutex_SetShared(nullptr, 1); }},
    {"COMMON_Mutex_SetType", [] { COMMON_Mutex_SetType(nullptr, 1); }},
    {"COMMON_Mutex_GetPriorityCeiling", [] { COMMON_Mutex_GetPriorityCeiling(nullptr); }},
    {"COMMON_Mutex_GetProtocol", [] { COMMON_Mutex_GetProtocol(nullptr); }},
    {"COMMON_Mutex_GetRecursive", [] { COMMON_Mutex_GetRecursive(nullptr); }},
    {"COMMON_Mutex_GetShared", [] { COMMON_Mutex_GetShared(nullptr); }},
    {"COMMON_Mutex_GetType", [] { COMMON_Mutex_GetType(nullptr); }},
    {"COMMON_Mutex_Commit", [] { COMMON_Mutex_Commit(nullptr); }},
    {"COMMON_Mutex_Lock", [] { COMMON_Mutex_Lock(nullptr); }},
    {"COMMON_Mutex_Unlock", [] { COMMON_Mutex_Unlock(nullptr); }},
    {"COMMON_Mutex_Relock", [] { COMMON_Mutex_Relock(nullptr); }},
    {"COMMON_Mutex_Destroy", [] { COMMON_Mutex_Destroy(nullptr); }},
    {"COMMON_Mutex_Delete", [] { COMMON_Mutex_Delete(nullptr); }},
};

class CommonMutexNull : public testing::TestWithParam<NullCall> {};

TEST_P(CommonMutexNull, EndsTheProcess)
{
    const Outcome outcome = run_fresh([] { GetParam().call(); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_mutex", GetParam().function, "((void *)0) != mutex"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Calls, CommonMutexNull, testing::ValuesIn(kNullCalls),
                         [](const auto& test) { return std::string(test.param.function); });

}  // namespace
