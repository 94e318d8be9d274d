// Serialised variants (oxavar.h) taken apart, with all that is in the bytes: a text behind its
// first zero byte, its padding, the number of an unknown type. What is broken is told by place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace commonctl {

/// Bytes of serialised variants that are read at most.
inline constexpr std::size_t kMostVariantBytes = 1 << 20;

/// Is told what there is, in the order of the bytes; `at` is the byte that it begins at.
class VariantSink {
public:
    virtual ~VariantSink() = default;

    /// An integer, float or pointer: its bits.
    virtual void word(std::size_t at, std::uint32_t type, std::uint32_t bits) = 0;
    /// A text as its length says, and the 0 to 3 bytes behind it, which readers skip.
    virtual void text(std::size_t at, std::string_view text, std::string_view padding) = 0;
    /// A variant that is empty (0), or of an unknown type, which readers take for empty.
    virtual void empty(std::size_t at, std::uint32_t type) = 0;
    /// An array; its elements are told next.
    virtual void begin_array(std::size_t at, std::uint32_t count) = 0;
    virtual void end_array() = 0;
};

/// What cannot be read, and why.
struct BrokenVariant {
    std::size_t at;
    std::string why;
};

/// Reads one variant. Accepts what COMMON_OXAVarDeserializeBounded() accepts: the same bytes, up to
/// the same end. Of an array that is broken, the sink is told what is in front of that.
/// @param at where it begins; behind it afterwards, if it is whole.
std::optional<BrokenVariant> read_variant(std::string_view bytes, std::size_t& at,
                                          VariantSink& sink);

/// Bytes behind a text, up to a multiple of 4.
constexpr std::size_t padding_of(std::size_t length)
{
    return (4 - length % 4) % 4;
}

}  // namespace commonctl
