// The fixed module names of the platform.
#pragma once

#include <cstdint>

namespace common::log {

/// How many module ids have a fixed name: the ids from 0 on.
inline constexpr std::uint32_t kFixedModuleCount = 219;

/// How many module ids there are at most: the rest is for names that are registered at run time
/// (log/oxa_logger.cpp).
inline constexpr std::uint32_t kModuleCapacity = 251;
inline constexpr std::uint32_t kDynamicModuleCount = kModuleCapacity - kFixedModuleCount;

/// The fixed name of a module id below kFixedModuleCount.
const char* fixed_module_name(std::uint32_t id) noexcept;

}  // namespace common::log
