#include "oxavar.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mem_malloc.h"
#include "values/variant_blocks.h"
#include "values/variant_types.h"

// Callers reach count and the element block themselves.
static_assert(offsetof(COMMON_OXAVar, type) == 0);
static_assert(offsetof(COMMON_OXAVar, count) == 4);
static_assert(offsetof(COMMON_OXAVar, value) == 8);
static_assert(sizeof(COMMON_OXAVar) == 8 + sizeof(void*));
static_assert(sizeof(COMMON_OXAVar::value) == sizeof(void*));

namespace common::variant {
namespace {

void release_block(const COMMON_OXAVar& owner) noexcept;

/// Releases what a variant owns and leaves its words as they are.
void release(const COMMON_OXAVar& var) noexcept
{
    if (owns_block(var.type)) {
        release_block(var);
    }
}

/// Out of line, so that setting a variant that owns nothing is short.
[[gnu::noinline]] void release_block(const COMMON_OXAVar& owner) noexcept
{
    switch (form_of(owner.type)) {  // GCOVR_EXCL_BR_LINE can't happen: no other forms
    // GCOVR_EXCL_START can't happen: it owns a block
    case Form::Empty:
    case Form::Word:
        return;
    // GCOVR_EXCL_STOP
    case Form::Text:
        MEM_Free(owner.value.text);
        return;
    case Form::Array:
        break;
    }
    COMMON_OXAVar* const elements = owner.value.elements;
    if (elements != nullptr) {
        for (const COMMON_OXAVar* var = elements; var != elements + owner.count; ++var) {
            release(*var);
        }
        MEM_Free(elements);
    }
}

/// Gives variants whose words were copied a copy of what the words own.
void own_copies(COMMON_OXAVar* vars, std::uint32_t count) noexcept;

void own_elements(COMMON_OXAVar& array) noexcept
{
    const COMMON_OXAVar source = array;
    if (source.value.elements == nullptr) {
        array = new_array(source.count, MEM_Salloc);
        return;
    }
    // Every element is copied over: no need for zeroes.
    array = new_array(source.count, MEM_Malloc);
    if (array.count != 0) {
        std::memcpy(array.value.elements, source.value.elements,
                    array.count * sizeof(COMMON_OXAVar));
        own_copies(array.value.elements, array.count);
    }
}

void own_copies(COMMON_OXAVar* vars, std::uint32_t count) noexcept
{
    for (COMMON_OXAVar* var = vars; var != vars + count; ++var) {
        switch (form_of(var->type)) {  // GCOVR_EXCL_BR_LINE can't happen: no other forms
        case Form::Empty:
        case Form::Word:
            break;
        case Form::Text:
            var->value.text = COMMON_OXA_strdup(var->value.text);
            break;
        case Form::Array:
            own_elements(*var);
            break;
        }
    }
}

/// Gives a variant a new content. The old one goes last: the new one may have been made from it.
[[gnu::noinline]] COMMON_OXAVar* replace(COMMON_OXAVar* var, const COMMON_OXAVar& content) noexcept
{
    const COMMON_OXAVar old = *var;
    *var = content;
    release(old);
    return var;
}

/// The same for a content that is no array. Short when nothing was owned, as it mostly is.
COMMON_OXAVar* set(COMMON_OXAVar* var, std::uint32_t type, std::uintptr_t word) noexcept
{
    if (var == nullptr) [[unlikely]] {
        return nullptr;
    }
    if (owns_block(var->type)) [[unlikely]] {
        return replace(var, {type, 0, {word}});
    }
    var->type = type;
    var->count = 0;
    var->value.word = word;
    return var;
}

COMMON_OXAVar* set_text(COMMON_OXAVar* var, char* text) noexcept
{
    return set(var, OXAVAR_TYPE_STRING, reinterpret_cast<std::uintptr_t>(text));
}

}  // namespace

COMMON_OXAVar new_array(std::uint32_t count, void* (*allocate)(std::uint32_t)) noexcept
{
    COMMON_OXAVar array{OXAVAR_TYPE_ARRAY, 0, {}};
    if (count != 0 && count <= UINT32_MAX / sizeof(COMMON_OXAVar)) {
        const auto size = static_cast<std::uint32_t>(count * sizeof(COMMON_OXAVar));
        array.value.elements = static_cast<COMMON_OXAVar*>(allocate(size));
        array.count = array.value.elements == nullptr ? 0 : count;
    }
    return array;
}

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

}  // namespace common::variant

using namespace common::variant;

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
    return set(var, OXAVAR_TYPE_NONE, 0);
}

void COMMON_OXAVarFree(COMMON_OXAVar* var)
{
    if (var != nullptr) {
        release(*var);
        MEM_Free(var);
    }
}

COMMON_OXAVar* COMMON_OXAVarArrayAllocAt(COMMON_OXAVar* var, uint32_t count)
{
    auto* array = var;
    if (var == nullptr) {
        array = static_cast<COMMON_OXAVar*>(MEM_Malloc(sizeof(COMMON_OXAVar)));
    } else {
        release(*var);
    }
    if (array != nullptr) {
        *array = new_array(count, MEM_Salloc);
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
    const COMMON_OXAVar resized = new_array(count, MEM_Malloc);
    // The kept elements move with all that they own, which nobody can tell from a copy.
    COMMON_OXAVar* const old = var->value.elements;
    const std::uint32_t held = old == nullptr ? 0 : var->count;
    const std::uint32_t kept = std::min(resized.count, held);
    if (kept != 0) {
        std::memcpy(resized.value.elements, old, kept * sizeof *old);
    }
    if (kept < resized.count) {
        std::memset(resized.value.elements + kept, 0, (resized.count - kept) * sizeof *old);
    }
    for (std::uint32_t index = kept; index < held; ++index) {
        release(old[index]);
    }
    MEM_Free(old);
    *var = resized;
    return var;
}

COMMON_OXAVar* COMMON_OXAVarSetInt(COMMON_OXAVar* var, int32_t integer)
{
    return set(var, OXAVAR_TYPE_INT, word_of(static_cast<std::uint32_t>(integer)));
}

COMMON_OXAVar* COMMON_OXAVarSetFloat(COMMON_OXAVar* var, float real)
{
    return set(var, OXAVAR_TYPE_FLOAT, word_of(std::bit_cast<std::uint32_t>(real)));
}

COMMON_OXAVar* COMMON_OXAVarSetString(COMMON_OXAVar* var, const char* text)
{
    return var == nullptr ? nullptr : set_text(var, COMMON_OXA_strdup(text));
}

COMMON_OXAVar* COMMON_OXAVarSetStringN(COMMON_OXAVar* var, const char* text, uint32_t len)
{
    return var == nullptr ? nullptr : set_text(var, copy_of_at_most(text, len));
}

COMMON_OXAVar* COMMON_OXAVarSetPVoid(COMMON_OXAVar* var, void* pointer)
{
    return set(var, OXAVAR_TYPE_PVOID, reinterpret_cast<std::uintptr_t>(pointer));
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
