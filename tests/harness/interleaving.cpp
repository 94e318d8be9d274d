#include "interleaving.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <ucontext.h>

namespace harness::interleaving {
namespace {

constexpr auto kStackSize = std::size_t{256} * 1024;

/// More accesses than any order has that comes to an end.
constexpr std::uint64_t kMostSteps = 1'000'000;

struct Thread {
    ucontext_t context{};
    std::unique_ptr<char[]> stack{};
    std::function<void()> body{};
    std::function<bool()> waits_for{};
    bool done = false;

    bool can_run() const { return !done && (!waits_for || waits_for()); }
};

/// One of several threads that could go on.
struct Choice {
    std::size_t taken;
    std::size_t count;
};

struct Block {
    void* start;
    std::size_t size;
    bool is_released;
};

/// What all orders share, and what is of the running one.
struct Explorer {
    std::uint64_t orders = 0;
    unsigned most_preemptions = 0;
    std::vector<Choice> choices{};  // of the running order, and the next one up to its last choice
    std::vector<std::unique_ptr<char[]>> spare_stacks{};

    ucontext_t outside{};
    std::deque<Thread> threads{};
    std::size_t current = 0;
    std::size_t next_choice = 0;
    unsigned preemptions = 0;
    std::uint64_t steps = 0;
    std::vector<std::size_t> turns{};  // the thread of each step
    std::vector<std::size_t> able{};
    std::vector<Block> blocks{};
    /// What was loaded by the last step of the running thread, if that was all it did.
    const volatile void* last_load = nullptr;
    unsigned repetitions = 0;  ///< of that load
    bool failed = false;
};

Explorer* running = nullptr;

/// "0 1 1 0" as "0 1*2 0".
std::string text_of(const std::vector<std::size_t>& turns)
{
    std::string text;
    for (auto turn = turns.begin(); turn != turns.end();) {
        const auto end =
            std::find_if(turn, turns.end(), [=](auto other) { return other != *turn; });
        text +=
            std::to_string(*turn) + (end - turn > 1 ? "*" + std::to_string(end - turn) : "") + " ";
        turn = end;
    }
    return text;
}

void fail(const std::string& what)
{
    if (!std::exchange(running->failed, true)) {
        ADD_FAILURE() << what << ", by thread " << running->current << " in order "
                      << running->orders << ": " << text_of(running->turns);
    }
}

/// Leaves an order whose threads cannot come to their end.
void give_up(const std::string& what)
{
    fail(what);
    setcontext(&running->outside);
}

void switch_to(std::size_t thread)
{
    const std::size_t before = std::exchange(running->current, thread);
    running->last_load = nullptr;
    if (before != thread) {
        swapcontext(&running->threads[before].context, &running->threads[thread].context);
    }
}

/// Chooses who goes on: the current thread, if it can, or another one.
void choose()
{
    Explorer& its = *running;
    std::vector<std::size_t>& able = its.able;
    able.clear();
    const bool current_can = its.threads[its.current].can_run();
    if (current_can) {
        able.push_back(its.current);
    }
    if (!current_can || its.preemptions < its.most_preemptions) {
        for (std::size_t thread = 0; thread < its.threads.size(); ++thread) {
            if (thread != its.current && its.threads[thread].can_run()) {
                able.push_back(thread);
            }
        }
    }
    if (able.empty()) {
        const bool all_done = std::all_of(its.threads.begin(), its.threads.end(),
                                          [](const Thread& thread) { return thread.done; });
        if (all_done) {
            setcontext(&its.outside);
        }
        give_up("nobody can go on");
    }
    std::size_t taken = 0;
    if (able.size() > 1) {
        if (its.next_choice == its.choices.size()) {
            its.choices.push_back({0, able.size()});
        }
        Choice& choice = its.choices[its.next_choice++];
        if (choice.count != able.size()) {
            give_up("the body does not do the same each time");
        }
        taken = choice.taken;
    }
    its.preemptions += current_can && able[taken] != its.current ? 1 : 0;
    switch_to(able[taken]);
}

void run_thread()
{
    Thread& own = running->threads[running->current];
    own.body();
    own.done = true;
    choose();
}

void count_step()
{
    if (++running->steps == kMostSteps) {
        give_up("it does not end");
    }
}

/// In front of an atomic operation. A load that repeats the last step is a place of its own, as
/// what was loaded before may have been used. Further repetitions are none: a loop that looks many
/// times would have as many orders.
void step_at(const volatile void* address, bool is_load)
{
    if (running == nullptr || running->threads.empty()) {
        return;
    }
    note_access(address);
    const bool repeats = is_load && running->last_load == address;
    const unsigned repetitions = repeats ? running->repetitions + 1 : 0;
    if (repetitions < 2) {
        step();
    } else {
        count_step();
    }
    running->last_load = is_load ? address : nullptr;
    running->repetitions = repetitions;
}

/// Runs the body once. @return whether there is another order.
bool run_once(const std::function<void()>& body)
{
    Explorer& its = *running;
    ++its.orders;
    its.current = its.next_choice = 0;
    its.preemptions = 0;
    its.steps = 0;
    its.turns.clear();
    its.last_load = nullptr;
    start(body);
    swapcontext(&its.outside, &its.threads[0].context);
    for (const Block& block : its.blocks) {
        if (!block.is_released) {
            fail("memory is kept");
        }
        ::operator delete(block.start);
    }
    its.blocks.clear();
    for (Thread& thread : its.threads) {
        its.spare_stacks.push_back(std::move(thread.stack));
    }
    its.threads.clear();
    while (!its.choices.empty() && its.choices.back().taken + 1 == its.choices.back().count) {
        its.choices.pop_back();
    }
    if (its.choices.empty()) {
        return false;
    }
    ++its.choices.back().taken;
    return true;
}

}  // namespace

std::uint64_t explore(unsigned preemptions, const std::function<void()>& body)
{
    const char* const more = std::getenv("COMMON_TEST_PREEMPTIONS");
    Explorer explorer;
    explorer.most_preemptions =
        preemptions +
        (more == nullptr ? 0 : static_cast<unsigned>(std::strtoul(more, nullptr, 10)));
    running = &explorer;
    while (run_once(body) && !explorer.failed && !testing::Test::HasFailure()) {
    }
    if (testing::Test::HasFailure() && !explorer.failed) {
        ADD_FAILURE() << "in order " << explorer.orders << ": " << text_of(explorer.turns);
    }
    running = nullptr;
    return explorer.orders;
}

void start(std::function<void()> thread)
{
    Explorer& its = *running;
    Thread& started = its.threads.emplace_back();
    if (its.spare_stacks.empty()) {
        started.stack = std::make_unique<char[]>(kStackSize);
    } else {
        started.stack = std::move(its.spare_stacks.back());
        its.spare_stacks.pop_back();
    }
    started.body = std::move(thread);
    getcontext(&started.context);
    started.context.uc_stack.ss_sp = started.stack.get();
    started.context.uc_stack.ss_size = kStackSize;
    makecontext(&started.context, run_thread, 0);
}

void step()
{
    count_step();
    choose();
    running->turns.push_back(running->current);
}

void wait_until(std::function<bool()> condition)
{
    Thread& own = running->threads[running->current];
    own.waits_for = std::move(condition);
    choose();
    own.waits_for = nullptr;
}

void* allocate(std::size_t size)
{
    void* const block = ::operator new(size);
    running->blocks.push_back({block, size, false});
    return block;
}

void release(void* block)
{
    for (Block& known : running->blocks) {
        if (known.start == block) {
            if (std::exchange(known.is_released, true)) {
                give_up("memory is released twice");
            }
            return;
        }
    }
    fail("memory is released that was not allocated");
}

void note_access(const volatile void* address)
{
    if (running == nullptr) {
        return;
    }
    for (const Block& block : running->blocks) {
        const auto distance = reinterpret_cast<std::uintptr_t>(address) -
                              reinterpret_cast<std::uintptr_t>(block.start);
        if (block.is_released && distance < block.size) {
            give_up("memory is touched that was released: byte " + std::to_string(distance) +
                    " of block " + std::to_string(&block - running->blocks.data()));
        }
    }
}

}  // namespace harness::interleaving

// What compilers call for ThreadSanitizer. Theirs are the names and the types.

using harness::interleaving::note_access;
using harness::interleaving::step_at;

// NOLINTBEGIN(bugprone-reserved-identifier,bugprone-macro-parentheses,readability-non-const-parameter):
// names and parameters that compilers look for, and a type in parentheses is none.
extern "C" {

void __tsan_init();
void __tsan_func_entry(void* address);
void __tsan_func_exit();
void __tsan_init() {}
void __tsan_func_entry(void* /*address*/) {}
void __tsan_func_exit() {}

#define PLAIN(name)           \
    void name(void* address); \
    void name(void* address)  \
    {                         \
        note_access(address); \
    }
#define PLAIN_SIZES(kind) \
    PLAIN(kind##1)        \
    PLAIN(kind##2) PLAIN(kind##4) PLAIN(kind##8) PLAIN(kind##16)
PLAIN_SIZES(__tsan_read)
PLAIN_SIZES(__tsan_write)
PLAIN_SIZES(__tsan_unaligned_read)
PLAIN_SIZES(__tsan_unaligned_write)

// Of some processors: what of a block is touched starts in it.
void __tsan_read_range(void* address, std::size_t size);
void __tsan_write_range(void* address, std::size_t size);
void __tsan_read_range(void* address, std::size_t /*size*/)
{
    note_access(address);
}
void __tsan_write_range(void* address, std::size_t /*size*/)
{
    note_access(address);
}

#define CHANGE(size, type, name, builtin)                                             \
    type __tsan_atomic##size##_##name(volatile type* word, type value, int order);    \
    type __tsan_atomic##size##_##name(volatile type* word, type value, int /*order*/) \
    {                                                                                 \
        step_at(word, false);                                                         \
        return builtin(word, value, __ATOMIC_SEQ_CST);                                \
    }
#define ATOMIC(size, type)                                                                     \
    type __tsan_atomic##size##_load(const volatile type* word, int order);                     \
    type __tsan_atomic##size##_load(const volatile type* word, int /*order*/)                  \
    {                                                                                          \
        step_at(word, true);                                                                   \
        return __atomic_load_n(word, __ATOMIC_SEQ_CST);                                        \
    }                                                                                          \
    void __tsan_atomic##size##_store(volatile type* word, type value, int order);              \
    void __tsan_atomic##size##_store(volatile type* word, type value, int /*order*/)           \
    {                                                                                          \
        step_at(word, false);                                                                  \
        __atomic_store_n(word, value, __ATOMIC_SEQ_CST);                                       \
    }                                                                                          \
    CHANGE(size, type, exchange, __atomic_exchange_n)                                          \
    CHANGE(size, type, fetch_add, __atomic_fetch_add)                                          \
    CHANGE(size, type, fetch_sub, __atomic_fetch_sub)                                          \
    CHANGE(size, type, fetch_or, __atomic_fetch_or)                                            \
    CHANGE(size, type, fetch_and, __atomic_fetch_and)                                          \
    int __tsan_atomic##size##_compare_exchange_strong(volatile type* word, type* expected,     \
                                                      type value, int order, int failing);     \
    int __tsan_atomic##size##_compare_exchange_strong(volatile type* word, type* expected,     \
                                                      type value, int, int)                    \
    {                                                                                          \
        step_at(word, false);                                                                  \
        return __atomic_compare_exchange_n(word, expected, value, false, __ATOMIC_SEQ_CST,     \
                                           __ATOMIC_SEQ_CST)                                   \
                   ? 1                                                                         \
                   : 0;                                                                        \
    }                                                                                          \
    type __tsan_atomic##size##_compare_exchange_val(volatile type* word, type expected,        \
                                                    type value, int order, int failing);       \
    type __tsan_atomic##size##_compare_exchange_val(volatile type* word, type expected,        \
                                                    type value, int order, int failing)        \
    {                                                                                          \
        __tsan_atomic##size##_compare_exchange_strong(word, &expected, value, order, failing); \
        return expected;                                                                       \
    }
ATOMIC(8, unsigned char)
ATOMIC(32, unsigned)
ATOMIC(64, unsigned long)

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,bugprone-macro-parentheses,readability-non-const-parameter):
// behind what compilers look for.
