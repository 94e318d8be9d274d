// What is seen of the memory of variants from inside only. Which blocks are zeroed. And where
// memory is refused and the process goes on: the library's own allocation never does that, so this
// program puts itself between the two.
#include <cstdint>

#include <gmock/gmock.h>

#include "values/variant_blocks.h"
#include "variants.h"

// The linker calls __wrap_NAME instead of a wrapped function, which is then __real_NAME.
extern "C" void* real_malloc(std::uint32_t size) __asm__("__real_MEM_Malloc");
extern "C" void* real_salloc(std::uint32_t size) __asm__("__real_MEM_Salloc");
extern "C" void* malloc_if_granted(std::uint32_t size) __asm__("__wrap_MEM_Malloc");
extern "C" void* salloc_if_granted(std::uint32_t size) __asm__("__wrap_MEM_Salloc");

namespace {

int zeroed = 0;

/// The calls that still get memory.
int granted = 1'000;

}  // namespace

void* malloc_if_granted(std::uint32_t size)
{
    return granted-- > 0 ? real_malloc(size) : nullptr;
}

void* salloc_if_granted(std::uint32_t size)
{
    ++zeroed;
    return granted-- > 0 ? real_salloc(size) : nullptr;
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

TEST(OXAVarInternal, TheLargestArrayIsAskedForAndNoLargerOne)
{
    static std::uint32_t asked_for = 0;
    const auto refuse = [](std::uint32_t size) -> void* {
        asked_for = size;
        return nullptr;
    };
    constexpr std::uint32_t kMost = UINT32_MAX / sizeof(COMMON_OXAVar);
    common::variant::new_array(kMost, refuse);
    EXPECT_EQ(asked_for, kMost * sizeof(COMMON_OXAVar));
    asked_for = 0;
    common::variant::new_array(kMost + 1, refuse);
    EXPECT_EQ(asked_for, 0U);
}

/// Refuses memory after so many more blocks, for as long as it lives.
struct Refusal {
    explicit Refusal(int blocks = 0) { granted = blocks; }
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
    ~Refusal() { granted = 1'000; }
};

TEST(OXAVarInternal, TextThatIsRefusedIsNull)
{
    const Variant var = text_variant("old");
    const Refusal refusal;
    EXPECT_EQ(COMMON_OXA_strdup("text"), nullptr);
    EXPECT_EQ(COMMON_OXAVarSetString(var.get(), "text"), var.get());
    EXPECT_EQ(var->type, OXAVAR_TYPE_STRING);
    EXPECT_EQ(var->value.text, nullptr);
    EXPECT_EQ(COMMON_OXAVarSetStringN(var.get(), "text", 2), var.get());
    EXPECT_EQ(var->value.text, nullptr);
    EXPECT_EQ(COMMON_OXAVarToString(var.get()), nullptr);
}

TEST(OXAVarInternal, ArrayThatIsRefusedIsNullOrHasNoElements)
{
    const Variant source = array_variant(2);
    COMMON_OXAVarSetString(&source->value.elements[0], "text");
    const Variant var = empty_variant();
    const auto is_without_elements = [&] {
        return var->type == OXAVAR_TYPE_ARRAY && var->count == 0 && var->value.elements == nullptr;
    };
    const Refusal refusal;
    EXPECT_EQ(COMMON_OXAVarArrayAlloc(2), nullptr);
    EXPECT_EQ(COMMON_OXAVarArrayAllocAt(var.get(), 2), var.get());
    EXPECT_TRUE(is_without_elements());
    EXPECT_EQ(COMMON_OXAVarArrayRealloc(var.get(), 3), var.get());
    EXPECT_TRUE(is_without_elements());
    EXPECT_EQ(COMMON_OXAVarCopy(var.get(), source.get()), var.get());
    EXPECT_TRUE(is_without_elements());
}

TEST(OXAVarInternal, ElementWhoseTextIsRefusedIsLeftOut)
{
    const Variant var = array_variant(3);
    for (std::uint32_t index = 0; index < 3; ++index) {
        COMMON_OXAVarSetInt(&var->value.elements[index], 7);
    }
    const Refusal refusal(2);  // the array's own text and that of an element
    EXPECT_EQ(shown(*var), "{7}");
}

}  // namespace
