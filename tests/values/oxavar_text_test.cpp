// The texts of variants.
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <malloc.h>

#include "variants.h"

namespace {

std::string filled(std::size_t length)
{
    std::string text;
    for (std::size_t index = 0; index < length; ++index) {
        text += static_cast<char>('a' + index % 26);
    }
    return text;
}

TEST(OXAVarText, Numbers)
{
    COMMON_OXAVar var{};
    EXPECT_EQ(shown(*COMMON_OXAVarSetInt(&var, 0)), "0");
    EXPECT_EQ(shown(*COMMON_OXAVarSetInt(&var, INT32_MIN)), "-2147483648");
    EXPECT_EQ(shown(*COMMON_OXAVarSetFloat(&var, 0.5F)), "0.500000");
    EXPECT_EQ(shown(*COMMON_OXAVarSetFloat(&var, 0.1F)), "0.100000");
    EXPECT_EQ(shown(*COMMON_OXAVarSetFloat(&var, 16777216.0F)), "16777216.000000");
    EXPECT_EQ(shown(*COMMON_OXAVarSetFloat(&var, std::numeric_limits<float>::max())),
              "340282346638528859811704183484516925440.000000");
}

TEST(OXAVarText, Pointers)
{
    COMMON_OXAVar var{};
    EXPECT_EQ(shown(*COMMON_OXAVarSetPVoid(&var, pointer_of(0xabc))), "0xabc");
    EXPECT_EQ(shown(*COMMON_OXAVarSetPVoid(&var, nullptr)), "(nil)");
}

TEST(OXAVarText, EmptyAndUnknownOnes)
{
    EXPECT_EQ(shown(COMMON_OXAVar{}), "unknown (type=0)");
    EXPECT_EQ(shown(COMMON_OXAVar{.type = 6, .count = 0, .value = {.word = 0}}),
              "unknown (type=6)");
    EXPECT_EQ(shown(COMMON_OXAVar{.type = UINT32_MAX, .count = 0, .value = {.word = 0}}),
              "unknown (type=-1)");
}

TEST(OXAVarText, TextsAreQuotedAndNotEscaped)
{
    EXPECT_EQ(shown(*text_variant("")), "\"\"");
    EXPECT_EQ(shown(*text_variant("text")), "\"text\"");
    EXPECT_EQ(shown(*text_variant("a \"b\" %s\n")), "\"a \"b\" %s\n\"");
}

TEST(OXAVarText, LongTextsHaveNoQuotesAndAreCut)
{
    struct {
        std::size_t length;
        std::string before;
        std::size_t shown;
        std::string after;
    } const kCases[] = {
        {1019, "\"", 1019, "\""}, {1020, "\"", 1020, "\""}, {1021, "  ", 1021, ""},
        {1022, " ", 1022, ""},    {1023, "", 1023, ""},     {1024, "", 1023, ""},
        {5000, "", 1023, ""},
    };
    for (const auto& example : kCases) {
        EXPECT_EQ(shown(*text_variant(filled(example.length))),
                  example.before + filled(example.shown) + example.after)
            << example.length;
    }
}

TEST(OXAVarText, NullTextIsPrintedAsSuch)
{
    COMMON_OXAVar var{};
    EXPECT_EQ(shown(*COMMON_OXAVarSetString(&var, nullptr)), "(null)");
}

TEST(OXAVarText, Arrays)
{
    EXPECT_EQ(shown(*array_variant(0)), "{}");
    EXPECT_EQ(shown(COMMON_OXAVar{.type = OXAVAR_TYPE_ARRAY, .count = 2, .value = {.word = 0}}),
              "{}");
    const Variant var = array_variant(3);
    COMMON_OXAVarSetInt(&var->value.elements[0], 1);
    COMMON_OXAVarArrayAllocAt(&var->value.elements[1], 0);
    COMMON_OXAVarSetString(&var->value.elements[2], "two");
    EXPECT_EQ(shown(*var), "{1, {}, \"two\"}");
    COMMON_OXAVarArrayRealloc(var.get(), 1);
    EXPECT_EQ(shown(*var), "{1}");
}

/// An array of texts, given by what each adds: its length and two quotes.
std::string array_text(std::initializer_list<std::size_t> lengths)
{
    const Variant var = array_variant(static_cast<std::uint32_t>(lengths.size()));
    COMMON_OXAVar* element = var->value.elements;
    for (const std::size_t length : lengths) {
        COMMON_OXAVarSetString(element++, filled(length - 2).c_str());
    }
    return shown(*var);
}

std::string quoted(std::size_t length)
{
    return "\"" + filled(length - 2) + "\"";
}

// Behind the brace 1023 of 1024 are left; an element fits while it and ten more are below that.
TEST(OXAVarText, ElementFitsWithTenCharactersToSpare)
{
    EXPECT_EQ(array_text({1012}), "{" + quoted(1012) + "}");
    EXPECT_EQ(array_text({1013}), "{}");
    EXPECT_EQ(array_text({500, 512}), "{" + quoted(500) + ", " + quoted(512) + "}");
    EXPECT_EQ(array_text({500, 513}), "{" + quoted(500) + "}");
}

// Of every kind and of any length, also the last one that has room.
TEST(OXAVarText, ElementOfAnyKindFitsToTheLastCharacter)
{
    constexpr auto kInfinity = std::numeric_limits<float>::infinity();
    constexpr void (*kKinds[])(COMMON_OXAVar*) = {
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, 0); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, 10); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, -9); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, INT32_MAX); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetInt(var, INT32_MIN); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetFloat(var, 0.0F); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetFloat(var, -12.5F); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetFloat(var, kInfinity); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, ""); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, "text"); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetString(var, nullptr); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetPVoid(var, pointer_of(1)); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarSetPVoid(var, nullptr); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarArrayAllocAt(var, 0); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarArrayAllocAt(var, 2); },
        [](COMMON_OXAVar* var) { COMMON_OXAVarClear(var); },
        [](COMMON_OXAVar* var) { var->type = 6; },
    };
    for (const auto set : kKinds) {
        const Variant var = array_variant(2);
        COMMON_OXAVar* const first = var->value.elements;
        set(first + 1);
        const std::string last = shown(first[1]);
        const std::size_t room = 1012 - last.size();
        COMMON_OXAVarSetString(first, filled(room - 2).c_str());
        EXPECT_EQ(shown(*var), "{" + quoted(room) + ", " + last + "}");
        COMMON_OXAVarSetString(first, filled(room - 1).c_str());
        EXPECT_EQ(shown(*var), "{" + quoted(room + 1) + "}") << last;
    }
}

TEST(OXAVarText, ElementWithoutRoomIsLeftOutAndLaterOnesAreTried)
{
    EXPECT_EQ(array_text({1013, 5}), "{" + quoted(5) + "}") << "no separator before the first";
    EXPECT_EQ(array_text({500, 513, 3, 600, 4}),
              "{" + quoted(500) + ", " + quoted(3) + ", " + quoted(4) + "}");
}

TEST(OXAVarText, ManyLongTextsStillEndWithABrace)
{
    const Variant var = array_variant(100);
    for (std::uint32_t index = 0; index < 99; ++index) {
        COMMON_OXAVarSetString(&var->value.elements[index], filled(96).c_str());
    }
    COMMON_OXAVarSetInt(&var->value.elements[99], 7);
    std::string expected = "{" + quoted(98);
    for (int more = 0; more < 9; ++more) {
        expected += ", " + quoted(98);
    }
    EXPECT_EQ(shown(*var), expected + ", 7}");
}

TEST(OXAVarText, InnerArrayIsCutByItselfFirst)
{
    const Variant var = array_variant(2);
    COMMON_OXAVar* const inner = COMMON_OXAVarArrayAllocAt(&var->value.elements[0], 2);
    COMMON_OXAVarSetString(&inner->value.elements[0], filled(1010).c_str());
    COMMON_OXAVarSetInt(&inner->value.elements[1], 1);
    COMMON_OXAVarSetInt(&var->value.elements[1], 2);
    EXPECT_EQ(shown(*inner), "{" + quoted(1012) + "}");
    EXPECT_EQ(shown(*var), "{2}") << "the inner text has no room with its braces";
}

TEST(OXAVarText, BlockHasItsFixedSize)
{
    static_assert(OXAVAR_TEXT_SIZE == 1024);
    char* const text = COMMON_OXAVarToString(array_variant(0).get());
    EXPECT_GE(malloc_usable_size(text), 1024U);
    MEM_Free(text);
}

}  // namespace
