// Client descriptors: which number is given out, and every way in which that ends the process.
#include "client_descriptor.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "forked.h"
#include "fresh_process.h"
#include "log_expect.h"

namespace {

using namespace harness;
using fault::Call;
using testing::ElementsAre;

Report said(const char* function, const char* message)
{
    return harness::said(COMMON_LogLevelError, "CLDES", "client_descriptor", function, message);
}

const Report kPanic = harness::said(COMMON_LogLevelCritical, "CLDES", "client_descriptor",
                                    "CommonPanic", "*** Common Panic: critical failure ***");

void expect_panic(const Report& first, const std::function<void()>& body)
{
    const Outcome outcome = run_fresh([&] {
        std::atexit([] { std::fputs("handler", stdout); });
        body();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out, "handler") << "exit handlers did not run";
    ASSERT_THAT(outcome.log, ElementsAre(first, kPanic));
    EXPECT_THAT(outcome.log.back().raw,
                testing::EndsWith("*** Common Panic: critical failure ***\n"));
}

FRESH_TEST(ClientDescriptor, LowestNumberFirst)
{
    EXPECT_EQ(Allocate_Descriptor(), 1);
    EXPECT_EQ(Allocate_Descriptor(), 2);
    EXPECT_EQ(Allocate_Descriptor(), 3);
    EXPECT_EQ(Deallocate_Descriptor(2), 0);
    EXPECT_EQ(Allocate_Descriptor(), 2);
    EXPECT_EQ(Allocate_Descriptor(), 4);
    EXPECT_EQ(Deallocate_Descriptor(1), 0);
    EXPECT_EQ(Allocate_Descriptor(), 1);
}

FRESH_TEST(ClientDescriptor, NumbersThatAreNotInUseAreIgnored)
{
    EXPECT_EQ(Deallocate_Descriptor(1), 0);
    EXPECT_EQ(Allocate_Descriptor(), 1);
    EXPECT_EQ(Allocate_Descriptor(), 2);
    for (const std::int32_t unknown : {3, 0, -1, INT32_MIN, INT32_MAX, INT32_MAX - 1}) {
        EXPECT_EQ(Deallocate_Descriptor(unknown), 0);
    }
    EXPECT_EQ(Deallocate_Descriptor(2), 0);
    EXPECT_EQ(Deallocate_Descriptor(2), 0);
    EXPECT_EQ(Allocate_Descriptor(), 2);
    EXPECT_EQ(Allocate_Descriptor(), 3);
}

FRESH_TEST(ClientDescriptor, LastOneLeavesNothingBehind)
{
    const long blocks = fault::outstanding_blocks();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Allocate_Descriptor(), 1);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
        EXPECT_EQ(Deallocate_Descriptor(1), 0);
        EXPECT_EQ(fault::outstanding_blocks(), blocks);
    }
}

FRESH_TEST(ClientDescriptor, TableChangesItsSizeWithEachCall)
{
    for (int i = 1; i <= 100; ++i) {
        (void)Allocate_Descriptor();
        EXPECT_EQ(fault::calls(Call::realloc), i);
    }
    Deallocate_Descriptor(101);
    EXPECT_EQ(fault::calls(Call::realloc), 100);
    for (int i = 1; i <= 100; ++i) {
        Deallocate_Descriptor(i);
        EXPECT_EQ(fault::calls(Call::realloc), 100 + i);
    }
    EXPECT_EQ(fault::calls(Call::malloc), 0);
}

// --------------------------------------------------------------------------------- against a model

std::int32_t lowest_missing(const std::set<std::int32_t>& in_use)
{
    std::int32_t number = 1;
    for (const std::int32_t used : in_use) {
        if (used != number) {
            break;
        }
        ++number;
    }
    return number;
}

void compare_with_a_set(unsigned seed)
{
    run_silently([seed] {
        std::mt19937 random(seed);
        std::set<std::int32_t> in_use;
        for (int step = 0; step < 20'000; ++step) {
            // The table grows and shrinks in turns.
            const bool growing = step / 500 % 2 == 0;
            if (random() % 100 < (growing ? 70U : 30U)) {
                const std::int32_t expected = lowest_missing(in_use);
                ASSERT_EQ(Allocate_Descriptor(), expected) << "seed " << seed << " step " << step;
                in_use.insert(expected);
            } else if (!in_use.empty() && random() % 10 != 0) {
                const auto one = std::next(in_use.begin(),
                                           static_cast<std::ptrdiff_t>(random() % in_use.size()));
                ASSERT_EQ(Deallocate_Descriptor(*one), 0);
                in_use.erase(one);
            } else {
                const auto any = static_cast<std::int32_t>(random() % 300);
                ASSERT_EQ(Deallocate_Descriptor(any), 0);
                in_use.erase(any);
            }
        }
    });
}

TEST(ClientDescriptor, BehavesAsASetOfNumbers)
{
    compare_with_a_set(4711);
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    compare_with_a_set(seed);
}

// ----------------------------------------------------------------------------------------- threads

FRESH_TEST(ClientDescriptor, ThreadsGetDifferentNumbers)
{
    constexpr int kThreads = 4;
    constexpr int kEach = 500;
    std::vector<std::int32_t> numbers[kThreads];
    std::vector<std::thread> threads;
    for (auto& mine : numbers) {
        threads.emplace_back([&mine] {
            for (int i = 0; i < kEach; ++i) {
                mine.push_back(Allocate_Descriptor());
                if (i % 3 == 0) {
                    Deallocate_Descriptor(mine.back());
                    mine.pop_back();
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::set<std::int32_t> all;
    std::size_t count = 0;
    for (const auto& mine : numbers) {
        count += mine.size();
        all.insert(mine.begin(), mine.end());
    }
    EXPECT_EQ(all.size(), count);
    EXPECT_EQ(Allocate_Descriptor(), lowest_missing(all));
}

FRESH_TEST(ClientDescriptor, ForkedChildGoesOnWithItsCopy)
{
    (void)Allocate_Descriptor();
    (void)Allocate_Descriptor();
    Deallocate_Descriptor(1);
    in_child([] {
        EXPECT_EQ(Allocate_Descriptor(), 1);
        EXPECT_EQ(Allocate_Descriptor(), 3);
    });
    EXPECT_EQ(Allocate_Descriptor(), 1);
    EXPECT_EQ(Allocate_Descriptor(), 3);
}

// Without an answer to fork, some child waits for ever for a lock that nobody holds.
FRESH_TEST(ClientDescriptor, ForkWhileOthersUseTheTable)
{
    std::atomic<bool> stop{false};
    (void)Allocate_Descriptor();
    std::thread busy([&] {
        while (!stop) {
            Deallocate_Descriptor(Allocate_Descriptor());
        }
    });
    for (int i = 0; i < 100; ++i) {
        in_child([] {
            const std::int32_t first = Allocate_Descriptor();
            const std::int32_t second = Allocate_Descriptor();
            EXPECT_NE(first, second);
            EXPECT_GT(std::min(first, second), 1);
        });
    }
    stop = true;
    busy.join();
}

// ---------------------------------------------------------------------------------------- failures

TEST(ClientDescriptor, LockThatFailsIsAPanic)
{
    const auto failed = said("LockDescriptor", "Failed to lock descriptor mutex.");
    expect_panic(failed, [] {
        fault::fail(Call::pthread_mutex_lock);
        (void)Allocate_Descriptor();
    });
    expect_panic(failed, [] {
        (void)Allocate_Descriptor();
        fault::fail(Call::pthread_mutex_lock);
        Deallocate_Descriptor(1);
    });
}

TEST(ClientDescriptor, UnlockThatFailsIsAPanic)
{
    const auto failed = said("UnlockDescriptor", "Failed to unlock descriptor mutex.");
    expect_panic(failed, [] {
        fault::fail(Call::pthread_mutex_unlock);
        (void)Allocate_Descriptor();
    });
    expect_panic(failed, [] {
        fault::fail(Call::pthread_mutex_unlock);
        Deallocate_Descriptor(1);
    });
}

TEST(ClientDescriptor, NoMemoryIsAPanic)
{
    expect_panic(said("Allocate_Descriptor", "Couldn't reallocate descriptor buffer"), [] {
        (void)Allocate_Descriptor();
        fault::fail(Call::realloc);
        (void)Allocate_Descriptor();
    });
    expect_panic(said("Deallocate_Descriptor", "Couldn't reallocate descriptor buffer"), [] {
        (void)Allocate_Descriptor();
        (void)Allocate_Descriptor();
        fault::fail(Call::realloc);
        Deallocate_Descriptor(1);
    });
}

// The lock is recursive: what runs at exit may still use the table.
TEST(ClientDescriptor, ExitHandlersOfAPanicCanUseTheTable)
{
    const Outcome outcome = run_fresh([] {
        std::atexit([] { std::printf("%d", Deallocate_Descriptor(7)); });
        fault::fail(Call::realloc);
        (void)Allocate_Descriptor();
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out, "0");
}

TEST(ClientDescriptor, ExitHandlersOfAPanicFindTheTableWhole)
{
    const Outcome outcome = run_fresh([] {
        std::atexit([] {
            std::printf("%d ", Allocate_Descriptor());
            Deallocate_Descriptor(3);
            std::printf("%d ", Allocate_Descriptor());
            std::printf("%d", Allocate_Descriptor());
        });
        for (int i = 0; i < 3; ++i) {
            (void)Allocate_Descriptor();
        }
        fault::fail(Call::realloc);
        Deallocate_Descriptor(2);
    });
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out, "2 3 4");
}

}  // namespace
