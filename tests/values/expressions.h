// Regular expressions for tests: one that deletes itself, and what it captures.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "regexp.h"

struct DeleteExpression {
    void operator()(RegExp* regexp) const { RegExp_Delete(regexp); }
};
using Expression = std::unique_ptr<RegExp, DeleteExpression>;

inline Expression expression(const std::string& pattern, std::uint32_t case_sensitive = 1)
{
    return Expression(RegExp_New(pattern.c_str(), case_sensitive));
}

/// The texts of a match; none for null.
inline std::vector<std::string> texts(const SubExps* subexps)
{
    std::vector<std::string> all;
    for (std::uint32_t index = 0; subexps != nullptr && index < SubExps_Size(subexps); ++index) {
        all.emplace_back(SubExps_GetIndex(subexps, index));
    }
    return all;
}
