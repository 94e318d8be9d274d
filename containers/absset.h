// The parts that the functions of the abstract set are made of, under the names that records show.
#pragma once

#include "abstract_set.h"
#include "log/report.h"
#include "mem_malloc.h"

namespace common::set {

inline constexpr Source kSource{"abstract_set", Module::Common};

[[gnu::cold, gnu::noinline]] inline void report_bad_arguments(Here here) noexcept
{
    report(kSource, COMMON_LogLevelError, here, "Bad arguments.");
}

/// Whether arguments are bad, which is reported: to refuse them is one statement.
inline bool refused(bool bad, Here here = Here::now()) noexcept
{
    if (!bad) [[likely]] {
        return false;
    }
    report_bad_arguments(here);
    return true;
}

/// Selects a position. From 0 on it is an index counted from the front.
using Position = std::int32_t;

inline constexpr Position kFront = -1;
inline constexpr Position kBack = -2;
inline constexpr Position kNext = -3;
inline constexpr Position kPrevious = -4;
inline constexpr Position kCursor = -5;

/// A set with this many entries takes no more.
inline constexpr std::uint32_t kMostEntries = 0x7FFFFFFF;

/// Finds an entry: kFront, kBack, kCursor or an index. Null after a failure.
AbsSET_Entry* absset_EntryGet(AbsSET* set, Position position) noexcept;

/// Takes an entry out of the ring: kFront, kBack, kCursor or an index. Null after a failure.
AbsSET_Entry* absset_EntryPop(AbsSET* set, Position position) noexcept;

/// Inserts an entry: at kFront, kBack, behind kCursor or at an index. Gives a code.
std::uint32_t absset_EntryPush(AbsSET* set, AbsSET_Entry* entry, void* value,
                               Position position) noexcept;

void* absset_ValueGet(AbsSET* set, Position position) noexcept;
void* absset_ValuePop(AbsSET* set, Position position) noexcept;

/// Moves the cursor: to kFront or kBack, or one step to kNext or kPrevious. Gives a code.
std::uint32_t absset_SetIndex(AbsSET* set, Position position) noexcept;

/// Writes an entry to the log. Gives a code.
std::uint32_t absset_EntryInfo(const AbsSET_Entry* entry) noexcept;

// The usual way of the hot operations, inlined into the exported functions of the set and the list.
// They fail without a trace, and the caller then goes the full way, which tells what is wrong.

/// Inserts a value in a new record at an end: kFront or kBack.
template <Position kEnd>
inline bool push_quickly(AbsSET* set, void* value) noexcept
{
    static_assert(kEnd == kFront || kEnd == kBack);
    if (set == nullptr) {
        return false;
    }
    AbsSET_Entry* const prev = kEnd == kFront ? &set->sentinel : set->sentinel.blink;
    AbsSET_Entry* const next = kEnd == kFront ? set->sentinel.flink : &set->sentinel;
    if (prev == nullptr || next == nullptr || value == nullptr || set->size >= kMostEntries) {
        return false;
    }
    auto* const record = static_cast<AbsSET_Entry*>(MEM_Malloc(sizeof(AbsSET_Entry)));
    if (record == nullptr) {
        return false;
    }
    *record = {value, next, prev};
    next->blink = record;
    prev->flink = record;
    ++set->size;
    return true;
}

/// Takes the entry at an end out, frees its record and gives its value; null when it did nothing.
template <Position kEnd>
inline void* pop_quickly(AbsSET* set) noexcept
{
    static_assert(kEnd == kFront || kEnd == kBack);
    if (set == nullptr) {
        return nullptr;
    }
    AbsSET_Entry* const entry = kEnd == kFront ? set->sentinel.flink : set->sentinel.blink;
    // Also passes the sentinel by, which has no value.
    if (entry == nullptr || entry->value == nullptr || entry->flink == nullptr ||
        entry->blink == nullptr) {
        return nullptr;
    }
    void* const value = entry->value;
    entry->flink->blink = entry->blink;
    entry->blink->flink = entry->flink;
    set->cursor = entry->flink;
    --set->size;
    MEM_Free(entry);
    return value;
}

/// Moves the cursor towards the back.
inline bool step_quickly(AbsSET* set) noexcept
{
    if (set == nullptr || set->cursor == &set->sentinel || set->cursor == nullptr) {
        return false;
    }
    set->cursor = set->cursor->flink;
    return true;
}

}  // namespace common::set
