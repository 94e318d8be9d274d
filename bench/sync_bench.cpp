// What mutexes, sync objects, monitors and threads cost, against the platform's own calls.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "common_log.h"
#include "common_log_settings.h"
#include "common_monitor.h"
#include "common_mutex.h"
#include "common_sync.h"
#include "common_thread.h"
#include "lock_peers.h"
#include "support/ratio_report.h"

namespace {

// Mutexes, uncontended.

void mutex_ours(benchmark::State& state)
{
    COMMON_Mutex mutex;
    COMMON_Mutex_Initialize(&mutex);
    COMMON_Mutex_Commit(&mutex);
    for (auto _ : state) {
        COMMON_Mutex_Lock(&mutex);
        COMMON_Mutex_Unlock(&mutex);
    }
    COMMON_Mutex_Destroy(&mutex);
}
BENCHMARK(mutex_ours);

void mutex_bare(benchmark::State& state)
{
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, nullptr);
    for (auto _ : state) {
        bare_lock(&mutex);
        bare_unlock(&mutex);
    }
    pthread_mutex_destroy(&mutex);
}
BENCHMARK(mutex_bare);

// Notifications that nobody waits for.

void notify_ours(benchmark::State& state)
{
    COMMON_Monitor monitor;
    COMMON_Monitor_Initialize(&monitor, nullptr);
    for (auto _ : state) {
        COMMON_Monitor_Notify(&monitor);
    }
    COMMON_Monitor_Destroy(&monitor);
}
BENCHMARK(notify_ours);

void notify_bare(benchmark::State& state)
{
    pthread_cond_t condition;
    pthread_cond_init(&condition, nullptr);
    for (auto _ : state) {
        bare_notify(&condition);
    }
    pthread_cond_destroy(&condition);
}
BENCHMARK(notify_bare);

// Sync objects, uncontended.

void sync_ours(benchmark::State& state)
{
    COMMON_sync sync;
    COMMON_sync_init(&sync, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(COMMON_sync_lock(&sync));
        benchmark::DoNotOptimize(COMMON_sync_unlock(&sync));
    }
    COMMON_sync_destroy(&sync);
}
BENCHMARK(sync_ours);

void sync_by_hand(benchmark::State& state)
{
    owned_semaphore lock;
    by_hand_init(&lock);
    for (auto _ : state) {
        benchmark::DoNotOptimize(by_hand_lock(&lock));
        benchmark::DoNotOptimize(by_hand_unlock(&lock));
    }
    sem_destroy(&lock.semaphore);
}
BENCHMARK(sync_by_hand);

void signal_ours(benchmark::State& state)
{
    COMMON_sync sync;
    COMMON_sync_init(&sync, 0);
    COMMON_sync_lock(&sync);
    for (auto _ : state) {
        benchmark::DoNotOptimize(COMMON_sync_signal(&sync));
        benchmark::DoNotOptimize(COMMON_sync_wait(&sync));
    }
    COMMON_sync_destroy(&sync);
}
BENCHMARK(signal_ours);

void signal_by_hand(benchmark::State& state)
{
    two_semaphores sync;
    two_semaphores_init(&sync);
    sem_wait(&sync.lock);
    for (auto _ : state) {
        benchmark::DoNotOptimize(two_semaphores_signal(&sync));
        benchmark::DoNotOptimize(two_semaphores_wait(&sync));
    }
    sem_destroy(&sync.signal);
    sem_destroy(&sync.lock);
}
BENCHMARK(signal_by_hand);

// Ping-pong between two threads: a turn there and back.

struct OurMonitor {
    OurMonitor() { COMMON_Monitor_Initialize(&monitor, nullptr); }
    OurMonitor(const OurMonitor&) = delete;
    OurMonitor& operator=(const OurMonitor&) = delete;
    ~OurMonitor() { COMMON_Monitor_Destroy(&monitor); }
    void lock() { COMMON_Monitor_Lock(&monitor); }
    void unlock() { COMMON_Monitor_Unlock(&monitor); }
    void wait() { COMMON_Monitor_Wait(&monitor); }
    void notify() { COMMON_Monitor_Notify(&monitor); }
    COMMON_Monitor monitor;
};

struct BareMonitor {
    BareMonitor()
    {
        pthread_mutex_init(&mutex, nullptr);
        pthread_cond_init(&condition, nullptr);
    }
    BareMonitor(const BareMonitor&) = delete;
    BareMonitor& operator=(const BareMonitor&) = delete;
    ~BareMonitor()
    {
        pthread_cond_destroy(&condition);
        pthread_mutex_destroy(&mutex);
    }
    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }
    void wait() { pthread_cond_wait(&condition, &mutex); }
    void notify() { pthread_cond_signal(&condition); }
    pthread_mutex_t mutex;
    pthread_cond_t condition;
};

enum class Turn : std::uint8_t { Main, Partner, Nobody };

template <class Monitor>
void ping_pong(benchmark::State& state)
{
    Monitor monitor;
    Turn turn = Turn::Main;
    std::thread partner([&] {
        monitor.lock();
        while (turn != Turn::Nobody) {
            if (turn == Turn::Partner) {
                turn = Turn::Main;
                monitor.notify();
            }
            monitor.wait();
        }
        monitor.unlock();
    });
    monitor.lock();
    for (auto _ : state) {
        turn = Turn::Partner;
        monitor.notify();
        while (turn != Turn::Main) {
            monitor.wait();
        }
    }
    turn = Turn::Nobody;
    monitor.notify();
    monitor.unlock();
    partner.join();
}
BENCHMARK(ping_pong<OurMonitor>)->UseRealTime();
BENCHMARK(ping_pong<BareMonitor>)->UseRealTime();

// A thread from its start to its end.

/// Ends when it is told to, so that there is something to join.
void* end_when_told(void* argument)
{
    while (!static_cast<std::atomic<bool>*>(argument)->load(std::memory_order_acquire)) {
        sched_yield();
    }
    return nullptr;
}

void thread_ours(benchmark::State& state)
{
    for (auto _ : state) {
        std::atomic<bool> told{false};
        COMMON_Thread thread;
        COMMON_Thread_Initialize(&thread, end_when_told, &told);
        COMMON_Thread_SetName(&thread, "bench");
        if (COMMON_Thread_Start(&thread) != STATUS_SUCCESS) {
            state.SkipWithError("no thread");
            break;
        }
        // The record forgets a thread that has ended, and would not join it; its copy does.
        COMMON_Thread to_join = thread;
        told.store(true, std::memory_order_release);
        benchmark::DoNotOptimize(COMMON_Thread_Join(&to_join));
    }
}
BENCHMARK(thread_ours)->UseRealTime();

void thread_bare(benchmark::State& state)
{
    for (auto _ : state) {
        std::atomic<bool> told{false};
        pthread_t thread{};
        if (pthread_create(&thread, nullptr, end_when_told, &told) != 0) {
            state.SkipWithError("no thread");
            break;
        }
        told.store(true, std::memory_order_release);
        benchmark::DoNotOptimize(pthread_join(thread, nullptr));
    }
}
BENCHMARK(thread_bare)->UseRealTime();

// A detached thread from its start to the moment that its creator sees the end of it, who asks
// again and again: whether the record can be deleted, or a flag.

void* end_at_once(void*)
{
    return nullptr;
}

/// Without the record that a refused deletion writes, which is log_bench's to measure.
void polled_ours(benchmark::State& state)
{
    const COMMON_LogLevel_t level = COMMON_Log_LevelGet();
    COMMON_Log_LevelSet(COMMON_LogLevelFatal);
    for (auto _ : state) {
        COMMON_Thread* const thread = COMMON_Thread_New(end_at_once, nullptr);
        COMMON_Thread_SetName(thread, "bench");
        COMMON_Thread_SetDetachState(thread, COMMON_ThreadDetachDetached);
        if (COMMON_Thread_Start(thread) != STATUS_SUCCESS) {
            state.SkipWithError("no thread");
            break;
        }
        while (COMMON_Thread_Delete(thread) != STATUS_SUCCESS) {
            sched_yield();
        }
    }
    COMMON_Log_LevelSet(level);
}
BENCHMARK(polled_ours)->UseRealTime();

void* end_with_a_flag(void* has_ended)
{
    static_cast<std::atomic<bool>*>(has_ended)->store(true, std::memory_order_release);
    return nullptr;
}

void polled_bare(benchmark::State& state)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    for (auto _ : state) {
        std::atomic<bool> has_ended{false};
        pthread_t thread{};
        if (pthread_create(&thread, &attributes, end_with_a_flag, &has_ended) != 0) {
            state.SkipWithError("no thread");
            break;
        }
        while (!has_ended.load(std::memory_order_acquire)) {
            sched_yield();
        }
    }
    pthread_attr_destroy(&attributes);
}
BENCHMARK(polled_bare)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    // The C library takes a short cut for locks in a process with one thread. Nobody locks there.
    std::atomic<bool> over{false};
    std::thread second([&] { over.wait(false); });
    const int status = bench::run_and_compare(
        argc, argv,
        {
            {"mutex lock+unlock / pthread_mutex_lock+unlock", "mutex_ours", "mutex_bare", 1.06},
            {"monitor notify / pthread_cond_signal", "notify_ours", "notify_bare", 1.5},
            {"sync lock+unlock / semaphore with an owner by hand", "sync_ours", "sync_by_hand",
             1.08},
            {"sync signal+wait / two semaphores", "signal_ours", "signal_by_hand", 1.18},
            {"monitor ping-pong / bare condition variable", "ping_pong<OurMonitor>/real_time",
             "ping_pong<BareMonitor>/real_time", 1.05},
            {"thread start+join / pthread_create+join", "thread_ours/real_time",
             "thread_bare/real_time", 1.03},
            {"thread start until deleted / pthread_create until a flag", "polled_ours/real_time",
             "polled_bare/real_time", 1.03},
        });
    over = true;
    over.notify_all();
    second.join();
    return status;
}
