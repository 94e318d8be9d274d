// Reading a serialised form from bytes that may be anything.
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "variants.h"

namespace {

struct Result {
    STATUS status;
    std::uint32_t consumed;
    bool operator==(const Result&) const = default;
};

void PrintTo(const Result& result, std::ostream* stream)
{
    *stream << StatusToStr(result.status) << ", " << result.consumed << " bytes";
}

constexpr Result kTruncated{STATUS_FAILED, 0};
constexpr Result kTooDeep{STATUS_NOT_SUPPORTED, 0};

/// Reads from a block that has exactly these bytes, so that AddressSanitizer sees what is too far.
Result read(const Bytes& bytes, COMMON_OXAVar* var)
{
    const auto size = static_cast<std::uint32_t>(bytes.size());
    void* const block = MEM_Malloc(size);
    if (size != 0) {
        std::memcpy(block, bytes.data(), size);
    }
    Result result{0, 4711};
    result.status = COMMON_OXAVarDeserializeBounded(block, size, var, &result.consumed);
    MEM_Free(block);
    return result;
}

void expect_refused(const Bytes& bytes, const Result& expected)
{
    const Variant var = text_variant("before");
    EXPECT_EQ(read(bytes, var.get()), expected) << testing::PrintToString(bytes);
    EXPECT_TRUE(is_empty(*var));
}

/// {1, "abcde", {0.5, {}}, empty}
Bytes example()
{
    return joined({head(OXAVAR_TYPE_ARRAY, 4),
                   head(OXAVAR_TYPE_INT, 1),
                   head(OXAVAR_TYPE_STRING, 5),
                   {'a', 'b', 'c', 'd', 'e', 0, 0, 0},
                   head(OXAVAR_TYPE_ARRAY, 2),
                   head(OXAVAR_TYPE_FLOAT, 0x3f000000),
                   head(OXAVAR_TYPE_ARRAY, 0),
                   word(0)});
}

TEST(OXAVarBounded, WholeValueIsRead)
{
    const Variant var = text_variant("before");
    const auto size = static_cast<std::uint32_t>(example().size());
    EXPECT_EQ(read(example(), var.get()), (Result{STATUS_SUCCESS, size}));
    EXPECT_EQ(shown(*var), "{1, \"abcde\", {0.500000, {}}, unknown (type=0)}");
}

TEST(OXAVarBounded, BytesBehindTheValueAreLeft)
{
    const Variant var = empty_variant();
    const Bytes bytes = joined({example(), {0xEE, 0xEE, 0xEE}});
    EXPECT_EQ(read(bytes, var.get()),
              (Result{STATUS_SUCCESS, static_cast<std::uint32_t>(bytes.size() - 3)}));
}

TEST(OXAVarBounded, EveryTruncationIsRefused)
{
    const Bytes whole = example();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        expect_refused(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)),
                       kTruncated);
    }
}

TEST(OXAVarBounded, MissingPaddingIsRefused)
{
    expect_refused(joined({head(OXAVAR_TYPE_STRING, 1), {'a', 0, 0}}), kTruncated);
    expect_refused(joined({head(OXAVAR_TYPE_STRING, 1), {'a'}}), kTruncated);
}

TEST(OXAVarBounded, LengthsAndCountsBeyondTheBytesAreRefused)
{
    for (const std::uint32_t number : {5U, 8U, 0x40000001U, 0x7fffffffU, 0xfffffffcU, UINT32_MAX}) {
        expect_refused(joined({head(OXAVAR_TYPE_STRING, number), {'a', 'b', 'c', 'd'}}),
                       kTruncated);
        expect_refused(
            joined({head(OXAVAR_TYPE_ARRAY, number), word(0), word(0), word(0), word(0)}),
            kTruncated);
    }
}

TEST(OXAVarBounded, ElementMayNotTakeWhatLaterOnesNeed)
{
    // The first element's text would reach into the word of the second one.
    expect_refused(
        joined({head(OXAVAR_TYPE_ARRAY, 2), head(OXAVAR_TYPE_STRING, 4), {'a', 'b', 'c', 'd'}}),
        kTruncated);
    expect_refused(joined({head(OXAVAR_TYPE_ARRAY, 2), head(OXAVAR_TYPE_ARRAY, 1), word(0)}),
                   kTruncated);
}

/// Arrays inside one another, the innermost one empty.
Bytes arrays(unsigned depth)
{
    const Bytes outer = head(OXAVAR_TYPE_ARRAY, 1);
    Bytes bytes;
    for (unsigned level = 1; level < depth; ++level) {
        bytes.insert(bytes.end(), outer.begin(), outer.end());
    }
    return joined({bytes, head(OXAVAR_TYPE_ARRAY, 0)});
}

TEST(OXAVarBounded, DepthHasALimit)
{
    static_assert(OXAVAR_DEPTH_MAX == 64);
    const Variant var = empty_variant();
    EXPECT_EQ(read(arrays(64), var.get()), (Result{STATUS_SUCCESS, 64 * 8}));
    EXPECT_EQ(serialized(*var), arrays(64));
    expect_refused(arrays(65), kTooDeep);
    expect_refused(arrays(100'000), kTooDeep);
}

TEST(OXAVarBounded, DepthCountsInsideNotSideBySide)
{
    const Variant var = empty_variant();
    Bytes bytes = head(OXAVAR_TYPE_ARRAY, 100);
    for (int index = 0; index < 100; ++index) {
        bytes = joined({bytes, arrays(63)});
    }
    EXPECT_EQ(read(bytes, var.get()).status, STATUS{STATUS_SUCCESS});
    EXPECT_EQ(serialized(*var), bytes);
}

TEST(OXAVarBounded, UnknownTypesAreEmptyElements)
{
    const Variant var = empty_variant();
    EXPECT_EQ(read(joined({head(OXAVAR_TYPE_ARRAY, 2), word(77), word(UINT32_MAX)}), var.get()),
              (Result{STATUS_SUCCESS, 16}));
    EXPECT_EQ(shown(*var), "{unknown (type=0), unknown (type=0)}");
}

TEST(OXAVarBounded, ZeroByteInATextEndsIt)
{
    const Variant var = empty_variant();
    EXPECT_EQ(read(joined({head(OXAVAR_TYPE_STRING, 4), {'a', 0, 'b', 'c'}}), var.get()),
              (Result{STATUS_SUCCESS, 12}));
    EXPECT_STREQ(COMMON_OXAVarGetString(var.get()), "a");
}

TEST(OXAVarBounded, NullArguments)
{
    const Variant var = text_variant("before");
    const Bytes bytes = word(0);
    std::uint32_t consumed = 4711;
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(bytes.data(), 4, nullptr, &consumed),
              STATUS{STATUS_INVALID_PARAM});
    EXPECT_EQ(consumed, 0U);
    consumed = 4711;
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(nullptr, 4, var.get(), &consumed),
              STATUS{STATUS_INVALID_PARAM});
    EXPECT_EQ(consumed, 0U);
    EXPECT_TRUE(is_empty(*var));
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(bytes.data(), 4, var.get(), nullptr),
              STATUS{STATUS_SUCCESS});
}

}  // namespace
