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
/// Each line: name; symbol; result type, parameters, arguments; result of a failure; where the error number goes (Errno,
/// or Result: it is the result, or Nowhere); the error numbers, of which the first is the usual one. They are those of
/// its manual page (Linux and POSIX) without what only a wrong pointer, descriptor or flag brings about. The functions
/// of this list only fail or do their work.
#define HARNESS_PLAIN_CALLS(X) \
    X(read, "read", ssize_t, (int fd, void* buffer, size_t size), (fd, buffer, size), -1, Errno, (EIO, EINTR, EINVAL, EISDIR, ESRCH)) \
    X(stat, HARNESS_SYMBOL("stat64", "__stat64_time64"), int, (const char* path, struct stat* result), (path, result), -1, Errno, (EACCES, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW)) \
    X(fstat, HARNESS_SYMBOL("fstat64", "__fstat64_time64"), int, (int fd, struct stat* result), (fd, result), -1, Errno, (EIO, ENOMEM, EOVERFLOW)) \
    X(fopen, "fopen64", FILE*, (const char* path, const char* mode), (path, mode), nullptr, Errno, (EACCES, EDQUOT, EINTR, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM, ENOSPC, ENOTDIR, ENXIO, EOVERFLOW, EPERM, EROFS, ETXTBSY)) \
    X(fseek, "fseek", int, (FILE* stream, long offset, int origin), (stream, offset, origin), -1, Errno, (EINVAL, EAGAIN, EFBIG, EINTR, EIO, ENOSPC, EPIPE, EOVERFLOW, ESPIPE)) \
    X(ftell, "ftell", long, (FILE* stream), (stream), -1, Errno, (ESPIPE, EOVERFLOW)) \
    X(fileno, "fileno", int, (FILE* stream), (stream), -1, Errno, (EBADF)) \
    X(ftruncate, "ftruncate64", int, (int fd, off_t length), (fd, length), -1, Errno, (EIO, EFBIG, EINTR, EINVAL, EPERM, EROFS, ETXTBSY)) \
    X(rename, "rename", int, (const char* path, const char* new_path), (path, new_path), -1, Errno, (EACCES, EBUSY, EDQUOT, EIO, EISDIR, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOSPC, ENOTDIR, EPERM, EROFS, EXDEV)) \
    X(fstatat, HARNESS_SYMBOL("fstatat64", "__fstatat64_time64"), int, (int folder, const char* path, struct stat* result, int flags), (folder, path, result, flags), -1, Errno, (EACCES, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW)) \
    X(fdopendir, "fdopendir", DIR*, (int fd), (fd), nullptr, Errno, (ENOMEM, ENOTDIR)) \
    X(clock_getres, HARNESS_SYMBOL("clock_getres", "__clock_getres64"), int, (clockid_t clock, timespec* time), (clock, time), -1, Errno, (EINVAL, ENODEV)) \
    X(times, "times", clock_t, (tms* times), (times), -1, Errno, (EFAULT)) \
    X(localtime_r, HARNESS_SYMBOL("localtime_r", "__localtime64_r"), tm*, (const time_t* time, tm* result), (time, result), nullptr, Errno, (EOVERFLOW)) \
    X(opendir, "opendir", DIR*, (const char* path), (path), nullptr, Errno, (EACCES, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM, ENOTDIR)) \
    X(readdir, "readdir64", dirent*, (DIR* folder), (folder), nullptr, Errno, (EIO, ENOENT, EOVERFLOW)) \
    X(kill, "kill", int, (pid_t process, int signal), (process, signal), -1, Errno, (EPERM, ESRCH)) \
    X(usleep, "usleep", int, (useconds_t microseconds), (microseconds), -1, Errno, (EINTR)) \
    X(pthread_once, "pthread_once", int, (pthread_once_t* once, void (*function)()), (once, function), 0, Result, (EINVAL)) \
    X(pthread_key_create, "pthread_key_create", int, (pthread_key_t* key, void (*destructor)(void*)), (key, destructor), 0, Result, (EAGAIN, ENOMEM)) \
    X(pthread_setspecific, "pthread_setspecific", int, (pthread_key_t key, const void* value), (key, value), 0, Result, (ENOMEM, EINVAL)) \
    X(pthread_mutex_lock, "pthread_mutex_lock", int, (pthread_mutex_t* mutex), (mutex), 0, Result, (EINVAL, EAGAIN, EDEADLK)) \
    X(pthread_mutex_trylock, "pthread_mutex_trylock", int, (pthread_mutex_t* mutex), (mutex), 0, Result, (EBUSY, EAGAIN, EINVAL)) \
    X(pthread_mutex_clocklock, HARNESS_SYMBOL("pthread_mutex_clocklock", "__pthread_mutex_clocklock64"), int, (pthread_mutex_t* mutex, clockid_t clock, const timespec* time), (mutex, clock, time), 0, Result, (ETIMEDOUT, EAGAIN, EDEADLK, EINVAL)) \
    X(pthread_mutexattr_init, "pthread_mutexattr_init", int, (pthread_mutexattr_t* attributes), (attributes), 0, Result, (ENOMEM)) \
    X(pthread_mutexattr_setprioceiling, "pthread_mutexattr_setprioceiling", int, (pthread_mutexattr_t* attributes, int ceiling), (attributes, ceiling), 0, Result, (EINVAL, EPERM)) \
    X(pthread_mutexattr_setprotocol, "pthread_mutexattr_setprotocol", int, (pthread_mutexattr_t* attributes, int protocol), (attributes, protocol), 0, Result, (ENOTSUP, EINVAL, EPERM)) \
    X(pthread_mutexattr_setpshared, "pthread_mutexattr_setpshared", int, (pthread_mutexattr_t* attributes, int shared), (attributes, shared), 0, Result, (ENOTSUP, EINVAL)) \
    X(pthread_mutexattr_settype, "pthread_mutexattr_settype", int, (pthread_mutexattr_t* attributes, int type), (attributes, type), 0, Result, (EINVAL)) \
    X(pthread_mutex_init, "pthread_mutex_init", int, (pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes), (mutex, attributes), 0, Result, (EAGAIN, EBUSY, EINVAL, ENOMEM, ENOTSUP, EPERM)) \
    X(pthread_mutex_destroy, "pthread_mutex_destroy", int, (pthread_mutex_t* mutex), (mutex), 0, Result, (EBUSY, EINVAL)) \
    X(sem_init, "sem_init", int, (sem_t* semaphore, int shared, unsigned value), (semaphore, shared, value), -1, Errno, (EINVAL, ENOSPC, ENOSYS, EPERM)) \
    X(sem_destroy, "sem_destroy", int, (sem_t* semaphore), (semaphore), -1, Errno, (EINVAL, EBUSY)) \
    X(sem_wait, "sem_wait", int, (sem_t* semaphore), (semaphore), -1, Errno, (EINTR, EDEADLK, EINVAL)) \
    X(sem_trywait, "sem_trywait", int, (sem_t* semaphore), (semaphore), -1, Errno, (EAGAIN, EINTR, EINVAL)) \
    X(sem_timedwait, HARNESS_SYMBOL("sem_timedwait", "__sem_timedwait64"), int, (sem_t* semaphore, const timespec* time), (semaphore, time), -1, Errno, (ETIMEDOUT, EDEADLK, EINTR, EINVAL)) \
    X(sem_getvalue, "sem_getvalue", int, (sem_t* semaphore, int* value), (semaphore, value), -1, Errno, (EINVAL)) \
    X(sem_post, "sem_post", int, (sem_t* semaphore), (semaphore), -1, Errno, (EOVERFLOW, EINVAL)) \
    X(pthread_condattr_init, "pthread_condattr_init", int, (pthread_condattr_t* attributes), (attributes), 0, Result, (ENOMEM)) \
    X(pthread_condattr_setclock, "pthread_condattr_setclock", int, (pthread_condattr_t* attributes, clockid_t clock), (attributes, clock), 0, Result, (EINVAL)) \
    X(pthread_condattr_destroy, "pthread_condattr_destroy", int, (pthread_condattr_t* attributes), (attributes), 0, Result, (EINVAL)) \
    X(pthread_cond_init, "pthread_cond_init", int, (pthread_cond_t* condition, const pthread_condattr_t* attributes), (condition, attributes), 0, Result, (EAGAIN, EBUSY, EINVAL, ENOMEM)) \
    X(pthread_cond_destroy, "pthread_cond_destroy", int, (pthread_cond_t* condition), (condition), 0, Result, (EBUSY, EINVAL)) \
    X(pthread_cond_wait, "pthread_cond_wait", int, (pthread_cond_t* condition, pthread_mutex_t* mutex), (condition, mutex), 0, Result, (EINVAL, EPERM)) \
    X(pthread_cond_timedwait, HARNESS_SYMBOL("pthread_cond_timedwait", "__pthread_cond_timedwait64"), int, (pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* time), (condition, mutex, time), 0, Result, (EINVAL, EPERM, ETIMEDOUT)) \
    X(pthread_cond_signal, "pthread_cond_signal", int, (pthread_cond_t* condition), (condition), 0, Result, (EINVAL)) \
    X(pthread_cond_broadcast, "pthread_cond_broadcast", int, (pthread_cond_t* condition), (condition), 0, Result, (EINVAL)) \
    X(pthread_attr_init, "pthread_attr_init", int, (pthread_attr_t* attributes), (attributes), 0, Result, (ENOMEM)) \
    X(pthread_attr_setdetachstate, "pthread_attr_setdetachstate", int, (pthread_attr_t* attributes, int state), (attributes, state), 0, Result, (EINVAL)) \
    X(pthread_attr_setinheritsched, "pthread_attr_setinheritsched", int, (pthread_attr_t* attributes, int inherit), (attributes, inherit), 0, Result, (EINVAL, ENOTSUP)) \
    X(pthread_attr_setschedparam, "pthread_attr_setschedparam", int, (pthread_attr_t* attributes, const sched_param* parameters), (attributes, parameters), 0, Result, (EINVAL, ENOTSUP)) \
    X(pthread_attr_setschedpolicy, "pthread_attr_setschedpolicy", int, (pthread_attr_t* attributes, int policy), (attributes, policy), 0, Result, (EINVAL, ENOTSUP)) \
    X(pthread_attr_setstacksize, "pthread_attr_setstacksize", int, (pthread_attr_t* attributes, size_t size), (attributes, size), 0, Result, (EINVAL)) \
    X(pthread_join, "pthread_join", int, (pthread_t thread, void** value), (thread, value), 0, Result, (EINVAL, EDEADLK, ESRCH)) \
    X(pthread_detach, "pthread_detach", int, (pthread_t thread), (thread), 0, Result, (EINVAL, ESRCH)) \
    X(pthread_cancel, "pthread_cancel", int, (pthread_t thread), (thread), 0, Result, (ESRCH)) \
    X(pthread_kill, "pthread_kill", int, (pthread_t thread, int signal), (thread, signal), 0, Result, (EINVAL, EAGAIN, ESRCH)) \
    X(pthread_atfork, "pthread_atfork", int, (void (*prepare)(), void (*parent)(), void (*child)()), (prepare, parent, child), 0, Result, (ENOMEM)) \
    X(posix_spawnp, "posix_spawnp", int, (pid_t* child, const char* file, const posix_spawn_file_actions_t* actions, const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment), (child, file, actions, attributes, arguments, environment), 0, Result, (ENOENT, E2BIG, EACCES, EAGAIN, EINVAL, ENOEXEC, ENOMEM, ENOSYS, ETXTBSY)) \
    X(regexec, "regexec", int, (const regex_t* expression, const char* text, size_t count, regmatch_t* matches, int flags), (expression, text, count, matches, flags), 0, Result, (REG_ESPACE)) \
    X(setvbuf, "setvbuf", int, (FILE* stream, char* buffer, int mode, size_t size), (stream, buffer, mode, size), EOF, Errno, (ENOMEM))

/// The same with one more column: the error at which what was asked for is done all the same, by the call or by somebody
/// else; kEveryError is any.
#define HARNESS_DONE_CALLS(X) \
    X(mkdir, "mkdir", int, (const char* path, mode_t mode), (path, mode), -1, Errno, (ENOSPC, EACCES, EDQUOT, EEXIST, EINVAL, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM, EROFS), EEXIST) \
    X(unlink, "unlink", int, (const char* path), (path), -1, Errno, (EACCES, EBUSY, EIO, EISDIR, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM, EROFS), ENOENT) \
    X(symlink, "symlink", int, (const char* target, const char* path), (target, path), -1, Errno, (EACCES, EDQUOT, EEXIST, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOSPC, ENOTDIR, EPERM, EROFS), EEXIST) \
    X(system, "system", int, (const char* command), (command), -1, Errno, (ENOMEM, EAGAIN, ECHILD), ECHILD) \
    X(fclose, "fclose", int, (FILE* stream), (stream), EOF, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOSPC, EPIPE), kEveryError) \
    X(close, "close", int, (int fd), (fd), -1, Errno, (EIO, EDQUOT, EINTR, ENOSPC), kEveryError) \
    X(pthread_mutex_unlock, "pthread_mutex_unlock", int, (pthread_mutex_t* mutex), (mutex), 0, Result, (EPERM, EINVAL), kEveryError) \
    X(closedir, "closedir", int, (DIR* folder), (folder), -1, Errno, (EINTR), kEveryError)

/// The same, and the stream remembers that it has failed.
#define HARNESS_STREAM_CALLS(X) \
    X(fread, "fread", size_t, (void* buffer, size_t size, size_t count, FILE* stream), (buffer, size, count, stream), 0, Errno, (EIO, EAGAIN, EINTR, EISDIR, ENOMEM, EOVERFLOW)) \
    X(fwrite, "fwrite", size_t, (const void* buffer, size_t size, size_t count, FILE* stream), (buffer, size, count, stream), 0, Errno, (ENOSPC, EAGAIN, EDQUOT, EFBIG, EINTR, EIO, ENOMEM, EPIPE)) \
    X(fgetc, "fgetc", int, (FILE* stream), (stream), EOF, Errno, (EIO, EAGAIN, EINTR, EISDIR, ENOMEM, EOVERFLOW)) \
    X(fputc, "fputc", int, (int character, FILE* stream), (character, stream), EOF, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE)) \
    X(fflush, "fflush", int, (FILE* stream), (stream), EOF, Errno, (EIO, EAGAIN, EBADF, EDQUOT, EFBIG, EINTR, ENOSPC, EPIPE)) \
    X(fputs, "fputs", int, (const char* text, FILE* stream), (text, stream), EOF, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE)) \
    X(vfprintf, "vfprintf", int, (FILE* stream, const char* format, va_list values), (stream, format, values), -1, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE, EILSEQ, EOVERFLOW))

/// What is special about these is in fault_wraps.cpp.
#define HARNESS_SPECIAL_CALLS(X) \
    X(malloc, "malloc", void*, (size_t size), (size), nullptr, Errno, (ENOMEM)) \
    X(realloc, "realloc", void*, (void* block, size_t size), (block, size), nullptr, Errno, (ENOMEM)) \
    X(strdup, "strdup", char*, (const char* text), (text), nullptr, Errno, (ENOMEM)) \
    X(glob, HARNESS_SYMBOL("glob64", "__glob64_time64"), int, (const char* pattern, int flags, int (*on_error)(const char*, int), glob_t* paths), (pattern, flags, on_error, paths), 0, Result, (GLOB_NOSPACE, GLOB_ABORTED, GLOB_NOMATCH)) \
    X(pthread_attr_setsigmask_np, "pthread_attr_setsigmask_np", int, (pthread_attr_t* attributes, const sigset_t* mask), (attributes, mask), 0, Result, (ENOMEM)) \
    X(regcomp, "regcomp", int, (regex_t* expression, const char* pattern, int flags), (expression, pattern, flags), 0, Result, (REG_ESPACE, REG_BADBR, REG_BADPAT, REG_BADRPT, REG_EBRACE, REG_EBRACK, REG_ECOLLATE, REG_ECTYPE, REG_EEND, REG_EESCAPE, REG_EPAREN, REG_ERANGE, REG_ESIZE, REG_ESUBREG)) \
    X(nanosleep, HARNESS_SYMBOL("nanosleep", "__nanosleep64"), int, (const timespec* time, timespec* left), (time, left), -1, Errno, (EINTR, EINVAL)) \
    X(sysconf, "sysconf", long, (int name), (name), -1, Errno, (EINVAL, kNoError)) \
    X(clock_gettime, HARNESS_SYMBOL("clock_gettime", "__clock_gettime64"), int, (clockid_t clock, timespec* time), (clock, time), -1, Errno, (EINVAL, ENODEV, EOVERFLOW)) \
    X(strftime, "strftime", size_t, (char* text, size_t size, const char* format, const tm* time), (text, size, format, time), 0, Nowhere, (ERANGE)) \
    X(vsnprintf, "vsnprintf", int, (char* text, size_t size, const char* format, va_list values), (text, size, format, values), -1, Errno, (EOVERFLOW, EILSEQ, ENOMEM)) \
    X(pthread_create, "pthread_create", int, (pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument), (thread, attributes, entry, argument), 0, Result, (EAGAIN, EINVAL, EPERM)) \
    X(waitpid, "waitpid", pid_t, (pid_t child, int* status, int options), (child, status, options), -1, Errno, (EINTR, ECHILD)) \
    X(syscall, "syscall", long, (long number, ...), (number), -1, Errno, (EINTR, EAGAIN, ETIMEDOUT)) \
    X(open, "open64", int, (const char* path, int flags, ...), (path, flags), -1, Errno, (EACCES, EBUSY, EDQUOT, EINTR, EISDIR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENODEV, ENOENT, ENOMEM, ENOSPC, ENOTDIR, ENXIO, EOVERFLOW, EPERM, EROFS, ETXTBSY)) \
    X(openat, "openat64", int, (int folder, const char* path, int flags, ...), (folder, path, flags), -1, Errno, (EACCES, EINTR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENODEV, ENOENT, ENOMEM, ENOTDIR, ENXIO, EOVERFLOW, EPERM)) \
    X(dlopen, "dlopen", void*, (const char* path, int flags), (path, flags), nullptr, Nowhere, (ENOENT)) \
    X(dlsym, "dlsym", void*, (void* library, const char* name), (library, name), nullptr, Nowhere, (ENOENT)) \
    X(dlclose, "dlclose", int, (void* library), (library), -1, Nowhere, (EINVAL)) \
    X(puts, "puts", int, (const char* text), (text), EOF, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE)) \
    X(putchar, "putchar", int, (int character), (character), EOF, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE)) \
    X(printf, "printf", int, (const char* format, ...), (format), -1, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE, EILSEQ, EOVERFLOW)) \
    X(fprintf, "fprintf", int, (FILE* stream, const char* format, ...), (stream, format), -1, Errno, (EIO, EAGAIN, EDQUOT, EFBIG, EINTR, ENOMEM, ENOSPC, EPIPE, EILSEQ, EOVERFLOW))

/// Intercepted, but never failing: for counting blocks, and for the text of a forced failure.
#define HARNESS_COUNTED_CALLS(X) \
    X(calloc, "calloc") \
    X(free, "free") \
    X(regfree, "regfree") \
    X(globfree, HARNESS_SYMBOL("globfree64", "__globfree64_time64")) \
    X(pthread_attr_destroy, "pthread_attr_destroy") \
    X(dlerror, "dlerror")
// clang-format on

/// Every function whose failure can be forced.
#define HARNESS_FALLIBLE_CALLS(X) \
    HARNESS_PLAIN_CALLS(X) HARNESS_DONE_CALLS(X) HARNESS_STREAM_CALLS(X) HARNESS_SPECIAL_CALLS(X)

/// Symbols that are left alone: they cannot fail as the library calls them, or do not tell. A few
/// stand for a wrapped function under another name.
#define HARNESS_INFALLIBLE_SYMBOLS                                                                \
    "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable", "___tls_get_addr",                \
        "__aeabi_unwind_cpp_pr0", "__aeabi_unwind_cpp_pr1", "__assert_fail", "__cxa_finalize",    \
        "__environ", "__errno_location", "__fpurge", "__gmon_start__", "__prctl_time64",          \
        "__pthread_register_cancel", "__pthread_unregister_cancel", "__pthread_unwind_next",      \
        "__register_atfork" /* pthread_atfork */, "__sigsetjmp", "__stack_chk_fail",              \
        "__tls_get_addr", "abort", "bsearch", "dirfd", "environ", "exit", "feof", "ferror",       \
        "flockfile", "funlockfile", "getenv", "getpid", "gettid", "isprint", "isspace", "memchr", \
        "memcmp", "memcpy", "memmove", "memset", "openlog", "optarg", "opterr", "optind",         \
        "optopt", "perror", "prctl", "pthread_equal", "pthread_exit", "pthread_getspecific",      \
        "pthread_self", "pthread_setcancelstate", "pthread_sigmask", "qsort",                     \
        "raise" /* division by 0 on ARM */, "regerror", "sigfillset", "snprintf", "sprintf",      \
        "stderr", "stdout", "strchr", "strchrnul", "strcmp", "strcpy", "strerror", "strlen",      \
        "strncmp", "strncpy", "strnlen", "strrchr", "strspn", "strstr", "strtol", "strtoul",      \
        "strtoull", "syslog", "tzset", "warnx"
