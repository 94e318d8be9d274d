// Variants for tests: one that frees itself, and the bytes of a serialised form.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "mem_malloc.h"
#include "oxavar.h"

struct FreeVariant {
    void operator()(COMMON_OXAVar* var) const { COMMON_OXAVarFree(var); }
};
using Variant = std::unique_ptr<COMMON_OXAVar, FreeVariant>;

inline Variant empty_variant()
{
    return Variant(COMMON_OXAVarAlloc());
}

inline Variant array_variant(std::uint32_t count)
{
    return Variant(COMMON_OXAVarArrayAlloc(count));
}

inline Variant text_variant(const std::string& text)
{
    return Variant(COMMON_OXAVarSetString(COMMON_OXAVarAlloc(), text.c_str()));
}

inline bool is_empty(const COMMON_OXAVar& var)
{
    return var.type == OXAVAR_TYPE_NONE && var.count == 0 && var.value.word == 0;
}

/// An opaque pointer with these bits.
inline void* pointer_of(std::uintptr_t bits)
{
    return std::bit_cast<void*>(bits);
}

using Bytes = std::vector<std::uint8_t>;

/// One word in the byte order of the machine.
inline Bytes word(std::uint32_t value)
{
    Bytes bytes(4);
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

inline Bytes joined(std::initializer_list<Bytes> pieces)
{
    Bytes all;
    for (const Bytes& piece : pieces) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

/// What a form begins with: its type, and its value, length or count.
inline Bytes head(std::uint32_t type, std::uint32_t number)
{
    return joined({word(type), word(number)});
}

/// The serialised form, written into a buffer that has exactly its size.
inline Bytes serialized(const COMMON_OXAVar& var)
{
    Bytes bytes(COMMON_OXAVarGetSerializedSize(&var));
    bytes.resize(
        COMMON_OXAVarSerialize(bytes.data(), &var, static_cast<std::uint32_t>(bytes.size())));
    return bytes;
}

/// The text of a variant.
inline std::string shown(const COMMON_OXAVar& var)
{
    char* const text = COMMON_OXAVarToString(&var);
    std::string copy(text);
    MEM_Free(text);
    return copy;
}
