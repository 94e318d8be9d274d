#include "common_version.h"

const char* COMMON_Version()
{
    return COMMON_VERSION;
}
