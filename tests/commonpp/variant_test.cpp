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
using commonpp::variant_type;

namespace {

static_assert(!std::is_constructible_v<variant, double>);
static_assert(!std::is_constructible_v<variant, bool>);
static_assert(!std::is_constructible_v<variant, unsigned>);
static_assert(!std::is_constructible_v<variant, std::int64_t>);
static_assert(!std::is_constructible_v<variant, std::nullptr_t>);
static_assert(!std::is_constructible_v<variant, void*>);
static_assert(std::is_nothrow_move_constructible_v<variant>);
static_assert(std::is_nothrow_move_assignable_v<variant>);

BODY(CommonppVariant, HoldsOneOfItsTypes)
{
    int target = 0;
    CHECK(variant().type() == variant_type::none);
    CHECK(variant(-5).type() == variant_type::integer);
    CHECK_EQ(*variant(-5).as<std::int32_t>(), -5);
    CHECK_EQ(*variant(2.5F).as<float>(), 2.5F);
    CHECK_EQ(*variant("text").as<std::string_view>(), "text");
    CHECK_EQ(*variant(std::string("text")).as<std::string_view>(), "text");
    CHECK_EQ(*variant(std::string_view("text", 2)).as<std::string_view>(), "te");
    CHECK(variant(std::string_view()).as<std::string_view>()->empty());
    CHECK(*variant::pointer(&target).as<void*>() == &target);
    CHECK(variant::array(0).type() == variant_type::array);
    CHECK_EQ(variant::array(3).size(), 3U);
}

BODY(CommonppVariant, GivesNothingOfAnotherType)
{
    const variant values[] = {
        variant(),        variant(1), variant(1.F), variant("1"), variant::pointer(nullptr),
        variant::array(1)};
    for (const variant& value : values) {
        const auto type = value.type();
        CHECK_EQ(value.get_if<std::int32_t>() != nullptr, type == variant_type::integer);
        CHECK_EQ(value.get_if<float>() != nullptr, type == variant_type::real);
        CHECK_EQ(value.get_if<char*>() != nullptr, type == variant_type::text);
        CHECK_EQ(value.get_if<void*>() != nullptr, type == variant_type::pointer);
        CHECK_EQ(value.as<std::int32_t>().has_value(), type == variant_type::integer);
        CHECK_EQ(value.as<float>().has_value(), type == variant_type::real);
        CHECK_EQ(value.as<std::string_view>().has_value(), type == variant_type::text);
        CHECK_EQ(value.as<void*>().has_value(), type == variant_type::pointer);
        CHECK_EQ(value.size(), type == variant_type::array ? 1U : 0U);
        CHECK_EQ(value.begin() != value.end(), type == variant_type::array);
    }
    const variant null_text(static_cast<const char*>(nullptr));
    CHECK(null_text.type() == variant_type::text);
    CHECK(*null_text.get_if<char*>() == nullptr);
    CHECK(!null_text.as<std::string_view>());
}

BODY(CommonppVariant, BracesMakeNestedArrays)
{
    const variant station{"Radio 1", 98.5F, {1, {2, "deep"}}, variant()};
    CHECK_EQ(station.text(), "{\"Radio 1\", 98.500000, {1, {2, \"deep\"}}, unknown (type=0)}");
    CHECK_EQ(station.size(), 4U);
    CHECK_EQ(*station[2][1][1].as<std::string_view>(), "deep");
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
    CHECK(second.type() == variant_type::none);  // NOLINT(bugprone-use-after-move)
    CHECK_EQ(third.text(), "{\"a\", {9, 2}}");
    second = third;
    CHECK_EQ(second.text(), third.text());
    first = std::move(second);
    CHECK(second.type() == variant_type::none);  // NOLINT(bugprone-use-after-move)
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
        CHECK(element.type() == variant_type::none);
        element = number++;
    }
    values[1] = "one";
    values.resize(4);
    int sum = 0;
    for (const variant& element : values) {
        sum += element.as<std::int32_t>().value_or(100);
    }
    CHECK_EQ(sum, 202);
    values.resize(1);
    CHECK_EQ(values.text(), "{0}");
    variant text("not an array");
    text.resize(5);
    CHECK_EQ(text.size(), 0U);
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
    CHECK(static_cast<bool>(unknown) && unknown->type() == variant_type::none);
}

// A size of 4 GiB and more is no small one.
#if defined(__LP64__)
BODY(CommonppVariant, SizesAreNotCutTo32Bits)
{
    const std::vector<std::uint8_t> bytes = variant(5).bytes();
    const auto received = variant::from_bytes(bytes.data(), std::size_t{1} << 32);
    CHECK(static_cast<bool>(received));
    CHECK_EQ(*received->as<std::int32_t>(), 5);
}
#endif

}  // namespace
