/**
 * @file common_debug.h
 * Debug output: rows of diagnostics on a stream, apart from the system log.
 *
 * Off by default: then every row is dropped. At the first use, once per process, the settings are
 * read from "/config/common/debug/settings.txt" and then from the environment (NAME=value; names
 * may be shortened as in common_log_settings.h; complaints go to standard output):
 *
 *     COMMON_DEBUG_ENABLE        True, False (any case)                      False
 *     COMMON_DEBUG_ROW_LENGTH    bytes in a row of a hex dump, 4 to 128      32
 *
 * A row length below 4 becomes 4, one above 128 becomes 128, others are rounded up to a
 * multiple of 4. A negative number is stored as it is; a hex dump then uses 32 bytes a row, and so
 * it does for the 0 that rounding -1 to -3 gives.
 *
 * A row is one line of fixed columns: the count of rows so far, day since the epoch and local time,
 * thread, stream, zone (empty), file, function, line, message. The first row of a process is
 * preceded by a header. A row is written whole and flushed at once; rows of two threads do not mix.
 *
 * May be called from any thread, but not from a signal handler. COMMON_Debug_Write() and the hex
 * dump keep errno. Writing to the stream is a cancellation point; a thread that is cancelled there
 * leaves part of a row, but no lock and no memory. A child of fork() can write at once; one forked
 * while another thread is in the middle of the first use goes on with the settings as they had been
 * taken in by then.
 */
#ifndef COMMON_DEBUG_H
#define COMMON_DEBUG_H

#include <stdarg.h>
#include <stdio.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Tells whether debug output is on. @return 1 when it is, else 0. */
uint32_t COMMON_Debug_GetEnable(void);

/**
 * Writes one row, if debug output is on. Only then are the arguments looked at: a null one ends
 * the process by an assertion.
 * @param stream stdout, stderr or an open stream.
 * @param file the caller's source file.
 * @param function the caller's function.
 * @param line the caller's line.
 * @param format printf format of the message.
 */
void COMMON_Debug_Write(FILE* stream, const char* file, const char* function, int32_t line,
                        const char* format, ...) COMMON_PRINTF(5, 6);

/**
 * COMMON_Debug_Write() with the values as a list.
 * @param stream, file, function, line, format as there.
 * @param args the values of the format; undefined afterwards, as after vprintf(3).
 */
void COMMON_Debug_WriteV(FILE* stream, const char* file, const char* function, int32_t line,
                         const char* format, va_list args) COMMON_PRINTF(5, 0);

/**
 * Writes the bytes of an area, in hex and as characters, as one row on standard output, if debug
 * output is on. A null file, function or name ends the process by an assertion, also while it is
 * off. An area whose dump would not fit into 4 GiB of text is shown as far as it fits.
 * @param file the caller's source file.
 * @param function the caller's function.
 * @param line the caller's line.
 * @param variableName shown as the name of the area.
 * @param address the area; null writes that it is null.
 * @param length bytes; 0 writes that it is empty.
 */
void COMMON_Debug_HexDump(const char* file, const char* function, int32_t line,
                          const char* variableName, const void* address, uint32_t length);

/** Runs the shell command "pidin", which lists the processes, and ends the process with exit(1). */
COMMON_NORETURN void COMMON_Debug_Panic(void);

COMMON_END_DECLS

#endif
