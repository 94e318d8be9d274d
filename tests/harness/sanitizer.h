// Whether the tests are built with a sanitizer whose run-time library shows in what they see.
#pragma once

#if defined(__has_feature)
#define HARNESS_HAS_FEATURE(name) __has_feature(name)
#else
#define HARNESS_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_THREAD__) || HARNESS_HAS_FEATURE(thread_sanitizer)
/// It keeps a thread of its own in every process.
#define HARNESS_THREAD_SANITIZER 1
#endif

#if defined(__SANITIZE_ADDRESS__) || HARNESS_HAS_FEATURE(address_sanitizer)
/// It looks for lost memory when the process exits.
#define HARNESS_ADDRESS_SANITIZER 1
#endif

/// For functions in which a thread may be cancelled: their frames are left as they are, and
/// AddressSanitizer would find the marks of their variables where others have theirs by then.
#define HARNESS_CANCELLED_IN __attribute__((no_sanitize("address")))
