// When a watchdog starts handlers, to the second, in simulated time.
#include <cstdlib>
#include <deque>
#include <functional>
#include <vector>

#include <gmock/gmock.h>

#include "timer/common_wdm_queue.h"
#include "wdm_simulation.h"

namespace wdm = common::wdm;
using namespace harness;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr Time_ns kStart_ns = 1000 * kSecond_ns;
constexpr Time_ns kMillisecond_ns = 1'000'000;

/// A subscriber with an argument that names it, and what its handler does beside that.
struct Client {
    COMMON_wdm_Subscriber* subscriber = COMMON_wdm_Create_Subscriber(handle, this);
    std::function<void()> on_start;

    static void* handle(void* argument)
    {
        auto* const self = static_cast<Client*>(argument);
        if (self->on_start) {
            self->on_start();
        }
        return nullptr;
    }

    void subscribe(Simulation& simulation, std::uint32_t timeout_s) const
    {
        COMMON_wdm_Subscribe(simulation.watchdog, subscriber, timeout_s);
    }

    void tickle(std::uint32_t timeout_s) const { COMMON_wdm_Tickle(subscriber, timeout_s); }
};

class CommonWdmTime : public testing::Test {
protected:
    ~CommonWdmTime() override
    {
        for (const Client& client : clients) {
            COMMON_wdm_Unsubscribe(client.subscriber);
        }
    }

    Client& client() { return clients.emplace_back(); }

    /// Those whose handlers were started.
    std::vector<void*> started() const
    {
        std::vector<void*> all;
        for (const SimulatedStart& start : simulation.starts) {
            all.push_back(start.argument);
        }
        return all;
    }

    /// The seconds in which they were, from the start on.
    std::vector<Time_ns> seconds() const
    {
        std::vector<Time_ns> all;
        for (const SimulatedStart& start : simulation.starts) {
            all.push_back((start.time_ns - kStart_ns) / kSecond_ns);
        }
        return all;
    }

    /// Something happens so many milliseconds after the start.
    void at_ms(Time_ns time_ms, std::function<void()> event)
    {
        simulation.at(kStart_ns + time_ms * kMillisecond_ns, std::move(event));
    }

    /// Something happens at that reading of the clock, before it is read.
    void read_until(int reading, std::function<void()> event)
    {
        simulation.on_reading = [=, this, event = std::move(event)] {
            if (simulation.readings == reading) {
                event();
            } else {
                read_until(reading, event);
            }
        };
    }

    void run_for(Time_ns seconds) { simulation.run_until(kStart_ns + seconds * kSecond_ns); }

    Simulation simulation{kStart_ns};
    std::deque<Client> clients;
};

// In its second, once.

TEST_F(CommonWdmTime, DeadlineIsMetInItsSecondWhereverInASecondItWasSet)
{
    constexpr Time_ns kPhases_ns[] = {0,           1,           250'000'000, 749'999'999,
                                      750'000'001, 995'000'000, 999'500'000, 999'999'999};
    constexpr Time_ns kLate_ns[] = {0, 60'000, 100'000'000, 249'000'000};
    // Each at a second of its own, after the ones before.
    Time_ns second = 1;
    std::vector<Time_ns> expected;
    for (const Time_ns phase_ns : kPhases_ns) {
        for (const Time_ns late_ns : kLate_ns) {
            for (const std::uint32_t timeout_s : {1U, 2U, 3U}) {
                simulation.at(kStart_ns + second * kSecond_ns + phase_ns, [=, this] {
                    simulation.late_ns = late_ns;
                    client().subscribe(simulation, timeout_s);
                });
                expected.push_back(second + timeout_s);
                second += 10;
            }
        }
    }
    run_for(second);
    EXPECT_EQ(seconds(), expected);
}

TEST_F(CommonWdmTime, LeftAloneItFiresOnceAndTickledItDoesNot)
{
    Client& left_alone = client();
    Client& tickled = client();
    Client& unsubscribed = client();
    at_ms(500, [&] {
        for (Client* const each : {&tickled, &left_alone, &unsubscribed}) {
            each->subscribe(simulation, 3);
        }
    });
    for (int second = 1; second < 60; ++second) {
        at_ms(Time_ns{1000} * second, [&] { tickled.tickle(3); });
    }
    at_ms(600, [&] {
        COMMON_wdm_Unsubscribe(unsubscribed.subscriber);
        unsubscribed.subscriber = nullptr;
    });
    run_for(60);
    EXPECT_THAT(started(), ElementsAre(&left_alone));
    EXPECT_THAT(seconds(), ElementsAre(3));
    EXPECT_EQ(left_alone.subscriber->fired, 1U);
    EXPECT_EQ(left_alone.subscriber->holders, wdm::kClientHold);
    EXPECT_EQ(tickled.subscriber->fired, 0U);
}

TEST_F(CommonWdmTime, LaterSubscribersDoNotPostponeADeadline)
{
    Client& first = client();
    at_ms(300, [&] { first.subscribe(simulation, 3); });
    for (int i = 4; i < 60; ++i) {
        at_ms(Time_ns{100} * i, [&] { client().subscribe(simulation, 3600); });
    }
    run_for(10);
    EXPECT_THAT(started(), ElementsAre(&first));
    EXPECT_THAT(seconds(), ElementsAre(3));
}

TEST_F(CommonWdmTime, WaitThatIsInterruptedIsResumed)
{
    at_ms(300, [&] { client().subscribe(simulation, 3); });
    for (const Time_ns time_ms : {300, 301, 1299, 2999}) {
        at_ms(time_ms, [&] { simulation.interrupt(); });
    }
    run_for(10);
    EXPECT_THAT(seconds(), ElementsAre(3));
}

TEST_F(CommonWdmTime, DeadlineMovedFartherIsMetThere)
{
    Client& moved = client();
    at_ms(0, [&] { moved.subscribe(simulation, 3); });
    at_ms(2999, [&] { moved.tickle(10); });
    run_for(60);
    EXPECT_THAT(seconds(), ElementsAre(12));
}

TEST_F(CommonWdmTime, HandlerSubscribesAnewAndIsStartedOnceForEachDeadline)
{
    Client& again = client();
    again.on_start = [&] {
        if (simulation.starts.size() < 4) {
            again.subscribe(simulation, 2);
        }
    };
    at_ms(700, [&] { again.subscribe(simulation, 2); });
    run_for(60);
    EXPECT_THAT(seconds(), ElementsAre(2, 4, 6, 8));
    EXPECT_THAT(simulation.order(), Not(Contains(again.subscriber)));
}

// Many with one deadline.

TEST_F(CommonWdmTime, AllOfOneSecondFireHoweverLongTheirThreadsTakeToStart)
{
    constexpr int kCount = 20'000;
    simulation.late_ns = 249 * kMillisecond_ns;
    simulation.starting_ns = 40'000;  // 0.8 s for all of them
    at_ms(900, [&] {
        for (int i = 0; i < kCount; ++i) {
            client().subscribe(simulation, 2);
        }
    });
    run_for(10);
    std::vector<void*> expected;
    for (Client& each : clients) {
        expected.push_back(&each);
    }
    EXPECT_EQ(started(), expected) << "in the order in which they were subscribed";
    EXPECT_THAT(simulation.order(), ElementsAre(nullptr, nullptr)) << "the anchor and the end";
}

TEST_F(CommonWdmTime, HandlersStartWhenTheQueueIsClear)
{
    for (int i = 0; i < 3; ++i) {
        Client& each = client();
        each.on_start = [&] {
            EXPECT_THAT(simulation.order(), Not(Contains(each.subscriber)));
            EXPECT_EQ(each.subscriber->holders, wdm::kClientHold);
            EXPECT_EQ(each.subscriber->fired, 1U);
        };
    }
    at_ms(0, [&] {
        for (const Client& each : clients) {
            each.subscribe(simulation, 1);
            each.subscribe(simulation, 1);  // takes another place
        }
    });
    run_for(5);
    EXPECT_THAT(simulation.starts, SizeIs(3));
}

TEST_F(CommonWdmTime, RecordsMayBeReleasedByTheirHandlers)
{
    for (int i = 0; i < 6; ++i) {
        Client& each = client();
        each.on_start = [&each, i] {  // the address sanitizer watches
            if (i % 2 == 0) {
                COMMON_wdm_Unsubscribe(each.subscriber);
            } else {
                std::free(each.subscriber);
            }
            each.subscriber = nullptr;
        };
    }
    at_ms(0, [&] {
        for (const Client& each : clients) {
            each.subscribe(simulation, 1);
        }
    });
    run_for(5);
    EXPECT_THAT(simulation.starts, SizeIs(6));
}

TEST_F(CommonWdmTime, OneThatIsUnsubscribedWhileHandlersStartIsNotStarted)
{
    Client& first = client();
    Client& second = client();
    first.on_start = [&] {
        COMMON_wdm_Unsubscribe(second.subscriber);
        second.subscriber = nullptr;
    };
    at_ms(0, [&] {
        first.subscribe(simulation, 1);
        second.subscribe(simulation, 1);
    });
    run_for(5);
    EXPECT_THAT(started(), ElementsAre(&first));
}

TEST_F(CommonWdmTime, OneThatIsUnsubscribedWhileTheMonitorWaitsForItIsNotStarted)
{
    Client& only = client();
    at_ms(0, [&] { only.subscribe(simulation, 2); });
    at_ms(1500, [&] {
        COMMON_wdm_Unsubscribe(only.subscriber);
        EXPECT_THAT(simulation.order(), Contains(only.subscriber)) << "its node is still there";
        only.subscriber = nullptr;
    });
    at_ms(2900, [&] { EXPECT_THAT(simulation.order(), ElementsAre(nullptr)); });
    run_for(5);
    EXPECT_THAT(simulation.starts, IsEmpty());
}

TEST_F(CommonWdmTime, OneThatIsUnsubscribedTwiceIsFreedOnce)
{
    Client& twice = client();
    at_ms(0, [&] { twice.subscribe(simulation, 2); });
    at_ms(500, [&] {  // its node is still there; the address sanitizer watches
        COMMON_wdm_Unsubscribe(twice.subscriber);
        COMMON_wdm_Unsubscribe(twice.subscriber);
        EXPECT_EQ(twice.subscriber->holders, 1U) << "the node";
        twice.subscriber = nullptr;
    });
    run_for(5);
    EXPECT_THAT(simulation.starts, IsEmpty());
}

// Nearer than the monitor knows.

TEST_F(CommonWdmTime, DeadlineBroughtNearerPassesUnseenUnlessTheMonitorLooks)
{
    Client& nearer = client();
    at_ms(0, [&] { nearer.subscribe(simulation, 100); });
    at_ms(1000, [&] { nearer.tickle(5); });
    at_ms(99'000, [&] { EXPECT_THAT(simulation.starts, IsEmpty()); });
    run_for(200);
    EXPECT_THAT(simulation.starts, IsEmpty()) << "a second that has passed is not made up for";
}

TEST_F(CommonWdmTime, DeadlineBroughtNearerIsMetWhenTheMonitorLooksForAnother)
{
    Client& nearer = client();
    Client& other = client();
    at_ms(0, [&] {
        nearer.subscribe(simulation, 100);
        other.subscribe(simulation, 3);
    });
    at_ms(1000, [&] { nearer.tickle(5); });
    run_for(200);
    EXPECT_THAT(started(), ElementsAre(&other, &nearer));
    EXPECT_THAT(seconds(), ElementsAre(3, 6));
}

TEST_F(CommonWdmTime, NewSubscriberInsteadOfOneBroughtNearerIsMet)
{
    Client& before = client();
    Client& instead = client();
    at_ms(0, [&] { before.subscribe(simulation, 100); });
    at_ms(1000, [&] {
        COMMON_wdm_Unsubscribe(before.subscriber);
        before.subscriber = nullptr;
        instead.subscribe(simulation, 5);
    });
    run_for(200);
    EXPECT_THAT(started(), ElementsAre(&instead));
    EXPECT_THAT(seconds(), ElementsAre(6));
}

// What a look at the queue costs.

TEST_F(CommonWdmTime, ScanOfTenThousandReadsTheClockOnce)
{
    at_ms(0, [&] {
        for (int i = 0; i < 10'000; ++i) {
            client().subscribe(simulation, 3600);
        }
    });
    at_ms(100, [&] {
        simulation.readings = 0;
        simulation.waits = 0;
        simulation.interrupt();
    });
    at_ms(200, [&] {
        EXPECT_EQ(simulation.waits, 1);
        EXPECT_EQ(simulation.readings, 3) << "after the wait, for the scan, and before the wait";
    });
    run_for(10);
}

/// Clients who subscribe faster than it gets on could keep it from the tail.
TEST_F(CommonWdmTime, LongScanReadsTheClockNowAndThen)
{
    at_ms(0, [&] {
        for (int i = 0; i < 40'000; ++i) {
            client().subscribe(simulation, 3600);
        }
    });
    at_ms(100, [&] {
        simulation.readings = 0;
        simulation.interrupt();
    });
    at_ms(200, [&] { EXPECT_EQ(simulation.readings, 5); });
    run_for(10);
}

TEST_F(CommonWdmTime, SecondThatBeginsDuringAScanIsMet)
{
    // At which of the readings: after the wait, for the scan, or before the next wait.
    for (const int reading : {1, 2, 3}) {
        const Time_ns start_ms = Time_ns{10'000} * reading;
        at_ms(start_ms, [this] { client().subscribe(simulation, 3); });
        at_ms(start_ms + 2900, [=, this] {
            const int begins = simulation.readings + reading;
            read_until(begins, [this] { simulation.now_ns += 400 * kMillisecond_ns; });
            simulation.interrupt();
        });
    }
    run_for(50);
    EXPECT_THAT(seconds(), ElementsAre(13, 23, 33));
}

/// It is noticed before the wait, which would be one of years.
TEST_F(CommonWdmTime, SecondThatPassesDuringAScanIsMissedAndNotWaitedFor)
{
    Client& missed = client();
    at_ms(0, [&] { missed.subscribe(simulation, 3); });
    at_ms(1000, [&] {
        const int before_wait = simulation.readings + 3;
        read_until(before_wait, [this] { simulation.now_ns += 5 * kSecond_ns; });
        simulation.interrupt();
    });
    at_ms(8000, [&] { missed.tickle(2); });
    run_for(50);
    EXPECT_THAT(seconds(), ElementsAre(10));
}

/// The scan goes on from there, with a clock of long ago.
TEST_F(CommonWdmTime, DeadlineThatIsSetInALongWaitIsMet)
{
    at_ms(0, [&] { client().subscribe(simulation, 3600); });
    for (const std::uint32_t timeout_s : {1U, 2U, 7U}) {
        const Time_ns start_s = Time_ns{100} * timeout_s;
        at_ms(start_s * 1000 + 999, [=, this] { client().subscribe(simulation, timeout_s); });
    }
    run_for(2000);
    EXPECT_THAT(seconds(), ElementsAre(101, 202, 707));
}

TEST_F(CommonWdmTime, QueueThatGrowsIsScannedFromItsBeginningNowAndThen)
{
    Client& first = client();
    at_ms(0, [&] { first.subscribe(simulation, 3600); });
    at_ms(1, [&] {
        COMMON_wdm_Unsubscribe(first.subscriber);
        first.subscriber = nullptr;
    });
    for (int i = 2; i <= 200; ++i) {
        at_ms(i, [this] { client().subscribe(simulation, 3600); });
    }
    // The anchor, the first one, and one for each millisecond from the second on.
    at_ms(60, [this] { EXPECT_THAT(simulation.order(), SizeIs(2 + 59)); });
    at_ms(150, [this] { EXPECT_THAT(simulation.order(), SizeIs(1 + 149)) << "it is taken out"; });
    run_for(10);
    EXPECT_THAT(simulation.starts, IsEmpty());
}

// A second that was missed.

TEST_F(CommonWdmTime, MissedDeadlineIsNotMadeUpForUntilTickledAgain)
{
    constexpr Time_ns kPhases_ns[] = {0, 1, 500'000'000, 750'000'001, 999'500'000, 999'999'999};
    Client* const all[] = {&client(), &client(), &client(), &client(), &client(), &client()};
    std::vector<Time_ns> expected;
    for (std::size_t i = 0; i < std::size(all); ++i) {
        const Time_ns start_ms = static_cast<Time_ns>(i) * 100'000;
        at_ms(start_ms, [this, each = all[i]] { each->subscribe(simulation, 2); });
        // The wait for it ends much later than it should.
        at_ms(start_ms + 1000,
              [this, late_ns = kPhases_ns[i]] { simulation.late_ns = 5 * kSecond_ns + late_ns; });
        at_ms(start_ms + 10'000, [this] { simulation.late_ns = 60'000; });
        at_ms(start_ms + 50'300, [each = all[i]] { each->tickle(2); });
        expected.push_back(start_ms / 1000 + 52);
    }
    run_for(1000);
    EXPECT_EQ(seconds(), expected);
}

TEST_F(CommonWdmTime, MissedOneIsLookedAtEverySecond)
{
    Client& missed = client();
    Client& far = client();
    at_ms(0, [&] {
        missed.subscribe(simulation, 0xFFFF'FFFF);  // the second before this one
        far.subscribe(simulation, 300);
    });
    at_ms(100'000, [&] { EXPECT_NEAR(simulation.waits, 100, 2); });
    at_ms(100'999, [&] { missed.tickle(1); });
    at_ms(102'000, [&] { simulation.waits = 0; });
    at_ms(299'000, [&] { EXPECT_LE(simulation.waits, 1) << "nobody is missed any more"; });
    run_for(400);
    EXPECT_THAT(started(), ElementsAre(&missed, &far));
    EXPECT_THAT(seconds(), ElementsAre(101, 300));
}

TEST_F(CommonWdmTime, MissedOneMayBeUnsubscribed)
{
    Client& missed = client();
    at_ms(0, [&] { missed.subscribe(simulation, 0xFFFF'FFFF); });
    at_ms(5000, [&] {
        COMMON_wdm_Unsubscribe(missed.subscriber);
        missed.subscriber = nullptr;
    });
    at_ms(7000, [&] { EXPECT_THAT(simulation.order(), ElementsAre(nullptr)); });
    run_for(10);
    EXPECT_THAT(simulation.starts, IsEmpty());
}

// The clock.

TEST_F(CommonWdmTime, ClockThatFailsIsAskedAgainInASecond)
{
    Client& watched = client();
    at_ms(0, [&] { watched.subscribe(simulation, 20); });
    at_ms(1500, [&] {
        simulation.clock_fails = true;
        simulation.interrupt();
    });
    at_ms(2000, [&] { simulation.waits = 0; });
    at_ms(12'000, [&] {
        EXPECT_THAT(simulation.waits, testing::AllOf(testing::Ge(9), testing::Le(11)));
        simulation.clock_fails = false;
    });
    run_for(30);
    EXPECT_THAT(seconds(), ElementsAre(20));
}

// Subscribing.

/// Otherwise a monitor that still has it in its queue could start the handler again.
TEST_F(CommonWdmTime, ExpiredOneGetsItsNewDeadlineBeforeItIsWatchedAgain)
{
    Client& expired = client();
    expired.subscriber->fired = 1;
    bool asked = false;
    simulation.on_reading = [&] {
        asked = true;
        EXPECT_EQ(expired.subscriber->fired, 1U);
    };
    expired.subscribe(simulation, 2);
    EXPECT_TRUE(asked);
    EXPECT_EQ(expired.subscriber->fired, 0U);
    run_for(5);
    EXPECT_THAT(seconds(), ElementsAre(2));
}

TEST_F(CommonWdmTime, OnlyAMonitorThatWaitsIsWoken)
{
    client().subscribe(simulation, 10);
    client().subscribe(simulation, 10);
    EXPECT_EQ(simulation.wakes, 0);
    at_ms(2000, [&] {
        client().subscribe(simulation, 10);
        EXPECT_EQ(simulation.wakes, 1);
    });
    run_for(5);
}

}  // namespace
