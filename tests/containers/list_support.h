// What the tests of the list share.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "abstract_set_support.h"
#include "list_by_abstractset.h"
#include "mem_malloc.h"

/// A list whose values are not released, ended with the object.
class LocalList {
public:
    LocalList(std::initializer_list<std::size_t> numbers = {}) : list_(LIST_NewEx(keep_value))
    {
        for (const std::size_t number : numbers) {
            EXPECT_EQ(LIST_PushBack(list_, value(number)), 1U);
        }
    }
    LocalList(const LocalList&) = delete;
    LocalList& operator=(const LocalList&) = delete;
    ~LocalList()
    {
        list_->size = static_cast<std::uint32_t>(ring().size());
        list_->release = keep_value;
        LIST_Delete(list_);
    }

    operator LIST() const { return list_; }
    LIST operator->() const { return list_; }

    std::vector<void*> ring() const { return ring_of(*list_); }

    std::vector<AbsSET_Entry*> records() const
    {
        std::vector<AbsSET_Entry*> all;
        for (AbsSET_Entry* entry = list_->sentinel.flink; entry != &list_->sentinel;
             entry = entry->flink) {
            all.push_back(entry);
        }
        return all;
    }

private:
    LIST list_;
};

/// Sorts, and then frees the records that the sort abandons.
inline std::uint32_t sort_and_free(const LocalList& list, LIST_Compare_t compare)
{
    const std::vector<AbsSET_Entry*> old_records = list.records();
    const std::uint32_t done = LIST_Sort(list, compare);
    for (AbsSET_Entry* const record : old_records) {
        MEM_Free(record);
    }
    return done;
}

inline int by_address(const void* first, const void* second)
{
    const char* const a = *static_cast<char* const*>(first);
    const char* const b = *static_cast<char* const*>(second);
    return a < b ? -1 : (a > b ? 1 : 0);
}
