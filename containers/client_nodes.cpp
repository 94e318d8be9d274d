#include "client_nodes.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "foundation/source.h"
#include "platform/assertion.h"

// The list of the process, which nothing guards: callers serialise. A forked child has a copy.
constinit ClientNode* clientListHead = nullptr;
constinit ClientNode* clientListEnd = nullptr;

namespace common::client {
namespace {

constexpr Source kSource{"client_nodes"};

static_assert(offsetof(ClientList, head) == 0);
static_assert(offsetof(ClientList, tail) == sizeof(void*));
static_assert(offsetof(EventNode, data) == 0);
static_assert(offsetof(EventNode, next) == sizeof(void*));
static_assert(offsetof(EventNode, previous) == 2 * sizeof(void*));
static_assert(offsetof(ClientNode, eventHead) == 0);
static_assert(offsetof(ClientNode, eventTail) == sizeof(void*));
static_assert(offsetof(ClientNode, clientId) == 2 * sizeof(void*));
static_assert(offsetof(ClientNode, userData) == 3 * sizeof(void*));
static_assert(offsetof(ClientNode, next) == 4 * sizeof(void*));
static_assert(offsetof(ClientNode, previous) == 5 * sizeof(void*));
static_assert(offsetof(ClientNode, userFlag) == 6 * sizeof(void*));
static_assert(sizeof(ClientNode) == 7 * sizeof(void*));

/// Puts a node behind the last one of a doubly linked chain.
template <typename Node>
void append(Node*& head, Node*& tail, Node* node) noexcept
{
    node->next = nullptr;
    node->previous = tail;
    (tail == nullptr ? head : tail->next) = node;
    tail = node;
}

/// Takes a node out of its chain.
template <typename Node>
void unlink_node(Node*& head, Node*& tail, const Node* node) noexcept
{
    (node->previous == nullptr ? head : node->previous->next) = node->next;
    (node->next == nullptr ? tail : node->next->previous) = node->previous;
}

ClientNode* find(ClientNode* client, std::uint32_t id) noexcept
{
    while (client != nullptr && client->clientId != id) {
        client = client->next;
    }
    return client;
}

ClientNode* add(ClientNode*& head, ClientNode*& tail, std::uint32_t id) noexcept
{
    auto* const client = static_cast<ClientNode*>(std::malloc(sizeof(ClientNode)));
    if (client != nullptr) {
        *client = ClientNode{};
        client->clientId = id;
        append(head, tail, client);
    }
    return client;
}

void remove(ClientNode*& head, ClientNode*& tail, std::uint32_t id) noexcept
{
    ClientNode* const client = find(head, id);
    if (client != nullptr) {
        unlink_node(head, tail, client);
        // Oddity: its events stay: callers may still hold them.
        // Test: ClientNodes.DeletingAClientLeavesItsEvents.
        std::free(client);
    }
}

EventNode* add_event(const void* data, std::uint32_t size, ClientNode* client) noexcept
{
    auto* const event = static_cast<EventNode*>(std::malloc(sizeof(EventNode)));
    if (event == nullptr) {
        return nullptr;
    }
    append(client->eventHead, client->eventTail, event);
    event->data = std::malloc(size);
    if (event->data != nullptr && size != 0) {
        std::memcpy(event->data, data, size);
    }
    return event;
}

void add_event_to_all(const void* data, std::uint32_t size, ClientNode* client) noexcept
{
    for (; client != nullptr; client = client->next) {
        add_event(data, size, client);
    }
}

}  // namespace
}  // namespace common::client

using namespace common::client;

extern "C" {

ClientNode* NodeMulti_AddClientNode(ClientList* list, uint32_t id)
{
    COMMON_ASSERT(kSource, list != nullptr, "((void *)0) != list");
    return add(list->head, list->tail, id);
}

ClientNode* NodeMulti_FindClientNode(const ClientList* list, uint32_t id)
{
    COMMON_ASSERT(kSource, list != nullptr, "((void *)0) != list");
    return find(list->head, id);
}

ClientNode* NodeMulti_DeleteClientNode(ClientList* list, uint32_t id)
{
    COMMON_ASSERT(kSource, list != nullptr, "((void *)0) != list");
    remove(list->head, list->tail, id);
    return nullptr;
}

ClientNode* NodeMulti_GetClientHead(const ClientList* list)
{
    COMMON_ASSERT(kSource, list != nullptr, "((void *)0) != list");
    return list->head;
}

EventNode* NodeMulti_AddEvent(ClientList* list, const void* data, uint32_t size)
{
    COMMON_ASSERT(kSource, list != nullptr, "((void *)0) != list");
    COMMON_ASSERT(kSource, data != nullptr || size == 0 || list->head == nullptr,
                  "((void *)0) != data");
    add_event_to_all(data, size, list->head);
    return nullptr;
}

EventNode* NodeMulti_AddEventNode(const void* data, uint32_t size, ClientNode* client)
{
    COMMON_ASSERT(kSource, client != nullptr, "((void *)0) != client");
    COMMON_ASSERT(kSource, data != nullptr || size == 0, "((void *)0) != data");
    return add_event(data, size, client);
}

void* NodeMulti_GetEvent(const ClientNode* client)
{
    return client == nullptr || client->eventHead == nullptr ? nullptr : client->eventHead->data;
}

EventNode* NodeMulti_DeleteEventHead(ClientNode* client)
{
    if (client != nullptr && client->eventHead != nullptr) {
        EventNode* const event = client->eventHead;
        unlink_node(client->eventHead, client->eventTail, event);
        std::free(event->data);
        std::free(event);
    }
    return nullptr;
}

// The walk is all that is left of the print. As it has no effect, the compiler leaves it out.
void NodeMulti_PrintEventList(const EventNode* event)
{
    while (event != nullptr) {
        event = event->next;
    }
}

void NodeMulti_PrintClientList(const ClientNode* client)
{
    while (client != nullptr) {
        client = client->next;
    }
}

ClientNode* Node_AddClientNode(uint32_t id)
{
    return add(clientListHead, clientListEnd, id);
}

ClientNode* Node_FindClientNode(uint32_t id)
{
    return find(clientListHead, id);
}

ClientNode* Node_DeleteClientNode(uint32_t id)
{
    remove(clientListHead, clientListEnd, id);
    return nullptr;
}

ClientNode* Node_GetClientHead(void)
{
    return clientListHead;
}

EventNode* Node_AddEvent(const void* data, uint32_t size)
{
    COMMON_ASSERT(kSource, data != nullptr || size == 0 || clientListHead == nullptr,
                  "((void *)0) != data");
    add_event_to_all(data, size, clientListHead);
    return nullptr;
}

EventNode* Node_AddEventNode(const void* data, uint32_t size, ClientNode* client)
{
    COMMON_ASSERT(kSource, client != nullptr, "((void *)0) != client");
    COMMON_ASSERT(kSource, data != nullptr || size == 0, "((void *)0) != data");
    return add_event(data, size, client);
}

void* Node_GetEvent(const ClientNode* client)
{
    return NodeMulti_GetEvent(client);
}

EventNode* Node_DeleteEventHead(ClientNode* client)
{
    return NodeMulti_DeleteEventHead(client);
}

void Node_PrintEventList(const EventNode* event)
{
    NodeMulti_PrintEventList(event);
}

void Node_PrintClientList(const ClientNode* client)
{
    NodeMulti_PrintClientList(client);
}

}  // extern "C"
