// What the ring buffer and the blocking queues cost, against copies, boost::circular_buffer, a byte
// ring under one mutex, and GLib's asynchronous queue.
#include <benchmark/benchmark.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "blockq.h"
#include "common_blockQEx.h"
#include "lock_peers.h"
#include "ring_buffer.h"
#include "support/ratio_report.h"

#if HAVE_BOOST
#include <boost/circular_buffer.hpp>
#endif
#if HAVE_GLIB
#include <glib.h>
#endif

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Storage for chunks of a length: one in seven wraps.
std::uint32_t capacity_for(std::uint32_t chunk)
{
    return 3 * chunk + chunk / 2;
}

std::uint32_t chunk_of(const benchmark::State& state)
{
    auto chunk = static_cast<std::uint32_t>(state.range(0));
    // The length is not known when the loop is compiled.
    benchmark::DoNotOptimize(chunk);
    return chunk;
}

void check(benchmark::State& state, const Bytes& in, const Bytes& out)
{
    if (in != out) {
        state.SkipWithError("other bytes came out");
    }
}

Bytes counting(std::uint32_t size)
{
    Bytes bytes(size);
    for (std::uint32_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7);
    }
    return bytes;
}

// One chunk in and out.

void ring_ours(benchmark::State& state)
{
    const std::uint32_t chunk = chunk_of(state);
    const Bytes in = counting(chunk);
    Bytes out(chunk);
    Bytes storage(capacity_for(chunk));
    RingBuf ring;
    ringBufInit(&ring, storage.data(), capacity_for(chunk));
    for (auto _ : state) {
        benchmark::DoNotOptimize(ringWriteData(&ring, in.data(), chunk));
        benchmark::DoNotOptimize(ringReadData(&ring, out.data(), chunk));
        benchmark::ClobberMemory();
    }
    check(state, in, out);
}

/// The copies alone, through storage of the same size.
void ring_memcpy(benchmark::State& state)
{
    const std::uint32_t chunk = chunk_of(state);
    const Bytes in = counting(chunk);
    Bytes out(chunk);
    Bytes storage(capacity_for(chunk));
    std::uint32_t position = 0;
    for (auto _ : state) {
        std::memcpy(storage.data() + position, in.data(), chunk);
        benchmark::ClobberMemory();
        std::memcpy(out.data(), storage.data() + position, chunk);
        benchmark::ClobberMemory();
        position += chunk;
        if (position + chunk > storage.size()) {
            position = 0;
        }
    }
    check(state, in, out);
}

#define CHUNKS ->Arg(16)->Arg(256)->Arg(4096)->Arg(65536)
BENCHMARK(ring_ours) CHUNKS;
BENCHMARK(ring_memcpy) CHUNKS;

#if HAVE_BOOST
void ring_boost(benchmark::State& state)
{
    const std::uint32_t chunk = chunk_of(state);
    const Bytes in = counting(chunk);
    Bytes out(chunk);
    boost::circular_buffer<std::uint8_t> ring(capacity_for(chunk));
    for (auto _ : state) {
        ring.insert(ring.end(), in.begin(), in.end());
        std::copy(ring.begin(), ring.begin() + chunk, out.begin());
        ring.erase_begin(chunk);
        benchmark::ClobberMemory();
    }
    check(state, in, out);
}
BENCHMARK(ring_boost) CHUNKS;
#endif

// From one thread to another.

constexpr std::uint32_t kCapacity = 65'536;
constexpr std::uint32_t kBatch = 1U << 20;

class OurBlockQ {
public:
    explicit OurBlockQ(std::uint32_t) { BlockQ_Init(&queue_, storage_.data(), kCapacity); }
    OurBlockQ(const OurBlockQ&) = delete;
    OurBlockQ& operator=(const OurBlockQ&) = delete;
    ~OurBlockQ() { BlockQ_Destroy(&queue_); }
    std::uint32_t add(const std::uint8_t* data, std::uint32_t length)
    {
        return BlockQ_Add(&queue_, data, length);
    }
    std::uint32_t remove(std::uint8_t* data) { return BlockQ_Remove(&queue_, data, kCapacity); }

private:
    Bytes storage_ = Bytes(kCapacity);
    BlockQ queue_;
};

class OurBlockQEx {
public:
    explicit OurBlockQEx(std::uint32_t)
    {
        COMMON_BlockQEx_Init(&queue_, storage_.data(), kCapacity);
    }
    OurBlockQEx(const OurBlockQEx&) = delete;
    OurBlockQEx& operator=(const OurBlockQEx&) = delete;
    ~OurBlockQEx() { COMMON_BlockQEx_Destroy(&queue_); }
    std::uint32_t add(const std::uint8_t* data, std::uint32_t length)
    {
        return COMMON_BlockQEx_Add(&queue_, data, length);
    }
    std::uint32_t remove(std::uint8_t* data)
    {
        return COMMON_BlockQEx_Remove(&queue_, data, kCapacity);
    }

private:
    Bytes storage_ = Bytes(kCapacity);
    COMMON_BlockQEx queue_;
};

class MutexRing {
public:
    explicit MutexRing(std::uint32_t) { mutex_ring_init(&ring_, storage_.data(), kCapacity); }
    MutexRing(const MutexRing&) = delete;
    MutexRing& operator=(const MutexRing&) = delete;
    ~MutexRing() { mutex_ring_destroy(&ring_); }
    std::uint32_t add(const std::uint8_t* data, std::uint32_t length)
    {
        return mutex_ring_add(&ring_, data, length);
    }
    std::uint32_t remove(std::uint8_t* data) { return mutex_ring_remove(&ring_, data); }

private:
    Bytes storage_ = Bytes(kCapacity);
    mutex_ring ring_;
};

#if HAVE_GLIB
/// Blocks of bytes by their address; the length of the queue is held to the capacity of the others.
class GlibQueue {
public:
    explicit GlibQueue(std::uint32_t chunk) : queue_(g_async_queue_new_full(g_free)), chunk_(chunk)
    {
    }
    GlibQueue(const GlibQueue&) = delete;
    GlibQueue& operator=(const GlibQueue&) = delete;
    ~GlibQueue() { g_async_queue_unref(queue_); }

    std::uint32_t add(const std::uint8_t* data, std::uint32_t length)
    {
        if (g_async_queue_length(queue_) >= static_cast<gint>(kCapacity / length)) {
            return 0;
        }
        auto* const block = static_cast<std::uint8_t*>(g_malloc(length));
        std::memcpy(block, data, length);
        g_async_queue_push(queue_, block);
        return length;
    }

    std::uint32_t remove(std::uint8_t* data)
    {
        void* const block = g_async_queue_pop(queue_);
        std::memcpy(data, block, chunk_);
        g_free(block);
        return chunk_;
    }

private:
    GAsyncQueue* queue_;
    std::uint32_t chunk_;
};
#endif

/// One batch of bytes that another thread adds chunk by chunk; what does not fit comes again. The
/// reader takes what is there: a queue of bytes has no need of the producer's chunks.
template <class Queue>
void pass_on(benchmark::State& state)
{
    const std::uint32_t chunk = chunk_of(state);
    const Bytes in = counting(chunk);
    Queue queue(chunk);
    std::atomic<bool> over{false};
    std::thread producer([&] {
        std::uint32_t sent = 0;
        while (!over.load(std::memory_order_relaxed)) {
            const std::uint32_t stored = queue.add(in.data() + sent, chunk - sent);
            sent = (sent + stored) % chunk;
            if (stored == 0) {
                sched_yield();
            }
        }
    });
    Bytes out(kCapacity);
    std::uint32_t next = 0;
    bool disordered = false;
    for (auto _ : state) {
        for (std::uint32_t passed = 0; passed < kBatch;) {
            const std::uint32_t taken = queue.remove(out.data());
            disordered = disordered || out[0] != in[next];
            next = (next + taken) % chunk;
            disordered = disordered || out[taken - 1] != in[(next + chunk - 1) % chunk];
            passed += taken;
        }
    }
    over = true;
    producer.join();
    if (disordered) {
        state.SkipWithError("other bytes came out");
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t{kBatch});
}

#define PASS_ON(queue)        \
    BENCHMARK(pass_on<queue>) \
        ->Arg(16)             \
        ->Arg(64)             \
        ->Arg(256)            \
        ->Arg(1024)           \
        ->Arg(4096)           \
        ->UseRealTime()       \
        ->Unit(benchmark::kMicrosecond)
PASS_ON(OurBlockQ);
PASS_ON(OurBlockQEx);
PASS_ON(MutexRing);
#if HAVE_GLIB
PASS_ON(GlibQueue);
#endif

double goal_of(std::string_view ours, std::string_view peer, std::string_view chunk)
{
    if (ours == "OurBlockQEx" && peer == "MutexRing" && (chunk == "16" || chunk == "256")) {
        return chunk == "16" ? 0.6 : 0.7;
    }
    return 1.0;
}

std::vector<bench::Ratio> ratios()
{
    std::vector<bench::Ratio> all;
    struct Copied {
        const char* chunk;
        double goal;
    };
    for (const auto& [chunk, goal] :
         {Copied{"16", 2.2}, Copied{"256", 1.2}, Copied{"4096", 1.1}, Copied{"65536", 1.1}}) {
        const std::string suffix = std::string("/") + chunk;
        all.push_back({std::string("ring write+read / memcpy, ") + chunk + " bytes",
                       "ring_ours" + suffix, "ring_memcpy" + suffix, goal});
        all.push_back({std::string("ring write+read / boost::circular_buffer, ") + chunk + " bytes",
                       "ring_ours" + suffix, "ring_boost" + suffix, 1.0});
    }
    for (const char* chunk : {"16", "64", "256", "1024", "4096"}) {
        const std::string suffix = std::string("/") + chunk + "/real_time";
        for (const char* ours : {"OurBlockQ", "OurBlockQEx"}) {
            for (const char* peer : {"MutexRing", "GlibQueue"}) {
                all.push_back({std::string(ours) + " / " + peer + ", chunks of " + chunk,
                               std::string("pass_on<") + ours + ">" + suffix,
                               std::string("pass_on<") + peer + ">" + suffix,
                               goal_of(ours, peer, chunk)});
            }
        }
    }
    return all;
}

}  // namespace

int main(int argc, char** argv)
{
    return bench::run_and_compare(argc, argv, ratios());
}
