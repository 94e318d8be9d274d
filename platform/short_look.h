// A short look at what is likely to come true, before the kernel is asked to wait for it.
#pragma once

#include "platform/pause.h"

namespace common {

/// Looks until a condition holds, for a few microseconds: about as long as to sleep and be woken
/// takes. False when it did not come true. There are pauses between the looks, because each one
/// takes the memory that it looks at away from the thread that is about to change it.
template <class Condition>
bool comes_true_shortly(Condition condition) noexcept
{
    constexpr int kLooks = 20;
    constexpr int kPauses = 16;
    for (int look = 0; look < kLooks; ++look) {
        if (condition()) {
            return true;
        }
        for (int pause = 0; pause < kPauses; ++pause) {
            pause_processor();
        }
    }
    return false;
}

}  // namespace common
