// A short look at what is likely to come true, before the kernel is asked to wait for it.
#pragma once

namespace common {

/// Looks until a condition holds, for about as long as sleeping and being woken would take: locks
/// that are held for moments are not worth that. False when it did not come true.
template <class Condition>
bool comes_true_shortly(Condition condition) noexcept
{
    constexpr int kLooks = 100;
    for (int i = 0; i < kLooks; ++i) {
        if (condition()) {
            return true;
        }
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
        __asm__ volatile("yield");
#endif
    }
    return false;
}

}  // namespace common
