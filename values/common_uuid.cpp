#include "common_uuid.h"

#include <cstddef>
#include <cstring>

#include "foundation/source.h"
#include "platform/assertion.h"

namespace {

constexpr common::Source kSource{"common_uuid"};

static_assert(offsetof(COMMON_UUID, size) == 0);
static_assert(offsetof(COMMON_UUID, bytes) == 1);
static_assert(sizeof(COMMON_UUID) == 17);

constexpr bool is_size(std::uint32_t size) noexcept
{
    return size == 0 || size == 2 || size == 4 || size == 16;
}

}  // namespace

extern "C" {

void COMMON_UUID_Set(COMMON_UUID* uuid, uint32_t size, const void* data)
{
    COMMON_ASSERT(kSource, uuid != nullptr, "((void *)0) != uuid");
    COMMON_ASSERT(kSource, is_size(size), "0");
    uuid->size = static_cast<std::uint8_t>(size);
    std::memset(uuid->bytes, 0, sizeof uuid->bytes);
    if (size != 0) {
        COMMON_ASSERT(kSource, data != nullptr, "((void *)0) != data");
        std::memcpy(uuid->bytes, data, size);
    }
}

uint32_t COMMON_UUID_Equals(const COMMON_UUID* uuid1, const COMMON_UUID* uuid2)
{
    COMMON_ASSERT(kSource, uuid1 != nullptr, "((void *)0) != uuid1");
    COMMON_ASSERT(kSource, uuid2 != nullptr, "((void *)0) != uuid2");
    // Oddity: the sizes do not count, as callers compare identifiers of different lengths.
    // Test: CommonUuid.AllBytesAreComparedAndNoSize.
    return std::memcmp(uuid1->bytes, uuid2->bytes, sizeof uuid1->bytes) == 0 ? 1 : 0;
}

}  // extern "C"
