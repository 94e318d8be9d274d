/**
 * @file common_log_macros.h
 * Logging in one line: macros that ask whether a level is wanted, and then write the record with
 * the file, function and line that they stand in.
 *
 *     #include <common/common_log_macros.h>
 *
 *     COMMON_LOG_ZONE("TUNER");
 *
 *     void tune(const char* path)
 *     {
 *         COMMON_LOG_INFO("tuning");
 *         if (access(path, R_OK) != 0)
 *             COMMON_LOG_WARN("cannot read %s: %m", path);
 *     }
 *
 * Each file that logs names its zone once, with COMMON_LOG_ZONE() or COMMON_LOG_MODULE(), in front
 * of its first record. Without that it does not compile (COMMON_LOG_ZONE_of_this_file is not
 * declared), nor does it with two of them.
 *
 * - A record that is not wanted costs what COMMON_Log_Acceptable() costs. Its values are not
 *   evaluated then, and neither is anything else but a level that is chosen at run time.
 * - The format is a printf format that the compiler checks; "%m" shows the errno that the caller
 *   had, as long as no value changes it. (Only g++ with -Wpedantic objects to "%m", in templates.)
 *   The rest is as for COMMON_Log_Write(): messages are cut at 1023 bytes, errno stays as it is.
 * - The file is `__FILE__`, of which records show what follows the last '/' unless the strip
 *   setting is off. The function is `__func__`: "operator()" in a lambda.
 * - Each macro is one statement, also without braces behind an if.
 * - They may be used wherever COMMON_Log_Write() may: by any thread, not in signal handlers.
 * - A header that logs does not name a zone for all who include it. In C++ it names one in its own
 *   namespace. In C its static inline functions take the zone of the file, or COMMON_LOG_IN().
 *
 * C11 and C++17, with gcc and clang.
 */
#ifndef COMMON_LOG_MACROS_H
#define COMMON_LOG_MACROS_H

#include <errno.h>

#include "common_log.h"
#include "common_system.h"
#include "oxa_logger.h"

/**
 * Names the zone of the records that a file writes. Stands once in a file, outside of functions
 * (in C++ also in a namespace, for what is in it), and needs no call and no memory.
 * @param name a text, constant for the life of the process; a literal as a rule.
 */
#define COMMON_LOG_ZONE(name)                                                         \
    static __attribute__((__unused__)) const char* COMMON_LOG_ZONE_of_this_file(void) \
    {                                                                                 \
        return (name);                                                                \
    }                                                                                 \
    struct COMMON_LogZoneIsNamed_

/**
 * The same by a module id: the zone is the name that LOG_GetModuleName() gives for it. A file has
 * either this or COMMON_LOG_ZONE().
 * @param id any expression, evaluated for each record that is written: LOG_MODULE_TIMER, or a
 *        variable of the file that LOG_ModuleIdAssignDynamic() has filled. What it does to errno
 *        does not show.
 */
#define COMMON_LOG_MODULE(id)                                                                  \
    static __attribute__((__unused__, __noinline__)) const char* COMMON_LOG_ZONE_of_this_file( \
        void)                                                                                  \
    {                                                                                          \
        const int common_log_errno_ = errno;                                                   \
        const char* const common_log_name_ = LOG_GetModuleName(id);                            \
        errno = common_log_errno_;                                                             \
        return common_log_name_;                                                               \
    }                                                                                          \
    struct COMMON_LogZoneIsNamed_

/** Writes a record at Fatal: COMMON_LOG_FATAL("format", values...). It does not end the process. */
#define COMMON_LOG_FATAL(...) COMMON_LOG_WRITE_(COMMON_LogLevelFatal, __VA_ARGS__)
/** Writes a record at Critical. */
#define COMMON_LOG_CRITICAL(...) COMMON_LOG_WRITE_(COMMON_LogLevelCritical, __VA_ARGS__)
/** Writes a record at Error. */
#define COMMON_LOG_ERROR(...) COMMON_LOG_WRITE_(COMMON_LogLevelError, __VA_ARGS__)
/** Writes a record at Warn. */
#define COMMON_LOG_WARN(...) COMMON_LOG_WRITE_(COMMON_LogLevelWarn, __VA_ARGS__)
/** Writes a record at Note. */
#define COMMON_LOG_NOTE(...) COMMON_LOG_WRITE_(COMMON_LogLevelNote, __VA_ARGS__)
/** Writes a record at Info. */
#define COMMON_LOG_INFO(...) COMMON_LOG_WRITE_(COMMON_LogLevelInfo, __VA_ARGS__)
/** Writes a record at Debug. */
#define COMMON_LOG_DEBUG(...) COMMON_LOG_WRITE_(COMMON_LogLevelDebug, __VA_ARGS__)
/** Writes a record at Verbose. */
#define COMMON_LOG_VERBOSE(...) COMMON_LOG_WRITE_(COMMON_LogLevelVerbose, __VA_ARGS__)

/**
 * Writes a record at a level that is chosen at run time: COMMON_LOG_AT(level, "format", values...).
 * @param level a COMMON_LogLevel_t, evaluated once.
 */
#define COMMON_LOG_AT(level, ...) \
    COMMON_LOG_IN((COMMON_LOG_ZONE_of_this_file)(), level, __VA_ARGS__)

/**
 * Writes a record in another zone than the file's, or in a file that names none:
 * COMMON_LOG_IN("TUNER", COMMON_LogLevelWarn, "format", values...).
 * @param zone the zone's name, evaluated like the values.
 * @param level a COMMON_LogLevel_t, evaluated once.
 */
#define COMMON_LOG_IN(zone, level, ...)                                                        \
    do {                                                                                       \
        const COMMON_LogLevel_t common_log_level_ = (level);                                   \
        COMMON_LOG_IF_(COMMON_Log_Acceptable(common_log_level_) != 0, zone, common_log_level_, \
                       __VA_ARGS__);                                                           \
    } while (0)

/**
 * @name Limits
 * For what would fill the log. Each place in the source that has one counts for itself, for
 * all threads together, and counts only what would be written: as long as the level is not
 * accepted nothing is used up. A child of fork() goes on with the counts of its parent. A template
 * counts for each of its instances, an inline function in C++ once in a process, a static inline
 * one once in each file.
 *
 * The level is one of the words FATAL, CRITICAL, ERROR, WARN, NOTE, INFO, DEBUG and VERBOSE.
 * @{
 */

/**
 * Writes the first record and no other: COMMON_LOG_ONCE(WARN, "format", values...).
 * @param level one of the words.
 */
#define COMMON_LOG_ONCE(level, ...)                                        \
    COMMON_LOG_LIMITED_(COMMON_LOG_LEVEL_##level, __extension__({          \
                            static COMMON_LogLimit_Count common_log_once_; \
                            COMMON_LogLimit_Once(&common_log_once_);       \
                        }),                                                \
                        __VA_ARGS__)

/**
 * Writes the first record and then each n-th one: with 100, the 1st, the 101st, the 201st.
 * @param level one of the words.
 * @param n a number that may change while the program runs; 0 is as good as 1: all of them.
 */
#define COMMON_LOG_EVERY_N(level, n, ...)                                   \
    COMMON_LOG_LIMITED_(COMMON_LOG_LEVEL_##level, __extension__({           \
                            static COMMON_LogLimit_Count common_log_seen_;  \
                            COMMON_LogLimit_EveryN(&common_log_seen_, (n)); \
                        }),                                                 \
                        __VA_ARGS__)

/**
 * Writes n records a second at most, by the monotonic clock: the first ones in each of its seconds.
 * What is left out is told: in front of the first record of a later second, one of the same level
 * and place says "17 more like this were left out".
 * @param level one of the words.
 * @param n a number that may change while the program runs: 1 to 4095; 0 is taken as 1, and what is
 *        above as 4095.
 */
#define COMMON_LOG_PER_SECOND(level, n, ...)                                                     \
    COMMON_LOG_LIMITED_(COMMON_LOG_LEVEL_##level, __extension__({                                \
                            static COMMON_LogLimit_Second common_log_second_;                    \
                            COMMON_LogLimit_PerSecond(                                           \
                                &common_log_second_, (n), COMMON_LOG_LEVEL_##level,              \
                                (COMMON_LOG_ZONE_of_this_file)(), __FILE__, __func__, __LINE__); \
                        }),                                                                      \
                        __VA_ARGS__)

/** @} */

/** @cond internal */
/* What the macros are made of: not for callers. */

/* One for each word that a limit takes. A word is joined before it could be replaced: programs have
 * macros called DEBUG or ERROR. */
#define COMMON_LOG_LEVEL_FATAL COMMON_LogLevelFatal
#define COMMON_LOG_LEVEL_CRITICAL COMMON_LogLevelCritical
#define COMMON_LOG_LEVEL_ERROR COMMON_LogLevelError
#define COMMON_LOG_LEVEL_WARN COMMON_LogLevelWarn
#define COMMON_LOG_LEVEL_NOTE COMMON_LogLevelNote
#define COMMON_LOG_LEVEL_INFO COMMON_LogLevelInfo
#define COMMON_LOG_LEVEL_DEBUG COMMON_LogLevelDebug
#define COMMON_LOG_LEVEL_VERBOSE COMMON_LogLevelVerbose

/* The parentheses around the zone's function keep C from declaring it where it is missing. */
#define COMMON_LOG_WRITE_(level, ...)                                                          \
    COMMON_LOG_IF_(COMMON_Log_Acceptable(level) != 0, (COMMON_LOG_ZONE_of_this_file)(), level, \
                   __VA_ARGS__)

#define COMMON_LOG_LIMITED_(level, limit, ...)                        \
    COMMON_LOG_IF_(COMMON_Log_Acceptable(level) != 0 && (limit) != 0, \
                   (COMMON_LOG_ZONE_of_this_file)(), level, __VA_ARGS__)

/* __extension__ lets "%m" pass with -Wpedantic. */
#define COMMON_LOG_IF_(wanted, zone, level, ...)                                            \
    do {                                                                                    \
        if (wanted) {                                                                       \
            __extension__ COMMON_Log_Write(level, 4095, zone, __FILE__, __func__, __LINE__, \
                                           __VA_ARGS__);                                    \
        }                                                                                   \
    } while (0)

/* The words of a limit need no order with what else a thread does. */
typedef struct COMMON_LogLimit_Count {
    uint32_t seen;
} COMMON_LogLimit_Count;

static inline uint32_t COMMON_LogLimit_Once(COMMON_LogLimit_Count* count)
{
    return __atomic_load_n(&count->seen, __ATOMIC_RELAXED) == 0 &&
           __atomic_exchange_n(&count->seen, 1, __ATOMIC_RELAXED) == 0;
}

/* Counts modulo n, so that nothing happens where a count of all records would begin anew. */
static inline uint32_t COMMON_LogLimit_EveryN(COMMON_LogLimit_Count* count, uint32_t n)
{
    uint32_t before = __atomic_load_n(&count->seen, __ATOMIC_RELAXED);
    uint32_t after;
    do {
        after = before + 1 < n ? before + 1 : 0;
    } while (!__atomic_compare_exchange_n(&count->seen, &before, after, 1, __ATOMIC_RELAXED,
                                          __ATOMIC_RELAXED));
    return before == 0;
}

/* A second and how many records were written in it share a word, as 32-bit machines exchange no
 * more at once: 20 bits for the second, which is 12 days, and 12 for the records. */
typedef struct COMMON_LogLimit_Second {
    uint32_t second_and_written;
    uint32_t left_out;
} COMMON_LogLimit_Second;

/* Not inline: it would be three times the rest of a call. */
static __attribute__((__unused__, __noinline__)) uint32_t
COMMON_LogLimit_PerSecond(COMMON_LogLimit_Second* limit, uint32_t n, COMMON_LogLevel_t level,
                          const char* zone, const char* file, const char* function, int32_t line)
{
    const uint32_t most = n == 0 ? 1 : n < 0xFFF ? n : 0xFFF;
    uint32_t before;
    uint32_t second;
    uint32_t written;
    do {
        /* In this order: the word's second is never one that this thread has yet to come to. */
        before = __atomic_load_n(&limit->second_and_written, __ATOMIC_ACQUIRE);
        second = COMMON_System_GetTimeByClockId(1) / 1000000000U & 0xFFFFFU;
        written = before >> 12 == second ? before & 0xFFF : 0;
        if (written >= most) {
            __atomic_fetch_add(&limit->left_out, 1, __ATOMIC_RELAXED);
            return 0;
        }
    } while (!__atomic_compare_exchange_n(&limit->second_and_written, &before,
                                          second << 12 | (written + 1), 1, __ATOMIC_RELEASE,
                                          __ATOMIC_RELAXED));
    if (written == 0) {
        const uint32_t left_out = __atomic_exchange_n(&limit->left_out, 0, __ATOMIC_RELAXED);
        if (left_out != 0) {
            COMMON_Log_Write(level, 4095, zone, file, function, line,
                             "%u more like this were left out", left_out);
        }
    }
    return 1;
}

/** @endcond */

#endif
