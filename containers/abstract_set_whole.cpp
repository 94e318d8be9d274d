// What is done to a set as a whole, by way of its interface: allocate, delete, search, show.
#include <cinttypes>

#include "abstract_set.h"
#include "containers/absset.h"
#include "log/report.h"
#include "mem_malloc.h"

namespace common {
namespace {

constexpr Source kSource = kAbstractSet;

std::uintptr_t number(const void* address) noexcept
{
    return reinterpret_cast<std::uintptr_t>(address);
}

}  // namespace

std::uint32_t absset_EntryInfo(const AbsSET_Entry* entry) noexcept
{
    if (entry == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return AbsSET_BadArguments;
    }
    COMMON_REPORT(kSource, Info, "entry: 0x%08" PRIXPTR, number(entry));
    COMMON_REPORT(kSource, Info, "value: 0x%08" PRIXPTR " = %" PRIuPTR, number(entry->value),
                  number(entry->value));
    COMMON_REPORT(kSource, Info, "flink: 0x%08" PRIXPTR, number(entry->flink));
    COMMON_REPORT(kSource, Info, "blink: 0x%08" PRIXPTR, number(entry->blink));
    return AbsSET_Success;
}

}  // namespace common

using namespace common;

extern "C" {

AbsSET* AbsSET_New(void)
{
    auto* const set = static_cast<AbsSET*>(MEM_Malloc(sizeof(AbsSET)));
    if (set == nullptr) {
        COMMON_REPORT(kSource, Error, "Failed to allocate memory.");
        return nullptr;
    }
    if (const std::uint32_t code = AbsSET_Initialize(set); code != AbsSET_Success) {
        COMMON_REPORT(kSource, Error, "AbsSET_Initialize() failed - %u", code);
        MEM_Free(set);
        return nullptr;
    }
    return set;
}

uint32_t AbsSET_Delete(AbsSET* set)
{
    if (set == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return AbsSET_BadArguments;
    }
    if (const std::uint32_t code = AbsSET_Clear(set); code != AbsSET_Success) {
        COMMON_REPORT(kSource, Error, "AbsSET_Clear() failed - %u", code);
        return code;
    }
    MEM_Free(set);
    return AbsSET_Success;
}

uint32_t AbsSET_PopEntry(AbsSET* set, const AbsSET_Entry* entry)
{
    if (set == nullptr || entry == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return AbsSET_BadArguments;
    }
    if (const std::uint32_t code = AbsSET_IndexBegin(set); code != AbsSET_Success) {
        COMMON_REPORT(kSource, Error, "AbsSET_IndexBegin() failed - %u.", code);
        return code;
    }
    while (AbsSET_IsEnd(set) == 0) {
        if (AbsSET_EntryGet(set) == entry) {
            AbsSET_EntryPop(set);
            break;
        }
        if (const std::uint32_t code = AbsSET_IndexNext(set); code != AbsSET_Success) {
            COMMON_REPORT(kSource, Error, "AbsSET_IndexNext() failed - %u.", code);
            return code;
        }
    }
    return AbsSET_Success;
}

uint32_t AbsSET_PopValue(AbsSET* set, const void* value)
{
    if (set == nullptr || value == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return AbsSET_BadArguments;
    }
    if (const std::uint32_t code = AbsSET_IndexBegin(set); code != AbsSET_Success) {
        COMMON_REPORT(kSource, Error, "AbsSET_IndexBegin() failed - %u.", code);
        return code;
    }
    while (AbsSET_IsEnd(set) == 0) {
        if (AbsSET_ValueGet(set) == value) {
            AbsSET_ValuePop(set);
            break;
        }
        if (const std::uint32_t code = AbsSET_IndexNext(set); code != AbsSET_Success) {
            COMMON_REPORT(kSource, Error, "AbsSET_IndexNext() failed - %u.", code);
            return code;
        }
    }
    return AbsSET_Success;
}

uint32_t AbsSET_Info(AbsSET* set)
{
    if (set == nullptr) {
        COMMON_REPORT(kSource, Error, "Bad arguments.");
        return AbsSET_BadArguments;
    }
    COMMON_REPORT(kSource, Info, "Size: %u", AbsSET_Size(set));
    COMMON_REPORT(kSource, Info, "Last Entry");
    absset_EntryInfo(&set->sentinel);
    AbsSET_IndexBegin(set);
    for (std::int32_t number = 0; AbsSET_IsEnd(set) == 0; ++number) {
        COMMON_REPORT(kSource, Info, "Entry %d", number);
        std::uint32_t code = absset_EntryInfo(AbsSET_EntryGet(set));
        if (code != AbsSET_Success) {
            COMMON_REPORT(kSource, Error, "absset_EntryInfo() failed - %u", code);
            return code;
        }
        code = AbsSET_IndexNext(set);
        if (code != AbsSET_Success) {
            COMMON_REPORT(kSource, Error, "AbsSET_IndexNext() failed - %u.", code);
            return code;
        }
    }
    return AbsSET_Success;
}

}  // extern "C"
