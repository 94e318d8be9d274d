// The internal functions that call the platform for mutexes and monitors: what they assert.
#include <csignal>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "thread/monitor_handler.h"
#include "thread/mutex_handler.h"

using namespace harness;

namespace {

TEST(MutexHandler, NullRecordEndsTheProcess)
{
    const Outcome outcome =
        run_fresh([] { common::mutex::common_mutexHandler(nullptr, pthread_mutex_lock); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_mutex", "common_mutexHandler", "((void *)0) != mutex"));
}

TEST(MutexHandler, NullOperationEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Mutex mutex{};
        common::mutex::common_mutexHandler(&mutex, nullptr);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_mutex", "common_mutexHandler",
                                            "((void *)0) != mutexHandler"));
}

TEST(MonitorHandler, NullRecordEndsTheProcess)
{
    const Outcome outcome =
        run_fresh([] { common::monitor::common_monitorHandler(nullptr, pthread_cond_signal); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("common_monitor", "common_monitorHandler",
                                            "((void *)0) != monitor"));
}

TEST(MonitorHandler, NullNotificationEndsTheProcess)
{
    const Outcome outcome = run_fresh([] {
        COMMON_Monitor monitor{};
        common::monitor::common_monitorHandler(&monitor, nullptr);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_monitor", "common_monitorHandler", "((void *)0) != notify"));
}

}  // namespace
