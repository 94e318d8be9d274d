// Memory of variants: every block is given back, and running out of it ends the process.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <gmock/gmock.h>

#include "fault.h"
#include "fresh_process.h"
#include "variants.h"

using namespace harness;
using fault::Call;

namespace {

struct Step {
    const char* name;
    void (*run)(COMMON_OXAVar*);
};

char some_text[] = "text";

const std::string kLongText(2000, 'x');

const Step kAllocating[] = {
    {"strdup", [](COMMON_OXAVar*) { (void)COMMON_OXA_strdup(some_text); }},
    {"Alloc", [](COMMON_OXAVar*) { (void)COMMON_OXAVarAlloc(); }},
    {"ArrayAlloc", [](COMMON_OXAVar*) { (void)COMMON_OXAVarArrayAlloc(0); }},
    {"ArrayAllocAt", [](COMMON_OXAVar* var) { COMMON_OXAVarArrayAllocAt(var, 1); }},
    {"ArrayRealloc", [](COMMON_OXAVar* var) { COMMON_OXAVarArrayRealloc(var, 3); }},
    {"Copy",
     [](COMMON_OXAVar* var) {
         COMMON_OXAVar copy{};
         COMMON_OXAVarCopy(&copy, var);
     }},
    {"SetString", [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, some_text); }},
    {"SetStringN", [](COMMON_OXAVar* var) { COMMON_OXAVarSetStringN(var, some_text, 2); }},
    {"ToString", [](COMMON_OXAVar* var) { (void)COMMON_OXAVarToString(var); }},
};

TEST(OXAVarFault, RunningOutOfMemoryEndsTheProcess)
{
    for (const Step& step : kAllocating) {
        const Outcome outcome = run_fresh([&] {
            COMMON_OXAVar* const var = COMMON_OXAVarArrayAlloc(1);
            fault::fail_always(Call::malloc);
            step.run(var);
        });
        EXPECT_THAT(outcome, exited(1)) << step.name;
    }
}

FRESH_TEST(OXAVarFault, EveryBlockIsGivenBack)
{
    const long blocks = fault::outstanding_blocks();
    {
        const Variant var = array_variant(3);
        COMMON_OXAVarSetString(&var->value.elements[0], std::string(1015, 'x').c_str());
        COMMON_OXAVarArrayAllocAt(&var->value.elements[1], 2);
        COMMON_OXAVarSetString(&var->value.elements[1].value.elements[1], "text");
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 5);
        EXPECT_EQ(shown(*var), "{{unknown (type=0), \"text\"}, unknown (type=0)}");
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 5) << "also what had no room";

        const Bytes form = serialized(*var);
        const Variant back = empty_variant();
        COMMON_OXAVarDeserialize(form.data(), back.get());
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 10);
        EXPECT_EQ(COMMON_OXAVarDeserializeBounded(form.data(),
                                                  static_cast<std::uint32_t>(form.size() - 1),
                                                  back.get(), nullptr),
                  STATUS{STATUS_FAILED});
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 6) << "what was read before is gone";

        COMMON_OXAVarArrayRealloc(var.get(), 1);
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 4);
        COMMON_OXAVarClear(var.get());
        EXPECT_EQ(fault::outstanding_blocks(), blocks + 2);
    }
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

FRESH_TEST(OXAVarFault, NewArrayInAVariantReplacesWhatIsInside)
{
    const long blocks = fault::outstanding_blocks();
    const Variant var = empty_variant();
    COMMON_OXAVarSetString(var.get(), "text");
    COMMON_OXAVarArrayAllocAt(var.get(), 2);
    EXPECT_EQ(fault::outstanding_blocks(), blocks + 2);
    COMMON_OXAVarSetString(&var->value.elements[1], "text");
    COMMON_OXAVarArrayAllocAt(var.get(), 1);
    EXPECT_EQ(fault::outstanding_blocks(), blocks + 2);
}

FRESH_TEST(OXAVarFault, FreeGivesBackWhatIsInside)
{
    const long blocks = fault::outstanding_blocks();
    COMMON_OXAVar* const text = COMMON_OXAVarAlloc();
    COMMON_OXAVarSetString(text, "text");
    COMMON_OXAVarFree(text);
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
    COMMON_OXAVar* const array = COMMON_OXAVarArrayAlloc(2);
    COMMON_OXAVarSetString(&array->value.elements[1], "text");
    COMMON_OXAVarFree(array);
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

/// How many elements with texts of one length have room in the text of an array.
int with_room(std::size_t length)
{
    int count = 0;
    for (std::size_t end = 1; length + 10 < OXAVAR_TEXT_SIZE - end; ++count) {
        end += length + (count == 0 ? 0 : 2);
    }
    return count;
}

// The text of an element that has no room is not made, however many elements there are.
TEST(OXAVarFault, TextsOfElementsWithoutRoomAreNotMade)
{
    struct {
        const char* text;
        void (*set)(COMMON_OXAVar*);
    } const kCases[] = {
        {"0", [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, 0); }},
        {"-12345", [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, -12345); }},
        {"-2147483648", [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, INT32_MIN); }},
        {"0.500000", [](COMMON_OXAVar* var) { COMMON_OXAVarSetFloat(var, 0.5F); }},
        {"\"text\"", [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, some_text); }},
        {"(null)", [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, nullptr); }},
        {kLongText.c_str(),
         [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, kLongText.c_str()); }},
        {"0x1", [](COMMON_OXAVar* var) { COMMON_OXAVarSetPVoid(var, pointer_of(1)); }},
        {"{}", [](COMMON_OXAVar* var) { COMMON_OXAVarArrayAllocAt(var, 0); }},
        {"unknown (type=0)", [](COMMON_OXAVar* var) { COMMON_OXAVarClear(var); }},
    };
    for (const auto& example : kCases) {
        const Outcome outcome = run_fresh([&] {
            const Variant var = array_variant(10'000);
            for (std::uint32_t index = 0; index < var->count; ++index) {
                example.set(&var->value.elements[index]);
            }
            const int expected = with_room(std::strlen(example.text));
            fault::reset();
            const std::string text = shown(*var);
            EXPECT_EQ(fault::calls(Call::malloc), 1 + expected);
            EXPECT_EQ(std::count(text.begin(), text.end(), ','), std::max(expected - 1, 0));
        });
        EXPECT_THAT(outcome, exited(0)) << example.text;
    }
}

// Every array announces as many elements as the bytes behind it could be. If each got its block,
// they would be 64 times the size of the first one.
FRESH_TEST(OXAVarFault, ArraysInsideOneAnotherShareTheBytes)
{
    constexpr std::size_t kSize = 4096;
    Bytes bytes;
    for (std::size_t level = 0; level < OXAVAR_DEPTH_MAX; ++level) {
        const std::size_t left = kSize - (level + 1) * 8;
        bytes = joined({bytes, head(OXAVAR_TYPE_ARRAY, static_cast<std::uint32_t>(left / 4))});
    }
    bytes.resize(kSize);
    COMMON_OXAVar var{};
    fault::reset();
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(bytes.data(), kSize, &var, nullptr),
              STATUS{STATUS_FAILED});
    EXPECT_EQ(fault::calls(Call::malloc), 1) << "the outermost array only";
}

/// A form with every kind of element, two arrays deep.
Bytes every_kind()
{
    return joined({head(OXAVAR_TYPE_ARRAY, 7), head(OXAVAR_TYPE_INT, UINT32_MAX),
                   head(OXAVAR_TYPE_FLOAT, std::bit_cast<std::uint32_t>(0.5F)),
                   head(OXAVAR_TYPE_PVOID, 0xFFFFFFF0), word(OXAVAR_TYPE_NONE), word(77),
                   head(OXAVAR_TYPE_STRING, 3), Bytes{'a', 'b', 'c', 0}, head(OXAVAR_TYPE_ARRAY, 2),
                   word(OXAVAR_TYPE_NONE), head(OXAVAR_TYPE_STRING, 0)});
}

// Elements are compared as the words that callers may look at.
FRESH_TEST(OXAVarFault, WordsThatAreReadAreWholeWhateverTheBlockHeld)
{
    const Bytes form = every_kind();
    const Variant var = empty_variant();
    for (const bool bounded : {false, true}) {
        if (bounded) {
            EXPECT_EQ(COMMON_OXAVarDeserializeBounded(
                          form.data(), static_cast<std::uint32_t>(form.size()), var.get(), nullptr),
                      STATUS{STATUS_SUCCESS});
        } else {
            EXPECT_EQ(COMMON_OXAVarDeserialize(form.data(), var.get()), form.size());
        }
        ASSERT_EQ(var->count, 7U);
        const COMMON_OXAVar* const elements = var->value.elements;
        const auto bytes_of = [](const COMMON_OXAVar& variant) {
            return std::string_view(reinterpret_cast<const char*>(&variant), sizeof variant);
        };
        const auto is_like = [&](const COMMON_OXAVar& element, const COMMON_OXAVar& made) {
            return bytes_of(element) == bytes_of(made);
        };
        COMMON_OXAVar made{};
        EXPECT_TRUE(is_like(elements[0], *COMMON_OXAVarSetInt(&made, -1)));
        EXPECT_TRUE(is_like(elements[1], *COMMON_OXAVarSetFloat(&made, 0.5F)));
        EXPECT_TRUE(is_like(elements[2], *COMMON_OXAVarSetPVoid(&made, pointer_of(0xFFFFFFF0))));
        EXPECT_TRUE(is_empty(elements[3]));
        EXPECT_TRUE(is_empty(elements[4]));
        EXPECT_EQ(elements[5].count, 0U);
        EXPECT_STREQ(COMMON_OXAVarGetString(&elements[5]), "abc");
        ASSERT_EQ(elements[6].count, 2U);
        EXPECT_TRUE(is_empty(elements[6].value.elements[0]));
        EXPECT_STREQ(COMMON_OXAVarGetString(&elements[6].value.elements[1]), "");
    }
}

// A failure leaves elements that were never read: where the block was one of elements before, they
// look as if they owned what is gone.
FRESH_TEST(OXAVarFault, BytesThatEndAnywhereLeaveNothingBehind)
{
    const Bytes form = every_kind();
    const long blocks = fault::outstanding_blocks();
    COMMON_OXAVar var{};
    for (std::uint32_t size = 0; size < form.size(); ++size) {
        COMMON_OXAVarDeserialize(form.data(), &var);
        COMMON_OXAVarClear(&var);
        const Bytes beginning(form.begin(), form.begin() + size);
        EXPECT_EQ(COMMON_OXAVarDeserializeBounded(beginning.data(), size, &var, nullptr),
                  beginning.data() == nullptr ? STATUS{STATUS_INVALID_PARAM}
                                              : STATUS{STATUS_FAILED})
            << size;
        EXPECT_TRUE(is_empty(var)) << size;
    }
    EXPECT_EQ(fault::outstanding_blocks(), blocks);
}

FRESH_TEST(OXAVarFault, NewElementsAreEmptyWhateverTheBlockHeld)
{
    const Variant var = array_variant(3);
    EXPECT_TRUE(is_empty(var->value.elements[2]));
    COMMON_OXAVarArrayRealloc(var.get(), 5);
    EXPECT_TRUE(is_empty(var->value.elements[4]));
    EXPECT_TRUE(is_empty(*empty_variant()));
    EXPECT_EQ(array_variant(0)->value.elements, nullptr);
}

}  // namespace
