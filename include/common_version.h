/**
 * @file common_version.h
 * The version of the library: of the headers, when a program is compiled, and of the library that
 * it has loaded, when it runs.
 *
 * Versions follow semantic versioning of the interface. A program runs with the version that it was
 * compiled with and with every later one of the same major number. The macros are constants, for
 * the preprocessor too:
 *
 *     #if COMMON_VERSION_NUMBER >= 10100
 */
#ifndef COMMON_VERSION_H
#define COMMON_VERSION_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/*
 * The one place where the version stands: the build reads it here, and stops when text and numbers
 * do not agree.
 */
/** Grows when programs have to be changed or compiled anew. It is the number in libcommon.so.1. */
#define COMMON_VERSION_MAJOR 1
/** Grows when something is added, and begins at 0 again with each major number; at most 99. */
#define COMMON_VERSION_MINOR 0
/** Grows with each other release, and begins at 0 again with each minor number; at most 99. */
#define COMMON_VERSION_PATCH 0
/** The three as text, with points between them. */
#define COMMON_VERSION "1.0.0"
/** The three as one number that can be compared: 1.2.3 is 10203. */
#define COMMON_VERSION_NUMBER \
    (COMMON_VERSION_MAJOR * 10000 + COMMON_VERSION_MINOR * 100 + COMMON_VERSION_PATCH)

/**
 * Gives the version of the library that the program has loaded, which may be later than the one it
 * was compiled with. Safe from any thread and from signal handlers.
 * @return a constant text, such as "1.0.0".
 */
const char* COMMON_Version(void);

COMMON_END_DECLS

#endif
