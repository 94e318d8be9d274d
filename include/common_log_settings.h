/**
 * @file common_log_settings.h
 * The settings of the log facility, one set per process.
 *
 * At the first use of the facility the settings start from their defaults; then
 * "/tmp/common/log/settings.txt" is read or, if there is none, "/config/common/log/settings.txt";
 * then the environment. Each line or environment variable has the form NAME=value:
 *
 *     COMMON_LOG_CACHE                   True, False      each thread keeps a record   True
 *     COMMON_LOG_COLOR                   True, False      stored, changes no output    False
 *     COMMON_LOG_ENABLE                  True, False      anything is logged at all    True
 *     COMMON_LOG_FORMAT                  All, Columns, Legacy, Syslogng, Syslogngext   Syslogngext
 *     COMMON_LOG_LEGACY                  True, False      built-in handler             True
 *     COMMON_LOG_LEVEL                   a level name or Default                       Info
 *     COMMON_LOG_LEVEL_PEAKLOAD          a level name or Default                       Info
 *     COMMON_LOG_PEAKLOAD_CONTROL        None, Off, On                                 None
 *     COMMON_LOG_PEAKLOAD_GRANULARITY    milliseconds: decimal, 0x hex or 0 octal      1000
 *     COMMON_LOG_STRIP                   True, False      show file names only         True
 *
 * Values are compared without regard to (ASCII) case. A bad value changes nothing and is told on
 * standard error while debug output is on. Names may be shortened: a shortened name is the first
 * one of the list that begins with it, so COMMON_LOG_PEAK is COMMON_LOG_PEAKLOAD_CONTROL. Other
 * variables are ignored. Lines are read in pieces of 255 characters. What is in the place of a file
 * but no regular one (a pipe, a device) is not read.
 *
 * Peakload control keeps two levels, one for normal operation ("off") and one for peak load ("on"),
 * and makes one of them the current level. While it is Off or On and the granularity is at least 1,
 * each call of the facility, at most once per granularity, looks for changed settings files:
 * "/tmp/common/log/settings_<pid>.txt" or, when there is none, "/tmp/common/log/settings.txt". A
 * file is read when its modification time (whole seconds) has changed. FORMAT and LEGACY have no
 * effect then. With peakload control None no file is read again.
 *
 * Every function but COMMON_LogPeakloadControl_ToString() first does what any call of the facility
 * does: the initialisation, and the look for changed files. All may be called from any thread; the
 * settings are single words, set without a lock. Warnings go to the system log under the empty
 * zone name.
 */
#ifndef COMMON_LOG_SETTINGS_H
#define COMMON_LOG_SETTINGS_H

#include "common_log.h"
#include "status.h"

COMMON_BEGIN_DECLS

/** Peakload control, and the choice of one of the levels that it works with. */
typedef uint32_t COMMON_LogPeakloadControl_t;

/** Values of COMMON_LogPeakloadControl_t. */
enum {
    COMMON_LogPeakloadControlNone = 0, /**< no control, the default; or the current level */
    COMMON_LogPeakloadControlOff = 1,  /**< normal operation, or its level */
    COMMON_LogPeakloadControlOn = 2    /**< peak load, or its level */
};

/** Tells whether each thread keeps its record. @return the setting: 1 yes, 0 no. */
uint32_t COMMON_Log_CacheGet(void);
/** Gives the color setting. @return the setting as stored. */
uint32_t COMMON_Log_ColorGet(void);
/** Tells whether logging is enabled. @return the setting; only 1 enables. */
uint32_t COMMON_Log_EnableGet(void);
/** Tells which handler is installed. @return 1 the built-in one, 0 that of the handler library. */
uint32_t COMMON_Log_LegacyGet(void);
/** Gives the record layout. @return the setting as stored. */
COMMON_LogFormat_t COMMON_Log_FormatGet(void);
/** Gives the peakload control. @return the setting. */
COMMON_LogPeakloadControl_t COMMON_Log_PeakloadControlGet(void);
/** Tells whether file names are cut to their last component. @return the setting; only 1 cuts. */
uint32_t COMMON_Log_StripGet(void);
/** Gives the current level. @return 0 to 7. */
COMMON_LogLevel_t COMMON_Log_LevelGet(void);

/**
 * Sets whether each thread keeps its record between messages. Turned on after a start with the
 * cache off, the thread-specific slot is made now; if that fails the cache stays off, which is told
 * on standard error while debug output is on.
 * @param value 1 on; any other value, stored unchecked, is off.
 */
void COMMON_Log_CacheSet(uint32_t value);
/** Stores the color setting, which changes no output. @param value stored unchecked. */
void COMMON_Log_ColorSet(uint32_t value);
/** Enables logging. @param value 1 enables; any other value, stored unchecked, disables. */
void COMMON_Log_EnableSet(uint32_t value);
/** Sets the record layout. @param value stored unchecked; above 4 is written as the All layout. */
void COMMON_Log_FormatSet(COMMON_LogFormat_t value);
/** Sets whether file names are cut. @param value 1 cuts; any other value, stored unchecked, not. */
void COMMON_Log_StripSet(uint32_t value);

/**
 * Installs a handler: the built-in one, or that of the handler library if it was loaded at
 * initialisation (otherwise the built-in one stays, and COMMON_Log_LegacyGet() gives 1).
 * Serialised by a process-wide lock; a lock that fails ends the process by an assertion.
 * @param value 0 for the handler library's; any other value for the built-in one.
 * @return the result of the final unlock, 0.
 */
int32_t COMMON_Log_LegacySet(uint32_t value);

/**
 * Sets the current level and the configured level that goes with the peakload control: Off sets the
 * one for normal operation, On the one for peak load, None both. A peakload control of another
 * value is reported at Error ("Invalid logger.peakloadControl %d").
 * @param level 0 to 7; above, nothing changes, which is reported at Warn.
 */
void COMMON_Log_LevelSet(COMMON_LogLevel_t level);

/**
 * Sets one of the three levels. Off and On leave the current level alone even while they are in
 * force: callers prepare a level that the next COMMON_Log_PeakloadControlSet() brings into force.
 * @param level 0 to 7; above, nothing changes, which is reported at Warn.
 * @param option None: the current level; Off: the level for normal operation; On: the level for
 *        peak load. Another value is reported at Warn.
 * @return STATUS_SUCCESS or STATUS_INVALID_PARAM.
 */
STATUS COMMON_Log_LevelSetExtended(COMMON_LogLevel_t level, COMMON_LogPeakloadControl_t option);

/**
 * Gives one of the three levels.
 * @param option None: the current level; Off: the level for normal operation; On: the level for
 *        peak load. Another value is reported at Warn and taken as None.
 * @return 0 to 7.
 */
COMMON_LogLevel_t COMMON_Log_LevelGetExtended(COMMON_LogPeakloadControl_t option);

/**
 * Sets the peakload control and makes the level that goes with it the current one. None also makes
 * the level for peak load equal to that for normal operation.
 * @param option None, Off or On; another value changes nothing, which is reported at Warn.
 */
void COMMON_Log_PeakloadControlSet(COMMON_LogPeakloadControl_t option);

/**
 * Gives the text of a peakload control. Needs no initialisation and is safe everywhere.
 * @param option any value.
 * @return "None", "Off" or "On", a constant text; "Invalid" above 2.
 */
const char* COMMON_LogPeakloadControl_ToString(COMMON_LogPeakloadControl_t option);

/**
 * Writes the settings to the log: eleven records at the current level.
 * @param zoneName zone name of the records; null is empty.
 */
void COMMON_LogDumpLoggerStatus(const char* zoneName);

COMMON_END_DECLS

#endif
