// The serialised form of variants.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "mem_malloc.h"
#include "oxavar.h"
#include "values/variant_blocks.h"
#include "values/variant_types.h"

namespace {

using common::variant::copy_of_at_most;
using common::variant::Form;
using common::variant::form_of;
using common::variant::has_form;
using common::variant::new_array;
using common::variant::Type;
using common::variant::word_of;

constexpr std::size_t kWord = 4;
constexpr std::size_t kHead = 2 * kWord;  // the type, and a value, a length or a count

constexpr std::uint64_t padded(std::uint64_t length) noexcept
{
    return (length + (kWord - 1)) & ~std::uint64_t{kWord - 1};
}

// Writing.

/// The lengths of the first texts, in the order of writing: found once, used twice.
class TextLengths {
public:
    std::size_t find(const COMMON_OXAVar& text) noexcept
    {
        const std::size_t length = text.value.text == nullptr ? 0 : std::strlen(text.value.text);
        if (known_ < kMost) {
            lengths_[known_++] = length;
        }
        return length;
    }

    std::size_t next(const COMMON_OXAVar& text) noexcept
    {
        if (next_ < known_) {
            return lengths_[next_++];
        }
        return text.value.text == nullptr ? 0 : std::strlen(text.value.text);
    }

private:
    static constexpr unsigned kMost = 16;
    std::size_t lengths_[kMost];
    unsigned known_ = 0;
    unsigned next_ = 0;
};

/// The elements of an array; none when it has no block.
std::span<const COMMON_OXAVar> elements_of(const COMMON_OXAVar& array) noexcept
{
    return {array.value.elements, array.value.elements == nullptr ? 0 : array.count};
}

std::uint64_t serialized_size(std::span<const COMMON_OXAVar> vars, TextLengths& lengths) noexcept
{
    std::uint64_t size = 0;
    for (const COMMON_OXAVar& var : vars) {
        switch (form_of(var.type)) {
        case Form::Empty:
            size += kWord;
            break;
        case Form::Word:
            size += kHead;
            break;
        case Form::Text:
            size += kHead + padded(lengths.find(var));
            break;
        case Form::Array:
            size += kHead + serialized_size(elements_of(var), lengths);
            break;
        }
    }
    return size;
}

unsigned char* write_word(unsigned char* at, std::uint32_t word) noexcept
{
    std::memcpy(at, &word, kWord);
    return at + kWord;
}

/// Of a pointer the low 32 bits, so that both word sizes write the same.
std::uint32_t value_word(const COMMON_OXAVar& var) noexcept
{
    if (Type{var.type} == Type::Pointer) {
        return static_cast<std::uint32_t>(var.value.word);
    }
    std::uint32_t word = 0;
    std::memcpy(&word, &var.value, kWord);
    return word;
}

/// The padding first, as a whole word under the end of the text.
unsigned char* write_text(unsigned char* at, const char* text, std::size_t length) noexcept
{
    at = write_word(at, static_cast<std::uint32_t>(length));
    if (length == 0) {
        return at;
    }
    const auto room = static_cast<std::size_t>(padded(length));
    write_word(at + room - kWord, 0);
    std::memcpy(at, text, length);
    return at + room;
}

/// Writes where there is room for it, and returns where the next byte goes.
unsigned char* write(unsigned char* at, std::span<const COMMON_OXAVar> vars,
                     TextLengths& lengths) noexcept
{
    for (const COMMON_OXAVar& var : vars) {
        switch (form_of(var.type)) {
        case Form::Empty:
            at = write_word(at, OXAVAR_TYPE_NONE);
            break;
        case Form::Word:
            at = write_word(write_word(at, var.type), value_word(var));
            break;
        case Form::Text:
            at = write_text(write_word(at, var.type), var.value.text, lengths.next(var));
            break;
        case Form::Array:
            at = write_word(write_word(at, var.type), var.count);
            at = write(at, elements_of(var), lengths);
            break;
        }
    }
    return at;
}

// Reading.

std::uint32_t word_at(const unsigned char* at) noexcept
{
    std::uint32_t word = 0;
    std::memcpy(&word, at, kWord);
    return word;
}

/// The bits go in as they are: as a float they might change on their way through a register.
COMMON_OXAVar plain_variant(std::uint32_t type, std::uint32_t bits) noexcept
{
    return {type, 0, {Type{type} == Type::Pointer ? std::uintptr_t{bits} : word_of(bits)}};
}

/// What is read, and the result: how many bytes, or why not.
struct Read {
    std::size_t bytes;
    STATUS status = STATUS_SUCCESS;
};

constexpr std::size_t kUnknown = SIZE_MAX;

template <bool kBounded>
Read read(const unsigned char* at, std::size_t size, COMMON_OXAVar& var, unsigned depth) noexcept;

/// Reads the elements of an array whose head has been read; `size` is what is left for them.
///
/// Each element leaves the least that those behind it need. So all arrays together have no more
/// elements than the bytes have words, however large the numbers that they announce.
template <bool kBounded>
Read read_elements(const unsigned char* at, std::size_t size, COMMON_OXAVar& array,
                   unsigned depth) noexcept
{
    const unsigned char* const begin = at;
    COMMON_OXAVar* const elements = array.value.elements;
    COMMON_OXAVar* const end = elements + array.count;
    std::size_t spare = kBounded ? size - array.count * kWord : kUnknown;
    for (COMMON_OXAVar* element = elements; element != end; ++element) {
        const std::size_t room = kBounded ? spare + kWord : kUnknown;
        std::size_t bytes = kHead;
        if (room >= kHead && has_form(word_at(at), Form::Word)) {
            *element = plain_variant(word_at(at), word_at(at + kWord));
        } else {
            const Read result = read<kBounded>(at, room, *element, depth);
            if (kBounded && result.status != STATUS_SUCCESS) {
                array.count = static_cast<std::uint32_t>(element - elements) + 1;
                return result;
            }
            bytes = result.bytes;
        }
        at += bytes;
        spare -= kBounded ? bytes - kWord : 0;
    }
    return {static_cast<std::size_t>(at - begin)};
}

template <bool kBounded>
Read read_text(const unsigned char* at, std::size_t size, COMMON_OXAVar& var) noexcept
{
    const std::uint32_t length = word_at(at + kWord);
    const std::uint64_t room = padded(length);
    if (kBounded && room > size - kHead) {
        return {0, STATUS_FAILED};
    }
    const auto* const text = reinterpret_cast<const char*>(at + kHead);
    var = {OXAVAR_TYPE_STRING, 0, {.text = copy_of_at_most(text, length)}};
    return {static_cast<std::size_t>(kHead + room)};
}

template <bool kBounded>
Read read_array(const unsigned char* at, std::size_t size, COMMON_OXAVar& var,
                unsigned depth) noexcept
{
    const std::uint32_t count = word_at(at + kWord);
    if constexpr (kBounded) {
        if (depth == OXAVAR_DEPTH_MAX) {
            return {0, STATUS_NOT_SUPPORTED};
        }
        if (count > (size - kHead) / kWord) {
            return {0, STATUS_FAILED};
        }
    }
    // Every element is written: no need for zeroes.
    var = new_array(count, MEM_Malloc);
    if (var.count != count) {
        return {kHead, STATUS_NO_RESOURCES};
    }
    Read result = read_elements<kBounded>(at + kHead, size - kHead, var, depth + 1);
    result.bytes += kHead;
    return result;
}

/// Reads a value into a variant, whatever is in its words. When it fails, the variant holds what
/// was read until then.
template <bool kBounded>
Read read(const unsigned char* at, std::size_t size, COMMON_OXAVar& var, unsigned depth) noexcept
{
    if (kBounded) {
        var = {};  // what most failures leave
    }
    if (kBounded && size < kWord) {
        return {0, STATUS_FAILED};
    }
    const std::uint32_t type = word_at(at);
    const Form form = form_of(type);
    if (kBounded && form != Form::Empty && size < kHead) {
        return {0, STATUS_FAILED};
    }
    switch (form) {
    case Form::Empty:
        break;
    case Form::Word:
        var = plain_variant(type, word_at(at + kWord));
        return {kHead};
    case Form::Text:
        return read_text<kBounded>(at, size, var);
    case Form::Array:
        return read_array<kBounded>(at, size, var, depth);
    }
    var = {};
    return {kWord};
}

}  // namespace

extern "C" {

uint32_t COMMON_OXAVarGetSerializedSize(const COMMON_OXAVar* var)
{
    if (var == nullptr) {
        return 0;
    }
    TextLengths lengths;
    const std::uint64_t size = serialized_size({var, 1}, lengths);
    return size > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(size);
}

uint32_t COMMON_OXAVarSerialize(void* buffer, const COMMON_OXAVar* var, uint32_t size)
{
    TextLengths lengths;
    if (buffer == nullptr || var == nullptr || serialized_size({var, 1}, lengths) > size) {
        return 0;
    }
    auto* const begin = static_cast<unsigned char*>(buffer);
    return static_cast<std::uint32_t>(write(begin, {var, 1}, lengths) - begin);
}

uint32_t COMMON_OXAVarDeserialize(const void* buffer, COMMON_OXAVar* var)
{
    if (COMMON_OXAVarClear(var) == nullptr || buffer == nullptr) {
        return 0;
    }
    const Read result = read<false>(static_cast<const unsigned char*>(buffer), kUnknown, *var, 0);
    return static_cast<std::uint32_t>(result.bytes);
}

STATUS COMMON_OXAVarDeserializeBounded(const void* buffer, uint32_t size, COMMON_OXAVar* var,
                                       uint32_t* consumed)
{
    if (consumed != nullptr) {
        *consumed = 0;
    }
    if (COMMON_OXAVarClear(var) == nullptr || buffer == nullptr) {
        return STATUS_INVALID_PARAM;
    }
    const Read result = read<true>(static_cast<const unsigned char*>(buffer), size, *var, 0);
    if (result.status != STATUS_SUCCESS) {
        COMMON_OXAVarClear(var);
        return result.status;
    }
    if (consumed != nullptr) {
        *consumed = static_cast<std::uint32_t>(result.bytes);
    }
    return STATUS_SUCCESS;
}

}  // extern "C"
