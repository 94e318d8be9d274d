#include <algorithm>
#include <bit>

#include <common/oxavar.h>

#include "codes/hex_text.h"
#include "codes/utf8.h"
#include "codes/variant_text.h"
#include "codes/variant_words.h"

namespace commonctl {
namespace {

/// In quotes; what is no character to be shown, as the escape of its bytes.
std::string quoted(std::string_view text)
{
    std::string result = "\"";
    while (!text.empty()) {
        const std::size_t length = std::max<std::size_t>(1, utf8_length(text));
        const auto first = static_cast<unsigned char>(text[0]);
        // Also the controls that UTF-8 writes with two bytes, 0xc2 0x80 to 0xc2 0x9f.
        const bool shown = length == 1
                               ? first >= 0x20 && first < 0x7f
                               : first != 0xc2 || static_cast<unsigned char>(text[1]) >= 0xa0;
        for (const char c : text.substr(0, length)) {
            if (!shown) {
                result += "\\x" + hex_of({&c, 1});
            } else {
                result += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
            }
        }
        text.remove_prefix(length);
    }
    return result + "\"";
}

std::string float_words(std::uint32_t bits)
{
    if (is_finite_float(bits)) {
        return float_text(bits);
    }
    const bool infinite = (bits & 0x007fffff) == 0;
    return std::string(infinite ? (bits >> 31 != 0 ? "-infinite" : "infinite") : "no number") +
           " (" + word_text(bits) + ")";
}

}  // namespace

VariantTree::VariantTree(std::size_t size) : width_(std::to_string(size).size()) {}

void VariantTree::line(std::size_t at, const std::string& what)
{
    const std::string place = std::to_string(at);
    text_.append(width_ - std::min(width_, place.size()), ' ');
    text_ += place;
    text_.append(2 + 2 * depth_, ' ');
    text_ += what + "\n";
}

void VariantTree::word(std::size_t at, std::uint32_t type, std::uint32_t bits)
{
    line(at, type == OXAVAR_TYPE_INT ? "integer " + std::to_string(static_cast<std::int32_t>(bits))
             : type == OXAVAR_TYPE_FLOAT ? "float " + float_words(bits)
                                         : "pointer " + word_text(bits));
}

void VariantTree::text(std::size_t at, std::string_view text, std::string_view padding)
{
    std::string notes;
    if (text.find('\0') != std::string_view::npos) {
        notes += ", read up to its first zero byte";
    }
    if (padding.find_first_not_of('\0') != std::string_view::npos) {
        notes += ", padding " + hex_of(padding);
    }
    line(at, "text " + quoted(text) + " (" + std::to_string(text.size()) +
                 (text.size() == 1 ? " byte" : " bytes") + notes + ")");
}

void VariantTree::empty(std::size_t at, std::uint32_t type)
{
    line(at, type == OXAVAR_TYPE_NONE ? "empty"
                                      : "unknown type " + std::to_string(type) + ", read as empty");
}

void VariantTree::begin_array(std::size_t at, std::uint32_t count)
{
    line(at, "array of " + std::to_string(count));
    ++depth_;
}

void VariantTree::end_array()
{
    --depth_;
}

void VariantTree::end(const std::optional<BrokenVariant>& broken)
{
    if (broken) {
        line(broken->at, "broken: " + broken->why);
    }
    depth_ = 0;
}

}  // namespace commonctl
