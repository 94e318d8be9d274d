// The transitions of the state machine engine: what is left and entered, what callbacks can change
// or refuse on the way, and what the hook is told.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "ls_hsm_chart.h"

using namespace ls_hsm_chart;
using testing::ElementsAre;

namespace {

// Transitions.

TEST(LsHsmTransition, TransitionToTheCurrentStateDoesNothingAndKeepsTheTarget)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.on_transition("c", 1, chart.c);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1"));
    EXPECT_EQ(chart.current, &chart.c);
    EXPECT_EQ(chart.target, &chart.c);
    EXPECT_EQ(chart.origin, nullptr);
}

TEST(LsHsmTransition, SelfTransitionOfAParentLeavesItsSubstatesOnly)
{
    Chart chart;
    chart.stand_at(chart.d);
    chart.on_transition("b", 1, chart.b);
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("d 1", "c 1", "b 1", "d exit*", "c exit*", "b init*"));
    EXPECT_EQ(chart.current, &chart.b);
    EXPECT_EQ(chart.origin, &chart.d);
    EXPECT_EQ(chart.target, nullptr);
}

TEST(LsHsmTransition, SiblingTransitionLeavesOneAndEntersTheOther)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.b2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "b2 entry*", "b2 init*"));
    EXPECT_EQ(chart.current, &chart.b2);
}

TEST(LsHsmTransition, TransitionAcrossTheTree)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.e);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("z 1", "z exit*", "a entry*", "b entry*", "c entry*",
                                               "d entry*", "e entry*", "e init*"));
    chart.on_transition("e", 2, chart.z);
    EXPECT_THAT(chart.dispatch(2), ElementsAre("e 2", "e exit*", "d exit*", "c exit*", "b exit*",
                                               "a exit*", "z entry*", "z init*"));
    chart.stand_at(chart.e);
    chart.on_transition("c", 3, chart.c2);
    EXPECT_THAT(chart.dispatch(3), ElementsAre("e 3", "d 3", "c 3", "e exit*", "d exit*", "c exit*",
                                               "b exit*", "b2 entry*", "c2 entry*", "c2 init*"));
}

TEST(LsHsmTransition, TransitionToASubstateLeavesNothing)
{
    Chart chart;
    chart.stand_at(chart.a);
    chart.on_transition("a", 1, chart.d);
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("a 1", "b entry*", "c entry*", "d entry*", "d init*"));
}

TEST(LsHsmTransition, TransitionToTheMasterLeavesEverything)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.master);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "a exit*", "master init*"));
}

TEST(LsHsmTransition, LastTransitionAskedForCounts)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on("b", 1, [&] {
        ls_hsm_transition(&chart, &chart.z);
        ls_hsm_transition(&chart, &chart.b2);
        return 0;
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "b2 entry*", "b2 init*"));
}

// Targets that callbacks of a transition change.

TEST(LsHsmTransition, ExitThatChangesTheTargetIsOfferedAgain)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.on_transition("c", 1, chart.z);
    chart.on_transition("b", kExit, chart.c2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "c exit*", "b exit*", "b exit*", "b2 entry*",
                                               "c2 entry*", "c2 init*"));
    EXPECT_EQ(chart.current, &chart.c2);
    EXPECT_EQ(chart.origin, &chart.c);
}

TEST(LsHsmTransition, ExitMayCallTheTransitionOff)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.on_transition("c", 1, chart.z);
    chart.on_transition("b", kExit, chart.b);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "c exit*", "b exit*", "b init*"));
    EXPECT_EQ(chart.current, &chart.b);
    EXPECT_EQ(chart.target, nullptr);
}

TEST(LsHsmTransition, EntryThatChangesTheTargetGoesOnFromThere)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.d);
    chart.on_transition("b", kEntry, chart.c2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("z 1", "z exit*", "a entry*", "b entry*", "b exit*",
                                               "b2 entry*", "c2 entry*", "c2 init*"));
    EXPECT_EQ(chart.current, &chart.c2);
}

TEST(LsHsmTransition, SameTargetAgainIsNoChange)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.c2);
    chart.on_transition("b", kExit, chart.c2);
    chart.on_transition("b2", kEntry, chart.c2);
    chart.on_transition("c2", kInit, chart.c2);
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("b 1", "b exit*", "b2 entry*", "c2 entry*", "c2 init*"));
    EXPECT_EQ(chart.target, nullptr);
}

TEST(LsHsmTransition, InitMayLeaveTheState)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.b);
    chart.on_transition("b", kInit, chart.b2);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("z 1", "z exit*", "a entry*", "b entry*", "b init*",
                                               "b exit*", "b2 entry*", "b2 init*"));
    EXPECT_EQ(chart.target, nullptr);
}

// Callbacks that refuse.

TEST(LsHsmTransition, RefusedExitStopsTheTransitionThere)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.hook_result = 55;
    chart.on_transition("c", 1, chart.z);
    chart.on("b", kExit, [] { return 9; });
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("c 1", "c exit*", "b exit*", "hook: refused b exit"));
    EXPECT_EQ(chart.current, &chart.b);
    EXPECT_EQ(chart.origin, &chart.c);
    EXPECT_EQ(chart.target, &chart.z);
}

TEST(LsHsmTransition, RefusedEntryStopsTheTransitionThere)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.d);
    chart.on("b", kEntry, [] { return -9; });
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("z 1", "z exit*", "a entry*", "b entry*", "hook: refused b entry"));
    EXPECT_EQ(chart.current, &chart.b);
    EXPECT_EQ(chart.target, &chart.d);
}

TEST(LsHsmTransition, RefusedInitStopsTheTransitionThere)
{
    Chart chart;
    chart.stand_at(chart.z);
    chart.on_transition("z", 1, chart.a);
    chart.on("a", kInit, [&] {
        ls_hsm_transition(&chart, &chart.b);
        return 9;
    });
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("z 1", "z exit*", "a entry*", "a init*", "hook: refused a init"));
    EXPECT_EQ(chart.current, &chart.a);
}

TEST(LsHsmTransition, RefusalWithoutAHookStopsTheTransitionToo)
{
    Chart chart(6, false);
    chart.stand_at(chart.c);
    chart.on_transition("c", 1, chart.z);
    chart.on("b", kExit, [] { return 9; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "c exit*", "b exit*"));
    EXPECT_EQ(chart.current, &chart.b);
}

// The target of a transition that went wrong stays set: the next handled event makes it again.
TEST(LsHsmTransition, TransitionThatWentWrongIsMadeAgainByTheNextHandledEvent)
{
    Chart chart;
    chart.stand_at(chart.b);
    int refusals = 1;
    chart.on_transition("b", 1, chart.b2);
    chart.on("b", kExit, [&] { return refusals-- > 0 ? 1 : 0; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "hook: refused b exit"));
    chart.on("b", 2, [] { return 0; });
    EXPECT_THAT(chart.dispatch(2), ElementsAre("b 2", "b exit*", "b2 entry*", "b2 init*"));
}

// Depth.

TEST(LsHsmTransition, PathOfExactlyTheDepthFits)
{
    // e, d, c, b, a and master.
    for (const std::int32_t depth : {5, 6, 7}) {
        Chart chart(depth);
        chart.on_transition("master", kInit, chart.e);
        EXPECT_EQ(ls_hsm_run(&chart), 1);
        if (depth == 5) {
            EXPECT_THAT(chart.calls,
                        ElementsAre("master entry*", "master init", "hook: too deep master exit"));
            EXPECT_EQ(chart.current, &chart.master);
            EXPECT_EQ(chart.target, &chart.e);
        } else {
            EXPECT_EQ(chart.calls.back(), "e init*");
            EXPECT_EQ(chart.current, &chart.e);
        }
    }
}

TEST(LsHsmTransition, TooLongAPathLeavesTheMachineInTheAncestorReached)
{
    Chart chart(2);
    chart.hook_result = 55;
    chart.stand_at(chart.c);
    chart.on_transition("c", 1, chart.c2);
    // c2 and b2 have a slot, the common ancestor a has none any more.
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("c 1", "c exit*", "b exit*", "hook: too deep a exit"));
    EXPECT_EQ(chart.current, &chart.a);
    EXPECT_EQ(chart.target, &chart.c2);
    EXPECT_EQ(chart.origin, &chart.c);
    Chart silent(2, false);
    silent.stand_at(silent.c);
    silent.on_transition("c", 1, silent.c2);
    EXPECT_THAT(silent.dispatch(1), ElementsAre("c 1", "c exit*", "b exit*"));
}

TEST(LsHsmTransition, DepthOfOneHasRoomForTheTargetOnly)
{
    Chart chart(1);
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.a);
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "a init*"));
    chart.on_transition("a", 2, chart.b);
    EXPECT_THAT(chart.dispatch(2), ElementsAre("a 2", "hook: too deep a exit"));
}

// The depth says what is allowed. What a transition takes from the stack goes by its target.
TEST(LsHsmTransition, DepthMayBeAnyNumber)
{
    for (const std::int32_t depth : {2'000'000, 0x20000000, 0x40000000, INT32_MAX}) {
        Chart chart(depth);
        chart.on_transition("master", kInit, chart.e);
        EXPECT_EQ(ls_hsm_run(&chart), 1);
        EXPECT_THAT(chart.calls, ElementsAre("master entry*", "master init", "a entry*", "b entry*",
                                             "c entry*", "d entry*", "e entry*", "e init*"));
        chart.on_transition("e", 1, chart.z);
        EXPECT_THAT(chart.dispatch(1), ElementsAre("e 1", "e exit*", "d exit*", "c exit*",
                                                   "b exit*", "a exit*", "z entry*", "z init*"));
        EXPECT_EQ(chart.current, &chart.z);
    }
}

/// A branch of states, one below the other.
std::vector<ls_hsm_state_t> branch_below(ls_hsm_state_t& top, std::size_t levels,
                                         ls_hsm_callback_t callback)
{
    std::vector<ls_hsm_state_t> branch(levels);
    ls_hsm_state_t* parent = &top;
    for (ls_hsm_state_t& state : branch) {
        ls_hsm_state_init(&state, "deep", parent, callback);
        parent = &state;
    }
    return branch;
}

TEST(LsHsmTransition, FortyLevelsAreLeftAndEnteredInOrder)
{
    static std::vector<const ls_hsm_state_t*> left;
    static std::vector<const ls_hsm_state_t*> entered;
    left.clear();
    entered.clear();
    const auto note = [](ls_hsm_t*, const ls_hsm_event_t* event, void*, ls_hsm_state_t* state) {
        if (event->type != LS_HSM_EVENT_INIT && event->type != LS_HSM_EVENT_USER) {
            (event->type == LS_HSM_EVENT_EXIT ? left : entered).push_back(state);
        }
        return event->type == LS_HSM_EVENT_USER ? 1 : 0;
    };
    // The path has the forty states and the one that both branches hang from.
    Chart chart(41);
    std::vector<ls_hsm_state_t> from = branch_below(chart.b2, 40, note);
    std::vector<ls_hsm_state_t> to = branch_below(chart.b2, 40, note);
    chart.stand_at(from.back());
    chart.on_transition("b2", 1, to.back());
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b2 1"));
    EXPECT_EQ(chart.current, &to.back());
    EXPECT_EQ(chart.target, nullptr);
    std::vector<const ls_hsm_state_t*> expected;
    for (const ls_hsm_state_t& state : to) {
        expected.push_back(&state);
    }
    EXPECT_EQ(entered, expected);
    expected.clear();
    for (const ls_hsm_state_t& state : from) {
        expected.insert(expected.begin(), &state);
    }
    EXPECT_EQ(left, expected);
    // Back again, with a slot less than that takes.
    chart.depth = 40;
    chart.on_transition("b2", 1, from.back());
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b2 1", "hook: too deep b2 exit"));
    EXPECT_EQ(chart.current, &chart.b2);
}

TEST(LsHsmTransition, DeepTargetTakesItsPathFromTheStackOnceForARound)
{
    // 1000 rounds with 8192 levels of path each, which no stack has room for.
    static int rounds;
    static ls_hsm_state_t last[2];
    const auto change_over = [](ls_hsm_t* machine, const ls_hsm_event_t* event, void*,
                                ls_hsm_state_t* state) {
        if (event->type == LS_HSM_EVENT_INIT && --rounds > 0) {
            ls_hsm_transition(machine, state == last ? last + 1 : last);
        }
        return 0;
    };
    rounds = 1000;
    Chart chart(INT32_MAX);
    std::vector<ls_hsm_state_t> deep = branch_below(chart.b2, 8192, change_over);
    for (ls_hsm_state_t& state : last) {
        ls_hsm_state_init(&state, "last", &deep.back(), change_over);
    }
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, last[0]);
    chart.dispatch(1);
    EXPECT_EQ(rounds, 0);
    EXPECT_EQ(chart.current, last + 1);
}

// Other trees.

TEST(LsHsmTransition, TargetInAnotherTreeLeavesEverythingAndIsTold)
{
    Chart chart;
    chart.hook_result = 55;
    chart.stand_at(chart.b);
    chart.on_transition("b", 1, chart.far);
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("b 1", "b exit*", "a exit*", "hook: no ancestor master exit"));
    EXPECT_EQ(chart.current, &chart.master);
    EXPECT_EQ(chart.target, &chart.far);
    Chart silent(6, false);
    silent.stand_at(silent.b);
    silent.on_transition("b", 1, silent.far);
    EXPECT_THAT(silent.dispatch(1), ElementsAre("b 1", "b exit*", "a exit*"));
    EXPECT_EQ(silent.current, &silent.master);
}

// Immediate transitions.

TEST(LsHsmTransition, ImmediateTransitionOffersTheEventToTheNewState)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_immediate("b", 1, chart.c2);
    chart.on("b2", 1, [] { return 0; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "b2 entry*", "c2 entry*",
                                               "c2 init*", "c2 1", "b2 1"));
    EXPECT_EQ(chart.current, &chart.c2);
    EXPECT_EQ(chart.target, nullptr);
    EXPECT_EQ(chart.immediateTarget, nullptr);
}

TEST(LsHsmTransition, ImmediateTransitionOfAParentLeavesTheCurrentState)
{
    Chart chart;
    chart.stand_at(chart.c);
    chart.on_immediate("a", 1, chart.z);
    chart.on_immediate("z", 1, chart.b2);
    chart.on("b2", 1, [] { return 0; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("c 1", "b 1", "a 1", "c exit*", "b exit*", "a exit*",
                                               "z entry*", "z init*", "z 1", "z exit*", "a entry*",
                                               "b2 entry*", "b2 init*", "b2 1"));
}

TEST(LsHsmTransition, ImmediateTransitionThatFailsDropsTheEvent)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on_immediate("b", 1, chart.b2);
    chart.on("b2", kEntry, [] { return 1; });
    EXPECT_THAT(chart.dispatch(1),
                ElementsAre("b 1", "b exit*", "b2 entry*", "hook: refused b2 entry"));
    EXPECT_EQ(chart.current, &chart.b2);
    EXPECT_EQ(chart.target, nullptr);
    EXPECT_EQ(chart.immediateTarget, nullptr);
    chart.stand_at(chart.c);
    chart.on_immediate("c", 2, chart.far);
    EXPECT_THAT(chart.dispatch(2), ElementsAre("c 2", "c exit*", "b exit*", "a exit*",
                                               "hook: no ancestor master exit"));
    EXPECT_EQ(chart.target, nullptr);
}

TEST(LsHsmTransition, ImmediateTransitionTooDeepOffersTheEventWhereItCame)
{
    Chart chart(1);
    chart.stand_at(chart.a);
    chart.on_immediate("a", 1, chart.z);
    chart.on("master", 1, [] { return 0; });
    // The transition counts as made, so the event goes on, from the state that was reached; and as
    // the target stays set, handling the event makes the transition again.
    EXPECT_THAT(chart.dispatch(1), ElementsAre("a 1", "a exit*", "hook: too deep master exit",
                                               "master 1", "hook: too deep master exit"));
    EXPECT_EQ(chart.current, &chart.master);
    EXPECT_EQ(chart.target, &chart.z);
}

TEST(LsHsmTransition, ImmediateTransitionToTheCurrentStateOffersTheEventAgain)
{
    Chart chart;
    chart.stand_at(chart.b);
    int asked = 0;
    chart.on("b", 1, [&] {
        if (asked++ == 0) {
            ls_hsm_immediate_transition(&chart, &chart.b);
            return 1;
        }
        return 0;
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b 1"));
    EXPECT_EQ(chart.target, &chart.b);
}

TEST(LsHsmTransition, ImmediateTransitionOfAHandledEventWaitsForOneThatIsNot)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on("b", 1, [&] {
        ls_hsm_immediate_transition(&chart, &chart.b2);
        return 0;
    });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1"));
    EXPECT_EQ(chart.immediateTarget, &chart.b2);
    chart.on("b2", 2, [] { return 0; });
    EXPECT_THAT(chart.dispatch(2), ElementsAre("b 2", "b exit*", "b2 entry*", "b2 init*", "b2 2"));
}

TEST(LsHsmTransition, ImmediateTransitionReplacesATransition)
{
    Chart chart;
    chart.stand_at(chart.b);
    chart.on("b", 1, [&] {
        ls_hsm_transition(&chart, &chart.z);
        ls_hsm_immediate_transition(&chart, &chart.b2);
        return 1;
    });
    chart.on("b2", 1, [] { return 0; });
    EXPECT_THAT(chart.dispatch(1), ElementsAre("b 1", "b exit*", "b2 entry*", "b2 init*", "b2 1"));
    EXPECT_EQ(chart.current, &chart.b2);
}

}  // namespace
