// What timers cost: arming and stopping against a thread for each arm, and how a thousand of them
// meet one deadline.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <vector>

#include "support/ratio_report.h"
#include "timer.h"

namespace {

constexpr std::uint32_t kLong_ms = 3'600'000;
constexpr double kLatest_ns = 10e6;  ///< after its deadline, of a thousand timers

void nothing(void* /*argument*/) {}

/// As many armed timers as the benchmark is run with.
class Armed {
public:
    explicit Armed(const benchmark::State& state)
    {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            timers_.push_back(TMR_New());
            if (TMR_Start(timers_.back(), nothing, nullptr, kLong_ms) != 1) {
                std::abort();
            }
        }
    }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    ~Armed()
    {
        for (TMR* const timer : timers_) {
            TMR_Delete(timer);
        }
    }

    TMR* next()
    {
        TMR* const timer = timers_[index_];
        index_ = index_ + 1 < timers_.size() ? index_ + 1 : 0;
        return timer;
    }

private:
    std::vector<TMR*> timers_;
    std::size_t index_ = 0;
};

/// Stops one armed timer after the other and arms it again.
void stop_and_arm(benchmark::State& state)
{
    Armed armed(state);
    for (auto _ : state) {
        TMR* const timer = armed.next();
        if (TMR_Stop(timer) != 0 || TMR_Start(timer, nothing, nullptr, kLong_ms) != 1) {
            state.SkipWithError("a timer failed");
            break;
        }
    }
}
BENCHMARK(stop_and_arm)->Arg(1)->Arg(100)->Arg(1000)->UseRealTime();

/// The same with deadlines that come before the timer's thread would wake, which it has to be told.
void stop_and_arm_earlier(benchmark::State& state)
{
    Armed armed(state);
    std::uint32_t interval_ms = kLong_ms;
    for (auto _ : state) {
        TMR* const timer = armed.next();
        --interval_ms;
        if (TMR_Stop(timer) != 0 || TMR_Start(timer, nothing, nullptr, interval_ms) != 1) {
            state.SkipWithError("a timer failed");
            break;
        }
    }
}
BENCHMARK(stop_and_arm_earlier)->Arg(1)->Arg(1000)->UseRealTime();

/// A thread made and joined for each arm, with as many timers armed beside it.
void thread_for_each(benchmark::State& state)
{
    const Armed armed(state);
    for (auto _ : state) {
        pthread_t thread{};
        if (pthread_create(
                &thread, nullptr, [](void* argument) { return argument; }, nullptr) != 0) {
            state.SkipWithError("a thread failed");
            break;
        }
        pthread_join(thread, nullptr);
    }
}
BENCHMARK(thread_for_each)->Arg(1)->Arg(100)->Arg(1000)->UseRealTime();

std::int64_t now_ns()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

struct Pages {
    long all = 0;
    long resident = 0;
};

Pages pages()
{
    Pages result;
    FILE* const file = std::fopen("/proc/self/statm", "re");
    if (file == nullptr || std::fscanf(file, "%ld %ld", &result.all, &result.resident) != 2) {
        std::abort();
    }
    std::fclose(file);
    return result;
}

struct Shot {
    std::int64_t earliest_ns;  ///< before the start
    std::int64_t latest_ns;    ///< after the start
    std::atomic<std::int64_t> called_ns{0};
};

/// Arms a thousand timers for the same moment: how late they are and what they take.
int fire_a_thousand()
{
    constexpr std::size_t kCount = 1000;
    std::vector<TMR*> timers(kCount);
    std::vector<Shot> shots(kCount);
    for (TMR*& timer : timers) {
        timer = TMR_New();
    }
    const Pages before = pages();
    const std::int64_t deadline_ns = now_ns() + 1'000'000'000;
    for (std::size_t i = 0; i < kCount; ++i) {
        const std::int64_t start_ns = now_ns();
        const auto interval_ms = static_cast<std::uint32_t>((deadline_ns - start_ns) / 1'000'000);
        const std::int64_t interval_ns = std::int64_t{interval_ms} * 1'000'000;
        if (TMR_Start(
                timers[i],
                [](void* argument) { static_cast<Shot*>(argument)->called_ns = now_ns(); },
                &shots[i], interval_ms) != 1) {
            std::fprintf(stderr, "timer_bench: timer %zu did not start\n", i);
            return 1;
        }
        shots[i].earliest_ns = start_ns + interval_ns;
        shots[i].latest_ns = now_ns() + interval_ns;
    }
    const Pages armed = pages();
    std::int64_t latest_ns = 0;
    for (Shot& shot : shots) {
        while (shot.called_ns == 0) {
            const timespec pause{0, 1'000'000};
            nanosleep(&pause, nullptr);
        }
        if (shot.called_ns < shot.earliest_ns) {
            std::fputs("timer_bench: a timer was early\n", stderr);
            return 1;
        }
        latest_ns = std::max(latest_ns, shot.called_ns - shot.earliest_ns);
    }
    const Pages fired = pages();
    for (TMR* const timer : timers) {
        TMR_Delete(timer);
    }
    const auto kib = [](long count) { return static_cast<double>(4 * count) / kCount; };
    std::printf("\n%zu timers armed for one moment: each takes %.1f KiB of memory and %.0f KiB of "
                "addresses "
                "while armed, %.1f KiB once fired\n",
                kCount, kib(armed.resident - before.resident), kib(armed.all - before.all),
                kib(fired.resident - before.resident));
    bench::print_head();
    bench::report({"latest of 1000 timers for one moment / at most", static_cast<double>(latest_ns),
                   kLatest_ns, 1.0});
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    // First, as the C library keeps the stacks of threads that have ended.
    if (fire_a_thousand() != 0) {
        return 1;
    }
    return bench::run_and_compare(
        argc, argv,
        {{"stop and arm / a thread for each, 1 armed", "stop_and_arm/1/real_time",
          "thread_for_each/1/real_time", 0.05},
         {"stop and arm / a thread for each, 100 armed", "stop_and_arm/100/real_time",
          "thread_for_each/100/real_time", 0.05},
         {"stop and arm / a thread for each, 1000 armed", "stop_and_arm/1000/real_time",
          "thread_for_each/1000/real_time", 0.05},
         {"stop and arm earlier / a thread for each, 1 armed", "stop_and_arm_earlier/1/real_time",
          "thread_for_each/1/real_time", 0},
         {"stop and arm earlier / a thread for each, 1000 armed",
          "stop_and_arm_earlier/1000/real_time", "thread_for_each/1000/real_time", 0}});
}
