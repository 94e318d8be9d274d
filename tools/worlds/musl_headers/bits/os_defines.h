// Stands before the C++ library's header of this name, which knows the other C library: for a look
// at what of this library takes names that musl has not. Nothing is built with it.
#pragma once

#include <pthread.h>

#define __NO_CTYPE 1

// Wanted by the C++ library's own headers.
extern "C" int pthread_cond_clockwait(pthread_cond_t*, pthread_mutex_t*, clockid_t,
                                      const timespec*);
