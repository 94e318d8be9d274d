// The built-in handler: composes one record and hands it to the system log.
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common_debug.h"
#include "common_system.h"
#include "foundation/allocation.h"
#include "foundation/initialisation.h"
#include "log/common_log_layout.h"
#include "log/logger.h"
#include "log/process_locks.h"
#include "log/report.h"
#include "platform/assertion.h"
#include "platform/errno_keeper.h"
#include "platform/thread_id.h"
#include "thread/clock.h"

namespace common {
namespace {

/// A record and what goes with it from one write of a thread to the next.
struct ThreadRecord {
    /// The forks that this process descends from, when the record was initialised.
    std::uint32_t fork_count;
    std::uint32_t identity_length;
    /// The second that the stamp shows, plus one; 0 when it shows none.
    std::uint64_t stamp_second;
    /// "DDD.HH:MM:SS", and its length with and without the time of day.
    std::uint32_t stamp_length;
    std::uint32_t day_length;
    char stamp[12 + kLocalTimeCapacity];
    /// "process id, process name, thread id"
    char identity[300];
    /// What is sent, unless it is longer.
    char text[2304];
    COMMON_LogRecord record;
};

const char* captured_process_name() noexcept
{
    return logger.captured.load(std::memory_order_acquire) ? logger.process.name : "";
}

void initialise_record(ThreadRecord& own) noexcept
{
    own.record.processId = logger.captured.load(std::memory_order_acquire) ? logger.process.id : 0;
    own.record.threadId = kernel_thread_id();
    const char* const process = captured_process_name();
    std::snprintf(own.record.message, sizeof own.record.message, "%s", process);
    own.stamp_second = 0;
    const int length = std::snprintf(own.identity, sizeof own.identity, "%d, %s, %d",
                                     static_cast<int>(own.record.processId), process,
                                     static_cast<int>(own.record.threadId));
    own.identity_length = static_cast<std::uint32_t>(length);
    own.fork_count = fork_count.load(std::memory_order_relaxed);
}

void threadOnceDestructor(void* record) noexcept
{
    if (record == nullptr) {
        COMMON_LOG_ROW(stderr, "threadOnceDestructor() called with NULL parameter!");
        return;
    }
    // Destructors of others may log after this one: they write from the stack.
    thread_state.record_released = true;
    std::free(record);
    if (const int error = pthread_setspecific(logger.slot, nullptr); error != 0) {
        COMMON_LOG_ROW(stderr, "Failed to clear the thread-specific value with error: %s (%d)",
                       std::strerror(error), error);
    }
}

void release_system_log(void* taken) noexcept
{
    if (*static_cast<const bool*>(taken)) {
        release(ProcessLock::SystemLog);
    }
}

/// Hands one finished text to the system log. The C library's own lock in there is not released in
/// a child that is forked meanwhile, hence this one around it, which a fork waits for. A child that
/// was forked without it drops its records.
void send(int priority, const char* text) noexcept
{
    if (is_lost(ProcessLock::SystemLog)) {
        return;
    }
    bool taken = take(ProcessLock::SystemLog) == 0;
    pthread_cleanup_push(release_system_log, &taken);
    syslog(LOG_USER | priority, "%s", text);
    pthread_cleanup_pop(1);
}

/// Cuts the texts so that the record fits into its own buffer.
constexpr std::size_t kLongestCutText = 120;
RecordFields cut_to_fit(RecordFields fields) noexcept
{
    for (std::string_view* text : {&fields.zone, &fields.file, &fields.function}) {
        *text = {text->data(), std::min(text->size(), kLongestCutText)};
    }
    return fields;
}
static_assert(sizeof(ThreadRecord::text) >=
              kBesidesTexts + sizeof(ThreadRecord::stamp) + sizeof(ThreadRecord::identity) +
                  sizeof(COMMON_Process::buffer) + sizeof "Critical" + 3 * kLongestCutText +
                  sizeof(COMMON_LogRecord::message));

/// Composes and sends a record that is longer than its own buffer; cut when there is no memory.
void send_long(int priority, const RecordFields& fields, ThreadRecord& own) noexcept
{
    const COMMON_LogFormat_t format = logger.format.load(std::memory_order_relaxed);
    auto* const text = static_cast<char*>(try_allocate_zeroed(record_capacity(fields)));
    pthread_cleanup_push(std::free, text);
    if (text != nullptr) {
        compose_record(format, fields, text);
    } else {
        compose_record(format, cut_to_fit(fields), own.text);
    }
    send(priority, text != nullptr ? text : own.text);
    pthread_cleanup_pop(1);
}

int syslog_priority(COMMON_LogLevel_t level) noexcept
{
    static constexpr std::uint8_t kPriorities[] = {LOG_EMERG,  LOG_CRIT, LOG_ERR,   LOG_WARNING,
                                                   LOG_NOTICE, LOG_INFO, LOG_DEBUG, LOG_DEBUG};
    static_assert(std::size(kPriorities) == COMMON_LogLevelVerbose + 1);
    return level < std::size(kPriorities) ? kPriorities[level] : LOG_ERR;
}

const char* text_or_empty(const char* text) noexcept
{
    return text == nullptr ? "" : text;
}

const char* stripped(const char* file) noexcept
{
    const char* const slash = std::strrchr(file, '/');
    return slash == nullptr || logger.strip.load(std::memory_order_relaxed) != 1 ? file : slash + 1;
}

/// Writes one record. errno is the caller's, for "%m".
COMMON_PRINTF(7, 0)
void logWrite(ThreadRecord* log, COMMON_LogLevel_t level, const char* zoneName, const char* file,
              const char* function, std::int32_t line, const char* format, va_list args) noexcept
{
    const int callers_errno = errno;
    const std::uint64_t time = COMMON_System_Time();
    COMMON_ASSERT(kLogSource, log != nullptr, "((void *)0) != log");
    COMMON_ASSERT(kLogSource, format != nullptr, "((void *)0) != format");
    file = stripped(text_or_empty(file));
    function = text_or_empty(function);
    log->record.busy = 0;
    log->record.time = time;
    log->record.line = line;

    const std::uint64_t seconds = time / kNanosecondsPerSecond;
    if (log->stamp_second != seconds + 1) {
        char ptm[kLocalTimeCapacity];
        COMMON_ASSERT(kLogSource, local_time_text(seconds, ptm), "((void *)0) != ptm");
        log->stamp_length = static_cast<std::uint32_t>(
            std::snprintf(log->stamp, sizeof log->stamp, "%03u.%s",
                          static_cast<unsigned>(seconds / kSecondsPerDay), ptm));
        log->day_length = log->stamp_length - static_cast<std::uint32_t>(std::strlen(ptm));
        log->stamp_second = seconds + 1;
    }

    va_list echoed;
    va_copy(echoed, args);
    errno = callers_errno;
    char(&message)[sizeof log->record.message] = log->record.message;
    const int formatted = std::vsnprintf(message, sizeof message, format, args);
    const std::size_t message_length =
        formatted < 1 ? 0 : std::min(static_cast<std::size_t>(formatted), sizeof message - 1);
    message[message_length] = '\0';

    const std::string_view stamp(log->stamp, log->stamp_length);
    const RecordFields fields{
        .stamp = stamp,
        .time_of_day = {log->stamp + log->day_length, stamp.size() - log->day_length},
        .nanoseconds = static_cast<std::uint32_t>(log->record.time % kNanosecondsPerSecond),
        .process_id = log->record.processId,
        .thread_id = log->record.threadId,
        .identity = {log->identity, log->identity_length},
        .process_name = captured_process_name(),
        .level = COMMON_LogLevel_ToString(level),
        .zone = text_or_empty(zoneName),
        .file = file,
        .function = function,
        .line = log->record.line,
        .message = {message, message_length}};
    if (record_capacity(fields) <= sizeof log->text) {
        compose_record(logger.format.load(std::memory_order_relaxed), fields, log->text);
        send(syslog_priority(level), log->text);
    } else {
        send_long(syslog_priority(level), fields, *log);
    }
    if (level == COMMON_LogLevelFatal) {
        errno = callers_errno;
        COMMON_Debug_WriteV(stderr, file, function, line, format, echoed);
    }
    va_end(echoed);
}

/// Writes one record without the thread's own one. Apart from its caller, whose stack frame stays
/// small that way.
COMMON_PRINTF(6, 0)
__attribute__((cold, noinline)) void write_from_stack(COMMON_LogLevel_t level, const char* zoneName,
                                                      const char* file, const char* function,
                                                      std::int32_t line, const char* format,
                                                      va_list args) noexcept
{
    ThreadRecord on_stack;
    initialise_record(on_stack);
    logWrite(&on_stack, level, zoneName, file, function, line, format, args);
}

/// Makes the calling thread's record: null when that fails, which is reported in the name of the
/// function that wants it.
__attribute__((cold, noinline)) ThreadRecord*
new_thread_record(const char* reporting_function) noexcept
{
    const ErrnoKeeper keep;
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
    return own;
}

}  // namespace

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

void handlerLegacy(std::int32_t level, const char* zoneName, const char* file, const char* function,
                   std::int32_t line, const char* format, va_list args)
{
    const auto unsigned_level = static_cast<COMMON_LogLevel_t>(level);
    if (format == nullptr || COMMON_Log_Acceptable(unsigned_level) == 0) {
        return;
    }
    ThreadRecord* own = nullptr;
    if (logger.cache.load(std::memory_order_relaxed) == 1 && !thread_state.record_released &&
        logger.slotCreated.load(std::memory_order_acquire)) {
        own = static_cast<ThreadRecord*>(pthread_getspecific(logger.slot));
        if (own == nullptr) {
            own = new_thread_record(__func__);
        } else if (own->fork_count != fork_count.load(std::memory_order_relaxed)) {
            initialise_record(*own);  // inherited from before a fork: this is another thread
        }
    }
    if (own != nullptr) {
        logWrite(own, unsigned_level, zoneName, file, function, line, format, args);
    } else {
        write_from_stack(unsigned_level, zoneName, file, function, line, format, args);
    }
}

void logInternal(COMMON_LogLevel_t level, std::uint32_t /*zone*/, const char* zoneName,
                 const char* file, const char* function, std::int32_t line, const char* format, ...)
{
    COMMON_ASSERT(kLogSource, format != nullptr, "((void *)0) != format");
    const ErrnoKeeper keep;
    va_list args;
    va_start(args, format);
    write_from_stack(level, zoneName, file, function, line, format, args);
    va_end(args);
}

}  // namespace common
