// variant: making, copying and moving, looking into it, bytes for another process.
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "bodies.h"

using commonpp::status;
using commonpp::variant;

namespace {

static_assert(!std::is_constructible_v<variant, double>);
static_assert(!std::is_constructible_v<variant, bool>);
static_assert(!std::is_constructible_v<variant, unsigned>);
static_assert(!std::is_constructible_v<variant, std::int64_t>);
static_assert(!std::is_constructible_v<variant, std::nullptr_t>);
static_assert(!std::is_constructible_v<variant, void*>);
static_assert(std::is_nothrow_move_constructible_v<variant>);
static_assert(std::is_nothrow_move_assignable_v<variant>);

std::string text_of(const variant& value)
{
    return *value.get_if<char*>();
}

variant pointer_to(void* target)
{
    variant made;
    COMMON_OXAVarSetPVoid(made.native(), target);
    return made;
}

BODY(CommonppVariant, HoldsOneOfItsTypes)
{
    int target = 0;
    CHECK(variant().type() == OXAVAR_TYPE_NONE);
    CHECK(variant(-5).type() == OXAVAR_TYPE_INT);
    CHECK_EQ(*variant(-5).get_if<std::int32_t>(), -5);
    CHECK_EQ(*variant(static_cast<short>(-5)).get_if<std::int32_t>(), -5);
    CHECK_EQ(*variant(2.5F).get_if<float>(), 2.5F);
    CHECK_EQ(text_of("text"), "text");
    CHECK_EQ(text_of(variant(std::string("text"))), "text");
    CHECK_EQ(text_of(std::string_view("text", 2)), "te");
    CHECK(text_of(std::string_view()).empty());
    CHECK(*pointer_to(&target).get_if<void*>() == &target);
    CHECK(variant::array(0).type() == OXAVAR_TYPE_ARRAY);
    CHECK_EQ(variant::array(3).size(), 3U);
}

BODY(CommonppVariant, GivesNothingOfAnotherType)
{
    const variant values[] = {variant(),    variant(1),          variant(1.F),
                              variant("1"), pointer_to(nullptr), variant::array(1)};
    for (const variant& value : values) {
        const auto type = value.type();
        CHECK_EQ(value.get_if<std::int32_t>() != nullptr, type == OXAVAR_TYPE_INT);
        CHECK_EQ(value.get_if<float>() != nullptr, type == OXAVAR_TYPE_FLOAT);
        CHECK_EQ(value.get_if<char*>() != nullptr, type == OXAVAR_TYPE_STRING);
        CHECK_EQ(value.get_if<void*>() != nullptr, type == OXAVAR_TYPE_PVOID);
        CHECK_EQ(value.size(), type == OXAVAR_TYPE_ARRAY ? 1U : 0U);
        CHECK_EQ(value.begin() != value.end(), type == OXAVAR_TYPE_ARRAY);
    }
    const variant null_text(static_cast<const char*>(nullptr));
    CHECK(null_text.type() == OXAVAR_TYPE_STRING);
    CHECK(*null_text.get_if<char*>() == nullptr);
}

BODY(CommonppVariant, BracesMakeNestedArrays)
{
    const variant station{"Radio 1", 98.5F, {1, {2, "deep"}}, variant()};
    CHECK_EQ(station.text(), "{\"Radio 1\", 98.500000, {1, {2, \"deep\"}}, unknown (type=0)}");
    CHECK_EQ(station.size(), 4U);
    CHECK_EQ(text_of(station[2][1][1]), "deep");
    CHECK_EQ(variant{1}.text(), "{1}");
    const variant in_array{{1}};
    CHECK_EQ(in_array.text(), "{{1}}");
    const variant two{station[0], station[1]};
    CHECK_EQ(two.text(), "{\"Radio 1\", 98.500000}");
    CHECK_EQ(station.size(), 4U);
}

// Compilers differ in whether braces around one object of the class are a list of it.
BODY(CommonppVariant, BracesAroundOneVariantCopyIt)
{
    variant number(5);
    const variant copy{number};
    CHECK_EQ(copy.text(), "5");
    CHECK_EQ(number.text(), "5");
    const variant moved{std::move(number)};
    CHECK_EQ(moved.text(), "5");
    const variant list{1, 2};
    variant list_copy{list};
    list_copy[0] = 9;
    CHECK_EQ(list_copy.text(), "{9, 2}");
    CHECK_EQ(list.text(), "{1, 2}");
}

BODY(CommonppVariant, CopiesAreDeepAndMovesLeaveNothing)
{
    variant first{"a", {1, 2}};
    variant second(first);
    second[1][0] = 9;
    CHECK_EQ(first.text(), "{\"a\", {1, 2}}");
    CHECK_EQ(second.text(), "{\"a\", {9, 2}}");
    const variant third(std::move(second));
    // NOLINTNEXTLINE(bugprone-use-after-move): what a move leaves behind is looked at.
    CHECK(second.type() == OXAVAR_TYPE_NONE);
    CHECK_EQ(third.text(), "{\"a\", {9, 2}}");
    second = third;
    CHECK_EQ(second.text(), third.text());
    first = std::move(second);
    // NOLINTNEXTLINE(bugprone-use-after-move): what a move leaves behind is looked at.
    CHECK(second.type() == OXAVAR_TYPE_NONE);
    CHECK_EQ(first.text(), third.text());
    first = 5;
    CHECK_EQ(first.text(), "5");
    first = "six";
    CHECK_EQ(first.text(), "\"six\"");
}

BODY(CommonppVariant, AssignsToItselfAndOutOfItself)
{
    variant value{"a", {1, 2}};
    variant& same = value;
    value = same;
    CHECK_EQ(value.text(), "{\"a\", {1, 2}}");
    value = std::move(same);
    CHECK_EQ(value.text(), "{\"a\", {1, 2}}");
    value[0] = value;
    CHECK_EQ(value.text(), "{{\"a\", {1, 2}}, {1, 2}}");
    value = std::move(value[0]);
    CHECK_EQ(value.text(), "{\"a\", {1, 2}}");
    value = value[1];
    CHECK_EQ(value.text(), "{1, 2}");
}

BODY(CommonppVariant, ElementsAreVariants)
{
    variant values = variant::array(3);
    int number = 0;
    for (variant& element : values) {
        CHECK(element.type() == OXAVAR_TYPE_NONE);
        element = number++;
    }
    values[1] = "one";
    COMMON_OXAVarArrayRealloc(values.native(), 4);
    int sum = 0;
    for (const variant& element : std::as_const(values)) {
        const std::int32_t* const integer = element.get_if<std::int32_t>();
        sum += integer != nullptr ? *integer : 100;
    }
    CHECK_EQ(sum, 202);
}

BODY(CommonppVariant, BytesComeBack)
{
    const variant sent{1, 2.5F, "text", {variant(), std::numeric_limits<std::int32_t>::min()}};
    std::vector<std::uint8_t> bytes = sent.bytes();
    CHECK_EQ(bytes.size(), COMMON_OXAVarGetSerializedSize(sent.native()));
    bytes.push_back(7);
    std::uint32_t consumed = 0;
    const auto received = variant::from_bytes(bytes.data(), bytes.size(), &consumed);
    CHECK(static_cast<bool>(received));
    CHECK_EQ(received->text(), sent.text());
    CHECK_EQ(consumed, bytes.size() - 1);
    CHECK_EQ(variant().bytes().size(), 4U);
}

BODY(CommonppVariant, CutBytesAreAnError)
{
    const std::vector<std::uint8_t> bytes = variant{1, "longer text", {2.F, {3}}}.bytes();
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        // A block of that size, so that a sanitizer sees a byte too many.
        const std::vector<std::uint8_t> cut(bytes.begin(),
                                            bytes.begin() + static_cast<std::ptrdiff_t>(size));
        std::uint32_t consumed = 99;
        const auto received =
            variant::from_bytes(cut.data() != nullptr ? cut.data() : &bytes[0], size, &consumed);
        CHECK(!received);
        CHECK(received.error() == status::failed);
        CHECK_EQ(consumed, 0U);
    }
}

BODY(CommonppVariant, HostileBytesAreAnError)
{
    const auto read = [](const std::vector<std::uint32_t>& words) {
        return variant::from_bytes(words.data(), words.size() * sizeof(std::uint32_t));
    };
    CHECK(variant::from_bytes(nullptr, 8).error() == status::invalid_param);
    CHECK(read({5, 0xFFFFFFFF}).error() == status::failed);
    CHECK(read({3, 0xFFFFFFFF, 0}).error() == status::failed);
    std::vector<std::uint32_t> deep;
    for (int level = 0; level < OXAVAR_DEPTH_MAX; ++level) {
        deep.insert(deep.end(), {5, 1});
    }
    deep.push_back(0);
    CHECK(static_cast<bool>(read(deep)));
    deep.insert(deep.begin(), {5, 1});
    CHECK(read(deep).error() == status::not_supported);
    const auto unknown = read({77});
    CHECK(static_cast<bool>(unknown) && unknown->type() == OXAVAR_TYPE_NONE);
}

// A size of 4 GiB and more is no small one.
#if defined(__LP64__)
BODY(CommonppVariant, SizesAreNotCutTo32Bits)
{
    const std::vector<std::uint8_t> bytes = variant(5).bytes();
    const auto received = variant::from_bytes(bytes.data(), std::size_t{1} << 32);
    CHECK(static_cast<bool>(received));
    CHECK_EQ(*received->get_if<std::int32_t>(), 5);
    CHECK(*variant(std::string_view("text", std::size_t{1} << 32)).get_if<char*>() == nullptr);
}
#endif

}  // namespace
