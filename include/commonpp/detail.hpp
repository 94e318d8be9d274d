/**
 * @file detail.hpp
 * What the other headers share; not for programs.
 */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include <pthread.h>

#include <common/mem_malloc.h>

namespace commonpp::detail {

/** A time that does not come, 146 years: even from now on it has room in 64 bits. */
inline constexpr std::chrono::nanoseconds forever{std::int64_t{1} << 62};

/** A duration that is not negative and not too long; rounded up, so that nothing is early. */
template <class Rep, class Period>
constexpr std::chrono::nanoseconds bounded(const std::chrono::duration<Rep, Period>& time) noexcept
{
    const double wanted = std::chrono::duration<double, std::nano>(time).count();
    if (wanted <= 0) {
        return std::chrono::nanoseconds::zero();
    }
    // A NaN is not less, either.
    return wanted < double(forever.count()) ? std::chrono::ceil<std::chrono::nanoseconds>(time)
                                            : forever;
}

/** No cancellation over a scope: a destructor that waits must not be unwound. */
class uncancelled {
public:
    uncancelled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~uncancelled() { pthread_setcancelstate(before_, nullptr); }
    uncancelled(const uncancelled&) = delete;
    uncancelled& operator=(const uncancelled&) = delete;

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

/** What another thread calls, in a block of its own with what belongs to it. */
class task {
public:
    task() noexcept = default;
    virtual ~task() = default;
    task(const task&) = delete;
    task& operator=(const task&) = delete;

    /** Calls it. Gives the pointer that it returned; null when it was anything else. */
    virtual void* run() = 0;

    static void* operator new(std::size_t size) { return MEM_Malloc(std::uint32_t(size)); }
    static void operator delete(void* memory) noexcept { MEM_Free(memory); }
};

/** A task of a callable, with the fields of Base beside it. */
template <class Base, class Callable>
class task_of final : public Base {
    static_assert(alignof(Callable) <= alignof(std::max_align_t));
    static_assert(std::uint32_t(sizeof(Callable)) == sizeof(Callable), "MEM_Malloc takes 32 bits");

public:
    template <class Argument>
    task_of(std::in_place_t, Argument&& argument) : callable_(std::forward<Argument>(argument))
    {
    }
    void* run() override
    {
        if constexpr (std::is_convertible_v<std::invoke_result_t<Callable&>, void*>) {
            return callable_();
        } else {
            static_cast<void>(callable_());
            return nullptr;
        }
    }

private:
    Callable callable_;
};

}  // namespace commonpp::detail
