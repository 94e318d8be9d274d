/**
 * @file regex.hpp
 * Regular expressions (regexp.h has their syntax) that give an error for a bad pattern:
 *
 *     auto digits = commonpp::regex::make("(\\d+)-(\\d+)");
 *     if (!digits) { tuner.error()("%s", digits.error().text); ...
 *     for (const auto& match : digits->matches("1-2 30-40")) {
 *         use(match[1], match[2]);
 *     }
 */
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <common/regexp.h>

#include "handles.hpp"
#include "status.hpp"

namespace commonpp {

/** Why a pattern was refused. */
struct regex_error {
    status code = status::success; /**< invalid_param */
    char text[80] = "";            /**< in the C library's words */
};

/** An expression. One thread at a time uses it, for one search at a time. */
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
        if (RegExp_Check(pattern, case_sensitive ? 1 : 0, error.text, sizeof error.text) == 0) {
            error.code = status::invalid_param;
            return error;
        }
        return regex(RegExp_New(pattern, case_sensitive ? 1 : 0));
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
        return RegExp_Replace(expression_.get(), text, replacement, all ? 1 : 0);
    }

    /** The texts of a match: the whole, then the groups that took part. Good until the next one. */
    class captures {
    public:
        /** Counts the texts; at least 1. */
        std::uint32_t size() const { return SubExps_Size(texts_); }
        /** A text; null when there are not as many. */
        const char* operator[](std::uint32_t index) const
        {
            return SubExps_GetIndex(texts_, index);
        }

    private:
        friend class regex;
        explicit captures(const SubExps* texts) : texts_(texts) {}
        const SubExps* texts_;
    };

    /** The matches of a text, for one walk. */
    class match_range {
    public:
        /** Where a walk ends. */
        struct end_of_matches {};
        /** A walk. */
        class iterator {
        public:
            /** The match that it is at. */
            captures operator*() const { return captures(texts_); }
            /** Goes to the next match. */
            iterator& operator++()
            {
                // A match of no text would be found there for ever: it is the last one.
                const bool empty = *SubExps_GetIndex(texts_, 0) == '\0';
                texts_ = empty ? nullptr : RegExp_MatchSubExp(expression_, text_, 1);
                return *this;
            }
            /** Tells whether it is at a match. */
            bool operator!=(end_of_matches) const { return texts_ != nullptr; }

        private:
            friend class match_range;
            iterator(RegExp* expression, const char* text)
                : expression_(expression), text_(text),
                  texts_(RegExp_MatchSubExp(expression, text, 0))
            {
            }
            RegExp* expression_;
            const char* text_;
            const SubExps* texts_;
        };

        /** Looks for the first match. */
        iterator begin() const { return {expression_, text_}; }
        /** The end. */
        end_of_matches end() const { return {}; }

    private:
        friend class regex;
        match_range(RegExp* expression, const char* text) : expression_(expression), text_(text) {}
        RegExp* expression_;
        const char* text_;
    };

    /**
     * Walks through the matches of a text. What follows a match is a text of its own, at whose
     * start
     * "^" matches; a match of no text is the last one.
     * @param text not null; it and the expression must stay until the end of the walk.
     */
    [[nodiscard]] match_range matches(const char* text) { return {expression_.get(), text}; }

    /** The C record, still this object's; null when it was moved from. */
    RegExp* native() const noexcept { return expression_.get(); }

private:
    explicit regex(RegExp* expression) noexcept : expression_(expression) {}

    handle<RegExp, RegExp_Delete> expression_;
};

}  // namespace commonpp
