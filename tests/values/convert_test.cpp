// Hexadecimal text to numbers: what is read, what fails, and the part that errno takes.
#include "convert.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"
#include "memory_end.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kUntouched32 = 0xDEADBEEF;
constexpr std::uint64_t kUntouched64 = 0xDEADBEEFDEADBEEF;

/// A result and the value that it leaves.
template <typename Number>
struct Converted {
    STATUS status;
    Number value;

    bool operator==(const Converted&) const = default;
};

template <typename Number>
std::ostream& operator<<(std::ostream& stream, const Converted<Number>& converted)
{
    return stream << converted.status << " " << std::hex << converted.value << std::dec;
}

/// Where a text is read from: nothing behind it can be.
const char* guarded(const std::string& text)
{
    static MemoryEnd memory;
    return memory.put(text);
}

Converted<std::uint32_t> to_32(const std::string& text, int error_before = 0)
{
    std::uint32_t value = kUntouched32;
    const char* const read = guarded(text);
    errno = error_before;
    const STATUS status = CONVERT_HexStrToU32(read, &value);
    return {status, value};
}

Converted<std::uint64_t> to_64(const std::string& text, int error_before = 0)
{
    std::uint64_t value = kUntouched64;
    const char* const read = guarded(text);
    errno = error_before;
    const STATUS status = CONVERT_HexStrToU64(read, &value);
    return {status, value};
}

constexpr Converted<std::uint32_t> kFailed32{STATUS_INVALID_PARAM, kUntouched32};
constexpr Converted<std::uint64_t> kFailed64{STATUS_INVALID_PARAM, kUntouched64};

Report said(const char* function, const char* message)
{
    return harness::said(COMMON_LogLevelWarn, "COMMON", "convert", function, message);
}

FRESH_TEST(Convert, TextsThatBothWidthsRead)
{
    const struct {
        const char* text;
        std::uint32_t value;
    } kCases[] = {
        {"1A", 26},
        {"0x1a", 26},
        {"0X1A", 26},
        {" ff", 255},
        {"\t\n\v\f\r ff", 255},
        {"+ff", 255},
        {" +0xff", 255},
        {"ff ", 255},
        {"ffg", 255},
        {"ff-1", 255},
        {"0", 0},
        {"00000000000000000000000012", 18},
        {"0x0000000000000000000012", 18},
        {"FFFFFFFF", UINT32_MAX},
        {"0xffffffff", UINT32_MAX},
        {"89abCDEF", 0x89ABCDEF},
        {"", 0},
        {" ", 0},
        {"-", 0},
        {"-0", 0},
        {"zebra", 0},
        {"0x", 0},
        {"0xg", 0},
        {"0y1", 0},
        {"x1", 0},
        {"--1", 0},
        {"- 1", 0},
        {"\xE4", 0},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(to_32(each.text), (Converted<std::uint32_t>{STATUS_SUCCESS, each.value}))
            << each.text;
        EXPECT_EQ(to_64(each.text), (Converted<std::uint64_t>{STATUS_SUCCESS, each.value}))
            << each.text;
        EXPECT_EQ(errno, 0);
    }
}

FRESH_TEST(Convert, NothingBehindTheEndIsRead)
{
    const struct {
        const char* text;
        std::uint32_t value;
    } kCases[] = {{"", 0}, {"1", 1}, {"g", 0}, {"1g", 1}, {"zzzzzzzz", 0}, {"zzzzzzzzzzzzzzzz", 0}};
    for (const auto& each : kCases) {
        for (const char behind : {'\0', '1', 'z'}) {
            std::string text = each.text;
            text += '\0';
            text += std::string(16, behind);
            EXPECT_EQ(to_32(text), (Converted<std::uint32_t>{STATUS_SUCCESS, each.value}));
            EXPECT_EQ(to_64(text), (Converted<std::uint64_t>{STATUS_SUCCESS, each.value}));
        }
    }
}

TEST(Convert, MinusNegatesInTheResultsWidth)
{
    EXPECT_EQ(to_32("-1").value, UINT32_MAX);
    EXPECT_EQ(to_32(" -0xff").value, 0U - 255U);
    EXPECT_EQ(to_32("-ffffffff").value, 1U);
    EXPECT_EQ(to_64("-1").value, UINT64_MAX);
    EXPECT_EQ(to_64("-ffffffffffffffff").value, 1U);
}

FRESH_TEST(Convert, MinusIsSeenBehindAnyWhiteSpace)
{
    for (const std::string space : {" ", "\t", "\n", "\v", "\f", "\r", "\r\n \t"}) {
        EXPECT_EQ(to_32(space + "-1"), (Converted<std::uint32_t>{STATUS_SUCCESS, UINT32_MAX}));
        EXPECT_EQ(to_32(space + "-0xffffffff"), (Converted<std::uint32_t>{STATUS_SUCCESS, 1}));
        EXPECT_EQ(to_64(space + "-1"), (Converted<std::uint64_t>{STATUS_SUCCESS, UINT64_MAX}));
    }
}

TEST(Convert, LargerThanTheResultIsInvalid)
{
    const auto invalid = said("CONVERT_HexStrToU32", "Invalid String Value");
    const auto invalid_64 = said("CONVERT_HexStrToU64", "Invalid String Value");
    const Outcome outcome = well([] {
        for (const char* const text :
             {"100000000", "0x100000000", "-100000000", "fffffffffffffffff", "-fffffffffffffffff",
              "-ffffffffffffffff"}) {
            EXPECT_EQ(to_32(text), kFailed32) << text;
            EXPECT_EQ(errno, ERANGE);
        }
        EXPECT_EQ(to_64("100000000"), (Converted<std::uint64_t>{STATUS_SUCCESS, 0x100000000}));
        EXPECT_EQ(to_64("ffffffffffffffff"),
                  (Converted<std::uint64_t>{STATUS_SUCCESS, UINT64_MAX}));
        for (const char* const text : {"10000000000000000", "-10000000000000000"}) {
            EXPECT_EQ(to_64(text), kFailed64) << text;
            EXPECT_EQ(errno, ERANGE);
        }
    });
    EXPECT_THAT(outcome.log, ElementsAre(invalid, invalid, invalid, invalid, invalid, invalid,
                                         invalid_64, invalid_64));
}

// Callers know that an error number left by anything earlier counts.
TEST(Convert, EarlierErrorNumberMakesEveryTextInvalid)
{
    const Outcome outcome = well([] {
        for (const char* const text : {"1", "0x1", ""}) {
            EXPECT_EQ(to_32(text, ENOENT), kFailed32);
            EXPECT_EQ(errno, ENOENT);
            EXPECT_EQ(to_64(text, ENOENT), kFailed64);
            EXPECT_EQ(errno, ENOENT);
        }
    });
    EXPECT_THAT(outcome.log, testing::SizeIs(6));
}

TEST(Convert, NumberTooLargeSpoilsTheNextConversion)
{
    const auto invalid = said("CONVERT_HexStrToU32", "Invalid String Value");
    const Outcome outcome = well([] {
        std::uint32_t value = kUntouched32;
        errno = 0;
        EXPECT_EQ(CONVERT_HexStrToU32("100000000", &value), STATUS_INVALID_PARAM);
        EXPECT_EQ(CONVERT_HexStrToU32("1", &value), STATUS_INVALID_PARAM);
        EXPECT_EQ(value, kUntouched32);
        errno = 0;
        EXPECT_EQ(CONVERT_HexStrToU32("1", &value), STATUS_SUCCESS);
        EXPECT_EQ(value, 1U);
    });
    EXPECT_THAT(outcome.log, ElementsAre(invalid, invalid));
}

TEST(Convert, NullIsReportedWhateverErrnoIs)
{
    const Outcome outcome = well([] {
        std::uint32_t value = kUntouched32;
        std::uint64_t value_64 = kUntouched64;
        for (const int error : {0, ENOENT}) {
            errno = error;
            EXPECT_EQ(CONVERT_HexStrToU32(nullptr, &value), STATUS_INVALID_PARAM);
            EXPECT_EQ(CONVERT_HexStrToU64(nullptr, &value_64), STATUS_INVALID_PARAM);
            EXPECT_EQ(CONVERT_HexStrToU32(nullptr, nullptr), STATUS_INVALID_PARAM);
            EXPECT_EQ(errno, error);
        }
        EXPECT_EQ(value, kUntouched32);
        EXPECT_EQ(value_64, kUntouched64);
    });
    const auto null = said("CONVERT_HexStrToU32", "String Value is NULL");
    const auto null_64 = said("CONVERT_HexStrToU64", "String Value is NULL");
    EXPECT_THAT(outcome.log, ElementsAre(null, null_64, null, null, null_64, null));
}

TEST(Convert, NoPlaceForTheResultIsReported)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(CONVERT_HexStrToU32("1", nullptr), STATUS_INVALID_PARAM);
        EXPECT_EQ(CONVERT_HexStrToU64("1", nullptr), STATUS_INVALID_PARAM);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said("CONVERT_HexStrToU32", "Destination Pointer is NULL"),
                            said("CONVERT_HexStrToU64", "Destination Pointer is NULL")));
}

TEST(Convert, FailsWithoutARecordToo)
{
    const Outcome outcome = well({.env = {{"COMMON_LOG_LEVEL", "Error"}}}, [] {
        EXPECT_EQ(to_32("100000000"), kFailed32);
        EXPECT_EQ(CONVERT_HexStrToU64(nullptr, nullptr), STATUS_INVALID_PARAM);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

// Texts made of the characters that mean something, against the C library's own conversion.
void compare_with_the_c_library(unsigned seed)
{
    static constexpr char kCharacters[] = "0123456789abcdefABCDEF0000xX+- \tgz";
    std::mt19937 random(seed);
    well({.env = {{"COMMON_LOG_LEVEL", "Fatal"}}}, [&] {
        for (int round = 0; round < 100'000; ++round) {
            std::string text;
            for (auto length = random() % 20; length > 0; --length) {
                text += kCharacters[random() % (sizeof kCharacters - 1)];
            }
            errno = 0;
            const std::uint64_t expected = std::strtoull(text.c_str(), nullptr, 16);
            const auto status = errno == 0 ? STATUS_SUCCESS : STATUS_INVALID_PARAM;
            const Converted<std::uint64_t> result{STATUS(status),
                                                  errno == 0 ? expected : kUntouched64};
            ASSERT_EQ(to_64(text), result) << "seed " << seed << ", text '" << text << "'";
#if __SIZEOF_LONG__ == 4
            errno = 0;
            const std::uint32_t expected_32 = std::strtoul(text.c_str(), nullptr, 16);
            const Converted<std::uint32_t> result_32{
                STATUS(errno == 0 ? STATUS_SUCCESS : STATUS_INVALID_PARAM),
                errno == 0 ? expected_32 : kUntouched32};
            ASSERT_EQ(to_32(text), result_32) << "seed " << seed << ", text '" << text << "'";
#endif
        }
    });
}

TEST(Convert, ConvertsAsTheCLibraryDoes)
{
    compare_with_the_c_library(4711);
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    compare_with_the_c_library(seed);
}

}  // namespace
