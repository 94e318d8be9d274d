// Keeps the calling thread from being cancelled.
#pragma once

#include <pthread.h>

namespace common {

/// For code that would leave a lock taken or a file open if the thread were cancelled there:
/// without exceptions, cancellation runs no destructors.
class UncancelledScope {
public:
    UncancelledScope() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    UncancelledScope(const UncancelledScope&) = delete;
    UncancelledScope& operator=(const UncancelledScope&) = delete;
    ~UncancelledScope() { pthread_setcancelstate(before_, nullptr); }

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace common
