// The deadlines of very many subscribers, and of a clock that has run for 136 years, in simulated
// time.
#include <algorithm>
#include <deque>
#include <string>

#include "../timer/wdm_simulation.h"
#include "limits.h"

using namespace harness;

namespace {

/// A subscriber that is watched from a time on; it is its handler's argument.
struct Client {
    Time_ns second = 0;  ///< in which its handler is to be started, from the clock's origin on
    int starts = 0;
    COMMON_wdm_Subscriber* subscriber = COMMON_wdm_Create_Subscriber(handle, this);

    static void* handle(void* /*argument*/) { return nullptr; }
};

/// Subscribes clients a millisecond apart, with time-outs from 1 to 60 seconds, and runs until all
/// of them are over. How many handlers were started once and in their second.
std::int64_t started_in_their_second(Time_ns start_ns, std::deque<Client>& clients)
{
    constexpr Time_ns kMillisecond_ns = 1'000'000;
    Simulation simulation(start_ns);
    Time_ns time_ns = start_ns;
    std::uint32_t timeout_s = 0;
    for (Client& client : clients) {
        time_ns += kMillisecond_ns;
        timeout_s = timeout_s % 60 + 1;
        simulation.at(time_ns, [&, timeout_s] {
            client.second = simulation.now_ns / kSecond_ns + timeout_s;
            COMMON_wdm_Subscribe(simulation.watchdog, client.subscriber, timeout_s);
        });
    }
    simulation.run_until(time_ns + 100 * kSecond_ns);
    std::int64_t in_time = 0;
    for (const SimulatedStart& start : simulation.starts) {
        Client& client = *static_cast<Client*>(start.argument);
        ++client.starts;
        in_time += client.starts == 1 && start.time_ns / kSecond_ns == client.second ? 1 : 0;
    }
    for (const Client& client : clients) {
        COMMON_wdm_Unsubscribe(client.subscriber);
    }
    return in_time;
}

TEST(WatchdogLimits, EachOfManyDeadlinesIsMetInItsSecond)
{
    const auto count = load<std::size_t>(2'000, 100'000);
    std::deque<Client> clients(count);
    const std::int64_t in_time = started_in_their_second(1'000 * kSecond_ns, clients);
    promise(number(static_cast<std::int64_t>(count)) +
                " subscribers, 1,000 more each second, in simulated time",
            "a handler is started once, in the second of its deadline",
            counted(in_time, static_cast<std::int64_t>(count)),
            in_time == static_cast<std::int64_t>(count));
}

TEST(WatchdogLimits, ManyOfOneSecondAreStartedTogether)
{
    const auto count = load<std::size_t>(1'000, 10'000);
    std::deque<Client> clients(count);
    Simulation simulation;
    simulation.starting_ns = 50'000;
    for (const Client& client : clients) {
        COMMON_wdm_Subscribe(simulation.watchdog, client.subscriber, 10);
    }
    simulation.run_until(simulation.now_ns + 20 * kSecond_ns);
    for (const Client& client : clients) {
        COMMON_wdm_Unsubscribe(client.subscriber);
    }
    const auto started = static_cast<std::int64_t>(simulation.starts.size());
    const double row = simulation.starts.empty()
                           ? 0
                           : static_cast<double>(simulation.starts.back().time_ns -
                                                 simulation.starts.front().time_ns) /
                                 static_cast<double>(simulation.starting_ns);
    promise(number(static_cast<std::int64_t>(count)) +
                " subscribers of one second, in simulated time",
            "all are picked out together, and their handlers start one after the other",
            counted(started, static_cast<std::int64_t>(count)) + ", the last after " +
                number(static_cast<std::int64_t>(row)) + " starts of a thread",
            started == static_cast<std::int64_t>(count) && row < static_cast<double>(count));
}

TEST(WatchdogLimits, DeadlinesBeyondAWrappedCountOfSecondsAreMet)
{
    constexpr Time_ns kWrap_ns = (Time_ns{1} << 32) * kSecond_ns;
    const auto count = load<std::size_t>(2'000, 60'000);
    std::deque<Client> clients(count);
    const Time_ns half_ns = static_cast<Time_ns>(count) / 2 * 1'000'000;
    const std::int64_t in_time = started_in_their_second(kWrap_ns - half_ns, clients);
    promise(number(static_cast<std::int64_t>(count)) +
                " subscribers around second 2^32 of the clock, in simulated time",
            "a handler is started once, in the second of its deadline",
            counted(in_time, static_cast<std::int64_t>(count)),
            in_time == static_cast<std::int64_t>(count));
}

}  // namespace
