// Very many clients and values, and a ring as large as its counts let it be.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "abstract_set.h"
#include "client_descriptor.h"
#include "client_nodes.h"
#include "limits.h"
#include "list_light.h"
#include "log_expect.h"
#include "ring_buffer.h"

using namespace harness;

namespace {

/// Work that is done again and again, so that it takes long enough to be measured.
double processor_ns_of_each(int repeats, const std::function<void()>& work)
{
    return processor_ns([&] {
               for (int i = 0; i < repeats; ++i) {
                   work();
               }
           }) /
           repeats;
}

// Client descriptors.

/// Takes numbers until there are so many; how many of them were the lowest that was free.
int take_until(int count, int taken)
{
    int lowest = 0;
    while (taken < count) {
        lowest += Allocate_Descriptor() == ++taken ? 1 : 0;
    }
    return lowest;
}

/// Processor time to give a number back and to take it again.
double exchange_ns(int descriptor)
{
    return processor_ns_of_each(1'000, [=] {
        Deallocate_Descriptor(descriptor);
        EXPECT_EQ(Allocate_Descriptor(), descriptor);
    });
}

/// Processor time to copy the numbers above the lowest one, there and back.
double copy_ns(int clients)
{
    std::vector<std::int32_t> numbers(static_cast<std::size_t>(clients) + 1);
    volatile bool away = true;  // keeps the compiler from leaving anything out
    return processor_ns_of_each(2'000,
                                [&] {
                                    const std::size_t size =
                                        sizeof(std::int32_t) * (numbers.size() - 1);
                                    std::memmove(numbers.data() + (away ? 1 : 0),
                                                 numbers.data() + (away ? 0 : 1), size);
                                    away = !away;
                                }) *
           2;
}

TEST(ClientLimits, DescriptorsAreTheLowestThatAreFree)
{
    const int clients = load(5'000, 100'000);
    well(load_setup(), [=] {
        const std::string loaded = number(clients) + " clients";
        const std::int64_t before = heap_bytes();
        const int few = clients / 100;
        int lowest = take_until(few, 0);
        const double with_few = exchange_ns(few);
        lowest += take_until(clients, few);
        promise(loaded, "each gets the lowest number that is not in use", counted(lowest, clients),
                lowest == clients);
        const std::int64_t in_use = heap_bytes();
        const double each = static_cast<double>(in_use - before) / clients;
        promise(loaded, "a number in use takes 4 bytes", bytes(each) + " each", each < 5);
        const double growth = exchange_ns(clients) / with_few;
        promise(loaded, "a number is looked up in logarithmic time",
                times(growth) + " the time that it takes with " + number(few), growth < 20);
        const double moves = exchange_ns(1) / copy_ns(clients);
        promise(loaded + ", the first one goes and comes",
                "those above are moved, which is a copy of 4 bytes for each",
                times(moves) + " the time of such copies", moves < 20);
        for (int descriptor = 1; descriptor <= clients; ++descriptor) {
            Deallocate_Descriptor(descriptor);
        }
        promise_given_back(loaded + " that go", "the table shrinks with them", before, in_use);
    });
}

// Client nodes.

TEST(ClientLimits, NodesOfManyClientsHaveEveryEvent)
{
    const auto clients = load<std::uint32_t>(2'000, 100'000);
    well(load_setup(), [=] {
        const std::string loaded = number(clients) + " clients, with ids from 2^31 on";
        const std::int64_t before = heap_bytes();
        ClientList list{};
        for (std::uint32_t i = 0; i < clients; ++i) {
            NodeMulti_AddClientNode(&list, (1U << 31) + i);
        }
        const std::int64_t in_use = heap_bytes();
        const double each = static_cast<double>(in_use - before) / clients;
        promise(loaded, "a client takes its record, from malloc(3)",
                bytes(each) + " each, for a record of " + bytes(sizeof(ClientNode)),
                each < sizeof(ClientNode) + 32);
        std::int64_t found = 0;
        for (std::uint32_t i = 0; i < 1'000; ++i) {
            const std::uint32_t id = (1U << 31) + i * (clients / 1'000);
            const ClientNode* const client = NodeMulti_FindClientNode(&list, id);
            found += client != nullptr && client->clientId == id ? 1 : 0;
        }
        promise(loaded, "each is found by its id", counted(found, 1'000) + " looked for",
                found == 1'000);
        for (std::uint32_t event = 1; event <= 3; ++event) {
            NodeMulti_AddEvent(&list, &event, sizeof event);
        }
        std::int64_t in_order = 0;
        for (ClientNode* client = list.head; client != nullptr; client = client->next) {
            std::uint32_t expected = 0;
            while (const void* const data = NodeMulti_GetEvent(client)) {
                std::uint32_t event = 0;
                std::memcpy(&event, data, sizeof event);
                in_order += event == ++expected ? 1 : 0;
                NodeMulti_DeleteEventHead(client);
            }
        }
        promise(loaded + ", 3 events for all",
                "each is copied into the queue of each client, which reads them in order",
                counted(in_order, 3 * std::int64_t{clients}) + " in order",
                in_order == 3 * std::int64_t{clients});
        for (std::uint32_t i = 0; i < clients; ++i) {
            NodeMulti_DeleteClientNode(&list, (1U << 31) + i);
        }
        EXPECT_EQ(list.head, nullptr);
        promise_given_back(loaded + ", whose queues were drained, go", "their memory is given back",
                           before, in_use);
    });
}

// Lists.

void keep(void* /*value*/) {}

/// Processor time of what is done at the ends and at the cursor of a set with so many values.
double ends_ns(int values)
{
    static char value;
    AbsSET set;
    AbsSET_InitializeEx(&set, keep);
    for (int i = 0; i < values; ++i) {
        AbsSET_PushBack(&set, nullptr, &value);
    }
    AbsSET_IndexBegin(&set);
    const double time = processor_ns_of_each(10'000, [&] {
        AbsSET_PushFront(&set, nullptr, &value);
        AbsSET_PushBack(&set, nullptr, &value);
        AbsSET_Push(&set, nullptr, &value);
        EXPECT_EQ(AbsSET_ValueGet(&set), &value);
        EXPECT_EQ(AbsSET_ValuePopFront(&set), &value);
        EXPECT_EQ(AbsSET_ValuePopBack(&set), &value);
        AbsSET_IndexLast(&set);
        EXPECT_EQ(AbsSET_ValuePop(&set), &value);
        AbsSET_IndexBegin(&set);
    });
    EXPECT_EQ(AbsSET_Size(&set), static_cast<std::uint32_t>(values));
    AbsSET_Clear(&set);
    return time;
}

TEST(ListLimits, EndsAndCursorOfALongListAreReachedInConstantTime)
{
    const int values = load(20'000, 1'000'000);
    well(load_setup(), [=] {
        const int few = values / 1'000;
        const double growth = ends_ns(values) / ends_ns(few);
        promise(number(values) + " values in an abstract set",
                "front, back and cursor are reached in constant time",
                times(growth) + " the time that it takes with " + number(few), growth < 20);
    });
}

std::uint64_t released = 0;
void count_release(void* value)
{
    released += value == nullptr ? 1 : 0;
}

TEST(ListLimits, SetWhoseSizeHasWrappedIsClearedByAsManyPops)
{
    const std::uint32_t size = load(100'000U, UINT32_MAX);
    const Outcome outcome = well(load_setup(), [=] {
        static char value;
        AbsSET set;
        AbsSET_InitializeEx(&set, count_release);
        AbsSET_ValuePop(&set);
        const std::uint32_t wrapped = AbsSET_Size(&set);
        promise("an empty set, popped", "its size becomes 4294967295", number(wrapped),
                wrapped == UINT32_MAX);
        const std::uint32_t refused = AbsSET_Push(&set, nullptr, &value);
        promise("a set whose size has wrapped", "it takes no push",
                refused == AbsSET_BadArguments ? "the push is refused" : "the push is taken",
                refused == AbsSET_BadArguments);
        set.size = size;
        const uint32_t cleared = AbsSET_Clear(&set);
        promise("a set whose size has wrapped, cleared",
                "4294967295 pops, each of which hands a null value to the release function",
                number(static_cast<std::int64_t>(released)) + " releases, size " +
                    number(AbsSET_Size(&set)),
                cleared == AbsSET_Success && released == size && AbsSET_IsEmpty(&set) == 1);
        set.size = INT32_MAX;
        EXPECT_EQ(AbsSET_PushFront(&set, nullptr, &value), std::uint32_t{AbsSET_BadArguments});
        set.size = INT32_MAX - 1;
        const std::uint32_t last = AbsSET_PushBack(&set, nullptr, &value);
        promise("a set with 2147483646 values, and 1 more", "the last one that it takes",
                last == AbsSET_Success ? "the next one is refused" : "refused",
                last == AbsSET_Success && AbsSET_PushBack(&set, nullptr, &value) != AbsSET_Success);
        set.size = 1;
        AbsSET_Clear(&set);
    });
    const Report refused =
        said(COMMON_LogLevelError, "COMMON", "abstract_set", "absset_EntryPush", "Bad arguments.");
    EXPECT_THAT(outcome.log, testing::ElementsAre(refused, refused, refused));
}

int compare_words(const void* first, const void* second)
{
    const auto* const a = *static_cast<const char* const*>(first);
    const auto* const b = *static_cast<const char* const*>(second);
    return a < b ? -1 : a > b ? 1 : 0;
}

TEST(ListLimits, LongLightListIsSorted)
{
    const auto words = load<std::uint32_t>(20'000, 1'000'000);
    well(load_setup(), [=] {
        std::vector<char> targets(words);
        const std::int64_t before = heap_bytes();
        ListLight* const list = ListLight_New();
        std::uint32_t place = 0;
        for (std::uint32_t i = 0; i < words; ++i) {
            place = static_cast<std::uint32_t>((std::uint64_t{place} + 611'953) % words);
            ListLight_PushBack(list, &targets[place]);
        }
        const std::int64_t in_use = heap_bytes();
        const double each = static_cast<double>(in_use - before) / words;
        ListLight_Sort(list, compare_words);
        std::int64_t in_order = 0;
        ListLight_Iterator it{};
        for (ListLight_Begin(list, &it); ListLight_End(list, &it) == 0; ListLight_Next(list, &it)) {
            in_order += ListLight_GetEntryData(list, &it) == targets.data() + in_order ? 1 : 0;
        }
        ListLight_Delete(list, nullptr);
        promise(number(words) + " words in a light list", "a sort keeps and orders all",
                counted(in_order, words) + " in order, " + bytes(each) + " each",
                in_order == words && each < sizeof(ListLight_Node) + 32);
        promise_given_back(number(words) + " words in a light list", "all nodes are freed with it",
                           before, in_use);
    });
}

// Rings.

/// Bytes that can be told apart by their place in the stream: 4 MiB and a prime beside that.
std::vector<char> stream_of_bytes()
{
    std::vector<char> stream((4U << 20) + 4'093);
    for (std::size_t i = 0; i < stream.size(); ++i) {
        stream[i] = static_cast<char>(i * 31 / 17);
    }
    return stream;
}

/// What goes through a ring, piece by piece.
class Flow {
public:
    explicit Flow(RingBuf& ring) : ring_(ring) {}

    /// Writes so many bytes; false when the ring takes less.
    bool write(std::uint64_t count)
    {
        while (count != 0) {
            const std::uint32_t piece = piece_at(written_, count);
            if (ringWriteData(&ring_, bytes_at(written_), piece) != piece) {
                return false;
            }
            written_ += piece;
            count -= piece;
        }
        return true;
    }

    /// Reads so many bytes; false when they are not those that were written.
    bool read(std::uint64_t count)
    {
        while (count != 0) {
            const std::uint32_t piece = piece_at(read_, count);
            if (ringReadData(&ring_, read_bytes_.data(), piece) != piece ||
                std::memcmp(read_bytes_.data(), bytes_at(read_), piece) != 0) {
                return false;
            }
            read_ += piece;
            count -= piece;
        }
        return true;
    }

private:
    const char* bytes_at(std::uint64_t position) const
    {
        return &stream_[static_cast<std::size_t>(position % stream_.size())];
    }

    /// As much of a count as the stream has there in one piece.
    std::uint32_t piece_at(std::uint64_t position, std::uint64_t count) const
    {
        return static_cast<std::uint32_t>(
            std::min<std::uint64_t>(count, stream_.size() - position % stream_.size()));
    }

    RingBuf& ring_;
    const std::vector<char> stream_ = stream_of_bytes();
    std::vector<char> read_bytes_ = std::vector<char>(stream_.size());
    std::uint64_t written_ = 0;
    std::uint64_t read_ = 0;
};

TEST(RingLimits, LargestRingKeepsEveryByte)
{
    // All that a count of 32 bits can tell or, with 32-bit addresses, as much as there is.
    constexpr std::uint32_t kMost = sizeof(void*) == 8 ? UINT32_MAX : 1U << 30;
    const std::uint32_t capacity = load(16U << 20, kMost);
    well(load_setup(), [=] {
        void* const storage = std::malloc(capacity);
        ASSERT_NE(storage, nullptr);
        RingBuf ring;
        ringBufInit(&ring, storage, capacity);
        Flow flow(ring);
        const std::uint32_t some = capacity / 4 * 3;
        char more = 0;
        const bool holds = flow.write(some) && flow.read(some) && flow.write(capacity) &&
                           ring.count == capacity && ringWriteData(&ring, &more, 1) == 0 &&
                           flow.read(capacity) && ring.count == 0;
        std::free(storage);
        promise("a ring of " + number(capacity) + " bytes, filled across its end",
                "it is full when its count is the capacity, and keeps every byte",
                holds ? "every byte" : "not every byte", holds);
    });
}

}  // namespace
