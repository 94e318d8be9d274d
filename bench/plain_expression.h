// What a caller of regexec(3) would write to replace a match, and to take the groups of one.
#pragma once

#include <regex.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace bench {

/// A compiled expression with at most seven groups, and what was last made with it.
class Expression {
public:
    /// The text of a group, in a list of them: the last one first.
    struct Group {
        Group* next;
        char* text;
    };

    explicit Expression(const char* pattern)
    {
        if (regcomp(&expression_, pattern, REG_EXTENDED) != 0) {
            std::abort();
        }
    }
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;
    ~Expression()
    {
        clear();
        std::free(result_);
        regfree(&expression_);
    }

    /// The text with the first match replaced; null when there is none.
    const char* replace_first(const char* text, const char* replacement)
    {
        regmatch_t slots[8];
        if (regexec(&expression_, text, expression_.re_nsub + 1, slots, 0) != 0) {
            return nullptr;
        }
        const auto begin = static_cast<std::size_t>(slots[0].rm_so);
        const std::size_t length = std::strlen(replacement);
        const char* const rest = text + slots[0].rm_eo;
        const std::size_t rest_length = std::strlen(rest);
        auto* const joined = static_cast<char*>(std::malloc(begin + length + rest_length + 1));
        char* end = static_cast<char*>(mempcpy(joined, text, begin));
        end = static_cast<char*>(mempcpy(end, replacement, length));
        std::memcpy(end, rest, rest_length + 1);
        std::free(result_);
        return result_ = joined;
    }

    /// The groups of the first match, itself included; null when there is none.
    const Group* groups(const char* text)
    {
        clear();
        regmatch_t slots[8];
        const std::size_t count = expression_.re_nsub + 1;
        if (regexec(&expression_, text, count, slots, 0) != 0) {
            return nullptr;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const auto length = static_cast<std::size_t>(slots[i].rm_eo - slots[i].rm_so);
            auto* const group = static_cast<Group*>(std::malloc(sizeof(Group)));
            *group = {groups_, strndup(text + slots[i].rm_so, length)};
            groups_ = group;
        }
        return groups_;
    }

private:
    void clear()
    {
        while (groups_ != nullptr) {
            Group* const next = groups_->next;
            std::free(groups_->text);
            std::free(groups_);
            groups_ = next;
        }
    }

    regex_t expression_{};
    char* result_ = nullptr;
    Group* groups_ = nullptr;
};

}  // namespace bench
