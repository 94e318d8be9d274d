// What is looked for in messages.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <common/regexp.h>

namespace commonctl {

/// An extended regular expression (regexp.h), or a plain text when nothing in it is special. One
/// without capital letters finds them, too. One thread at a time may use it.
class Pattern {
public:
    /// @throws UsageError, which tells what is wrong with it.
    explicit Pattern(const std::string& pattern);

    bool is_in(std::string_view text) const;

    /// A text that is in each match; empty when none is known.
    const std::string& required() const { return required_; }

private:
    std::string required_;
    bool any_case_;
    std::unique_ptr<RegExp, void (*)(RegExp*)> expression_;  ///< null for a plain text
    mutable std::string scratch_;
};

}  // namespace commonctl
