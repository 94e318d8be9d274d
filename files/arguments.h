// What the functions for files and folders do with the arguments that callers give them.
#pragma once

#include <cstddef>

#include "log/report.h"

namespace common {

/// So long is the longest path that the kernel takes, with the zero at its end. What is longer is
/// cut.
inline constexpr std::size_t kPathSize = 4096;

/// Whether arguments are invalid, which is reported.
inline bool are_invalid(Source source, bool invalid, Here here = Here::now()) noexcept
{
    if (invalid) {
        report(source, COMMON_LogLevelError, here, "One or more invalid parameters are detected!");
    }
    return invalid;
}

}  // namespace common
