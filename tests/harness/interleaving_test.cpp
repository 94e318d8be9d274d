// Each order of steps is tried once, and what goes wrong in one of them is noticed.
#include "interleaving.h"

#include <cstdint>
#include <set>
#include <string>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

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
    EXPECT_NONFATAL_FAILURE(
        interleaving::explore(0, [] { interleaving::release(const_cast<char*>("")); }),
        "was not allocated");
}

}  // namespace
