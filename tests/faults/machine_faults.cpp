// Scenarios of the fault sweep: the state machines and their recorder, which never call the C
// library.
#include "scenario.h"

using namespace faults;

namespace {

HsmEvent handle(Hsm* /*machine*/, HsmEvent /*event*/)
{
    return 0;
}

/// A machine with one state below the top one.
struct Machine {
    Hsm hsm;
    State state;

    Machine()
    {
        HsmCtor(&hsm, "machine", handle, 1, 2, 3);
        StateCtor(&state, "state", &hsm.top, handle);
    }
};

SCENARIO(MachineRuns)
{
    Hsm hsm;
    State state;
    CALL(HsmCtor, &hsm, "machine", handle, 1, 2, 3);
    CALL(StateCtor, &state, "state", &hsm.top, handle);
    CALL(HsmOnStart, &hsm);
    CALL(HsmOnEvent, &hsm, 4);
    EXPECT_EQ(hsm.current, &hsm.top);
}

SCENARIO(MachineTakesATransition)
{
    Machine machine;
    HsmOnStart(&machine.hsm);
    machine.hsm.source = machine.hsm.current;
    EXPECT_EQ(CALL(HsmToLCA_, &machine.hsm, &machine.state), 0);
    CALL(HsmExit_, &machine.hsm, 0);
    CALL(HsmStateTran_, &machine.hsm, &machine.state);
    EXPECT_EQ(machine.hsm.next, &machine.state);
}

SCENARIO(MachineIsRecorded)
{
    Machine machine;
    HsmRecorder recorder;
    CALL(HsmRecorderInit, &recorder, &machine.hsm, nullptr);
    EXPECT_EQ(CALL(HsmTraceSet, &recorder.trace), nullptr);
    HsmOnStart(&machine.hsm);
    HsmTraceSet(nullptr);
    char text[1024];
    EXPECT_NE(CALL(HsmRecorderToMermaid, &recorder, text, sizeof text), 0U);
    EXPECT_NE(CALL(HsmRecorderToDot, &recorder, text, sizeof text), 0U);
    EXPECT_STREQ(CALL(HsmTraceStateName, HsmEngineHsm, &machine.state), "state");
    EXPECT_EQ(CALL(HsmTraceStateParent, HsmEngineHsm, &machine.state), &machine.hsm.top);
}

int accept(ls_hsm_t* /*machine*/, const ls_hsm_event_t* /*event*/, void* /*data*/,
           ls_hsm_state_t* /*state*/)
{
    return 0;
}

SCENARIO(OtherMachineRuns)
{
    ls_hsm_t machine;
    ls_hsm_state_t state;
    CALL(ls_hsm_init, &machine, "machine", nullptr, accept, nullptr, 4);
    CALL(ls_hsm_state_init, &state, "state", &machine.master, accept);
    EXPECT_EQ(CALL(ls_hsm_run, &machine), 1);
    CALL(ls_hsm_transition, &machine, &state);
    CALL(ls_hsm_dispatch, &machine, 1);
    CALL(ls_hsm_immediate_transition, &machine, &state);
}

}  // namespace
