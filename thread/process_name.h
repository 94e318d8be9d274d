// The name of a process, for the report of exhausted memory and for the search by name.
#pragma once

#include <cstddef>
#include <cstdint>

namespace common::process {

/// Copies the short name of a process, as strncpy(3) does: filled up with zero bytes, and without a
/// terminating one when the name fills the destination. Allocates and reports nothing.
bool copy_name(std::uint32_t pid, char* destination, std::size_t size) noexcept;

/// The same for the process that a status file is about. The file is read up to its name only.
bool copy_name_from(const char* status_path, char* destination, std::size_t size) noexcept;

}  // namespace common::process
