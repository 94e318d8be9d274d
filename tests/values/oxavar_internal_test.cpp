// Which blocks of variants are zeroed: an allocator put in its place by the linker counts them.
#include <cstdint>

#include <gmock/gmock.h>

#include "variants.h"

// The linker calls __wrap_MEM_Salloc instead of MEM_Salloc(), which is then __real_MEM_Salloc.
extern "C" void* real_salloc(std::uint32_t size) __asm__("__real_MEM_Salloc");
extern "C" void* counted_salloc(std::uint32_t size) __asm__("__wrap_MEM_Salloc");

namespace {

int zeroed = 0;

}  // namespace

void* counted_salloc(std::uint32_t size)
{
    ++zeroed;
    return real_salloc(size);
}

namespace {

TEST(OXAVarInternal, OnlyWholeBlocksOfEmptyElementsAreZeroed)
{
    const Variant var = array_variant(2);
    COMMON_OXAVarSetString(&var->value.elements[0], "text");
    COMMON_OXAVarArrayAllocAt(&var->value.elements[1], 3);
    EXPECT_EQ(zeroed, 2) << "the elements of both arrays";
    const Bytes form = serialized(*var);
    COMMON_OXAVar back{};
    zeroed = 0;
    COMMON_OXAVarDeserialize(form.data(), &back);
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(form.data(), static_cast<std::uint32_t>(form.size()),
                                              &back, nullptr),
              STATUS{STATUS_SUCCESS});
    COMMON_OXAVarCopy(var.get(), &back);
    COMMON_OXAVarArrayRealloc(var.get(), 3);
    EXPECT_EQ(zeroed, 0) << "all words are written anyway";
    COMMON_OXAVarClear(&back);
}

}  // namespace
