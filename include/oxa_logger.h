/**
 * @file oxa_logger.h
 * Module names, and the older log interface that names the writing component by a module id.
 *
 * A module id is an index into a table of 251 names. Ids 0 to 218 are fixed names of the platform's
 * components (log/module_names.cpp has the table); ids 219 to 250 are given out at run time, first
 * to the names in "/oxa/slog/oxa_logger.cfg" in file order (one name a line, at most 31 characters
 * with its newline; a longer line is read as several names), then to whoever asks. A name, once
 * registered, stays for the life of the process.
 *
 * Readers take no lock. LOG_ModuleIdReadConfig() and LOG_ModuleIdAssignDynamic() may be called
 * from any thread. LOG_ModuleIdStore() takes no lock: callers serialise it.
 */
#ifndef COMMON_OXA_LOGGER_H
#define COMMON_OXA_LOGGER_H

#include "common_log.h"
#include "status.h"

COMMON_BEGIN_DECLS

/** Module ids that the library itself logs under. */
enum {
    LOG_MODULE_GENERIC = 0, /**< GENERIC */
    LOG_MODULE_TIMER = 15,  /**< TIMER */
    LOG_MODULE_MALLOC = 16, /**< MALLOC */
    LOG_MODULE_CLDES = 17,  /**< CLDES */
    LOG_MODULE_COMMON = 26, /**< COMMON */
    LOG_MODULE_UTILS = 63   /**< UTILS */
};

/** Counts the names in use. @return 219 at start, at most 251. */
uint32_t LOG_GetNumModules(void);

/**
 * Tells whether an id has a name.
 * @param id any value.
 * @return 1 when it has, else 0.
 */
uint32_t LOG_IsModuleIdValid(uint32_t id);

/**
 * Gives the name of a module.
 * @param id any value.
 * @return the name, which stays valid and unchanged for the life of the process; "Invalid" for an
 *         id without a name.
 */
const char* LOG_GetModuleName(uint32_t id);

/**
 * Finds the id of a name and, if wanted, registers a new name. Takes no lock.
 * @param name compared whole and with regard to case; copied when it is registered.
 * @param idOut gets the id on success.
 * @param allowDynamic 1 registers a name that is not found; any other value does not.
 * @return STATUS_SUCCESS; STATUS_INVALID_PARAM for a null argument or an empty name; STATUS_FAILED
 *         when the name is not found and must not, or cannot, be registered (no free id or no
 *         memory).
 */
STATUS LOG_ModuleIdStore(const char* name, uint32_t* idOut, uint32_t allowDynamic);

/**
 * Registers the names listed in "/oxa/slog/oxa_logger.cfg", once per process. May block on the
 * file and on another thread that reads it.
 * @return STATUS_SUCCESS; STATUS_NOT_FOUND when the file cannot be opened (it is not tried again);
 *         STATUS_NO_RESOURCES when a name is refused, an empty line included: what was registered
 *         before it is kept, what follows is not read; STATUS_COMPLETE on every further call.
 */
STATUS LOG_ModuleIdReadConfig(void);

/**
 * Finds or registers a name, after the names of the configuration file.
 * @param name as for LOG_ModuleIdStore().
 * @return its id; 0 ("Generic") for a null or empty name or when it cannot be registered.
 */
uint32_t LOG_ModuleIdAssignDynamic(const char* name);

/**
 * Writes a record under a module's name if the level is acceptable.
 * @param moduleId names the zone; an unknown id is "Invalid".
 * @param level, file, function, line, format as for COMMON_Log_Write().
 * @return what COMMON_Log_Acceptable() gave: 1 when the record was handed on, 0 when not.
 */
uint32_t LOG_Write(uint32_t moduleId, COMMON_LogLevel_t level, const char* file,
                   const char* function, int32_t line, const char* format, ...) COMMON_PRINTF(6, 7);

/**
 * Writes a record under a module's name at Critical (despite its name, not at Fatal).
 * @param moduleId names the zone; an unknown id is "Invalid".
 * @param ignored is ignored.
 * @param file, function, line, format as for COMMON_Log_Write().
 */
void LOG_FatalError(uint32_t moduleId, uint32_t ignored, const char* file, const char* function,
                    int32_t line, const char* format, ...) COMMON_PRINTF(6, 7);

/**
 * Writes the record "<text> Time" at Info.
 * @param ignored is ignored.
 * @param zoneName zone name of the record.
 * @param text null is shown as printf shows it.
 * @param function comes before the file here, other than in every other call.
 * @param file the caller's source file.
 * @param line the caller's line.
 */
void LOG_PrintTime(uint32_t ignored, const char* zoneName, const char* text, const char* function,
                   const char* file, int32_t line);

/**
 * Changes nothing: the level is that of common_log_settings.h.
 * @param level is ignored.
 * @return the current level.
 */
COMMON_LogLevel_t LOG_SetPreFilterLevel(COMMON_LogLevel_t level);

/** Gives the level in force. @return the current level. */
COMMON_LogLevel_t LOG_GetPreFilterLevel(void);

/** Gives the placeholder buffer. @return the same address always; there is nothing in it. */
void* LOG_BufferCreate(void);

/** Does nothing. @param buffer anything. @return buffer. */
void* LOG_BufferDestroy(void* buffer);

/** Does nothing. @param buffer anything. */
void LOG_BufferFlush(void* buffer);

/**
 * Writes a record without a message at Verbose, if that is acceptable.
 * @param buffer is ignored, like everything after it.
 */
void LOG_BufferWrite(void* buffer, ...);

COMMON_END_DECLS

#endif
