// The text of variants, for traces.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "mem_malloc.h"
#include "oxavar.h"
#include "values/variant_types.h"

namespace {

using common::variant::Type;

constexpr std::size_t kSize = OXAVAR_TEXT_SIZE;

void print_text(char* out, const char* text) noexcept
{
    if (text == nullptr) {
        std::snprintf(out, kSize, "(null)");
    } else if (strnlen(text, kSize) + 3 >= kSize) {
        // Oddity: the width is part of the format that readers of traces know. A text of 1021 or
        // 1022 characters stands at the right, behind blanks.
        // Test: OXAVarText.LongTextsHaveNoQuotesAndAreCut.
        constexpr int kAll = kSize - 1;
        std::snprintf(out, kSize, "%*.*s", kAll, kAll, text);
    } else {
        std::snprintf(out, kSize, "\"%s\"", text);
    }
}

constexpr std::size_t length_of(std::int32_t number) noexcept
{
    std::size_t length = number < 0 ? 2 : 1;
    while ((number /= 10) != 0) {
        ++length;
    }
    return length;
}

/// How long the text of a variant is at least, without making it.
std::size_t least_length(const COMMON_OXAVar& var) noexcept
{
    constexpr auto length = [](std::string_view text) { return text.size(); };
    switch (Type{var.type}) {
    case Type::None:
        break;
    case Type::Int:
        return length_of(var.value.integer);
    case Type::Float:
        return length(std::isfinite(var.value.real) ? "0.000000" : "inf");
    case Type::Text:
        return var.value.text == nullptr ? length("(null)") : strnlen(var.value.text, kSize) + 2;
    case Type::Pointer:
        return length("0x1");
    case Type::Array:
        return length("{}");
    }
    return length("unknown (type=0)");
}

/// The texts of elements that have no room are not made as far as that can be told before: an array
/// may have a great many.
///
/// Oddity: an element goes in if ten characters are left behind it. That keeps room for separator
/// and brace, and is the point at which readers of traces know them to be cut.
/// Test: OXAVarText.ElementFitsWithTenCharactersToSpare.
void print_array(char* out, const COMMON_OXAVar& array) noexcept
{
    constexpr std::size_t kSpare = 10;
    const std::uint32_t count = array.value.elements == nullptr ? 0 : array.count;
    std::size_t end = 0;
    out[end++] = '{';
    // Until not even one character has room.
    for (std::uint32_t index = 0; index < count && 1 + kSpare < kSize - end; ++index) {
        const COMMON_OXAVar& element = array.value.elements[index];
        if (least_length(element) + kSpare >= kSize - end) {
            continue;
        }
        char* const text = COMMON_OXAVarToString(&element);
        const std::size_t length = text == nullptr ? kSize : std::strlen(text);
        if (length + kSpare < kSize - end) {
            if (end != 1) {
                out[end++] = ',';
                out[end++] = ' ';
            }
            std::memcpy(out + end, text, length);
            end += length;
        }
        MEM_Free(text);
    }
    out[end++] = '}';
    out[end] = '\0';
}

}  // namespace

extern "C" char* COMMON_OXAVarToString(const COMMON_OXAVar* var)
{
    auto* const out = var == nullptr ? nullptr : static_cast<char*>(MEM_Malloc(kSize));
    if (out == nullptr) {
        return nullptr;
    }
    switch (Type{var->type}) {
    case Type::None:
        break;
    case Type::Int:
        std::snprintf(out, kSize, "%d", static_cast<int>(var->value.integer));
        return out;
    case Type::Float:
        std::snprintf(out, kSize, "%f", static_cast<double>(var->value.real));
        return out;
    case Type::Text:
        print_text(out, var->value.text);
        return out;
    case Type::Pointer:
        std::snprintf(out, kSize, "%p", var->value.pointer);
        return out;
    case Type::Array:
        print_array(out, *var);
        return out;
    }
    std::snprintf(out, kSize, "unknown (type=%d)", static_cast<int>(var->type));
    return out;
}
