// What checked memory and byte arrays cost, against malloc(), memset() and memcpy() in a shared
// object.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "data.h"
#include "mem_malloc.h"
#include "memory_peers.h"
#include "support/ratio_report.h"

namespace {

// ------------------------------------------------------------------------------------ zeroed
// blocks

template <void* allocate(std::uint32_t), void release(void*)>
void zeroed(benchmark::State& state)
{
    const auto size = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        void* const block = allocate(size);
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        release(block);
    }
}

/// 128 bytes are a record among many; up to 4096 the library zeroes by itself, above the C library
/// does; 1 MiB has fresh pages, if any block has.
#define SIZES ->Arg(128)->Arg(1'024)->Arg(4'096)->Arg(8'192)->Arg(1'048'576)
BENCHMARK(zeroed<MEM_Salloc, MEM_Free>)->Name("zeroed_ours") SIZES;
BENCHMARK(zeroed<plain_zeroed, plain_free>)->Name("zeroed_plain") SIZES;

#define TWO_THREADS ->Arg(128)->Threads(2)->UseRealTime()
BENCHMARK(zeroed<MEM_Salloc, MEM_Free>)->Name("zeroed_ours") TWO_THREADS;
BENCHMARK(zeroed<plain_zeroed, plain_free>)->Name("zeroed_plain") TWO_THREADS;

// -------------------------------------------------------------------------------------------
// arrays

constexpr char kBytes[4'096] = {'a', 'b', 'c'};

/// An array of as many bytes as the argument says, three quarters of them given.
void array_ours(benchmark::State& state)
{
    const auto capacity = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        DATA_Array* const array = DATA_ArrayNewWithDataLength(capacity, kBytes, capacity / 4 * 3);
        benchmark::DoNotOptimize(array->data);
        benchmark::ClobberMemory();
        DATA_ArrayDelete(array);
    }
}

void array_plain(benchmark::State& state)
{
    const auto capacity = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        plain_array* const array = plain_array_new(capacity, kBytes, capacity / 4 * 3);
        benchmark::DoNotOptimize(array->data);
        benchmark::ClobberMemory();
        plain_array_delete(array);
    }
}

#define CAPACITIES ->Arg(64)->Arg(1'000)->Arg(4'096)
BENCHMARK(array_ours) CAPACITIES;
BENCHMARK(array_plain) CAPACITIES;

/// The figures are of no use if the work is not done.
bool checks_hold()
{
    void* const block = MEM_Salloc(128);
    void* const plain = plain_zeroed(128);
    bool good = std::memcmp(block, plain, 128) == 0;
    MEM_Free(block);
    plain_free(plain);
    DATA_Array* const array = DATA_ArrayNewWithDataLength(64, kBytes, 48);
    plain_array* const peer = plain_array_new(64, kBytes, 48);
    good = good && std::memcmp(array->data, peer->data, 64) == 0 && array->length == peer->length;
    DATA_ArrayDelete(array);
    plain_array_delete(peer);
    return good;
}

}  // namespace

int main(int argc, char** argv)
{
    if (!checks_hold()) {
        std::fputs("memory_bench: the library gives wrong results\n", stderr);
        return 1;
    }
    const std::string two = "128/real_time/threads:2";
    std::vector<bench::Ratio> ratios{
        {"MEM_Salloc + MEM_Free, 128 bytes / malloc + memset", "zeroed_ours/128",
         "zeroed_plain/128", 1.05},
        {"the same, two threads", "zeroed_ours/" + two, "zeroed_plain/" + two, 1.05},
    };
    for (const std::string size : {"1024", "4096", "8192", "1048576"}) {
        ratios.push_back({"MEM_Salloc + MEM_Free, " + size + " bytes / malloc + memset",
                          "zeroed_ours/" + size, "zeroed_plain/" + size, 1.05});
    }
    for (const std::string capacity : {"64", "1000", "4096"}) {
        ratios.push_back({"DATA_Array of " + capacity + " bytes, 3/4 given / the same by hand",
                          "array_ours/" + capacity, "array_plain/" + capacity, 1.2});
    }
    return bench::run_and_compare(argc, argv, ratios);
}
