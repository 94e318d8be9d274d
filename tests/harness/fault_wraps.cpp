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
#include <pthread.h>
#include <regex.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/times.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "fault_rules.h"

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

/// The next text for dlerror(), when a failure was forced.
thread_local const char* forced_dl_error = nullptr;

}  // namespace

#define HARNESS_DECLARE(name, symbol, type, parameters, ...)          \
    extern "C" type real_##name parameters __asm__("__real_" symbol); \
    extern "C" type wrap_##name parameters __asm__("__wrap_" symbol);

#define HARNESS_DEFINE(name, symbol, type, parameters, arguments, failure, style, error) \
    type wrap_##name parameters                                                          \
    {                                                                                    \
        if (const int forced = visit(Call::name)) {                                      \
            return failed<Style::style>(static_cast<type>(failure), forced);             \
        }                                                                                \
        return real_##name arguments;                                                    \
    }

HARNESS_FALLIBLE_CALLS(HARNESS_DECLARE)
HARNESS_DECLARE(calloc, "calloc", void*, (size_t count, size_t size))
HARNESS_DECLARE(free, "free", void, (void* block))
HARNESS_DECLARE(dlerror, "dlerror", char*, ())

HARNESS_PLAIN_CALLS(HARNESS_DEFINE)

void* wrap_malloc(size_t size)
{
    if (const int forced = visit(Call::malloc)) {
        return failed<Style::Errno>(static_cast<void*>(nullptr), forced);
    }
    void* block = real_malloc(size);
    count_blocks(block != nullptr ? 1 : 0);
    return block;
}

// The compiler makes it of malloc() and memset(), so that it is the same call to a test.
void* wrap_calloc(size_t count, size_t size)
{
    if (const int forced = visit(Call::malloc)) {
        return failed<Style::Errno>(static_cast<void*>(nullptr), forced);
    }
    void* block = real_calloc(count, size);
    count_blocks(block != nullptr ? 1 : 0);
    return block;
}

void* wrap_realloc(void* block, size_t size)
{
    if (const int forced = visit(Call::realloc)) {
        return failed<Style::Errno>(static_cast<void*>(nullptr), forced);
    }
    const bool had_block = block != nullptr;
    void* result = real_realloc(block, size);
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
    char* copy = real_strdup(text);
    count_blocks(copy != nullptr ? 1 : 0);
    return copy;
}

void wrap_free(void* block)
{
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

// Six words are handed on, as the kernel takes them.
long wrap_syscall(long number, ...)
{
    if (const int forced = visit(Call::syscall)) {
        return failed<Style::Errno>(-1L, forced);
    }
    long words[6];
    va_list rest;
    va_start(rest, number);
    for (long& word : words) {
        word = va_arg(rest, long);
    }
    va_end(rest);
    return real_syscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
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
    return real_pthread_create(thread, attributes, entry, argument);
}

// A stream remembers that reading or writing it has failed.
size_t wrap_fread(void* buffer, size_t size, size_t count, FILE* stream)
{
    if (const int forced = visit(Call::fread)) {
        stream->_flags |= _IO_ERR_SEEN;
        return failed<Style::Errno>(size_t{0}, forced);
    }
    return real_fread(buffer, size, count, stream);
}

size_t wrap_fwrite(const void* buffer, size_t size, size_t count, FILE* stream)
{
    if (const int forced = visit(Call::fwrite)) {
        stream->_flags |= _IO_ERR_SEEN;
        return failed<Style::Errno>(size_t{0}, forced);
    }
    return real_fwrite(buffer, size, count, stream);
}

// The stream is gone whatever is reported.
int wrap_fclose(FILE* stream)
{
    const int forced = visit(Call::fclose);
    const int result = real_fclose(stream);
    return forced != 0 ? failed<Style::Errno>(EOF, forced) : result;
}

// The library makes no files with it, which would take one more argument.
int wrap_openat(int folder, const char* path, int flags, ...)
{
    if (const int forced = visit(Call::openat)) {
        return failed<Style::Errno>(-1, forced);
    }
    return real_openat(folder, path, flags);
}

// The kernel gives the descriptor free whatever it reports.
int wrap_close(int fd)
{
    const int forced = visit(Call::close);
    const int result = real_close(fd);
    return forced != 0 ? failed<Style::Errno>(-1, forced) : result;
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
