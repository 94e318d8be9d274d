/**
 * @file common_api.h
 * What all public headers share: C linkage, compiler attributes, fixed-width types.
 *
 * Conventions of the whole library:
 * - The interface is C11; C++ can include every header.
 * - Unless a function says otherwise it may be called from any thread, and texts are
 *   zero-terminated byte strings that the callee neither keeps nor frees.
 * - A programming error (a null record where one is required) ends the process with an assertion
 *   message on standard error and SIGABRT, in every build type.
 * - No exception may leave a function of the caller's that the library calls, and no longjmp(3):
 *   what the library has locked or marked would stay so.
 * - Text results described as constant have static lifetime: never free or change them.
 */
#ifndef COMMON_API_H
#define COMMON_API_H

#include <stdint.h>

#if defined(__GNUC__)
/** What follows is visible to other objects, whatever the flags say. */
#define COMMON_PUSH_VISIBILITY _Pragma("GCC visibility push(default)")
/** Ends COMMON_PUSH_VISIBILITY. */
#define COMMON_POP_VISIBILITY _Pragma("GCC visibility pop")
#else
#define COMMON_PUSH_VISIBILITY
#define COMMON_POP_VISIBILITY
#endif

/** Around all declarations of the interface: C linkage, and visible whatever the flags say. */
#ifdef __cplusplus
#define COMMON_BEGIN_DECLS            \
    COMMON_PUSH_VISIBILITY extern "C" \
    {
/** Ends COMMON_BEGIN_DECLS. */
#define COMMON_END_DECLS \
    }                    \
    COMMON_POP_VISIBILITY
#else
#define COMMON_BEGIN_DECLS COMMON_PUSH_VISIBILITY
#define COMMON_END_DECLS COMMON_POP_VISIBILITY
#endif

#if defined(__GNUC__)
/** The function takes a printf format as argument `text` and its values from argument `first` on
 * (0: as a va_list). */
#define COMMON_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))
/** The function never returns. */
#define COMMON_NORETURN __attribute__((__noreturn__))
/**
 * In front of a function whose result must be looked at: it is what the caller has to release, or
 * it alone tells whether what was asked for is there. A compiler warns of a call that discards it;
 * in C++ a cast to void says that this is meant.
 */
#if defined(__cplusplus) && __cplusplus >= 201703L
#define COMMON_MUST_USE [[nodiscard]]
#else
#define COMMON_MUST_USE __attribute__((__warn_unused_result__))
#endif
/*
 * Behind a function, what it promises of its result. A compiler leaves out checks of what is
 * promised, so each stands only where it always holds: not with allocations, whose results callers
 * test where another allocator may refuse memory. There is none for arguments: the functions look
 * at these themselves.
 */
/** The memory is nobody else's, and there are no pointers in it. */
#define COMMON_NEW_MEMORY __attribute__((__malloc__))
/** The memory has as many bytes as the argument of this place says. */
#define COMMON_SIZE_BY(argument) __attribute__((__alloc_size__(argument)))
/** The result is never null. */
#define COMMON_NEVER_NULL __attribute__((__returns_nonnull__))
#else
#define COMMON_PRINTF(text, first)
#define COMMON_NORETURN
#define COMMON_MUST_USE
#define COMMON_NEW_MEMORY
#define COMMON_SIZE_BY(argument)
#define COMMON_NEVER_NULL
#endif

/*
 * COMMON_64_BIT_TIMES: the function is handed a time as the library was built, with 64 bits also on
 * 32-bit machines. Where a program has other ones, calling it does not compile.
 */
#if defined(__GLIBC__) && defined(__TIMESIZE) && !defined(__USE_TIME_BITS64)
#if __TIMESIZE == 32
#define COMMON_64_BIT_TIMES __attribute__((__error__("compile with -D_TIME_BITS=64")))
#endif
#endif
#ifndef COMMON_64_BIT_TIMES
#define COMMON_64_BIT_TIMES
#endif

#endif
