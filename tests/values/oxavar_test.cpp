// Variants: what they hold, who owns it, and how they are copied and resized.
#include "oxavar.h"

#include <cstdint>
#include <limits>
#include <pthread.h>
#include <string>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "memory_end.h"
#include "variants.h"

using namespace harness;
using testing::IsEmpty;

namespace {

TEST(OXAVar, TypesHaveTheirNumbers)
{
    static_assert(OXAVAR_TYPE_NONE == 0 && OXAVAR_TYPE_INT == 1 && OXAVAR_TYPE_FLOAT == 2);
    static_assert(OXAVAR_TYPE_STRING == 3 && OXAVAR_TYPE_PVOID == 4 && OXAVAR_TYPE_ARRAY == 5);
    static_assert(sizeof(COMMON_OXAVar) == (sizeof(void*) == 4 ? 12 : 16));
}

TEST(OXAVar, NewOneIsEmpty)
{
    const Variant var = empty_variant();
    ASSERT_NE(var, nullptr);
    EXPECT_TRUE(is_empty(*var));
}

TEST(OXAVar, StrdupCopies)
{
    for (const std::string& text : {std::string(), std::string("text"), std::string(5000, 'x')}) {
        char* const copy = COMMON_OXA_strdup(text.c_str());
        ASSERT_NE(copy, nullptr);
        EXPECT_NE(copy, text.c_str());
        EXPECT_EQ(copy, text);
        MEM_Free(copy);
    }
    EXPECT_EQ(COMMON_OXA_strdup(nullptr), nullptr);
}

TEST(OXAVar, StrdupReadsNothingBehindTheText)
{
    MemoryEnd end;
    const char* const text = reinterpret_cast<const char*>(end.put("text", 5));
    char* const copy = COMMON_OXA_strdup(text);
    EXPECT_STREQ(copy, "text");
    MEM_Free(copy);
}

TEST(OXAVar, NullVariantDoesNothing)
{
    const Variant var = text_variant("kept");
    EXPECT_EQ(COMMON_OXAVarClear(nullptr), nullptr);
    COMMON_OXAVarFree(nullptr);
    EXPECT_EQ(COMMON_OXAVarCopy(nullptr, var.get()), nullptr);
    EXPECT_EQ(COMMON_OXAVarCopy(nullptr, nullptr), nullptr);
    EXPECT_EQ(COMMON_OXAVarCopy(var.get(), nullptr), var.get());
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "kept");
    EXPECT_EQ(COMMON_OXAVarArrayRealloc(nullptr, 3), nullptr);
    EXPECT_EQ(COMMON_OXAVarSetInt(nullptr, 1), nullptr);
    EXPECT_EQ(COMMON_OXAVarSetFloat(nullptr, 1), nullptr);
    EXPECT_EQ(COMMON_OXAVarSetString(nullptr, "text"), nullptr);
    EXPECT_EQ(COMMON_OXAVarSetStringN(nullptr, "text", 4), nullptr);
    EXPECT_EQ(COMMON_OXAVarSetPVoid(nullptr, var.get()), nullptr);
    EXPECT_EQ(COMMON_OXAVarGetInt(nullptr), 0);
    EXPECT_EQ(COMMON_OXAVarGetFloat(nullptr), 0.0F);
    EXPECT_EQ(COMMON_OXAVarGetString(nullptr), nullptr);
    EXPECT_EQ(COMMON_OXAVarGetPVoid(nullptr), nullptr);
    EXPECT_EQ(COMMON_OXAVarToString(nullptr), nullptr);
}

/// Sets a variant that held something else before.
struct Setter {
    std::uint32_t type;
    void (*set)(COMMON_OXAVar*);
};

int pointed_to = 0;

const Setter kSetters[] = {
    {OXAVAR_TYPE_INT, [](COMMON_OXAVar* var) { EXPECT_EQ(COMMON_OXAVarSetInt(var, -7), var); }},
    {OXAVAR_TYPE_FLOAT,
     [](COMMON_OXAVar* var) { EXPECT_EQ(COMMON_OXAVarSetFloat(var, 0.5F), var); }},
    {OXAVAR_TYPE_STRING,
     [](COMMON_OXAVar* var) { EXPECT_EQ(COMMON_OXAVarSetString(var, "text"), var); }},
    {OXAVAR_TYPE_STRING,
     [](COMMON_OXAVar* var) { EXPECT_EQ(COMMON_OXAVarSetStringN(var, "text", 4), var); }},
    {OXAVAR_TYPE_PVOID,
     [](COMMON_OXAVar* var) { EXPECT_EQ(COMMON_OXAVarSetPVoid(var, &pointed_to), var); }},
    {OXAVAR_TYPE_ARRAY,
     [](COMMON_OXAVar* var) {
         EXPECT_EQ(COMMON_OXAVarArrayAllocAt(var, 2), var);
         COMMON_OXAVarSetString(&var->value.elements[1], "owned");
     }},
    {OXAVAR_TYPE_NONE, [](COMMON_OXAVar* var) { EXPECT_EQ(COMMON_OXAVarClear(var), var); }},
};

void expect_content(const COMMON_OXAVar& var, std::uint32_t type)
{
    EXPECT_EQ(var.type, type);
    EXPECT_EQ(var.count, type == OXAVAR_TYPE_ARRAY ? 2U : 0U);
    EXPECT_EQ(COMMON_OXAVarGetInt(&var), type == OXAVAR_TYPE_INT ? -7 : 0);
    EXPECT_EQ(COMMON_OXAVarGetFloat(&var), type == OXAVAR_TYPE_FLOAT ? 0.5F : 0.0F);
    EXPECT_STREQ(COMMON_OXAVarGetString(&var), type == OXAVAR_TYPE_STRING ? "text" : nullptr);
    EXPECT_EQ(COMMON_OXAVarGetPVoid(&var), type == OXAVAR_TYPE_PVOID ? &pointed_to : nullptr);
}

// AddressSanitizer sees what is not released, or twice.
TEST(OXAVar, SetterReplacesWhateverWasThere)
{
    for (const Setter& before : kSetters) {
        for (const Setter& after : kSetters) {
            SCOPED_TRACE(testing::Message() << before.type << " then " << after.type);
            const Variant var = empty_variant();
            before.set(var.get());
            expect_content(*var, before.type);
            after.set(var.get());
            expect_content(*var, after.type);
        }
    }
}

TEST(OXAVar, SmallValueLeavesNothingOfALargerOne)
{
    COMMON_OXAVar var{};
    COMMON_OXAVarSetPVoid(&var, pointer_of(UINTPTR_MAX));
    COMMON_OXAVarSetInt(&var, 1);
    EXPECT_EQ(var.value.word, 1U);
    COMMON_OXAVarSetPVoid(&var, pointer_of(UINTPTR_MAX));
    EXPECT_TRUE(is_empty(*COMMON_OXAVarClear(&var)));
}

TEST(OXAVar, IntegersAndFloatsKeepTheirLimits)
{
    COMMON_OXAVar var{};
    for (const std::int32_t value : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
        EXPECT_EQ(COMMON_OXAVarGetInt(COMMON_OXAVarSetInt(&var, value)), value);
    }
    using Limits = std::numeric_limits<float>;
    for (const float value : {Limits::lowest(), -0.0F, Limits::denorm_min(), Limits::infinity()}) {
        EXPECT_EQ(COMMON_OXAVarGetFloat(COMMON_OXAVarSetFloat(&var, value)), value);
    }
}

TEST(OXAVar, TextIsACopyAndTheGetterGivesTheVariantsOwn)
{
    std::string text = "text";
    const Variant var = text_variant(text);
    text[0] = 'n';
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "text");
    EXPECT_EQ(COMMON_OXAVarGetString(var.get()), var->value.text);
    EXPECT_EQ(COMMON_OXAVarGetString(var.get()), COMMON_OXAVarGetString(var.get()));
}

TEST(OXAVar, NullTextIsATextWithoutOne)
{
    for (const auto set :
         {+[](COMMON_OXAVar* var) { return COMMON_OXAVarSetString(var, nullptr); },
          +[](COMMON_OXAVar* var) { return COMMON_OXAVarSetStringN(var, nullptr, 4); }}) {
        const Variant var = text_variant("before");
        EXPECT_EQ(set(var.get()), var.get());
        EXPECT_EQ(var->type, std::uint32_t{OXAVAR_TYPE_STRING});
        EXPECT_EQ(var->value.word, 0U);
        const Variant copy = text_variant("before");
        COMMON_OXAVarCopy(copy.get(), var.get());
        EXPECT_EQ(copy->type, std::uint32_t{OXAVAR_TYPE_STRING});
        EXPECT_EQ(copy->value.text, nullptr);
    }
}

TEST(OXAVar, TextOfAtMostSoManyCharacters)
{
    struct {
        const char* text;
        std::uint32_t length;
        std::string block;
    } const kCases[] = {
        {"text", 0, std::string(1, '\0')},     {"text", 3, std::string("tex\0", 4)},
        {"text", 4, std::string("text\0", 5)}, {"text", 8, std::string("text\0\0\0\0\0", 9)},
        {"", 2, std::string(3, '\0')},
    };
    const Variant var = empty_variant();
    for (const auto& example : kCases) {
        COMMON_OXAVarSetStringN(var.get(), example.text, example.length);
        EXPECT_EQ(std::string(var->value.text, example.length + 1), example.block)
            << example.length;
    }
}

TEST(OXAVar, TextWithoutTerminatorIsNotReadBehindItsLength)
{
    const Bytes text{'a', 'b', 'c'};
    const Variant var = empty_variant();
    COMMON_OXAVarSetStringN(var.get(), reinterpret_cast<const char*>(text.data()), 3);
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "abc");
}

TEST(OXAVar, TextTooLongForABlockIsNull)
{
    const Variant var = text_variant("before");
    EXPECT_EQ(COMMON_OXAVarSetStringN(var.get(), "text", UINT32_MAX), var.get());
    EXPECT_EQ(var->type, std::uint32_t{OXAVAR_TYPE_STRING});
    EXPECT_EQ(var->value.text, nullptr);
}

TEST(OXAVar, TextMayBeTheVariantsOwn)
{
    const Variant var = text_variant("a text of its own");
    COMMON_OXAVarSetString(var.get(), COMMON_OXAVarGetString(var.get()) + 2);
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "text of its own");
    COMMON_OXAVarSetStringN(var.get(), COMMON_OXAVarGetString(var.get()), 4);
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "text");
}

// ------------------------------------------------------------------------------------------ arrays

TEST(OXAVar, ArrayHasEmptyElements)
{
    const Variant made = array_variant(3);
    const Variant at_null(COMMON_OXAVarArrayAllocAt(nullptr, 3));
    const Variant placed = text_variant("before");
    EXPECT_EQ(COMMON_OXAVarArrayAllocAt(placed.get(), 3), placed.get());
    for (const auto* array : {&made, &at_null, &placed}) {
        const COMMON_OXAVar& var = **array;
        EXPECT_EQ(var.type, std::uint32_t{OXAVAR_TYPE_ARRAY});
        ASSERT_EQ(var.count, 3U);
        for (std::uint32_t index = 0; index < 3; ++index) {
            EXPECT_TRUE(is_empty(var.value.elements[index])) << index;
        }
    }
}

void expect_empty_array(const COMMON_OXAVar& var)
{
    EXPECT_EQ(var.type, std::uint32_t{OXAVAR_TYPE_ARRAY});
    EXPECT_EQ(var.count, 0U);
    EXPECT_EQ(var.value.word, 0U);
}

TEST(OXAVar, ArrayOfNothingHasNoBlock)
{
    expect_empty_array(*array_variant(0));
}

TEST(OXAVar, ArrayTooLargeForABlockStaysEmpty)
{
    constexpr std::uint32_t kFirstTooLarge = UINT32_MAX / sizeof(COMMON_OXAVar) + 1;
    for (const std::uint32_t count : {kFirstTooLarge, UINT32_MAX}) {
        expect_empty_array(*array_variant(count));
        const Variant var = array_variant(2);
        COMMON_OXAVarSetString(&var->value.elements[1], "released");
        EXPECT_EQ(COMMON_OXAVarArrayRealloc(var.get(), count), var.get());
        expect_empty_array(*var);
    }
}

/// {"a", {2, "b"}, empty}
Variant nested()
{
    Variant var = array_variant(3);
    COMMON_OXAVarSetString(&var->value.elements[0], "a");
    COMMON_OXAVar* const inner = COMMON_OXAVarArrayAllocAt(&var->value.elements[1], 2);
    COMMON_OXAVarSetInt(&inner->value.elements[0], 2);
    COMMON_OXAVarSetString(&inner->value.elements[1], "b");
    return var;
}

TEST(OXAVar, ReallocKeepsWhatFits)
{
    struct {
        std::uint32_t count;
        const char* text;
    } constexpr kCases[] = {
        {0, "{}"},
        {1, "{\"a\"}"},
        {2, "{\"a\", {2, \"b\"}}"},
        {3, "{\"a\", {2, \"b\"}, unknown (type=0)}"},
        {5, "{\"a\", {2, \"b\"}, unknown (type=0), unknown (type=0), unknown (type=0)}"},
    };
    for (const auto& example : kCases) {
        const Variant var = nested();
        EXPECT_EQ(COMMON_OXAVarArrayRealloc(var.get(), example.count), var.get());
        EXPECT_EQ(var->count, example.count);
        EXPECT_EQ(var->value.elements == nullptr, example.count == 0);
        EXPECT_EQ(shown(*var), example.text);
    }
}

TEST(OXAVar, ReallocGrowsAnEmptyArray)
{
    const Variant var = array_variant(0);
    COMMON_OXAVarArrayRealloc(var.get(), 2);
    ASSERT_EQ(var->count, 2U);
    EXPECT_TRUE(is_empty(var->value.elements[0]));
    EXPECT_TRUE(is_empty(var->value.elements[1]));
}

TEST(OXAVar, ReallocOfAnArrayWithoutItsBlockMakesEmptyElements)
{
    COMMON_OXAVar var{.type = OXAVAR_TYPE_ARRAY, .count = 5, .value = {.word = 0}};
    COMMON_OXAVarArrayRealloc(&var, 2);
    ASSERT_EQ(var.count, 2U);
    EXPECT_TRUE(is_empty(var.value.elements[1]));
    COMMON_OXAVarClear(&var);
}

TEST(OXAVar, ReallocLeavesAnythingElseAlone)
{
    for (const Setter& setter : kSetters) {
        if (setter.type != OXAVAR_TYPE_ARRAY) {
            const Variant var = empty_variant();
            setter.set(var.get());
            EXPECT_EQ(COMMON_OXAVarArrayRealloc(var.get(), 5), var.get());
            expect_content(*var, setter.type);
        }
    }
}

// ------------------------------------------------------------------------------------------ copies

TEST(OXAVar, CopyIsDeep)
{
    const Variant source = nested();
    const Variant copy = text_variant("before");
    EXPECT_EQ(COMMON_OXAVarCopy(copy.get(), source.get()), copy.get());
    EXPECT_EQ(shown(*copy), shown(*source));
    EXPECT_NE(copy->value.elements, source->value.elements);
    EXPECT_NE(copy->value.elements[0].value.text, source->value.elements[0].value.text);
    COMMON_OXAVarSetInt(&source->value.elements[1].value.elements[0], 3);
    EXPECT_EQ(COMMON_OXAVarGetInt(&copy->value.elements[1].value.elements[0]), 2);
}

TEST(OXAVar, CopyOfEachTypeIsTheSame)
{
    for (const Setter& setter : kSetters) {
        const Variant source = empty_variant();
        setter.set(source.get());
        const Variant copy = nested();
        COMMON_OXAVarCopy(copy.get(), source.get());
        expect_content(*copy, setter.type);
        expect_content(*source, setter.type);
    }
}

TEST(OXAVar, CopyOntoItselfIsEmpty)
{
    const Variant var = nested();
    EXPECT_EQ(COMMON_OXAVarCopy(var.get(), var.get()), var.get());
    EXPECT_TRUE(is_empty(*var));
}

TEST(OXAVar, CopyOfAnElementOntoItsArray)
{
    const Variant var = nested();
    COMMON_OXAVarCopy(var.get(), &var->value.elements[1]);
    EXPECT_EQ(shown(*var), "{2, \"b\"}");
}

TEST(OXAVar, CopyOfAnArrayOntoItsElement)
{
    const Variant var = nested();
    COMMON_OXAVarCopy(&var->value.elements[2], var.get());
    EXPECT_EQ(shown(*var), "{\"a\", {2, \"b\"}, {\"a\", {2, \"b\"}, unknown (type=0)}}");
}

TEST(OXAVar, CopyOfAnArrayWithoutItsBlockHasEmptyElements)
{
    const COMMON_OXAVar source{.type = OXAVAR_TYPE_ARRAY, .count = 2, .value = {.word = 0}};
    const Variant copy = empty_variant();
    COMMON_OXAVarCopy(copy.get(), &source);
    ASSERT_EQ(copy->count, 2U);
    EXPECT_TRUE(is_empty(copy->value.elements[0]));
    EXPECT_TRUE(is_empty(copy->value.elements[1]));
}

TEST(OXAVar, CopyOfAnArrayThatCountsNoElementsHasNoBlock)
{
    const Variant source = array_variant(2);
    const Variant copy = empty_variant();
    source->count = 0;
    COMMON_OXAVarCopy(copy.get(), source.get());
    source->count = 2;
    EXPECT_EQ(copy->type, OXAVAR_TYPE_ARRAY);
    EXPECT_EQ(copy->count, 0U);
    EXPECT_EQ(copy->value.elements, nullptr);
}

// -------------------------------------------------------------------------------------- tolerated

TEST(OXAVar, UnknownTypeIsTolerated)
{
    for (const std::uint32_t type : {6U, 255U, UINT32_MAX}) {
        COMMON_OXAVar var{.type = type, .count = 3, .value = {.word = 0x1234}};
        EXPECT_EQ(COMMON_OXAVarGetInt(&var), 0);
        EXPECT_EQ(COMMON_OXAVarGetFloat(&var), 0.0F);
        EXPECT_EQ(COMMON_OXAVarGetString(&var), nullptr);
        EXPECT_EQ(COMMON_OXAVarGetPVoid(&var), nullptr);
        COMMON_OXAVar copy{};
        COMMON_OXAVarCopy(&copy, &var);
        EXPECT_EQ(copy.type, type);
        EXPECT_EQ(copy.count, 3U);
        EXPECT_EQ(copy.value.word, 0x1234U);
        EXPECT_EQ(COMMON_OXAVarArrayRealloc(&var, 1), &var);
        EXPECT_EQ(var.count, 3U);
        EXPECT_TRUE(is_empty(*COMMON_OXAVarClear(&var)));
    }
}

// 5000 arrays inside one another take less than 1 MiB of stack. A sanitizer takes more.
TEST(OXAVar, ArraysMayBeNestedDeep)
{
    // Instrumented code is not optimised and has large frames.
    constexpr std::size_t kStack = INSTRUMENTED != 0 ? 16U << 20 : 1U << 20;
    const auto body = [](void*) -> void* {
        constexpr std::uint32_t kLevels = 5000;
        const Variant var = empty_variant();
        COMMON_OXAVar* inner = var.get();
        for (std::uint32_t level = 0; level < kLevels; ++level) {
            inner = COMMON_OXAVarArrayAllocAt(inner, 1)->value.elements;
        }
        const Variant copy = empty_variant();
        COMMON_OXAVarCopy(copy.get(), var.get());
        const Bytes form = serialized(*copy);
        EXPECT_EQ(form.size(), kLevels * 8 + 4);
        EXPECT_EQ(COMMON_OXAVarDeserialize(form.data(), copy.get()), form.size());
        EXPECT_EQ(serialized(*copy), form);
        EXPECT_LT(shown(*copy).size(), std::size_t{OXAVAR_TEXT_SIZE});
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_t thread;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
    ASSERT_EQ(pthread_create(&thread, &attributes, body, nullptr), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

TEST(OXAVar, NothingIsLogged)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_LEVEL", "Verbose"}}}, [] {
        const Variant var = nested();
        COMMON_OXAVarCopy(var.get(), var.get());
        COMMON_OXAVarSetStringN(var.get(), "text", UINT32_MAX);
        COMMON_OXAVarArrayAllocAt(var.get(), UINT32_MAX);
        COMMON_OXAVarSetString(nullptr, nullptr);
        std::uint32_t byte = 5;
        EXPECT_EQ(COMMON_OXAVarSerialize(&byte, var.get(), 1), 0U);
        EXPECT_EQ(COMMON_OXAVarDeserializeBounded(&byte, 1, var.get(), nullptr),
                  STATUS{STATUS_FAILED});
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

}  // namespace
