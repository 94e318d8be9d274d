// The state machine of a player: what a long job goes through that can be started, paused by an
// interrupt and given up by a second one. The media scanner runs by it.
#pragma once

#include "hsm.h"

namespace player {

/// What happens to a player.
enum Event : HsmEvent { kStart = 1, kInterrupt, kResume, kFinished };

/// The name of an event for diagrams; null for another number.
const char* event_name(HsmEvent event);

/// A player. It calls `entered` with the name of each state that it enters: "idle", "active",
/// "scanning" or "paused" within "active", and "done".
class Player {
public:
    using Entered = void (*)(void* user, const char* state);

    Player(Entered entered, void* user);
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Goes to "idle". Called first, and again to begin anew: the states that the player is in then
    /// are not left.
    void start() { HsmOnStart(&machine_.hsm); }
    void handle(Event event) { HsmOnEvent(&machine_.hsm, event); }
    const char* state() const { return machine_.hsm.current->name; }
    const Hsm* hsm() const { return &machine_.hsm; }

private:
    /// The engine's record comes first, so that handlers find the rest of the player around it.
    struct Machine {
        Hsm hsm;
        State idle;
        State active;
        State scanning;
        State paused;
        State done;
        Entered entered;
        void* user;
    };

    static Machine& of(Hsm* hsm);
    static HsmEvent in_top(Hsm* hsm, HsmEvent event);
    static HsmEvent in_idle(Hsm* hsm, HsmEvent event);
    static HsmEvent in_active(Hsm* hsm, HsmEvent event);
    static HsmEvent in_scanning(Hsm* hsm, HsmEvent event);
    static HsmEvent in_paused(Hsm* hsm, HsmEvent event);
    static HsmEvent in_done(Hsm* hsm, HsmEvent event);
    static HsmEvent enter(Hsm* hsm);
    static HsmEvent go(Hsm* hsm, State Machine::*target);

    Machine machine_;
};

}  // namespace player
