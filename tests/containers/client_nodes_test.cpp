// Lists of clients and their events: both families, node by node, and against plain lists.
#include "client_nodes.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fault.h"
#include "fresh_process.h"
#include "log_expect.h"

namespace {

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::IsEmpty;

/// The list that the explicit family works on here.
ClientList the_list{nullptr, nullptr};

/// One of both families, seen the same way.
struct Family {
    const char* name;
    ClientNode* (*add)(std::uint32_t id);
    ClientNode* (*find)(std::uint32_t id);
    ClientNode* (*remove)(std::uint32_t id);
    ClientNode* (*head)();
    ClientNode* (*tail)();
    EventNode* (*add_event)(const void* data, std::uint32_t size);
    EventNode* (*add_event_node)(const void* data, std::uint32_t size, ClientNode* client);
    void* (*event)(const ClientNode* client);
    EventNode* (*delete_event)(ClientNode* client);
    void (*print_events)(const EventNode* event);
    void (*print_clients)(const ClientNode* client);
};

void PrintTo(const Family& family, std::ostream* stream)
{
    *stream << family.name;
}

const Family kFamilies[] = {
    {"Node", Node_AddClientNode, Node_FindClientNode, Node_DeleteClientNode, Node_GetClientHead,
     [] { return clientListEnd; }, Node_AddEvent, Node_AddEventNode, Node_GetEvent,
     Node_DeleteEventHead, Node_PrintEventList, Node_PrintClientList},
    {"NodeMulti", [](std::uint32_t id) { return NodeMulti_AddClientNode(&the_list, id); },
     [](std::uint32_t id) { return NodeMulti_FindClientNode(&the_list, id); },
     [](std::uint32_t id) { return NodeMulti_DeleteClientNode(&the_list, id); },
     [] { return NodeMulti_GetClientHead(&the_list); }, [] { return the_list.tail; },
     [](const void* data, std::uint32_t size) { return NodeMulti_AddEvent(&the_list, data, size); },
     NodeMulti_AddEventNode, NodeMulti_GetEvent, NodeMulti_DeleteEventHead,
     NodeMulti_PrintEventList, NodeMulti_PrintClientList},
};

/// The numbers of the clients, checking every link.
std::vector<std::uint32_t> ids(const Family& family)
{
    std::vector<std::uint32_t> all;
    const ClientNode* previous = nullptr;
    for (const ClientNode* node = family.head(); node != nullptr; node = node->next) {
        EXPECT_EQ(node->previous, previous);
        all.push_back(node->clientId);
        previous = node;
    }
    EXPECT_EQ(family.tail(), previous);
    return all;
}

/// The texts of a client's events, checking every link.
std::vector<std::string> events(const ClientNode* client)
{
    std::vector<std::string> all;
    const EventNode* previous = nullptr;
    for (const EventNode* node = client->eventHead; node != nullptr; node = node->next) {
        EXPECT_EQ(node->previous, previous);
        all.emplace_back(node->data == nullptr ? "null" : static_cast<const char*>(node->data));
        previous = node;
    }
    EXPECT_EQ(client->eventTail, previous);
    return all;
}

void add_text(const Family& family, const char* text)
{
    EXPECT_EQ(family.add_event(text, static_cast<std::uint32_t>(std::strlen(text) + 1)), nullptr);
}

EventNode* add_text(const Family& family, const char* text, ClientNode* client)
{
    return family.add_event_node(text, static_cast<std::uint32_t>(std::strlen(text) + 1), client);
}

void clear(const Family& family)
{
    while (ClientNode* const client = family.head()) {
        while (client->eventHead != nullptr) {
            family.delete_event(client);
        }
        family.remove(client->clientId);
    }
}

class ClientNodes : public testing::TestWithParam<Family> {
protected:
    /// A body in a process of its own, where nothing may be logged, printed or left
    /// allocated.
    static void expect_quiet(const std::function<void(const Family&)>& body)
    {
        run_silently([&] {
            body(GetParam());
            clear(GetParam());
            EXPECT_EQ(fault::outstanding_blocks(), 0);
        });
    }
};

INSTANTIATE_TEST_SUITE_P(Families, ClientNodes, testing::ValuesIn(kFamilies),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(ClientNodes, ListStartsEmpty)
{
    expect_quiet([](const Family& family) {
        EXPECT_EQ(family.head(), nullptr);
        EXPECT_EQ(family.tail(), nullptr);
        EXPECT_EQ(family.find(0), nullptr);
        EXPECT_EQ(family.remove(0), nullptr);
        EXPECT_EQ(family.add_event("x", 2), nullptr);
    });
}

TEST_P(ClientNodes, NewClientIsTheLastAndZero)
{
    expect_quiet([](const Family& family) {
        void* const dirty = std::malloc(sizeof(ClientNode));
        std::memset(dirty, 0xA5, sizeof(ClientNode));
        std::free(dirty);
        for (const std::uint32_t id : {7U, 0U, UINT32_MAX}) {
            const ClientNode* const client = family.add(id);
            ASSERT_NE(client, nullptr);
            EXPECT_EQ(client, family.tail());
            EXPECT_EQ(client->clientId, id);
            EXPECT_EQ(client->eventHead, nullptr);
            EXPECT_EQ(client->eventTail, nullptr);
            EXPECT_EQ(client->userData, 0U);
            EXPECT_EQ(client->userFlag, 0U);
        }
        EXPECT_THAT(ids(family), ElementsAre(7U, 0U, UINT32_MAX));
    });
}

TEST_P(ClientNodes, FirstOfTheSameNumberIsFoundAndDeleted)
{
    expect_quiet([](const Family& family) {
        ClientNode* const first = family.add(5);
        ClientNode* const second = family.add(5);
        EXPECT_NE(first, second);
        EXPECT_EQ(family.find(5), first);
        EXPECT_EQ(family.remove(5), nullptr);
        EXPECT_EQ(family.find(5), second);
        EXPECT_EQ(family.remove(5), nullptr);
        EXPECT_EQ(family.find(5), nullptr);
    });
}

TEST_P(ClientNodes, DeletingKeepsTheRestLinked)
{
    expect_quiet([](const Family& family) {
        for (std::uint32_t id = 1; id <= 5; ++id) {
            family.add(id);
        }
        EXPECT_EQ(family.remove(3), nullptr);
        EXPECT_THAT(ids(family), ElementsAre(1U, 2U, 4U, 5U));
        EXPECT_EQ(family.remove(1), nullptr);
        EXPECT_THAT(ids(family), ElementsAre(2U, 4U, 5U));
        EXPECT_EQ(family.remove(5), nullptr);
        EXPECT_THAT(ids(family), ElementsAre(2U, 4U));
        EXPECT_EQ(family.tail(), family.find(4));
        EXPECT_EQ(family.remove(9), nullptr);
        EXPECT_THAT(ids(family), ElementsAre(2U, 4U));
        family.remove(2);
        family.remove(4);
        EXPECT_EQ(family.head(), nullptr);
        EXPECT_EQ(family.tail(), nullptr);
    });
}

TEST_P(ClientNodes, EachClientHasItsOwnCopy)
{
    expect_quiet([](const Family& family) {
        for (const std::uint32_t id : {1U, 2U, 3U}) {
            family.add(id);
        }
        char text[] = "first";
        add_text(family, text);
        std::memset(text, 'x', 5);
        add_text(family, "second");
        EXPECT_EQ(family.delete_event(family.find(2)), nullptr);
        EXPECT_THAT(events(family.find(1)), ElementsAre("first", "second"));
        EXPECT_THAT(events(family.find(2)), ElementsAre("second"));
        EXPECT_THAT(events(family.find(3)), ElementsAre("first", "second"));
        EXPECT_NE(family.event(family.find(1)), family.event(family.find(3)));
        EXPECT_STREQ(static_cast<const char*>(family.event(family.find(1))), "first");
    });
}

TEST_P(ClientNodes, EventsOfOneClientInOrderOfArrival)
{
    expect_quiet([](const Family& family) {
        ClientNode* const client = family.add(1);
        ClientNode* const other = family.add(2);
        for (const char* const text : {"a", "b", "c"}) {
            const EventNode* const event = add_text(family, text, client);
            ASSERT_NE(event, nullptr);
            EXPECT_EQ(event, client->eventTail);
        }
        EXPECT_THAT(events(client), ElementsAre("a", "b", "c"));
        EXPECT_THAT(events(other), IsEmpty());
        for (const char* const text : {"a", "b", "c"}) {
            EXPECT_STREQ(static_cast<const char*>(family.event(client)), text);
            EXPECT_EQ(family.delete_event(client), nullptr);
        }
        EXPECT_EQ(family.event(client), nullptr);
        EXPECT_EQ(client->eventHead, nullptr);
        EXPECT_EQ(client->eventTail, nullptr);
    });
}

TEST_P(ClientNodes, NoClientAndNoEventAreNothing)
{
    expect_quiet([](const Family& family) {
        ClientNode* const client = family.add(1);
        EXPECT_EQ(family.event(nullptr), nullptr);
        EXPECT_EQ(family.event(client), nullptr);
        EXPECT_EQ(family.delete_event(nullptr), nullptr);
        EXPECT_EQ(family.delete_event(client), nullptr);
        EXPECT_THAT(events(client), IsEmpty());
    });
}

TEST_P(ClientNodes, EventsWithoutBytes)
{
    expect_quiet([](const Family& family) {
        ClientNode* const client = family.add(1);
        EXPECT_EQ(family.add_event(nullptr, 0), nullptr);
        EXPECT_NE(family.add_event_node("x", 0, client), nullptr);
        EXPECT_NE(family.add_event_node(nullptr, 0, client), nullptr);
        EXPECT_EQ(client->eventHead->next->next, client->eventTail);
    });
}

TEST_P(ClientNodes, NoBytesForNoClientAreNothing)
{
    expect_quiet([](const Family& family) {
        EXPECT_EQ(family.add_event(nullptr, 5), nullptr);
        family.add(1);
        family.remove(1);
        EXPECT_EQ(family.add_event(nullptr, 5), nullptr);
    });
}

TEST_P(ClientNodes, DeletingAClientLeavesItsEvents)
{
    expect_quiet([](const Family& family) {
        EventNode* const event = add_text(family, "kept", family.add(1));
        family.remove(1);
        EXPECT_STREQ(static_cast<const char*>(event->data), "kept");
        EXPECT_EQ(fault::outstanding_blocks(), 2);
        ClientNode client{event, event, 0, 0, nullptr, nullptr, 0};
        family.delete_event(&client);
    });
}

TEST_P(ClientNodes, PrintingWritesAndChangesNothing)
{
    expect_quiet([](const Family& family) {
        family.add(1);
        family.add(2);
        add_text(family, "a");
        add_text(family, "b");
        family.print_events(nullptr);
        family.print_clients(nullptr);
        family.print_events(family.head()->eventHead);
        family.print_clients(family.head());
        EXPECT_THAT(ids(family), ElementsAre(1U, 2U));
        EXPECT_THAT(events(family.head()), ElementsAre("a", "b"));
    });
}

TEST_P(ClientNodes, NoMemoryForAClientIsNull)
{
    expect_quiet([](const Family& family) {
        family.add(1);
        fault::fail(Call::malloc);
        EXPECT_EQ(family.add(2), nullptr);
        EXPECT_THAT(ids(family), ElementsAre(1U));
    });
}

TEST_P(ClientNodes, NoMemoryForAnEventAddsNothing)
{
    expect_quiet([](const Family& family) {
        ClientNode* const client = family.add(1);
        fault::fail(Call::malloc);
        EXPECT_EQ(add_text(family, "a", client), nullptr);
        EXPECT_THAT(events(client), IsEmpty());
        // The other clients get theirs.
        family.add(2);
        fault::fail(Call::malloc);
        add_text(family, "b");
        EXPECT_THAT(events(client), IsEmpty());
        EXPECT_THAT(events(family.find(2)), ElementsAre("b"));
    });
}

TEST_P(ClientNodes, NoMemoryForTheCopyLeavesAnEventWithout)
{
    expect_quiet([](const Family& family) {
        ClientNode* const client = family.add(1);
        fault::fail(Call::malloc, 2);
        const EventNode* const event = add_text(family, "a", client);
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(event->data, nullptr);
        add_text(family, "b", client);
        EXPECT_THAT(events(client), ElementsAre("null", "b"));
        EXPECT_EQ(family.event(client), nullptr);
        EXPECT_EQ(family.delete_event(client), nullptr);
        EXPECT_THAT(events(client), ElementsAre("b"));
    });
}

TEST_P(ClientNodes, MisuseEndsTheProcess)
{
    const Outcome no_client = run_fresh([] { GetParam().add_event_node("x", 1, nullptr); });
    EXPECT_THAT(no_client, killed_by(SIGABRT));
    EXPECT_THAT(no_client.err,
                assertion_text("client_nodes", std::string(GetParam().name) + "_AddEventNode",
                               "((void *)0) != client"));
    const Outcome no_bytes = run_fresh([] {
        GetParam().add(1);
        GetParam().add_event(nullptr, 1);
    });
    EXPECT_THAT(no_bytes, killed_by(SIGABRT));
    EXPECT_THAT(no_bytes.err,
                assertion_text("client_nodes", std::string(GetParam().name) + "_AddEvent",
                               "((void *)0) != data"));
    const Outcome no_bytes_for_one = run_fresh([] {
        ClientNode client{};
        GetParam().add_event_node(nullptr, 1, &client);
    });
    EXPECT_THAT(no_bytes_for_one, killed_by(SIGABRT));
    EXPECT_THAT(no_bytes_for_one.err,
                assertion_text("client_nodes", std::string(GetParam().name) + "_AddEventNode",
                               "((void *)0) != data"));
}

TEST(ClientNodesMulti, NoListEndsTheProcess)
{
    const struct {
        const char* function;
        void (*call)();
    } kCalls[] = {
        {"NodeMulti_AddClientNode", [] { NodeMulti_AddClientNode(nullptr, 1); }},
        {"NodeMulti_FindClientNode", [] { NodeMulti_FindClientNode(nullptr, 1); }},
        {"NodeMulti_DeleteClientNode", [] { NodeMulti_DeleteClientNode(nullptr, 1); }},
        {"NodeMulti_GetClientHead", [] { NodeMulti_GetClientHead(nullptr); }},
        {"NodeMulti_AddEvent", [] { NodeMulti_AddEvent(nullptr, "x", 1); }},
    };
    for (const auto& each : kCalls) {
        const Outcome outcome = run_fresh(each.call);
        EXPECT_THAT(outcome, killed_by(SIGABRT));
        EXPECT_THAT(outcome.err,
                    assertion_text("client_nodes", each.function, "((void *)0) != list"));
    }
}

TEST(ClientNodesMulti, ListsAreIndependent)
{
    ClientList first{nullptr, nullptr};
    ClientList second{nullptr, nullptr};
    NodeMulti_AddClientNode(&first, 1);
    NodeMulti_AddClientNode(&second, 2);
    EXPECT_EQ(NodeMulti_FindClientNode(&first, 2), nullptr);
    EXPECT_EQ(NodeMulti_FindClientNode(&second, 1), nullptr);
    EXPECT_EQ(clientListHead, nullptr);
    NodeMulti_DeleteClientNode(&first, 1);
    NodeMulti_DeleteClientNode(&second, 2);
    EXPECT_EQ(first.head, nullptr);
    EXPECT_EQ(second.tail, nullptr);
}

// --------------------------------------------------------------------------------- against a model

struct ModelClient {
    std::uint32_t id;
    std::vector<std::string> events;
};

void compare_with_model(const Family& family, unsigned seed)
{
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<ModelClient> model;
    const auto first = [&](std::uint32_t id) {
        return std::find_if(model.begin(), model.end(),
                            [&](const ModelClient& client) { return client.id == id; });
    };
    for (int step = 0; step < 1'000; ++step) {
        const auto id = static_cast<std::uint32_t>(random() % 12);
        const std::string text = std::to_string(random());
        const auto size = static_cast<std::uint32_t>(text.size() + 1);
        const auto wanted = first(id);
        ClientNode* const client = family.find(id);
        ASSERT_EQ(client != nullptr, wanted != model.end());
        switch (random() % 16) {
        case 0:
        case 1:
            family.add(id);
            model.push_back({id, {}});
            break;
        case 2:
        case 3:
        case 4:
            if (client != nullptr) {
                while (family.event(client) != nullptr) {
                    family.delete_event(client);
                }
                model.erase(wanted);
            }
            family.remove(id);
            break;
        case 5:
            family.add_event(text.c_str(), size);
            for (auto& each : model) {
                each.events.push_back(text);
            }
            break;
        case 6:
        case 7:
            if (client != nullptr) {
                family.add_event_node(text.c_str(), size, client);
                wanted->events.push_back(text);
            }
            break;
        default:
            // More than are added, so that queues stay short.
            for (int i = 0; i < 4; ++i) {
                family.delete_event(client);
                if (client != nullptr && !wanted->events.empty()) {
                    wanted->events.erase(wanted->events.begin());
                }
            }
        }
        std::vector<std::uint32_t> expected;
        const ClientNode* node = family.head();
        for (const auto& each : model) {
            expected.push_back(each.id);
            ASSERT_NE(node, nullptr);
            ASSERT_EQ(events(node), each.events) << step;
            node = node->next;
        }
        ASSERT_EQ(ids(family), expected) << step;
    }
}

TEST_P(ClientNodes, BehaveAsPlainLists)
{
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    expect_quiet([seed](const Family& family) {
        compare_with_model(family, 4711);
        clear(family);
        compare_with_model(family, seed);
    });
}

}  // namespace
