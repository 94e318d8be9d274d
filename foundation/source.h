// Who reports: a source file's name in records and the module under which it logs.
#pragma once

#include <cstdint>

#include "oxa_logger.h"

namespace common {

/// The modules that the library logs under. None is the empty zone name.
enum class Module : std::uint32_t {
    Generic = LOG_MODULE_GENERIC,
    Timer = LOG_MODULE_TIMER,
    Malloc = LOG_MODULE_MALLOC,
    Cldes = LOG_MODULE_CLDES,
    Common = LOG_MODULE_COMMON,
    Utils = LOG_MODULE_UTILS,
    None = UINT32_MAX,
};

/// One constant of this type stands at the top of every file that reports. The name is the one that
/// records show, which need not be that of the file.
struct Source {
    const char* name;
    Module module = Module::None;
};

}  // namespace common
