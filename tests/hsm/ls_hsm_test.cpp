// The state machine engine: its records, which callbacks are called in which order, what the hook
// is told and what dispatches return.
#include "ls_hsm.h"

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <sched.h>
#include <thread>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "ls_hsm_chart.h"
#include "wait_until.h"

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

using namespace ls_hsm_chart;

namespace {

// Records.

TEST(LsHsm, RecordsHaveTheirFieldsInOrder)
{
    constexpr std::size_t kWord = sizeof(void*);
    constexpr std::size_t kState[] = {
        offsetof(ls_hsm_state_t, parent), offsetof(ls_hsm_state_t, callback),
        offsetof(ls_hsm_state_t, name), offsetof(ls_hsm_state_t, depth)};
    EXPECT_THAT(kState, ElementsAre(0, kWord, 2 * kWord, 3 * kWord));
    EXPECT_EQ(sizeof(ls_hsm_state_t), 4 * kWord);
    constexpr std::size_t kMachine[] = {
        offsetof(ls_hsm_t, userData), offsetof(ls_hsm_t, name),
        offsetof(ls_hsm_t, origin),   offsetof(ls_hsm_t, current),
        offsetof(ls_hsm_t, target),   offsetof(ls_hsm_t, immediateTarget),
        offsetof(ls_hsm_t, master),   offsetof(ls_hsm_t, depth),
        offsetof(ls_hsm_t, busy),     offsetof(ls_hsm_t, hook)};
    EXPECT_THAT(kMachine, ElementsAre(0, kWord, 2 * kWord, 3 * kWord, 4 * kWord, 5 * kWord,
                                      6 * kWord, 10 * kWord, 10 * kWord + 4, 10 * kWord + 8));
    EXPECT_EQ(sizeof(ls_hsm_t), 11 * kWord + 8);
    EXPECT_EQ(offsetof(ls_hsm_event_t, type), 0U);
    EXPECT_EQ(offsetof(ls_hsm_event_t, value), 4U);
    EXPECT_EQ(sizeof(ls_hsm_event_t), 8U);
    EXPECT_EQ(LS_HSM_EVENT_INIT, 0);
    EXPECT_EQ(LS_HSM_EVENT_ENTRY, 1);
    EXPECT_EQ(LS_HSM_EVENT_EXIT, 2);
    EXPECT_EQ(LS_HSM_EVENT_USER, 3);
    EXPECT_EQ(LS_HSM_HOOK_DEPTH, 0);
    EXPECT_EQ(LS_HSM_HOOK_REFUSED, 1);
    EXPECT_EQ(LS_HSM_HOOK_UNHANDLED, 2);
    EXPECT_EQ(LS_HSM_HOOK_NO_COMMON_ANCESTOR, 3);
    EXPECT_EQ(LS_HSM_HOOK_BUSY, 4);
}

TEST(LsHsm, InitSetsEveryField)
{
    ls_hsm_t machine;
    std::memset(&machine, 0xEE, sizeof machine);
    int user = 0;
    const char* const name = "name";
    ls_hsm_init(&machine, name, &user, call_master, note_hook, INT32_MAX);
    EXPECT_EQ(machine.userData, &user);
    EXPECT_EQ(machine.name, name);
    EXPECT_EQ(machine.origin, nullptr);
    EXPECT_EQ(machine.current, nullptr);
    EXPECT_EQ(machine.target, nullptr);
    EXPECT_EQ(machine.immediateTarget, nullptr);
    EXPECT_EQ(machine.master.parent, nullptr);
    EXPECT_EQ(machine.master.callback, call_master);
    EXPECT_STREQ(machine.master.name, "master");
    EXPECT_EQ(machine.master.depth, 0);
    EXPECT_EQ(machine.depth, INT32_MAX);
    EXPECT_EQ(machine.busy, 0U);
    EXPECT_EQ(machine.hook, note_hook);
    ls_hsm_init(&machine, nullptr, nullptr, call_master, nullptr, 1);
    EXPECT_EQ(machine.name, nullptr);
    EXPECT_EQ(machine.userData, nullptr);
    EXPECT_EQ(machine.depth, 1);
    EXPECT_EQ(machine.hook, nullptr);
}

TEST(LsHsm, StateInitCountsTheDepth)
{
    ls_hsm_t machine;
    ls_hsm_init(&machine, "name", nullptr, call_master, nullptr, 1);
    ls_hsm_state_t outer;
    ls_hsm_state_t inner;
    std::memset(&outer, 0xEE, sizeof outer);
    std::memset(&inner, 0xEE, sizeof inner);
    const char* const name = "name";
    ls_hsm_state_init(&outer, name, &machine.master, call_a);
    ls_hsm_state_init(&inner, nullptr, &outer, call_b);
    EXPECT_EQ(outer.parent, &machine.master);
    EXPECT_EQ(outer.callback, call_a);
    EXPECT_EQ(outer.name, name);
    EXPECT_EQ(outer.depth, 1);
    EXPECT_EQ(inner.parent, &outer);
    EXPECT_EQ(inner.callback, call_b);
    EXPECT_EQ(inner.name, nullptr);
    EXPECT_EQ(inner.depth, 2);
}

// The start.

TEST(LsHsm, RunEntersTheMasterAndOffersItInit)
{
    Chart chart;
    EXPECT_EQ(ls_hsm_run(&chart), 1);
    // The first init event comes without the state.
    EXPECT_THAT(chart.calls, ElementsAre("master entry*", "master init"));
    EXPECT_EQ(chart.current, &chart.master);
}

TEST(LsHsm, RunDrillsDownThroughInitEvents)
{
    Chart chart;
    chart.on_transition("master", kInit, chart.b);
    chart.on_transition("b", kInit, chart.c);
    chart.on_transition("c", kInit, chart.e);
    EXPECT_EQ(ls_hsm_run(&chart), 1);
    EXPECT_THAT(chart.calls,
                ElementsAre("master entry*", "master init", "a entry*", "b entry*", "b init*",
                            "c entry*", "c init*", "d entry*", "e entry*", "e init*"));
    EXPECT_EQ(chart.current, &chart.e);
    EXPECT_EQ(chart.target, nullptr);
    EXPECT_EQ(chart.origin, &chart.master);
}

TEST(LsHsm, RunThatTheMasterRefusesGivesTheResultOfTheHook)
{
    Chart chart;
    chart.hook_result = 55;
    chart.on("master", kEntry, [] { return 3; });
    EXPECT_EQ(ls_hsm_run(&chart), 55);
    EXPECT_THAT(chart.calls, ElementsAre("master entry*", "hook: unhandled master entry"));
    EXPECT_EQ(chart.current, &chart.master);
}

TEST(LsHsm, RunThatTheMasterRefusesWithoutAHookGivesItsResult)
{
    Chart chart(6, false);
    chart.on("master", kEntry, [] { return 3; });
    EXPECT_EQ(ls_hsm_run(&chart), 3);
    EXPECT_THAT(chart.calls, ElementsAre("master entry*"));
}

TEST(LsHsm, RunWhoseInitNobodyHandlesTellsTheHookAndReturnsOne)
{
    Chart chart;
    chart.hook_result = 55;
    chart.on("master", kInit, [] { return 3; });
    EXPECT_EQ(ls_hsm_run(&chart), 1);
    EXPECT_THAT(chart.calls,
                ElementsAre("master entry*", "master init", "hook: unhandled master init"));
}

// User events.

TEST(LsHsm, EventGoesUpUntilItIsHandled)
{
    Chart chart;
    chart.stand_at(chart.e);
    chart.on("b", 1, [] { return 0; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("e 1", "d 1", "c 1", "b 1"));
    EXPECT_EQ(chart.current, &chart.e);
}

TEST(LsHsm, EventThatNobodyHandlesIsToldWithTheCurrentState)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.hook_result = 55;
    EXPECT_THAT(chart.dispatch(UINT32_MAX),
                ElementsAre("b 4294967295", "a 4294967295", "master 4294967295",
                            "hook: unhandled b 4294967295"));
    EXPECT_EQ(chart.current, &chart.b);
    Chart silent(6, false);
    silent.stand_at(silent.z);
    EXPECT_THAT(silent.dispatch(0), ElementsAre("z 0", "master 0"));
}

TEST(LsHsm, EventThatNobodyHandlesClearsTheTarget)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on("b", 1, [&] {
        ls_hsm_transition(&chart, &chart.z);
        return 1;
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "a 1", "master 1", "hook: unhandled b 1"));
    EXPECT_EQ(chart.target, nullptr);
    EXPECT_EQ(chart.current, &chart.b);
}

TEST(LsHsm, TransitionAskedForByASubstateIsMadeWhenAParentHandles)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on("b", 1, [&] {
        ls_hsm_transition(&chart, &chart.b2);
        return 1;
    });
    chart.on("master", 1, [] { return 0; });
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("b 1", "a 1", "master 1", "b exit*", "b2 entry*", "b2 init*"));
}

// Busy.

TEST(LsHsm, DispatchInACallbackIsRefused)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.hook_result = 55;
    chart.on("b", 1, [&] {
        EXPECT_EQ(chart.busy, 1U);
        EXPECT_EQ(ls_hsm_dispatch(&chart, 2), 55);
        EXPECT_EQ(chart.busy, 1U);
        return 0;
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "b 1", "hook: busy c 2"));
    EXPECT_EQ(chart.current, &chart.c);
    Chart silent(6, false);
    silent.stand_at(silent.c);
    int result = 0;
    silent.on("c", 1, [&] {
        result = ls_hsm_dispatch(&silent, 2);
        return 0;
    });
    EXPECT_THAT(silent.dispatch(1), ElementsAre("c 1"));
    EXPECT_EQ(result, 1);
}

TEST(LsHsm, DispatchInEntryExitAndInitIsRefused)
{
    Chart chart;
    chart.stand_at(chart.b);
    const auto dispatch = [&] {
        EXPECT_EQ(ls_hsm_dispatch(&chart, 2), 0);
        return 0;
    };
    chart.on_transition("b", 1, chart.b2);
    chart.on("b", kExit, dispatch);
    chart.on("b2", kEntry, dispatch);
    chart.on("b2", kInit, dispatch);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "hook: busy b 2", "b2 entry*",
                                               "hook: busy b2 2", "b2 init*", "hook: busy b2 2"));
}

TEST(LsHsm, RunInACallbackIsRefusedAtItsInitEvent)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.hook_result = 55;
    chart.on("b", 1, [&] {
        EXPECT_EQ(ls_hsm_run(&chart), 55);
        return 0;
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "master entry*", "hook: busy master init"));
}

TEST(LsHsm, DispatchFromAnotherThreadIsRefusedWhileOneRuns)
{
    Chart chart(6, false);
    chart.stand_at(chart.b);
    Event inside;
    Event go_on;
    chart.on("b", 1, [&] {
        inside.set();
        EXPECT_TRUE(go_on.wait());
        return 0;
    });
    std::thread other([&] { EXPECT_EQ(ls_hsm_dispatch(&chart, 1), 1); });
    EXPECT_TRUE(inside.wait());
    EXPECT_EQ(ls_hsm_dispatch(&chart, 2), 1);
    go_on.set();
    other.join();
    EXPECT_THAT(chart.calls, ElementsAre("b 1"));
    EXPECT_THAT(chart.dispatch(2), ElementsAre("b 2", "a 2", "master 2"));
}

/// Keeps the calling thread on one of the processors that it may use, where there are several. It
/// only makes it likely that two threads meet, so that it may fail.
void stay_on_processor(int which)
{
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) < 2) {
        return;
    }
    for (int processor = 0, seen = 0; processor < CPU_SETSIZE; ++processor) {
        if (CPU_ISSET(processor, &allowed) && seen++ == which) {
            CPU_ZERO(&allowed);
            CPU_SET(processor, &allowed);
            sched_setaffinity(0, sizeof allowed, &allowed);
            return;
        }
    }
}

// Two threads until each has had 20,000 dispatches, each of which makes a transition or is refused;
// and more while the machine is so busy that they seldom run at the same time.
TEST(LsHsm, DispatchesOfTwoThreadsNeverOverlap)
{
    struct Contended : ls_hsm_t {
        ls_hsm_state_t one, other;
        std::atomic<int> inside{0};
        std::atomic<int> overlaps{0};
        std::atomic<int> handled{0};
        std::atomic<int> refused{0};
        std::atomic<int> strangers{0};
        std::atomic<std::thread::id> last{};
        std::atomic<int> turns{0};
    } machine;
    const auto callback = [](ls_hsm_t* driven, const ls_hsm_event_t* event, void*,
                             ls_hsm_state_t*) {
        auto& contended = static_cast<Contended&>(*driven);
        contended.overlaps += contended.inside++ != 0 ? 1 : 0;
        if (event->type == LS_HSM_EVENT_USER) {
            ++contended.handled;
            const std::thread::id self = std::this_thread::get_id();
            contended.turns += contended.last.exchange(self) != self ? 1 : 0;
            ls_hsm_transition(driven, driven->current == &contended.one ? &contended.other
                                                                        : &contended.one);
        }
        --contended.inside;
        return 0;
    };
    // Runs in the thread that was refused, beside the callbacks of the other one.
    const auto hook = [](ls_hsm_t* driven, std::uint32_t code, ls_hsm_state_t* state,
                         const ls_hsm_event_t*, void*) {
        auto& contended = static_cast<Contended&>(*driven);
        ++contended.refused;
        const bool known =
            state == &contended.one || state == &contended.other || state == &driven->master;
        contended.strangers += known && code == LS_HSM_HOOK_BUSY ? 0 : 1;
        return 0;
    };
    ls_hsm_init(&machine, "contended", nullptr, callback, hook, 2);
    ls_hsm_state_init(&machine.one, "one", &machine.master, callback);
    ls_hsm_state_init(&machine.other, "other", &machine.master, callback);
    EXPECT_EQ(ls_hsm_run(&machine), 1);
    constexpr int kDispatches = 20'000;
    constexpr int kMostDispatches = 200'000;
    constexpr int kTurns = 1000;
    std::atomic<int> handled{0};
    std::atomic<int> refusals{0};
    const auto drive = [&](int processor) {
        stay_on_processor(processor);
        int count = 0;
        while (count < kDispatches || (machine.turns < kTurns && count < kMostDispatches)) {
            if (ls_hsm_dispatch(&machine, 1) == 1) {
                ++count;
            } else {
                ++refusals;
                std::this_thread::yield();
            }
        }
        handled += count;
    };
    std::thread one(drive, 0);
    std::thread two(drive, 1);
    one.join();
    two.join();
    EXPECT_EQ(machine.overlaps, 0);
    EXPECT_EQ(machine.strangers, 0);
    EXPECT_EQ(machine.handled, handled);
    EXPECT_EQ(machine.refused, refusals);
    EXPECT_EQ(machine.busy, 0U);
}

// Misuse.

struct Misuse {
    const char* function;
    const char* condition;
    const char* what;
    void (*call)();
};

class LsHsmMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(LsHsmMisuse, EndsTheProcess)
{
    const Outcome outcome = run_fresh(GetParam().call);
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, assertion_text("ls_hsm", GetParam().function, GetParam().condition));
    EXPECT_THAT(outcome.log, IsEmpty());
}

ls_hsm_t some;
ls_hsm_state_t some_state;

const Misuse kMisuses[] = {
    {"ls_hsm_init", "ls_hsm", "NullMachine",
     [] { ls_hsm_init(nullptr, "", nullptr, nullptr, nullptr, 0); }},
    {"ls_hsm_init", "callback", "NullCallback",
     [] { ls_hsm_init(&some, "", nullptr, nullptr, nullptr, 0); }},
    {"ls_hsm_init", "depth > 0", "DepthZero",
     [] { ls_hsm_init(&some, "", nullptr, call_a, nullptr, 0); }},
    {"ls_hsm_init", "depth > 0", "DepthNegative",
     [] { ls_hsm_init(&some, "", nullptr, call_a, nullptr, -1); }},
    {"ls_hsm_state_init", "state", "NullState",
     [] { ls_hsm_state_init(nullptr, "", nullptr, nullptr); }},
    {"ls_hsm_state_init", "parent", "NullParent",
     [] { ls_hsm_state_init(&some_state, "", nullptr, nullptr); }},
    {"ls_hsm_state_init", "callback", "NullCallback",
     [] { ls_hsm_state_init(&some_state, "", &some.master, nullptr); }},
    {"ls_hsm_run", "ls_hsm", "NullMachine", [] { ls_hsm_run(nullptr); }},
    {"ls_hsm_dispatch", "ls_hsm", "NullMachine", [] { ls_hsm_dispatch(nullptr, 1); }},
    {"ls_hsm_transition", "ls_hsm", "NullMachine", [] { ls_hsm_transition(nullptr, nullptr); }},
    {"ls_hsm_transition", "state", "NullState", [] { ls_hsm_transition(&some, nullptr); }},
    {"ls_hsm_immediate_transition", "ls_hsm", "NullMachine",
     [] { ls_hsm_immediate_transition(nullptr, nullptr); }},
    {"ls_hsm_immediate_transition", "state", "NullState",
     [] { ls_hsm_immediate_transition(&some, nullptr); }},
    // A state that cuts itself off while it is left.
    {"run_round", "ls_hsm->source", "LostParent",
     [] {
         Chart chart;
         chart.stand_at(chart.b);
         chart.on_transition("b", 1, chart.z);
         chart.on("b", kExit, [&] {
             chart.b.parent = nullptr;
             return 0;
         });
         ls_hsm_dispatch(&chart, 1);
     }},
};

INSTANTIATE_TEST_SUITE_P(Calls, LsHsmMisuse, testing::ValuesIn(kMisuses), [](const auto& test) {
    return std::string(test.param.function) + test.param.what;
});

}  // namespace
