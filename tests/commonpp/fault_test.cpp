// Timers and threads whose parts cannot be had.
#include <chrono>
#include <memory>

#include <gmock/gmock.h>

#include "bodies.h"
#include "fault.h"
#include "log_expect.h"
#include "wait_until.h"

using namespace harness;
using namespace std::chrono_literals;
using commonpp::status;
using fault::Call;
using testing::ElementsAre;

namespace {

FRESH_TEST(CommonppFault, TimerWithoutMemoryIsNone)
{
    const long blocks = fault::outstanding_blocks();
    {
        // The callable's block, then the timer's.
        fault::fail(Call::malloc, 2);
        commonpp::timer timer([] {});
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(timer.native(), nullptr);
        EXPECT_FALSE(timer.in_use());
        EXPECT_FALSE(timer.stop());
        EXPECT_EQ(timer.start(1ms), status::no_resources);
    }
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

/// Cannot be kept.
struct Unkept {
    Unkept() = default;
    Unkept(const Unkept&) { throw 1; }
    void operator()() const {}
};

FRESH_TEST(CommonppFault, CallableThatCannotBeKeptLeavesNoBlock)
{
    const Unkept unkept;
    // What is thrown is in a block of its own, which the first one leaves room for.
    EXPECT_ANY_THROW(commonpp::timer{unkept});
    commonpp::thread worker;
    const long blocks = fault::outstanding_blocks();
    EXPECT_ANY_THROW(commonpp::timer{unkept});
    EXPECT_ANY_THROW(static_cast<void>(worker.start(unkept)));
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

TEST(CommonppFault, StartWithoutAThreadHoldsNothing)
{
    const Outcome outcome = well([] {
        std::atomic<int> alive{0};
        std::unique_ptr<commonpp::timer> owner;
        owner = std::make_unique<commonpp::timer>([&, kept = Counted(alive)] { owner.reset(); });
        fault::fail(Call::pthread_create);
        EXPECT_EQ(owner->start(1ms), status::failed);
        EXPECT_FALSE(owner->in_use());
        // A hold of the failed start would keep the callable.
        EXPECT_EQ(owner->start(1ms), status::success);
        EXPECT_TRUE(wait_until([&] { return alive.load() == 0; }));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(COMMON_LogLevelError, "TIMER", "timer", "TMR_Start",
                                              "Could not start timer")));
}

TEST(CommonppFault, ThreadThatCannotBeCreatedIsNone)
{
    const Outcome outcome = well([] {
        std::atomic<int> alive{0};
        commonpp::thread worker;
        fault::fail(Call::pthread_create);
        EXPECT_EQ(worker.start([kept = Counted(alive)] {}), status::failed);
        EXPECT_EQ(alive.load(), 0);
        EXPECT_FALSE(worker.joinable());
        EXPECT_EQ(worker.start([] {}), status::success);
    });
    EXPECT_THAT(
        outcome.log,
        ElementsAre(said(COMMON_LogLevelError, "", "common_thread", "COMMON_Thread_Start",
                         "Failed to create the thread with error: Resource temporarily unavailable "
                         "(11)")));
}

FRESH_TEST(CommonppFault, RegexWithoutTheCLibrarysMemoryIsAnError)
{
    fault::fail(Call::regcomp);
    const auto made = commonpp::regex::make("a");
    EXPECT_FALSE(made);
    EXPECT_STREQ(made.error().text, "Memory exhausted");
}

}  // namespace
