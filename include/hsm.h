/**
 * @file hsm.h
 * A compact hierarchical state machine.
 *
 * States form a tree below one top state, and each has one handler. An event is offered to the
 * current state and, while it is not handled, to the superstates in turn. A transition leaves
 * states up to the least common ancestor of its source and its target, enters states down to the
 * target, and then lets the target take an initial transition further down by its start event.
 *
 * A machine is constructed by HsmCtor(), started once by HsmOnStart() and then driven by
 * HsmOnEvent(). A handler takes a transition by HsmStateTran_():
 *
 *     static HsmEvent idle(Hsm* machine, HsmEvent event)
 *     {
 *         switch (event) {
 *         case PLAY:
 *             HsmStateTran_(machine, &playing);
 *             return 0;
 *         default:
 *             return event;
 *         }
 *     }
 *
 * - All records are the caller's and must outlive the machine's use; names are not copied. Nothing
 *   is allocated, logged or locked. A machine is driven by one thread at a time, and its handlers
 *   run in that thread, inside HsmOnStart() and HsmOnEvent().
 * - States may be nested 7 deep below the top state, as one transition may enter at most 7 states,
 *   those below the least common ancestor down to the target. This is not tested, and neither are
 *   null arguments, null handlers, states that do not lead up to the machine's top state, and
 *   cycles: such errors have undefined results.
 * - A handler must return: not throw, not jump out of it and not end its thread. What was left or
 *   entered until then stays so, and a transition that was pending is pending for good, so that
 *   the next one ends the process.
 * - A handler should not call HsmOnEvent() for its own machine. The inner event would be handled at
 *   once and in full, and the handler would go on with the `source` that this leaves behind.
 * - hsm_trace.h shows the transitions of a machine without a change in its handlers.
 */
#ifndef COMMON_HSM_H
#define COMMON_HSM_H

#include "common_api.h"

COMMON_BEGIN_DECLS

typedef struct Hsm Hsm;
typedef struct State State;

/** An event: a code of the application's choice or the address of its message, never 0. */
typedef uintptr_t HsmEvent;

/**
 * The handler of a state. It gets the application's events and the three reserved ones; what it
 * returns for entry and exit events does not matter, nor for start events.
 * @param machine the machine; an application that embeds it finds its own data around it.
 * @param event the event, or what the substate returned for it.
 * @return 0 when the event was handled; else an event, normally the given one, that is then offered
 *         to the superstate.
 */
typedef HsmEvent (*HsmHandler)(Hsm* machine, HsmEvent event);

/** A state. */
struct State {
    State* super;       /**< null for the top state */
    HsmHandler handler; /**< is offered its events */
    const char* name;   /**< not owned */
};

/** A machine. Between dispatches `next` is null. */
struct Hsm {
    const char* name; /**< not owned */
    State* current;   /**< the innermost state that it is in */
    State* next;      /**< target of the transition in progress, or null */
    /** The state whose handler runs, also for start and entry events. While states are left it
     * stays where the event is handled. */
    State* source;
    State top;           /**< named "top" */
    HsmEvent startEvent; /**< offered to a state after it was entered as a target */
    HsmEvent entryEvent; /**< offered to a state when it is entered */
    HsmEvent exitEvent;  /**< offered to a state when it is left */
};

/**
 * Fills a state.
 * @param state the record; whatever it held is overwritten.
 * @param name kept, not copied.
 * @param super the superstate, `&machine->top` for the outermost states.
 * @param handler its handler.
 */
void StateCtor(State* state, const char* name, State* super, HsmHandler handler);

/**
 * Fills a machine: its name, its top state and the reserved events. The fields current, next and
 * source are left as they are until HsmOnStart().
 * @param machine the record.
 * @param name kept, not copied.
 * @param topHandler the handler of the top state.
 * @param startEvent, entryEvent, exitEvent chosen by the application: different from 0, from each
 *        other and from all its own events.
 */
void HsmCtor(Hsm* machine, const char* name, HsmHandler topHandler, HsmEvent startEvent,
             HsmEvent entryEvent, HsmEvent exitEvent);

/**
 * Enters the top state, offers it the start event and follows the initial transitions that start
 * events take, until one takes none. Called again, it starts the machine anew: no state is left.
 */
void HsmOnStart(Hsm* machine);

/**
 * Dispatches one event: offers it to the current state and then to the superstates, each time as
 * the substate returned it, until a handler returns 0. An event that nobody handles is dropped
 * silently. When the handler took a transition, the states down to the target are entered and
 * initial transitions are followed as in HsmOnStart().
 * @param machine a started machine.
 * @param event any value but those of the reserved events.
 */
void HsmOnEvent(Hsm* machine, HsmEvent event);

/**
 * Takes a transition. For handlers only, while they handle an event or the start event, and at most
 * once: leaves states at once up to the least common ancestor of the state whose handler runs and
 * the target. The target is entered after the handler has returned 0. A target that is the
 * handler's own state is left and entered again; for one of its substates the own state is not
 * left.
 *
 * A second transition while one is pending, also one from an entry or exit action, ends the process
 * by the assertion "me_->next == 0".
 */
void HsmStateTran_(Hsm* machine, State* target);

/**
 * A step of HsmStateTran_(), for handlers that need it: leaves the substates of the state whose
 * handler runs, and then more states.
 * @param machine the machine.
 * @param toLca how many states to leave from that state on; 0 leaves only its substates.
 */
void HsmExit_(Hsm* machine, uint8_t toLca);

/**
 * A step of HsmStateTran_(), for handlers that need it: counts the states to leave, from the state
 * whose handler runs, up to the least common ancestor of it and the target.
 * @return 1 for the state itself; 0 when there is no source, no target or no common ancestor.
 */
uint8_t HsmToLCA_(Hsm* machine, State* target);

COMMON_END_DECLS

#endif
