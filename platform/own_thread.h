// The id of the calling thread.
#pragma once

#include <pthread.h>

namespace common {

/// What pthread_self() gives, without a call where the id is the address that the thread's register
/// holds.
inline pthread_t own_thread() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    return reinterpret_cast<pthread_t>(__builtin_thread_pointer());
#else
    return pthread_self();
#endif
}

}  // namespace common
