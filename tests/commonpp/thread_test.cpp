// thread: joined in its destructor, its stack given back, its result.
#include <cstdio>
#include <memory>
#include <string>

#include <sched.h>

#include "bodies.h"

using commonpp::status;
using commonpp::thread;

namespace {

/// The mappings of the process: a stack that is kept is two of them.
int mappings()
{
    int lines = 0;
    std::FILE* const maps = std::fopen("/proc/self/maps", "r");
    for (int byte = 0; (byte = std::fgetc(maps)) != EOF;) {
        lines += byte == '\n' ? 1 : 0;
    }
    std::fclose(maps);
    return lines;
}

/// Waits until a thread has ended by itself.
void await_end(const thread& of)
{
    while (COMMON_Thread_GetId(of.native()) != 0) {
        sched_yield();
    }
}

BODY(CommonppThread, RunsAndIsJoinedByItsDestructor)
{
    std::atomic<int> alive{0};
    std::atomic<bool> done{false};
    {
        thread worker;
        CHECK(!worker.joinable());
        CHECK(worker.start([&, kept = Counted(alive)] { done = true; }, {"worker"}) ==
              status::success);
        CHECK(worker.joinable());
        CHECK_EQ(std::string(COMMON_Thread_GetName(worker.native())), "worker");
    }
    CHECK(done.load());
    CHECK_EQ(alive.load(), 0);
}

BODY(CommonppThread, OptionsAreThoseOfTheRecord)
{
    commonpp::thread_options options;
    options.stack_size = 262144;
    thread worker;
    CHECK(worker.start([] {}, options) == status::success);
    CHECK_EQ(COMMON_Thread_GetStackSize(worker.native()), 262144U);
    CHECK_EQ(COMMON_Thread_GetPriority(worker.native()), 10U);
    CHECK_EQ(COMMON_Thread_GetSchedule(worker.native()), 2U);
    CHECK_EQ(std::string(COMMON_Thread_GetName(worker.native())).substr(0, 8), "Unnamed-");
}

BODY(CommonppThread, GivesItsResult)
{
    int answer = 42;
    void* result = nullptr;
    thread worker;
    CHECK(worker.start([&] { return &answer; }) == status::success);
    CHECK(worker.join(&result) == status::success);
    CHECK(result == &answer);
    CHECK(worker.start([] { return 7; }) == status::success);
    CHECK(worker.join(&result) == status::success);
    CHECK(result == nullptr);
    CHECK(worker.join() == status::not_found);
    CHECK(worker.native() == nullptr);
}

BODY(CommonppThread, EndedOneGivesResultAndStackBack)
{
    int before = 0;
    for (int count = 0; count < 200; ++count) {
        int answer = 0;
        void* result = nullptr;
        thread worker;
        CHECK(worker.start([&] { return &answer; }) == status::success);
        await_end(worker);
        CHECK(worker.join(&result) == status::success);
        CHECK(result == &answer);
        if (count == 20) {
            before = mappings();
        }
    }
    CHECK(mappings() < before + 100);
}

BODY(CommonppThread, StartedAgainOnlyAfterAJoin)
{
    Flag go;
    std::atomic<int> runs{0};
    const auto work = [&] {
        go.wait();
        ++runs;
    };
    thread worker;
    CHECK(worker.start(work) == status::success);
    CHECK(worker.start(work) == status::busy);
    go.set();
    CHECK(worker.join() == status::success);
    CHECK(worker.start(work) == status::success);
    CHECK(worker.join() == status::success);
    CHECK_EQ(runs.load(), 2);
}

// Never destroyed, as the block of a thread that may still run is not given back.
BODY(CommonppThread, JoinThatFailsLeavesAThread)
{
    static thread& detached = *new thread;
    Flag go;
    CHECK(detached.start([&] { go.wait(); }) == status::success);
    CHECK_EQ(COMMON_Thread_Detach(detached.native()), STATUS_SUCCESS);
    CHECK(detached.join() == status::failed);
    CHECK(detached.joinable());
    go.set();
    await_end(detached);
}

BODY(CommonppThread, DestroyedInItselfAllIsGivenBackWhenItEnds)
{
    std::atomic<int> alive{0};
    std::atomic<int> alive_inside{0};
    Flag started;
    auto owner = std::make_unique<thread>();
    CHECK(owner->start([&, kept = Counted(alive)] {
        started.wait();
        CHECK(owner->join() == status::rejected);
        CHECK(!owner->joinable());
        owner.reset();
        alive_inside = alive.load();
    }) == status::success);
    started.set();
    while (alive.load() != 0) {
        sched_yield();
    }
    CHECK_EQ(alive_inside.load(), 1);
}

BODY(CommonppThread, MovesLeaveNoneBehind)
{
    Flag go;
    std::atomic<int> runs{0};
    thread first;
    CHECK(first.start([&] {
        go.wait();
        ++runs;
    }) == status::success);
    thread second(std::move(first));
    // NOLINTNEXTLINE(bugprone-use-after-move): what a move leaves behind is looked at.
    CHECK(!first.joinable());
    CHECK(first.join() == status::not_found);
    thread& same = second;
    second = std::move(same);
    CHECK(second.joinable());
    go.set();
    // What it had is joined.
    second = thread();
    CHECK_EQ(runs.load(), 1);
    CHECK(!second.joinable());
}

}  // namespace
