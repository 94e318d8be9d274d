#include "stepped_platform.h"

#include <atomic>
#include <cstddef>

#include <gtest/gtest.h>

#include "interleaving.h"
#include "log/process_locks.h"
#include "platform/futex.h"
#include "platform/thread_name.h"
#include "timer/detached_thread.h"

namespace interleaving = harness::interleaving;
using harness::SteppedPlatform;

namespace {

SteppedPlatform* platform = nullptr;

}  // namespace

namespace harness {

SteppedPlatform::SteppedPlatform()
{
    platform = this;
}

SteppedPlatform::~SteppedPlatform()
{
    EXPECT_TRUE(sleepers.empty());
    EXPECT_TRUE(semaphores.empty());
    platform = nullptr;
}

void SteppedPlatform::wake(const std::function<bool(const Sleeper&)>& condition)
{
    for (Sleeper* const sleeper : sleepers) {
        sleeper->is_woken = sleeper->is_woken || condition(*sleeper);
    }
    std::erase_if(sleepers, [](const Sleeper* sleeper) { return sleeper->is_woken; });
}

void SteppedPlatform::pass_time(std::time_t seconds)
{
    interleaving::step();
    now_s += seconds;
    wake([this](const Sleeper& sleeper) { return sleeper.end_s <= now_s; });
}

}  // namespace harness

// What the library calls.

namespace common {

constinit std::atomic<std::uint32_t> fork_count{0};

void name_own_thread(const char* /*name*/) noexcept {}

ThreadStart start_detached(void* (*entry)(void*), void* argument, const sigset_t*) noexcept
{
    interleaving::step();
    ++platform->threads;
    interleaving::start([=] {
        entry(argument);
        --platform->threads;
    });
    return ThreadStart::Started;
}

/// No time passes by itself: whoever must be woken is.
void futex_wait(const std::uint32_t* word, std::uint32_t expected, const timespec& at_most) noexcept
{
    interleaving::step();
    interleaving::note_access(word);
    if (*word != expected) {
        return;
    }
    SteppedPlatform::Sleeper own{word, platform->now_s + at_most.tv_sec, false};
    platform->sleepers.push_back(&own);
    interleaving::wait_until([&] { return own.is_woken; });
}

void futex_wake_one(const std::uint32_t* word) noexcept
{
    interleaving::step();
    platform->wake([=](const auto& sleeper) { return sleeper.word == word; });
}

}  // namespace common

extern "C" {

int wrap_sem_init(sem_t* semaphore, int shared, unsigned value) __asm__("__wrap_sem_init");
int wrap_sem_init(sem_t* semaphore, int /*shared*/, unsigned value)
{
    platform->semaphores[semaphore] = {value, 0};
    return 0;
}

int wrap_sem_destroy(sem_t* semaphore) __asm__("__wrap_sem_destroy");
int wrap_sem_destroy(sem_t* semaphore)
{
    interleaving::note_access(semaphore);
    return platform->semaphores.erase(semaphore) == 1 ? 0 : -1;
}

int wrap_sem_post(sem_t* semaphore) __asm__("__wrap_sem_post");
int wrap_sem_post(sem_t* semaphore)
{
    interleaving::step();
    interleaving::note_access(semaphore);
    ++platform->semaphores.at(semaphore).value;
    return 0;
}

int wrap_sem_wait(sem_t* semaphore) __asm__("__wrap_sem_wait");
int wrap_sem_wait(sem_t* semaphore)
{
    interleaving::step();
    interleaving::note_access(semaphore);
    auto& [value, waiting] = platform->semaphores.at(semaphore);
    ++waiting;
    interleaving::wait_until([count = &value] { return *count > 0; });
    --waiting;
    --value;
    return 0;
}

int wrap_clock_gettime(clockid_t clock, timespec* time) __asm__("__wrap_clock_gettime");
int wrap_clock_gettime(clockid_t /*clock*/, timespec* time)
{
    interleaving::step();
    *time = {platform->now_s, 0};
    return 0;
}

void* wrap_malloc(std::size_t size) __asm__("__wrap_malloc");
void* wrap_malloc(std::size_t size)
{
    return interleaving::allocate(size);
}

void wrap_free(void* block) __asm__("__wrap_free");
void wrap_free(void* block)
{
    interleaving::release(block);
}

}  // extern "C"
