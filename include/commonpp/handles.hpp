/**
 * @file handles.hpp
 * Owners of what the C interface makes, each a std::unique_ptr that ends it by the right function
 * and is as large as the pointer:
 *
 *     const commonpp::map stations{Map_New(nullptr)};
 *     Map_Add(stations.get(), key, value);
 */
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include <common/common_wdm.h>
#include <common/data.h>
#include <common/list_by_abstractset.h>
#include <common/list_light.h>
#include <common/map.h>
#include <common/mem_malloc.h>
#include <common/ring_buffer.h>

namespace commonpp {

/** Ends what a pointer leads to by a function. */
template <auto function>
struct deleter {
    /** Ends it. */
    template <class Record>
    void operator()(Record* record) const noexcept
    {
        static_cast<void>(function(record));
    }
};

/** An owner of a record. */
template <class Record, auto function>
using handle = std::unique_ptr<Record, deleter<function>>;

namespace detail {

inline void end_list_with_data(ListLight* list) noexcept
{
    ListLight_Delete(list, ListLight_entry_data_memfree_callback);
}
inline void end_list(ListLight* list) noexcept
{
    ListLight_Delete(list, nullptr);
}

}  // namespace detail

/** Of LIST_New() or LIST_NewEx(): ends the values, too. */
using list = handle<AbsSET, LIST_Delete>;
/** Of AbsSET_New(): ends the values, too. */
using abstract_set = handle<AbsSET, AbsSET_Delete>;
/** Of ListLight_New(), whose data are somebody else's. */
using light_list = handle<ListLight, detail::end_list>;
/** Of ListLight_New(), whose data are released with MEM_Free(). */
using owning_light_list = handle<ListLight, detail::end_list_with_data>;
/** Of Map_New(); keys and values are somebody else's. */
using map = handle<Map, Map_Delete>;
/** Of DATA_ArrayNew() and its like. */
using byte_array = handle<DATA_Array, DATA_ArrayDelete>;
/** Of COMMON_wdm_Init(). */
using watchdog = handle<COMMON_wdm, COMMON_wdm_Destroy>;
/** Of COMMON_wdm_Create_Subscriber(): ends the watch when it goes. */
using watchdog_client = handle<COMMON_wdm_Subscriber, COMMON_wdm_Unsubscribe>;

/** A block of MEM_Malloc() and its family, or a text of the library's that is released so. */
template <class Type>
using mem = handle<Type, MEM_Free>;

/**
 * Makes a block of values, all bytes zero. Without memory the process ends.
 * @param count how many; the block must be smaller than 4 GiB, else the result is null.
 */
template <class Type>
[[nodiscard]] mem<Type[]> make_mem(std::uint32_t count)
{
    static_assert(std::is_trivially_copyable_v<Type> && std::is_trivially_destructible_v<Type>);
    const std::uint64_t size = std::uint64_t{count} * sizeof(Type);
    return mem<Type[]>(size <= UINT32_MAX
                           ? static_cast<Type*>(MEM_Salloc(static_cast<std::uint32_t>(size)))
                           : nullptr);
}

/** A ring of bytes with its storage (ring_buffer.h). Cannot be copied or moved; has no lock. */
template <std::uint32_t capacity>
class ring {
public:
    ring() noexcept { ringBufInit(&record_, storage_, capacity); }
    ring(const ring&) = delete;
    ring& operator=(const ring&) = delete;

    /** Stores what fits. @param source `size` bytes. @param size bytes.
     * @return how many were stored. */
    [[nodiscard]] std::uint32_t write(const void* source, std::uint32_t size) noexcept
    {
        return ringWriteData(&record_, source, size);
    }
    /** Takes bytes out, oldest first. @param room for `size` bytes. @param size
     * bytes. @return how many were taken. */
    [[nodiscard]] std::uint32_t read(void* room, std::uint32_t size) noexcept
    {
        return ringReadData(&record_, room, size);
    }
    /** Counts the bytes held. */
    [[nodiscard]] std::uint32_t size() const noexcept { return record_.count; }
    /** The C record, still this object's. */
    RingBuf* native() noexcept { return &record_; }

private:
    RingBuf record_;
    std::uint8_t storage_[capacity];
};

}  // namespace commonpp
