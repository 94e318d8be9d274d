// Memory of variants: every block is given back, and running out of it ends the process.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

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

}  // namespace
