/**
 * @file common_wdm.h
 * A software watchdog: a client subscribes a handler with a time-out and must tickle it before the
 * time is over; otherwise the handler is started, once, in a thread of its own.
 *
 * A watchdog has one monitor thread, which sleeps while there is nothing to do and blocks all
 * signals. Clients never take a lock and never wait: subscribing, tickling and unsubscribing are a
 * few atomic operations (and an allocation and a wake-up to subscribe). They may be called from any
 * thread at any time, several at once, for one subscriber or many.
 *
 * - All times are whole seconds of the monotonic clock. A deadline is the current second plus the
 *   time-out, and a handler is started within the second in which the deadline falls: with a
 *   time-out of 3 between 2 and 4 seconds after the last tickle, as a rule close to 3. All whose
 *   deadline falls in one second are picked out together; their handlers then start one after the
 *   other, of very many the last ones a little later.
 * - A second that has passed is never made up for: the handler of a subscriber whose deadline
 *   passed while the whole process was stopped is not started any more. The monitor looks at it
 *   every second from then on, so that it is watched again once it is tickled, with 2 seconds at
 *   least, or unsubscribed. A time-out above 2147483647 is such a deadline from the start.
 * - A tickle moves the deadline and does nothing else; the monitor, which sleeps until the first
 *   deadline that it knows of, is not told. So a deadline that is brought nearer is met only if the
 *   monitor looks in time; otherwise its second passes unseen, with what the rule above says.
 *   Whoever needs a shorter time-out unsubscribes the subscriber and subscribes a new one, which
 *   wakes the monitor.
 * - The life of a subscriber: created; subscribed; then either tickled again and again, or expired
 *   (its handler is started), or unsubscribed. An expired subscriber is not watched any more and is
 *   its client's again, from the start of its handler on: the client may subscribe it anew, also
 *   from the handler itself, or unsubscribe it.
 * - A subscriber may be subscribed to several watchdogs, and each of them watches it, also when
 *   another one is destroyed. Its handler is started by the first that meets the deadline, once.
 * - A subscriber belongs to its client from COMMON_wdm_Create_Subscriber() to
 *   COMMON_wdm_Unsubscribe(), which gives it away: after that no function may be called with it.
 *   Memory is that of malloc(3).
 * - The monitor and the handlers run in detached threads with the platform's default attributes.
 *   They inherit what threads inherit from the one that called COMMON_wdm_Init(); a handler's
 *   signal mask is the one of that call, too. A handler that blocks delays nobody.
 * - The monitor and the threads of handlers are named `common-wdm`, where tools show threads by
 *   name. A thread that a handler starts inherits that, as Linux has it, until it is named itself.
 *   A child that one of these forks has the name of the process.
 * - A child of fork() has no monitor. There a watchdog watches nothing and starts nothing; the
 *   child may call all functions, and releases its copy with COMMON_wdm_Destroy(). What another
 *   thread was just adding or removing at the moment of the fork may remain allocated there.
 *
 * Nothing is reported.
 */
#ifndef COMMON_WDM_H
#define COMMON_WDM_H

#include <semaphore.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/** What is started, as a thread, when a subscriber was not tickled in time. */
typedef void* (*COMMON_wdm_Handler_t)(void* argument);

/** A subscriber. Use the functions below rather than the fields. */
typedef struct COMMON_wdm_Subscriber {
    uint32_t deadline;            /**< monotonic seconds; set by the first tickle */
    uint32_t unsubscribed;        /**< 0 or 1 */
    uint32_t fired;               /**< 0 or 1 */
    COMMON_wdm_Handler_t handler; /**< started when the time is over, or null */
    void* argument;               /**< handed to the handler */
    /* private */
    uint32_t holders; /**< its client and the nodes that lead to it: the last one frees it */
} COMMON_wdm_Subscriber;

/** A node of a watchdog's queue. */
typedef struct COMMON_wdm_Node {
    /** The next node; 0 at the tail; all ones on the anchor while the monitor sleeps for want of
     * subscribers. */
    uintptr_t next;
    COMMON_wdm_Subscriber* subscriber; /**< null for the anchor */
} COMMON_wdm_Node;

/** A watchdog. Use the functions below rather than the fields. */
typedef struct COMMON_wdm {
    COMMON_wdm_Node* head;  /**< the first node */
    COMMON_wdm_Node* tail;  /**< the node that was added last */
    COMMON_wdm_Node anchor; /**< first and last node of an empty queue */
    sem_t wake;             /**< the monitor sleeps on it while nobody is subscribed */
    /* private */
    COMMON_wdm_Node end; /**< ends the monitor that meets it in the queue */
    sem_t ended;         /**< posted by the monitor as its last deed */
    uint32_t monitored;  /**< 1 when there is a monitor */
    uint32_t waiting;    /**< 1 while the monitor may sleep at the tail */
    uint32_t forks;      /**< tells a forked child from the process that made the watchdog */
} COMMON_wdm;

/**
 * Makes a watchdog and starts its monitor.
 * @return the watchdog, to be released with COMMON_wdm_Destroy(); null without memory. Only that is
 *         a failure: where the platform refuses the thread, or what it waits with, nothing is
 *         watched.
 */
COMMON_MUST_USE COMMON_wdm* COMMON_wdm_Init(void);

/**
 * Makes a subscriber, which is watched only after COMMON_wdm_Subscribe().
 * @param handler started when the time is over; with null nothing is started.
 * @param argument handed to the handler.
 * @return the subscriber; null without memory.
 */
COMMON_MUST_USE COMMON_wdm_Subscriber* COMMON_wdm_Create_Subscriber(COMMON_wdm_Handler_t handler,
                                                                    void* argument);

/**
 * Has a subscriber watched from now on, and wakes the monitor. It is tickled, and an expired one is
 * watched anew. One that is watched already is tickled and takes another place in the queue, until
 * its watch ends: to keep it alive, tickle it.
 * @param watchdog null is ignored.
 * @param subscriber null is ignored. Without memory it is left as it was.
 * @param timeout_s seconds; 0 expires at once.
 */
void COMMON_wdm_Subscribe(COMMON_wdm* watchdog, COMMON_wdm_Subscriber* subscriber,
                          uint32_t timeout_s);

/**
 * Moves a subscriber's deadline to a time from now: one atomic exchange. It may be called by signal
 * handlers, too.
 * @param subscriber null is ignored.
 * @param timeout_s seconds. A deadline that comes nearer by this may pass unseen, see above.
 */
void COMMON_wdm_Tickle(COMMON_wdm_Subscriber* subscriber, uint32_t timeout_s);

/**
 * Ends the watch, by all watchdogs, and gives the subscriber away: its handler is not started any
 * more (but for one that is being started at this moment), and the monitor frees the record when it
 * next clears its queue, as a rule at the latest when the deadline comes. One that is not in a
 * queue (never subscribed, or expired) is freed at once.
 * @param subscriber null is ignored; must not be used or freed any more.
 */
void COMMON_wdm_Unsubscribe(COMMON_wdm_Subscriber* subscriber);

/**
 * Ends the monitor and releases a watchdog with its queue and the subscribers that were
 * unsubscribed. All others remain their clients', who release them with COMMON_wdm_Unsubscribe().
 * Waits until the monitor has ended, which it does at once. Handlers that were started go on.
 * @param watchdog null is ignored. Nobody else may use it any more.
 */
void COMMON_wdm_Destroy(COMMON_wdm* watchdog);

COMMON_END_DECLS

#endif
