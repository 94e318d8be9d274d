// Races of both blocking queues: what is added comes out once, whole and in its producer's order.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "queues.h"
#include "soak.h"
#include "wait_until.h"

using namespace harness;

namespace {

constexpr unsigned kProducers = 3;
constexpr unsigned kConsumers = 2;
constexpr std::uint32_t kMost = 24;

/// Queues have room for whole messages only, so that none is cut.
struct Message {
    std::uint32_t producer;
    std::uint32_t check;
    std::uint64_t number;

    static Message make(std::uint32_t producer, std::uint64_t number)
    {
        return {producer, check_of(producer, number), number};
    }
    bool is_whole() const { return check == check_of(producer, number); }

private:
    static std::uint32_t check_of(std::uint32_t producer, std::uint64_t number)
    {
        return static_cast<std::uint32_t>((number ^ producer) * 0x9E3779B97F4A7C15U >> 32);
    }
};
static_assert(sizeof(Message) == 16);

/// Ends the consumers.
constexpr std::uint32_t kLast = kProducers;

constexpr std::uint32_t bytes(std::uint32_t messages)
{
    return messages * static_cast<std::uint32_t>(sizeof(Message));
}

/// Adds messages with the numbers from 0 on, a few at a time.
template <class Kind>
class Producer {
public:
    Producer(typename Kind::Record& queue, unsigned id) : queue_(queue), random_(id), id_(id) {}

    void step()
    {
        std::array<Message, kMost> messages;
        const auto count = static_cast<std::uint32_t>(random_() % kMost + 1);
        for (std::uint32_t i = 0; i < count; ++i) {
            messages[i] = Message::make(id_, sent_ + i);
        }
        const std::uint32_t stored = Kind::add(&queue_, messages.data(), bytes(count));
        ASSERT_TRUE(stored <= bytes(count) && stored % sizeof(Message) == 0) << stored;
        sent_ += stored / sizeof(Message);
        if (stored == 0) {
            std::this_thread::yield();
        }
    }

    std::uint64_t sent() const { return sent_; }

private:
    typename Kind::Record& queue_;
    std::mt19937 random_;
    std::uint32_t id_;
    std::uint64_t sent_ = 0;
};

/// Takes messages until it gets the last one.
template <class Kind>
class Consumer {
public:
    Consumer(typename Kind::Record& queue, unsigned id) : queue_(queue), random_(id) {}

    void run()
    {
        std::array<Message, kMost> messages;
        for (bool ends = false; !ends;) {
            const auto most = static_cast<std::uint32_t>(random_() % kMost + 1);
            const std::uint32_t taken = Kind::remove(&queue_, messages.data(), bytes(most));
            ASSERT_TRUE(0 < taken && taken <= bytes(most) && taken % sizeof(Message) == 0) << taken;
            for (std::uint32_t i = 0; i < taken / sizeof(Message); ++i) {
                ends = take(messages[i]) || ends;
            }
        }
    }

    /// How many came from a producer, and the sum of their numbers.
    std::array<std::uint64_t, kProducers> counts{};
    std::array<std::uint64_t, kProducers> sums{};

private:
    bool take(const Message& message)
    {
        if (!message.is_whole() || message.producer > kLast) {
            ADD_FAILURE() << message.producer << ", " << message.number << " is torn";
            return true;
        }
        if (message.producer == kLast) {
            return true;
        }
        EXPECT_GE(message.number, next_[message.producer]) << "producer " << message.producer;
        next_[message.producer] = message.number + 1;
        ++counts[message.producer];
        sums[message.producer] += message.number;
        return false;
    }

    typename Kind::Record& queue_;
    std::mt19937 random_;
    std::array<std::uint64_t, kProducers> next_{};
};

/// The sum of the numbers below one, as the machine adds them.
std::uint64_t sum_below(std::uint64_t count)
{
    return count % 2 == 0 ? count / 2 * (count - 1) : count * ((count - 1) / 2);
}

/// Producers, consumers and who else there is.
template <class Kind>
class QueueSoak : public testing::Test {
protected:
    struct Contest {
        Queue<Kind> queue{bytes(2 * kMost)};
        std::deque<Producer<Kind>> producers;
        std::deque<Consumer<Kind>> consumers;

        Contest()
        {
            for (unsigned id = 0; id < kProducers; ++id) {
                producers.emplace_back(queue.record, id);
            }
            for (unsigned id = 0; id < kConsumers; ++id) {
                consumers.emplace_back(queue.record, id);
            }
        }

        /// Lets all of them run, and one that does something else meanwhile.
        void run(std::chrono::milliseconds time, const std::function<void()>& other)
        {
            std::atomic<unsigned> ended{0};
            std::vector<std::thread> waiting;
            for (auto& consumer : consumers) {
                waiting.emplace_back([&] {
                    consumer.run();
                    ++ended;
                });
            }
            if constexpr (requires { Kind::peek; }) {
                waiting.emplace_back([&] {
                    peek_until_last();
                    ++ended;
                });
            }
            std::vector<std::function<void()>> steps{other};
            for (auto& producer : producers) {
                steps.emplace_back([&] { producer.step(); });
            }
            race(time, steps);
            EXPECT_TRUE(wait_until([&] {
                const Message last = Message::make(kLast, 0);
                (void)Kind::add(&queue.record, &last, sizeof last);
                return ended == waiting.size();
            }));
            for (auto& thread : waiting) {
                thread.join();
            }
        }

        void peek_until_last()
        {
            Message first{};
            do {
                if constexpr (requires { Kind::peek; }) {
                    ASSERT_EQ(Kind::peek(&queue.record, &first, sizeof first), sizeof first);
                }
                ASSERT_TRUE(first.is_whole());
            } while (first.producer != kLast);
        }

        void look()
        {
            const std::uint32_t length = Kind::len(&queue.record);
            ASSERT_TRUE(length <= bytes(2 * kMost) && length % sizeof(Message) == 0) << length;
            ASSERT_LE(Kind::free_space(&queue.record), bytes(2 * kMost));
            ASSERT_EQ(Kind::size(&queue.record), bytes(2 * kMost));
        }

        std::uint64_t received(unsigned producer) const
        {
            std::uint64_t count = 0;
            for (const auto& consumer : consumers) {
                count += consumer.counts[producer];
            }
            return count;
        }
    };
};
TYPED_TEST_SUITE(QueueSoak, QueueKinds, QueueName);

TYPED_TEST(QueueSoak, EveryMessageComesOutOnce)
{
    run_race([](std::chrono::milliseconds time) {
        typename TestFixture::Contest contest;
        contest.run(time, [&] { contest.look(); });
        std::uint64_t all_sent = 0;
        for (unsigned id = 0; id < kProducers; ++id) {
            const std::uint64_t sent = contest.producers[id].sent();
            all_sent += sent;
            EXPECT_EQ(contest.received(id), sent);
            std::uint64_t sum = 0;
            for (const auto& consumer : contest.consumers) {
                sum += consumer.sums[id];
            }
            EXPECT_EQ(sum, sum_below(sent)) << "one came twice instead of another";
        }
        EXPECT_GT(all_sent, 0U);
    });
}

TYPED_TEST(QueueSoak, FlushesLoseWholeMessages)
{
    run_race([](std::chrono::milliseconds time) {
        typename TestFixture::Contest contest;
        std::mt19937 random(9);
        contest.run(time, [&] {
            if (random() % 16 == 0) {
                TypeParam::flush(&contest.queue.record);
            } else {
                contest.look();
            }
        });
        std::uint64_t received = 0;
        for (unsigned id = 0; id < kProducers; ++id) {
            EXPECT_LE(contest.received(id), contest.producers[id].sent());
            received += contest.received(id);
        }
        EXPECT_GT(received, 0U);
    });
}

/// Whoever has got the last message may release the queue, though its sender has not returned yet.
TYPED_TEST(QueueSoak, DestroyWaitsForWhoIsStillInside)
{
    run_race([](std::chrono::milliseconds time) {
        const auto live_and_die = [] {
            auto queue = std::make_unique<Queue<TypeParam>>(bytes(1));
            auto* const record = &queue->record;
            std::thread sender([record] {
                const Message message = Message::make(0, 4711);
                (void)TypeParam::add(record, &message, sizeof message);
            });
            Message message{};
            EXPECT_EQ(TypeParam::remove(record, &message, sizeof message), sizeof message);
            EXPECT_TRUE(message.is_whole() && message.number == 4711);
            queue.reset();
            sender.join();
        };
        race(time, {live_and_die, live_and_die});
    });
}

}  // namespace
