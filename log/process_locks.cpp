#include "log/process_locks.h"

#include <ctime>

#include "foundation/initialisation.h"

namespace common {

constinit pthread_mutex_t descriptor_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
constinit pthread_mutex_t handler_lock = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_mutex_t module_config_lock = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_mutex_t module_assign_lock = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_mutex_t local_time_lock = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_mutex_t send_lock = PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP;
constinit std::atomic<std::uint32_t> fork_count{0};
constinit std::atomic<bool> cannot_send{false};

namespace {

/// How long a fork waits for the locks, all together.
constexpr std::time_t kForkPatience_s = 2;

constinit pthread_once_t fork_guard_once = PTHREAD_ONCE_INIT;

/// In the order in which a thread may take them. A switch rather than a table of addresses, which
/// would have to be relocated in every process.
constexpr unsigned kLockCount = 6;
constexpr unsigned kDescriptorMutex = 0;
pthread_mutex_t& lock_at(unsigned index) noexcept
{
    switch (index) {
    case kDescriptorMutex:
        return descriptor_mutex;
    case 1:
        return module_config_lock;
    case 2:
        return module_assign_lock;
    case 3:
        return handler_lock;
    case 4:
        return local_time_lock;
    default:
        return send_lock;
    }
}

bool took(unsigned index) noexcept
{
    return (thread_state.locks_for_fork & 1U << index) != 0;
}

/// Takes every lock that can be had in time, so that a receiver of the log that hangs does not make
/// forks hang.
void before_fork() noexcept
{
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += kForkPatience_s;
    unsigned taken = 0;
    for (unsigned i = 0; i < kLockCount; ++i) {
        if (pthread_mutex_timedlock(&lock_at(i), &deadline) == 0) {
            taken |= 1U << i;
        }
    }
    thread_state.locks_for_fork = static_cast<std::uint8_t>(taken);
}

void after_fork_in_parent() noexcept
{
    for (unsigned i = kLockCount; i-- > 0;) {
        if (took(i)) {
            pthread_mutex_unlock(&lock_at(i));
        }
    }
}

/// The child has one thread, so a lock that another one held in the parent is simply made anew.
void after_fork_in_child() noexcept
{
    fork_count.fetch_add(1, std::memory_order_relaxed);
    if (!took(kLockCount - 1)) {
        cannot_send.store(true, std::memory_order_relaxed);
    }
    for (unsigned i = kLockCount; i-- > 0;) {
        if (i == kDescriptorMutex) {
            // A recursive lock knows its owner by the thread's id, which is another one here.
            lock_at(i) = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
        } else if (took(i)) {
            pthread_mutex_unlock(&lock_at(i));
        } else {
            lock_at(i) = PTHREAD_MUTEX_INITIALIZER;
        }
    }
}

void install() noexcept
{
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

}  // namespace

void install_fork_guard() noexcept
{
    pthread_once(&fork_guard_once, install);
}

}  // namespace common
