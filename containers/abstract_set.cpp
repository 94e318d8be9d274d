#include "abstract_set.h"

#include <cstddef>

#include "containers/absset.h"
#include "log/report.h"
#include "mem_malloc.h"

// Components on other compilers and in other languages lay these records out themselves.
static_assert(offsetof(AbsSET_Entry, value) == 0);
static_assert(offsetof(AbsSET_Entry, flink) == sizeof(void*));
static_assert(offsetof(AbsSET_Entry, blink) == 2 * sizeof(void*));
static_assert(sizeof(AbsSET_Entry) == 3 * sizeof(void*));
static_assert(offsetof(AbsSET, cursor) == 0);
static_assert(offsetof(AbsSET, sentinel) == sizeof(void*));
static_assert(offsetof(AbsSET, size) == 4 * sizeof(void*));
static_assert(offsetof(AbsSET, release) == 5 * sizeof(void*));
static_assert(sizeof(AbsSET) == 6 * sizeof(void*));

namespace common::set {
namespace {

constexpr char kNoEntry[] = "absset_EntryGet() failed.";
constexpr char kNoIndex[] = "Invalid index.";

/// The records between which a new one goes.
struct Gap {
    AbsSET_Entry* prev;
    AbsSET_Entry* next;
};

/// Walks from the front. Null when a link is: the ring is broken.
AbsSET_Entry* entry_at(const AbsSET& set, std::uint32_t index) noexcept
{
    AbsSET_Entry* entry = set.sentinel.flink;
    while (index != 0 && entry != nullptr) {
        entry = entry->flink;
        --index;
    }
    return entry;
}

}  // namespace

AbsSET_Entry* absset_EntryGet(AbsSET* set, Position position) noexcept
{
    if (refused(set == nullptr)) {
        return nullptr;
    }
    switch (position) {
    case kFront:
        return set->sentinel.flink;
    case kBack:
        return set->sentinel.blink;
    case kCursor:
        return set->cursor;
    default:
        break;
    }
    // Oddity: without a full stop, unlike the same texts of a push, as filters match them.
    // Test: AbstractSetMisuse.IsReported.
    if (position < 0) {
        COMMON_REPORT(kSource, Error, "Invalid index: %d", position);
        return nullptr;
    }
    const auto index = static_cast<std::uint32_t>(position);
    if (index >= set->size) {
        COMMON_REPORT(kSource, Error, "The index %d exceeds the size: %u", position, set->size);
        return nullptr;
    }
    // Oddity: from the front, even when the back is nearer: the size may be lower than the number
    // of entries (a pop at the end counts down, a record linked by hand is not counted), and then a
    // walk from the back would come to another entry. Test: AbstractSet.PopAtTheEndOnlyCountsDown.
    AbsSET_Entry* const entry = entry_at(*set, index);
    return refused(entry == nullptr) ? nullptr : entry;
}

/// Not inlined: the four pops of entries would each have a copy.
[[gnu::noinline]] AbsSET_Entry* absset_EntryPop(AbsSET* set, Position position) noexcept
{
    if (refused(set == nullptr)) {
        return nullptr;
    }
    AbsSET_Entry* const entry = absset_EntryGet(set, position);
    if (entry == nullptr || entry->flink == nullptr || entry->blink == nullptr) {
        COMMON_REPORT(kSource, Error, kNoEntry);
        return nullptr;
    }
    // The sentinel stays where it is, or nothing would lead to the entries any more.
    if (entry != &set->sentinel) {
        entry->flink->blink = entry->blink;
        entry->blink->flink = entry->flink;
    }
    set->cursor = entry->flink;
    // Oddity: the sentinel counts, too: callers recognise a pop from an empty set by the size that
    // wraps to 4294967295. Test: AbstractSet.PopOfAnEmptySetWrapsTheSize.
    --set->size;
    return entry;
}

std::uint32_t absset_EntryPush(AbsSET* set, AbsSET_Entry* entry, void* value,
                               Position position) noexcept
{
    if (refused(set == nullptr || value == nullptr || set->size >= kMostEntries)) {
        return AbsSET_BadArguments;
    }
    Gap gap{};
    if (position == kBack) {
        gap = {set->sentinel.blink, &set->sentinel};
    } else if (position == kFront || position == 0) {
        gap = {&set->sentinel, set->sentinel.flink};
    } else if (position == kCursor) {
        if (set->cursor == nullptr) {
            COMMON_REPORT(kSource, Error, kNoIndex);
            return AbsSET_InvalidPosition;
        }
        gap = {set->cursor, set->cursor->flink};
    } else if (position < 0) {
        COMMON_REPORT(kSource, Error, "Invalid index: %d.", position);
        return AbsSET_InvalidPosition;
    } else {
        const auto index = static_cast<std::uint32_t>(position);
        if (index > set->size) {
            COMMON_REPORT(kSource, Error, "The index %d exceeds the size: %u.", position,
                          set->size);
            return AbsSET_InvalidPosition;
        }
        gap.prev = entry_at(*set, index - 1);
        gap.next = gap.prev == nullptr ? nullptr : gap.prev->flink;
        if (refused(gap.next == nullptr)) {
            return AbsSET_BadArguments;
        }
    }

    auto* const made =
        static_cast<AbsSET_Entry*>(entry == nullptr ? MEM_Malloc(sizeof(AbsSET_Entry)) : nullptr);
    const std::uint32_t code =
        AbsSET_InitializeEntry(made == nullptr ? entry : made, gap.next, gap.prev, value);
    if (code != AbsSET_Success) {
        COMMON_REPORT(kSource, Error, "AbsSET_InitializeEntry() failed - %u", code);
        MEM_Free(made);
        return code;
    }
    ++set->size;
    return AbsSET_Success;
}

void* absset_ValueGet(AbsSET* set, Position position) noexcept
{
    const AbsSET_Entry* const entry = absset_EntryGet(set, position);
    if (entry == nullptr) {
        COMMON_REPORT(kSource, Error, kNoEntry);
        return nullptr;
    }
    return entry->value;
}

void* absset_ValuePop(AbsSET* set, Position position) noexcept
{
    AbsSET_Entry* const entry = absset_EntryPop(set, position);
    if (entry == nullptr) {
        COMMON_REPORT(kSource, Error, "absset_EntryPop() failed.");
        return nullptr;
    }
    void* const value = entry->value;
    if (entry != &set->sentinel) {
        MEM_Free(entry);
    }
    return value;
}

std::uint32_t absset_SetIndex(AbsSET* set, Position position) noexcept
{
    if (refused(set == nullptr)) {
        return AbsSET_BadArguments;
    }
    switch (position) {
    case kFront:
        set->cursor = set->sentinel.flink;
        return AbsSET_Success;
    case kBack:
        set->cursor = set->sentinel.blink;
        return AbsSET_Success;
    case kNext:
    case kPrevious:
        if (set->cursor == &set->sentinel || set->cursor == nullptr) {
            COMMON_REPORT(kSource, Error, kNoIndex);
            return AbsSET_InvalidPosition;
        }
        set->cursor = position == kNext ? set->cursor->flink : set->cursor->blink;
        return AbsSET_Success;
    default:
        COMMON_REPORT(kSource, Error, "Unknown index: %d", position);
        return AbsSET_UnknownPosition;
    }
}

}  // namespace common::set

using namespace common::set;

extern "C" {

uint32_t AbsSET_Initialize(AbsSET* set)
{
    if (refused(set == nullptr)) {
        return AbsSET_BadArguments;
    }
    set->sentinel = {nullptr, &set->sentinel, &set->sentinel};
    set->cursor = &set->sentinel;
    set->size = 0;
    set->release = nullptr;
    return AbsSET_Success;
}

uint32_t AbsSET_InitializeEx(AbsSET* set, AbsSET_Release_t release)
{
    if (refused(set == nullptr)) {
        return AbsSET_BadArguments;
    }
    AbsSET_Initialize(set);
    set->release = release;
    return AbsSET_Success;
}

uint32_t AbsSET_InitializeEntry(AbsSET_Entry* entry, AbsSET_Entry* next, AbsSET_Entry* prev,
                                void* value)
{
    if (refused(entry == nullptr || next == nullptr || prev == nullptr || value == nullptr)) {
        return AbsSET_BadArguments;
    }
    *entry = {value, next, prev};
    next->blink = entry;
    prev->flink = entry;
    return AbsSET_Success;
}

uint32_t AbsSET_Clear(AbsSET* set)
{
    if (refused(set == nullptr)) {
        return AbsSET_BadArguments;
    }
    while (set->size != 0) {
        void* const value = AbsSET_ValuePopFront(set);
        const AbsSET_Release_t release = set->release == nullptr ? MEM_Free : set->release;
        release(value);
    }
    return AbsSET_Success;
}

uint32_t AbsSET_Push(AbsSET* set, AbsSET_Entry* entry, void* value)
{
    return absset_EntryPush(set, entry, value, kCursor);
}

uint32_t AbsSET_PushFront(AbsSET* set, AbsSET_Entry* entry, void* value)
{
    if (set != nullptr && entry == nullptr && push_quickly<kFront>(set, value)) {
        return AbsSET_Success;
    }
    return absset_EntryPush(set, entry, value, kFront);
}

uint32_t AbsSET_PushBack(AbsSET* set, AbsSET_Entry* entry, void* value)
{
    if (set != nullptr && entry == nullptr && push_quickly<kBack>(set, value)) {
        return AbsSET_Success;
    }
    return absset_EntryPush(set, entry, value, kBack);
}

uint32_t AbsSET_PushIndex(AbsSET* set, AbsSET_Entry* entry, void* value, int32_t index)
{
    return absset_EntryPush(set, entry, value, index);
}

AbsSET_Entry* AbsSET_EntryGet(AbsSET* set)
{
    return absset_EntryGet(set, kCursor);
}

AbsSET_Entry* AbsSET_EntryGetFront(AbsSET* set)
{
    return absset_EntryGet(set, kFront);
}

AbsSET_Entry* AbsSET_EntryGetBack(AbsSET* set)
{
    return absset_EntryGet(set, kBack);
}

AbsSET_Entry* AbsSET_EntryGetIndex(AbsSET* set, int32_t index)
{
    return absset_EntryGet(set, index);
}

void* AbsSET_ValueGet(AbsSET* set)
{
    return absset_ValueGet(set, kCursor);
}

void* AbsSET_ValueGetFront(AbsSET* set)
{
    return absset_ValueGet(set, kFront);
}

void* AbsSET_ValueGetBack(AbsSET* set)
{
    return absset_ValueGet(set, kBack);
}

void* AbsSET_ValueGetIndex(AbsSET* set, int32_t index)
{
    return absset_ValueGet(set, index);
}

AbsSET_Entry* AbsSET_EntryPop(AbsSET* set)
{
    return absset_EntryPop(set, kCursor);
}

AbsSET_Entry* AbsSET_EntryPopFront(AbsSET* set)
{
    return absset_EntryPop(set, kFront);
}

AbsSET_Entry* AbsSET_EntryPopBack(AbsSET* set)
{
    return absset_EntryPop(set, kBack);
}

AbsSET_Entry* AbsSET_EntryPopIndex(AbsSET* set, int32_t index)
{
    return absset_EntryPop(set, index);
}

void* AbsSET_ValuePop(AbsSET* set)
{
    return absset_ValuePop(set, kCursor);
}

void* AbsSET_ValuePopFront(AbsSET* set)
{
    void* const value = pop_quickly<kFront>(set);
    return value != nullptr ? value : absset_ValuePop(set, kFront);
}

void* AbsSET_ValuePopBack(AbsSET* set)
{
    void* const value = pop_quickly<kBack>(set);
    return value != nullptr ? value : absset_ValuePop(set, kBack);
}

void* AbsSET_ValuePopIndex(AbsSET* set, int32_t index)
{
    return absset_ValuePop(set, index);
}

uint32_t AbsSET_IndexBegin(AbsSET* set)
{
    return absset_SetIndex(set, kFront);
}

uint32_t AbsSET_IndexLast(AbsSET* set)
{
    return absset_SetIndex(set, kBack);
}

uint32_t AbsSET_IndexNext(AbsSET* set)
{
    return step_quickly(set) ? std::uint32_t{AbsSET_Success} : absset_SetIndex(set, kNext);
}

uint32_t AbsSET_IndexPrevious(AbsSET* set)
{
    return absset_SetIndex(set, kPrevious);
}

uint32_t AbsSET_IsEnd(const AbsSET* set)
{
    if (refused(set == nullptr || set->cursor == nullptr)) {
        return 1;
    }
    return set->cursor == &set->sentinel ? 1 : 0;
}

uint32_t AbsSET_Size(const AbsSET* set)
{
    if (refused(set == nullptr)) {
        return 0;
    }
    return set->size;
}

uint32_t AbsSET_IsEmpty(const AbsSET* set)
{
    if (refused(set == nullptr)) {
        return 1;
    }
    return set->size == 0 ? 1 : 0;
}

}  // extern "C"
