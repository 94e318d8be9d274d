/**
 * @file client_nodes.h
 * Lists of clients, each with a queue of events. An event for all clients is copied into the queue
 * of each.
 *
 * The same functions are there twice: NodeMulti_* on a list record of the caller's, which starts as
 * {NULL, NULL}, and Node_* on the one list of the process, which starts empty. A client reads its
 * events in order of arrival: get one, then delete the head.
 *
 * The nodes and the copies of events belong to the list and come from malloc(3). Deleting a client
 * does not free its events: drain its queue first.
 *
 * Nothing is logged, and nothing is locked: one thread at a time uses a list, and the list of the
 * process above all. A null list or client where one is required, and null bytes of an event that
 * has any and a client to go to, end the process by an assertion (source "client_nodes").
 */
#ifndef COMMON_CLIENT_NODES_H
#define COMMON_CLIENT_NODES_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/** An event in the queue of one client. */
typedef struct EventNode {
    void* data;                 /**< a copy of the event's bytes; null when there was no memory */
    struct EventNode* next;     /**< the one that came after it, or null */
    struct EventNode* previous; /**< the one that came before it, or null */
} EventNode;

/** A client. */
typedef struct ClientNode {
    EventNode* eventHead;        /**< the oldest event, or null */
    EventNode* eventTail;        /**< the latest event, or null */
    uint32_t clientId;           /**< the key it was added with */
    uintptr_t userData;          /**< the caller's; 0 at first */
    struct ClientNode* next;     /**< the client added after it, or null */
    struct ClientNode* previous; /**< the client added before it, or null */
    uint8_t userFlag;            /**< the caller's; 0 at first */
} ClientNode;

/** A list of clients. */
typedef struct ClientList {
    ClientNode* head; /**< the first client, or null */
    ClientNode* tail; /**< the last client, or null */
} ClientList;

/** The first client of the process's list, or null. Only the Node_ functions change it. */
extern ClientNode* clientListHead;

/** The last client of the process's list, or null. Only the Node_ functions change it. */
extern ClientNode* clientListEnd;

/**
 * Adds a client at the end of the process's list. The same number may be added again.
 * @param id any number.
 * @return the client, owned by the list; null when there is no memory.
 */
ClientNode* Node_AddClientNode(uint32_t id);

/**
 * Finds the first client of the process's list that has a number.
 * @param id the number.
 * @return the client, owned by the list, or null.
 */
ClientNode* Node_FindClientNode(uint32_t id);

/**
 * Takes the first client that has a number out of the process's list and frees it, but not its
 * events.
 * @param id the number; does nothing when no client has it.
 * @return null.
 */
ClientNode* Node_DeleteClientNode(uint32_t id);

/** Gives the first client of the process's list. @return it, owned by the list, or null. */
ClientNode* Node_GetClientHead(void);

/**
 * Adds an event to each client of the process's list, first to last, as Node_AddEventNode() does.
 * @param data at least `size` bytes, which are copied for each client; may be null when size is 0
 * or there is no client.
 * @param size bytes.
 * @return null.
 */
EventNode* Node_AddEvent(const void* data, uint32_t size);

/**
 * Adds an event at the end of a client's queue.
 * @param data at least `size` bytes, which are copied; may be null when size is 0.
 * @param size bytes.
 * @param client whose queue it is.
 * @return the event, owned by the client; its data is null when there was no memory for the copy.
 *         Null, and nothing added, when there is no memory for the event itself.
 */
EventNode* Node_AddEventNode(const void* data, uint32_t size, ClientNode* client);

/**
 * Gives the bytes of the oldest event of a client.
 * @param client may be null.
 * @return its data, owned by the client; null without client, event or copy.
 */
void* Node_GetEvent(const ClientNode* client);

/**
 * Takes the oldest event out of a client's queue and frees it with its copy.
 * @param client may be null, and its queue empty: nothing happens then.
 * @return null.
 */
EventNode* Node_DeleteEventHead(ClientNode* client);

/**
 * Does nothing: what it would show is not written.
 * @param event the first event of a queue, or null.
 */
void Node_PrintEventList(const EventNode* event);

/**
 * Does nothing: what it would show is not written.
 * @param client the first client of a list, or null.
 */
void Node_PrintClientList(const ClientNode* client);

/**
 * Adds a client at the end of a list. The same number may be added again.
 * @param list the list.
 * @param id any number.
 * @return as for Node_AddClientNode().
 */
ClientNode* NodeMulti_AddClientNode(ClientList* list, uint32_t id);

/**
 * Finds the first client of a list that has a number.
 * @param list the list.
 * @param id the number.
 * @return the client, owned by the list, or null.
 */
ClientNode* NodeMulti_FindClientNode(const ClientList* list, uint32_t id);

/**
 * Takes the first client that has a number out of a list and frees it, but not its events.
 * @param list the list.
 * @param id the number; does nothing when no client has it.
 * @return null.
 */
ClientNode* NodeMulti_DeleteClientNode(ClientList* list, uint32_t id);

/** Gives the first client. @param list the list. @return it, owned by the list, or null. */
ClientNode* NodeMulti_GetClientHead(const ClientList* list);

/**
 * Adds an event to each client of a list, first to last, as NodeMulti_AddEventNode() does.
 * @param list the list.
 * @param data, size as for Node_AddEvent().
 * @return null.
 */
EventNode* NodeMulti_AddEvent(ClientList* list, const void* data, uint32_t size);

/** Is Node_AddEventNode(). @param data, size, client as there. @return as there. */
EventNode* NodeMulti_AddEventNode(const void* data, uint32_t size, ClientNode* client);

/** Is Node_GetEvent(). @param client as there. @return as there. */
void* NodeMulti_GetEvent(const ClientNode* client);

/** Is Node_DeleteEventHead(). @param client as there. @return null. */
EventNode* NodeMulti_DeleteEventHead(ClientNode* client);

/** Is Node_PrintEventList(). @param event as there. */
void NodeMulti_PrintEventList(const EventNode* event);

/** Is Node_PrintClientList(). @param client as there. */
void NodeMulti_PrintClientList(const ClientNode* client);

COMMON_END_DECLS

#endif
