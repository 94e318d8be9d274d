// Scenarios of the fault sweep: clients, their events and their descriptors.
#include "scenario.h"

using namespace faults;

namespace {

constexpr char kText[] = "event";

/// The nodes come from malloc() itself: nothing ends, nothing is logged.
SCENARIO(Node_AddClientNode, gives("set"), on(Call::malloc).gives("null"))
{
    const ClientNode* const client = CALL(Node_AddClientNode, 7);
    EXPECT_EQ(Node_FindClientNode(7), client);
    EXPECT_NE(Node_AddClientNode(8), nullptr);
    Node_DeleteClientNode(7);
    Node_DeleteClientNode(8);
    EXPECT_EQ(clientListHead, nullptr);
}

SCENARIO(NodeMulti_AddClientNode, gives("set"), on(Call::malloc).gives("null"))
{
    ClientList list{};
    const ClientNode* const client = CALL(NodeMulti_AddClientNode, &list, 7);
    EXPECT_EQ(NodeMulti_FindClientNode(&list, 7), client);
    EXPECT_NE(NodeMulti_AddClientNode(&list, 8), nullptr);
    NodeMulti_DeleteClientNode(&list, 7);
    NodeMulti_DeleteClientNode(&list, 8);
    EXPECT_EQ(list.head, nullptr);
}

void drain(ClientNode* client)
{
    while (client->eventHead != nullptr) {
        NodeMulti_DeleteEventHead(client);
    }
}

/// Without memory there is no event for one client, or one without its bytes.
SCENARIO(Node_AddEvent, gives("null"))
{
    ClientNode* const clients[] = {Node_AddClientNode(1), Node_AddClientNode(2)};
    CALL(Node_AddEvent, kText, sizeof kText);
    int copies = 0;
    for (ClientNode* const client : clients) {
        copies += Node_GetEvent(client) != nullptr ? 1 : 0;
        drain(client);
    }
    EXPECT_EQ(copies, 2 - harness::fault::fired());
    EXPECT_NE(Node_AddEventNode(kText, sizeof kText, clients[0]), nullptr);
    EXPECT_STREQ(static_cast<char*>(Node_GetEvent(clients[0])), kText);
    drain(clients[0]);
    Node_DeleteClientNode(1);
    Node_DeleteClientNode(2);
}

SCENARIO(NodeMulti_AddEvent, gives("null"))
{
    ClientList list{};
    ClientNode* const clients[] = {NodeMulti_AddClientNode(&list, 1),
                                   NodeMulti_AddClientNode(&list, 2)};
    CALL(NodeMulti_AddEvent, &list, kText, sizeof kText);
    int copies = 0;
    for (ClientNode* const client : clients) {
        copies += NodeMulti_GetEvent(client) != nullptr ? 1 : 0;
        drain(client);
    }
    EXPECT_EQ(copies, 2 - harness::fault::fired());
    NodeMulti_DeleteClientNode(&list, 1);
    NodeMulti_DeleteClientNode(&list, 2);
}

template <class Add>
void add_event_node(const char* name, Add* add)
{
    ClientNode client{};
    const EventNode* const event =
        faults::call(name, [&] { return add(kText, sizeof kText, &client); });
    EXPECT_EQ(client.eventHead, event);
    EXPECT_EQ(Node_GetEvent(&client) != nullptr, harness::fault::fired() == 0);
    EXPECT_NE(Node_AddEventNode(kText, sizeof kText, &client), nullptr);
    EXPECT_STREQ(static_cast<char*>(client.eventTail->data), kText);
    drain(&client);
}

SCENARIO(Node_AddEventNode, gives("set"), on(Call::malloc).nth(1).gives("null"))
{
    add_event_node("Node_AddEventNode", Node_AddEventNode);
}

SCENARIO(NodeMulti_AddEventNode, gives("set"), on(Call::malloc).nth(1).gives("null"))
{
    add_event_node("NodeMulti_AddEventNode", NodeMulti_AddEventNode);
}

SCENARIO(ClientsAreLookedAtAndDeleted)
{
    ClientNode* const client = Node_AddClientNode(1);
    EXPECT_EQ(CALL(Node_GetClientHead), client);
    EXPECT_EQ(CALL(Node_FindClientNode, 1), client);
    Node_AddEventNode(kText, sizeof kText, client);
    CALL(Node_PrintClientList, client);
    CALL(Node_PrintEventList, client->eventHead);
    EXPECT_STREQ(static_cast<char*>(CALL(Node_GetEvent, client)), kText);
    EXPECT_EQ(CALL(Node_DeleteEventHead, client), nullptr);
    EXPECT_EQ(CALL(Node_DeleteClientNode, 1), nullptr);
    EXPECT_EQ(clientListHead, nullptr);
}

SCENARIO(ClientsOfAListAreLookedAtAndDeleted)
{
    ClientList list{};
    ClientNode* const client = NodeMulti_AddClientNode(&list, 1);
    EXPECT_EQ(CALL(NodeMulti_GetClientHead, &list), client);
    EXPECT_EQ(CALL(NodeMulti_FindClientNode, &list, 1), client);
    NodeMulti_AddEventNode(kText, sizeof kText, client);
    CALL(NodeMulti_PrintClientList, client);
    CALL(NodeMulti_PrintEventList, client->eventHead);
    EXPECT_STREQ(static_cast<char*>(CALL(NodeMulti_GetEvent, client)), kText);
    EXPECT_EQ(CALL(NodeMulti_DeleteEventHead, client), nullptr);
    EXPECT_EQ(CALL(NodeMulti_DeleteClientNode, &list, 1), nullptr);
    EXPECT_EQ(list.head, nullptr);
}

/// What cannot be told to the caller ends the process, with two records.
Promise panics(Call call, const char* function, const char* message)
{
    return on(call).exits(1).logs(
        {said(COMMON_LogLevelError, "CLDES", "client_descriptor", function, message),
         said(COMMON_LogLevelCritical, "CLDES", "client_descriptor", "CommonPanic",
              "*** Common Panic: critical failure ***")});
}

Promise lock_panics()
{
    return panics(Call::pthread_mutex_lock, "LockDescriptor", "Failed to lock descriptor mutex.");
}

Promise unlock_panics()
{
    return panics(Call::pthread_mutex_unlock, "UnlockDescriptor",
                  "Failed to unlock descriptor mutex.");
}

constexpr char kNoBuffer[] = "Couldn't reallocate descriptor buffer";

SCENARIO(Allocate_Descriptor, gives("1"), lock_panics(), unlock_panics(),
         panics(Call::realloc, "Allocate_Descriptor", kNoBuffer))
{
    CALL(Allocate_Descriptor);
    EXPECT_EQ(Allocate_Descriptor(), 2);
    Deallocate_Descriptor(1);
    Deallocate_Descriptor(2);
}

SCENARIO(Deallocate_Descriptor, gives("0"), lock_panics(), unlock_panics(),
         panics(Call::realloc, "Deallocate_Descriptor", kNoBuffer))
{
    EXPECT_EQ(Allocate_Descriptor(), 1);
    EXPECT_EQ(Allocate_Descriptor(), 2);
    CALL(Deallocate_Descriptor, 1);
    EXPECT_EQ(Allocate_Descriptor(), 1);
    Deallocate_Descriptor(1);
    Deallocate_Descriptor(2);
}

}  // namespace
