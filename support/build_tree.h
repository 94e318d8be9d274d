// Where the build is, for programs that run from it.
#pragma once

#include <string>
#include <vector>

namespace support {

/// The source tree and the build tree: what such a program keeps in a private root.
std::vector<std::string> build_tree();

}  // namespace support
