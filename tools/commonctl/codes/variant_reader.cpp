#include "codes/variant_reader.h"

#include <cstring>

#include <common/oxavar.h>

namespace commonctl {
namespace {

constexpr std::size_t kWord = 4;

class VariantReader {
public:
    VariantReader(std::string_view bytes, std::size_t& at, VariantSink& sink)
        : bytes_(bytes), at_(at), sink_(sink)
    {
    }

    std::optional<BrokenVariant> read(unsigned depth = 0)
    {
        const std::size_t begin = at_;
        const auto type = next_word();
        if (!type) {
            return cut("a type");
        }
        switch (*type) {
        case OXAVAR_TYPE_INT:
        case OXAVAR_TYPE_FLOAT:
        case OXAVAR_TYPE_PVOID:
            return read_word(begin, *type);
        case OXAVAR_TYPE_STRING:
            return read_text(begin);
        case OXAVAR_TYPE_ARRAY:
            return read_array(begin, depth);
        default:
            sink_.empty(begin, *type);
            return std::nullopt;
        }
    }

private:
    std::size_t left() const { return bytes_.size() - at_; }

    std::optional<std::uint32_t> next_word()
    {
        if (left() < kWord) {
            return std::nullopt;
        }
        std::uint32_t word = 0;
        std::memcpy(&word, bytes_.data() + at_, kWord);
        at_ += kWord;
        return word;
    }

    BrokenVariant cut(const std::string& what) const
    {
        return {at_, what + " has 4 bytes, and " + std::to_string(left()) + " are left"};
    }

    std::optional<BrokenVariant> read_word(std::size_t begin, std::uint32_t type)
    {
        const auto bits = next_word();
        if (!bits) {
            return cut("a value");
        }
        sink_.word(begin, type, *bits);
        return std::nullopt;
    }

    std::optional<BrokenVariant> read_text(std::size_t begin)
    {
        const auto length = next_word();
        if (!length) {
            return cut("the length of a text");
        }
        const std::uint64_t padded = std::uint64_t{*length} + padding_of(*length);
        if (padded > left()) {
            return BrokenVariant{at_, "a text with its padding has " + std::to_string(padded) +
                                          " bytes, and " + std::to_string(left()) + " are left"};
        }
        sink_.text(begin, bytes_.substr(at_, *length),
                   bytes_.substr(at_ + *length, padding_of(*length)));
        at_ += static_cast<std::size_t>(padded);
        return std::nullopt;
    }

    std::optional<BrokenVariant> read_array(std::size_t begin, unsigned depth)
    {
        const auto count = next_word();
        if (!count) {
            return cut("the number of elements");
        }
        if (depth == OXAVAR_DEPTH_MAX) {
            return BrokenVariant{begin, "more than " + std::to_string(OXAVAR_DEPTH_MAX) +
                                            " arrays inside one another"};
        }
        sink_.begin_array(begin, *count);
        for (std::uint32_t i = 0; i < *count; ++i) {
            if (left() == 0) {
                return BrokenVariant{at_, "the array at byte " + std::to_string(begin) + " has " +
                                              std::to_string(*count) + " elements, and " +
                                              std::to_string(i) + " are there"};
            }
            if (auto broken = read(depth + 1)) {
                return broken;
            }
        }
        sink_.end_array();
        return std::nullopt;
    }

    std::string_view bytes_;
    std::size_t& at_;
    VariantSink& sink_;
};

}  // namespace

std::optional<BrokenVariant> read_variant(std::string_view bytes, std::size_t& at,
                                          VariantSink& sink)
{
    return VariantReader(bytes, at, sink).read();
}

}  // namespace commonctl
