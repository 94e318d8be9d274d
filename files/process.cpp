#include "common.h"
#include "thread/process_name.h"

extern "C" uint32_t UTIL_GetProcessName(uint32_t pid, char* destination, uint32_t size)
{
    return common::process_name(pid, destination, size) ? 1 : 0;
}
