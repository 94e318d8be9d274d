#include "records/pattern.h"

#include <algorithm>
#include <cstring>

#include "usage.h"

namespace commonctl {
namespace {

constexpr std::string_view kSpecial = ".[]()*+?{}|^$\\";

constexpr bool is_capital(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool contains(std::string_view text, std::string_view wanted)
{
    return memmem(text.data(), text.size(), wanted.data(), wanted.size()) != nullptr;
}

/// The end of the bracket expression that begins at a place.
std::size_t end_of_brackets(std::string_view pattern, std::size_t at)
{
    ++at;
    at += at < pattern.size() && pattern[at] == '^' ? 1 : 0;
    at += at < pattern.size() && pattern[at] == ']' ? 1 : 0;
    for (; at < pattern.size() && pattern[at] != ']'; ++at) {
        if (pattern[at] == '[' && at + 1 < pattern.size() &&
            std::string_view(":.=").find(pattern[at + 1]) != std::string_view::npos) {
            const char close[] = {pattern[at + 1], ']'};
            at = pattern.find(std::string_view(close, sizeof close), at + 2);
            if (at == std::string_view::npos) {
                return pattern.size();
            }
            ++at;
        }
    }
    return std::min(at, pattern.size() - 1);
}

/// The longest text that each match of an expression has in it: of what is outside of groups, and
/// not repeated. Finding it is much quicker than matching. Whatever is unusual ends it.
std::string required_text(std::string_view pattern)
{
    std::string longest;
    std::string run;
    int depth = 0;
    const auto end_run = [&] {
        longest = run.size() > longest.size() ? run : longest;
        run.clear();
    };
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        char c = pattern[i];
        const bool is_special = kSpecial.find(c) != std::string_view::npos;
        const bool is_escaped = c == '\\' && i + 1 < pattern.size() &&
                                kSpecial.find(pattern[i + 1]) != std::string_view::npos;
        if (is_escaped) {
            c = pattern[++i];
            if (c == '\\') {
                return {};  // what follows may be a shorthand all the same
            }
        } else if (is_special) {
            const char behind = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
            const bool is_repeated_again =
                behind == '*' || behind == '+' || behind == '?' || behind == '{';
            const bool may_be_absent =
                c == '*' || c == '?' || c == '{' || (c == '+' && is_repeated_again);
            if (may_be_absent && !run.empty()) {
                run.pop_back();
            }
            end_run();
            if (c == '|' && depth == 0) {
                return {};
            }
            // One that closes nothing stands for itself.
            depth += c == '(' ? 1 : c == ')' && depth > 0 ? -1 : 0;
            if (c == '[') {
                const std::size_t end = end_of_brackets(pattern, i);
                if (pattern.substr(i, end - i).find('\\') != std::string_view::npos) {
                    return {};
                }
                i = end;
            } else if (c == '{') {
                i = std::min(pattern.find('}', i), pattern.size() - 1);
            } else if (c == '\\') {
                ++i;  // a shorthand
            }
            continue;
        }
        if (depth == 0) {
            run += c;
        }
    }
    end_run();
    return longest;
}

std::unique_ptr<RegExp, void (*)(RegExp*)> compiled(const std::string& pattern, bool any_case)
{
    if (pattern.find_first_of(kSpecial) == std::string::npos) {
        return {nullptr, RegExp_Delete};
    }
    char error[200];
    if (RegExp_Check(pattern.c_str(), any_case ? 0 : 1, error, sizeof error) == 0) {
        throw UsageError("\"" + pattern + "\" is no regular expression: " + error);
    }
    return {RegExp_New(pattern.c_str(), any_case ? 0 : 1), RegExp_Delete};
}

}  // namespace

Pattern::Pattern(const std::string& pattern)
    : any_case_(std::none_of(pattern.begin(), pattern.end(), is_capital)),
      expression_(compiled(pattern, any_case_))
{
    required_ = expression_ ? required_text(pattern) : pattern;
}

bool Pattern::is_in(std::string_view text) const
{
    if (any_case_) {
        scratch_.resize(text.size());
        std::transform(text.begin(), text.end(), scratch_.begin(),
                       [](char c) { return static_cast<char>(is_capital(c) ? c | 0x20 : c); });
        text = scratch_;
    }
    if (!contains(text, required_)) {
        return false;
    }
    if (!expression_) {
        return true;
    }
    if (!any_case_) {
        scratch_ = text;
    }
    // A text of the C library ends at the first zero.
    std::replace(scratch_.begin(), scratch_.end(), '\0', ' ');
    return RegExp_Match(expression_.get(), scratch_.c_str()) != 0;
}

}  // namespace commonctl
