// Scenarios of the fault sweep: byte arrays and hexadecimal text, the ring buffer, the blocking
// queue.
#include "asleep.h"
#include "scenario.h"

using namespace faults;

namespace {

constexpr char kText[] = "some bytes";
constexpr char kHex[] = "736F6D6520627974657300";

SCENARIO(DATA_ArrayNew, gives("set"), out_of_memory_ends())
{
    DATA_Array* const array = CALL(DATA_ArrayNew, 4);
    EXPECT_EQ(array->capacity, 4U);
    DATA_ArrayDelete(array);
}

SCENARIO(DATA_ArrayNewWithData, gives("set"), out_of_memory_ends())
{
    DATA_Array* const array = CALL(DATA_ArrayNewWithData, sizeof kText, kText);
    EXPECT_STREQ(reinterpret_cast<char*>(array->data), kText);
    DATA_ArrayDelete(array);
}

SCENARIO(DATA_ArrayNewWithDataLength, gives("set"), out_of_memory_ends())
{
    DATA_Array* const array = CALL(DATA_ArrayNewWithDataLength, 100, kText, sizeof kText);
    EXPECT_STREQ(reinterpret_cast<char*>(array->data), kText);
    DATA_ArrayDelete(array);
}

SCENARIO(DATA_ArrayResize, gives("set"), out_of_memory_ends(Call::realloc))
{
    DATA_Array* const array = DATA_ArrayNewWithData(sizeof kText, kText);
    CALL(DATA_ArrayResize, array, 10'000);
    EXPECT_STREQ(reinterpret_cast<char*>(array->data), kText);
    DATA_ArrayDelete(array);
}

SCENARIO(DATA_AsciiToHex, gives("set"), out_of_memory_ends())
{
    DATA_Array* const array = CALL(DATA_AsciiToHex, kHex);
    EXPECT_STREQ(reinterpret_cast<char*>(array->data), kText);
    DATA_ArrayDelete(array);
}

SCENARIO(DATA_HexToAscii, gives("\"736F6D6520627974657300\""), out_of_memory_ends())
{
    MEM_Free(CALL(DATA_HexToAscii, kText, sizeof kText));
}

SCENARIO(DATA_HexToAsciiFromArray, gives("\"736F6D6520627974657300\""), out_of_memory_ends())
{
    DATA_Array* const array = DATA_ArrayNewWithData(sizeof kText, kText);
    MEM_Free(CALL(DATA_HexToAsciiFromArray, array));
    DATA_ArrayDelete(array);
}

SCENARIO(DATA_HexDump, gives("\"73 6F \""), out_of_memory_ends())
{
    MEM_Free(CALL(DATA_HexDump, kText, 2));
}

SCENARIO(DATA_HexDumpPretty, out_of_memory_ends())
{
    char* const dump = CALL(DATA_HexDumpPretty, kText, 2);
    EXPECT_THAT(dump, testing::HasSubstr(": 73 6F"));
    MEM_Free(dump);
}

SCENARIO(DataIsNoMoreThanNumbers)
{
    DATA_Array* const array = DATA_ArrayNew(1);
    CALL(DATA_ArrayDelete, array);
    EXPECT_EQ(CALL(DATA_BitSet, 0, 3), 8U);
    EXPECT_EQ(CALL(DATA_BitClear, 8, 3), 0U);
    EXPECT_EQ(CALL(DATA_BitIsSet, 8, 3), 1U);
    EXPECT_EQ(CALL(DATA_BitIsClear, 8, 3), 0U);
    EXPECT_EQ(CALL(DATA_NibbleHigh, 0x12), 1U);
    EXPECT_EQ(CALL(DATA_NibbleLow, 0x12), 2U);
    EXPECT_EQ(CALL(DATA_NibbleSwap, 0x12), 0x21U);
    EXPECT_STREQ(CALL(DATA_BoolToString, 1), "True");
}

SCENARIO(RingIsWrittenAndRead)
{
    RingBuf ring;
    std::uint8_t storage[8];
    CALL(ringBufInit, &ring, storage, sizeof storage);
    EXPECT_EQ(CALL(ringWriteData, &ring, kText, 6), 6U);
    char text[8];
    EXPECT_EQ(CALL(ringPeekData, &ring, text, 4), 4U);
    CALL(ringBufDelete, &ring, 1);
    EXPECT_EQ(CALL(ringReadData, &ring, text, 2), 2U);
    std::uint8_t* place = nullptr;
    std::uint32_t length = 8;
    CALL(ringGetDataPtr, &ring, &place, &length);
    EXPECT_EQ(length, 3U);
    CALL(ringBufFlush, &ring);
    EXPECT_EQ(ring.count, 0U);
}

constexpr std::uint32_t kCapacity = 64;

/// A queue that works when it is ended. Failures of its mutexes are nowhere told, and change
/// nothing for one thread.
class Queue {
public:
    explicit Queue(const char* text = "")
    {
        BlockQ_Init(&queue_, storage_, kCapacity);
        if (*text != '\0') {
            EXPECT_EQ(BlockQ_Add(&queue_, text, sizeof kText), sizeof kText);
        }
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    ~Queue()
    {
        BlockQ_Flush(&queue_);
        EXPECT_EQ(BlockQ_Add(&queue_, kText, 3), 3U);
        char text[8];
        EXPECT_EQ(BlockQ_Remove(&queue_, text, sizeof text), 3U);
        EXPECT_EQ(BlockQ_Destroy(&queue_), 0);
    }

    operator BlockQ*() { return &queue_; }

private:
    BlockQ queue_{};
    char storage_[kCapacity];
};

SCENARIO(BlockQ_Init, gives("0"))
{
    BlockQ queue{};
    char storage[kCapacity];
    CALL(BlockQ_Init, &queue, storage, kCapacity);
    EXPECT_EQ(BlockQ_Add(&queue, kText, 3), 3U);
    EXPECT_EQ(BlockQ_Destroy(&queue), 0);
}

SCENARIO(BlockQ_Destroy, gives("0"))
{
    BlockQ queue{};
    char storage[kCapacity];
    BlockQ_Init(&queue, storage, kCapacity);
    CALL(BlockQ_Destroy, &queue);
}

SCENARIO(BlockQ_Add, gives("11"))
{
    Queue queue;
    CALL(BlockQ_Add, queue, kText, sizeof kText);
}

SCENARIO(BlockQ_Remove, gives("11"))
{
    Queue queue(kText);
    char text[kCapacity];
    CALL(BlockQ_Remove, queue, text, sizeof text);
    EXPECT_STREQ(text, kText);
}

/// A wait that fails is tried again.
SCENARIO(BytesOfAQueueAreWaitedFor, gives("11"), on(Call::pthread_cond_wait))
{
    Queue queue;
    char text[kCapacity];
    const OnceAsleep adds([&] { EXPECT_EQ(BlockQ_Add(queue, kText, sizeof kText), sizeof kText); });
    CALL(BlockQ_Remove, queue, text, sizeof text);
    EXPECT_STREQ(text, kText);
}

/// The first of the locks is that which is looked at before, and then waited for.
SCENARIO(QueueIsLookedAt, Flag::Looks, gives("11"), on(Call::pthread_mutex_lock).nth(2))
{
    Queue queue(kText);
    BlockQ* const object = queue;
    char text[kCapacity];
    pthread_mutex_lock(&object->queueMutex);
    const OnceAsleep gives_back([&] { pthread_mutex_unlock(&object->queueMutex); });
    CALL(BlockQ_Remove, queue, text, sizeof text);
}

SCENARIO(BlockQ_Peek, gives("11"))
{
    Queue queue(kText);
    char text[kCapacity];
    CALL(BlockQ_Peek, queue, text, sizeof text);
    EXPECT_EQ(BlockQ_Len(queue), sizeof kText);
}

SCENARIO(BlockQ_Flush, gives("0"), on(Call::pthread_mutex_unlock).gives("{errno}"))
{
    Queue queue(kText);
    CALL(BlockQ_Flush, queue);
    EXPECT_EQ(BlockQ_Len(queue), 0U);
}

SCENARIO(BlockQ_Size, gives("64"))
{
    Queue queue(kText);
    CALL(BlockQ_Size, queue);
}

SCENARIO(BlockQ_FreeSpace, gives("53"))
{
    Queue queue(kText);
    CALL(BlockQ_FreeSpace, queue);
}

SCENARIO(BlockQ_Len, gives("11"))
{
    Queue queue(kText);
    CALL(BlockQ_Len, queue);
}

}  // namespace
