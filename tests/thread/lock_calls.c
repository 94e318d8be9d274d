/* What an optimised caller makes of the locks: calls of the library, and nothing of its inside. */
#include "common_mutex.h"
#include "common_sync.h"

int turn(COMMON_Mutex* mutex, COMMON_sync* sync);
int turn(COMMON_Mutex* mutex, COMMON_sync* sync)
{
    COMMON_Mutex_Lock(mutex);
    COMMON_Mutex_Unlock(mutex);
    return COMMON_sync_lock(sync) + COMMON_sync_unlock(sync);
}
