/**
 * @file ls_hsm.h
 * A hierarchical state machine with typed events, a hook for what goes wrong, and immediate
 * transitions.
 *
 * States form a tree below the machine's own master state, and each has one callback. A user event
 * is offered to the current state and, while callbacks return non-zero, to the parents in turn. A
 * callback asks for a transition by ls_hsm_transition() and returns 0; the engine then leaves
 * states up to the least common ancestor (exit events), enters states down to the target (entry
 * events) and offers the target an init event, by which it may ask for a further transition into
 * one of its substates. Or a callback asks by ls_hsm_immediate_transition() and returns non-zero:
 * then the same event is offered again, to the state that the transition leads to.
 *
 * A machine is set up by ls_hsm_init(), its states by ls_hsm_state_init(), started by ls_hsm_run()
 * and driven by ls_hsm_dispatch().
 *
 * - All records are the caller's and must outlive the machine's use; names are not copied. Nothing
 *   is allocated or logged.
 * - Null arguments end the process by an assertion, as told with each function. What goes wrong at
 *   run time is told to the machine's hook and never ends the process.
 * - A dispatch while another one runs on the machine, from another thread or from a callback, is
 *   refused and not queued. Nothing else is protected: drive a machine from one thread.
 * - A callback or hook must return: not throw, not jump out of it and not end its thread, nor be
 *   cancelled with it. The machine would stay busy for good and refuse every dispatch.
 * - States may be nested as deep as the stack has room for: a transition takes one pointer for each
 *   level of its target, but not more than the machine's depth, and nothing else that grows.
 * - hsm_trace.h shows the transitions of a machine without a change in its callbacks.
 */
#ifndef COMMON_LS_HSM_H
#define COMMON_LS_HSM_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** What an event is for. */
enum {
    LS_HSM_EVENT_INIT = 0,  /**< offered to a target after it was entered */
    LS_HSM_EVENT_ENTRY = 1, /**< offered to a state when it is entered */
    LS_HSM_EVENT_EXIT = 2,  /**< offered to a state when it is left */
    LS_HSM_EVENT_USER = 3   /**< of ls_hsm_dispatch() */
};

/** Codes that the hook gets, and the state that comes with each. */
enum {
    /** The path from the target up to the least common ancestor, both included, has more states
     * than the machine's depth. The transition ends where it is. Current state. */
    LS_HSM_HOOK_DEPTH = 0,
    /** A callback refused an exit, entry or init event, and the transition ended there. The state
     * of that callback. */
    LS_HSM_HOOK_REFUSED = 1,
    /** No state handled an event, or the master state refused the start. Current state. */
    LS_HSM_HOOK_UNHANDLED = 2,
    /** The target is in another tree. Everything up to the master state was left. Current state. */
    LS_HSM_HOOK_NO_COMMON_ANCESTOR = 3,
    /** A dispatch was refused because one is running. The state that was current when it was, which
     * the running dispatch may have left since. */
    LS_HSM_HOOK_BUSY = 4
};

typedef struct ls_hsm ls_hsm_t;             /**< a machine */
typedef struct ls_hsm_state ls_hsm_state_t; /**< a state */

/** An event as callbacks get it, valid during the call. */
typedef struct ls_hsm_event {
    uint32_t type;  /**< LS_HSM_EVENT_INIT to LS_HSM_EVENT_USER */
    uint32_t value; /**< of a user event; else 0 */
} ls_hsm_event_t;

/**
 * The callback of a state.
 * @param machine the machine.
 * @param event the event.
 * @param userData of the machine.
 * @param state the state itself with exit, entry and init events of a transition and with the first
 *        entry event of the master state. Null with user events and with the first init event of
 *        ls_hsm_run(): do not rely on it for those.
 * @return 0 when the event was handled; non-zero when not, which is a failure for exit, entry and
 *         init events.
 */
typedef int (*ls_hsm_callback_t)(ls_hsm_t* machine, const ls_hsm_event_t* event, void* userData,
                                 ls_hsm_state_t* state);

/**
 * The hook of a machine. It runs in the thread that drives the machine, but with LS_HSM_HOOK_BUSY
 * in the one whose dispatch was refused: that may be another thread, and then it runs beside the
 * callbacks of the dispatch that goes on, and beside itself. What it shares with them is for the
 * application to protect; of the machine it may read the name and the user data only.
 * @param machine the machine.
 * @param code LS_HSM_HOOK_DEPTH to LS_HSM_HOOK_BUSY.
 * @param state as told with the codes.
 * @param event what was offered or refused; the exit event for LS_HSM_HOOK_DEPTH and
 *        LS_HSM_HOOK_NO_COMMON_ANCESTOR.
 * @param userData of the machine.
 * @return becomes the result of the refused ls_hsm_dispatch() or ls_hsm_run(), or of the refused
 *         start; else it does not matter.
 */
typedef int (*ls_hsm_hook_t)(ls_hsm_t* machine, uint32_t code, ls_hsm_state_t* state,
                             const ls_hsm_event_t* event, void* userData);

/** A state. Set it up by ls_hsm_state_init(). */
struct ls_hsm_state {
    ls_hsm_state_t* parent;     /**< null only for a master state */
    ls_hsm_callback_t callback; /**< is offered its events */
    const char* name;           /**< not owned */
    int32_t depth;              /**< the parent's and 1; 0 for a master state */
};

/** A machine. Set it up by ls_hsm_init(). */
struct ls_hsm {
    void* userData;                  /**< handed to every callback and to the hook */
    const char* name;                /**< not owned */
    ls_hsm_state_t* origin;          /**< current when the running, or latest, transition began */
    ls_hsm_state_t* current;         /**< written atomically once the machine is started */
    ls_hsm_state_t* target;          /**< of the pending transition, or null */
    ls_hsm_state_t* immediateTarget; /**< of the pending immediate transition, or null */
    ls_hsm_state_t master;           /**< named "master" */
    int32_t depth;                   /**< slots of a transition's path at most */
    uint32_t busy;                   /**< non-zero during a dispatch; changed atomically */
    ls_hsm_hook_t hook;              /**< may be null */
};

/**
 * Sets up a machine with its master state.
 * @param machine the record; whatever it held is overwritten. Null ends the process ("ls_hsm").
 * @param name kept, not copied.
 * @param userData handed to every callback and to the hook.
 * @param callback of the master state. Null ends the process ("callback").
 * @param hook called on every abnormal outcome; may be null.
 * @param depth how many states the longest path from a target up to a least common ancestor has,
 *        both included: one more than the depth of the deepest state is always enough, and so is
 *        INT32_MAX. At least 1, else the process ends ("depth > 0").
 */
void ls_hsm_init(ls_hsm_t* machine, const char* name, void* userData, ls_hsm_callback_t callback,
                 ls_hsm_hook_t hook, int32_t depth);

/**
 * Sets up a state.
 * @param state the record. Null ends the process ("state").
 * @param name kept, not copied.
 * @param parent set up before; `&machine->master` for the outermost states. Null ends the process
 *        ("parent").
 * @param callback of the state. Null ends the process ("callback").
 */
void ls_hsm_state_init(ls_hsm_state_t* state, const char* name, ls_hsm_state_t* parent,
                       ls_hsm_callback_t callback);

/**
 * Starts a machine: enters the master state and offers it an init event, as ls_hsm_dispatch() does
 * with a user event.
 * @param machine set up, with its states. Null ends the process ("ls_hsm").
 * @return 1 when the init event was dispatched, whatever came of it, and what ls_hsm_dispatch()
 *         returns when it was refused. When the master state refused the entry event, the result of
 *         the hook (LS_HSM_HOOK_UNHANDLED), or of the callback when there is no hook.
 */
int ls_hsm_run(ls_hsm_t* machine);

/**
 * Dispatches a user event.
 * @param machine a started machine. Null ends the process ("ls_hsm").
 * @param value of the event; any value.
 * @return 1 after a completed dispatch, also when something went wrong in it: do not read it as a
 *         failure. When a dispatch was running, the result of the hook (LS_HSM_HOOK_BUSY), or 1
 *         without a hook.
 */
int ls_hsm_dispatch(ls_hsm_t* machine, uint32_t value);

/**
 * Asks for a transition that is made after the callback has returned 0. For callbacks. In a user or
 * init event the last one counts. In the exit or entry event of a transition it changes the target
 * of that transition, which goes on from the state reached so far; a state that changes the target
 * in its exit event is offered the exit event again.
 *
 * A transition to the current state does nothing: nothing is left or entered, and `target` stays
 * set. It also stays set after a transition that went wrong; then the next handled event makes it
 * again, unless another one was asked for.
 * @param machine null ends the process ("ls_hsm").
 * @param state the target. Null ends the process ("state").
 */
void ls_hsm_transition(ls_hsm_t* machine, ls_hsm_state_t* state);

/**
 * Asks for a transition after which the same event is offered to the new current state. For
 * callbacks that then return non-zero. When the transition fails, the event is dropped.
 * @param machine null ends the process ("ls_hsm").
 * @param state the target. Null ends the process ("state").
 */
void ls_hsm_immediate_transition(ls_hsm_t* machine, ls_hsm_state_t* state);

COMMON_END_DECLS

#endif
