// queue: whole values between threads.
#include <cstdint>

#include <sched.h>

#include "bodies.h"

using commonpp::queue;

namespace {

struct Packet {
    std::uint32_t from;
    std::uint64_t number;
    std::uint8_t tail[3];
};

/// Cannot be made without a value, nor changed.
struct Sealed {
    explicit Sealed(int given) : value(given) {}
    const int value;
};

BODY(CommonppQueue, ValuesComeOutWholeAndInOrder)
{
    queue<Packet, 3> packets;
    CHECK_EQ(packets.size(), 0U);
    for (int round = 0; round < 5; ++round) {
        const auto base = static_cast<std::uint64_t>(round) * 10;
        CHECK(packets.push({1, base, {1, 2, 3}}));
        CHECK(packets.push({2, base + 1, {4, 5, 6}}));
        CHECK_EQ(packets.size(), 2U);
        const Packet first = packets.pop();
        CHECK_EQ(first.from, 1U);
        CHECK_EQ(first.number, base);
        CHECK_EQ(first.tail[2], 3);
        const Packet second = packets.pop();
        CHECK_EQ(second.number, base + 1);
        CHECK_EQ(second.tail[0], 4);
        CHECK_EQ(packets.size(), 0U);
    }
}

BODY(CommonppQueue, FullOneRefusesTheWholeValue)
{
    queue<Packet, 2> packets;
    CHECK(packets.push({1, 1, {}}));
    CHECK(packets.push({2, 2, {}}));
    CHECK(!packets.push({3, 3, {}}));
    CHECK_EQ(packets.size(), 2U);
    CHECK_EQ(packets.pop().number, 1U);
    CHECK(packets.push({4, 4, {}}));
    CHECK_EQ(packets.pop().number, 2U);
    CHECK_EQ(packets.pop().number, 4U);
    CHECK_EQ(packets.size(), 0U);
}

BODY(CommonppQueue, TakesWhatOnlyBytesCanCopy)
{
    queue<Sealed, 1> one;
    CHECK(one.push(Sealed(42)));
    CHECK_EQ(one.pop().value, 42);
    CHECK_EQ(BlockQ_Size(one.native()), sizeof(Sealed));
}

BODY(CommonppQueue, EachValueReachesOneOfSeveralReaders)
{
    constexpr std::uint32_t kReaders = 3;
    constexpr std::uint64_t kValues = 3000;
    queue<std::uint64_t, 16> numbers;
    std::atomic<std::uint64_t> sum{0};
    commonpp::thread readers[kReaders];
    for (commonpp::thread& reader : readers) {
        CHECK(ok(reader.start([&] {
            for (std::uint64_t number = numbers.pop(); number != 0; number = numbers.pop()) {
                sum += number;
            }
        })));
    }
    const auto push = [&](std::uint64_t number) {
        while (!numbers.push(number)) {
            sched_yield();
        }
    };
    for (std::uint64_t number = 1; number <= kValues; ++number) {
        push(number);
    }
    for (std::uint32_t reader = 0; reader < kReaders; ++reader) {
        push(0);
    }
    for (commonpp::thread& reader : readers) {
        CHECK(ok(reader.join()));
    }
    CHECK_EQ(sum.load(), kValues * (kValues + 1) / 2);
}

}  // namespace
