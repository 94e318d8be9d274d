// Sets every target up: what is wrong with an input is reported by the library, which would take
// longer than everything else.
#include <cstdlib>

#include "common_log_settings.h"
#include "support/input.h"

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    setenv("COMMON_LOG_LEVEL", "Fatal", 1);
    COMMON_Log_LevelGet();
    return 0;
}
