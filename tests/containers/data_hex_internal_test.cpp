// The ways of a conversion of hexadecimal digits: AVX2, steps of 16, one by one. Processors differ
// in which of them a text goes, so each is called by itself here and compared with one by hand.
#include "containers/data_hex.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "containers/data_hex_avx2.h"
#include "containers/data_hex_steps.h"

namespace {

namespace data = common::data;

/// Whether this processor is said to have no AVX2.
bool avx2_is_denied = false;

}  // namespace

#if COMMON_HEX_BY_AVX2
// The linker calls __wrap_NAME instead of a wrapped function, which is then __real_NAME; the name
// is that of common::data::has_avx2().
extern "C" bool real_has_avx2() __asm__("__real__ZN6common4data8has_avx2Ev");
extern "C" bool has_avx2_unless_denied() __asm__("__wrap__ZN6common4data8has_avx2Ev");

bool has_avx2_unless_denied()
{
    return !avx2_is_denied && real_has_avx2();
}
#endif

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLongest = 300;
constexpr std::size_t kAlignments = 16;
/// What stands behind a result, and has to stay.
constexpr char kFence = '~';

/// Every byte occurs.
Bytes some_bytes()
{
    std::mt19937 random(4711);
    Bytes bytes(kLongest + kAlignments);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 37);
    }
    std::shuffle(bytes.begin(), bytes.end(), random);
    return bytes;
}

std::string digits_by_hand(const std::uint8_t* bytes, std::size_t count, const char* between)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += "0123456789ABCDEF"[bytes[i] / 16];
        text += "0123456789ABCDEF"[bytes[i] % 16];
        text += between;
    }
    return text;
}

/// The digits in both cases, mixed.
std::string mixed(std::string text)
{
    for (std::size_t i = 0; i < text.size(); i += 3) {
        text[i] = static_cast<char>(std::tolower(text[i]));
    }
    return text;
}

using ToText = void (*)(const std::uint8_t*, std::size_t, char*) noexcept;
using FromText = void (*)(const char*, std::size_t, std::uint8_t*) noexcept;
using IsValid = bool (*)(const char*, std::size_t) noexcept;

void encode_rest(const std::uint8_t* bytes, std::size_t count, char* text) noexcept
{
    data::rest::encode(bytes, count, text, 0);
}

void dump_rest(const std::uint8_t* bytes, std::size_t count, char* text) noexcept
{
    data::rest::dump(bytes, count, text, 0);
}

void decode_rest(const char* text, std::size_t count, std::uint8_t* bytes) noexcept
{
    data::rest::decode(text, count, bytes, 0);
}

bool is_rest_valid(const char* text, std::size_t count) noexcept
{
    return data::rest::is_valid(text, count, 0);
}

/// Every length and alignment.
void expect_text(ToText convert, const char* between)
{
    const Bytes bytes = some_bytes();
    for (std::size_t length = 0; length <= kLongest; ++length) {
        for (std::size_t place = 0; place < kAlignments; ++place) {
            const std::string expected = digits_by_hand(bytes.data() + place, length, between);
            std::string text(expected.size() + 2 * kAlignments, kFence);
            convert(bytes.data() + place, length, text.data() + kAlignments - place);
            ASSERT_EQ(text, std::string(kAlignments - place, kFence) + expected +
                                std::string(kAlignments + place, kFence))
                << length << " bytes at " << place;
        }
    }
}

void expect_bytes(FromText convert)
{
    const Bytes bytes = some_bytes();
    for (std::size_t length = 0; length <= kLongest; ++length) {
        for (std::size_t place = 0; place < kAlignments; ++place) {
            const std::string text = std::string(place, kFence) +
                                     mixed(digits_by_hand(bytes.data(), length, "")) +
                                     std::string(1, kFence);
            Bytes expected(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            expected.resize(length + kAlignments, kFence);
            Bytes result(length + kAlignments, kFence);
            convert(text.data() + place, length, result.data());
            ASSERT_EQ(result, expected) << length << " bytes at " << place;
        }
    }
}

/// Every length, and every place of a character that is no digit; every such character where a text
/// has whole steps and a rest.
void expect_judged(IsValid is_valid)
{
    const std::string digits = mixed(digits_by_hand(some_bytes().data(), kLongest / 2, ""));
    for (std::size_t length = 0; length <= kLongest; ++length) {
        // Behind the end it may be what it wants.
        std::string text = digits.substr(0, length) + "g";
        ASSERT_TRUE(is_valid(text.data(), length)) << length;
        for (std::size_t place = 0; place < length; ++place) {
            for (const char bad : {'g', '/', '\xB0'}) {
                const char good = std::exchange(text[place], bad);
                ASSERT_FALSE(is_valid(text.data(), length)) << length << ' ' << place << bad;
                text[place] = good;
            }
        }
    }
    for (const std::size_t length : {std::size_t{15}, std::size_t{47}, std::size_t{111}}) {
        for (std::size_t place = 0; place < length; ++place) {
            std::string text = digits.substr(0, length);
            for (int character = 0; character < 256; ++character) {
                text[place] = static_cast<char>(character);
                ASSERT_EQ(is_valid(text.data(), length), std::isxdigit(character) != 0)
                    << length << ' ' << place << ' ' << character;
            }
        }
    }
}

TEST(DataHexInternal, TextIsTheSameByEveryWay)
{
    expect_text(encode_rest, "");
    expect_text(data::hex_encode, "");
}

TEST(DataHexInternal, DumpsAreTheSameByEveryWay)
{
    expect_text(dump_rest, " ");
    expect_text(data::hex_dump, " ");
}

TEST(DataHexInternal, BytesAreTheSameByEveryWay)
{
    expect_bytes(decode_rest);
    expect_bytes(data::hex_decode);
}

TEST(DataHexInternal, NoWayTakesWhatIsNoDigit)
{
    expect_judged(is_rest_valid);
    expect_judged(data::hex_is_valid);
}

TEST(DataHexInternal, LongTextsAreTheSameOnAProcessorWithoutAvx2)
{
    avx2_is_denied = true;
#if COMMON_HEX_BY_AVX2
    EXPECT_FALSE(data::uses_avx2(1'000'000));
#endif
    const Bytes bytes = some_bytes();
    const std::string digits = digits_by_hand(bytes.data(), kLongest, "");
    std::string text(digits.size(), kFence);
    data::hex_encode(bytes.data(), kLongest, text.data());
    EXPECT_EQ(text, digits);
    const std::string dumped = digits_by_hand(bytes.data(), kLongest, " ");
    text.assign(dumped.size(), kFence);
    data::hex_dump(bytes.data(), kLongest, text.data());
    EXPECT_EQ(text, dumped);
    EXPECT_TRUE(data::hex_is_valid(digits.data(), digits.size()));
    Bytes back(kLongest);
    data::hex_decode(digits.data(), kLongest, back.data());
    EXPECT_EQ(back, Bytes(bytes.begin(), bytes.begin() + kLongest));
    avx2_is_denied = false;
}

// What is done already stays.
TEST(DataHexInternal, TheRestBeginsWhereItIsTold)
{
    const Bytes bytes = some_bytes();
    for (std::size_t length = 0; length <= 70; ++length) {
        for (std::size_t done = 0; done <= length; ++done) {
            std::string text = digits_by_hand(bytes.data(), length, "");
            const std::string expected = text;
            std::fill(text.begin() + static_cast<std::ptrdiff_t>(2 * done), text.end(), kFence);
            data::rest::encode(bytes.data(), length, text.data(), done);
            ASSERT_EQ(text, expected) << length << ' ' << done;
        }
    }
}

#if COMMON_HEX_BY_STEPS
// Steps of a dump are taken on ARM only, but can be told here.
TEST(DataHexInternal, AStepOfADump)
{
    const Bytes bytes = some_bytes();
    for (std::size_t place = 0; place < kLongest; ++place) {
        std::string text(49, kFence);
        data::write_dump_of_16(data::digits_of_16(bytes.data() + place), text.data());
        EXPECT_EQ(text, digits_by_hand(bytes.data() + place, 16, " ") + kFence);
    }
}
#endif

#if COMMON_HEX_BY_AVX2
TEST(DataHexInternal, LongTextsGoByAvx2WhereTheProcessorHasIt)
{
    __builtin_cpu_init();
    EXPECT_EQ(data::has_avx2(), __builtin_cpu_supports("avx2") != 0);
    EXPECT_EQ(data::uses_avx2(64), data::has_avx2());
    EXPECT_EQ(data::uses_avx2(1'000'000), data::has_avx2());
    EXPECT_FALSE(data::uses_avx2(63));
    EXPECT_FALSE(data::uses_avx2(0));
}

// What they leave is done as without them: only their results show that they work.
TEST(DataHexInternal, Avx2DoesAllWholeSteps)
{
    const Bytes bytes = some_bytes();
    for (std::size_t length = 0; data::has_avx2() && length <= kLongest; ++length) {
        const std::size_t of_16 = length / 16 * 16;
        const std::size_t of_32 = length / 32 * 32;
        std::string text(3 * kLongest, kFence);
        EXPECT_EQ(data::avx2::encode(bytes.data(), length, text.data()), of_16);
        EXPECT_EQ(text.substr(0, 2 * of_16 + 1), digits_by_hand(bytes.data(), of_16, "") + kFence);
        text.assign(3 * kLongest, kFence);
        EXPECT_EQ(data::avx2::dump(bytes.data(), length, text.data()), of_16);
        EXPECT_EQ(text.substr(0, 3 * of_16 + 1), digits_by_hand(bytes.data(), of_16, " ") + kFence);
        Bytes result(kLongest + 1, kFence);
        const std::string digits = mixed(digits_by_hand(bytes.data(), length, ""));
        EXPECT_EQ(data::avx2::decode(digits.data(), length, result.data()), of_32);
        Bytes expected(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(of_32));
        expected.resize(kLongest + 1, kFence);
        EXPECT_EQ(result, expected);
    }
}

TEST(DataHexInternal, Avx2TakesEveryDigitInEveryPlace)
{
    for (std::size_t place = 0; data::has_avx2() && place < 70; ++place) {
        std::string text(70, '0');
        for (int character = 0; character < 256; ++character) {
            text[place] = static_cast<char>(character);
            const bool is_good = std::isxdigit(character) != 0 || place >= 64;
            ASSERT_EQ(data::avx2::valid(text.data(), text.size()), is_good ? 64U : 0U)
                << place << ' ' << character;
        }
    }
}
#endif

TEST(DataHexInternal, Avx2NeedsTheProcessorAndTheKernel)
{
    constexpr std::uint32_t kOsxsave = 1U << 27;
    constexpr std::uint32_t kAvx = 1U << 28;
    constexpr std::uint32_t kXmm = 2;
    constexpr std::uint32_t kYmm = 4;
    constexpr std::uint32_t kAvx2 = 1U << 5;
    EXPECT_TRUE(common::data::avx2_can_be_used(kOsxsave | kAvx, kXmm | kYmm, kAvx2));
    EXPECT_TRUE(common::data::avx2_can_be_used(UINT32_MAX, UINT32_MAX, UINT32_MAX));
    EXPECT_FALSE(common::data::avx2_can_be_used(~kOsxsave, UINT32_MAX, UINT32_MAX));
    EXPECT_FALSE(common::data::avx2_can_be_used(~kAvx, UINT32_MAX, UINT32_MAX));
    EXPECT_FALSE(common::data::avx2_can_be_used(UINT32_MAX, ~kXmm, UINT32_MAX));
    EXPECT_FALSE(common::data::avx2_can_be_used(UINT32_MAX, ~kYmm, UINT32_MAX));
    EXPECT_FALSE(common::data::avx2_can_be_used(UINT32_MAX, UINT32_MAX, ~kAvx2));
}

}  // namespace
