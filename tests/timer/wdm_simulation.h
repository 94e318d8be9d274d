// A watchdog in simulated time: its monitor runs in the test's thread, the clock moves only when
// the monitor waits, and no busy machine can make it late. What the library asks of the platform
// comes here by the linker's --wrap (tests/timer/CMakeLists.txt).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "common_wdm.h"

namespace harness {

/// Nanoseconds of the monotonic clock.
using Time_ns = std::int64_t;

inline constexpr Time_ns kSecond_ns = 1'000'000'000;

/// A thread that the monitor started.
struct SimulatedStart {
    Time_ns time_ns;
    void* argument;
};

/// One at a time. Everything in its lifetime happens in simulated time.
class Simulation {
public:
    explicit Simulation(Time_ns start_ns = 1000 * kSecond_ns);
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;
    ~Simulation();

    /// Has something happen while the monitor waits, or as soon as it does after that time.
    void at(Time_ns time_ns, std::function<void()> event);

    /// Ends the wait that the monitor is in, as a signal would.
    void interrupt() { interrupted_ = true; }

    /// Runs the monitor until that time, and ends it. The last thing that can be done.
    void run_until(Time_ns end_ns);

    /// The subscribers in the queue, from head to tail; null for the anchor.
    std::vector<COMMON_wdm_Subscriber*> order() const;

    COMMON_wdm* watchdog;
    Time_ns now_ns;
    Time_ns late_ns = 0;               ///< how late a wait ends that nobody ends early
    Time_ns starting_ns = 0;           ///< what it takes to start a thread
    bool runs_handlers = true;         ///< the threads of handlers run, at once
    bool clock_fails = false;          ///< and nobody can read it
    std::function<void()> on_reading;  ///< what happens at the next reading of the clock

    std::vector<SimulatedStart> starts;
    int waits = 0;     ///< of the monitor, with subscribers in the queue
    int wakes = 0;     ///< by those who subscribe
    int readings = 0;  ///< of the clock

    // What stands in for the platform.
    int read_clock(timespec& time);
    void wait(const std::uint32_t* word, std::uint32_t expected, Time_ns at_most_ns);
    int wait(sem_t* semaphore);
    int start(void* (*entry)(void*), void* argument);

private:
    void run_next_event();

    bool interrupted_ = false;
    int waits_before_event_ = 0;
    std::multimap<Time_ns, std::function<void()>> events_;
    void* (*monitor_)(void*) = nullptr;
    void* monitor_argument_ = nullptr;
};

}  // namespace harness
