#include "oxavar.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mem_malloc.h"
#include "values/variant_types.h"

// Callers reach count and the element block themselves.
static_assert(offsetof(COMMON_OXAVar, type) == 0);
static_assert(offsetof(COMMON_OXAVar, count) == 4);
static_assert(offsetof(COMMON_OXAVar, value) == 8);
static_assert(sizeof(COMMON_OXAVar) == 8 + sizeof(void*));
static_assert(sizeof(COMMON_OXAVar::value) == sizeof(void*));

namespace {

using common::variant::Type;

/// The bytes of so many elements; 0 when no block can be that large, or for none.
std::uint32_t block_size(std::uint32_t count) noexcept
{
    return count > UINT32_MAX / sizeof(COMMON_OXAVar)
               ? 0
               : static_cast<std::uint32_t>(count * sizeof(COMMON_OXAVar));
}

/// Releases what variants own and leaves their words as they are.
void release(const COMMON_OXAVar* vars, std::uint32_t count) noexcept
{
    for (const COMMON_OXAVar* var = vars; var != vars + count; ++var) {
        switch (Type{var->type}) {
        case Type::None:
        case Type::Int:
        case Type::Float:
        case Type::Pointer:
            break;
        case Type::Text:
            MEM_Free(var->value.text);
            break;
        case Type::Array:
            if (var->value.elements != nullptr) {
                release(var->value.elements, var->count);
                MEM_Free(var->value.elements);
            }
            break;
        }
    }
}

/// An array of empty elements; of none when there is no block for them.
COMMON_OXAVar make_array(std::uint32_t count) noexcept
{
    COMMON_OXAVar array{};
    array.type = OXAVAR_TYPE_ARRAY;
    const std::uint32_t size = block_size(count);
    if (size != 0) {
        array.value.elements = static_cast<COMMON_OXAVar*>(MEM_Salloc(size));
        array.count = array.value.elements == nullptr ? 0 : count;
    }
    return array;
}

/// Gives variants whose words were copied a copy of what the words own.
void own_copies(COMMON_OXAVar* vars, std::uint32_t count) noexcept;

void own_elements(COMMON_OXAVar& array) noexcept
{
    const COMMON_OXAVar* const source = array.value.elements;
    const std::uint32_t size = block_size(array.count);
    if (size == 0 || source == nullptr) {
        array = make_array(array.count);
        return;
    }
    // Every element is copied over: no need for zeroes.
    auto* const elements = static_cast<COMMON_OXAVar*>(MEM_Malloc(size));
    if (elements == nullptr) {
        array = make_array(0);
        return;
    }
    std::memcpy(elements, source, size);
    own_copies(elements, array.count);
    array.value.elements = elements;
}

void own_copies(COMMON_OXAVar* vars, std::uint32_t count) noexcept
{
    for (COMMON_OXAVar* var = vars; var != vars + count; ++var) {
        switch (Type{var->type}) {
        case Type::None:
        case Type::Int:
        case Type::Float:
        case Type::Pointer:
            break;
        case Type::Text:
            var->value.text = COMMON_OXA_strdup(var->value.text);
            break;
        case Type::Array:
            own_elements(*var);
            break;
        }
    }
}

/// Gives a variant a new content. The old one goes last: the new one may have been made from it.
COMMON_OXAVar* replace(COMMON_OXAVar* var, const COMMON_OXAVar& content) noexcept
{
    const COMMON_OXAVar old = *var;
    *var = content;
    release(&old, 1);
    return var;
}

COMMON_OXAVar text_variant(char* text) noexcept
{
    COMMON_OXAVar content{};
    content.type = OXAVAR_TYPE_STRING;
    content.value.text = text;
    return content;
}

/// A block of length + 1 bytes, filled up with zeroes; null when there can be none.
char* copy_of_at_most(const char* text, std::uint32_t length) noexcept
{
    if (text == nullptr || length == UINT32_MAX) {
        return nullptr;
    }
    auto* const copy = static_cast<char*>(MEM_Malloc(length + 1));
    if (copy != nullptr) {
        const std::size_t held = strnlen(text, length);
        std::memcpy(copy, text, held);
        copy[length] = '\0';
        if (held != length) {
            std::memset(copy + held, 0, length - held);
        }
    }
    return copy;
}

}  // namespace

extern "C" {

char* COMMON_OXA_strdup(const char* text)
{
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    char* const copy = size > UINT32_MAX
                           ? nullptr
                           : static_cast<char*>(MEM_Malloc(static_cast<std::uint32_t>(size)));
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

COMMON_OXAVar* COMMON_OXAVarAlloc(void)
{
    return static_cast<COMMON_OXAVar*>(MEM_Salloc(sizeof(COMMON_OXAVar)));
}

COMMON_OXAVar* COMMON_OXAVarClear(COMMON_OXAVar* var)
{
    if (var != nullptr) {
        release(var, 1);
        *var = {};
    }
    return var;
}

void COMMON_OXAVarFree(COMMON_OXAVar* var)
{
    MEM_Free(COMMON_OXAVarClear(var));
}

COMMON_OXAVar* COMMON_OXAVarArrayAllocAt(COMMON_OXAVar* var, uint32_t count)
{
    COMMON_OXAVar* const array = var == nullptr ? COMMON_OXAVarAlloc() : COMMON_OXAVarClear(var);
    if (array != nullptr) {
        *array = make_array(count);
    }
    return array;
}

COMMON_OXAVar* COMMON_OXAVarArrayAlloc(uint32_t count)
{
    return COMMON_OXAVarArrayAllocAt(nullptr, count);
}

COMMON_OXAVar* COMMON_OXAVarCopy(COMMON_OXAVar* dst, const COMMON_OXAVar* src)
{
    if (dst == nullptr || src == nullptr) {
        return dst;
    }
    // Oddity: the destination counts as cleared before anything is copied, and callers empty a
    // variant by copying it onto itself. Test: OXAVar.CopyOntoItselfIsEmpty.
    if (dst == src) {
        return COMMON_OXAVarClear(dst);
    }
    COMMON_OXAVar content = *src;
    own_copies(&content, 1);
    return replace(dst, content);
}

COMMON_OXAVar* COMMON_OXAVarArrayRealloc(COMMON_OXAVar* var, uint32_t count)
{
    if (var == nullptr || var->type != OXAVAR_TYPE_ARRAY) {
        return var;
    }
    const COMMON_OXAVar resized = make_array(count);
    // The kept elements move with all that they own, which nobody can tell from a copy.
    COMMON_OXAVar* const old = var->value.elements;
    const std::uint32_t held = old == nullptr ? 0 : var->count;
    const std::uint32_t kept = std::min(resized.count, held);
    if (kept != 0) {
        std::memcpy(resized.value.elements, old, kept * sizeof *old);
    }
    if (kept < held) {
        release(old + kept, held - kept);
    }
    MEM_Free(old);
    *var = resized;
    return var;
}

COMMON_OXAVar* COMMON_OXAVarSetInt(COMMON_OXAVar* var, int32_t integer)
{
    if (COMMON_OXAVarClear(var) != nullptr) {
        var->type = OXAVAR_TYPE_INT;
        var->value.integer = integer;
    }
    return var;
}

COMMON_OXAVar* COMMON_OXAVarSetFloat(COMMON_OXAVar* var, float real)
{
    if (COMMON_OXAVarClear(var) != nullptr) {
        var->type = OXAVAR_TYPE_FLOAT;
        var->value.real = real;
    }
    return var;
}

COMMON_OXAVar* COMMON_OXAVarSetString(COMMON_OXAVar* var, const char* text)
{
    return var == nullptr ? nullptr : replace(var, text_variant(COMMON_OXA_strdup(text)));
}

COMMON_OXAVar* COMMON_OXAVarSetStringN(COMMON_OXAVar* var, const char* text, uint32_t len)
{
    return var == nullptr ? nullptr : replace(var, text_variant(copy_of_at_most(text, len)));
}

COMMON_OXAVar* COMMON_OXAVarSetPVoid(COMMON_OXAVar* var, void* pointer)
{
    if (COMMON_OXAVarClear(var) != nullptr) {
        var->type = OXAVAR_TYPE_PVOID;
        var->value.pointer = pointer;
    }
    return var;
}

int32_t COMMON_OXAVarGetInt(const COMMON_OXAVar* var)
{
    return var != nullptr && var->type == OXAVAR_TYPE_INT ? var->value.integer : 0;
}

float COMMON_OXAVarGetFloat(const COMMON_OXAVar* var)
{
    return var != nullptr && var->type == OXAVAR_TYPE_FLOAT ? var->value.real : 0.0F;
}

char* COMMON_OXAVarGetString(const COMMON_OXAVar* var)
{
    return var != nullptr && var->type == OXAVAR_TYPE_STRING ? var->value.text : nullptr;
}

void* COMMON_OXAVarGetPVoid(const COMMON_OXAVar* var)
{
    return var != nullptr && var->type == OXAVAR_TYPE_PVOID ? var->value.pointer : nullptr;
}

}  // extern "C"
