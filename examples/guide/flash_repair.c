// Looks through the flash partitions and repairs what is corrupt.
#include <stdio.h>

#include <common/common_log_macros.h>
#include <common/flash_safety.h>

COMMON_LOG_ZONE("RECOVERY");

enum { kQuick = 0, kDeep = 1, kOnlyLook = 0, kRepair = 1 };

static const char* const names[] = {"/", "/config-mfg", "/config", "/log"};

/** Whether a partition is corrupt; 1, too, when nobody knows. */
static uint32_t is_corrupt(uint32_t index)
{
    uint32_t corrupt = 1;
    // The running system is on the root, which is too large to look through at each start.
    const uint32_t sure =
        FLASHSAFE_CheckPartition(index, index == 0 ? kQuick : kDeep, kOnlyLook, &corrupt);
    return sure == 0 || corrupt == 1;
}

static const char* repair(uint32_t index)
{
    uint32_t corrupt = 0;
    COMMON_LOG_NOTE("repair of %s: all files on it are lost", names[index]);
    if (FLASHSAFE_CheckPartition(index, kDeep, kRepair, &corrupt) == 0 || is_corrupt(index)) {
        COMMON_LOG_CRITICAL("repair of %s failed", names[index]);
        return "not repaired";
    }
    return "repaired";
}

int main(void)
{
    for (uint32_t index = 0; index < sizeof names / sizeof names[0]; ++index) {
        const char* found = "sound";
        if (is_corrupt(index)) {
            found = index == 0 ? "corrupt" : repair(index);
        }
        printf("%-12s %s\n", names[index], found);
    }
    return 0;
}
