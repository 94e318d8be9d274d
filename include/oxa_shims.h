/**
 * @file oxa_shims.h
 * Calls that differ between the operating systems which the platform's programs are built for: byte
 * order, times, starting programs, links, and what only one of the systems has.
 *
 * Nothing is logged, nothing is kept. Every function may be called from any thread, and only
 * OXA_posix_spawnp() blocks. The byte order is that of a little-endian machine.
 */
#ifndef COMMON_OXA_SHIMS_H
#define COMMON_OXA_SHIMS_H

#include <stddef.h>
#include <time.h>

#include "common_api.h"

/** Arguments of any types and number. C, other than C++, needs a first one that is named. */
#ifdef __cplusplus
#define OXA_ANY_ARGUMENTS(first) ...
#else
#define OXA_ANY_ARGUMENTS(first) first, ...
#endif

COMMON_BEGIN_DECLS

/** Converts between this machine's byte order and little-endian. @return the value unchanged. */
COMMON_MUST_USE uint32_t OXA_ENDIAN_LE32(uint32_t value);

/** Converts between this machine's byte order and little-endian. @return the value unchanged. */
COMMON_MUST_USE uint16_t OXA_ENDIAN_LE16(uint16_t value);

/** Converts between this machine's byte order and big-endian. @return the four bytes reversed. */
COMMON_MUST_USE uint32_t OXA_ENDIAN_BE32(uint32_t value);

/** Converts between this machine's byte order and big-endian. @return the two bytes swapped. */
COMMON_MUST_USE uint16_t OXA_ENDIAN_BE16(uint16_t value);

/** Reverses the four bytes of a value in place. @param pointer null is ignored. */
void OXA_ENDIAN_SWAP32(uint32_t* pointer);

/** Swaps the two bytes of a value in place. @param pointer null is ignored. */
void OXA_ENDIAN_SWAP16(uint16_t* pointer);

/**
 * Splits nanoseconds into seconds and the rest.
 *
 * The library has 64-bit times on 32-bit machines, too; programs that hand it a timespec there are
 * compiled with _TIME_BITS=64, as linking to Common::common with CMake sees to, or not at all.
 * @param ts gets the time; null is ignored.
 * @param nsec nanoseconds, without a sign.
 */
COMMON_64_BIT_TIMES void OXA_nsec2timespec(struct timespec* ts, uint64_t nsec);

/**
 * Joins seconds and nanoseconds.
 * @param ts a time, of the size that OXA_nsec2timespec() tells; both parts have a sign, and the
 *        second one may have any value. Null gives 0.
 * @return nanoseconds; what does not fit into 64 bits wraps.
 */
COMMON_64_BIT_TIMES int64_t OXA_timespec2nsec(const struct timespec* ts);

/**
 * Starts a program and, in mode 0, waits for its end.
 *
 * The program is looked for in the caller's PATH when its name has no slash. It gets an empty
 * environment, without even a PATH, and the caller's open descriptors, signal mask and folder.
 *
 * Mode 0 waits until the program has ended, however it ends, and takes its status away, so that no
 * zombie is left. It first asks for that as callers always have, by waitpid() with the option 4
 * (WEXITED), which some systems take; where it is refused, as Linux does, it waits without options.
 * An interrupted wait goes on. Waiting is a cancellation point, which leaves a zombie when it is
 * used; nothing else ends it early. The exit status is not told.
 *
 * Any other mode starts the program as well, but is not supported and says so: the result is -1,
 * and nobody waits. The program stays a child of the caller, which learns of its end by wait() or
 * has to leave it a zombie until it ends itself.
 *
 * errno is left alone.
 * @param mode 0.
 * @param file name or path of the program.
 * @param arg0 the program's name as it is told to itself, then its arguments as further texts, and
 *        behind the last one a null pointer; arg0 may be that itself. At most 31 texts; with more,
 *        nothing is started.
 * @return 0: started and ended; -1: any other mode, too many arguments, a null file, or the program
 *         could not be started.
 */
int OXA_posix_spawnp(int mode, const char* file, const char* arg0, ...);

/**
 * Makes a symbolic link. The order of the arguments is the reverse of symlink(2)'s.
 * @param link_path where the link is made.
 * @param target what it leads to; need not exist.
 * @return 0; -1 with errno set.
 */
int OXA_symlink(const char* link_path, const char* target);

/** Removes a file as unlink(2) does. @param path its name. @return 0; -1 with errno set. */
int OXA_unlink(const char* path);

/**
 * Stands for becoming a daemon: does nothing, the caller goes on in the foreground as it is.
 * @return 1.
 */
int OXA_procmgr_daemon(OXA_ANY_ARGUMENTS(int status));

/**
 * Stands for mapping the registers of a device, which is not to be had here: does nothing.
 * @return 0, which callers take as no mapping.
 */
uintptr_t OXA_mmap_device_io(OXA_ANY_ARGUMENTS(size_t length));

COMMON_END_DECLS

#endif
