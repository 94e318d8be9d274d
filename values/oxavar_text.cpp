// The text of variants, for traces.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "mem_malloc.h"
#include "oxavar.h"

namespace {

constexpr std::size_t kSize = OXAVAR_TEXT_SIZE;

void print_text(char* out, const char* text) noexcept
{
    if (text == nullptr) {
        std::snprintf(out, kSize, "(null)");
    } else if (std::strlen(text) + 3 >= kSize) {
        // The width is part of the format that readers of traces know: a text of 1021 or 1022
        // characters stands at the right, behind blanks.
        constexpr int kAll = kSize - 1;
        std::snprintf(out, kSize, "%*.*s", kAll, kAll, text);
    } else {
        std::snprintf(out, kSize, "\"%s\"", text);
    }
}

/// An element goes in if ten characters are left behind it. That keeps room for the separator and
/// the brace, and is the point at which traces have always been cut.
void print_array(char* out, const COMMON_OXAVar& array) noexcept
{
    constexpr std::size_t kSpare = 10;
    const std::uint32_t count = array.value.elements == nullptr ? 0 : array.count;
    std::size_t end = 0;
    out[end++] = '{';
    for (std::uint32_t index = 0; index < count; ++index) {
        char* const text = COMMON_OXAVarToString(&array.value.elements[index]);
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
    switch (var->type) {
    case OXAVAR_TYPE_INT:
        std::snprintf(out, kSize, "%d", static_cast<int>(var->value.integer));
        break;
    case OXAVAR_TYPE_FLOAT:
        std::snprintf(out, kSize, "%f", static_cast<double>(var->value.real));
        break;
    case OXAVAR_TYPE_STRING:
        print_text(out, var->value.text);
        break;
    case OXAVAR_TYPE_PVOID:
        std::snprintf(out, kSize, "%p", var->value.pointer);
        break;
    case OXAVAR_TYPE_ARRAY:
        print_array(out, *var);
        break;
    default:
        std::snprintf(out, kSize, "unknown (type=%d)", static_cast<int>(var->type));
        break;
    }
    return out;
}
