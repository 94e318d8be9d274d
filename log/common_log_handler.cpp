// The built-in handler: composes one record and hands it to the system log.
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common_system.h"
#include "foundation/allocation.h"
#include "foundation/thread_state.h"
#include "log/levels.h"
#include "log/logger.h"
#include "log/process_locks.h"
#include "log/thread_record.h"
#include "platform/assertion.h"
#include "platform/errno_keeper.h"

namespace common::log {
namespace {

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
__attribute__((cold, noinline)) void send_long(int priority, const RecordFields& fields,
                                               ThreadRecord& own) noexcept
{
    const COMMON_LogFormat_t layout = logger.format.load(std::memory_order_relaxed);
    auto* const text = static_cast<char*>(try_allocate_zeroed(record_capacity(fields)));
    pthread_cleanup_push(std::free, text);
    if (text != nullptr) {
        compose(layout, fields, text);
    } else {
        compose(layout, cut_to_fit(fields), own.text);
    }
    send(priority, text != nullptr ? text : own.text);
    pthread_cleanup_pop(1);
}

void compose_and_send(int priority, const RecordFields& fields, ThreadRecord& own) noexcept
{
    if (record_capacity(fields) > sizeof own.text) {
        send_long(priority, fields, own);
        return;
    }
    compose(logger.format.load(std::memory_order_relaxed), fields, own.text);
    send(priority, own.text);
}

int syslog_priority(COMMON_LogLevel_t level) noexcept
{
#define PRIORITY(level, priority) (priority),
    static constexpr std::uint8_t kPriorities[] = {COMMON_LOG_LEVELS(PRIORITY)};
#undef PRIORITY
    return is_level(level) ? kPriorities[level] : LOG_ERR;
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

/// Makes the stamp anew when another second has begun: false when there is no local time.
bool refresh_stamp(ThreadRecord& own, std::uint64_t seconds) noexcept
{
    if (own.stamp_second == seconds + 1) {
        return true;
    }
    char time_of_day[kLocalTimeCapacity];
    if (!local_time_text(seconds, time_of_day)) {
        return false;
    }
    own.stamp_length = static_cast<std::uint32_t>(
        std::snprintf(own.stamp, sizeof own.stamp, "%03u.%s",
                      static_cast<unsigned>(seconds / kSecondsPerDay), time_of_day));
    own.day_length = own.stamp_length - static_cast<std::uint32_t>(std::strlen(time_of_day));
    own.stamp_second = seconds + 1;
    return true;
}

/// The message; empty when it cannot be formatted.
COMMON_PRINTF(2, 0)
std::string_view format_message(ThreadRecord& own, const char* format, va_list args) noexcept
{
    char(&message)[sizeof own.record.message] = own.record.message;
    const int formatted = std::vsnprintf(message, sizeof message, format, args);
    const std::size_t length =
        formatted < 1 ? 0 : std::min(static_cast<std::size_t>(formatted), sizeof message - 1);
    message[length] = '\0';
    return {message, length};
}

/// Writes one record. errno is the caller's, for "%m".
COMMON_PRINTF(3, 0)
void logWrite(ThreadRecord* log, const Call& call, const char* format, va_list args) noexcept
{
    const int callers_errno = errno;
    const std::uint64_t time = COMMON_System_Time();
    COMMON_ASSERT(kSource, log != nullptr, "((void *)0) != log");
    COMMON_ASSERT(kSource, format != nullptr, "((void *)0) != format");
    log->record.busy = 0;
    log->record.time = time;
    log->record.line = call.line;
    COMMON_ASSERT(kSource, refresh_stamp(*log, time / kNanosecondsPerSecond), "((void *)0) != ptm");

    va_list echoed;
    va_copy(echoed, args);
    errno = callers_errno;
    const std::string_view message = format_message(*log, format, args);
    const std::string_view stamp(log->stamp, log->stamp_length);
    const RecordFields fields{
        .stamp = stamp,
        .time_of_day = {log->stamp + log->day_length, stamp.size() - log->day_length},
        .nanoseconds = static_cast<std::uint32_t>(log->record.time % kNanosecondsPerSecond),
        .process_id = log->record.processId,
        .thread_id = log->record.threadId,
        .identity = {log->identity, log->identity_length},
        .process_name = captured_process_name(),
        .level = COMMON_LogLevel_ToString(call.level),
        .zone = text_or_empty(call.zone),
        .file = stripped(text_or_empty(call.file)),
        .function = text_or_empty(call.function),
        .line = log->record.line,
        .message = message};
    compose_and_send(syslog_priority(call.level), fields, *log);
    if (call.level == COMMON_LogLevelFatal) {
        errno = callers_errno;
        COMMON_Debug_WriteV(stderr, fields.file.data(), fields.function.data(), call.line, format,
                            echoed);
    }
    va_end(echoed);
}

/// Writes one record without the thread's own one. Apart from its caller, whose stack frame stays
/// small that way.
COMMON_PRINTF(2, 0)
__attribute__((cold, noinline)) void write_from_stack(const Call& call, const char* format,
                                                      va_list args) noexcept
{
    ThreadRecord on_stack;
    initialise_record(on_stack);
    logWrite(&on_stack, call, format, args);
}

}  // namespace

void handlerLegacy(std::int32_t level, const char* zoneName, const char* file, const char* function,
                   std::int32_t line, const char* format, va_list args)
{
    const Call call{static_cast<COMMON_LogLevel_t>(level), zoneName, file, function, line};
    if (format == nullptr || COMMON_Log_Acceptable(call.level) == 0) {
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
        logWrite(own, call, format, args);
    } else {
        write_from_stack(call, format, args);
    }
}

void logInternal(const Call& call, const char* format, ...) noexcept
{
    COMMON_ASSERT(kSource, format != nullptr, "((void *)0) != format");
    const ErrnoKeeper keep;
    va_list args;
    va_start(args, format);
    write_from_stack(call, format, args);
    va_end(args);
}

}  // namespace common::log
