#include "log/process_locks.h"

#include <cstring>
#include <ctime>

#include "log/thread_record.h"
#include "platform/thread_name.h"
#include "platform/timed_lock.h"

namespace common {
namespace {

/// A lock that nobody holds.
constexpr pthread_mutex_t fresh(ProcessLock lock) noexcept
{
    switch (lock) {
    case ProcessLock::Descriptors:
        return PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
    case ProcessLock::SystemLog:
        return PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP;
    default:
        return PTHREAD_MUTEX_INITIALIZER;
    }
}

constexpr std::array<pthread_mutex_t, kProcessLockCount> all_fresh() noexcept
{
    std::array<pthread_mutex_t, kProcessLockCount> locks{};
    for (std::size_t i = 0; i < locks.size(); ++i) {
        locks[i] = fresh(static_cast<ProcessLock>(i));
    }
    return locks;
}

}  // namespace

constinit std::array<pthread_mutex_t, kProcessLockCount> process_locks = all_fresh();
constinit std::atomic<std::uint8_t> lost_locks{0};
constinit std::atomic<std::uint32_t> fork_count{0};

namespace {

/// How long a fork waits for the locks, all together.
constexpr std::time_t kForkPatience_s = 2;

bool took(ProcessLock lock) noexcept
{
    return (thread_state.locks_for_fork & bit_of(lock)) != 0;
}

/// A process is known by the name of its first thread. A child of one of the library's threads, or
/// of one that such a thread has started, would be known by theirs: it gets its parent's name.
void choose_name_of_child() noexcept
{
    char(&name)[kThreadNameSize] = thread_state.name_of_child;
    std::memset(name, 0, sizeof name);
    if (has_library_name() && !read_process_name(name)) {
        const std::string_view captured = log::captured_process_name();
        captured.copy(name, sizeof name - 1);
    }
}

/// Takes every lock that can be had in time, so that a receiver of the log that hangs does not make
/// forks hang.
void before_fork() noexcept
{
    choose_name_of_child();
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += kForkPatience_s;
    for (std::size_t i = 0; i < kProcessLockCount; ++i) {
        const auto lock = static_cast<ProcessLock>(i);
        if (!took(lock) && lock_until(process_locks[i], deadline) == 0) {
            thread_state.locks_for_fork |= bit_of(lock);
        }
    }
}

void after_fork_in_parent() noexcept
{
    for (std::size_t i = kProcessLockCount; i-- > 0;) {
        if (took(static_cast<ProcessLock>(i))) {
            pthread_mutex_unlock(&process_locks[i]);
        }
    }
    thread_state.locks_for_fork = 0;
}

/// The child has one thread, so every lock is made anew: another thread held it in the parent, or
/// it is a recursive one, which knows its owner by the thread's id, and that is another one here.
/// Those that this thread took are released first, for whoever watches the locks of a process.
void after_fork_in_child() noexcept
{
    fork_count.fetch_add(1, std::memory_order_relaxed);
    if (thread_state.name_of_child[0] != '\0') {
        name_own_thread(thread_state.name_of_child);
    }
    for (std::size_t i = kProcessLockCount; i-- > 0;) {
        const auto lock = static_cast<ProcessLock>(i);
        if (took(lock)) {
            pthread_mutex_unlock(&process_locks[i]);
        } else {
            lost_locks.fetch_or(bit_of(lock), std::memory_order_relaxed);
        }
        process_locks[i] = fresh(lock);
    }
    thread_state.locks_for_fork = 0;
}

/// Runs when the library is loaded, before anything of a program that is linked with it: the
/// handlers of a fork run in the order of their registration, those before it in the reverse one.
/// So the library's locks are taken after everybody else's and released before them. Whoever logs
/// under a lock of its own, or in a handler, would wait for ever otherwise. Nobody could be told of
/// a failure here; forks then go without an answer.
__attribute__((constructor)) void register_answer_to_fork() noexcept
{
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

}  // namespace
}  // namespace common
