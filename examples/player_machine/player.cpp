#include "player.h"

namespace player {
namespace {

// The events that the engine makes, apart from all of the player's own.
constexpr HsmEvent kInitial = 101;
constexpr HsmEvent kEntry = 102;
constexpr HsmEvent kExit = 103;

}  // namespace

const char* event_name(HsmEvent event)
{
    constexpr const char* kNames[] = {"start", "interrupt", "resume", "finished"};
    return event >= kStart && event <= kFinished ? kNames[event - kStart] : nullptr;
}

Player::Player(Entered entered, void* user) : machine_{}
{
    HsmCtor(&machine_.hsm, "player", in_top, kInitial, kEntry, kExit);
    StateCtor(&machine_.idle, "idle", &machine_.hsm.top, in_idle);
    StateCtor(&machine_.active, "active", &machine_.hsm.top, in_active);
    StateCtor(&machine_.scanning, "scanning", &machine_.active, in_scanning);
    StateCtor(&machine_.paused, "paused", &machine_.active, in_paused);
    StateCtor(&machine_.done, "done", &machine_.hsm.top, in_done);
    machine_.entered = entered;
    machine_.user = user;
}

Player::Machine& Player::of(Hsm* hsm)
{
    return *reinterpret_cast<Machine*>(hsm);
}

/// While a state is entered it is the machine's source.
HsmEvent Player::enter(Hsm* hsm)
{
    of(hsm).entered(of(hsm).user, hsm->source->name);
    return 0;
}

HsmEvent Player::go(Hsm* hsm, State Machine::*target)
{
    HsmStateTran_(hsm, &(of(hsm).*target));
    return 0;
}

HsmEvent Player::in_top(Hsm* hsm, HsmEvent event)
{
    return event == kInitial ? go(hsm, &Machine::idle) : event;
}

HsmEvent Player::in_idle(Hsm* hsm, HsmEvent event)
{
    switch (event) {
    case kEntry:
        return enter(hsm);
    case kStart:
        return go(hsm, &Machine::active);
    case kInterrupt:
        return go(hsm, &Machine::done);
    default:
        return event;
    }
}

HsmEvent Player::in_active(Hsm* hsm, HsmEvent event)
{
    switch (event) {
    case kEntry:
        return enter(hsm);
    case kInitial:
        return go(hsm, &Machine::scanning);
    case kFinished:
        return go(hsm, &Machine::done);
    default:
        return event;
    }
}

HsmEvent Player::in_scanning(Hsm* hsm, HsmEvent event)
{
    switch (event) {
    case kEntry:
        return enter(hsm);
    case kInterrupt:
        return go(hsm, &Machine::paused);
    default:
        return event;
    }
}

HsmEvent Player::in_paused(Hsm* hsm, HsmEvent event)
{
    switch (event) {
    case kEntry:
        return enter(hsm);
    case kResume:
        return go(hsm, &Machine::scanning);
    case kInterrupt:
        return go(hsm, &Machine::done);
    default:
        return event;
    }
}

HsmEvent Player::in_done(Hsm* hsm, HsmEvent event)
{
    return event == kEntry ? enter(hsm) : event;
}

}  // namespace player
