/**
 * @file timer.hpp
 * A one-shot timer that calls anything:
 *
 *     commonpp::timer timer([&] { station.refresh(); });
 *     if (!ok(timer.start(250ms))) { ...
 *
 * What it calls runs in a thread of the timer's (timer.h), may start the timer again, which makes a
 * periodic one, and may use all of its functions. An exception that leaves it ends the process
 * (std::terminate). It may end its thread, which unwinds it as in thread.hpp. It may destroy its
 * own timer, but with -fvisibility=hidden not from another shared object than the one that made it.
 */
#pragma once

#include <algorithm>
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
 * A timer. Any thread may start, stop and ask it at any time; not while it is moved. In a child of
 * fork() it is idle, and may be used unless another thread was inside one of its functions.
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
        : shot_(new detail::task_of<shot, std::decay_t<Callable>>(std::in_place,
                                                                  std::forward<Callable>(callable)))
    {
        shot_->record = TMR_New();
    }
    /** Takes the timer over. */
    timer(timer&& other) noexcept : shot_(std::exchange(other.shot_, nullptr)) {}
    /** Takes the timer over; the own one ends as by the destructor. */
    timer& operator=(timer&& other) noexcept
    {
        timer taken(std::move(other));
        std::swap(shot_, taken.shot_);
        return *this;
    }
    /**
     * Stops the timer and waits until the callable does not run any more; what the callable starts
     * meanwhile is rejected. Not a cancellation point. In the callable's own call it returns at
     * once: the callable is destroyed when its last call has returned.
     */
    ~timer()
    {
        if (shot_ == nullptr) {
            return;
        }
        const detail::uncancelled uncancelled;
        if (shot_->record != nullptr) {
            {
                const std::lock_guard<mutex> locked(shot_->lock);
                shot_->ending = true;
                shot_->take_back();
            }
            TMR_Delete(shot_->record);
        }
        if (running_ == shot_) {
            shot_->release();
        } else {
            // Nothing of the timer runs any more, whatever the count says: in a child of fork it is
            // too high.
            delete shot_;
        }
    }

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
        using milliseconds = std::chrono::milliseconds;
        const auto interval = std::chrono::ceil<milliseconds>(detail::bounded(after)).count();
        if (native() == nullptr) {
            return status::no_resources;
        }
        if (interval > UINT32_MAX) {
            return status::invalid_param;
        }
        const std::lock_guard<mutex> locked(shot_->lock);
        if (shot_->ending) {
            return status::rejected;
        }
        shot_->take_back();
        ++shot_->holds;
        if (TMR_Start(shot_->record, call, shot_, std::max(std::uint32_t(interval), 1U)) == 0) {
            --shot_->holds;
            return status::failed;
        }
        return status::success;
    }

    /** Takes the deadline back. @return whether there was one; nothing is called then. */
    bool stop()
    {
        if (native() == nullptr) {
            return false;
        }
        const std::lock_guard<mutex> locked(shot_->lock);
        return shot_->take_back();
    }

    /** Tells whether a deadline is awaited. */
    [[nodiscard]] bool in_use() const { return native() != nullptr && TMR_InUse(shot_->record); }
    /** The C record, still this object's, to be looked at only; null when it could not be had. */
    const TMR* native() const noexcept { return shot_ != nullptr ? shot_->record : nullptr; }

private:
    /** @cond */
    /** The callable, with what of it is under way. */
    struct shot : detail::task {
        TMR* record = nullptr;
        /** The object's, and one for each start that has neither called nor was taken back. */
        std::atomic<std::uint32_t> holds{1};
        mutex lock; /**< orders starts, stops and the end */
        bool ending = false;

        /** With the lock. At most one deadline is awaited, as each start takes an earlier back. */
        bool take_back()
        {
            const bool taken = TMR_Stop(record) == TMR_ReturnSuccess;
            holds -= taken ? 1 : 0;
            return taken;
        }
        void release() noexcept
        {
            if (--holds == 0) {
                delete this;
            }
        }
    };
    /** @endcond */

    /** A call: it marks its thread and ends its hold, also when it ends the thread. */
    struct running_call {
        explicit running_call(shot& called) noexcept { running_ = &called; }
        ~running_call() { std::exchange(running_, nullptr)->release(); }
    };

    static void call(void* argument)
    {
        auto& called = *static_cast<shot*>(argument);
        const running_call running(called);
        called.run();
    }

    /** Whose callable the calling thread is in. */
    static inline thread_local shot* running_ = nullptr;

    shot* shot_ = nullptr;
};

}  // namespace commonpp
