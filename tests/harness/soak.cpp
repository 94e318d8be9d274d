#include "soak.h"

#include <atomic>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

namespace harness {
namespace {

using Clock = std::chrono::steady_clock;

/// What the process of a race says at its end.
constexpr std::string_view kSteps = "\nsteps of the race: ";

std::atomic<std::uint64_t> steps_done{0};

/// Whether a check of this process has failed. Asking the test framework is not for several
/// threads.
std::atomic<bool> has_failed{false};

std::chrono::milliseconds soak_time()
{
    const char* const text = std::getenv("COMMON_TEST_SOAK_SECONDS");
    return text == nullptr ? std::chrono::milliseconds(500)
                           : std::chrono::milliseconds(1000 * std::strtol(text, nullptr, 10));
}

void run_until(Clock::time_point end, const std::function<void()>& step)
{
    std::uint64_t done = 0;
    // Relaxed: the threads must not be kept in step by this.
    do {
        step();
        ++done;
    } while (Clock::now() < end && !has_failed.load(std::memory_order_relaxed));
    steps_done += done;
}

/// Notices failures, and writes the last line of the program.
class Listener : public testing::EmptyTestEventListener {
public:
    void OnTestPartResult(const testing::TestPartResult& result) override
    {
        if (result.failed()) {
            has_failed.store(true, std::memory_order_relaxed);
        }
    }

    void OnTestProgramEnd(const testing::UnitTest& /*program*/) override
    {
        std::printf("%" PRIu64 " steps\n", steps_done.load());
    }
};

void listen()
{
    static const bool listening = [] {
        testing::UnitTest::GetInstance()->listeners().Append(new Listener);
        return true;
    }();
    static_cast<void>(listening);
}

std::uint64_t steps_told(const std::string& out)
{
    const auto at = out.rfind(kSteps);
    return at == std::string::npos ? 0
                                   : std::strtoull(out.c_str() + at + kSteps.size(), nullptr, 10);
}

}  // namespace

void race(std::chrono::milliseconds time, const std::vector<std::function<void()>>& steps)
{
    listen();
    const auto end = Clock::now() + time;
    std::vector<std::thread> threads;
    for (const auto& step : steps) {
        threads.emplace_back([&step, end] { run_until(end, step); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

void run_race(FreshSetup setup, const RaceBody& body)
{
    listen();
    const auto time = soak_time();
    setup.time_limit = 2 * time + kTimeLimit;
    const Outcome outcome = well(setup, [&] {
        steps_done = 0;
        has_failed = false;
        body(time);
        std::printf("%s%" PRIu64 "\n", kSteps.data(), steps_done.load());
    });
    const std::uint64_t steps = steps_told(outcome.out);
    EXPECT_GT(steps, 0U) << "nothing was done";
    steps_done += steps;
}

void run_race(const RaceBody& body)
{
    run_race(FreshSetup{}, body);
}

}  // namespace harness
