/**
 * @file oxa_file.h
 * Streams of the C library with checked arguments and one report for each failure.
 *
 * The streams are those of stdio.h, so both interfaces can be used on one stream; whoever opens a
 * stream closes it. A failure is logged under the module "COMMON" from the function that met it, at
 * Critical (the two size functions: at Error), as "FILE_Close() failed, returned:  %s" with the
 * text of the error; then the result says so. Each function first sets errno to 0, so that
 * afterwards errno tells about this call.
 *
 * Sizes and positions are signed 32-bit numbers. Larger files can be opened, read, written and
 * stepped through; a position or size above 2147483647 that is asked for is a failure of its own
 * (EOVERFLOW, "Value too large for defined data type") and never comes out shortened. A negative
 * element size or count reads and writes nothing.
 *
 * The functions may be called from any thread. They block, and are cancellation points, as those of
 * stdio.h are; a stream that is being opened by a thread that is cancelled costs the memory of its
 * record.
 */
#ifndef COMMON_OXA_FILE_H
#define COMMON_OXA_FILE_H

#include <stdio.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Opens a stream.
 * @param path null is reported ("FILE_Open() failed, Null Parameter").
 * @param mode as for fopen(3); null is reported as the path is.
 * @return the stream, which the caller ends with FILE_Close(); null after a report
 *         ("FILE_Open() failed opening %s, returned:  %s").
 */
COMMON_MUST_USE FILE* FILE_Open(const char* path, const char* mode);

/**
 * Ends a stream, which must not be used any more, whatever the result.
 * @param stream null is reported ("FILE_Close() failed, NULL fp").
 * @return 1; 0 after a report: what was written last may not have arrived.
 */
uint32_t FILE_Close(FILE* stream);

/**
 * Reads elements.
 * @param buffer room for them; null is reported ("FILE_Read() failed, NULL pointer").
 * @param size bytes of an element.
 * @param count elements.
 * @param stream null is reported as the buffer is.
 * @return the elements read. Fewer than asked for are no failure by themselves; the stream's error
 *         indicator is, also one from before, and is reported.
 */
COMMON_MUST_USE int32_t FILE_Read(void* buffer, int32_t size, int32_t count, FILE* stream);

/**
 * Writes elements.
 * @param buffer the elements; null is reported ("FILE_Write() failed, NULL pointer").
 * @param size bytes of an element.
 * @param count elements.
 * @param stream null is reported as the buffer is.
 * @return the elements taken, which may still be in the stream's buffer. Fewer than given are no
 *         failure by themselves; the stream's error indicator is, also one from before, and is
 *         reported.
 */
int32_t FILE_Write(const void* buffer, int32_t size, int32_t count, FILE* stream);

/**
 * Moves the position.
 * @param stream null is reported ("FILE_Seek() failed, NULL file pointer").
 * @param offset bytes, from the origin on. Positions beyond 2 GiB are reached in several steps.
 * @param origin SEEK_SET, SEEK_CUR or SEEK_END; anything else is a failure.
 * @return 1; 0 after a report.
 */
uint32_t FILE_Seek(FILE* stream, int32_t offset, int32_t origin);

/**
 * Reads a character.
 * @param stream null is reported ("FILE_GetChar() failed, NULL file pointer").
 * @return 0 to 255; -1 at the end of the file, which is no failure, and after a report.
 */
int32_t FILE_GetChar(FILE* stream);

/**
 * Writes a character.
 * @param character 0 to 255. Of any other number the low 8 bits are written, but the result is 0
 *        and a failure is reported: a negative char, say.
 * @param stream null is reported ("FILE_PutChar() failed, NULL file pointer").
 * @return 1; 0 after a report.
 */
uint32_t FILE_PutChar(int32_t character, FILE* stream);

/**
 * Hands what is in a stream's buffer to the system.
 * @param stream null stands for all streams that are open for writing.
 * @return 1; 0 after a report.
 */
uint32_t FILE_Flush(FILE* stream);

/**
 * Tells the position.
 * @param stream null is reported ("The input parameter \"fp\" is invalid!").
 * @return bytes from the beginning; -1 after a report, also for a position above 2147483647.
 */
int32_t FILE_Tell(FILE* stream);

/**
 * Tells the size of a stream's file, without what is still in the stream's buffer. Leaves the
 * position alone.
 * @param stream null is reported ("One or more invalid parameters are detected!"), and so is one
 *        without a descriptor, in memory, say.
 * @return bytes; -1 after a report, also for a size above 2147483647 ("Cannot get file
 *         attributes!").
 */
int32_t FILE_GetFileSize(FILE* stream);

/**
 * Tells the size of a file.
 * @param path a link is followed; null is reported ("One or more invalid parameters are
 *        detected!").
 * @return bytes; -1 after a report ("Cannot get file attributes!"), also for a size above
 *         2147483647.
 */
int32_t FILE_GetFileSizeByName(const char* path);

/**
 * Reads elements from the beginning of a file: FILE_Open(), FILE_Read() and FILE_Close() with their
 * reports. errno tells about the first of them that failed. A thread that waits, for the other end
 * of a pipe, say, can be cancelled, and the file is closed then.
 * @param buffer room for them; null is reported by FILE_Read().
 * @param size bytes of an element.
 * @param count elements.
 * @param path null is reported by FILE_Open().
 * @return the elements read; 0 when the file cannot be opened.
 */
COMMON_MUST_USE int32_t FILE_OpenAndRead(void* buffer, int32_t size, int32_t count,
                                         const char* path);

/**
 * Replaces the content of a file, which is made when it is missing: FILE_Open(), FILE_Write(),
 * FILE_Flush() and FILE_Close() with their reports. errno tells about the first of them that
 * failed. The thread can be cancelled as in FILE_OpenAndRead(); the file may be left shortened or
 * empty then.
 * @param buffer the elements; null is reported by FILE_Write() and leaves an empty file.
 * @param size bytes of an element.
 * @param count elements.
 * @param path null is reported by FILE_Open().
 * @return the elements taken; 0 when the file cannot be opened. A full disk may show only when they
 *         are flushed, which is reported, but does not change the result.
 */
COMMON_MUST_USE int32_t FILE_OpenAndWrite(const void* buffer, int32_t size, int32_t count,
                                          const char* path);

COMMON_END_DECLS

#endif
