// What walks through a set with its cursor, by way of its interface: search and dump.
#include <cinttypes>

#include "abstract_set.h"
#include "containers/absset.h"
#include "log/report.h"

namespace common::set {
namespace {

std::uintptr_t number(const void* address) noexcept
{
    return reinterpret_cast<std::uintptr_t>(address);
}

/// Moves the cursor on; a failure is reported.
std::uint32_t next(AbsSET* set, Here here) noexcept
{
    const std::uint32_t code = AbsSET_IndexNext(set);
    if (code != AbsSET_Success) {
        report(kSource, COMMON_LogLevelError, here, "AbsSET_IndexNext() failed - %u.", code);
    }
    return code;
}

/// Takes out the first entry of which `get` gives what is wanted.
template <class Get, class Pop>
std::uint32_t pop_first(AbsSET* set, const void* wanted, Get get, Pop pop,
                        Here here = Here::now()) noexcept
{
    if (refused(set == nullptr || wanted == nullptr, here)) {
        return AbsSET_BadArguments;
    }
    std::uint32_t code = AbsSET_IndexBegin(set);
    if (code != AbsSET_Success) {
        report(kSource, COMMON_LogLevelError, here, "AbsSET_IndexBegin() failed - %u.", code);
    }
    while (code == AbsSET_Success && AbsSET_IsEnd(set) == 0) {
        if (get(set) == wanted) {
            pop(set);
            break;
        }
        code = next(set, here);
    }
    return code;
}

}  // namespace

std::uint32_t absset_EntryInfo(const AbsSET_Entry* entry) noexcept
{
    if (refused(entry == nullptr)) {
        return AbsSET_BadArguments;
    }
    COMMON_REPORT(kSource, Info, "entry: 0x%08" PRIXPTR, number(entry));
    COMMON_REPORT(kSource, Info, "value: 0x%08" PRIXPTR " = %" PRIuPTR, number(entry->value),
                  number(entry->value));
    COMMON_REPORT(kSource, Info, "flink: 0x%08" PRIXPTR, number(entry->flink));
    COMMON_REPORT(kSource, Info, "blink: 0x%08" PRIXPTR, number(entry->blink));
    return AbsSET_Success;
}

}  // namespace common::set

using namespace common::set;

extern "C" {

uint32_t AbsSET_PopEntry(AbsSET* set, const AbsSET_Entry* entry)
{
    return pop_first(set, entry, AbsSET_EntryGet, AbsSET_EntryPop);
}

uint32_t AbsSET_PopValue(AbsSET* set, const void* value)
{
    return pop_first(set, value, AbsSET_ValueGet, AbsSET_ValuePop);
}

uint32_t AbsSET_Info(AbsSET* set)
{
    if (refused(set == nullptr)) {
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
        code = next(set, common::Here::now());
        if (code != AbsSET_Success) {
            return code;
        }
    }
    return AbsSET_Success;
}

}  // extern "C"
