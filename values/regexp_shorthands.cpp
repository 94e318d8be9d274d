#include "values/regexp_shorthands.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "mem_malloc.h"
#include "values/regexp_text.h"

namespace {

struct Conversion {
    std::string_view shorthand;
    std::string_view expansion;
};

// The order is part of the design: \b brings a \W that the last row rewrites. No expansion starts
// or ends in a way that makes a shorthand with what is next to it, so one pass for each row is all.
constexpr Conversion perlConversions[] = {
    {"\\s", "[[:space:]]"}, {"\\w", "[a-zA-Z_0-9]"},  {"\\d", "[[:digit:]]"},
    {"\\b", "(^|\\W|$)"},   {"\\W", "[^a-zA-Z_0-9]"},
};

char* convert(const char* pattern, const Conversion& conversion) noexcept
{
    common::GrowingText text;
    for (const char* found = nullptr;
         (found = std::strstr(pattern, conversion.shorthand.data())) != nullptr;
         pattern = found + conversion.shorthand.size()) {
        text.append({pattern, static_cast<std::size_t>(found - pattern)});
        text.append(conversion.expansion);
    }
    text.append(pattern);
    return text.take();
}

}  // namespace

char* regexp_rewrite(const char* pattern) noexcept
{
    char* text = nullptr;
    for (const Conversion& conversion : perlConversions) {
        char* const next = convert(text == nullptr ? pattern : text, conversion);
        MEM_Free(text);
        text = next;
    }
    return text;
}
