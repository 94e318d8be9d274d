/**
 * @file hsm_trace.h
 * Looking at state machines: a hook that is told every transition of both engines (hsm.h,
 * ls_hsm.h), and a recorder that draws what it was told as a diagram.
 *
 *     static HsmRecorder recorder;
 *     HsmRecorderInit(&recorder, &machine, event_name);
 *     HsmTraceSet(&recorder.trace);
 *     ...                                       // drive the machine
 *     HsmTraceSet(NULL);
 *     HsmRecorderToDot(&recorder, text, sizeof text);
 *
 * The handlers and the records of the machines do not change. While no hook is set, a transition
 * reads one word for it and an event that makes no transition nothing.
 *
 * A transition is told when its handler has returned, before any state is entered for it; where a
 * transition of ls_hsm.h is given another target on its way, the new one is told, too. A transition
 * of ls_hsm.h to the current state, which does nothing, is not told.
 */
#ifndef COMMON_HSM_TRACE_H
#define COMMON_HSM_TRACE_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** Which engine a machine and its states are of. */
typedef uint32_t HsmEngine;

/** Values of HsmEngine. */
enum {
    HsmEngineHsm = 0,  /**< Hsm and State of hsm.h */
    HsmEngineLsHsm = 1 /**< ls_hsm_t and ls_hsm_state_t of ls_hsm.h */
};

/** What a transition was taken for. */
typedef uint32_t HsmCause;

/** Values of HsmCause. */
enum {
    HsmCauseEvent = 0, /**< an event of the application */
    HsmCauseStart = 1  /**< a start or init event: an initial transition */
};

/** A transition, as the hook is told. */
typedef struct HsmTransition {
    HsmEngine engine;        /**< of the machine and its states */
    HsmCause cause;          /**< what it was taken for */
    const void* machine;     /**< an Hsm or ls_hsm_t */
    const char* machineName; /**< its own text */
    /**
     * The state that handled the event, which may be above the current one. For a transition that
     * is given another target on its way, the state whose callback did that.
     *
     * A state below it may be the one that asked for the transition: where a handler or callback
     * asks and passes the event on, the transition is made for the one that handles it. Only an
     * immediate transition of ls_hsm.h is from the state that does not handle the event.
     */
    const void* from;
    const void* to;  /**< its target */
    uintptr_t event; /**< as `from` got it; for HsmCauseStart the start event, or 0 */
} HsmTransition;

typedef struct HsmTrace HsmTrace;

/** Who is told. The caller owns the record, often as the first part of a larger one. */
struct HsmTrace {
    /**
     * Told each transition of each machine of the process, in the thread that drives the machine.
     * It must not drive that machine or take transitions, and it must return, as a handler must.
     */
    void (*transition)(HsmTrace* trace, const HsmTransition* transition);
    HsmTrace* next; /**< told after this one, or null; set before HsmTraceSet() */
};

/**
 * Sets who is told from now on, for all machines of the process. Atomic; may be called at any time
 * and from any thread. A machine that another thread is driving at this moment may tell the record
 * that was set before for one more time: release that one when the thread has gone on.
 * @param trace the record; null for nobody.
 * @return the record that was set before, or null.
 */
HsmTrace* HsmTraceSet(HsmTrace* trace);

/**
 * Gives the name of a state of a transition.
 * @param engine as told with the state. @param state not null. @return the state's own text.
 */
const char* HsmTraceStateName(HsmEngine engine, const void* state);

/**
 * Gives the superstate or parent of a state of a transition.
 * @param engine as told with the state. @param state not null. @return null for the top state.
 */
const void* HsmTraceStateParent(HsmEngine engine, const void* state);

/** Room in a recorder, and the parent of the outermost state in it. */
enum {
    HsmRecorderStates = 64,       /**< states at most */
    HsmRecorderTransitions = 256, /**< transitions at most */
    HsmRecorderNone = 0xFFFF      /**< no parent */
};

/** A state that was seen. */
typedef struct HsmSeenState {
    const void* state; /**< as told */
    const char* name;  /**< its own text, not copied */
    uint32_t parent;   /**< its place in `states`, before this one; or HsmRecorderNone */
} HsmSeenState;

/** A transition that was seen: each one once for a from, to, cause and event. */
typedef struct HsmSeenTransition {
    uint32_t from;         /**< place in `states` */
    uint32_t to;           /**< place in `states` */
    HsmCause cause;        /**< what it was taken for */
    uint32_t count;        /**< how often it was seen, at most 4294967295 */
    uintptr_t event;       /**< as told */
    const char* eventName; /**< null when the event has none */
} HsmSeenTransition;

/**
 * Gives the name of an event of the application. Asked for an event that a transition was taken
 * for, when the handler has returned and before a state is entered: where events are addresses of
 * messages, a message must outlive its HsmOnEvent(), or the name must not be read from it. Not
 * asked for start and init events, nor for events that make no transition.
 * @param event as told with the transition.
 * @return a text that stays valid as long as the recorder, or null: then the number is shown.
 */
typedef const char* (*HsmEventName)(uintptr_t event);

/**
 * Collects the transitions of one machine, with the states that they touch and all superstates of
 * these. The caller owns the record; it may be read like any other while its machine is not being
 * driven. Names of states are kept, not copied.
 */
typedef struct HsmRecorder {
    HsmTrace trace;                         /**< for HsmTraceSet() */
    const void* machine;                    /**< the one that is recorded */
    const char* machineName;                /**< null until a transition was seen */
    HsmEventName eventName;                 /**< names the events, or null */
    uint32_t stateCount;                    /**< states seen */
    uint32_t transitionCount;               /**< transitions seen */
    uint32_t dropped;                       /**< times that there was no room, at most 4294967295 */
    HsmSeenState states[HsmRecorderStates]; /**< parents first */
    HsmSeenTransition transitions[HsmRecorderTransitions]; /**< in the order of their first time */
} HsmRecorder;

/**
 * Sets up a recorder that has seen nothing. It records after HsmTraceSet() of its `trace`; to
 * record several machines at once, chain the recorders by `trace.next`.
 * @param recorder the record; whatever it held is overwritten.
 * @param machine the Hsm or ls_hsm_t to record; the transitions of others are ignored.
 * @param eventName names the events, or null: they are shown as decimal numbers. Events with the
 *        same name are taken for the same.
 */
void HsmRecorderInit(HsmRecorder* recorder, const void* machine, HsmEventName eventName);

/**
 * Writes what was seen as a Mermaid state diagram (stateDiagram-v2), nested as the states are.
 * @param recorder the record.
 * @param text gets at most size - 1 bytes and a terminating zero; may be null when size is 0.
 * @param size bytes of text.
 * @return the bytes of the whole text without the terminating zero: it was cut when that is not
 *         less than size.
 */
uint32_t HsmRecorderToMermaid(const HsmRecorder* recorder, char* text, uint32_t size);

/**
 * Writes what was seen as Graphviz DOT text, nested as the states are: "dot -Tsvg" draws it.
 * @param recorder, text, size as for HsmRecorderToMermaid().
 * @return as for HsmRecorderToMermaid().
 */
uint32_t HsmRecorderToDot(const HsmRecorder* recorder, char* text, uint32_t size);

COMMON_END_DECLS

#endif
