// What the tests of the abstract set share: values, sets in caller storage, expected reports.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "abstract_set.h"
#include "common_log.h"
#include "fresh_process.h"
#include "log_expect.h"

/// Addresses to push: a value is anything that is not null.
inline std::array<char, 4096> value_storage;

inline void* value(std::size_t number)
{
    return &value_storage.at(number);
}

inline std::vector<void*> values(std::initializer_list<std::size_t> numbers)
{
    std::vector<void*> all;
    for (const std::size_t number : numbers) {
        all.push_back(value(number));
    }
    return all;
}

/// Values of a ring, front first, read from its records; fails a check when a link is wrong.
inline std::vector<void*> ring_of(const AbsSET& set)
{
    std::vector<void*> all;
    const AbsSET_Entry* previous = &set.sentinel;
    for (const AbsSET_Entry* entry = set.sentinel.flink; entry != &set.sentinel;
         entry = entry->flink) {
        EXPECT_EQ(entry->blink, previous) << "at index " << all.size();
        EXPECT_NE(entry->value, nullptr) << "at index " << all.size();
        all.push_back(entry->value);
        previous = entry;
    }
    EXPECT_EQ(set.sentinel.blink, previous);
    EXPECT_EQ(set.sentinel.value, nullptr);
    return all;
}

inline void keep_value(void* /*value*/) {}

/// An initialised set whose values are not released. Its records are freed with it.
class LocalSet : public AbsSET {
public:
    LocalSet(std::initializer_list<std::size_t> numbers = {}) : AbsSET{}
    {
        AbsSET_InitializeEx(this, keep_value);
        for (const std::size_t number : numbers) {
            EXPECT_EQ(AbsSET_PushBack(this, nullptr, value(number)), AbsSET_Success);
        }
    }
    LocalSet(const LocalSet&) = delete;
    LocalSet& operator=(const LocalSet&) = delete;
    ~LocalSet()
    {
        size = static_cast<std::uint32_t>(ring().size());
        release = keep_value;
        AbsSET_Clear(this);
    }

    std::vector<void*> ring() const { return ring_of(*this); }

    /// The cursor's value; null at the end.
    void* at_cursor() const { return cursor->value; }

    /// Puts the cursor on an index; on the end at the size.
    void go_to(std::size_t index)
    {
        cursor = sentinel.flink;
        for (; index != 0; --index) {
            cursor = cursor->flink;
        }
    }
};

/// What a function of the set reports, or one of the list.
inline harness::Report said(const std::string& function, const std::string& message)
{
    const bool of_list = function.starts_with("LIST_");
    return harness::said(COMMON_LogLevelError, "COMMON",
                         of_list ? "list_by_abstractset" : "abstract_set", function, message);
}
