#include "wdm_simulation.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <gmock/gmock.h>
#include <linux/futex.h>
#include <pthread.h>
#include <unistd.h>

#include "fault_table.h"
#include "platform/futex.h"
#include "timer/common_wdm_queue.h"

namespace harness {

namespace wdm = common::wdm;

namespace {

Simulation* running = nullptr;

}  // namespace

Simulation::Simulation(Time_ns start_ns) : now_ns(start_ns)
{
    running = this;
    watchdog = COMMON_wdm_Init();
}

Simulation::~Simulation()
{
    running = nullptr;
    for (auto* node = watchdog->head; node != nullptr;) {
        auto* const next = wdm::next_of(*node);
        if (node->subscriber != nullptr) {
            wdm::release(node->subscriber, 1);
            std::free(node);
        }
        node = next;
    }
    sem_destroy(&watchdog->wake);
    sem_destroy(&watchdog->ended);
    std::free(watchdog);
}

void Simulation::at(Time_ns time_ns, std::function<void()> event)
{
    events_.emplace(time_ns, std::move(event));
}

void Simulation::run_until(Time_ns end_ns)
{
    at(end_ns, [this] { wdm::append(*watchdog, watchdog->end); });
    monitor_(monitor_argument_);
}

std::vector<COMMON_wdm_Subscriber*> Simulation::order() const
{
    std::vector<COMMON_wdm_Subscriber*> all;
    for (auto* node = watchdog->head; node != nullptr;) {
        all.push_back(node->subscriber);
        node = node->next == wdm::kAsleep ? nullptr : wdm::next_of(*node);
    }
    return all;
}

int Simulation::read_clock(timespec& time)
{
    ++readings;
    if (const auto happens = std::exchange(on_reading, nullptr)) {
        happens();
    }
    if (clock_fails) {
        errno = EINVAL;
        return -1;
    }
    time.tv_sec = static_cast<std::time_t>(now_ns / kSecond_ns);
    time.tv_nsec = static_cast<long>(now_ns % kSecond_ns);
    return 0;
}

void Simulation::run_next_event()
{
    if (events_.empty()) {
        std::fputs("Simulation: the monitor waits for good\n", stderr);
        std::abort();
    }
    waits_before_event_ = 0;
    const auto next = events_.extract(events_.begin());
    now_ns = std::max(now_ns, next.key());
    next.mapped()();
}

void Simulation::wait(const std::uint32_t* word, std::uint32_t expected, Time_ns at_most_ns)
{
    ++waits;
    if (++waits_before_event_ > 100'000) {
        std::fputs("Simulation: the monitor does not wait\n", stderr);
        std::abort();
    }
    const Time_ns end_ns = now_ns + at_most_ns;
    interrupted_ = false;
    while (*word == expected && !interrupted_) {
        if (events_.empty() || events_.begin()->first > end_ns) {
            now_ns = end_ns + late_ns;
            return;
        }
        run_next_event();
    }
}

int Simulation::wait(sem_t* semaphore)
{
    while (sem_trywait(semaphore) != 0) {
        run_next_event();
    }
    return 0;
}

int Simulation::start(void* (*entry)(void*), void* argument)
{
    if (monitor_ == nullptr) {
        monitor_ = entry;
        monitor_argument_ = argument;
        return 0;
    }
    starts.push_back({now_ns, argument});
    now_ns += starting_ns;
    if (runs_handlers) {
        entry(argument);
    }
    return 0;
}

}  // namespace harness

using harness::running;

extern "C" {

#define CLOCK HARNESS_SYMBOL("clock_gettime", "__clock_gettime64")
int real_clock(clockid_t clock, timespec* time) __asm__("__real_" CLOCK);
int wrap_clock(clockid_t clock, timespec* time) __asm__("__wrap_" CLOCK);
int wrap_clock(clockid_t clock, timespec* time)
{
    return running == nullptr ? real_clock(clock, time) : running->read_clock(*time);
}

int real_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                void* argument) __asm__("__real_pthread_create");
int wrap_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                void* argument) __asm__("__wrap_pthread_create");
int wrap_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                void* argument)
{
    return running == nullptr ? real_create(thread, attributes, entry, argument)
                              : running->start(entry, argument);
}

int real_sem_wait(sem_t* semaphore) __asm__("__real_sem_wait");
int wrap_sem_wait(sem_t* semaphore) __asm__("__wrap_sem_wait");
int wrap_sem_wait(sem_t* semaphore)
{
    return running == nullptr ? real_sem_wait(semaphore) : running->wait(semaphore);
}

/// The library has one call of this function, for futexes.
long real_syscall(long number, ...) __asm__("__real_syscall");
long wrap_syscall(long number, ...) __asm__("__wrap_syscall");
long wrap_syscall(long number, ...)
{
    std::va_list list;
    va_start(list, number);
    const auto* const word = va_arg(list, const std::uint32_t*);
    const int operation = va_arg(list, int);
    const auto value = static_cast<std::uint32_t>(va_arg(list, int));
    const auto* const time = va_arg(list, const long*);
    va_end(list);
    if (running == nullptr) {
        return real_syscall(number, word, operation, value, time, nullptr, 0);
    }
    if (operation == FUTEX_WAIT_PRIVATE) {
        running->wait(word, value, time[0] * harness::kSecond_ns + time[1]);
    } else {
        ++running->wakes;
    }
    return 0;
}

}  // extern "C"
