// State machines with very deep states, and a recorder that sees more than it has room for.
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "hsm_trace.h"
#include "limits.h"
#include "ls_hsm.h"

using namespace harness;

namespace {

constexpr std::uint32_t kToDeepest = 1;
constexpr std::uint32_t kToMaster = 2;
constexpr std::uint32_t kAround = 3;

/// A machine whose states are inside one another.
class DeepMachine {
public:
    explicit DeepMachine(int levels) : states_(static_cast<std::size_t>(levels))
    {
        ls_hsm_init(&machine, "deep", this, handle, nullptr, levels + 1);
        ls_hsm_state_t* parent = &machine.master;
        for (ls_hsm_state_t& state : states_) {
            ls_hsm_state_init(&state, "state", parent, handle);
            parent = &state;
        }
        ls_hsm_run(&machine);
    }

    bool go(std::uint32_t event)
    {
        ls_hsm_dispatch(&machine, event);
        return machine.current == target(event);
    }

    /// The states that a number of events lead around, one after the other.
    ls_hsm_state_t* around(std::uint32_t event) { return &states_[event % states_.size()]; }

    ls_hsm_t machine{};
    int entries = 0;

private:
    ls_hsm_state_t* target(std::uint32_t event)
    {
        return event == kToDeepest  ? &states_.back()
               : event == kToMaster ? &machine.master
                                    : around(event);
    }

    static int handle(ls_hsm_t* machine, const ls_hsm_event_t* event, void* user_data,
                      ls_hsm_state_t* /*state*/)
    {
        auto& self = *static_cast<DeepMachine*>(user_data);
        self.entries += event->type == LS_HSM_EVENT_ENTRY ? 1 : 0;
        if (event->type == LS_HSM_EVENT_USER) {
            ls_hsm_transition(machine, self.target(event->value));
        }
        return 0;
    }

    std::deque<ls_hsm_state_t> states_;
};

/// Stack that the way to the deepest state and back takes.
double stack_of(DeepMachine& deep)
{
    return stack_bytes([&] {
        EXPECT_TRUE(deep.go(kToDeepest));
        EXPECT_TRUE(deep.go(kToMaster));
    });
}

TEST(HsmLimits, DeepTransitionTakesAPointerForEachLevel)
{
    const int levels = load(1'000, 50'000);
    run_silently(load_setup(), [=] {
        DeepMachine shallow(10);
        DeepMachine deep(levels);
        const double each = (stack_of(deep) - stack_of(shallow)) / (levels - 10);
        promise("a machine with " + number(levels) + " states inside one another",
                "a transition takes one pointer of stack for each level of its target",
                bytes(each) + " for each level", each < 2 * sizeof(void*));
        promise("a machine with " + number(levels) + " states inside one another",
                "a transition enters all states down to its target",
                counted(deep.entries - 1, levels), deep.entries - 1 == levels);
    });
}

TEST(HsmLimits, RecorderDropsWhatItHasNoRoomFor)
{
    constexpr int kStates = 200;
    const std::uint32_t events = load(10'000U, 200'000U);
    run_silently(load_setup(), [=] {
        DeepMachine deep(kStates);
        const auto recorder = std::make_unique<HsmRecorder>();
        HsmRecorderInit(recorder.get(), &deep.machine, nullptr);
        HsmTraceSet(&recorder->trace);
        for (std::uint32_t event = kAround; event < kAround + events; ++event) {
            deep.go(event);
        }
        HsmTraceSet(nullptr);
        std::uint64_t seen = recorder->dropped;
        for (std::uint32_t i = 0; i < recorder->transitionCount; ++i) {
            seen += recorder->transitions[i].count;
        }
        promise(number(events) + " different transitions among " + number(kStates) + " states",
                "a recorder has room for 64 states and 256 transitions, and counts the rest",
                number(recorder->stateCount) + " and " + number(recorder->transitionCount) +
                    ", all " + number(static_cast<std::int64_t>(seen)) + " counted",
                recorder->stateCount == HsmRecorderStates &&
                    recorder->transitionCount <= HsmRecorderTransitions && seen == events);
    });
}

TEST(HsmLimits, CountsOfARecorderDoNotWrap)
{
    run_silently(load_setup(), [] {
        DeepMachine deep(3);
        const auto recorder = std::make_unique<HsmRecorder>();
        HsmRecorderInit(recorder.get(), &deep.machine, nullptr);
        HsmTraceSet(&recorder->trace);
        deep.go(kToDeepest);
        deep.go(kToMaster);
        recorder->transitions[0].count = UINT32_MAX - 1;
        for (int i = 0; i < 3; ++i) {
            deep.go(kToDeepest);
            deep.go(kToMaster);
        }
        HsmTraceSet(nullptr);
        promise(
            "a transition that is seen 2^32 times and more", "it was seen at most 4294967295 times",
            "seen " + number(recorder->transitions[0].count) + " times",
            recorder->transitions[0].count == UINT32_MAX && recorder->transitions[1].count == 4);
    });
}

}  // namespace
