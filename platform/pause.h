// Tells the processor that a loop is waiting for another one.
#pragma once

namespace common {

inline void pause_processor() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    __asm__ __volatile__("yield");
#endif
}

}  // namespace common
