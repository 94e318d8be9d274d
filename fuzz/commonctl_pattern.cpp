// What "commonctl log" looks for, with any expression and any message: the text that each match is
// taken to have, which is looked for first, changes nothing about what matches. The input: the
// expression, up to a zero byte, and the message.
#include <algorithm>
#include <string>

#include "records/pattern.h"
#include "regexp.h"
#include "support/choices.h"
#include "support/input.h"
#include "usage.h"

namespace {

constexpr std::size_t kLongestPattern = 24;
constexpr std::size_t kLongestText = 64;

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

/// Repetitions of repetitions, large counts and back-references take the C library any time and
/// memory.
bool is_affordable(const std::string& pattern)
{
    for (std::size_t i = 1; i < pattern.size(); ++i) {
        if (is_digit(pattern[i]) && (is_digit(pattern[i - 1]) || pattern[i - 1] == '\\')) {
            return false;
        }
    }
    return std::count_if(pattern.begin(), pattern.end(),
                         [](char c) { return c == '*' || c == '+' || c == '?' || c == '{'; }) <= 2;
}

bool has_capitals(const std::string& text)
{
    return std::any_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

/// The same by the expression alone, which finds capitals by itself.
bool matches(const std::string& pattern, const std::string& text)
{
    RegExp* const expression = RegExp_New(pattern.c_str(), has_capitals(pattern) ? 1 : 0);
    FUZZ_CHECK(expression != nullptr);
    const bool found = RegExp_Match(expression, text.c_str()) != 0;
    RegExp_Delete(expression);
    return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Choices choices(data, std::min(size, kLongestPattern + 1 + kLongestText));
    std::string pattern;
    while (const unsigned byte = choices.byte()) {
        pattern += static_cast<char>(byte);
    }
    // Texts of the C library have no zero bytes.
    std::string text(reinterpret_cast<const char*>(choices.rest()), choices.left());
    std::replace(text.begin(), text.end(), '\0', '\n');
    if (pattern.size() > kLongestPattern || !is_affordable(pattern)) {
        return 0;
    }
    try {
        const commonctl::Pattern looked_for(pattern);
        const bool is_plain = pattern.find_first_of(".[]()*+?{}|^$\\") == std::string::npos;
        const std::string seen = has_capitals(pattern) ? text : lower(text);
        FUZZ_CHECK(looked_for.is_in(text) ==
                   (is_plain ? seen.find(pattern) != std::string::npos : matches(pattern, text)));
    } catch (const commonctl::UsageError&) {
        FUZZ_CHECK(RegExp_Check(pattern.c_str(), has_capitals(pattern) ? 1 : 0, nullptr, 0) == 0);
    }
    return 0;
}
