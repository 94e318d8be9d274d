#include "platform/assertion.h"

// The C library declares its way out only where assertions are on.
#undef NDEBUG
#include <cassert>

namespace common {

void assertion_failed(const char* condition, const char* file, unsigned line,
                      const char* function) noexcept
{
    __assert_fail(condition, file, line, function);
}

}  // namespace common
