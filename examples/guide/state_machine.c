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

/** Takes a transition: the event is handled. */
static HsmEvent go(Hsm* machine, State* target)
{
    HsmStateTran_(machine, target);
    return 0;
}

static HsmEvent top_handler(Hsm* machine, HsmEvent event)
{
    return event == kStart ? go(machine, &off) : event;
}

static HsmEvent handler(Hsm* machine, HsmEvent event)
{
    const State* const state = machine->source;  // whose handler this is
    if (event == kEntry) {
        COMMON_LOG_INFO("enters %s", state->name);
    } else if (event == kPower && state == &off) {
        return go(machine, &on);
    } else if (event == kStart && state == &on) {
        return go(machine, &seeking);
    } else if (event == kPower && state == &on) {
        return go(machine, &off);
    } else if (event == kFound && state == &seeking) {
        return go(machine, &playing);
    } else if (event == kSeek && state == &playing) {
        return go(machine, &seeking);
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
    HsmCtor(&radio, "radio", top_handler, kStart, kEntry, kExit);
    StateCtor(&off, "off", &radio.top, handler);
    StateCtor(&on, "on", &radio.top, handler);
    StateCtor(&seeking, "seeking", &on, handler);
    StateCtor(&playing, "playing", &on, handler);

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
