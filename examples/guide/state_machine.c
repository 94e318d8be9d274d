// A radio as a state machine, which logs what it enters and draws itself:
// "./state_machine | dot -Gnodesep=0.6 -Tsvg >state_machine.svg".
#include <stdio.h>

#include <common/common_log_macros.h>
#include <common/hsm.h>
#include <common/hsm_trace.h>

COMMON_LOG_ZONE("RADIO");

enum { kStart = 1, kEntry, kExit, kPower, kSeek, kFound };

static Hsm radio;
static State off, on, seeking, playing;

static const struct {
    const State* state;
    HsmEvent event;
    State* target;
} transitions[] = {{&radio.top, kStart, &off},   {&off, kPower, &on},
                   {&on, kStart, &seeking},      {&on, kPower, &off},
                   {&seeking, kFound, &playing}, {&playing, kSeek, &seeking}};

/** The handler of all states. @return 0 when it has taken a transition, else the event. */
static HsmEvent handle(Hsm* machine, HsmEvent event)
{
    const State* const state = machine->source;  // whose handler this is
    if (event == kEntry) {
        COMMON_LOG_INFO("enters %s", state->name);
    }
    for (size_t i = 0; i < sizeof transitions / sizeof transitions[0]; ++i) {
        if (transitions[i].state == state && transitions[i].event == event) {
            HsmStateTran_(machine, transitions[i].target);
            return 0;
        }
    }
    return event;  // for the superstate
}

static const char* event_name(uintptr_t event)
{
    static const char* const names[] = {"power", "seek", "found"};
    return names[event - kPower];
}

int main(void)
{
    static const HsmEvent events[] = {kPower, kFound, kSeek, kFound, kFound, kPower};
    static HsmRecorder recorder;
    static char picture[4096];
    HsmCtor(&radio, "radio", handle, kStart, kEntry, kExit);
    StateCtor(&off, "off", &radio.top, handle);
    StateCtor(&on, "on", &radio.top, handle);
    StateCtor(&seeking, "seeking", &on, handle);
    StateCtor(&playing, "playing", &on, handle);

    HsmRecorderInit(&recorder, &radio, event_name);
    HsmTraceSet(&recorder.trace);
    HsmOnStart(&radio);
    for (size_t i = 0; i < sizeof events / sizeof events[0]; ++i) {
        HsmOnEvent(&radio, events[i]);
    }
    HsmTraceSet(NULL);
    HsmRecorderToDot(&recorder, picture, sizeof picture);
    fputs(picture, stdout);
    return 0;
}
