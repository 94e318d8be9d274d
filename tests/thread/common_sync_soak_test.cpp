// Races of sync objects: one owner at a time, and no signal is lost, whoever gives up waiting for
// it.
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <pthread.h>

#include "common_sync.h"
#include "soak.h"
#include "wait_until.h"

using namespace harness;

namespace {

/// The real-time clock, some time from now.
timespec after(std::chrono::microseconds time)
{
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    const std::int64_t nanoseconds = deadline.tv_nsec + time.count() * 1000;
    deadline.tv_sec += static_cast<time_t>(nanoseconds / 1'000'000'000);
    deadline.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
    return deadline;
}

/// What a lock guards: plain words, which a thread sanitizer watches.
struct Guarded {
    COMMON_sync sync{};
    std::uint64_t first = 0;
    std::uint64_t second = 0;

    Guarded() { EXPECT_EQ(COMMON_sync_init(&sync, 0), 0); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;
    ~Guarded() { EXPECT_EQ(COMMON_sync_destroy(&sync), 0); }

    void count_up()
    {
        ASSERT_EQ(first, second);
        ++first;
        ASSERT_EQ(COMMON_sync_lock(&sync), EACCES) << "it is held already";
        ++second;
    }
};

TEST(CommonSyncSoak, LockHasOneOwner)
{
    run_race([](std::chrono::milliseconds time) {
        constexpr unsigned kThreads = 4;
        Guarded guarded;
        std::atomic<std::uint64_t> locked{0};
        std::vector<std::function<void()>> steps;
        for (unsigned i = 0; i < kThreads; ++i) {
            steps.emplace_back([&, random = std::mt19937(i)]() mutable {
                ASSERT_EQ(COMMON_sync_unlock(&guarded.sync), EACCES) << "it is not held";
                if (random() % 2 == 0) {
                    ASSERT_EQ(COMMON_sync_lock(&guarded.sync), 0);
                } else {
                    const timespec deadline = after(std::chrono::microseconds(random() % 50));
                    const int error = COMMON_sync_timedlock(&guarded.sync, &deadline);
                    if (error != 0) {
                        ASSERT_EQ(error, ETIMEDOUT);
                        return;
                    }
                }
                guarded.count_up();
                locked.fetch_add(1, std::memory_order_relaxed);
                ASSERT_EQ(COMMON_sync_unlock(&guarded.sync), 0);
            });
        }
        race(time, steps);
        EXPECT_EQ(guarded.first, locked);
        EXPECT_EQ(guarded.second, locked);
    });
}

/// Something that is put in, and whoever is woken takes all that there is.
struct Mailbox {
    COMMON_sync sync{};
    std::uint64_t put = 0;
    std::uint64_t taken = 0;
    bool over = false;
    /// The same for whoever looks without the lock.
    std::atomic<std::uint64_t> seen_taken{0};

    Mailbox() { EXPECT_EQ(COMMON_sync_init(&sync, 0), 0); }
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;
    ~Mailbox() { EXPECT_EQ(COMMON_sync_destroy(&sync), 0); }

    bool is_empty() const { return put == taken; }

    /// Puts something in and signals once: the next signal comes only when this one has done its
    /// work.
    void put_one()
    {
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        const std::uint64_t number = ++put;
        ASSERT_EQ(COMMON_sync_signal(&sync), 0);
        ASSERT_EQ(COMMON_sync_unlock(&sync), 0);
        const auto is_taken = [&] { return seen_taken.load(std::memory_order_relaxed) == number; };
        for (int look = 0; look < 1'000 && !is_taken(); ++look) {
            std::this_thread::yield();
        }
        ASSERT_TRUE(wait_until(is_taken)) << "nobody was woken for what is there";
    }

    void take_locked()
    {
        taken = put;
        seen_taken.store(taken, std::memory_order_relaxed);
    }

    /// Takes what it is woken for.
    void take_in_time(std::chrono::microseconds time)
    {
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        if (is_empty()) {
            const timespec deadline = after(time);
            const int error = COMMON_sync_timedwait(&sync, &deadline);
            ASSERT_TRUE(error == 0 || error == ETIMEDOUT) << error;
            if (error == 0) {
                take_locked();
            }
        }
        ASSERT_EQ(COMMON_sync_unlock(&sync), 0);
    }

    /// Waits for as long as it takes, until all is over.
    void take_until_over()
    {
        ASSERT_EQ(COMMON_sync_lock(&sync), 0);
        while (!over) {
            take_locked();
            ASSERT_EQ(COMMON_sync_wait(&sync), 0);
        }
        ASSERT_EQ(COMMON_sync_unlock(&sync), 0);
    }
};

/// For a thread that may be cancelled, where it holds nothing. Takes what it is woken for.
void* take_once(void* argument)
{
    auto* const mailbox = static_cast<Mailbox*>(argument);
    int error = COMMON_sync_lock(&mailbox->sync);
    if (error == 0 && mailbox->is_empty()) {
        error = COMMON_sync_wait(&mailbox->sync);
        if (error == 0) {
            mailbox->take_locked();
        }
    }
    if (error == 0) {
        COMMON_sync_unlock(&mailbox->sync);
    }
    return error == 0 ? nullptr : mailbox;
}

/// A thread waits and is cancelled meanwhile, or has just got something.
void cancel_a_waiter(Mailbox& mailbox, std::chrono::microseconds time)
{
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, take_once, &mailbox), 0);
    std::this_thread::sleep_for(time);
    ASSERT_EQ(pthread_cancel(thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    ASSERT_TRUE(result == nullptr || result == PTHREAD_CANCELED);
}

TEST(CommonSyncSoak, NoSignalIsLost)
{
    run_race([](std::chrono::milliseconds time) {
        Mailbox mailbox;
        std::thread waiting([&] { mailbox.take_until_over(); });
        std::mt19937 random(1);
        std::mt19937 other_random(2);
        std::uint64_t put = 0;
        race(time,
             {[&] {
                  mailbox.put_one();
                  ++put;
              },
              [&] { mailbox.take_in_time(std::chrono::microseconds(random() % 500)); },
              [&] { cancel_a_waiter(mailbox, std::chrono::microseconds(other_random() % 300)); }});
        EXPECT_EQ(COMMON_sync_lock(&mailbox.sync), 0);
        mailbox.over = true;
        EXPECT_EQ(COMMON_sync_signal(&mailbox.sync), 0);
        EXPECT_EQ(COMMON_sync_unlock(&mailbox.sync), 0);
        waiting.join();
        EXPECT_EQ(mailbox.put, put);
        EXPECT_EQ(mailbox.taken, put);
    });
}

}  // namespace
