#include "list_by_abstractset.h"

#include <cstdlib>

#include "containers/absset.h"
#include "log/report.h"
#include "mem_malloc.h"

namespace common::list {
namespace {

constexpr Source kSource{"list_by_abstractset", Module::Common};

/// Each function of the list is the set's of the same name, so its own name tells which one failed.
[[gnu::cold, gnu::noinline]] std::uint32_t report_code(std::uint32_t code, Here here) noexcept
{
    const char* const name = here.function + (sizeof "LIST_" - 1);
    report(kSource, COMMON_LogLevelError, here, "AbsSET_%s() failed - %u.", name, code);
    return 0;
}

/// Turns a code of the set into the list's 1 or 0, and reports a failure.
std::uint32_t done(std::uint32_t code, Here here = Here::now()) noexcept
{
    return code == AbsSET_Success ? 1 : report_code(code, here);
}

}  // namespace
}  // namespace common::list

using namespace common::list;
using common::set::kBack;
using common::set::kFront;
using common::set::pop_quickly;
using common::set::push_quickly;
using common::set::step_quickly;

extern "C" {

LIST LIST_New(void)
{
    return AbsSET_New();
}

LIST LIST_NewEx(AbsSET_Release_t release)
{
    LIST list = AbsSET_New();
    AbsSET_InitializeEx(list, release);  // tells of a null list itself
    return list;
}

uint32_t LIST_Clear(LIST list)
{
    return done(AbsSET_Clear(list));
}

uint32_t LIST_Delete(LIST list)
{
    return done(AbsSET_Delete(list));
}

void* LIST_Get(LIST list)
{
    if (list != nullptr && list->cursor != nullptr) {
        return list->cursor->value;
    }
    return AbsSET_ValueGet(list);
}

void* LIST_GetFront(LIST list)
{
    return AbsSET_ValueGetFront(list);
}

void* LIST_GetBack(LIST list)
{
    return AbsSET_ValueGetBack(list);
}

void* LIST_GetIndex(LIST list, int32_t index)
{
    return AbsSET_ValueGetIndex(list, index);
}

void* LIST_Pop(LIST list)
{
    return AbsSET_ValuePop(list);
}

void* LIST_PopFront(LIST list)
{
    void* const value = pop_quickly<kFront>(list);
    return value != nullptr ? value : AbsSET_ValuePopFront(list);
}

void* LIST_PopBack(LIST list)
{
    void* const value = pop_quickly<kBack>(list);
    return value != nullptr ? value : AbsSET_ValuePopBack(list);
}

void* LIST_PopIndex(LIST list, int32_t index)
{
    return AbsSET_ValuePopIndex(list, index);
}

uint32_t LIST_PopValue(LIST list, const void* value)
{
    return done(AbsSET_PopValue(list, value));
}

uint32_t LIST_Push(LIST list, void* value)
{
    return done(AbsSET_Push(list, nullptr, value));
}

uint32_t LIST_PushBack(LIST list, void* value)
{
    return push_quickly<kBack>(list, value) ? 1 : done(AbsSET_PushBack(list, nullptr, value));
}

uint32_t LIST_PushFront(LIST list, void* value)
{
    return push_quickly<kFront>(list, value) ? 1 : done(AbsSET_PushFront(list, nullptr, value));
}

uint32_t LIST_PushIndex(LIST list, void* value, int32_t index)
{
    return done(AbsSET_PushIndex(list, nullptr, value, index));
}

uint32_t LIST_IndexBegin(LIST list)
{
    return done(AbsSET_IndexBegin(list));
}

uint32_t LIST_IndexLast(LIST list)
{
    return done(AbsSET_IndexLast(list));
}

uint32_t LIST_IndexNext(LIST list)
{
    return step_quickly(list) ? 1 : done(AbsSET_IndexNext(list));
}

uint32_t LIST_IndexPrevious(LIST list)
{
    return done(AbsSET_IndexPrevious(list));
}

uint32_t LIST_Info(LIST list)
{
    return done(AbsSET_Info(list));
}

uint32_t LIST_IsEmpty(LIST list)
{
    return AbsSET_IsEmpty(list);
}

uint32_t LIST_IsEnd(LIST list)
{
    if (list != nullptr && list->cursor != nullptr) {
        return list->cursor == &list->sentinel ? 1 : 0;
    }
    return AbsSET_IsEnd(list);
}

uint32_t LIST_Size(LIST list)
{
    return AbsSET_Size(list);
}

LIST LIST_Copy(LIST source)
{
    LIST copy = LIST_New();
    if (copy == nullptr || LIST_IndexBegin(source) == 0) {
        return copy;
    }
    while (LIST_IsEnd(source) == 0) {
        if (LIST_PushBack(copy, LIST_Get(source)) == 0) {
            return copy;
        }
        LIST_IndexNext(source);
    }
    // Oddity: the wrong way round: callers rely on the null, and on the values being freed by the
    // deletion, because the copy has no release function. Test:
    // List.CopyIsNeverHandedOutAndFreesTheValues.
    LIST_Delete(copy);
    return nullptr;
}

uint32_t LIST_Sort(LIST list, LIST_Compare_t compare)
{
    const std::uint32_t count = LIST_Size(list);
    // An array that is too large to be asked for is one that there is no memory for.
    if (count == 0 || compare == nullptr || count > UINT32_MAX / sizeof(void*)) {
        return 0;
    }
    auto* const values =
        static_cast<void**>(MEM_Salloc(static_cast<std::uint32_t>(count * sizeof(void*))));
    if (values == nullptr) {
        return 0;
    }
    std::uint32_t good = LIST_IndexBegin(list);
    for (std::uint32_t i = 0; good != 0 && LIST_IsEnd(list) == 0; ++i) {
        if (i >= count) {
            COMMON_REPORT(kSource, Error, "%u out of array boundaries [0..%u] should not happen", i,
                          count - 1);
            good = 0;
        } else {
            values[i] = LIST_Get(list);
            good = LIST_IndexNext(list);
        }
    }
    if (good != 0) {
        std::qsort(values, count, sizeof(void*), compare);
        const AbsSET_Release_t release = list->release;
        // Oddity: abandons the records, which callers may have kept.
        // Test: List.SortAbandonsTheOldRecords.
        const std::uint32_t code = AbsSET_Initialize(list);
        list->release = release;
        if (code != AbsSET_Success) {
            COMMON_REPORT(kSource, Error, "AbsSET_Initialize({%p:%p}) failed:%d",
                          static_cast<void*>(list), static_cast<void*>(list),
                          static_cast<std::int32_t>(code));
            good = 0;
        }
        for (std::uint32_t i = 0; good != 0 && i < count; ++i) {
            good = LIST_PushBack(list, values[i]);
        }
    }
    MEM_Free(values);
    return good;
}

}  // extern "C"
