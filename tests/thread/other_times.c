/* What a 32-bit program with 32-bit times must not do: hand its deadline to the library. */
#include <stddef.h>

#include "common_sync.h"

int main(void)
{
    return COMMON_sync_timedlock(NULL, NULL);
}
