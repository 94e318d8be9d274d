#include "client_descriptor.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "common_system.h"
#include "containers/descriptor_search.h"
#include "log/process_locks.h"
#include "log/report.h"

namespace common::client {
namespace {

constexpr Source kSource{"client_descriptor", Module::Cldes};

constexpr char kNoBuffer[] = "Couldn't reallocate descriptor buffer";

/// No descriptor: it marks the end of what can be given out.
constexpr std::int32_t kRemoved = INT32_MAX;

/// The descriptors in use in ascending order, guarded by their process-wide lock. The block grows
/// and shrinks by one number for each call, so that a process pays for what it uses:
/// its few clients come seldom.
constinit std::int32_t* Descriptors = nullptr;
constinit std::int32_t DescriptorCount = 0;

[[noreturn]] void CommonPanic() noexcept
{
    COMMON_REPORT(kSource, Critical, "*** Common Panic: critical failure ***\n");
    COMMON_System_Exit(1);
}

/// Reports what went wrong and ends the process.
[[noreturn]] void panic(const char* what, Here here = Here::now()) noexcept
{
    report(kSource, COMMON_LogLevelError, here, "%s", what);
    CommonPanic();
}

void LockDescriptor() noexcept
{
    if (common::is_lost(common::ProcessLock::Descriptors) ||
        common::take(common::ProcessLock::Descriptors) != 0) {
        panic("Failed to lock descriptor mutex.");
    }
}

void UnlockDescriptor() noexcept
{
    if (common::release(common::ProcessLock::Descriptors) != 0) {
        panic("Failed to unlock descriptor mutex.");
    }
}

int Descriptor_Compare(const void* a, const void* b) noexcept
{
    // Both are positive, so that the difference does not overflow.
    return *static_cast<const std::int32_t*>(a) - *static_cast<const std::int32_t*>(b);
}

/// Gives the table room for `count` numbers, or leaves its room: false when there is no memory.
/// Exit handlers of the panic then find the numbers that are in use, and no others.
bool resize_locked(std::int32_t count) noexcept
{
    const std::size_t size = static_cast<std::size_t>(count) * sizeof *Descriptors;
    auto* const block = static_cast<std::int32_t*>(std::realloc(Descriptors, size));
    if (block == nullptr && count != 0) {
        return false;
    }
    Descriptors = block;
    return true;
}

/// Moves the numbers from a place on by a place up or down.
void move_locked(std::int32_t to, std::int32_t from, std::int32_t count) noexcept
{
    std::memmove(Descriptors + to, Descriptors + from,
                 static_cast<std::size_t>(count) * sizeof *Descriptors);
}

}  // namespace
}  // namespace common::client

using namespace common::client;

extern "C" {

int32_t Allocate_Descriptor(void)
{
    LockDescriptor();
    const std::int32_t descriptor = lowest_gap(Descriptors, DescriptorCount);
    if (descriptor == kRemoved) {
        panic("Out of descriptors");
    }
    if (!resize_locked(DescriptorCount + 1)) {
        panic(kNoBuffer);
    }
    ++DescriptorCount;
    const std::int32_t place = descriptor - 1;
    move_locked(place + 1, place, DescriptorCount - descriptor);
    Descriptors[place] = descriptor;
    UnlockDescriptor();
    return descriptor;
}

int32_t Deallocate_Descriptor(int32_t descriptor)
{
    LockDescriptor();
    const void* const found =
        descriptor <= 0 || DescriptorCount == 0
            ? nullptr
            : std::bsearch(&descriptor, Descriptors, static_cast<std::size_t>(DescriptorCount),
                           sizeof *Descriptors, Descriptor_Compare);
    if (found != nullptr) {
        const auto place =
            static_cast<std::int32_t>(static_cast<const std::int32_t*>(found) - Descriptors);
        --DescriptorCount;
        move_locked(place, place + 1, DescriptorCount - place);
        if (!resize_locked(DescriptorCount)) {
            panic(kNoBuffer);
        }
    }
    UnlockDescriptor();
    return 0;
}

}  // extern "C"
