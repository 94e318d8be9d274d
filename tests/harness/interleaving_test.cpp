// Each order of steps is tried once, and what goes wrong in one of them is noticed.
#include "interleaving.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "interleaving_stepped.h"

using namespace harness;

namespace {

constexpr unsigned kAll = 1000;

/// Two threads of two steps each, as the text of who did what.
std::set<std::string> orders_of_two(unsigned preemptions)
{
    std::set<std::string> texts;
    const std::uint64_t orders = interleaving::explore(preemptions, [&] {
        std::string text;
        int running = 2;
        for (const char name : {'a', 'b'}) {
            interleaving::start([&text, &running, name] {
                for (int i = 0; i < 2; ++i) {
                    interleaving::step();
                    text += name;
                }
                --running;
            });
        }
        interleaving::wait_until([&] { return running == 0; });
        texts.insert(text);
    });
    EXPECT_GE(orders, texts.size());
    return texts;
}

TEST(Interleaving, EachOrderIsTried)
{
    EXPECT_EQ(orders_of_two(0), (std::set<std::string>{"aabb", "bbaa"}));
    EXPECT_EQ(orders_of_two(kAll),
              (std::set<std::string>{"aabb", "abab", "abba", "baab", "baba", "bbaa"}));
}

TEST(Interleaving, UpdateIsLostInSomeOrders)
{
    std::set<int> counts;
    interleaving::explore(1, [&] {
        int count = 0;
        int running = 2;
        for (int i = 0; i < 2; ++i) {
            interleaving::start([&] {
                const int before = count;
                interleaving::step();
                count = before + 1;
                --running;
            });
        }
        interleaving::wait_until([&] { return running == 0; });
        counts.insert(count);
    });
    EXPECT_EQ(counts, (std::set<int>{1, 2}));
}

/// What a look at a place with a number gives, while another thread clears it.
std::set<int> results_of(const std::function<int(std::atomic<int*>&)>& look)
{
    std::set<int> results;
    interleaving::explore(1, [&] {
        int number = 1;
        std::atomic<int*> place{&number};
        int running = 2;
        interleaving::start([&] {
            results.insert(look(place));
            --running;
        });
        interleaving::start([&] {
            clear(place);
            --running;
        });
        interleaving::wait_until([&] { return running == 0; });
    });
    return results;
}

TEST(Interleaving, ValueChangesBetweenTwoLoads)
{
    EXPECT_EQ(results_of(number_at), (std::set<int>{-1, 0, 1}));
}

TEST(Interleaving, LoadThatIsRepeatedManyTimesHasFewOrders)
{
    EXPECT_EQ(results_of([](auto& place) { return looks_until_clear(place, 64); }),
              (std::set<int>{0, 1, 64}));
}

TEST(Interleaving, ThreadsThatCannotGoOnAreNoticed)
{
    EXPECT_NONFATAL_FAILURE(
        interleaving::explore(0, [] { interleaving::wait_until([] { return false; }); }),
        "nobody can go on");
    EXPECT_NONFATAL_FAILURE(interleaving::explore(0,
                                                  [] {
                                                      for (;;) {
                                                          interleaving::step();
                                                      }
                                                  }),
                            "it does not end");
}

TEST(Interleaving, MisuseOfMemoryIsNoticed)
{
    EXPECT_NONFATAL_FAILURE(interleaving::explore(0, [] { interleaving::allocate(8); }),
                            "memory is kept");
    EXPECT_NONFATAL_FAILURE(interleaving::explore(0,
                                                  [] {
                                                      void* const block = interleaving::allocate(8);
                                                      interleaving::release(block);
                                                      interleaving::release(block);
                                                  }),
                            "released twice");
    EXPECT_NONFATAL_FAILURE(interleaving::explore(0,
                                                  [] {
                                                      void* const block = interleaving::allocate(8);
                                                      interleaving::release(block);
                                                      interleaving::note_access(block);
                                                  }),
                            "touched that was released");
    EXPECT_NONFATAL_FAILURE(interleaving::explore(0,
                                                  [] {
                                                      void* const block =
                                                          interleaving::allocate(sizeof(int));
                                                      interleaving::release(block);
                                                      plain_read(static_cast<const int*>(block));
                                                  }),
                            "touched that was released");
    EXPECT_NONFATAL_FAILURE(
        interleaving::explore(0, [] { interleaving::release(const_cast<char*>("")); }),
        "was not allocated");
}

}  // namespace
