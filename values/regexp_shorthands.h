// The shorthands of patterns.
#pragma once

namespace common::regexp {

/// Rewrites the shorthands of a pattern. Gives a new block, to be released with MEM_Free().
char* rewrite(const char* pattern) noexcept;

}  // namespace common::regexp
