// The way out for programming errors, in every build type.
#pragma once

namespace common {

/// Prints the condition in the C library's assertion format on standard error and aborts.
[[noreturn]] void assertion_failed(const char* condition, const char* file, unsigned line,
                                   const char* function) noexcept;

}  // namespace common

/// Ends the process unless `condition` holds. `text` is what is printed as the condition: callers
/// know these texts, and in C++ a null pointer would not be spelled as they expect it.
#define COMMON_ASSERT(source, condition, text) \
    ((condition) ? static_cast<void>(0)        \
                 : ::common::assertion_failed(text, (source).name, __LINE__, __func__))
