#include "timer/detached_thread.h"

#include <pthread.h>

namespace common {

ThreadStart start_detached(void* (*entry)(void*), void* argument, const sigset_t* signals) noexcept
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return ThreadStart::NoAttributes;
    }
    ThreadStart result = ThreadStart::NoProperties;
    if (pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
        (signals == nullptr || pthread_attr_setsigmask_np(&attributes, signals) == 0)) {
        pthread_t unused{};
        result = pthread_create(&unused, &attributes, entry, argument) == 0 ? ThreadStart::Started
                                                                            : ThreadStart::NoThread;
    }
    pthread_attr_destroy(&attributes);
    return result;
}

}  // namespace common
