// A short look at what is likely to come true, before the kernel is asked to wait for it.
#pragma once

namespace common {

/// For whoever has just found a condition false: looks again for some microseconds, about as long
/// as to sleep and be woken takes. False when it did not come true, and at once on a machine with
/// one processor, where nothing changes while somebody looks. Keeps errno. The condition may be a
/// cancellation point.
bool comes_true_shortly(bool (*condition)(void* argument), void* argument) noexcept;

}  // namespace common
