#include "values/regexp_shorthands.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>

#include "mem_malloc.h"
#include "values/regexp_text.h"

namespace common::regexp {
namespace {

struct Conversion {
    char shorthand[3];
    char expansion[16];
};

// The order counts: the \W that \b brings is rewritten by the last row.
//
// Oddity: \b is a group that takes a character with it, and callers count the group.
// Test: RegExp.BoundaryIsAGroup.
constexpr Conversion kConversions[] = {
    {"\\s", "[[:space:]]"}, {"\\w", "[a-zA-Z_0-9]"},  {"\\d", "[[:digit:]]"},
    {"\\b", "(^|\\W|$)"},   {"\\W", "[^a-zA-Z_0-9]"},
};

/// Whether one pass for each row is all: no expansion brings a shorthand of its own or an earlier
/// row, or makes one with what is next to it.
constexpr bool is_one_pass_enough() noexcept
{
    for (const Conversion* row = kConversions; row != std::end(kConversions); ++row) {
        const std::string_view expansion(row->expansion);
        for (const Conversion* other = kConversions; other != std::end(kConversions); ++other) {
            const std::string_view shorthand(other->shorthand);
            if (shorthand.size() != 2 || expansion.front() == shorthand.back() ||
                expansion.back() == shorthand.front() ||
                (other <= row && expansion.find(shorthand) != std::string_view::npos)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(is_one_pass_enough());

char* convert(const char* pattern, const Conversion& conversion) noexcept
{
    GrowingText text;
    for (const char* found = nullptr;
         (found = std::strstr(pattern, conversion.shorthand)) != nullptr;
         pattern = found + std::strlen(conversion.shorthand)) {
        text.append({pattern, static_cast<std::size_t>(found - pattern)});
        text.append(conversion.expansion);
    }
    text.append(pattern);
    return text.take();
}

}  // namespace

char* rewrite(const char* pattern) noexcept
{
    char* text = nullptr;
    for (const Conversion& conversion : kConversions) {
        char* const next = convert(text == nullptr ? pattern : text, conversion);
        MEM_Free(text);
        text = next;
    }
    return text;
}

}  // namespace common::regexp
