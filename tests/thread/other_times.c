/* What a 32-bit program with 32-bit times must not do: hand one of its times to the library. */
#include <stddef.h>

#include "common_sync.h"
#include "oxa_shims.h"

int main(void)
{
    CALL;
    return 0;
}
