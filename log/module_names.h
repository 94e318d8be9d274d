// The fixed module names of the platform.
#pragma once

#include <cstdint>

namespace common::log {

/// How many module ids have a fixed name: the ids from 0 on.
inline constexpr std::uint32_t kFixedModuleCount = 219;

/// The fixed name of a module id below kFixedModuleCount.
const char* fixed_module_name(std::uint32_t id) noexcept;

}  // namespace common::log
