// Any calls of the ring buffer and of both blocking queues, but for those that wait: each holds
// what a plain queue of bytes holds. The input: the capacity, and then the calls.
#include <algorithm>
#include <array>
#include <deque>
#include <numeric>
#include <vector>

#include "blockq.h"
#include "common_blockQEx.h"
#include "ring_buffer.h"
#include "support/choices.h"
#include "support/input.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Storage of exactly the bytes that it may use.
struct Storage {
    explicit Storage(std::uint32_t capacity) : bytes(new std::uint8_t[capacity]) {}

    std::unique_ptr<std::uint8_t[]> bytes;
};

/// The three kinds, with the same calls made of all.
class Queues {
public:
    explicit Queues(std::uint32_t capacity) : capacity_(capacity)
    {
        ringBufInit(&ring_, storages_[0].bytes.get(), capacity);
        FUZZ_CHECK(BlockQ_Init(&queue_, storages_[1].bytes.get(), capacity) == 0);
        FUZZ_CHECK(COMMON_BlockQEx_Init(&queue_ex_, storages_[2].bytes.get(), capacity) == 0);
    }
    Queues(const Queues&) = delete;
    Queues& operator=(const Queues&) = delete;
    ~Queues()
    {
        FUZZ_CHECK(BlockQ_Destroy(&queue_) == 0);
        FUZZ_CHECK(COMMON_BlockQEx_Destroy(&queue_ex_) == 0);
    }

    void add(std::uint32_t length)
    {
        const Bytes bytes = new_bytes(length);
        const std::uint32_t stored = std::min(length, capacity_ - held());
        model_.insert(model_.end(), bytes.begin(), bytes.begin() + stored);
        FUZZ_CHECK(ringWriteData(&ring_, bytes.data(), length) == stored);
        FUZZ_CHECK(BlockQ_Add(&queue_, bytes.data(), length) == stored);
        FUZZ_CHECK(COMMON_BlockQEx_Add(&queue_ex_, bytes.data(), length) == stored);
    }

    void remove(std::uint32_t length)
    {
        if (length == 0 || model_.empty()) {
            Bytes none;
            FUZZ_CHECK(ringReadData(&ring_, none.data(), length) == 0);
            return;  // the others would wait
        }
        const Bytes expected = front(length);
        model_.erase(model_.begin(), model_.begin() + static_cast<long>(expected.size()));
        expect(expected, [&](auto* to) { return ringReadData(&ring_, to, length); });
        expect(expected, [&](auto* to) { return BlockQ_Remove(&queue_, to, length); });
        expect(expected, [&](auto* to) { return COMMON_BlockQEx_Remove(&queue_ex_, to, length); });
    }

    void peek(std::uint32_t length)
    {
        const Bytes expected = front(length);
        expect(expected, [&](auto* to) { return ringPeekData(&ring_, to, length); });
        if (!expected.empty()) {
            expect(expected, [&](auto* to) { return BlockQ_Peek(&queue_, to, length); });
        }
        // A queue begins with its ring.
        std::uint8_t* at = nullptr;
        for (const RingBuf* const ring : {&ring_, &queue_.ring, &queue_ex_.ring}) {
            std::uint32_t readable = length;
            ringGetDataPtr(ring, &at, &readable);
            FUZZ_CHECK(readable <= expected.size());
            FUZZ_CHECK((readable == 0) == expected.empty());
            FUZZ_CHECK(std::equal(at, at + readable, expected.begin()));
        }
    }

    void drop(std::uint32_t length)
    {
        const auto dropped = static_cast<long>(front(length).size());
        model_.erase(model_.begin(), model_.begin() + dropped);
        for (RingBuf* const ring : {&ring_, &queue_.ring, &queue_ex_.ring}) {
            ringBufDelete(ring, length);
        }
    }

    void flush()
    {
        model_.clear();
        ringBufFlush(&ring_);
        FUZZ_CHECK(BlockQ_Flush(&queue_) == 0);
        COMMON_BlockQEx_Flush(&queue_ex_);
    }

    void check_sizes()
    {
        FUZZ_CHECK(ring_.count == held());
        FUZZ_CHECK(BlockQ_Len(&queue_) == held());
        FUZZ_CHECK(BlockQ_FreeSpace(&queue_) == capacity_ - held());
        FUZZ_CHECK(BlockQ_Size(&queue_) == capacity_);
        FUZZ_CHECK(COMMON_BlockQEx_Len(&queue_ex_) == held());
        FUZZ_CHECK(COMMON_BlockQEx_FreeSpace(&queue_ex_) == capacity_ - held());
        FUZZ_CHECK(COMMON_BlockQEx_Size(&queue_ex_) == capacity_);
    }

    std::uint32_t held() const { return static_cast<std::uint32_t>(model_.size()); }

private:
    /// Bytes that no other call has given, as far as a byte goes.
    Bytes new_bytes(std::uint32_t length)
    {
        Bytes bytes(length);
        std::iota(bytes.begin(), bytes.end(), next_);
        next_ = static_cast<std::uint8_t>(next_ + length);
        return bytes;
    }

    Bytes front(std::uint32_t length) const
    {
        return {model_.begin(), model_.begin() + static_cast<long>(std::min(length, held()))};
    }

    /// What reads gives these bytes, into a block that has room for no more.
    template <class Read>
    static void expect(const Bytes& expected, Read read)
    {
        Bytes got(expected.size());
        FUZZ_CHECK(read(got.data()) == expected.size());
        FUZZ_CHECK(got == expected);
    }

    std::uint32_t capacity_;
    std::array<Storage, 3> storages_{Storage(capacity_), Storage(capacity_), Storage(capacity_)};
    RingBuf ring_{};
    BlockQ queue_{};
    COMMON_BlockQEx queue_ex_{};
    std::deque<std::uint8_t> model_;
    std::uint8_t next_ = 1;
};

/// A length: mostly small, at times what is held or much more than there can be.
std::uint32_t chosen_length(fuzz::Choices& choices, const Queues& queues)
{
    const unsigned choice = choices.byte();
    return choice == 255 ? 100'000 : choice == 254 ? queues.held() : choice;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Choices choices(data, std::min<std::size_t>(size, 512));
    Queues queues(choices.below(128));
    while (!choices.are_used_up()) {
        const unsigned choice = choices.below(16);
        if (choice < 6) {
            queues.add(std::min(chosen_length(choices, queues), 200U));
        } else if (choice < 11) {
            queues.remove(chosen_length(choices, queues));
        } else if (choice < 13) {
            queues.peek(chosen_length(choices, queues));
        } else if (choice < 15) {
            queues.drop(chosen_length(choices, queues));
        } else {
            queues.flush();
        }
        queues.check_sizes();
    }
    return 0;
}
