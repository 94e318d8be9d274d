/**
 * @file regex.hpp
 * Regular expressions (regexp.h has their syntax) that give an error for a bad pattern:
 *
 *     const auto digits = commonpp::regex::make("^\\d+$");
 *     if (!digits) {
 *         tuner.error()("%s", digits.error().text);
 *     } else if (digits->match(text)) { ...
 */
#pragma once

#include <common/regexp.h>

#include "handles.hpp"
#include "status.hpp"

namespace commonpp {

/** Why a pattern was refused. */
struct regex_error {
    status code = status::success; /**< invalid_param */
    char text[80] = "";            /**< in the C library's words */
};

/** An expression. One thread at a time uses it. */
class regex {
public:
    /**
     * Compiles a pattern, after a look whether it compiles: twice, that is.
     * @param pattern null is refused, too. RegExp_Check() says what to take from strangers.
     * @param case_sensitive false takes upper and lower case as the same.
     */
    static result<regex, regex_error> make(const char* pattern, bool case_sensitive = true)
    {
        regex_error error;
        if (RegExp_Check(pattern, case_sensitive, error.text, sizeof error.text) == 0) {
            error.code = status::invalid_param;
            return error;
        }
        return regex(RegExp_New(pattern, case_sensitive));
    }

    /** Tells whether there is a match anywhere in a text. @param text not null. */
    [[nodiscard]] bool match(const char* text) const
    {
        return RegExp_Match(expression_.get(), text) != 0;
    }

    /**
     * Replaces the first match in a text, or all of them, as RegExp_Replace().
     * @param text, replacement not null.
     * @param all false: the first one only.
     * @return the new text, the expression's, until the next replacement.
     */
    [[nodiscard]] const char* replace(const char* text, const char* replacement, bool all = true)
    {
        return RegExp_Replace(expression_.get(), text, replacement, all);
    }

    /**
     * The C record, still this object's, for RegExp_MatchSubExp(), which gives the texts of groups;
     * null when it was moved from.
     */
    RegExp* native() const noexcept { return expression_.get(); }

private:
    explicit regex(RegExp* expression) noexcept : expression_(expression) {}

    handle<RegExp, RegExp_Delete> expression_;
};

}  // namespace commonpp
