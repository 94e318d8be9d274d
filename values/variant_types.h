// The types of variants: one list, from which all that asks for a type expands or is counted by the
// compiler. A type or a form that a switch forgets stops the build.
#pragma once

#include <cstdint>

#include "oxavar.h"

#pragma GCC diagnostic error "-Wswitch"
#pragma GCC diagnostic error "-Wswitch-enum"

/// What a variant has in its last word, and how it is written. In the order in which they are
/// looked for: frequent ones first.
#define VARIANT_FORMS(X)                                          \
    X(Word)  /* 32 bits, or a pointer whose low 32 bits travel */ \
    X(Text)  /* owned; its length and its padded bytes travel */  \
    X(Array) /* owned, with all that the elements own */

/// The name of a type, its number in the interface, and its form.
#define VARIANT_TYPES(X)                \
    X(None, OXAVAR_TYPE_NONE, Empty)    \
    X(Int, OXAVAR_TYPE_INT, Word)       \
    X(Float, OXAVAR_TYPE_FLOAT, Word)   \
    X(Text, OXAVAR_TYPE_STRING, Text)   \
    X(Pointer, OXAVAR_TYPE_PVOID, Word) \
    X(Array, OXAVAR_TYPE_ARRAY, Array)

namespace common::variant {

/// A type, or any other number: callers and senders write what they like. So no switch over it has
/// a default: what is unknown comes out behind it.
enum class Type : std::uint32_t {
#define ENUMERATOR(name, number, form) name = (number),
    VARIANT_TYPES(ENUMERATOR)
#undef ENUMERATOR
};

/// Empty is also the form of unknown types.
enum class Form {
    Empty,
#define ENUMERATOR(form) form,
    VARIANT_FORMS(ENUMERATOR)
#undef ENUMERATOR
};

/// Whether a type is one of those of a form.
constexpr bool has_form(std::uint32_t type, Form wanted) noexcept
{
    bool is = false;
#define LOOK(name, number, form) is = is || (Form::form == wanted && type == (number));
    VARIANT_TYPES(LOOK)  // GCOVR_EXCL_BR_LINE can't happen: a row has the form that it has
#undef LOOK
    return is;
}

constexpr Form form_of(std::uint32_t type) noexcept
{
#define LOOK(form)                    \
    if (has_form(type, Form::form)) { \
        return Form::form;            \
    }
    VARIANT_FORMS(LOOK)
#undef LOOK
    return Form::Empty;
}

constexpr bool is_owned(Form form) noexcept
{
    switch (form) {
    case Form::Empty:
    case Form::Word:
        break;
    case Form::Text:
    case Form::Array:
        return true;
    }
    return false;
}

/// Whether variants of a type own a block, if they have one.
constexpr bool owns_block(std::uint32_t type) noexcept
{
    bool owns = false;
#define LOOK(name, number, form) owns = owns || (is_owned(Form::form) && type == (number));
    VARIANT_TYPES(LOOK)  // GCOVR_EXCL_BR_LINE can't happen: a row has the form that it has
#undef LOOK
    return owns;
}

// The interface has no type that the list has not.
static_assert([](decltype(OXAVAR_TYPE_NONE) type) {
    switch (type) {
#define LISTED(name, number, form) case number:
        VARIANT_TYPES(LISTED)
#undef LISTED
        return true;
    }
    return false;
}(OXAVAR_TYPE_NONE));

}  // namespace common::variant
