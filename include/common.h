/**
 * @file common.h
 * File, folder and process utilities, texts and dumps, and a counter of errors.
 */
#ifndef COMMON_COMMON_H
#define COMMON_COMMON_H

#include <sys/types.h>

#include "common_api.h"
#include "status.h"

COMMON_BEGIN_DECLS

/**
 * @name Files and folders
 *
 * The tests for files and folders and UTIL_DeleteFile() print what goes wrong to standard output
 * instead of logging it, so that they can be used before and without the log. The others log under
 * the module "COMMON": at Error for arguments, memory and folders that cannot be made, at Warn for
 * folders that cannot be listed. All follow symbolic links. They block as the file system does, and
 * the thread is not cancelled in the middle of one.
 * @{
 */

/**
 * Tells whether a file exists. Two forms of path:
 * - with a slash, an asterisk and a dot in a row, a pattern: what is before the three is a folder,
 *   what is behind them a suffix. Whether the folder has an entry, of whatever type, whose name
 *   contains the suffix, at its end or anywhere else: an entry "catalog" satisfies "log". An empty
 *   suffix is in every name. Nothing before the slash is no folder, not the root.
 * - without them, the path of a regular file.
 * @param path a missing file is no failure, but for the folder of a pattern; null is one ("Bad
 *        address").
 * @return 1 or 0; 0 also after a failure, which is printed, such as
 *         "UTIL_FileExists: Error opening directory %s, error: %s\n".
 */
uint32_t UTIL_FileExists(const char* path);

/**
 * Tells whether a folder exists.
 * @param path a missing folder is no failure; null is one ("Bad address").
 * @return 1 or 0; 0 also after a failure, which is printed as
 *         "UTIL_FileExists: Error running stat routine: %s\n".
 */
uint32_t UTIL_DirExists(const char* path);

/**
 * Removes a file.
 * @param path what UTIL_FileExists() does not find is not touched: folders, devices. A pattern is
 *        not expanded: where it is satisfied, the result is ENOENT.
 * @return 0 when the file was removed, and also when there was none; else the errno of unlink(2).
 */
int32_t UTIL_DeleteFile(const char* path);

/**
 * Makes a folder, and those above it that are missing.
 * @param path absolute, or relative to the working folder. Only its first 4095 characters count,
 *        which is as long as a path may be. Null and empty are reported ("One or more invalid
 *        parameters are detected!").
 * @param mode permissions of each folder that is made, as for mkdir(2).
 * @return STATUS_SUCCESS, also when it is all there already; STATUS_INVALID_PARAM; STATUS_FAILED
 *         after "mkdir() failed creating folder %s: %s.", also when something else has that name or
 *         another process has just made the folder. What was made until then stays.
 */
STATUS UTIL_CreateFolderRecursive(const char* path, mode_t mode);

/** The names of a folder's entries. The one who has it filled releases it. */
typedef struct UTIL_FolderItems {
    char** items; /**< names without the folder, each a block of its own; null when there is none */
    uint32_t count; /**< names */
} UTIL_FolderItems;

/** Which entries UTIL_GetFolderItems() keeps. Any other number keeps none. */
enum {
    UTIL_FOLDER_ITEMS_ALL = 0,    /**< every entry, whatever it is */
    UTIL_FOLDER_ITEMS_FILES = 1,  /**< what is no folder: also devices, sockets and pipes */
    UTIL_FOLDER_ITEMS_FOLDERS = 2 /**< folders */
};

/**
 * Lists a folder, in its own order. "." and ".." are folders like any other.
 *
 * With a filter each entry's type is the one of what a link leads to, as by stat(2). An entry for
 * which that fails, such as a link that leads nowhere, ends the listing ("stat(%s) failed!"). An
 * entry that the folder itself calls a file, device, socket or pipe is taken for that without
 * stat(2), except the first one, which tells whether the folder's entries can be reached at all: so
 * one that is removed while the folder is being read may still be listed, as it would be had it
 * been removed a moment later, and one whose file system cannot read it is listed by its name.
 *
 * A folder that cannot be read on has come to its end.
 * @param folder null is reported ("One or more invalid parameters are detected!").
 * @param regex extended regular expression of regexp.h, with regard to case, that must match
 *        somewhere in a name for it to be kept; null keeps all. One that does not compile ends the
 *        process; RegExp_Check() tells before.
 * @param filter one of UTIL_FOLDER_ITEMS_.
 * @param items is filled; what was in it before is not released. Null is reported.
 * @return STATUS_SUCCESS, also when nothing is kept: `items` is null and `count` 0 then;
 *         STATUS_INVALID_PARAM, which leaves the list alone; STATUS_FAILED after a report such as
 *         "opendir(\"%s\") failed!": the names kept until then are in the list, to be released.
 */
COMMON_MUST_USE STATUS UTIL_GetFolderItems(const char* folder, const char* regex, int32_t filter,
                                           UTIL_FolderItems* items);

/**
 * Counts the names of a list.
 * @param items from UTIL_GetFolderItems(); null is reported ("One or more invalid parameters are
 *        detected!").
 * @param count gets the number of names; null is reported.
 * @return STATUS_SUCCESS or STATUS_INVALID_PARAM.
 */
COMMON_MUST_USE STATUS UTIL_GetFolderItemsCount(const UTIL_FolderItems* items, uint32_t* count);

/**
 * Copies a name of a list.
 * @param items from UTIL_GetFolderItems(); null is reported ("One or more invalid parameters are
 *        detected!").
 * @param index from 0 on.
 * @param buffer gets the name; the rest of it is filled with zero bytes. Null is reported.
 * @param size bytes of the buffer, at least the length of the name and 1; 0 is reported.
 * @return STATUS_SUCCESS; STATUS_INVALID_PARAM; STATUS_FAILED after "The specified index is out of
 *         range!", or after "Insufficient buffer, Required: %d, Given: %d" with the buffer made the
 *         empty text.
 */
COMMON_MUST_USE STATUS UTIL_GetFolderItemByIndex(const UTIL_FolderItems* items, uint32_t index,
                                                 char* buffer, uint32_t size);

/**
 * Releases the names of a list and empties it. An empty one is left as it is.
 * @param items null is reported ("One or more invalid parameters are detected!").
 * @return STATUS_SUCCESS or STATUS_INVALID_PARAM.
 */
STATUS UTIL_ReleaseFolderItems(UTIL_FolderItems* items);

/** @} */

/**
 * @name Texts and memory
 *
 * White space is what isspace(3) says in the current locale.
 * @{
 */

/** Removes white space at the beginning and the end of a text. @param text is changed; null is left
 * alone. */
void UTIL_StripSpace(char* text);

/** Removes all white space, also between words. @param text is changed; null is left alone. */
void UTIL_Squash(char* text);

/**
 * Prints memory to standard output, 16 bytes to a line: the address of the line's first byte, the
 * bytes as two hexadecimal digits each and as characters, "." for what isprint(3) refuses. Each
 * line begins with a line feed, and two follow the last line; a length of 0 prints these two.
 * @param address null prints "ERROR! address == NULL".
 * @param length bytes that can be read there.
 */
void UTIL_HexDump(const void* address, uint32_t length);

/** @} */

/**
 * @name Processes
 *
 * A process is looked up in the process file system. Its name is what the first line "Name: <name>"
 * of "/proc/<pid>/status" has, up to its first blank: the kernel's short name, of at most 15
 * characters, so that a longer one is never found. These functions report nothing; their results
 * say enough.
 * @{
 */

/**
 * Gives the short name of a process. Allocates nothing, so that it works when memory is exhausted.
 * @param pid the process id.
 * @param destination gets the name. The rest of it is filled with zero bytes; a name that fills it
 *        has no terminating zero. Null gets none.
 * @param size bytes of the destination.
 * @return 1 if the name was found, else 0 and the destination is left alone.
 */
COMMON_MUST_USE uint32_t UTIL_GetProcessName(uint32_t pid, char* destination, uint32_t size);

/**
 * Finds a process by its short name: the first one in the order of "/proc". Of each process that it
 * passes, the status file is read once, up to the name.
 * @param name compared whole and with regard to case; null is never found.
 * @param pid gets the process id; null finds nothing.
 * @return 1 if there is such a process, else 0 and the id is left alone.
 */
COMMON_MUST_USE uint32_t UTIL_GetPidFromProcessName(const char* name, uint32_t* pid);

/**
 * Tells whether a process exists. One that has ended but has not been waited for by its parent
 * still does.
 * @param pid the process id.
 * @return 1 or 0; 0 also when its status file cannot be opened for another reason.
 */
uint32_t UTIL_FindPid(uint32_t pid);

/**
 * Ends a process: sends one signal, then looks every 100 ms by UTIL_FindPid() whether the process
 * is gone. Blocks so long, and the thread can be cancelled there; a signal handler that runs in the
 * calling thread makes a wait of 100 ms shorter. The signal is neither repeated nor followed by a
 * stronger one. A child of the caller is gone only when somebody has waited for it.
 * @param pid the process id. 0 and numbers above 2147483647 are no ids of a process: nothing is
 *        sent.
 * @param timeout_ms milliseconds after which to give up, rounded up to a multiple of 100; 0 is
 *        taken as 100.
 * @param force 1 sends SIGKILL, anything else SIGTERM.
 * @return 1 when the process is gone; 0 when the signal could not be sent (so also when there was
 *         no such process) or the process still exists after the time.
 */
uint32_t UTIL_TerminatePid(uint32_t pid, uint32_t timeout_ms, uint32_t force);

/** @} */

/**
 * @name Error counter
 *
 * Counts the errors of a service over its restarts, so that it stops trying again at a limit of 50.
 * The count is the one byte of the file "/dev/shmem/bterrors.log", as a number; no file is a count
 * of 0, and whoever wants to count anew removes it. Failures are printed to standard output (that
 * of reading, to standard error), not logged; none blocks the caller. There is no lock: of two
 * processes that count in the same moment one may be lost. Who reads beside them finds the count
 * before or after, never an empty file: the first count is written to a file of another name, the
 * thread's id behind the name above, and renamed.
 * @{
 */

/**
 * Reads the count. An empty file is removed ("ReadBTErrorCount: Corrupt file: %s, deleting...\n").
 * @return 0 to 255; -1 after a failure.
 */
int32_t bterrors_ReadErrorCount(void);

/**
 * Tells whether the limit is reached.
 * @return 1 when the count is 50 or more, else 0; 0 also when it cannot be read.
 */
uint32_t BTE_IsErrorLimitReached(void);

/**
 * Counts an error. A count of 50 or more, or one that cannot be read, leaves the file as it is.
 * @return the count, or -1 when it could not be read; not whether the file could be written, which
 *         is printed ("WriteBTErrorCount: Couldn't open file for writing: %s\n").
 */
int32_t BTE_LogError(void);

/** Does nothing; kept for those who call it. @return 0. */
uint32_t FlashWriteErrorDTC(void);

/** @} */

COMMON_END_DECLS

#endif
