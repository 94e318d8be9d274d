/**
 * @file common_log.h
 * The log facility: levels, record layouts, and writing a record to the system log.
 *
 * A caller asks COMMON_Log_Acceptable() whether a level is wanted, then hands COMMON_Log_Write() a
 * level, a zone, its source file, function and line, and a printf format with its values. The
 * installed handler takes the call. The built-in handler formats one record in the current layout,
 * stamps it with the time, the process and the thread, and sends it to the system log (LOG_USER).
 * Fatal records are echoed to standard error while debug output is on (common_debug.h).
 * common_log_settings.h has the settings that steer all of this.
 *
 * - The facility initialises itself once per process, on the first call of any function of this
 *   file but COMMON_LogLevel_ToString(); no call is needed before.
 * - Any thread may log at any time, also in thread-specific destructors and exit handlers. No
 *   function of this file may be called from a signal handler.
 * - A record is composed by the calling thread on its own; records are never torn or mixed. Only
 *   handing over the finished bytes is serialised. When the receiver's socket is full, the call
 *   waits until there is room: nothing is lost while a daemon listens. Without a daemon records
 *   are dropped. A record is never cut, but for its message at 1023 bytes; only when there is no
 *   memory for one of more than 2 KiB, its zone, file and function are cut at 120 bytes each. One
 *   that is larger than a socket's send buffer (net.core.wmem_default, some 200 KiB as a rule),
 *   which takes a zone, file or function of that size, is refused by the kernel and lost.
 * - The local time of a record follows a changed time zone from the thread's next second on.
 * - Neither a rejected nor a written record changes errno, and a "%m" in the format shows the errno
 *   that the caller had.
 * - A child of fork() can log at once, whatever the other threads of its parent were doing in this
 *   library. Its records carry the process id and name that the parent captured at initialisation
 *   (only the Syslogng layout asks for the process id at each record) and its own thread id. A fork
 *   waits while a record is being handed over, for two seconds at most; should the receiver hang
 *   for longer, the child and its children drop their records instead of hanging too. A thread that
 *   is held up as long in the look for the local time costs them only that look: they show it by
 *   the distance from UTC that was last seen.
 * - A child forked while another thread is in the middle of the first call goes on with the
 *   settings as they had been taken in by then; if the process was not captured yet, its records
 *   show process id 0 and no name.
 * - What the library cannot answer for: another thread that is inside a syslog(3) or a look for the
 *   local time of the program's own while it forks leaves the C library's lock taken in the child,
 *   whose first record then waits for ever.
 * - Handlers of fork (pthread_atfork(3)) may log, and a program may log under a lock that such a
 *   handler takes: the library registers its own handlers when it is loaded, and its locks are
 *   taken last. A program that loads it later, with dlopen(3), may log in the handlers that it
 *   registered before, but not under a lock that they take.
 * - Where there is a handler library, or debug output is on, the first call waits while another
 *   thread loads a shared object (dlopen(3)). A program that has plug-ins whose constructors log,
 *   and that makes its first call in another thread meanwhile, would wait for ever: it calls any
 *   function of the facility before it loads them.
 * - The library opens its files, and the C library the log socket, closed on exec.
 */
#ifndef COMMON_LOG_H
#define COMMON_LOG_H

#include <stdarg.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Severity of a record: a lower number is more severe. */
typedef uint32_t COMMON_LogLevel_t;

/** Values of COMMON_LogLevel_t. */
enum {
    COMMON_LogLevelFatal = 0,    /**< system log priority LOG_EMERG */
    COMMON_LogLevelCritical = 1, /**< LOG_CRIT */
    COMMON_LogLevelError = 2,    /**< LOG_ERR */
    COMMON_LogLevelWarn = 3,     /**< LOG_WARNING */
    COMMON_LogLevelNote = 4,     /**< LOG_NOTICE */
    COMMON_LogLevelInfo = 5,     /**< LOG_INFO; the default current level */
    COMMON_LogLevelDebug = 6,    /**< LOG_DEBUG */
    COMMON_LogLevelVerbose = 7   /**< LOG_DEBUG */
};

/** Layout of the records that the built-in handler writes. */
typedef uint32_t COMMON_LogFormat_t;

/**
 * The fields: day since the epoch (UTC), local time, nanoseconds, process id and name, thread id,
 * level, zone name, file, function, line, message.
 */
enum {
    /** "[%03u.%s.%09u] %s: %s (file=%s,func=%s,line=%d) %s": day, time, nanoseconds, zone, level,
     * file, function, line, message. */
    COMMON_LogFormatLegacy = 0,
    /** "[%03u.%s.%09u] PID: %u, TID: %u, Proc: %s, Level: %s, Zone: %s, File: %s, Func: %s, "
     * "Line: %u, Message: %s", in one line. Any number above 4 is written so, too. */
    COMMON_LogFormatAll = 1,
    /** "%03u.%s.%09u   %2u  %-8s  %-15s  %-30s  %-34s  %4u  %s": day, time, nanoseconds, thread,
     * level, zone, file, function, line, message. */
    COMMON_LogFormatColumns = 2,
    /** "%s, %s, %d, %s, %s, %s %d, %s": time, zone, process id (asked for at each record), level,
     * file, function, line, message. */
    COMMON_LogFormatSyslogng = 3,
    /** "[%03u.%s.%09u], %s, %d, %s, %d, %s, %s, %s %d, %s": day, time, nanoseconds, zone, process
     * id, process name, thread, level, file, function, line, message. The default. */
    COMMON_LogFormatSyslogngext = 4
};

/**
 * A log handler: the built-in one, or the entry point "COMMON_Log_writev" of the handler library
 * "/oxa/lib/liboxa.so". It gets what the caller of COMMON_Log_Write() gave, without the zone number
 * and without a level test in front of it. It may be called from any thread at any time.
 */
typedef void (*COMMON_LogHandler_t)(int32_t level, const char* zoneName, const char* file,
                                    const char* function, int32_t line, const char* format,
                                    va_list args);

/**
 * @name Texts of the levels, as COMMON_LogLevel_ToString() gives them and the settings accept them.
 * @{
 */
extern const char COMMON_LogLevel_stringFatal[];    /**< "Fatal" */
extern const char COMMON_LogLevel_stringCritical[]; /**< "Critical" */
extern const char COMMON_LogLevel_stringError[];    /**< "Error" */
extern const char COMMON_LogLevel_stringWarn[];     /**< "Warn" */
extern const char COMMON_LogLevel_stringNote[];     /**< "Note" */
extern const char COMMON_LogLevel_stringInfo[];     /**< "Info" */
extern const char COMMON_LogLevel_stringDebug[];    /**< "Debug" */
extern const char COMMON_LogLevel_stringVerbose[];  /**< "Verbose" */
/** "Default": as a setting it stands for Info. */
extern const char COMMON_LogLevel_stringDefault[];
/** @} */

/** The empty zone name. */
extern const char COMMON_Log_zoneDefault[];

/**
 * Tells whether records of a level are wanted now. Cheap (one load and two compares), so that
 * callers ask before they build a message. Does not change errno.
 * @param level any value.
 * @return 1 when logging is enabled and `level` is at most the current level, else 0.
 */
uint32_t COMMON_Log_Acceptable(COMMON_LogLevel_t level);

/**
 * Writes one record. The built-in handler drops it when the level is not acceptable.
 * @param level severity.
 * @param zone 4095 by convention; it is used by nothing.
 * @param zoneName shown in the zone field, such as LOG_GetModuleName() gives; null is empty.
 * @param file the caller's source file; null is empty. With the strip setting only what follows
 *        the last '/' is shown.
 * @param function the caller's function; null is empty.
 * @param line the caller's line.
 * @param format printf format of the message; null makes an empty message. A message is cut at
 *        1023 bytes.
 */
void COMMON_Log_Write(COMMON_LogLevel_t level, uint32_t zone, const char* zoneName,
                      const char* file, const char* function, int32_t line, const char* format, ...)
    COMMON_PRINTF(7, 8);

/**
 * COMMON_Log_Write() with the values as a list. The built-in handler writes nothing for a null
 * format. Ends the process ("0 != logger.handler") should no handler be installed.
 * @param level, zone, zoneName, file, function, line, format as there.
 * @param args the values of the format; undefined afterwards, as after vprintf(3).
 */
void COMMON_Log_WriteV(COMMON_LogLevel_t level, uint32_t zone, const char* zoneName,
                       const char* file, const char* function, int32_t line, const char* format,
                       va_list args) COMMON_PRINTF(7, 0);

/**
 * Gives the text of a level. Needs no initialisation and is safe everywhere.
 * @param level any value.
 * @return a constant text, one of COMMON_LogLevel_string*; "Invalid" for a level above 7.
 */
const char* COMMON_LogLevel_ToString(COMMON_LogLevel_t level);

COMMON_END_DECLS

#endif
