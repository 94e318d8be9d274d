// Timers in a child of fork(). The thread sanitizer lets no such child start threads.
#include <functional>

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fresh_process.h"
#include "shot.h"

using namespace bench;

namespace {

/** Runs a piece in a child: whether it went well there. */
bool in_child(const std::function<void()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(TimerFork, ChildFindsEveryTimerIdleAndUsable)
{
    EXPECT_THAT(run_fresh([] {
                    TMR* const armed = TMR_New();
                    TMR* const parked = TMR_New();
                    TMR* const locked = TMR_New();
                    Shot shot;
                    EXPECT_EQ(shot.start(armed, kLong_ms), 1U);
                    EXPECT_EQ(shot.start(parked, 5), 1U);
                    ASSERT_TRUE(shot.called.wait());
                    pthread_mutex_lock(&locked->mutex);
                    EXPECT_TRUE(in_child([&] {
                        EXPECT_EQ(TMR_InUse(armed), 0U);
                        EXPECT_EQ(TMR_Stop(armed), 2U);
                        EXPECT_EQ(TMR_Restart(parked), 2U);
                        for (TMR* const timer : {armed, parked, locked}) {
                            Shot in_child;
                            EXPECT_EQ(in_child.start(timer, 5), 1U);
                            EXPECT_TRUE(in_child.called.wait());
                            TMR_Delete(timer);
                        }
                    }));
                    EXPECT_TRUE(in_child([&] {
                        for (TMR* const timer : {armed, parked, locked}) {
                            TMR_Delete(timer);
                        }
                    }));
                    pthread_mutex_unlock(&locked->mutex);
                    EXPECT_EQ(TMR_InUse(armed), 1U) << "in the parent all is as it was";
                    EXPECT_EQ(TMR_Stop(armed), 0U);
                    for (TMR* const timer : {armed, parked, locked}) {
                        TMR_Delete(timer);
                    }
                }),
                exited(0));
}

}  // namespace
