// What the lists and the map cost, against the C++ library, GLib and loops written by hand.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "list_by_abstractset.h"
#include "list_light.h"
#include "map.h"
#include "mem_malloc.h"
#include "memory_peers.h"
#include "pair_chase.h"
#include "support/ratio_report.h"

#if HAVE_GLIB
#include <glib.h>
#endif

namespace {

char storage;
void* const kValue = &storage;

/// Ends a benchmark whose result is wrong.
void require(benchmark::State& state, bool good)
{
    if (!good) {
        state.SkipWithError("wrong result");
    }
}

// ------------------------------------------------------------------------ push and pop at the ends

/// Pushes as many values as the argument says and pops them again, first in, first out.
void fifo_list(benchmark::State& state)
{
    LIST list = LIST_New();
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            LIST_PushBack(list, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(LIST_PopFront(list));
        }
    }
    require(state, LIST_Size(list) == 0);
    LIST_Delete(list);
}

void fifo_set(benchmark::State& state)
{
    AbsSET* const set = AbsSET_New();
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            AbsSET_PushBack(set, nullptr, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(AbsSET_ValuePopFront(set));
        }
    }
    require(state, AbsSET_Size(set) == 0);
    AbsSET_Delete(set);
}

void fifo_std(benchmark::State& state)
{
    std::list<void*> list;
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            list.push_back(kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(list.front());
            list.pop_front();
        }
    }
    require(state, list.empty());
}

/// The other direction, last in, first out, at the front.
void lifo_list(benchmark::State& state)
{
    LIST list = LIST_New();
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            LIST_PushFront(list, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(LIST_PopFront(list));
        }
    }
    require(state, LIST_Size(list) == 0);
    LIST_Delete(list);
}

void lifo_std(benchmark::State& state)
{
    std::list<void*> list;
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            list.push_front(kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(list.front());
            list.pop_front();
        }
    }
    require(state, list.empty());
}

#define SIZES ->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond)
BENCHMARK(fifo_list) SIZES;
BENCHMARK(fifo_set) SIZES;
BENCHMARK(fifo_std) SIZES;
BENCHMARK(lifo_list) SIZES;
BENCHMARK(lifo_std) SIZES;

/// A light list against the same chain of nodes by hand, in a shared object.
void fifo_light(benchmark::State& state)
{
    ListLight* const list = ListLight_New();
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            ListLight_PushBack(list, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(ListLight_PopFront(list));
        }
    }
    require(state, ListLight_Size(list) == 0);
    ListLight_Delete(list, nullptr);
}

void fifo_chain(benchmark::State& state)
{
    plain_list list{};
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            plain_push(&list, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(plain_pop(&list));
        }
    }
    require(state, list.size == 0);
}

#define ONE_AND_MANY ->Arg(1)->Arg(1'000)
BENCHMARK(fifo_light) ONE_AND_MANY;
BENCHMARK(fifo_chain) ONE_AND_MANY;

#if HAVE_GLIB
void fifo_glib(benchmark::State& state)
{
    GQueue* const queue = g_queue_new();
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            g_queue_push_tail(queue, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(g_queue_pop_head(queue));
        }
    }
    require(state, g_queue_is_empty(queue) != 0);
    g_queue_free(queue);
}

void lifo_glib(benchmark::State& state)
{
    GQueue* const queue = g_queue_new();
    for (auto _ : state) {
        for (auto i = state.range(0); i > 0; --i) {
            g_queue_push_head(queue, kValue);
        }
        for (auto i = state.range(0); i > 0; --i) {
            benchmark::DoNotOptimize(g_queue_pop_head(queue));
        }
    }
    require(state, g_queue_is_empty(queue) != 0);
    g_queue_free(queue);
}

BENCHMARK(fifo_glib) SIZES;
BENCHMARK(lifo_glib) SIZES;

// -------------------------------------------------------------------------------------------- walk

/// Through the interface: a call each for the value, null only at the end, and the step.
void walk_list(benchmark::State& state)
{
    LIST list = LIST_New();
    for (auto i = state.range(0); i > 0; --i) {
        LIST_PushBack(list, kValue);
    }
    std::int64_t count = 0;
    for (auto _ : state) {
        LIST_IndexBegin(list);
        while (const void* const value = LIST_Get(list)) {
            count += value == kValue ? 1 : 0;
            LIST_IndexNext(list);
        }
    }
    require(state, count == state.range(0) * static_cast<std::int64_t>(state.iterations()));
    while (LIST_IsEmpty(list) == 0) {
        LIST_PopFront(list);
    }
    LIST_Delete(list);
}

/// The nodes of the peer are read by the caller itself.
void walk_glib(benchmark::State& state)
{
    GList* list = nullptr;
    for (auto i = state.range(0); i > 0; --i) {
        list = g_list_prepend(list, kValue);
    }
    list = g_list_reverse(list);
    std::int64_t count = 0;
    for (auto _ : state) {
        for (const GList* node = list; node != nullptr; node = node->next) {
            count += node->data == kValue ? 1 : 0;
        }
    }
    require(state, count == state.range(0) * static_cast<std::int64_t>(state.iterations()));
    g_list_free(list);
}

BENCHMARK(walk_list) SIZES;
BENCHMARK(walk_glib) SIZES;
#endif

// -------------------------------------------------------------------------------------------- sort

constexpr std::size_t kSorted = 100'000;

const std::vector<void*>& shuffled()
{
    static const std::vector<void*> values = [] {
        static std::vector<char> addresses(kSorted);
        std::vector<void*> all;
        for (char& address : addresses) {
            all.push_back(&address);
        }
        std::shuffle(all.begin(), all.end(), std::mt19937(1));
        return all;
    }();
    return values;
}

int by_address(const void* first, const void* second)
{
    const char* const a = *static_cast<char* const*>(first);
    const char* const b = *static_cast<char* const*>(second);
    return (a > b) - (a < b);
}

void sort_list(benchmark::State& state)
{
    LIST list = LIST_New();
    std::vector<AbsSET_Entry*> records;
    for (auto _ : state) {
        state.PauseTiming();
        while (LIST_IsEmpty(list) == 0) {
            LIST_PopFront(list);
        }
        records.clear();
        for (void* const value : shuffled()) {
            LIST_PushBack(list, value);
            records.push_back(AbsSET_EntryGetBack(list));
        }
        state.ResumeTiming();
        require(state, LIST_Sort(list, by_address) == 1);
        state.PauseTiming();
        require(state,
                LIST_GetFront(list) == *std::min_element(shuffled().begin(), shuffled().end()));
        for (AbsSET_Entry* const record : records) {
            MEM_Free(record);
        }
        state.ResumeTiming();
    }
    while (LIST_IsEmpty(list) == 0) {
        LIST_PopFront(list);
    }
    LIST_Delete(list);
}

void sort_array(benchmark::State& state)
{
    std::vector<void*> values;
    for (auto _ : state) {
        state.PauseTiming();
        values = shuffled();
        state.ResumeTiming();
        std::qsort(values.data(), values.size(), sizeof values[0], by_address);
        benchmark::DoNotOptimize(values.data());
    }
    require(state, std::is_sorted(values.begin(), values.end()));
}

BENCHMARK(sort_list)->Unit(benchmark::kMicrosecond);
BENCHMARK(sort_array)->Unit(benchmark::kMicrosecond);

// --------------------------------------------------------------------------------------------- map

struct Chain {
    chase_node* first = nullptr;
    chase_node** end = &first;

    Chain() = default;
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;
    ~Chain()
    {
        while (first != nullptr) {
            chase_node* const next = first->next;
            std::free(first->pair);
            std::free(first);
            first = next;
        }
    }

    void add(const char* key, void* value)
    {
        auto* const pair = static_cast<chase_pair*>(std::malloc(sizeof(chase_pair)));
        *pair = {key, value};
        auto* const node = static_cast<chase_node*>(std::malloc(sizeof(chase_node)));
        *node = {pair, nullptr};
        *end = node;
        end = &node->next;
    }
};

/// The same loops in the program itself, where neither they nor the comparison are far away.
[[gnu::noinline]] void* chase_words_here(const chase_node* node, const void* key)
{
    for (; node != nullptr; node = node->next) {
        if (node->pair->key == key) {
            return node->pair->value;
        }
    }
    return nullptr;
}

[[gnu::noinline]] void* chase_compared_here(const chase_node* node, const void* key,
                                            int (*compare)(const void*, const void*))
{
    for (; node != nullptr; node = node->next) {
        if (compare(key, node->pair->key) == 0) {
            return node->pair->value;
        }
    }
    return nullptr;
}

const std::vector<std::string>& keys()
{
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> all;
        for (int i = 0; i < 1'000; ++i) {
            all.push_back("key " + std::to_string(i));
        }
        return all;
    }();
    return texts;
}

int by_text(const void* key, const void* stored)
{
    return std::strcmp(static_cast<const char*>(key), static_cast<const char*>(stored));
}

/// Maps and a chain with the same pairs, built while the heap is still in order.
struct Pairs {
    explicit Pairs(std::size_t count) : words(Map_New(nullptr)), texts(Map_New(by_text))
    {
        for (Map* const map : {words, texts}) {
            for (std::size_t i = 0; i < count; ++i) {
                Map_Add(map, keys()[i].c_str(), kValue);
            }
        }
        for (std::size_t i = 0; i < count; ++i) {
            chain.add(keys()[i].c_str(), kValue);
        }
    }
    Pairs(const Pairs&) = delete;
    Pairs& operator=(const Pairs&) = delete;
    ~Pairs()
    {
        Map_Delete(words);
        Map_Delete(texts);
    }

    Map* words;
    Map* texts;
    Chain chain;
};

const Pairs& pairs(std::int64_t count)
{
    static const Pairs few(16);
    static const Pairs many(1'000);
    return count == 16 ? few : many;
}

/// Looks up the last of as many keys as the argument says.
template <typename Find>
void find_last(benchmark::State& state, Find find)
{
    const char* const key = keys()[static_cast<std::size_t>(state.range(0)) - 1].c_str();
    void* found = nullptr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(found = find(key));
    }
    require(state, found == kValue);
}

void find_words(benchmark::State& state)
{
    const Pairs& all = pairs(state.range(0));
    find_last(state, [&](const char* key) { return Map_Find(all.words, key); });
}

void words_shared(benchmark::State& state)
{
    const Pairs& all = pairs(state.range(0));
    find_last(state, [&](const char* key) { return chase_words(all.chain.first, key); });
}

void words_here(benchmark::State& state)
{
    const Pairs& all = pairs(state.range(0));
    find_last(state, [&](const char* key) { return chase_words_here(all.chain.first, key); });
}

void find_texts(benchmark::State& state)
{
    const Pairs& all = pairs(state.range(0));
    find_last(state, [&](const char* key) { return Map_Find(all.texts, key); });
}

void texts_shared(benchmark::State& state)
{
    const Pairs& all = pairs(state.range(0));
    find_last(state,
              [&](const char* key) { return chase_compared(all.chain.first, key, by_text); });
}

void texts_here(benchmark::State& state)
{
    const Pairs& all = pairs(state.range(0));
    find_last(state,
              [&](const char* key) { return chase_compared_here(all.chain.first, key, by_text); });
}

#define PAIRS ->Arg(16)->Arg(1'000)
BENCHMARK(find_words) PAIRS;
BENCHMARK(words_shared) PAIRS;
BENCHMARK(words_here) PAIRS;
BENCHMARK(find_texts) PAIRS;
BENCHMARK(texts_shared) PAIRS;
BENCHMARK(texts_here) PAIRS;

}  // namespace

int main(int argc, char** argv)
{
    pairs(0);
    std::vector<bench::Ratio> ratios;
    for (const std::string size : {"1000", "100000", "1000000"}) {
        for (const std::string order : {"fifo", "lifo"}) {
            const std::string ours = order + "_list/" + size;
            ratios.push_back({"LIST " + ours + " / std::list", ours, order + "_std/" + size, 1.0});
            ratios.push_back({"LIST " + ours + " / GQueue", ours, order + "_glib/" + size, 1.0});
        }
        const std::string set = "fifo_set/" + size;
        ratios.push_back({"AbsSET " + set + " / std::list", set, "fifo_std/" + size, 1.0});
        ratios.push_back({"LIST walk of " + size + " / GList loop", "walk_list/" + size,
                          "walk_glib/" + size, 3.2});
    }
    for (const std::string size : {"1", "1000"}) {
        ratios.push_back({"ListLight push + pop of " + size + " / a chain in a shared object",
                          "fifo_light/" + size, "fifo_chain/" + size, 1.25});
    }
    ratios.push_back({"LIST_Sort of 100000 / qsort of an array", "sort_list", "sort_array", 1.25});
    for (const std::string size : {"16", "1000"}) {
        for (const std::string kind : {"words", "texts"}) {
            const std::string ours = "find_" + kind + "/" + size;
            ratios.push_back({"Map " + ours + " / chase in a shared object", ours,
                              kind + "_shared/" + size, 1.05});
            ratios.push_back(
                {"Map " + ours + " / chase in the program", ours, kind + "_here/" + size, 1.05});
        }
    }
    return bench::run_and_compare(argc, argv, ratios);
}
