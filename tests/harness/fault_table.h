// The C library functions that the library calls. This is the one list of those whose failure can
// be forced: the linker's --wrap options are made from the quoted symbols of its lines, and
// fault_table_test compares it with what the library really calls.
#pragma once

// What a name is for the linker, with 64-bit and with 32-bit longs, as files and times always have
// 64 bits.
#if defined(__LP64__)
#define HARNESS_SYMBOL(with_64_bits, with_32_bits) with_64_bits
#else
#define HARNESS_SYMBOL(with_64_bits, with_32_bits) with_32_bits
#endif

// clang-format off
/// Each line: name; symbol; result type, parameters, arguments; result of a failure; where the error
/// number goes (Errno, or Result: it is the result, or Nowhere); usual error number. The functions
/// of the first list only fail or do their work, those of the second one have something special.
#define HARNESS_PLAIN_CALLS(X) \
    X(read, "read", ssize_t, (int fd, void* buffer, size_t size), (fd, buffer, size), -1, Errno, EIO) \
    X(stat, HARNESS_SYMBOL("stat64", "__stat64_time64"), int, (const char* path, struct stat* result), (path, result), -1, Errno, EACCES) \
    X(fstat, HARNESS_SYMBOL("fstat64", "__fstat64_time64"), int, (int fd, struct stat* result), (fd, result), -1, Errno, EIO) \
    X(fopen, "fopen64", FILE*, (const char* path, const char* mode), (path, mode), nullptr, Errno, EACCES) \
    X(fseek, "fseek", int, (FILE* stream, long offset, int origin), (stream, offset, origin), -1, Errno, EINVAL) \
    X(ftell, "ftell", long, (FILE* stream), (stream), -1, Errno, ESPIPE) \
    X(fileno, "fileno", int, (FILE* stream), (stream), -1, Errno, EBADF) \
    X(fgetc, "fgetc", int, (FILE* stream), (stream), EOF, Errno, EIO) \
    X(fputc, "fputc", int, (int character, FILE* stream), (character, stream), EOF, Errno, EIO) \
    X(mkdir, "mkdir", int, (const char* path, mode_t mode), (path, mode), -1, Errno, ENOSPC) \
    X(ftruncate, "ftruncate64", int, (int fd, off_t length), (fd, length), -1, Errno, EIO) \
    X(rename, "rename", int, (const char* path, const char* new_path), (path, new_path), -1, Errno, EACCES) \
    X(unlink, "unlink", int, (const char* path), (path), -1, Errno, EACCES) \
    X(fstatat, HARNESS_SYMBOL("fstatat64", "__fstatat64_time64"), int, (int folder, const char* path, struct stat* result, int flags), (folder, path, result, flags), -1, Errno, EACCES) \
    X(fdopendir, "fdopendir", DIR*, (int fd), (fd), nullptr, Errno, ENOMEM) \
    X(glob, HARNESS_SYMBOL("glob64", "__glob64_time64"), int, (const char* pattern, int flags, int (*on_error)(const char*, int), glob_t* paths), (pattern, flags, on_error, paths), 0, Result, GLOB_NOSPACE) \
    X(system, "system", int, (const char* command), (command), -1, Errno, ENOMEM) \
    X(clock_gettime, HARNESS_SYMBOL("clock_gettime", "__clock_gettime64"), int, (clockid_t clock, timespec* time), (clock, time), -1, Errno, EINVAL) \
    X(clock_getres, HARNESS_SYMBOL("clock_getres", "__clock_getres64"), int, (clockid_t clock, timespec* time), (clock, time), -1, Errno, EINVAL) \
    X(times, "times", clock_t, (tms* times), (times), -1, Errno, EFAULT) \
    X(sysconf, "sysconf", long, (int name), (name), -1, Errno, EINVAL) \
    X(localtime_r, HARNESS_SYMBOL("localtime_r", "__localtime64_r"), tm*, (const time_t* time, tm* result), (time, result), nullptr, Errno, EOVERFLOW) \
    X(strftime, "strftime", size_t, (char* text, size_t size, const char* format, const tm* time), (text, size, format, time), 0, Nowhere, ERANGE) \
    X(vsnprintf, "vsnprintf", int, (char* text, size_t size, const char* format, va_list values), (text, size, format, values), -1, Errno, EOVERFLOW) \
    X(fflush, "fflush", int, (FILE* stream), (stream), EOF, Errno, EIO) \
    X(opendir, "opendir", DIR*, (const char* path), (path), nullptr, Errno, EACCES) \
    X(readdir, "readdir64", dirent*, (DIR* folder), (folder), nullptr, Errno, EIO) \
    X(kill, "kill", int, (pid_t process, int signal), (process, signal), -1, Errno, EPERM) \
    X(usleep, "usleep", int, (useconds_t microseconds), (microseconds), -1, Errno, EINTR) \
    X(nanosleep, HARNESS_SYMBOL("nanosleep", "__nanosleep64"), int, (const timespec* time, timespec* left), (time, left), -1, Errno, EINTR) \
    X(pthread_once, "pthread_once", int, (pthread_once_t* once, void (*function)()), (once, function), 0, Result, EINVAL) \
    X(pthread_key_create, "pthread_key_create", int, (pthread_key_t* key, void (*destructor)(void*)), (key, destructor), 0, Result, EAGAIN) \
    X(pthread_setspecific, "pthread_setspecific", int, (pthread_key_t key, const void* value), (key, value), 0, Result, ENOMEM) \
    X(pthread_mutex_lock, "pthread_mutex_lock", int, (pthread_mutex_t* mutex), (mutex), 0, Result, EINVAL) \
    X(pthread_mutex_trylock, "pthread_mutex_trylock", int, (pthread_mutex_t* mutex), (mutex), 0, Result, EBUSY) \
    X(pthread_mutex_unlock, "pthread_mutex_unlock", int, (pthread_mutex_t* mutex), (mutex), 0, Result, EPERM) \
    X(pthread_mutex_clocklock, HARNESS_SYMBOL("pthread_mutex_clocklock", "__pthread_mutex_clocklock64"), int, (pthread_mutex_t* mutex, clockid_t clock, const timespec* time), (mutex, clock, time), 0, Result, ETIMEDOUT) \
    X(pthread_mutexattr_init, "pthread_mutexattr_init", int, (pthread_mutexattr_t* attributes), (attributes), 0, Result, ENOMEM) \
    X(pthread_mutexattr_setprioceiling, "pthread_mutexattr_setprioceiling", int, (pthread_mutexattr_t* attributes, int ceiling), (attributes, ceiling), 0, Result, EINVAL) \
    X(pthread_mutexattr_setprotocol, "pthread_mutexattr_setprotocol", int, (pthread_mutexattr_t* attributes, int protocol), (attributes, protocol), 0, Result, ENOTSUP) \
    X(pthread_mutexattr_setpshared, "pthread_mutexattr_setpshared", int, (pthread_mutexattr_t* attributes, int shared), (attributes, shared), 0, Result, ENOTSUP) \
    X(pthread_mutexattr_settype, "pthread_mutexattr_settype", int, (pthread_mutexattr_t* attributes, int type), (attributes, type), 0, Result, EINVAL) \
    X(pthread_mutex_init, "pthread_mutex_init", int, (pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes), (mutex, attributes), 0, Result, EAGAIN) \
    X(pthread_mutex_destroy, "pthread_mutex_destroy", int, (pthread_mutex_t* mutex), (mutex), 0, Result, EBUSY) \
    X(sem_init, "sem_init", int, (sem_t* semaphore, int shared, unsigned value), (semaphore, shared, value), -1, Errno, EINVAL) \
    X(sem_destroy, "sem_destroy", int, (sem_t* semaphore), (semaphore), -1, Errno, EINVAL) \
    X(sem_wait, "sem_wait", int, (sem_t* semaphore), (semaphore), -1, Errno, EINTR) \
    X(sem_trywait, "sem_trywait", int, (sem_t* semaphore), (semaphore), -1, Errno, EAGAIN) \
    X(sem_timedwait, HARNESS_SYMBOL("sem_timedwait", "__sem_timedwait64"), int, (sem_t* semaphore, const timespec* time), (semaphore, time), -1, Errno, ETIMEDOUT) \
    X(sem_getvalue, "sem_getvalue", int, (sem_t* semaphore, int* value), (semaphore, value), -1, Errno, EINVAL) \
    X(sem_post, "sem_post", int, (sem_t* semaphore), (semaphore), -1, Errno, EOVERFLOW) \
    X(pthread_condattr_init, "pthread_condattr_init", int, (pthread_condattr_t* attributes), (attributes), 0, Result, ENOMEM) \
    X(pthread_condattr_setclock, "pthread_condattr_setclock", int, (pthread_condattr_t* attributes, clockid_t clock), (attributes, clock), 0, Result, EINVAL) \
    X(pthread_condattr_destroy, "pthread_condattr_destroy", int, (pthread_condattr_t* attributes), (attributes), 0, Result, EINVAL) \
    X(pthread_cond_init, "pthread_cond_init", int, (pthread_cond_t* condition, const pthread_condattr_t* attributes), (condition, attributes), 0, Result, EAGAIN) \
    X(pthread_cond_destroy, "pthread_cond_destroy", int, (pthread_cond_t* condition), (condition), 0, Result, EBUSY) \
    X(pthread_cond_wait, "pthread_cond_wait", int, (pthread_cond_t* condition, pthread_mutex_t* mutex), (condition, mutex), 0, Result, EINVAL) \
    X(pthread_cond_timedwait, HARNESS_SYMBOL("pthread_cond_timedwait", "__pthread_cond_timedwait64"), int, (pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* time), (condition, mutex, time), 0, Result, EINVAL) \
    X(pthread_cond_signal, "pthread_cond_signal", int, (pthread_cond_t* condition), (condition), 0, Result, EINVAL) \
    X(pthread_cond_broadcast, "pthread_cond_broadcast", int, (pthread_cond_t* condition), (condition), 0, Result, EINVAL) \
    X(pthread_attr_init, "pthread_attr_init", int, (pthread_attr_t* attributes), (attributes), 0, Result, ENOMEM) \
    X(pthread_attr_setdetachstate, "pthread_attr_setdetachstate", int, (pthread_attr_t* attributes, int state), (attributes, state), 0, Result, EINVAL) \
    X(pthread_attr_setinheritsched, "pthread_attr_setinheritsched", int, (pthread_attr_t* attributes, int inherit), (attributes, inherit), 0, Result, EINVAL) \
    X(pthread_attr_setschedparam, "pthread_attr_setschedparam", int, (pthread_attr_t* attributes, const sched_param* parameters), (attributes, parameters), 0, Result, EINVAL) \
    X(pthread_attr_setschedpolicy, "pthread_attr_setschedpolicy", int, (pthread_attr_t* attributes, int policy), (attributes, policy), 0, Result, EINVAL) \
    X(pthread_attr_setsigmask_np, "pthread_attr_setsigmask_np", int, (pthread_attr_t* attributes, const sigset_t* mask), (attributes, mask), 0, Result, ENOMEM) \
    X(pthread_attr_setstacksize, "pthread_attr_setstacksize", int, (pthread_attr_t* attributes, size_t size), (attributes, size), 0, Result, EINVAL) \
    X(pthread_join, "pthread_join", int, (pthread_t thread, void** result), (thread, result), 0, Result, EINVAL) \
    X(pthread_detach, "pthread_detach", int, (pthread_t thread), (thread), 0, Result, EINVAL) \
    X(pthread_cancel, "pthread_cancel", int, (pthread_t thread), (thread), 0, Result, ESRCH) \
    X(pthread_kill, "pthread_kill", int, (pthread_t thread, int signal), (thread, signal), 0, Result, EINVAL) \
    X(pthread_atfork, "pthread_atfork", int, (void (*prepare)(), void (*parent)(), void (*child)()), (prepare, parent, child), 0, Result, ENOMEM) \
    X(regcomp, "regcomp", int, (regex_t* expression, const char* pattern, int flags), (expression, pattern, flags), 0, Result, REG_ESPACE) \
    X(posix_spawnp, "posix_spawnp", int, (pid_t* child, const char* file, const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment), (child, file, actions, attributes, arguments, environment), 0, Result, ENOENT) \
    X(waitpid, "waitpid", pid_t, (pid_t child, int* status, int options), (child, status, options), -1, Errno, EINTR) \
    X(symlink, "symlink", int, (const char* target, const char* path), (target, path), -1, Errno, EACCES) \
    X(regexec, "regexec", int, (const regex_t* expression, const char* text, size_t count, regmatch_t* matches, int flags), (expression, text, count, matches, flags), 0, Result, REG_ESPACE)

#define HARNESS_SPECIAL_CALLS(X) \
    X(malloc, "malloc", void*, (size_t size), (size), nullptr, Errno, ENOMEM) \
    X(realloc, "realloc", void*, (void* block, size_t size), (block, size), nullptr, Errno, ENOMEM) \
    X(strdup, "strdup", char*, (const char* text), (text), nullptr, Errno, ENOMEM) \
    X(pthread_create, "pthread_create", int, (pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument), (thread, attributes, entry, argument), 0, Result, EAGAIN) \
    X(syscall, "syscall", long, (long number, ...), (number), -1, Errno, EINTR) \
    X(fread, "fread", size_t, (void* buffer, size_t size, size_t count, FILE* stream), (buffer, size, count, stream), 0, Errno, EIO) \
    X(fwrite, "fwrite", size_t, (const void* buffer, size_t size, size_t count, FILE* stream), (buffer, size, count, stream), 0, Errno, ENOSPC) \
    X(fclose, "fclose", int, (FILE* stream), (stream), EOF, Errno, EIO) \
    X(open, "open64", int, (const char* path, int flags, ...), (path, flags), -1, Errno, EACCES) \
    X(openat, "openat64", int, (int folder, const char* path, int flags, ...), (folder, path, flags), -1, Errno, EACCES) \
    X(close, "close", int, (int fd), (fd), -1, Errno, EIO) \
    X(dlopen, "dlopen", void*, (const char* path, int flags), (path, flags), nullptr, Nowhere, ENOENT) \
    X(dlsym, "dlsym", void*, (void* library, const char* name), (library, name), nullptr, Nowhere, ENOENT) \
    X(dlclose, "dlclose", int, (void* library), (library), -1, Nowhere, EINVAL)

/// Intercepted, but never failing: for counting blocks, and for the text of a forced failure.
#define HARNESS_COUNTED_CALLS(X) \
    X(calloc, "calloc") \
    X(free, "free") \
    X(dlerror, "dlerror")
// clang-format on

/// Every function whose failure can be forced.
#define HARNESS_FALLIBLE_CALLS(X) HARNESS_PLAIN_CALLS(X) HARNESS_SPECIAL_CALLS(X)

/// Symbols that are left alone: they cannot fail, or nobody can act on a failure (output of
/// diagnostics). A few stand for a wrapped function under another name.
#define HARNESS_INFALLIBLE_SYMBOLS                                                               \
    "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable", "___tls_get_addr",               \
        "__assert_fail", "__cxa_finalize", "__environ", "__errno_location", "__fpurge",          \
        "__globfree64_time64", "__gmon_start__", "__prctl_time64", "__pthread_register_cancel",  \
        "__pthread_unregister_cancel", "__pthread_unwind_next",                                  \
        "__register_atfork" /* pthread_atfork */, "__sigsetjmp", "__stack_chk_fail",             \
        "__tls_get_addr", "abort", "bsearch", "closedir", "dirfd", "environ", "exit", "feof",    \
        "ferror", "flockfile", "fprintf", "fputs", "funlockfile", "getenv", "getpid", "gettid",  \
        "globfree64", "isprint", "isspace", "memchr", "memcmp", "memcpy", "memmove", "memset",   \
        "openlog", "optarg", "opterr", "optind", "optopt", "perror", "prctl", "printf",          \
        "pthread_attr_destroy", "pthread_exit", "pthread_getspecific", "pthread_self",           \
        "pthread_setcancelstate", "pthread_sigmask", "putchar", "puts", "qsort", "regerror",     \
        "regfree", "setvbuf", "sigfillset", "snprintf", "sprintf", "stderr", "stdout", "strchr", \
        "strchrnul", "strcmp", "strerror", "strlen", "strncmp", "strncpy", "strnlen", "strrchr", \
        "strspn", "strstr", "strtol", "strtoul", "strtoull", "syslog", "tzset", "vfprintf",      \
        "warnx"
