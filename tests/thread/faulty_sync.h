// A sync object whose semaphores may be made to fail, and whose lock another thread may have.
#pragma once

#include <cstdint>
#include <pthread.h>
#include <semaphore.h>

#include <gmock/gmock.h>

#include "common_sync.h"
#include "fault.h"

inline constexpr auto kNobody = static_cast<pthread_t>(-1);
inline constexpr timespec kFuture{4'102'444'800, 0};
/// How a semaphore is tried that was seen above 0.
inline constexpr auto kTry = harness::fault::Call::sem_timedwait;

/// A sync object that is set up and, perhaps, locked.
struct Sync : COMMON_sync {
    explicit Sync(bool locked = false, std::uint32_t chosen = 0)
    {
        EXPECT_EQ(COMMON_sync_init(this, 0), 0);
        flags = chosen;
        if (locked) {
            EXPECT_EQ(COMMON_sync_lock(this), 0);
        }
        harness::fault::reset();
    }

    bool is_locked()
    {
        int value = -1;
        EXPECT_EQ(sem_getvalue(&lock, &value), 0);
        EXPECT_EQ(owner == pthread_self(), value == 0) << "owner and semaphore disagree";
        return value == 0;
    }

    /// Has another thread take the lock, and give it back.
    void take_away() { EXPECT_EQ(sem_wait(&lock), 0); }
    void give_back() { EXPECT_EQ(sem_post(&lock), 0); }

    int pending()
    {
        int value = -1;
        EXPECT_EQ(sem_getvalue(&signal, &value), 0);
        return value;
    }
};
