/**
 * @file queue.hpp
 * A queue of values between threads, on the BlockQ (blockq.h), which wakes one thread for each
 * value that is added.
 *
 * A value is added as a whole or not at all, and one is taken at a time, at the cost of the C call:
 * storage and all that is added are whole values, so that the queue never has room, or bytes, for a
 * part of one.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include <common/blockq.h>

namespace commonpp {

/**
 * A queue with its storage. It cannot be copied or moved; any thread may use it.
 * @tparam Value copied as bytes.
 * @tparam capacity values that there is room for.
 */
template <class Value, std::uint32_t capacity>
class queue {
    static_assert(std::is_trivially_copyable_v<Value>, "values are copied as bytes");
    static_assert(capacity > 0, "there is room for one value at least");
    static_assert(capacity <= UINT32_MAX / sizeof(Value));

public:
    queue() noexcept { BlockQ_Init(&record_, storage_, sizeof storage_); }
    /** Nobody may wait. There is no closing: add a value that says that it is the end. */
    ~queue() { BlockQ_Destroy(&record_); }
    queue(const queue&) = delete;
    queue& operator=(const queue&) = delete;

    /** Adds a value, without waiting for room. @return false when there was none. */
    [[nodiscard]] bool push(const Value& value) noexcept
    {
        return BlockQ_Add(&record_, &value, sizeof value) == sizeof value;
    }
    /** Takes the oldest value out; waits until there is one. A cancellation point. */
    [[nodiscard]] Value pop()
    {
        alignas(Value) unsigned char bytes[sizeof(Value)];
        static_cast<void>(BlockQ_Remove(&record_, bytes, sizeof bytes));
        return *std::launder(reinterpret_cast<const Value*>(bytes));
    }
    /** Counts the values. Whoever alone takes them out need not wait for as many. */
    [[nodiscard]] std::uint32_t size() noexcept
    {
        return BlockQ_Len(&record_) / std::uint32_t{sizeof(Value)};
    }
    /** The C record, still this object's. Add and remove whole values only. */
    BlockQ* native() noexcept { return &record_; }

private:
    BlockQ record_;
    alignas(Value) unsigned char storage_[std::size_t{capacity} * sizeof(Value)];
};

}  // namespace commonpp
