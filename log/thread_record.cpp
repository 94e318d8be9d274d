#include "log/thread_record.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/allocation.h"
#include "foundation/thread_state.h"
#include "log/process_locks.h"
#include "log/report.h"
#include "platform/errno_keeper.h"
#include "platform/thread_id.h"

namespace common::log {

constinit thread_local ThreadRecord* own_record = nullptr;

namespace {

/// Whether a call failed, which a row tells.
bool failed_row(int error, const char* what, Here here = Here::now()) noexcept
{
    if (error != 0) {
        COMMON_Debug_Write(stderr, kSource.name, here.function, here.line, "%s with error: %s (%d)",
                           what, std::strerror(error), error);
    }
    return error != 0;
}

void threadOnceDestructor(void* record) noexcept
{
    if (record == nullptr) {
        COMMON_ROW(kSource, stderr, "threadOnceDestructor() called with NULL parameter!");
        return;
    }
    // Destructors of others may log after this one: they write from the stack.
    thread_state.record_released = true;
    own_record = nullptr;
    std::free(record);
    failed_row(pthread_setspecific(logger.slot, nullptr),
               "Failed to clear the thread-specific value");
}

/// Makes the thread-specific slot, once: 0 or the error number.
int create_slot() noexcept
{
    const ProcessLockScope lock(ProcessLock::Handler);
    int error = 0;
    if (!logger.slotCreated.load(std::memory_order_relaxed)) {
        error = pthread_key_create(&logger.slot, threadOnceDestructor);
        logger.slotCreated.store(error == 0, std::memory_order_release);
    }
    return error;
}

}  // namespace

bool make_slot(Here here) noexcept
{
    return !failed_row(create_slot(), "Disabling caching due to failure creating the key", here);
}

void initialise_record(ThreadRecord& own) noexcept
{
    own.record.processId = logger.captured.load(std::memory_order_acquire) ? logger.process.id : 0;
    own.record.threadId = kernel_thread_id();
    own.stamp_second = 0;
    const int length = std::snprintf(
        own.identity, sizeof own.identity, "%d, %s, %d", static_cast<int>(own.record.processId),
        captured_process_name().data(), static_cast<int>(own.record.threadId));
    own.identity_length = static_cast<std::uint32_t>(length);
    own.fork_count = fork_count.load(std::memory_order_relaxed);
}

__attribute__((cold)) ThreadRecord* new_thread_record(const char* reporting_function) noexcept
{
    const ErrnoKeeper keep;
    if (thread_state.record_released || !logger.slotCreated.load(std::memory_order_acquire)) {
        return nullptr;
    }
    auto* const own = static_cast<ThreadRecord*>(try_allocate_zeroed(sizeof(ThreadRecord)));
    if (own == nullptr) {
        COMMON_LOG_REPORT_AS(reporting_function, Error, "Failed to allocate memory for log data");
        return nullptr;
    }
    if (const int error = pthread_setspecific(logger.slot, own); error != 0) {
        std::free(own);
        COMMON_LOG_REPORT_AS(reporting_function, Error,
                             "Failed to set the thread-specific key with error: %s (%d)",
                             std::strerror(error), error);
        return nullptr;
    }
    initialise_record(*own);
    own_record = own;
    return own;
}

}  // namespace common::log
