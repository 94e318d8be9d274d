#include "data.h"

#include "foundation/boolean_text.h"

extern "C" const char* DATA_BoolToString(uint32_t value)
{
    return common::boolean_text(value);
}
