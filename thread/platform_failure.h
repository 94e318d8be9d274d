// How the locks report a call of the platform that failed.
#pragma once

#include <cstdint>
#include <cstring>

#include "foundation/source.h"
#include "log/report.h"

namespace common {

/// Reports an error number other than 0 at Fatal, after a message without its end.
inline void report_if_failed(const Source& source, int error, const char* message,
                             const char* function, std::int32_t line) noexcept
{
    if (error != 0) {
        report(source, COMMON_LogLevelFatal, {function, line}, "%s with error: %s (%d)", message,
               std::strerror(error), error);
    }
}

}  // namespace common

/// The same for a call, in the name of the function that makes it and of its file's kSource.
#define REPORT_IF_FAILED(call, message) \
    common::report_if_failed(kSource, call, message, __func__, __LINE__)
