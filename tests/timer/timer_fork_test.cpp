// Timers in a child of fork(). The thread sanitizer lets no such child start threads.
#include <cstdlib>
#include <functional>

#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include "forked.h"
#include "fresh_process.h"
#include "shot.h"

using namespace harness;

namespace {

FRESH_TEST(TimerFork, ChildFindsEveryTimerIdleAndUsable)
{
    TMR* const armed = TMR_New();
    TMR* const parked = TMR_New();
    TMR* const locked = TMR_New();
    Shot shot;
    EXPECT_EQ(shot.start(armed, kLong_ms), 1U);
    EXPECT_EQ(shot.start(parked, 5), 1U);
    ASSERT_TRUE(shot.called.wait());
    pthread_mutex_lock(&locked->mutex);
    in_child([&] {
        EXPECT_EQ(TMR_InUse(armed), 0U);
        EXPECT_EQ(TMR_Stop(armed), TMR_ReturnNotSet);
        EXPECT_EQ(TMR_Restart(parked), TMR_ReturnNotSet);
        for (TMR* const timer : {armed, parked, locked}) {
            Shot in_child;
            EXPECT_EQ(in_child.start(timer, 5), 1U);
            EXPECT_TRUE(in_child.called.wait());
            TMR_Delete(timer);
        }
    });
    in_child([&] {
        for (TMR* const timer : {armed, parked, locked}) {
            TMR_Delete(timer);
        }
    });
    pthread_mutex_unlock(&locked->mutex);
    EXPECT_EQ(TMR_InUse(armed), 1U) << "in the parent all is as it was";
    EXPECT_EQ(TMR_Stop(armed), TMR_ReturnSuccess);
    for (TMR* const timer : {armed, parked, locked}) {
        TMR_Delete(timer);
    }
}

// A callback that forks.

/// A timer whose callback forks; the child goes on in it.
struct Forking {
    std::function<void(Forking&)> in_child;
    TMR* timer = TMR_New();
    pid_t child = -1;
    Event entered{};
    Event go{};
    Event forked{};
    Event called_in_child{};

    static void call(void* argument)
    {
        auto* const self = static_cast<Forking*>(argument);
        self->entered.set();
        EXPECT_TRUE(self->go.wait());
        const pid_t child = fork();
        if (child == 0) {
            // How it went, instead of what checks there are at the end of a process.
            std::atexit([] { _exit(testing::Test::HasFailure() ? 1 : 0); });
            self->in_child(*self);
            return;
        }
        self->child = child;
        self->forked.set();
    }

    std::uint32_t start_in_child()
    {
        return TMR_Start(
            timer, [](void* record) { static_cast<Forking*>(record)->called_in_child.set(); }, this,
            5);
    }
};

/// Lets a callback fork: the child must end, and the timer go on in the parent.
void expect_child_ends(const std::function<void(Forking&)>& in_child, bool calls_back)
{
    well([&] {
        Forking forking{in_child};
        EXPECT_EQ(TMR_Start(forking.timer, Forking::call, &forking, 5), 1U);
        ASSERT_TRUE(forking.entered.wait());
        // Taken by a thread that is not there in the child.
        pthread_mutex_lock(&forking.timer->mutex);
        forking.go.set();
        const bool forked = forking.forked.wait();
        pthread_mutex_unlock(&forking.timer->mutex);
        ASSERT_TRUE(forked);
        await_child(forking.child);
        EXPECT_EQ(forking.called_in_child.is_set(), calls_back);
        Shot shot;
        EXPECT_EQ(shot.start(forking.timer, 5), 1U);
        EXPECT_TRUE(shot.called.wait());
        TMR_Delete(forking.timer);
    });
}

TEST(TimerFork, ChildThatReturnsFromTheCallbackEnds)
{
    expect_child_ends([](Forking&) {}, false);
}

TEST(TimerFork, ChildMayEndTheCallbackByEndingItsThread)
{
    expect_child_ends([](Forking&) { pthread_exit(nullptr); }, false);
}

TEST(TimerFork, ChildMayStartTheTimerWhoseCallbackItIsIn)
{
    expect_child_ends([](Forking& forking) { EXPECT_EQ(forking.start_in_child(), 1U); }, true);
}

TEST(TimerFork, ChildMayDeleteTheTimerWhoseCallbackItIsIn)
{
    expect_child_ends(
        [](Forking& forking) {
            EXPECT_EQ(forking.start_in_child(), 1U);
            EXPECT_TRUE(forking.called_in_child.wait());
            TMR_Delete(forking.timer);
        },
        true);
}

}  // namespace
