/**
 * @file sanitizer.h
 * Whether the tests are built with a sanitizer whose run-time library shows in what they see.
 */
#ifndef BENCH_SANITIZER_H
#define BENCH_SANITIZER_H

#if defined(__has_feature)
#define BENCH_HAS_FEATURE(name) __has_feature(name)
#else
#define BENCH_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_THREAD__) || BENCH_HAS_FEATURE(thread_sanitizer)
/** It keeps a thread of its own in every process. */
#define BENCH_THREAD_SANITIZER 1
#endif

#if defined(__SANITIZE_ADDRESS__) || BENCH_HAS_FEATURE(address_sanitizer)
/** It looks for lost memory when the process exits. */
#define BENCH_ADDRESS_SANITIZER 1
#endif

#endif
