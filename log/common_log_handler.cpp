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

/// What a record shows of a level, and where it goes. The last row is for levels that are none.
constexpr struct {
    char text[10];
    std::uint8_t length;
    std::uint8_t priority;
} kLevelRows[] = {
#define ROW(level, priority) {#level, sizeof #level - 1, priority},
    COMMON_LOG_LEVELS(ROW)
#undef ROW
        {"Invalid", sizeof "Invalid" - 1, LOG_ERR},
};

/// Room for the zone, the file and the function together, with all other texts and the message as
/// long as they can be.
constexpr std::size_t kRoomForTexts = sizeof(COMMON_LogRecord::text) - kBesidesTexts -
                                      sizeof(ThreadRecord::stamp) - sizeof(ThreadRecord::identity) -
                                      sizeof(COMMON_Process::buffer) - sizeof kLevelRows[0].text -
                                      kMessageSize;
static_assert(kRoomForTexts >= 3 * kLongestCutText);

std::string_view viewed(const char* text) noexcept
{
    return text == nullptr ? std::string_view("") : std::string_view(text);
}

/// The file as it is shown.
std::string_view stripped(const char* file) noexcept
{
    if (file == nullptr) {
        return "";
    }
    if (logger.strip.load(std::memory_order_relaxed) == 1) {
        const char* const slash = std::strrchr(file, '/');
        file = slash == nullptr ? file : slash + 1;
    }
    return file;
}

/// Makes the stamp anew when another second has begun: false when there is no local time.
__attribute__((cold, noinline)) bool refresh_stamp(ThreadRecord& own,
                                                   std::uint64_t seconds) noexcept
{
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

/// Formats the message, empty when that cannot be done, and gives its length.
/// @param text room for kMessageSize.
COMMON_PRINTF(2, 0)
std::size_t format_message(char* text, const char* format, va_list args) noexcept
{
    const int formatted = std::vsnprintf(text, kMessageSize, format, args);
    const std::size_t length =
        formatted < 1 ? 0 : std::min(static_cast<std::size_t>(formatted), kMessageSize - 1);
    text[length] = '\0';
    return length;
}

/// Composes and sends a record that may be longer than its own buffer; cut when it is and there is
/// no memory.
COMMON_PRINTF(4, 0)
__attribute__((cold, noinline)) void send_long(int priority, const RecordFields& fields,
                                               ThreadRecord& own, const char* format,
                                               va_list args) noexcept
{
    char message[kMessageSize];
    const std::size_t length = format_message(message, format, args);
    const std::size_t capacity = prefix_capacity(fields) + length;
    const bool has_room = capacity <= sizeof own.record.text;
    auto* const block = has_room ? nullptr : static_cast<char*>(try_allocate_zeroed(capacity));
    pthread_cleanup_push(std::free, block);
    char* const text = block != nullptr ? block : own.record.text;
    char* const end =
        compose_prefix(logger.format.load(std::memory_order_relaxed),
                       has_room || block != nullptr ? fields : cut_to_fit(fields), text);
    std::memcpy(end, message, length + 1);
    send(priority, text);
    pthread_cleanup_pop(1);
}

/// Composes and sends one record. errno is the caller's, for "%m".
COMMON_PRINTF(4, 0)
void compose_and_send(int priority, const RecordFields& fields, ThreadRecord& own,
                      const char* format, va_list args) noexcept
{
    if (fields.zone.size() + fields.file.size() + fields.function.size() > kRoomForTexts) {
        send_long(priority, fields, own, format, args);
        return;
    }
    char* const text = own.record.text;
    format_message(compose_prefix(logger.format.load(std::memory_order_relaxed), fields, text),
                   format, args);
    send(priority, text);
}

/// Writes one record. errno is the caller's.
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
    const std::uint64_t seconds = time / kNanosecondsPerSecond;
    COMMON_ASSERT(kSource, log->stamp_second == seconds + 1 || refresh_stamp(*log, seconds),
                  "((void *)0) != ptm");

    const auto& level = kLevelRows[std::min(call.level, kLevelCount)];
    const std::string_view stamp(log->stamp, log->stamp_length);
    const RecordFields fields{
        .stamp = stamp,
        .time_of_day = {stamp.data() + log->day_length, stamp.size() - log->day_length},
        .nanoseconds = static_cast<std::uint32_t>(time - seconds * kNanosecondsPerSecond),
        .process_id = log->record.processId,
        .thread_id = log->record.threadId,
        .identity = {log->identity, log->identity_length},
        .process_name = captured_process_name(),
        .level = {level.text, level.length},
        .zone = viewed(call.zone),
        .file = stripped(call.file),
        .function = viewed(call.function),
        .line = call.line};
    va_list echoed;
    va_copy(echoed, args);
    errno = callers_errno;
    compose_and_send(level.priority, fields, *log, format, args);
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
    if (format == nullptr || acceptable(call.level) == 0) {
        return;
    }
    ThreadRecord* own = nullptr;
    if (logger.cache.load(std::memory_order_relaxed) == 1) {
        own = own_record;
        if (own == nullptr) [[unlikely]] {
            own = new_thread_record(__func__);
        } else if (own->fork_count != fork_count.load(std::memory_order_relaxed)) [[unlikely]] {
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
