// What both blocking queues have in common, and each one's own functions.
#include "queues.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "wait_until.h"

using namespace harness;

namespace {

template <class Kind>
class QueueTest : public testing::Test {
};
TYPED_TEST_SUITE(QueueTest, QueueKinds, QueueName);

TYPED_TEST(QueueTest, NullQueueIsTolerated)
{
    char byte = 'x';
    EXPECT_EQ(TypeParam::init(nullptr, &byte, 1), -1);
    EXPECT_EQ(TypeParam::destroy(nullptr), -1);
    EXPECT_EQ(TypeParam::add(nullptr, &byte, 1), 0U);
    EXPECT_EQ(TypeParam::remove(nullptr, &byte, 1), 0U);
}

TYPED_TEST(QueueTest, BytesComeOutInOrder)
{
    Queue<TypeParam> queue(8);
    EXPECT_EQ(queue.add("abc"), 3U);
    EXPECT_EQ(queue.add("de"), 2U);
    EXPECT_EQ(queue.remove(4), "abcd");
    EXPECT_EQ(queue.add("fghij"), 5U) << "across the end of the storage";
    EXPECT_EQ(queue.remove(99), "efghij");
}

TYPED_TEST(QueueTest, SizesAreTold)
{
    Queue<TypeParam> queue(8);
    EXPECT_EQ(TypeParam::size(&queue.record), 8U);
    EXPECT_EQ(TypeParam::free_space(&queue.record), 8U);
    EXPECT_EQ(queue.len(), 0U);
    queue.add("abc");
    EXPECT_EQ(TypeParam::size(&queue.record), 8U);
    EXPECT_EQ(TypeParam::free_space(&queue.record), 5U);
    EXPECT_EQ(queue.len(), 3U);
}

TYPED_TEST(QueueTest, WhatDoesNotFitIsDropped)
{
    Queue<TypeParam> queue(4);
    EXPECT_EQ(queue.add("abc"), 3U);
    EXPECT_EQ(queue.add("def"), 1U);
    EXPECT_EQ(queue.add("x"), 0U);
    EXPECT_EQ(queue.remove(99), "abcd");
}

TYPED_TEST(QueueTest, FlushDropsEverything)
{
    Queue<TypeParam> queue(4);
    queue.add("abc");
    TypeParam::flush(&queue.record);
    EXPECT_EQ(queue.len(), 0U);
    EXPECT_EQ(queue.add("defg"), 4U);
    EXPECT_EQ(queue.remove(99), "defg");
}

TYPED_TEST(QueueTest, RingIsTheFirstPartOfTheRecord)
{
    Queue<TypeParam> queue(8);
    queue.add("abc");
    std::string text(3, '?');
    EXPECT_EQ(ringPeekData(reinterpret_cast<RingBuf*>(&queue.record), text.data(), 3), 3U);
    EXPECT_EQ(text, "abc");
}

TYPED_TEST(QueueTest, DestroyEmptiesTheQueue)
{
    typename TypeParam::Record record;
    char storage[4] = "";
    ASSERT_EQ(TypeParam::init(&record, storage, 4), 0);
    EXPECT_EQ(TypeParam::add(&record, "abc", 3), 3U);
    EXPECT_EQ(TypeParam::destroy(&record), 0);
    EXPECT_EQ(record.ring.count, 0U);
    EXPECT_EQ(record.ring.read, record.ring.start);
}

TYPED_TEST(QueueTest, ReaderIsWokenByAnAdd)
{
    Queue<TypeParam> queue(8);
    Event started;
    std::thread reader([&] {
        for (const char* expected : {"ab", "cd", "ef"}) {
            started.set();
            EXPECT_EQ(queue.remove(2), expected);
        }
    });
    EXPECT_TRUE(started.wait());
    for (const char* text : {"ab", "cd", "ef"}) {
        EXPECT_EQ(queue.add(text), 2U);
        EXPECT_TRUE(wait_until([&] { return queue.len() == 0; }));
    }
    reader.join();
}

TYPED_TEST(QueueTest, EveryReaderIsWokenInTurn)
{
    constexpr int kReaders = 4;
    Queue<TypeParam> queue(8);
    std::atomic<int> woken{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i) {
        readers.emplace_back([&] {
            EXPECT_EQ(queue.remove(1), "x");
            ++woken;
        });
    }
    for (int i = 0; i < kReaders; ++i) {
        EXPECT_EQ(queue.add("x"), 1U);
        EXPECT_TRUE(wait_until([&] { return woken == i + 1; }));
    }
    for (auto& reader : readers) {
        reader.join();
    }
}

// BlockQ.

TEST(BlockQ, PeekGivesTheSameBytesTwice)
{
    Queue<BlockQKind> queue(8);
    queue.add("abcde");
    for (int i = 0; i < 2; ++i) {
        std::string text(9, '?');
        EXPECT_EQ(BlockQ_Peek(&queue.record, text.data(), 9), 5U);
        EXPECT_EQ(text.substr(0, 5), "abcde");
        EXPECT_EQ(BlockQ_Peek(&queue.record, text.data(), 2), 2U);
        EXPECT_EQ(queue.len(), 5U);
    }
    EXPECT_EQ(queue.remove(9), "abcde");
    EXPECT_EQ(BlockQ_Peek(nullptr, nullptr, 9), 0U);
}

TEST(BlockQ, PeekWaitsForBytes)
{
    Queue<BlockQKind> queue(8);
    Event started;
    std::thread reader([&] {
        started.set();
        char byte = '?';
        EXPECT_EQ(BlockQ_Peek(&queue.record, &byte, 1), 1U);
        EXPECT_EQ(byte, 'a');
    });
    EXPECT_TRUE(started.wait());
    EXPECT_EQ(queue.add("ab"), 2U);
    reader.join();
    EXPECT_EQ(queue.len(), 2U);
}

// BlockQEx.

TEST(BlockQEx, SizesOfNoQueueAreZero)
{
    EXPECT_EQ(COMMON_BlockQEx_Size(nullptr), 0U);
    EXPECT_EQ(COMMON_BlockQEx_FreeSpace(nullptr), 0U);
    EXPECT_EQ(COMMON_BlockQEx_Len(nullptr), 0U);
    COMMON_BlockQEx_Flush(nullptr);
}

// A thread that holds the sync object itself is refused, and nothing changes.
TEST(BlockQEx, OperationsWithoutTheLockDoNothing)
{
    Queue<BlockQExKind> queue(8);
    queue.add("abc");
    ASSERT_EQ(COMMON_sync_lock(&queue.record.sync), 0);
    char byte = '?';
    EXPECT_EQ(queue.add("d"), 0U);
    EXPECT_EQ(COMMON_BlockQEx_Remove(&queue.record, &byte, 1), 0U);
    EXPECT_EQ(COMMON_BlockQEx_Size(&queue.record), 0U);
    EXPECT_EQ(COMMON_BlockQEx_FreeSpace(&queue.record), 0U);
    EXPECT_EQ(COMMON_BlockQEx_Len(&queue.record), 0U);
    COMMON_BlockQEx_Flush(&queue.record);
    ASSERT_EQ(COMMON_sync_unlock(&queue.record.sync), 0);
    EXPECT_EQ(queue.remove(9), "abc");
}

TEST(BlockQEx, DestroyLeavesTheSyncObjectWithoutAnOwner)
{
    COMMON_BlockQEx queue;
    char storage[4] = "";
    ASSERT_EQ(COMMON_BlockQEx_Init(&queue, storage, 4), 0);
    EXPECT_EQ(COMMON_BlockQEx_Destroy(&queue), 0);
    EXPECT_EQ(queue.sync.owner, static_cast<pthread_t>(-1));
}

TEST(BlockQEx, QueueStartsUnlockedWithoutASignal)
{
    Queue<BlockQExKind> queue(4);
    EXPECT_EQ(queue.record.sync.flags, 0U) << "a second argument of the sync object counted";
    int value = -1;
    EXPECT_EQ(sem_getvalue(&queue.record.sync.signal, &value), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(queue.add("abcde"), 4U);
    EXPECT_EQ(sem_getvalue(&queue.record.sync.signal, &value), 0);
    EXPECT_EQ(value, 0) << "a part that was stored signalled";
    EXPECT_EQ(queue.add(""), 0U);
    EXPECT_EQ(sem_getvalue(&queue.record.sync.signal, &value), 0);
    EXPECT_EQ(value, 1) << "all of nothing was stored";
}

}  // namespace
