#include "mem_malloc.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/allocation.h"
#include "log/report.h"
#include "platform/assertion.h"
#include "thread/process_name.h"

namespace {

constexpr common::Source kSource{"mem_malloc", common::Module::Common};
constexpr common::Source kAllocationSource{"mem_malloc", common::Module::Malloc};

/// Logs who ran out of memory and ends the process. Everything is on the stack. The function's name
/// only adds to the room.
/// Oddity: the record names a function that does not exist, the one that integrators filter for.
/// Test: MemMallocFailure.EndsTheProcessWithOneRecord.
template <std::size_t MessageSize, std::size_t FunctionSize>
[[noreturn]] void memory_allocationFailure(const char (&message)[MessageSize],
                                           const char (&)[FunctionSize]) noexcept
{
    char text[(MessageSize - 1) + (FunctionSize - 1) + 272 + 1];
    const auto pid = static_cast<std::uint32_t>(getpid());
    std::size_t length = 0;
    if (common::process::copy_name(pid, text, sizeof text)) {
        text[sizeof text - 1] = '\0';
        length = std::strlen(text);
        length += static_cast<std::size_t>(snprintf(text + length, sizeof text - length, "/ "));
    }
    snprintf(text + length, sizeof text - length, "(%u) %s\n", pid, message);
    COMMON_REPORT_AS("ErrorLog_Write", kAllocationSource, Critical, "%s", text);
    std::exit(1);
}

bool is_zero_length(std::uint32_t length, common::Here here = common::Here::now()) noexcept
{
    if (length == 0) {
        common::report(kSource, COMMON_LogLevelWarn, here, "length is zero");
    }
    return length == 0;
}

}  // namespace

namespace common {
namespace {

/// A larger block may have fresh pages, which are zero already: calloc() leaves them alone. Others
/// have none (on every page size), and for them it is the slower way: in this C library it passes
/// by the thread's own free blocks, of up to about 1 KiB, and locks the arena in threaded
/// processes.
constexpr std::size_t kMostByHand = 4096;

}  // namespace

void* try_allocate_zeroed(std::size_t size_bytes) noexcept
{
    if (size_bytes > kMostByHand) [[unlikely]] {
        return std::calloc(1, size_bytes);
    }
    void* block = std::malloc(size_bytes);
    // Hides where the block is from: else the compiler makes one calloc() of malloc() and memset().
    asm("" : "+r"(block));
    return block == nullptr ? nullptr : std::memset(block, 0, size_bytes);
}

}  // namespace common

extern "C" {

void* MEM_Malloc(uint32_t size)
{
    void* const block = std::malloc(size);
    if (block == nullptr) {
        memory_allocationFailure("Could not allocate memory.", "MEM_Malloc");
    }
    return block;
}

void* MEM_Salloc(uint32_t size)
{
    void* const block = common::try_allocate_zeroed(size);
    if (block == nullptr) {
        memory_allocationFailure("Could not allocate memory.", "MEM_Malloc");
    }
    return block;
}

void* MEM_Realloc(void* block, uint32_t size)
{
    if (block == nullptr && size == 0) {
        return nullptr;
    }
    void* const result = std::realloc(block, size);
    if (result == nullptr && size != 0) {
        memory_allocationFailure("Could not reallocate memory.", "MEM_Realloc");
    }
    return result;
}

void MEM_Free(void* block)
{
    std::free(block);
}

char* MEM_StrDup(const char* text)
{
    return text == nullptr ? nullptr : strdup(text);
}

void* MEM_Clone(uint32_t size, const void* source)
{
    COMMON_ASSERT(kSource, source != nullptr, "((void *)0) != src");
    if (is_zero_length(size)) {
        return nullptr;
    }
    void* const block = MEM_Malloc(size);
    COMMON_ASSERT(kSource, block != nullptr, "((void *)0) != dst");
    return std::memcpy(block, source, size);
}

void* MEM_Copy(void* destination, const void* source, uint32_t length)
{
    COMMON_ASSERT(kSource, destination != nullptr, "((void *)0) != dst");
    COMMON_ASSERT(kSource, source != nullptr, "((void *)0) != src");
    if (is_zero_length(length)) {
        return destination;
    }
    return std::memcpy(destination, source, length);
}

void* MEM_Move(void* destination, const void* source, uint32_t length)
{
    COMMON_ASSERT(kSource, destination != nullptr, "((void *)0) != dst");
    COMMON_ASSERT(kSource, source != nullptr, "((void *)0) != src");
    if (is_zero_length(length)) {
        return destination;
    }
    return std::memmove(destination, source, length);
}

void* MEM_Set(void* destination, uint32_t value, uint32_t length)
{
    COMMON_ASSERT(kSource, destination != nullptr, "((void *)0) != dst");
    if (is_zero_length(length)) {
        return destination;
    }
    return std::memset(destination, static_cast<unsigned char>(value), length);
}

MEM_CompareResult MEM_Compare(const void* first, const void* second, uint32_t length)
{
    COMMON_ASSERT(kSource, first != nullptr, "((void *)0) != address1");
    COMMON_ASSERT(kSource, second != nullptr, "((void *)0) != address2");
    // Oddity: an address equals itself before the length is looked at, as callers compare so.
    // Test: MemMalloc.CompareOfAnAddressWithItselfIsEqualWhateverTheLength.
    if (first == second) {
        return MEM_CompareEqual;
    }
    COMMON_ASSERT(kSource, length > 0, "0 < length");
    const int order = std::memcmp(first, second, length);
    if (order == 0) {
        return MEM_CompareEqual;
    }
    return order < 0 ? MEM_CompareLess : MEM_CompareGreater;
}

}  // extern "C"
