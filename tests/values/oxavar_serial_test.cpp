// The serialised form of variants, to the byte.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "variants.h"

namespace {

Bytes text_form(const std::string& text)
{
    Bytes form = head(OXAVAR_TYPE_STRING, static_cast<std::uint32_t>(text.size()));
    form.insert(form.end(), text.begin(), text.end());
    while (form.size() % 4 != 0) {
        form.push_back(0);
    }
    return form;
}

/// Checks the size, the bytes and that they read back as the same.
void expect_form(const COMMON_OXAVar& var, const Bytes& form)
{
    EXPECT_EQ(COMMON_OXAVarGetSerializedSize(&var), form.size());
    EXPECT_EQ(serialized(var), form);
    const Variant back = text_variant("before");
    EXPECT_EQ(COMMON_OXAVarDeserialize(form.data(), back.get()), form.size());
    EXPECT_EQ(serialized(*back), form);
    std::uint32_t consumed = 0;
    COMMON_OXAVarSetString(back.get(), "before");
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(form.data(), static_cast<std::uint32_t>(form.size()),
                                              back.get(), &consumed),
              STATUS{STATUS_SUCCESS});
    EXPECT_EQ(consumed, form.size());
    EXPECT_EQ(serialized(*back), form);
}

TEST(OXAVarSerial, WordsHaveTheMachinesByteOrder)
{
    COMMON_OXAVar var{};
    COMMON_OXAVarSetInt(&var, 0x01020304);
    EXPECT_EQ(serialized(var), (Bytes{1, 0, 0, 0, 4, 3, 2, 1})) << "on a little-endian machine";
}

TEST(OXAVarSerial, PlainValues)
{
    COMMON_OXAVar var{};
    expect_form(var, word(0));
    for (const std::int32_t value : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
        COMMON_OXAVarSetInt(&var, value);
        expect_form(var, joined({word(1), word(static_cast<std::uint32_t>(value))}));
    }
    COMMON_OXAVarSetFloat(&var, 0.5F);
    expect_form(var, joined({word(2), word(0x3f000000)}));
    COMMON_OXAVarSetPVoid(&var, pointer_of(0x89abcdef));
    expect_form(var, joined({word(4), word(0x89abcdef)}));
}

TEST(OXAVarSerial, EveryBitOfAFloatTravels)
{
    for (const std::uint32_t bits : {0x7f800001U, 0xff812345U, 0x7fc00000U, 0x80000000U, 1U}) {
        COMMON_OXAVar var{};
        const Bytes form = head(OXAVAR_TYPE_FLOAT, bits);
        COMMON_OXAVarDeserialize(form.data(), &var);
        EXPECT_EQ(serialized(var), form) << bits;
    }
}

TEST(OXAVarSerial, OfAPointerTheLow32BitsTravel)
{
    COMMON_OXAVar var{};
    COMMON_OXAVarSetPVoid(&var, pointer_of(static_cast<std::uintptr_t>(0x123489abcdefULL)));
    EXPECT_EQ(serialized(var), head(OXAVAR_TYPE_PVOID, 0x89abcdef));
    COMMON_OXAVarSetPVoid(&var, pointer_of(UINTPTR_MAX));
    COMMON_OXAVarDeserialize(head(OXAVAR_TYPE_PVOID, 0x89abcdef).data(), &var);
    EXPECT_EQ(COMMON_OXAVarGetPVoid(&var), pointer_of(0x89abcdef));
}

TEST(OXAVarSerial, TextsArePaddedToWords)
{
    struct {
        const char* text;
        std::size_t size;
    } constexpr kCases[] = {{"", 8},     {"a", 12},    {"ab", 12},
                            {"abc", 12}, {"abcd", 12}, {"abcde", 16}};
    for (const auto& example : kCases) {
        const Bytes form = text_form(example.text);
        EXPECT_EQ(form.size(), example.size);
        expect_form(*text_variant(example.text), form);
        const Variant back = empty_variant();
        COMMON_OXAVarDeserialize(form.data(), back.get());
        EXPECT_STREQ(COMMON_OXAVarGetString(back.get()), example.text);
    }
    expect_form(*text_variant(std::string(70'001, 'x')), text_form(std::string(70'001, 'x')));
}

TEST(OXAVarSerial, NullTextIsWrittenAsAnEmptyOne)
{
    COMMON_OXAVar var{};
    COMMON_OXAVarSetString(&var, nullptr);
    EXPECT_EQ(COMMON_OXAVarGetSerializedSize(&var), 8U);
    EXPECT_EQ(serialized(var), text_form(""));
}

TEST(OXAVarSerial, PaddingIsWrittenOverWhatWasThere)
{
    Bytes buffer(16, 0xEE);
    EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data(), text_variant("abcde").get(), 16), 16U);
    EXPECT_EQ(buffer, text_form("abcde"));
}

TEST(OXAVarSerial, UnknownTypeIsWrittenAsEmpty)
{
    for (const std::uint32_t type : {6U, 255U, UINT32_MAX}) {
        const COMMON_OXAVar var{.type = type, .count = 7, .value = {.word = 9}};
        EXPECT_EQ(COMMON_OXAVarGetSerializedSize(&var), 4U);
        EXPECT_EQ(serialized(var), word(0));
    }
}

TEST(OXAVarSerial, UnknownTypeIsReadAsEmpty)
{
    for (const std::uint32_t type : {0U, 6U, 255U, UINT32_MAX}) {
        const Variant var = text_variant("before");
        EXPECT_EQ(COMMON_OXAVarDeserialize(word(type).data(), var.get()), 4U);
        EXPECT_TRUE(is_empty(*var));
    }
}

// {1, "a", {}}: 8 + 8 + 12 + 8 bytes.
Variant nested()
{
    Variant var = array_variant(3);
    COMMON_OXAVarSetInt(&var->value.elements[0], 1);
    COMMON_OXAVarSetString(&var->value.elements[1], "a");
    COMMON_OXAVarArrayAllocAt(&var->value.elements[2], 0);
    return var;
}

TEST(OXAVarSerial, ArraysAreWrittenElementByElement)
{
    expect_form(*array_variant(0), head(OXAVAR_TYPE_ARRAY, 0));
    expect_form(*array_variant(2), joined({head(OXAVAR_TYPE_ARRAY, 2), word(0), word(0)}));
    const Bytes form = joined({head(OXAVAR_TYPE_ARRAY, 3), head(OXAVAR_TYPE_INT, 1), text_form("a"),
                               head(OXAVAR_TYPE_ARRAY, 0)});
    EXPECT_EQ(form.size(), 36U);
    expect_form(*nested(), form);
    const Variant back = empty_variant();
    COMMON_OXAVarDeserialize(form.data(), back.get());
    EXPECT_EQ(shown(*back), "{1, \"a\", {}}");
}

TEST(OXAVarSerial, ArrayWithoutItsBlockHasOnlyItsHead)
{
    const COMMON_OXAVar var{.type = OXAVAR_TYPE_ARRAY, .count = 3, .value = {.word = 0}};
    EXPECT_EQ(COMMON_OXAVarGetSerializedSize(&var), 8U);
    EXPECT_EQ(serialized(var), head(OXAVAR_TYPE_ARRAY, 3));
}

TEST(OXAVarSerial, ManyTextsKeepTheirLengths)
{
    const Variant var = array_variant(40);
    Bytes form = head(OXAVAR_TYPE_ARRAY, 40);
    for (std::uint32_t index = 0; index < 40; ++index) {
        const bool is_null = index % 10 == 5;
        const std::string text(is_null ? 0 : index * 7 % 40, 'x');
        COMMON_OXAVarSetString(&var->value.elements[index], is_null ? nullptr : text.c_str());
        form = joined({form, text_form(text)});
    }
    expect_form(*var, form);
}

TEST(OXAVarSerial, BufferOneByteTooSmallStaysUntouched)
{
    const Variant values[] = {empty_variant(), text_variant("abc"), nested()};
    for (const Variant& var : values) {
        const std::uint32_t size = COMMON_OXAVarGetSerializedSize(var.get());
        Bytes buffer(size + 1, 0xEE);
        EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data(), var.get(), size - 1), 0U);
        EXPECT_EQ(buffer, Bytes(size + 1, 0xEE));
        EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data(), var.get(), size), size);
        EXPECT_EQ(buffer[size], 0xEE);
        EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data(), var.get(), size + 1), size);
    }
}

// 4097 elements that share a text of 1 MiB: more than 32 bits can tell.
TEST(OXAVarSerial, MoreThan4GiBIsRefused)
{
    std::string text(1U << 20, 'x');
    std::vector<COMMON_OXAVar> elements(
        4097, {.type = OXAVAR_TYPE_STRING, .count = 0, .value = {.text = text.data()}});
    COMMON_OXAVar array{.type = OXAVAR_TYPE_ARRAY, .count = 4097, .value = {.word = 0}};
    array.value.elements = elements.data();
    EXPECT_EQ(COMMON_OXAVarGetSerializedSize(&array), UINT32_MAX);
    // Whatever the 32 bits of the size would be, there is room for it.
    Bytes buffer(2U << 20, 0xEE);
    EXPECT_EQ(
        COMMON_OXAVarSerialize(buffer.data(), &array, static_cast<std::uint32_t>(buffer.size())),
        0U);
    EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data(), &array, UINT32_MAX), 0U);
    EXPECT_EQ(buffer, Bytes(buffer.size(), 0xEE));
}

TEST(OXAVarSerial, NullArgumentsGiveZero)
{
    const Variant var = nested();
    Bytes buffer(64, 0xEE);
    EXPECT_EQ(COMMON_OXAVarGetSerializedSize(nullptr), 0U);
    EXPECT_EQ(COMMON_OXAVarSerialize(nullptr, var.get(), 64), 0U);
    EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data(), nullptr, 64), 0U);
    EXPECT_EQ(buffer, Bytes(64, 0xEE));
    EXPECT_EQ(COMMON_OXAVarDeserialize(buffer.data(), nullptr), 0U);
    EXPECT_EQ(COMMON_OXAVarDeserialize(nullptr, nullptr), 0U);
    EXPECT_EQ(COMMON_OXAVarDeserialize(nullptr, var.get()), 0U);
    EXPECT_TRUE(is_empty(*var)) << "the variant is cleared before the buffer is looked at";
}

TEST(OXAVarSerial, BufferNeedsNoAlignment)
{
    const Variant var = nested();
    const Bytes form = serialized(*var);
    for (std::size_t shift = 1; shift < 4; ++shift) {
        Bytes buffer(shift + form.size());
        EXPECT_EQ(COMMON_OXAVarSerialize(buffer.data() + shift, var.get(), 36), 36U);
        const Variant back = empty_variant();
        EXPECT_EQ(COMMON_OXAVarDeserialize(buffer.data() + shift, back.get()), 36U);
        EXPECT_EQ(serialized(*back), form);
    }
}

TEST(OXAVarSerial, ZeroByteInATextEndsIt)
{
    const Bytes form = joined({head(OXAVAR_TYPE_STRING, 6), {'a', 'b', 0, 'c', 'd', 'e', 0, 0}});
    const Variant var = empty_variant();
    EXPECT_EQ(COMMON_OXAVarDeserialize(form.data(), var.get()), 16U);
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "ab");
    EXPECT_EQ(COMMON_OXAVarGetSerializedSize(var.get()), 12U);
}

TEST(OXAVarSerial, ArrayTooLargeForABlockIsReadAsAnEmptyOne)
{
    const Bytes form = joined({head(OXAVAR_TYPE_ARRAY, 2), head(OXAVAR_TYPE_ARRAY, UINT32_MAX),
                               head(OXAVAR_TYPE_INT, 9)});
    const Variant var = empty_variant();
    EXPECT_EQ(COMMON_OXAVarDeserialize(form.data(), var.get()), form.size());
    EXPECT_EQ(shown(*var), "{{}, 9}") << "its elements are not read";
}

}  // namespace
