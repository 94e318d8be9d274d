#include "common_mutex.h"

#include <cstddef>
#include <cstring>
#include <iterator>

#include "mem_malloc.h"
#include "platform/assertion.h"
#include "thread/mutex_handler.h"

static_assert(offsetof(COMMON_Mutex, mutex) == 0);
static_assert(offsetof(COMMON_Mutex, unused) == sizeof(pthread_mutex_t));
static_assert(offsetof(COMMON_Mutex, priorityCeiling) == sizeof(pthread_mutex_t) + 8);
static_assert(offsetof(COMMON_Mutex, protocol) == sizeof(pthread_mutex_t) + 12);
static_assert(offsetof(COMMON_Mutex, recursive) == sizeof(pthread_mutex_t) + 16);
static_assert(offsetof(COMMON_Mutex, shared) == sizeof(pthread_mutex_t) + 20);
static_assert(offsetof(COMMON_Mutex, type) == sizeof(pthread_mutex_t) + 24);
static_assert(sizeof(void*) != 4 || sizeof(COMMON_Mutex) == sizeof(pthread_mutex_t) + 28);

using namespace common::mutex;

namespace {

/// What is handed to the platform for a value that it does not have: it refuses it.
constexpr int kRefused = -1;

constexpr int platform_protocol(COMMON_MutexProtocol_t protocol) noexcept
{
    return protocol == COMMON_MutexProtocolProtected ? PTHREAD_PRIO_PROTECT : kRefused;
}

/// The types by their values.
constexpr struct {
    int platform;
    char text[15];
} kTypes[] = {{PTHREAD_MUTEX_NORMAL, "Normal"},
              {PTHREAD_MUTEX_ERRORCHECK, "Error Checking"},
              {PTHREAD_MUTEX_RECURSIVE, "Recursive"},
              {kRefused, "Default"}};
static_assert(COMMON_MutexTypeNormal == 0 && COMMON_MutexTypeErrorChecking == 1);
static_assert(COMMON_MutexTypeRecursive == 2 && COMMON_MutexTypeDefault == std::size(kTypes) - 1);

constexpr bool is_type(COMMON_MutexType_t type) noexcept
{
    return type >= 0 && static_cast<std::size_t>(type) < std::size(kTypes);
}

#define ASSERT_MUTEX() COMMON_ASSERT(kSource, mutex != nullptr, "((void *)0) != mutex")

}  // namespace

extern "C" {

COMMON_Mutex* COMMON_Mutex_New(void)
{
    auto* const mutex = static_cast<COMMON_Mutex*>(MEM_Malloc(sizeof(COMMON_Mutex)));
    COMMON_ASSERT(kSource, mutex != nullptr, "((void *)0) != p_mutex");
    COMMON_Mutex_Initialize(mutex);
    return mutex;
}

void COMMON_Mutex_Initialize(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    std::memset(mutex, 0, sizeof *mutex);
    mutex->type = COMMON_MutexTypeDefault;
}

void COMMON_Mutex_SetPriorityCeiling(COMMON_Mutex* mutex, int32_t ceiling)
{
    ASSERT_MUTEX();
    mutex->priorityCeiling = ceiling;
}

void COMMON_Mutex_SetProtocol(COMMON_Mutex* mutex, COMMON_MutexProtocol_t protocol)
{
    ASSERT_MUTEX();
    mutex->protocol = protocol;
}

void COMMON_Mutex_SetRecursive(COMMON_Mutex* mutex, uint32_t recursive)
{
    ASSERT_MUTEX();
    mutex->recursive = recursive;
}

void COMMON_Mutex_SetShared(COMMON_Mutex* mutex, uint32_t shared)
{
    ASSERT_MUTEX();
    mutex->shared = shared;
}

void COMMON_Mutex_SetType(COMMON_Mutex* mutex, COMMON_MutexType_t type)
{
    ASSERT_MUTEX();
    mutex->type = type;
}

int32_t COMMON_Mutex_GetPriorityCeiling(const COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    return mutex->priorityCeiling;
}

COMMON_MutexProtocol_t COMMON_Mutex_GetProtocol(const COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    return mutex->protocol;
}

uint32_t COMMON_Mutex_GetRecursive(const COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    return mutex->recursive;
}

uint32_t COMMON_Mutex_GetShared(const COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    return mutex->shared;
}

COMMON_MutexType_t COMMON_Mutex_GetType(const COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    return mutex->type;
}

// A step that fails leaves the attributes as they are, and the next one is taken: whoever commits
// gets a mutex that can be locked. The attributes hold nothing and are not destroyed, as there is
// no report for a failure to do so.
void COMMON_Mutex_Commit(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    pthread_mutexattr_t attributes{};
    report_if_failed(pthread_mutexattr_init(&attributes),
                     "Failed to initialize the mutex attributes");
    if (mutex->priorityCeiling != 0) {
        report_if_failed(pthread_mutexattr_setprioceiling(&attributes, mutex->priorityCeiling),
                         "Failed to set the priority ceiling");
    }
    if (mutex->protocol != COMMON_MutexProtocolInherited) {
        const int protocol = platform_protocol(mutex->protocol);
        if (protocol == kRefused) {
            COMMON_REPORT(kSource, Fatal, "Invalid mutexProtocol: %s (%d)",
                          COMMON_MutexProtocol_ToString(mutex->protocol), mutex->protocol);
        }
        report_if_failed(pthread_mutexattr_setprotocol(&attributes, protocol),
                         "Failed to set the mutexProtocol");
    }
    if (mutex->recursive != 0) {
        report_if_failed(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE),
                         "Failed to set the recursive attribute");
    }
    if (mutex->shared != 0) {
        report_if_failed(pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED),
                         "Failed to set the shared attribute");
    }
    // Oddity: after the recursive attribute, which it overrides: recursive and Normal is Normal.
    // Test: CommonMutexKind.DecidesAboutLockingAgain.
    if (mutex->type != COMMON_MutexTypeDefault) {
        const int type = is_type(mutex->type) ? kTypes[mutex->type].platform : kRefused;
        if (type == kRefused) {
            COMMON_REPORT(kSource, Fatal, "Invalid type: %s (%d)",
                          COMMON_MutexType_ToString(mutex->type), mutex->type);
        }
        report_if_failed(pthread_mutexattr_settype(&attributes, type), "Failed to set the type");
    }
    report_if_failed(pthread_mutex_init(&mutex->mutex, &attributes),
                     "Failed to initialize the mutex");
}

void COMMON_Mutex_Lock(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    common_mutexHandler(mutex, pthread_mutex_lock);
}

void COMMON_Mutex_Unlock(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    common_mutexHandler(mutex, pthread_mutex_unlock);
}

void COMMON_Mutex_Relock(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    COMMON_Mutex_Unlock(mutex);
    COMMON_Mutex_Lock(mutex);
}

void COMMON_Mutex_Destroy(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    report_if_failed(pthread_mutex_destroy(&mutex->mutex), "Failed to destroy the mutex");
}

void COMMON_Mutex_Delete(COMMON_Mutex* mutex)
{
    ASSERT_MUTEX();
    COMMON_Mutex_Destroy(mutex);
    MEM_Free(mutex);
}

const char* COMMON_MutexType_ToString(COMMON_MutexType_t type)
{
    return is_type(type) ? kTypes[type].text : "Invalid";
}

const char* COMMON_MutexProtocol_ToString(COMMON_MutexProtocol_t protocol)
{
    switch (protocol) {
    case COMMON_MutexProtocolInherited:
        return "Inherited";
    case COMMON_MutexProtocolProtected:
        return "Protected";
    default:
        return "Invalid";
    }
}

}  // extern "C"
