/**
 * @file timer.hpp
 * A one-shot timer that calls anything:
 *
 *     commonpp::timer timer([&] { station.refresh(); });
 *     if (!ok(timer.start(250ms))) { ...
 *
 * What it calls runs in a thread of the timer's (timer.h), may start the timer again, which makes a
 * periodic one, and may use all of its functions. An exception that leaves it ends the process
 * (std::terminate). It may end its thread.
 */
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <type_traits>
#include <utility>

#include <common/timer.h>

#include "detail.hpp"
#include "mutex.hpp"
#include "status.hpp"

namespace commonpp {

/**
 * A timer. Any thread may start, stop, restart and ask it at any time; not while it is moved. In a
 * child of fork() it is idle, and may be used unless another thread was inside one of its
 * functions.
 */
class timer {
public:
    /** Holds nothing, and cannot be started. */
    timer() noexcept = default;
    /**
     * Makes a timer, with one block for itself and one for the callable.
     * @param callable kept by value, called without arguments; what it returns is dropped.
     */
    template <class Callable,
              class = std::enable_if_t<std::is_invocable_v<std::decay_t<Callable>&>>>
    explicit timer(Callable&& callable)
        : shot_(detail::make<shot_of<std::decay_t<Callable>>>(std::forward<Callable>(callable)))
    {
    }
    /** Takes the timer over. */
    timer(timer&& other) noexcept : shot_(std::exchange(other.shot_, nullptr)) {}
    /** Takes the timer over; the own one ends as by the destructor. */
    timer& operator=(timer&& other) noexcept
    {
        timer(std::move(other)).swap(*this);
        return *this;
    }
    /**
     * Stops the timer and waits until the callable does not run any more; what the callable starts
     * meanwhile is rejected. Not a cancellation point. In the callable's own call it returns at
     * once: the callable is destroyed when its last call has returned.
     */
    ~timer()
    {
        if (shot_ != nullptr) {
            end(*shot_);
        }
    }

    /** Exchanges what two of them hold. */
    void swap(timer& other) noexcept { std::swap(shot_, other.shot_); }
    /** Tells whether there is a timer: not when nothing is held, or one could not be had. */
    explicit operator bool() const noexcept { return native() != nullptr; }

    /**
     * Arms the timer, instead of for an earlier deadline if there is one.
     * @param after rounded up to milliseconds; 0 or less is one millisecond.
     * @return success; invalid_param for 2^32 milliseconds (49 days) or more; failed when no thread
     *         can be had, which is reported; rejected while the timer is being destroyed;
     *         no_resources when there is no timer.
     */
    template <class Rep, class Period>
    status start(const std::chrono::duration<Rep, Period>& after)
    {
        const std::uint32_t interval_ms = detail::timer_milliseconds(after);
        if (!*this || interval_ms == 0) {
            return *this ? status::invalid_param : status::no_resources;
        }
        const shot_lock locked(shot_->lock);
        if (shot_->ending) {
            return status::rejected;
        }
        take_back_locked(*shot_);
        shot_->holds.fetch_add(1, std::memory_order_relaxed);
        if (TMR_Start(shot_->record, call, shot_, interval_ms) == 0) {
            shot_->holds.fetch_sub(1, std::memory_order_relaxed);
            return status::failed;
        }
        return status::success;
    }

    /** Takes the deadline back. @return whether there was one; nothing is called then. */
    bool stop()
    {
        if (!*this) {
            return false;
        }
        const shot_lock locked(shot_->lock);
        return take_back_locked(*shot_);
    }

    /** Starts an armed timer again with its whole time. @return whether it was armed and is. */
    bool restart()
    {
        if (!*this) {
            return false;
        }
        const shot_lock locked(shot_->lock);
        return !shot_->ending && TMR_Restart(shot_->record) == TMR_ReturnSuccess;
    }

    /** Tells whether a deadline is awaited. */
    [[nodiscard]] bool in_use() const { return *this && TMR_InUse(shot_->record) != 0; }
    /** The C record, still this object's, or null. To be looked at only. */
    const TMR* native() const noexcept { return shot_ != nullptr ? shot_->record : nullptr; }

private:
    /** The callable, with what of it is under way. */
    struct shot {
        TMR* const record = TMR_New();
        void (*const run)(shot&);
        void (*const destroy)(shot&);
        /** The object's, and one for each start that has neither called nor was taken back. */
        std::atomic<std::uint32_t> holds{1};
        mutex lock; /**< orders starts, stops and the end */
        bool ending = false;

        shot(void (*run_with)(shot&), void (*destroy_with)(shot&)) noexcept
            : run(run_with), destroy(destroy_with)
        {
        }
    };

    template <class Callable>
    struct shot_of : shot {
        template <class Argument>
        explicit shot_of(Argument&& argument)
            : shot([](shot& self) { static_cast<void>(static_cast<shot_of&>(self).callable()); },
                   detail::end<shot_of, shot>),
              callable(std::forward<Argument>(argument))
        {
        }
        Callable callable;
    };

    using shot_lock = std::lock_guard<mutex>;

    /** Whose callable the calling thread is in. */
    static shot*& running() noexcept
    {
        static thread_local shot* running = nullptr;
        return running;
    }

    /** A call: it marks its thread and ends its hold, also when it ends the thread. */
    struct running_call {
        shot& of;
        explicit running_call(shot& called) noexcept : of(called) { running() = &called; }
        ~running_call()
        {
            running() = nullptr;
            release(of);
        }
    };

    static void call(void* argument)
    {
        const running_call call(*static_cast<shot*>(argument));
        call.of.run(call.of);
    }

    /** At most one deadline is awaited, as each start takes an earlier one back. */
    static bool take_back_locked(shot& shot)
    {
        const bool taken = TMR_Stop(shot.record) == TMR_ReturnSuccess;
        if (taken) {
            shot.holds.fetch_sub(1, std::memory_order_relaxed);
        }
        return taken;
    }

    static void release(shot& shot) noexcept
    {
        if (shot.holds.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            shot.destroy(shot);
        }
    }

    static void end(shot& shot) noexcept
    {
        const detail::uncancelled uncancelled;
        const bool own_call = running() == &shot;
        if (shot.record != nullptr) {
            {
                const shot_lock locked(shot.lock);
                shot.ending = true;
                take_back_locked(shot);
            }
            TMR_Delete(shot.record);
        }
        // Elsewhere nothing of the timer runs any more, whatever the count says: in a child of fork
        // it is too high.
        if (own_call) {
            release(shot);
        } else {
            shot.destroy(shot);
        }
    }

    shot* shot_ = nullptr;
};

}  // namespace commonpp
