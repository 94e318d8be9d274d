// Readers of both blocking queues that are known to wait: what wakes them and what does not.
#include "queues.h"

#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <string>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>

#include "fault.h"
#include "fresh_process.h"
#include "wait_until.h"

using namespace harness;
using fault::Call;

namespace {

/// How a reader waits, and what wakes it.
template <class Kind>
struct Steps;

template <>
struct Steps<BlockQKind> {
    static constexpr Call wait = Call::pthread_cond_wait;
    static constexpr int first_wait = 1;
};

template <>
struct Steps<BlockQExKind> {
    static constexpr Call wait = Call::sem_wait;
    static constexpr int first_wait = 1;
};

template <class Kind>
class QueueWait : public testing::Test {
};
TYPED_TEST_SUITE(QueueWait, QueueKinds, QueueName);

/// Reads by a function that holds nothing: it may be cancelled, which unwinds through it.
using Read = std::uint32_t (*)(void* record, char* bytes, std::uint32_t wanted);

template <class Kind>
std::uint32_t remove_from(void* record, char* bytes, std::uint32_t wanted)
{
    return Kind::remove(static_cast<typename Kind::Record*>(record), bytes, wanted);
}

/// A thread that reads, and is known to have begun to wait.
class WaitingReader {
public:
    template <class Kind>
    WaitingReader(Queue<Kind>& queue, std::uint32_t length)
        : WaitingReader(&queue.record, length, Steps<Kind>::wait, Steps<Kind>::first_wait,
                        remove_from<Kind>)
    {
    }

    /// It waits when that many calls of `wait` have been made; other readers wait already.
    WaitingReader(void* record, std::uint32_t length, Call wait, int first_wait, Read read)
        : record_(record), length_(length), read_(read)
    {
        const int before = fault::calls(wait);
        EXPECT_EQ(pthread_create(&thread_, nullptr, run, this), 0);
        EXPECT_TRUE(wait_until([&] { return fault::calls(wait) >= before + first_wait; }));
    }

    bool has_returned() const { return returned_.is_set(); }

    /// Waits for the end of the reader: what it has read.
    std::string text()
    {
        EXPECT_EQ(join(), nullptr);
        return {bytes_, count_};
    }

    /// Cancels the reader, which must be waiting.
    void cancel()
    {
        EXPECT_TRUE(is_cancelled());
        EXPECT_FALSE(has_returned());
    }

    /// Cancels the reader and waits for its end. @return whether it had not read by then.
    bool is_cancelled()
    {
        EXPECT_EQ(pthread_cancel(thread_), 0);
        return join() == PTHREAD_CANCELED;
    }

private:
    static void* run(void* argument)
    {
        auto* const reader = static_cast<WaitingReader*>(argument);
        reader->count_ = reader->read_(reader->record_, reader->bytes_, reader->length_);
        // What comes now is not the queue's, and has a cancellation point.
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        reader->returned_.set();
        return nullptr;
    }

    void* join()
    {
        void* result = this;
        EXPECT_EQ(pthread_join(thread_, &result), 0);
        return result;
    }

    void* const record_;
    const std::uint32_t length_;
    const Read read_;
    Event returned_;
    pthread_t thread_{};
    char bytes_[16] = {};
    std::uint32_t count_ = 0;
};

TYPED_TEST(QueueWait, ReaderThatWaitsIsWokenByAFullAdd)
{
    run_silently([] {
        Queue<TypeParam> queue(8);
        WaitingReader reader(queue, 9);
        EXPECT_FALSE(reader.has_returned());
        EXPECT_EQ(queue.add("abc"), 3U);
        EXPECT_EQ(reader.text(), "abc");
    });
}

TYPED_TEST(QueueWait, PartialAddWakesNobody)
{
    run_silently([] {
        Queue<TypeParam> queue(4);
        WaitingReader reader(queue, 9);
        EXPECT_EQ(queue.add("abcdef"), 4U);
        EXPECT_EQ(queue.add("g"), 0U);
        if constexpr (std::is_same_v<TypeParam, BlockQKind>) {
            EXPECT_EQ(fault::calls(Call::pthread_cond_signal), 0);
        } else {
            int value = -1;
            EXPECT_EQ(sem_getvalue(&queue.record.sync.signal, &value), 0);
            EXPECT_EQ(value, 0);
        }
        EXPECT_FALSE(reader.has_returned());
        EXPECT_EQ(queue.len(), 4U) << "the reader has been woken";
        // All of nothing is stored, which wakes.
        EXPECT_EQ(queue.add(""), 0U);
        EXPECT_EQ(reader.text(), "abcd");
    });
}

TYPED_TEST(QueueWait, AddOfNothingWakesAReaderThatGoesOnWaiting)
{
    run_silently([] {
        Queue<TypeParam> queue(8);
        WaitingReader reader(queue, 9);
        const int calls = fault::calls(Steps<TypeParam>::wait);
        EXPECT_EQ(queue.add(""), 0U);
        EXPECT_TRUE(wait_until([&] { return fault::calls(Steps<TypeParam>::wait) > calls; }));
        EXPECT_FALSE(reader.has_returned());
        EXPECT_EQ(queue.add("abc"), 3U);
        EXPECT_EQ(reader.text(), "abc");
    });
}

TYPED_TEST(QueueWait, RemoveOfNothingNeverReturns)
{
    run_silently([] {
        Queue<TypeParam> queue(8);
        WaitingReader reader(queue, 0);
        for (int i = 0; i < 20; ++i) {
            const int calls = fault::calls(Steps<TypeParam>::wait);
            queue.add("x");
            if (queue.len() == 8) {
                TypeParam::flush(&queue.record);
            }
            // It is woken, looks and waits again.
            EXPECT_TRUE(wait_until([&] { return fault::calls(Steps<TypeParam>::wait) > calls; }));
            EXPECT_FALSE(reader.has_returned());
        }
        reader.cancel();
        TypeParam::flush(&queue.record);
        EXPECT_EQ(queue.add("ab"), 2U);
        EXPECT_EQ(queue.remove(2), "ab");
    });
}

TYPED_TEST(QueueWait, ReaderWaitsOnWhileOthersTakeTheBytes)
{
    run_silently([] {
        Queue<TypeParam> queue(8);
        WaitingReader reader(queue, 9);
        for (int i = 0; i < 20; ++i) {
            queue.add("x");
            TypeParam::flush(&queue.record);
        }
        if (!reader.has_returned()) {
            queue.add("y");
        }
        EXPECT_THAT(reader.text(), testing::AnyOf("x", "y"));
    });
}

// It leaves the lock free for the others.
TYPED_TEST(QueueWait, ReaderCanBeCancelledWhileItWaits)
{
    run_silently([] {
        Queue<TypeParam> queue(8);
        WaitingReader reader(queue, 2);
        reader.cancel();
        EXPECT_EQ(queue.add("ab"), 2U);
        EXPECT_EQ(queue.remove(2), "ab");
    });
}

// The wake-up that may have come with its end is another one's.
TYPED_TEST(QueueWait, ReaderThatIsCancelledDuringAnAddLeavesTheBytesToAnother)
{
    run_silently([] {
        for (int round = 0; round < 25 && !testing::Test::HasFailure(); ++round) {
            Queue<TypeParam> queue(8);
            WaitingReader first(queue, 1);
            WaitingReader second(queue, 1);
            std::atomic<bool> go{false};
            std::thread adds([&] {
                while (!go) {
                    std::this_thread::yield();
                }
                queue.add("x");
            });
            go = true;
            for (int left = round * 80; left > 0; --left) {
            }
            const bool is_cancelled = first.is_cancelled();
            adds.join();
            EXPECT_TRUE(!is_cancelled || wait_until([&] { return second.has_returned(); }))
                << "the bytes lie there, and it sleeps on";
            if (!second.is_cancelled()) {
                EXPECT_TRUE(is_cancelled) << "both have got something";
            }
        }
    });
}

FRESH_TEST(BlockQExWait, ReaderThatIsCancelledAsItLocksAgainLeavesTheSignal)
{
    Queue<BlockQExKind> queue(8);
    sem_t& signal = queue.record.sync.signal;
    // It takes the signal while another thread takes the lock, is interrupted as it locks again,
    // and cancelled as it tries once more.
    fault::on_call(Call::sem_wait, 1, [&] {
        sem_post(&signal);
        sem_wait(&queue.record.sync.lock);
        fault::fail(Call::sem_wait, 1, EINTR);
        fault::on_call(Call::sem_wait, 2, [&] {
            sem_post(&queue.record.sync.lock);
            pthread_cancel(pthread_self());
        });
    });
    pthread_t reader{};
    void* result = nullptr;
    const auto read = [](void* record) -> void* {
        char byte = 0;
        (void)COMMON_BlockQEx_Remove(static_cast<COMMON_BlockQEx*>(record), &byte, 1);
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&reader, nullptr, read, &queue.record), 0);
    EXPECT_EQ(pthread_join(reader, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(fault::calls(Call::sem_wait), 3);
    int pending = -1;
    EXPECT_EQ(sem_getvalue(&signal, &pending), 0);
    EXPECT_EQ(pending, 1);
}

FRESH_TEST(BlockQWait, PeekOfNothingNeverReturns)
{
    Queue<BlockQKind> queue(8);
    queue.add("abc");
    WaitingReader reader(&queue.record, 0, Call::pthread_cond_wait, 1,
                         [](void* record, char* bytes, std::uint32_t wanted) {
                             return BlockQ_Peek(static_cast<BlockQ*>(record), bytes, wanted);
                         });
    queue.add("d");
    EXPECT_TRUE(wait_until([] { return fault::calls(Call::pthread_cond_wait) > 1; }));
    reader.cancel();
    EXPECT_EQ(queue.remove(9), "abcd");
}

}  // namespace
