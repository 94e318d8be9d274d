// The ring buffer: fixed cases, and random operations against a plain model.
#include "ring_buffer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <deque>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// A ring over storage that is fenced on both sides.
class FencedRing {
public:
    explicit FencedRing(std::uint32_t capacity) : bytes_(capacity + 2 * kFence, kFenceByte)
    {
        ringBufInit(&ring, bytes_.data() + kFence, capacity);
    }
    FencedRing(const FencedRing&) = delete;
    FencedRing& operator=(const FencedRing&) = delete;
    ~FencedRing()
    {
        const auto is_fence = [](std::uint8_t byte) { return byte == kFenceByte; };
        EXPECT_TRUE(std::all_of(bytes_.begin(), bytes_.begin() + kFence, is_fence));
        EXPECT_TRUE(std::all_of(bytes_.end() - kFence, bytes_.end(), is_fence));
    }

    std::uint32_t write(std::string_view text)
    {
        return ringWriteData(&ring, text.data(), static_cast<std::uint32_t>(text.size()));
    }

    std::string read(std::uint32_t length)
    {
        std::string text(length, '?');
        text.resize(ringReadData(&ring, text.data(), length));
        return text;
    }

    std::string peek(std::uint32_t length) const
    {
        std::string text(length, '?');
        text.resize(ringPeekData(&ring, text.data(), length));
        return text;
    }

    /// Moves both positions on from the start of the storage.
    void move_positions(std::uint32_t distance)
    {
        ASSERT_EQ(write(std::string(distance, '#')), distance);
        ASSERT_EQ(read(distance).size(), distance);
    }

    RingBuf ring;

private:
    static constexpr std::ptrdiff_t kFence = 16;
    static constexpr std::uint8_t kFenceByte = 0xFE;
    std::vector<std::uint8_t> bytes_;
};

TEST(RingBuffer, InitFillsTheRecord)
{
    std::array<std::uint8_t, 8> storage{};
    RingBuf ring;
    std::memset(&ring, 0xA5, sizeof ring);
    ringBufInit(&ring, storage.data(), 8);
    EXPECT_EQ(ring.start, storage.data());
    EXPECT_EQ(ring.end, storage.data() + 8);
    EXPECT_EQ(ring.read, storage.data());
    EXPECT_EQ(ring.write, storage.data());
    EXPECT_EQ(ring.count, 0U);
    EXPECT_EQ(storage, (std::array<std::uint8_t, 8>{})) << "the storage was touched";
}

TEST(RingBuffer, BytesComeOutInOrder)
{
    FencedRing fenced(8);
    EXPECT_EQ(fenced.write("abc"), 3U);
    EXPECT_EQ(fenced.write("de"), 2U);
    EXPECT_EQ(fenced.ring.count, 5U);
    EXPECT_EQ(fenced.ring.write, fenced.ring.start + 5);
    EXPECT_EQ(fenced.read(4), "abcd");
    EXPECT_EQ(fenced.ring.count, 1U);
    EXPECT_EQ(fenced.ring.read, fenced.ring.start + 4);
    EXPECT_EQ(fenced.read(4), "e");
    EXPECT_EQ(fenced.read(4), "");
}

TEST(RingBuffer, WriteOfTooMuchStoresExactlyTheFreeSpace)
{
    FencedRing fenced(8);
    EXPECT_EQ(fenced.write("abcde"), 5U);
    EXPECT_EQ(fenced.write("fghij"), 3U);
    EXPECT_EQ(fenced.ring.count, 8U);
    EXPECT_EQ(fenced.ring.write, fenced.ring.read) << "full: both positions are the same";
    EXPECT_EQ(fenced.write("x"), 0U) << "no byte that is held is overwritten";
    EXPECT_EQ(fenced.read(99), "abcdefgh");
}

TEST(RingBuffer, WritePositionWrapsAsSoonAsItReachesTheEnd)
{
    FencedRing fenced(4);
    fenced.write("abcd");
    EXPECT_EQ(fenced.ring.write, fenced.ring.start);
    EXPECT_EQ(fenced.read(4), "abcd");
    EXPECT_EQ(fenced.ring.read, fenced.ring.start);
}

TEST(RingBuffer, ReadsAndWritesAcrossTheEnd)
{
    for (std::uint32_t moved = 0; moved <= 8; ++moved) {
        FencedRing fenced(8);
        fenced.move_positions(moved);
        EXPECT_EQ(fenced.write("abcdefgh"), 8U) << moved;
        EXPECT_EQ(fenced.peek(8), "abcdefgh") << moved;
        EXPECT_EQ(fenced.read(8), "abcdefgh") << moved;
        EXPECT_EQ(fenced.ring.read, fenced.ring.write) << moved;
    }
}

TEST(RingBuffer, PeekLeavesEverythingAsItIs)
{
    FencedRing fenced(8);
    fenced.move_positions(6);
    fenced.write("abcde");
    const RingBuf before = fenced.ring;
    EXPECT_EQ(fenced.peek(3), "abc");
    EXPECT_EQ(fenced.peek(99), "abcde");
    EXPECT_EQ(fenced.peek(99), "abcde");
    EXPECT_EQ(fenced.ring.read, before.read);
    EXPECT_EQ(fenced.ring.write, before.write);
    EXPECT_EQ(fenced.ring.count, before.count);
}

TEST(RingBuffer, NothingIsCopiedForALengthOfZero)
{
    FencedRing fenced(4);
    EXPECT_EQ(ringWriteData(&fenced.ring, nullptr, 0), 0U);
    EXPECT_EQ(ringReadData(&fenced.ring, nullptr, 0), 0U);
    EXPECT_EQ(ringReadData(&fenced.ring, nullptr, 9), 0U) << "nothing is held";
    fenced.write("abcd");
    EXPECT_EQ(ringWriteData(&fenced.ring, nullptr, 9), 0U) << "nothing fits";
    EXPECT_EQ(ringPeekData(&fenced.ring, nullptr, 0), 0U);
    EXPECT_EQ(fenced.read(9), "abcd");
}

TEST(RingBuffer, FlushDropsEverythingAndGoesBackToTheStart)
{
    FencedRing fenced(8);
    fenced.move_positions(5);
    fenced.write("abcdef");
    ringBufFlush(&fenced.ring);
    EXPECT_EQ(fenced.ring.read, fenced.ring.start);
    EXPECT_EQ(fenced.ring.write, fenced.ring.start);
    EXPECT_EQ(fenced.ring.count, 0U);
    EXPECT_EQ(fenced.read(9), "");
    EXPECT_EQ(fenced.write("abcdefghi"), 8U);
}

TEST(RingBuffer, StorageOfNothingHoldsNothing)
{
    RingBuf ring;
    ringBufInit(&ring, nullptr, 0);
    char byte = 'x';
    EXPECT_EQ(ringWriteData(&ring, &byte, 1), 0U);
    EXPECT_EQ(ringReadData(&ring, &byte, 1), 0U);
    ringBufDelete(&ring, 1);
    std::uint8_t* seen = nullptr;
    std::uint32_t length = 1;
    ringGetDataPtr(&ring, &seen, &length);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(ring.count, 0U);
}

// Access without a copy.

/// What ringGetDataPtr() shows when `wanted` bytes are asked for.
std::string shown(const RingBuf& ring, std::uint32_t wanted)
{
    std::uint8_t* bytes = nullptr;
    ringGetDataPtr(&ring, &bytes, &wanted);
    EXPECT_EQ(bytes, ring.read);
    return {reinterpret_cast<const char*>(bytes), wanted};
}

TEST(RingBuffer, DataIsShownWhereItIs)
{
    FencedRing fenced(8);
    EXPECT_EQ(shown(fenced.ring, 9), "") << "an empty ring";
    fenced.write("abcde");
    EXPECT_EQ(shown(fenced.ring, 9), "abcde") << "no more than is held";
    EXPECT_EQ(shown(fenced.ring, 2), "ab") << "no more than is wanted";
    EXPECT_EQ(shown(fenced.ring, 0), "");
    EXPECT_EQ(fenced.ring.count, 5U) << "nothing is consumed";
}

TEST(RingBuffer, OnlyThePartUpToTheEndIsShown)
{
    FencedRing fenced(8);
    fenced.move_positions(6);
    fenced.write("abcde");
    EXPECT_EQ(shown(fenced.ring, 9), "ab");
    EXPECT_EQ(shown(fenced.ring, 1), "a");
    ringBufDelete(&fenced.ring, 2);
    EXPECT_EQ(shown(fenced.ring, 9), "cde");
}

TEST(RingBuffer, DeleteDropsTheOldest)
{
    FencedRing fenced(8);
    fenced.write("abcdef");
    ringBufDelete(&fenced.ring, 2);
    EXPECT_EQ(fenced.ring.read, fenced.ring.start + 2);
    EXPECT_EQ(fenced.ring.count, 4U);
    ringBufDelete(&fenced.ring, 0);
    EXPECT_EQ(fenced.peek(9), "cdef");
}

TEST(RingBuffer, DeleteOfTooMuchDropsWhatIsHeld)
{
    FencedRing fenced(8);
    fenced.write("abcdef");
    ringBufDelete(&fenced.ring, 7);
    EXPECT_EQ(fenced.ring.count, 0U);
    EXPECT_EQ(fenced.ring.read, fenced.ring.start + 6) << "by as much as was held";
    ringBufDelete(&fenced.ring, UINT32_MAX);
    EXPECT_EQ(fenced.ring.read, fenced.ring.write);
}

TEST(RingBuffer, DeleteWrapsAtAndBehindTheEnd)
{
    for (const std::uint32_t dropped : {2U, 5U}) {
        FencedRing fenced(8);
        fenced.move_positions(6);
        fenced.write("abcdefg");
        ringBufDelete(&fenced.ring, dropped);
        EXPECT_EQ(fenced.ring.read, fenced.ring.start + dropped - 2);
        EXPECT_EQ(fenced.read(9), std::string("abcdefg").substr(dropped));
    }
}

// Random operations.

class Model {
public:
    explicit Model(std::uint32_t capacity) : capacity_(capacity), fenced_(capacity) {}

    void step(std::mt19937& random)
    {
        const auto length = static_cast<std::uint32_t>(random() % (capacity_ + capacity_ / 2 + 2));
        switch (random() % 16) {
        case 0:
            ringBufFlush(&fenced_.ring);
            held_.clear();
            break;
        case 1:
        case 2:
        case 3:
            ringBufDelete(&fenced_.ring, length);
            take(length);
            break;
        case 4:
        case 5:
            EXPECT_EQ(fenced_.peek(length), first(length));
            break;
        case 6:
            EXPECT_EQ(shown(fenced_.ring, length), first(std::min(length, up_to_end())));
            break;
        case 7:
        case 8:
        case 9:
        case 10:
            EXPECT_EQ(fenced_.read(length), first(length));
            take(length);
            break;
        default:
            write(length);
            break;
        }
        compare();
    }

private:
    void write(std::uint32_t length)
    {
        std::string text(length, '\0');
        std::iota(text.begin(), text.end(), next_byte_);
        const auto fits = std::min(length, capacity_ - static_cast<std::uint32_t>(held_.size()));
        EXPECT_EQ(fenced_.write(text), fits);
        held_.insert(held_.end(), text.begin(), text.begin() + fits);
        next_byte_ = static_cast<char>(next_byte_ + 7);
    }

    std::string first(std::uint32_t length) const
    {
        const auto count = static_cast<std::ptrdiff_t>(std::min<std::size_t>(length, held_.size()));
        return {held_.begin(), held_.begin() + count};
    }

    void take(std::uint32_t length)
    {
        const auto count = static_cast<std::ptrdiff_t>(std::min<std::size_t>(length, held_.size()));
        held_.erase(held_.begin(), held_.begin() + count);
    }

    std::uint32_t up_to_end() const
    {
        return static_cast<std::uint32_t>(fenced_.ring.end - fenced_.ring.read);
    }

    /// The record is valid: both positions are inside, and as far apart as what is held.
    void compare() const
    {
        const RingBuf& ring = fenced_.ring;
        ASSERT_EQ(ring.count, held_.size());
        ASSERT_EQ(ring.end - ring.start, static_cast<std::ptrdiff_t>(capacity_));
        ASSERT_TRUE(ring.start <= ring.read && ring.read < ring.end);
        ASSERT_TRUE(ring.start <= ring.write && ring.write < ring.end);
        ASSERT_EQ((ring.read - ring.start + ring.count) % capacity_, ring.write - ring.start);
    }

    const std::uint32_t capacity_;
    FencedRing fenced_;
    std::deque<char> held_;
    char next_byte_ = 'a';
};

TEST(RingBuffer, BehavesAsADequeWithALimit)
{
    for (const std::uint32_t capacity : {1U, 2U, 3U, 7U, 16U, 100U}) {
        std::mt19937 random(capacity);
        Model model(capacity);
        for (int i = 0; i < 4'000 && !testing::Test::HasFailure(); ++i) {
            model.step(random);
        }
    }
}

}  // namespace
