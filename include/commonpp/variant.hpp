/**
 * @file variant.hpp
 * Variants (oxavar.h) as values:
 *
 *     const commonpp::variant station{"Radio 1", 98.5f, {1, 2, 3}};
 *     send(station.bytes());
 *     ...
 *     const auto received = commonpp::variant::from_bytes(data, size);
 *     if (received) { for (const commonpp::variant& part : *received) { ...
 *
 * Braces make an array, but for those around a single variant, which copy it; parentheses or "="
 * make the value itself. Of numbers only int32_t, what is promoted to it (such as char and short)
 * and float are taken.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <common/mem_malloc.h>
#include <common/oxavar.h>

#include "handles.hpp"
#include "status.hpp"

namespace commonpp {

/** A value of one of these types, as large as a COMMON_OXAVar. Moved from, it is empty. */
class variant {
public:
    struct item;

    /** Empty. */
    variant() noexcept = default;
    /** An integer. */
    variant(std::int32_t integer) noexcept { COMMON_OXAVarSetInt(&record_, integer); }
    /** A float. */
    variant(float real) noexcept { COMMON_OXAVarSetFloat(&record_, real); }
    /** A copy of a text; null is a text, without one. */
    variant(const char* text) noexcept { COMMON_OXAVarSetString(&record_, text); }
    /** A copy of a text, up to its first zero byte; one of 4 GiB or more is null. */
    variant(std::string_view text) noexcept
    {
        // Not null, which an empty view may have.
        const char* const begin = text.empty() ? "" : text.data();
        COMMON_OXAVarSetStringN(&record_, begin,
                                text.size() < UINT32_MAX ? std::uint32_t(text.size()) : UINT32_MAX);
    }
    variant(double) = delete;
    variant(bool) = delete;
    variant(std::nullptr_t) = delete;
    /** An array of values, nested where there are braces again. */
    variant(std::initializer_list<item> items) noexcept;
    /** Copies. */
    variant(const variant& other) noexcept { COMMON_OXAVarCopy(&record_, &other.record_); }
    /** Takes the value over. */
    variant(variant&& other) noexcept : record_(std::exchange(other.record_, COMMON_OXAVar{})) {}
    /**
     * Takes a value, copied or moved. One may be inside the other; but what is moved into a part of
     * itself is lost.
     */
    variant& operator=(variant other) noexcept
    {
        std::swap(record_, other.record_);
        return *this;
    }
    ~variant() { COMMON_OXAVarClear(&record_); }

    /** An array of empty elements. */
    static variant array(std::uint32_t count) noexcept
    {
        variant made;
        COMMON_OXAVarArrayAllocAt(&made.record_, count);
        return made;
    }
    /** Tells what it holds. @return one of OXAVAR_TYPE_. */
    std::uint32_t type() const noexcept { return record_.type; }

    /**
     * Gives the place of the value, or null when it holds another type.
     * @tparam Value std::int32_t, float, char* (a text, which may be null) or void*.
     */
    template <class Value>
    const Value* get_if() const noexcept
    {
        if constexpr (std::is_same_v<Value, std::int32_t>) {
            return type() == OXAVAR_TYPE_INT ? &record_.value.integer : nullptr;
        } else if constexpr (std::is_same_v<Value, float>) {
            return type() == OXAVAR_TYPE_FLOAT ? &record_.value.real : nullptr;
        } else if constexpr (std::is_same_v<Value, char*>) {
            return type() == OXAVAR_TYPE_STRING ? &record_.value.text : nullptr;
        } else {
            static_assert(std::is_same_v<Value, void*>, "int32_t, float, char* or void*");
            return type() == OXAVAR_TYPE_PVOID ? &record_.value.pointer : nullptr;
        }
    }

    /** Counts the elements of an array; 0 for anything else. */
    std::uint32_t size() const noexcept { return record_.count; }
    /** The elements, to walk through: none of anything but an array. Good until it changes. */
    variant* begin() noexcept { return elements(record_); }
    /** The elements. */
    const variant* begin() const noexcept { return elements(record_); }
    /** Behind the last element. */
    variant* end() noexcept { return begin() + size(); }
    /** Behind the last element. */
    const variant* end() const noexcept { return begin() + size(); }
    /** An element. @param index below size(), which is not looked at. */
    variant& operator[](std::uint32_t index) noexcept { return begin()[index]; }
    /** An element. @param index below size(), which is not looked at. */
    const variant& operator[](std::uint32_t index) const noexcept { return begin()[index]; }

    /** Gives the serialised form; nothing when it has 4 GiB or more. */
    std::vector<std::uint8_t> bytes() const
    {
        const std::uint32_t size = COMMON_OXAVarGetSerializedSize(&record_);
        std::vector<std::uint8_t> bytes(size != UINT32_MAX ? size : 0);
        bytes.resize(COMMON_OXAVarSerialize(bytes.data(), &record_,
                                            static_cast<std::uint32_t>(bytes.size())));
        return bytes;
    }

    /**
     * Reads a serialised form from bytes that may be anything: they neither end the process nor
     * throw.
     * @param data of any alignment; null is an error.
     * @param size of the data. There may be more of it than the value has.
     * @param consumed gets the bytes that the value has, 0 after an error; may be null.
     * @return the value, or as COMMON_OXAVarDeserializeBounded(): invalid_param, failed,
     *         not_supported or no_resources. A pointer is whatever the sender wrote: never follow
     * it.
     */
    static result<variant> from_bytes(const void* data, std::size_t size,
                                      std::uint32_t* consumed = nullptr) noexcept
    {
        variant read;
        const std::uint32_t bounded = size < UINT32_MAX ? std::uint32_t(size) : UINT32_MAX;
        const status how =
            to_status(COMMON_OXAVarDeserializeBounded(data, bounded, &read.record_, consumed));
        if (!ok(how)) {
            return how;
        }
        return read;
    }

    /** Gives a text for traces, of up to 1023 characters (COMMON_OXAVarToString()). */
    std::string text() const { return mem<char>(COMMON_OXAVarToString(&record_)).get(); }

    /**
     * The C record, still this object's, for what else oxavar.h can do, such as
     * COMMON_OXAVarSetPVoid() and COMMON_OXAVarArrayRealloc(); not for what frees it.
     */
    COMMON_OXAVar* native() noexcept { return &record_; }
    /** The C record. */
    const COMMON_OXAVar* native() const noexcept { return &record_; }

private:
    /** A variant is its record, so that embedded elements are variants. */
    static variant* elements(const COMMON_OXAVar& record) noexcept
    {
        return record.type == OXAVAR_TYPE_ARRAY ? reinterpret_cast<variant*>(record.value.elements)
                                                : nullptr;
    }

    COMMON_OXAVar record_{};
};

/** A value in braces. */
struct variant::item {
    /** Anything that a variant is made of. */
    template <class Value, class = std::enable_if_t<std::is_constructible_v<variant, Value&&> &&
                                                    !std::is_same_v<std::decay_t<Value>, item>>>
    item(Value&& from) noexcept
        : value(std::forward<Value>(from)), whole(std::is_same_v<std::decay_t<Value>, variant>)
    {
    }
    /** An array. */
    item(std::initializer_list<item> items) noexcept : value(items), whole(false) {}

    mutable variant value; /**< moved from: lists are constant */
    bool whole;            /**< was a variant before */
};

inline variant::variant(std::initializer_list<item> items) noexcept
{
    // Some compilers copy a variant in braces, others make a list of it: here both copy.
    if (items.size() == 1 && items.begin()->whole) {
        *this = std::move(items.begin()->value);
        return;
    }
    COMMON_OXAVarArrayAllocAt(&record_, static_cast<std::uint32_t>(items.size()));
    variant* element = begin();
    for (const item& from : items) {
        *element++ = std::move(from.value);
    }
}

static_assert(sizeof(variant) == sizeof(COMMON_OXAVar) && std::is_standard_layout_v<variant>);

}  // namespace commonpp
