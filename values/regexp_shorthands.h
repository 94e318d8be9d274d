// The shorthands of patterns.
#pragma once

/// Rewrites the shorthands of a pattern. Gives a new block, to be released with MEM_Free().
char* regexp_rewrite(const char* pattern) noexcept;
