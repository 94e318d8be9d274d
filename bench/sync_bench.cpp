// What mutexes, sync objects, monitors and threads cost, against the platform's own calls.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <thread>

#include "common_monitor.h"
#include "common_mutex.h"
#include "common_sync.h"
#include "common_thread.h"
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
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
    pthread_mutex_destroy(&mutex);
}
BENCHMARK(mutex_bare);

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

/// A semaphore as a lock with an owner, as one writes it in place.
struct OwnedSemaphore {
    pthread_t owner = static_cast<pthread_t>(-1);
    sem_t semaphore;
};

int lock_by_hand(OwnedSemaphore& lock)
{
    if (lock.owner == pthread_self()) {
        return EACCES;
    }
    if (sem_wait(&lock.semaphore) != 0) {
        return errno;
    }
    lock.owner = pthread_self();
    return 0;
}

int unlock_by_hand(OwnedSemaphore& lock)
{
    if (lock.owner != pthread_self()) {
        return EACCES;
    }
    lock.owner = static_cast<pthread_t>(-1);
    int value = 0;
    if (sem_getvalue(&lock.semaphore, &value) != 0 ||
        (value == 0 && sem_post(&lock.semaphore) != 0)) {
        return errno;
    }
    return 0;
}

void sync_by_hand(benchmark::State& state)
{
    OwnedSemaphore lock;
    sem_init(&lock.semaphore, 0, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(lock_by_hand(lock));
        benchmark::DoNotOptimize(unlock_by_hand(lock));
    }
    sem_destroy(&lock.semaphore);
}
BENCHMARK(sync_by_hand);

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

}  // namespace

int main(int argc, char** argv)
{
    // The C library takes a short cut for locks in a process with one thread. Nobody locks there.
    std::atomic<bool> over{false};
    std::thread second([&] { over.wait(false); });
    const int status = bench::run_and_compare(
        argc, argv,
        {
            {"mutex lock+unlock / pthread_mutex_lock+unlock", "mutex_ours", "mutex_bare", 1.08},
            {"sync lock+unlock / semaphore with an owner by hand", "sync_ours", "sync_by_hand",
             1.1},
            {"monitor ping-pong / bare condition variable", "ping_pong<OurMonitor>/real_time",
             "ping_pong<BareMonitor>/real_time", 1.05},
            {"thread start+join / pthread_create+join", "thread_ours/real_time",
             "thread_bare/real_time", 1.05},
        });
    over = true;
    over.notify_all();
    second.join();
    return status;
}
