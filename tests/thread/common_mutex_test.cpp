// Mutexes: what is stored, what a commit makes of it, and how the result behaves.
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "built_mutex.h"

using namespace harness;

namespace {

// Texts.

TEST(CommonMutex, TypesHaveTexts)
{
    EXPECT_STREQ(COMMON_MutexType_ToString(0), "Normal");
    EXPECT_STREQ(COMMON_MutexType_ToString(1), "Error Checking");
    EXPECT_STREQ(COMMON_MutexType_ToString(2), "Recursive");
    EXPECT_STREQ(COMMON_MutexType_ToString(3), "Default");
    for (const std::int32_t value : {-1, 4, 5, INT32_MIN, INT32_MAX}) {
        EXPECT_STREQ(COMMON_MutexType_ToString(value), "Invalid") << value;
    }
}

TEST(CommonMutex, ProtocolsHaveTexts)
{
    EXPECT_STREQ(COMMON_MutexProtocol_ToString(0), "Inherited");
    EXPECT_STREQ(COMMON_MutexProtocol_ToString(1), "Protected");
    for (const std::int32_t value : {-1, 2, 3, INT32_MIN, INT32_MAX}) {
        EXPECT_STREQ(COMMON_MutexProtocol_ToString(value), "Invalid") << value;
    }
}

// The record.

template <class Record>
std::string bytes_of(const Record& record)
{
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

void expect_defaults(const COMMON_Mutex& mutex)
{
    EXPECT_EQ(COMMON_Mutex_GetPriorityCeiling(&mutex), 0);
    EXPECT_EQ(COMMON_Mutex_GetProtocol(&mutex), 0);
    EXPECT_EQ(COMMON_Mutex_GetRecursive(&mutex), 0U);
    EXPECT_EQ(COMMON_Mutex_GetShared(&mutex), 0U);
    EXPECT_EQ(COMMON_Mutex_GetType(&mutex), 3);
}

TEST(CommonMutex, InitializeZeroesTheRecordButForTheType)
{
    COMMON_Mutex mutex;
    std::memset(&mutex, 0xA5, sizeof mutex);
    COMMON_Mutex_Initialize(&mutex);
    expect_defaults(mutex);
    COMMON_Mutex_SetType(&mutex, 0);
    EXPECT_EQ(bytes_of(mutex), std::string(sizeof mutex, '\0'));
}

FRESH_TEST(CommonMutex, NewGivesTheDefaults)
{
    COMMON_Mutex* const mutex = COMMON_Mutex_New();
    expect_defaults(*mutex);
    COMMON_Mutex_Commit(mutex);
    COMMON_Mutex_Lock(mutex);
    EXPECT_FALSE(is_free(*mutex));
    COMMON_Mutex_Unlock(mutex);
    EXPECT_TRUE(is_free(*mutex));
    COMMON_Mutex_Delete(mutex);
}

FRESH_TEST(CommonMutex, SettersStoreAnythingAndLeaveThePlatformsMutexAlone)
{
    Built mutex;
    const std::string before = bytes_of(mutex.mutex);
    COMMON_Mutex_SetPriorityCeiling(&mutex, -7);
    COMMON_Mutex_SetProtocol(&mutex, 99);
    COMMON_Mutex_SetRecursive(&mutex, 5);
    COMMON_Mutex_SetShared(&mutex, 6);
    COMMON_Mutex_SetType(&mutex, INT32_MIN);
    EXPECT_EQ(COMMON_Mutex_GetPriorityCeiling(&mutex), -7);
    EXPECT_EQ(COMMON_Mutex_GetProtocol(&mutex), 99);
    EXPECT_EQ(COMMON_Mutex_GetRecursive(&mutex), 5U);
    EXPECT_EQ(COMMON_Mutex_GetShared(&mutex), 6U);
    EXPECT_EQ(COMMON_Mutex_GetType(&mutex), INT32_MIN);
    EXPECT_EQ(bytes_of(mutex.mutex), before);
}

// What a commit builds.

/// An error-checking mutex is the only one that refuses an unlocking by somebody else.
bool checks_errors(COMMON_Mutex& mutex)
{
    pthread_mutex_lock(&mutex.mutex);
    const bool checks = pthread_mutex_lock(&mutex.mutex) == EDEADLK;
    pthread_mutex_unlock(&mutex.mutex);
    return checks;
}

struct Kind {
    const char* name;
    std::uint32_t recursive;
    std::int32_t type;
    int relocking;  ///< result of locking again
};

void PrintTo(const Kind& kind, std::ostream* stream)
{
    *stream << kind.name;
}

const Kind kKinds[] = {
    {"Default", 0, 3, EBUSY},
    {"Normal", 0, 0, EBUSY},
    {"ErrorChecking", 0, 1, EBUSY},
    {"Recursive", 0, 2, 0},
    {"DefaultWithFlag", 1, 3, 0},
    {"DefaultWithAnyFlag", 0x80000000U, 3, 0},
    {"NormalOverridesFlag", 1, 0, EBUSY},
    {"ErrorCheckingOverridesFlag", 1, 1, EBUSY},
    {"RecursiveWithFlag", 1, 2, 0},
};

class CommonMutexKind : public testing::TestWithParam<Kind> {};

TEST_P(CommonMutexKind, DecidesAboutLockingAgain)
{
    run_silently([] {
        Built mutex([](COMMON_Mutex* record) {
            COMMON_Mutex_SetRecursive(record, GetParam().recursive);
            COMMON_Mutex_SetType(record, GetParam().type);
        });
        EXPECT_EQ(relocking_by_holder(mutex), GetParam().relocking);
        if (GetParam().type == COMMON_MutexTypeErrorChecking) {
            EXPECT_TRUE(checks_errors(mutex));
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Kinds, CommonMutexKind, testing::ValuesIn(kKinds),
                         [](const auto& test) { return std::string(test.param.name); });

FRESH_TEST(CommonMutex, CeilingOfAProtectedMutexReachesThePlatform)
{
    Built mutex([](COMMON_Mutex* record) {
        COMMON_Mutex_SetPriorityCeiling(record, 17);
        COMMON_Mutex_SetProtocol(record, COMMON_MutexProtocolProtected);
    });
    int ceiling = 0;
    EXPECT_EQ(pthread_mutex_getprioceiling(&mutex.mutex, &ceiling), 0);
    EXPECT_EQ(ceiling, 17);
}

FRESH_TEST(CommonMutex, CeilingAloneMakesNoProtectedMutex)
{
    Built mutex([](COMMON_Mutex* record) { COMMON_Mutex_SetPriorityCeiling(record, 17); });
    int ceiling = 0;
    EXPECT_EQ(pthread_mutex_getprioceiling(&mutex.mutex, &ceiling), EINVAL);
}

FRESH_TEST(CommonMutex, InheritedAsksNothingOfThePlatform)
{
    Built plain;
    Built inherited([](COMMON_Mutex* record) {
        COMMON_Mutex_SetProtocol(record, COMMON_MutexProtocolInherited);
    });
    EXPECT_EQ(bytes_of(inherited.mutex), bytes_of(plain.mutex));
    pthread_mutex_t of_platform{};
    ASSERT_EQ(pthread_mutex_init(&of_platform, nullptr), 0);
    EXPECT_EQ(bytes_of(plain.mutex), bytes_of(of_platform))
        << "not a mutex with the platform's default attributes";
    pthread_mutex_destroy(&of_platform);
}

FRESH_TEST(CommonMutex, MutexCanBeCommittedAnew)
{
    Built mutex;
    EXPECT_EQ(relocking_by_holder(mutex), EBUSY);
    COMMON_Mutex_Destroy(&mutex);
    COMMON_Mutex_SetRecursive(&mutex, 1);
    COMMON_Mutex_Commit(&mutex);
    EXPECT_EQ(relocking_by_holder(mutex), 0);
}

// Locking.

FRESH_TEST(CommonMutex, OnlyOneThreadHoldsIt)
{
    Built mutex;
    int count = 0;
    const auto add = [&] {
        for (int i = 0; i < 5'000; ++i) {
            COMMON_Mutex_Lock(&mutex);
            ++count;
            COMMON_Mutex_Unlock(&mutex);
        }
    };
    std::thread first(add);
    std::thread second(add);
    first.join();
    second.join();
    EXPECT_EQ(count, 10'000);
}

FRESH_TEST(CommonMutex, RelockHoldsItAfterwardsWhoeverHadItInBetween)
{
    Built mutex;
    std::atomic<bool> stop{false};
    COMMON_Mutex_Lock(&mutex);
    std::thread other([&] {
        while (!stop) {
            COMMON_Mutex_Lock(&mutex);
            COMMON_Mutex_Unlock(&mutex);
        }
    });
    for (int i = 0; i < 1'000; ++i) {
        COMMON_Mutex_Relock(&mutex);
        EXPECT_EQ(pthread_mutex_trylock(&mutex.mutex), EBUSY);
    }
    stop = true;
    COMMON_Mutex_Unlock(&mutex);
    other.join();
}

}  // namespace
