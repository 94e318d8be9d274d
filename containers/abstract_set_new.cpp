// Sets in allocated memory.
#include "abstract_set.h"
#include "containers/absset.h"
#include "log/report.h"
#include "mem_malloc.h"

using namespace common::set;

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
    if (refused(set == nullptr)) {
        return AbsSET_BadArguments;
    }
    if (const std::uint32_t code = AbsSET_Clear(set); code != AbsSET_Success) {
        COMMON_REPORT(kSource, Error, "AbsSET_Clear() failed - %u", code);
        return code;
    }
    MEM_Free(set);
    return AbsSET_Success;
}

}  // extern "C"
