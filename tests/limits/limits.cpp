#include "limits.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <limits>
#include <pthread.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace harness {
namespace {

/// A variable of the environment as it was at the start, which fresh processes do not have.
std::string variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

const std::string scale = variable("COMMON_TEST_LIMITS");
const std::string rows = variable("COMMON_TEST_LIMITS_ROWS");

std::string rounded(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::int64_t processor_time_ns()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/// A number of the process's status file.
std::int64_t status_number(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    std::int64_t value = -1;
    while (status >> word && word != name) {
    }
    status >> value;
    return value;
}

}  // namespace

bool is_full()
{
    return scale == "full";
}

void promise(const std::string& loaded, const std::string& promised, const std::string& measured,
             bool holds, const char* file, int line)
{
    if (!holds) {
        ADD_FAILURE_AT(file, line)
            << loaded << ": promised: " << promised << "; measured: " << measured;
    }
    if (!rows.empty()) {
        const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
        std::ofstream(rows, std::ios::app)
            << test.test_suite_name() << '.' << test.name() << '\t' << loaded << '\t' << promised
            << '\t' << measured << '\t' << (holds ? "holds" : "does not hold") << std::endl;
    }
}

void promise_given_back(const std::string& loaded, const std::string& promised, std::int64_t before,
                        std::int64_t in_use, const char* file, int line)
{
    // What the test itself keeps, and the C library of blocks of each size for the next ones.
    const std::int64_t others = std::max(std::int64_t{4096}, (in_use - before) / 1000);
    const std::int64_t kept = heap_bytes() - before;
    promise(loaded, promised,
            kept < others ? "all of " + bytes(static_cast<double>(in_use - before))
                          : bytes(static_cast<double>(kept)) + " of " +
                                bytes(static_cast<double>(in_use - before)) + " are kept",
            kept < others, file, line);
}

std::string number(std::int64_t value)
{
    std::string text = std::to_string(std::abs(value));
    for (std::size_t end = text.size(); end > 3;) {
        end -= 3;
        text.insert(end, ",");
    }
    return value < 0 ? "-" + text : text;
}

std::string counted(std::int64_t count, std::int64_t of)
{
    return number(count) + " of " + number(of);
}

std::string times(double ratio)
{
    return rounded(ratio, ratio < 10 ? 1 : 0) + " times";
}

std::string bytes(double count)
{
    const char* unit = "bytes";
    for (const char* const larger : {"KiB", "MiB", "GiB"}) {
        if (std::abs(count) < 1024) {
            break;
        }
        count /= 1024;
        unit = larger;
    }
    return rounded(count, count == std::floor(count) ? 0 : 1) + " " + unit;
}

FreshSetup load_setup()
{
    FreshSetup setup;
    setup.time_limit = is_full() ? std::chrono::minutes(30) : kTimeLimit;
    return setup;
}

std::int64_t resident_bytes()
{
    return status_number("VmRSS:") * 1024;
}

double processor_ns(const std::function<void()>& work)
{
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (int i = 0; i < 3; ++i) {
        const std::int64_t before = processor_time_ns();
        work();
        least = std::min(least, processor_time_ns() - before);
    }
    return static_cast<double>(least);
}

double stack_bytes(const std::function<void()>& work)
{
    constexpr std::size_t kSize = 1 << 20;
    constexpr char kMark = 0x5A;
    auto* const stack = static_cast<char*>(std::aligned_alloc(4096, kSize));
    std::memset(stack, kMark, kSize);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack, kSize), 0);
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    EXPECT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const char* const end = stack + kSize;
    const char* const touched =
        std::find_if(static_cast<const char*>(stack), end, [](char byte) { return byte != kMark; });
    const auto size = static_cast<double>(end - touched);
    std::free(stack);
    return size;
}

}  // namespace harness
