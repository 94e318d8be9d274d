// What stands in for the platform of a watchdog whose threads take turns (interleaving.h): futexes,
// semaphores, the clock, memory and the start of threads. No time passes by itself.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <list>
#include <map>
#include <semaphore.h>

namespace harness {

/// There is one at a time.
struct SteppedPlatform {
    struct Sleeper {
        const std::uint32_t* word;
        std::time_t end_s;
        bool is_woken;
    };
    struct Semaphore {
        unsigned value;
        unsigned waiting;
    };

    std::time_t now_s = 1000;
    int threads = 0;  ///< that the library has started
    std::map<sem_t*, Semaphore> semaphores{};
    std::list<Sleeper*> sleepers{};  ///< on futexes

    SteppedPlatform();
    SteppedPlatform(const SteppedPlatform&) = delete;
    SteppedPlatform& operator=(const SteppedPlatform&) = delete;
    ~SteppedPlatform();

    void wake(const std::function<bool(const Sleeper&)>& condition);
    void pass_time(std::time_t seconds);
};

}  // namespace harness
