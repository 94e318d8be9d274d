/**
 * @file thread.hpp
 * A thread that is always joined, so that its stack is given back (see common_thread.h for what a
 * COMMON_Thread that ends by itself keeps):
 *
 *     commonpp::thread scanner;
 *     if (!ok(scanner.start([&] { scan(folder); }, {"scanner"}))) { ...
 *
 * An exception that leaves what it runs ends the process (std::terminate). Cancellation and
 * pthread_exit(3) unwind it, where the program is compiled with exceptions. In a child of fork()
 * the thread is not there: an object that has one is neither to be joined nor to be destroyed, as a
 * thread of the child's may have its id by then. So end such a child with _exit(2).
 */
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include <common/common_thread.h>

#include "detail.hpp"
#include "status.hpp"

namespace commonpp {

/** The attributes of a thread: those of COMMON_Thread, with its defaults. */
struct thread_options {
    const char* name = nullptr; /**< copied, cut at 128 characters; null: "Unnamed-<id>" */
    std::uint32_t stack_size = COMMON_ThreadStackSizeDefault; /**< bytes; 65535: the platform's */
    std::uint32_t priority = COMMON_ThreadPriorityDefault;    /**< 10: inherited */
    COMMON_ThreadSchedule_t schedule = COMMON_ThreadScheduleDefault; /**< with a priority only */
};

/** A thread, or none. */
class thread {
public:
    /** Holds none. */
    thread() noexcept = default;
    /** Takes the thread over. */
    thread(thread&& other) noexcept : work_(std::exchange(other.work_, nullptr)) {}
    /** Takes the thread over; the own one is waited for. */
    thread& operator=(thread&& other) noexcept
    {
        thread taken(std::move(other));
        std::swap(work_, taken.work_);
        return *this;
    }
    /**
     * Waits for the end of the thread; not a cancellation point. In the thread itself it lets go of
     * it: all is given back when the thread ends.
     */
    ~thread()
    {
        const detail::uncancelled uncancelled;
        static_cast<void>(join());
    }

    /**
     * Starts a thread, with one block for its record and the callable.
     * @param callable kept by value until the thread is joined, called without arguments in the
     *        thread. A pointer that it returns is the thread's result; anything else is dropped.
     * @param options attributes.
     * @return success; busy when there is a thread that was not joined; failed when the platform
     *         refuses it, which is reported: there is no thread then.
     */
    template <class Callable>
    status start(Callable&& callable, const thread_options& options = {})
    {
        if (work_ != nullptr) {
            return status::busy;
        }
        std::unique_ptr<work> made =
            std::make_unique<detail::task_of<work, std::decay_t<Callable>>>(
                std::in_place, std::forward<Callable>(callable));
        COMMON_Thread_Initialize(&made->record, run, made.get());
        if (options.name != nullptr) {
            COMMON_Thread_SetName(&made->record, options.name);
        }
        COMMON_Thread_SetStackSize(&made->record, options.stack_size);
        COMMON_Thread_SetPriority(&made->record, options.priority);
        COMMON_Thread_SetSchedule(&made->record, options.schedule);
        const status started = to_status(COMMON_Thread_Start(&made->record));
        if (ok(started)) {
            work_ = made.release();
        }
        return started;
    }

    /** Tells whether there is a thread that was not joined. */
    [[nodiscard]] bool joinable() const noexcept { return work_ != nullptr; }

    /**
     * Waits for the end of the thread and gives all that it held back. A cancellation point, at
     * which the thread stays joinable.
     * @param result gets the thread's result, PTHREAD_CANCELED when it was cancelled; may be null.
     * @return success; not_found when there is none; rejected in the thread itself, which is let go
     *         of then as by the destructor; failed when the platform refuses it, as for a thread
     *         that waits for the calling one: there is still a thread then.
     */
    status join(void** result = nullptr)
    {
        if (work_ == nullptr) {
            return status::not_found;
        }
        const pthread_t id = work_->id();
        if (pthread_equal(id, COMMON_Thread_Self()) != 0) {
            pthread_detach(id);
            // The record is written until the thread ends.
            static thread_local std::unique_ptr<work> last_owner;
            last_owner.reset(std::exchange(work_, nullptr));
            return status::rejected;
        }
        if (pthread_join(id, result) != 0) {
            return status::failed;
        }
        delete std::exchange(work_, nullptr);
        return status::success;
    }

    /** The C record, still this object's, for its getters, cancellation and signals; or null. */
    COMMON_Thread* native() const noexcept { return work_ != nullptr ? &work_->record : nullptr; }

private:
    /** @cond */
    /** What runs. The record and the id stay readable until the thread is joined. */
    struct work : detail::task {
        COMMON_Thread record;
        /** Written by the thread before it clears the id of the record. */
        pthread_t self{};

        pthread_t id() const noexcept
        {
            const pthread_t id = COMMON_Thread_GetId(&record);
            return id != pthread_t{} ? id : self;
        }
    };
    /** @endcond */

    static void* run(void* argument)
    {
        auto& own = *static_cast<work*>(argument);
        own.self = COMMON_Thread_Self();
        return own.run();
    }

    work* work_ = nullptr;
};

}  // namespace commonpp
