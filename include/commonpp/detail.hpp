/**
 * @file detail.hpp
 * What the other headers share; not for programs.
 */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include <pthread.h>

#include <common/mem_malloc.h>

namespace commonpp::detail {

/**
 * Milliseconds for a timer, rounded up, so that none is early.
 * @return at least 1; 0 for what is no number of 32 bits, also for a NaN.
 */
template <class Rep, class Period>
constexpr std::uint32_t timer_milliseconds(const std::chrono::duration<Rep, Period>& time) noexcept
{
    const double wanted = std::chrono::duration<double, std::milli>(time).count();
    if (!(wanted <= UINT32_MAX)) {
        return 0;
    }
    return wanted <= 1 ? 1
                       : static_cast<std::uint32_t>(
                             std::chrono::ceil<std::chrono::milliseconds>(time).count());
}

/** The time a duration from now, not before now; the end of all times when there is none. */
template <class Rep, class Period>
std::chrono::steady_clock::time_point
deadline_after(const std::chrono::duration<Rep, Period>& time) noexcept
{
    using clock = std::chrono::steady_clock;
    const auto now = clock::now();
    const double wanted = std::chrono::duration<double>(time).count();
    const double room = std::chrono::duration<double>(clock::time_point::max() - now).count();
    if (!(wanted > 0)) {
        return now;
    }
    // A little less than there is: a double is rounded.
    return wanted < room * 0.999 ? now + std::chrono::ceil<clock::duration>(time)
                                 : clock::time_point::max();
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

/** Makes an object in a block of its own; one whose constructor throws leaves nothing behind. */
template <class Object, class Argument>
Object* make(Argument&& argument)
{
    static_assert(alignof(Object) <= alignof(std::max_align_t) && sizeof(Object) <= UINT32_MAX);
    struct block {
        void* memory = MEM_Malloc(sizeof(Object));
        ~block() { MEM_Free(memory); }
    } room;
    Object* const object = ::new (room.memory) Object(std::forward<Argument>(argument));
    room.memory = nullptr;
    return object;
}

/** Ends an object of make(), by way of the class that it was made of. */
template <class Object, class Base>
void end(Base& base) noexcept
{
    Object& object = static_cast<Object&>(base);
    object.~Object();
    MEM_Free(&object);
}

}  // namespace commonpp::detail
