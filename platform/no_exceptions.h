// For sources whose functions can be cancelled while they hold something.
#pragma once

// With exceptions, cancelling a thread runs destructors, and ends the process where it passes a
// noexcept function. Here it runs what pthread_cleanup_push() was given, and nothing else: what is
// given back in both ways would be given back twice.
#if defined(__cpp_exceptions)
#error "the library's sources are to be compiled with -fno-exceptions"
#endif
