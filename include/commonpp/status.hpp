/**
 * @file status.hpp
 * Result codes as an enumeration and as std::error_code, and a value or an error.
 */
#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#include <common/status.h>

namespace commonpp {

/** The result of an operation: a STATUS, with its numbers. */
enum class [[nodiscard]] status : STATUS{success = STATUS_SUCCESS,
                                         busy = STATUS_BUSY,
                                         communication_failure = STATUS_COMMUNICATION_FAILURE,
                                         disconnected = STATUS_DISCONNECTED,
                                         failed = STATUS_FAILED,
                                         pending = STATUS_PENDING,
                                         no_resources = STATUS_NO_RESOURCES,
                                         not_found = STATUS_NOT_FOUND,
                                         not_supported = STATUS_NOT_SUPPORTED,
                                         in_progress = STATUS_IN_PROGRESS,
                                         rejected = STATUS_REJECTED,
                                         user_terminated = STATUS_USER_TERMINATED,
                                         verify_failed = STATUS_VERIFY_FAILED,
                                         invalid_handle = STATUS_INVALID_HANDLE,
                                         unrecognised = STATUS_UNRECOGNISED,
                                         auth_failed = STATUS_AUTH_FAILED,
                                         complete = STATUS_COMPLETE,
                                         disallowed = STATUS_DISALLOWED,
                                         incompatible_version = STATUS_INCOMPATIBLE_VERSION,
                                         device_error = STATUS_DEVICE_ERROR,
                                         invalid_param = STATUS_INVALID_PARAM,
                                         timeout = STATUS_TIMEOUT,
                                         security_block = STATUS_SECURITY_BLOCK,
                                         no_first_value = STATUS_NO_FIRST_VALUE};

/** Gives what a C function returned, whatever its number. */
constexpr status to_status(STATUS code) noexcept
{
    return static_cast<status>(code);
}

/** Tells whether a status is success. */
constexpr bool ok(status code) noexcept
{
    return code == status::success;
}

/** Gives the display text, as StatusToStr(): constant, "UNKNOWN" for what has none. */
inline const char* to_string(status code) noexcept
{
    return StatusToStr(static_cast<STATUS>(code));
}

namespace detail {

class status_category final : public std::error_category {
public:
    const char* name() const noexcept override { return "common"; }
    std::string message(int code) const override
    {
        return code == 0 ? to_string(status::success) : StatusToStr(static_cast<STATUS>(code));
    }
};

}  // namespace detail

/**
 * Gives the category of status codes, named "common". Its messages are the display texts. Shared
 * objects that are compiled with -fvisibility=hidden have one each, and codes of different ones
 * compare unequal: hand a status over between them.
 */
inline const std::error_category& error_category() noexcept
{
    static const detail::status_category category;
    return category;
}

/**
 * Makes an error code of a status. Success has the value 0 there, so that it is false like that of
 * any category.
 */
inline std::error_code make_error_code(status code) noexcept
{
    return {ok(code) ? 0 : static_cast<int>(code), error_category()};
}

/**
 * A value, or the error that there is in its place. Whether there is a value, and what it is, is
 * asked as of a std::optional: by its operators bool, * and ->.
 */
template <class Value, class Error = status>
class [[nodiscard]] result : std::optional<Value> {
    using optional = std::optional<Value>;

public:
    /** Holds a value. */
    result(Value value) : optional(std::move(value)) {}
    /** Holds an error. */
    result(Error error) noexcept : error_(error) {}

    using optional::operator bool;
    using optional::operator*;
    using optional::operator->;
    /** The error. There must be no value. */
    const Error& error() const noexcept { return error_; }

private:
    Error error_{};
};

}  // namespace commonpp

/** A status is an error code wherever one is asked for. */
template <>
struct std::is_error_code_enum<commonpp::status> : std::true_type {
};
