// Both blocking queues under load: many producers and consumers, and every byte accounted for.
#include "queues.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <sched.h>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "wait_until.h"

using namespace harness;

namespace {

constexpr unsigned kProducers = 4;
constexpr std::uint32_t kBytesOfEach = 2'500'000;
constexpr std::uint64_t kBytes = std::uint64_t{kProducers} * kBytesOfEach;
constexpr std::uint32_t kLongest = 8'192;
constexpr std::uint32_t kCapacity = 3 * kLongest - 1;

// A byte says who made it, in two bits, and which of that producer's bytes it is, in the others.
constexpr std::uint32_t kNumbers = 64;

/// Adds a producer's bytes, in pieces of changing lengths; what did not fit comes again.
template <class Kind>
void produce(typename Kind::Record& queue, unsigned id)
{
    static_assert(kProducers <= 256 / kNumbers);
    std::vector<std::uint8_t> pattern(kNumbers + kLongest);
    for (std::uint32_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = static_cast<std::uint8_t>(id * kNumbers + i % kNumbers);
    }
    std::uint32_t length = id * 1'000;
    for (std::uint32_t sent = 0; sent < kBytesOfEach;) {
        length = (length + 1'237) % kLongest + 1;
        const std::uint32_t wanted = std::min(length, kBytesOfEach - sent);
        const std::uint32_t stored = Kind::add(&queue, &pattern[sent % kNumbers], wanted);
        sent += stored;
        if (stored < wanted) {
            sched_yield();
        }
    }
}

/// Counts bytes by their value.
class Count {
public:
    void add(const std::vector<std::uint8_t>& bytes, std::uint32_t length)
    {
        const std::uint8_t* const first = bytes.data();
        for (std::uint32_t i = 0; i < length; ++i) {
            ++counts_[first[i]];
        }
    }

    void add(const Count& other)
    {
        for (std::size_t i = 0; i < 256; ++i) {
            counts_[i] += other.counts_[i];
        }
    }

    /// Every producer has sent each of its numbers as often, the last round but in part.
    void expect_all() const
    {
        for (std::uint32_t value = 0; value < kProducers * kNumbers; ++value) {
            const std::uint32_t number = value % kNumbers;
            const std::uint64_t expected =
                kBytesOfEach / kNumbers + (number < kBytesOfEach % kNumbers ? 1 : 0);
            EXPECT_EQ(counts_[value], expected)
                << "producer " << value / kNumbers << ", " << number;
        }
    }

private:
    std::uint64_t counts_[256] = {};
};

template <class Kind>
class QueueLoad : public testing::Test {
protected:
    void start_producers()
    {
        for (unsigned id = 0; id < kProducers; ++id) {
            producers_.emplace_back([this, id] { produce<Kind>(queue_.record, id); });
        }
    }

    void join_producers()
    {
        for (auto& producer : producers_) {
            producer.join();
        }
    }

    Queue<Kind> queue_{kCapacity};

private:
    std::vector<std::thread> producers_;
};
TYPED_TEST_SUITE(QueueLoad, QueueKinds, QueueName);

TYPED_TEST(QueueLoad, OneConsumerGetsTheBytesOfEachProducerInOrder)
{
    this->start_producers();
    std::vector<std::uint8_t> bytes(kLongest);
    std::array<std::uint32_t, kProducers> next{};
    std::uint32_t disordered = 0;
    std::uint32_t wanted = 1;
    for (std::uint64_t received = 0; received < kBytes;) {
        wanted = wanted * 7 % kLongest + 1;
        const std::uint32_t length = TypeParam::remove(&this->queue_.record, bytes.data(), wanted);
        ASSERT_TRUE(0 < length && length <= wanted);
        const std::uint8_t* const first = bytes.data();
        for (std::uint32_t i = 0; i < length; ++i) {
            std::uint32_t& expected = next[first[i] / kNumbers];
            disordered += first[i] % kNumbers == expected % kNumbers ? 0U : 1U;
            ++expected;
        }
        received += length;
    }
    this->join_producers();
    EXPECT_EQ(disordered, 0U);
    EXPECT_THAT(next, testing::Each(kBytesOfEach));
    EXPECT_EQ(this->queue_.len(), 0U);
}

TYPED_TEST(QueueLoad, ManyConsumersGetEveryByteOnce)
{
    constexpr unsigned kConsumers = 4;
    std::atomic<std::uint64_t> received{0};
    std::atomic<unsigned> ended{0};
    std::array<Count, kConsumers> counts;
    std::vector<std::thread> consumers;
    for (unsigned id = 0; id < kConsumers; ++id) {
        consumers.emplace_back([&, id] {
            std::vector<std::uint8_t> bytes(kLongest);
            // Bytes behind the last one only wake the consumers that still wait.
            while (received < kBytes) {
                const std::uint32_t length =
                    TypeParam::remove(&this->queue_.record, bytes.data(), kLongest - id * 1'111);
                if (received < kBytes) {
                    counts[id].add(bytes, length);
                    received += length;
                }
            }
            ++ended;
        });
    }
    this->start_producers();
    this->join_producers();
    EXPECT_TRUE(wait_until([&] { return received >= kBytes; }));
    EXPECT_TRUE(wait_until([&] {
        if (this->queue_.len() == 0) {
            this->queue_.add("!");
        }
        return ended == kConsumers;
    }));
    for (auto& consumer : consumers) {
        consumer.join();
    }
    EXPECT_EQ(received, kBytes);
    Count all;
    for (const Count& count : counts) {
        all.add(count);
    }
    all.expect_all();
}

}  // namespace
