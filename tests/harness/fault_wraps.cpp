// The functions that stand between the library and the C library. The linker's --wrap option sends
// a call of "open" to "__wrap_open" and gives the real one the name "__real_open". Both names are
// given to the compiler as assembler labels only, because what is "stat" in a source has another
// name in the object file.
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <glob.h>
#include <linux/futex.h>
#include <optional>
#include <pthread.h>
#include <regex.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/times.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "block_fence.h"
#include "fault_rules.h"
#include "sanitizer.h"

namespace harness::fault {
namespace {

enum class Style { Errno, Result, Nowhere };

/// What a failing function returns; it leaves the error number where its callers look for it.
template <Style style, class Type>
Type failed(Type failure, int error)
{
    if constexpr (style == Style::Errno) {
        errno = error == kNoError ? 0 : error;
    } else if constexpr (style == Style::Result) {
        return error;
    }
    return failure;
}

/// Stands for any error in the table.
constexpr int kEveryError = -2;

/// What a failing function of a stream returns.
template <class Type>
Type stream_failed(FILE* stream, Type failure, int error)
{
    stream->_flags |= _IO_ERR_SEEN;
    return failed<Style::Errno>(failure, error);
}

/// How a thread of the library starts.
struct Start {
    void* (*entry)(void*);
    void* argument;
    int number;
};

// Set by settle(), before other threads use the library: where clocks stand, and how far the
// monotonic one is ahead.
std::optional<Settled> settled;
timespec stopped_time{};
timespec stopped_monotonic_time{};
std::atomic<int> steps_ms{0};

/// The attributes that this thread has given a mask of signals.
thread_local const pthread_attr_t* attributes_with_mask = nullptr;

/// The next text for dlerror(), when a failure was forced.
thread_local const char* forced_dl_error = nullptr;

}  // namespace

#define HARNESS_DECLARE(name, symbol, type, parameters, ...)          \
    extern "C" type real_##name parameters __asm__("__real_" symbol); \
    extern "C" type wrap_##name parameters __asm__("__wrap_" symbol);

#define HARNESS_DEFINE(name, symbol, type, parameters, arguments, failure, style, errors) \
    type wrap_##name parameters                                                           \
    {                                                                                     \
        if (const int forced = visit(Call::name)) {                                       \
            return failed<Style::style>(static_cast<type>(failure), forced);              \
        }                                                                                 \
        return real_##name arguments;                                                     \
    }

#define HARNESS_DEFINE_DONE(name, symbol, type, parameters, arguments, failure, style, errors,  \
                            done_at)                                                            \
    type wrap_##name parameters                                                                 \
    {                                                                                           \
        const int forced = visit(Call::name);                                                   \
        type result = static_cast<type>(failure);                                               \
        if (forced == 0 || forced == (done_at) || (done_at) == kEveryError) {                   \
            result = real_##name arguments;                                                     \
        }                                                                                       \
        return forced == 0 ? result : failed<Style::style>(static_cast<type>(failure), forced); \
    }

#define HARNESS_DEFINE_STREAM(name, symbol, type, parameters, arguments, failure, style, errors) \
    type wrap_##name parameters                                                                  \
    {                                                                                            \
        if (const int forced = visit(Call::name)) {                                              \
            return stream_failed(stream, static_cast<type>(failure), forced);                    \
        }                                                                                        \
        return real_##name arguments;                                                            \
    }

HARNESS_FALLIBLE_CALLS(HARNESS_DECLARE)
HARNESS_DECLARE(calloc, "calloc", void*, (size_t count, size_t size))
HARNESS_DECLARE(free, "free", void, (void* block))
HARNESS_DECLARE(dlerror, "dlerror", char*, ())
HARNESS_DECLARE(regfree, "regfree", void, (regex_t * expression))
HARNESS_DECLARE(globfree, HARNESS_SYMBOL("globfree64", "__globfree64_time64"), void,
                (glob_t * paths))
HARNESS_DECLARE(pthread_attr_destroy, "pthread_attr_destroy", int, (pthread_attr_t * attributes))

HARNESS_PLAIN_CALLS(HARNESS_DEFINE)
HARNESS_DONE_CALLS(HARNESS_DEFINE_DONE)
HARNESS_STREAM_CALLS(HARNESS_DEFINE_STREAM)

void* wrap_malloc(size_t size)
{
    if (const int forced = visit(Call::malloc)) {
        return failed<Style::Errno>(static_cast<void*>(nullptr), forced);
    }
    void* block = fenced(real_malloc(with_fence(size)), size);
    count_blocks(block != nullptr ? 1 : 0);
    return block;
}

// The compiler makes it of malloc() and memset(), so that it is the same call to a test.
void* wrap_calloc(size_t count, size_t size)
{
    if (const int forced = visit(Call::malloc)) {
        return failed<Style::Errno>(static_cast<void*>(nullptr), forced);
    }
    std::size_t total = 0;
    const bool overflows = __builtin_mul_overflow(count, size, &total);
    void* block =
        overflows ? real_calloc(count, size) : fenced(real_calloc(1, with_fence(total)), total);
    count_blocks(block != nullptr ? 1 : 0);
    return block;
}

void* wrap_realloc(void* block, size_t size)
{
    if (const int forced = visit(Call::realloc)) {
        return failed<Style::Errno>(static_cast<void*>(nullptr), forced);
    }
    const bool had_block = block != nullptr;
    look_at_fence(block);
    // Size 0 frees, and that must stay.
    void* result = had_block && size == 0 ? real_realloc(block, size)
                                          : fenced(real_realloc(block, with_fence(size)), size);
    if (!had_block && result != nullptr) {
        count_blocks(1);
    } else if (had_block && size == 0 && result == nullptr) {
        count_blocks(-1);
    }
    return result;
}

char* wrap_strdup(const char* text)
{
    if (const int forced = visit(Call::strdup)) {
        return failed<Style::Errno>(static_cast<char*>(nullptr), forced);
    }
    const std::size_t size = std::strlen(text) + 1;
    auto* const copy = static_cast<char*>(fenced(real_malloc(with_fence(size)), size));
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    count_blocks(copy != nullptr ? 1 : 0);
    return copy;
}

void wrap_free(void* block)
{
    look_at_fence(block);
    count_blocks(block != nullptr ? -1 : 0);
    real_free(block);
}

int wrap_open(const char* path, int flags, ...)
{
    if (const int forced = visit(Call::open)) {
        return failed<Style::Errno>(-1, forced);
    }
    if ((flags & O_CREAT) == 0) {
        return real_open(path, flags);
    }
    va_list rest;
    va_start(rest, flags);
    const auto mode = va_arg(rest, unsigned);
    va_end(rest);
    return real_open(path, flags, mode);
}

// A child that there is none of has been waited for by somebody else.
pid_t wrap_waitpid(pid_t child, int* status, int options)
{
    const int forced = visit(Call::waitpid);
    if (forced == 0) {
        return real_waitpid(child, status, options);
    }
    if (forced == ECHILD) {
        real_waitpid(child, nullptr, 0);
    }
    return failed<Style::Errno>(pid_t{-1}, forced);
}

// The library waits for futexes and wakes who waits for one, which cannot fail. Six words are
// handed on, as the kernel takes them.
long wrap_syscall(long number, ...)
{
    long words[6];
    va_list rest;
    va_start(rest, number);
    for (long& word : words) {
        word = va_arg(rest, long);
    }
    va_end(rest);
    if (words[1] == FUTEX_WAIT_PRIVATE) {
        if (const int forced = visit(Call::syscall)) {
            return failed<Style::Errno>(-1L, forced);
        }
    } else {
        count_wake();
    }
    return real_syscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

// The library makes no files with it, which would take one more argument.
int wrap_openat(int folder, const char* path, int flags, ...)
{
    if (const int forced = visit(Call::openat)) {
        return failed<Style::Errno>(-1, forced);
    }
    return real_openat(folder, path, flags);
}

HARNESS_CANCELLED_IN static void* run_thread(void* allocated)
{
    const Start start = *static_cast<Start*>(allocated);
    real_free(allocated);
    become_thread(start.number);
    return start.entry(start.argument);
}

// The id is written before the thread is made: a failure leaves that of a thread which is not
// there, and whose memory is not either.
int wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                        void* argument)
{
    if (const int forced = visit(Call::pthread_create)) {
        *thread = static_cast<pthread_t>(64);
        return failed<Style::Result>(0, forced);
    }
    auto* const start = static_cast<Start*>(real_malloc(sizeof(Start)));
    if (start == nullptr) {
        return EAGAIN;
    }
    *start = {entry, argument, next_thread()};
    const int error = real_pthread_create(thread, attributes, run_thread, start);
    if (error != 0) {
        real_free(start);
    }
    return error;
}

// It is all that attributes have memory for.
int wrap_pthread_attr_setsigmask_np(pthread_attr_t* attributes, const sigset_t* mask)
{
    if (const int forced = visit(Call::pthread_attr_setsigmask_np)) {
        return failed<Style::Result>(0, forced);
    }
    const int error = real_pthread_attr_setsigmask_np(attributes, mask);
    if (error == 0) {
        count_blocks(1);
        attributes_with_mask = attributes;
    }
    return error;
}

int wrap_pthread_attr_destroy(pthread_attr_t* attributes)
{
    if (attributes == attributes_with_mask) {
        count_blocks(-1);
        attributes_with_mask = nullptr;
    }
    return real_pthread_attr_destroy(attributes);
}

int wrap_regcomp(regex_t* expression, const char* pattern, int flags)
{
    if (const int forced = visit(Call::regcomp)) {
        return failed<Style::Result>(0, forced);
    }
    const int error = real_regcomp(expression, pattern, flags);
    count_blocks(error == 0 ? 1 : 0);
    return error;
}

void wrap_regfree(regex_t* expression)
{
    count_blocks(-1);
    real_regfree(expression);
}

// What was found before it was given up stays.
int wrap_glob(const char* pattern, int flags, int (*on_error)(const char*, int), glob_t* paths)
{
    const int forced = visit(Call::glob);
    int result = forced;
    if (forced == 0 || forced == GLOB_ABORTED) {
        result = real_glob(pattern, flags, on_error, paths);
    } else {
        paths->gl_pathc = 0;
        paths->gl_pathv = nullptr;
    }
    count_blocks(paths->gl_pathv != nullptr ? 1 : 0);
    return forced != 0 ? forced : result;
}

void wrap_globfree(glob_t* paths)
{
    count_blocks(paths->gl_pathv != nullptr ? -1 : 0);
    real_globfree(paths);
}

void settle(Settled how)
{
    real_clock_gettime(CLOCK_REALTIME, &stopped_time);
    real_clock_gettime(CLOCK_MONOTONIC, &stopped_monotonic_time);
    settled = how;
}

int wrap_clock_gettime(clockid_t clock, timespec* time)
{
    if (const int forced = visit(Call::clock_gettime)) {
        return failed<Style::Errno>(-1, forced);
    }
    if (clock == CLOCK_REALTIME && settled) {
        *time = stopped_time;
        return 0;
    }
    if (clock == CLOCK_MONOTONIC && settled == Settled::AllStill) {
        *time = stopped_monotonic_time;
        return 0;
    }
    const int result = real_clock_gettime(clock, time);
    if (clock == CLOCK_MONOTONIC && settled == Settled::Looks) {
        time->tv_nsec += ++steps_ms * 1'000'000L;
        time->tv_sec += time->tv_nsec / 1'000'000'000;
        time->tv_nsec %= 1'000'000'000;
    }
    return result;
}

long wrap_sysconf(int name)
{
    if (const int forced = visit(Call::sysconf)) {
        return failed<Style::Errno>(-1L, forced);
    }
    if (name == _SC_NPROCESSORS_ONLN && settled) {
        return settled == Settled::Looks ? 2 : 1;
    }
    return real_sysconf(name);
}

// When interrupted, it tells that half of the time is left.
int wrap_nanosleep(const timespec* time, timespec* left)
{
    if (const int forced = visit(Call::nanosleep)) {
        if (forced == EINTR && left != nullptr) {
            *left = {time->tv_sec / 2, time->tv_nsec / 2};
        }
        return failed<Style::Errno>(-1, forced);
    }
    return real_nanosleep(time, left);
}

// The text is not one then.
size_t wrap_strftime(char* text, size_t size, const char* format, const tm* time)
{
    if (const int forced = visit(Call::strftime)) {
        std::memset(text, '?', size);
        return failed<Style::Nowhere>(size_t{0}, forced);
    }
    return real_strftime(text, size, format, time);
}

// It has begun to write.
int wrap_vsnprintf(char* text, size_t size, const char* format, va_list values)
{
    if (const int forced = visit(Call::vsnprintf)) {
        if (size > 1) {
            std::memcpy(text, "?", 2);
        }
        return failed<Style::Errno>(-1, forced);
    }
    return real_vsnprintf(text, size, format, values);
}

int wrap_puts(const char* text)
{
    const int forced = visit(Call::puts);
    return forced != 0 ? stream_failed(stdout, EOF, forced) : real_puts(text);
}

int wrap_putchar(int character)
{
    const int forced = visit(Call::putchar);
    return forced != 0 ? stream_failed(stdout, EOF, forced) : real_putchar(character);
}

int wrap_printf(const char* format, ...)
{
    if (const int forced = visit(Call::printf)) {
        return stream_failed(stdout, -1, forced);
    }
    va_list values;
    va_start(values, format);
    const int result = real_vfprintf(stdout, format, values);
    va_end(values);
    return result;
}

int wrap_fprintf(FILE* stream, const char* format, ...)
{
    if (const int forced = visit(Call::fprintf)) {
        return stream_failed(stream, -1, forced);
    }
    va_list values;
    va_start(values, format);
    const int result = real_vfprintf(stream, format, values);
    va_end(values);
    return result;
}

void* wrap_dlopen(const char* path, int flags)
{
    if (visit(Call::dlopen) != 0) {
        forced_dl_error = "forced failure of dlopen";
        return nullptr;
    }
    return real_dlopen(path, flags);
}

void* wrap_dlsym(void* library, const char* name)
{
    if (visit(Call::dlsym) != 0) {
        forced_dl_error = "forced failure of dlsym";
        return nullptr;
    }
    return real_dlsym(library, name);
}

int wrap_dlclose(void* library)
{
    if (visit(Call::dlclose) != 0) {
        forced_dl_error = "forced failure of dlclose";
        return -1;
    }
    return real_dlclose(library);
}

char* wrap_dlerror()
{
    if (forced_dl_error != nullptr) {
        return const_cast<char*>(std::exchange(forced_dl_error, nullptr));
    }
    return real_dlerror();
}

}  // namespace harness::fault
