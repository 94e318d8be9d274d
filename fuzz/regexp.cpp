// Expressions that compile, on any text. The input: a byte of flags, the pattern, the replacement
// and the text, each up to a zero byte.
#include <regex.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "mem_malloc.h"
#include "regexp.h"
#include "support/input.h"
#include "values/regexp_shorthands.h"

namespace {

/// Takes what is in front of the next zero byte, and at most so much.
std::string take(const std::uint8_t*& data, std::size_t& size, std::size_t most)
{
    const std::uint8_t* const end = std::find(data, data + size, 0);
    const auto length = static_cast<std::size_t>(end - data);
    std::string piece(reinterpret_cast<const char*>(data), std::min(length, most));
    const std::size_t used = std::min(length + 1, size);
    data += used;
    size -= used;
    return piece;
}

/// The C library's compiler and its search take any time and memory for repetition counts,
/// back-references and many repetitions of one another, and for ever where a group is repeated that
/// holds an end of the text. That is for whoever writes a pattern.
bool is_worth_trying(const std::string& pattern)
{
    const auto has = [&](const char* text) { return pattern.find(text) != std::string::npos; };
    const auto repeats = [](char character) {
        return character == '*' || character == '+' || character == '?';
    };
    if (has("{") || std::count_if(pattern.begin(), pattern.end(), repeats) > 4 ||
        ((has("^") || has("$") || has("\\b")) &&
         (has(")*") || has(")+") || has("\\b*") || has("\\b+")))) {
        return false;
    }
    for (std::size_t place = 0; place + 1 < pattern.size(); ++place) {
        if (pattern[place] == '\\' && pattern[place + 1] >= '1' && pattern[place + 1] <= '9') {
            return false;
        }
    }
    return true;
}

bool compiles(const std::string& pattern, int flags)
{
    char* const rewritten = common::regexp::rewrite(pattern.c_str());
    regex_t expression;
    const bool good = regcomp(&expression, rewritten, flags) == 0;
    if (good) {
        regfree(&expression);
    }
    MEM_Free(rewritten);
    return good;
}

/// Steps through the matches and checks each text against where the search was.
void step(RegExp* regexp, const std::string& text)
{
    std::uint32_t before = 0;
    for (SubExps* subexps = RegExp_MatchSubExp(regexp, text.c_str(), 0); subexps != nullptr;
         subexps = RegExp_MatchSubExp(regexp, text.c_str(), 1)) {
        const std::uint32_t count = SubExps_Size(subexps);
        FUZZ_CHECK(count >= 1 && count <= regexp->expression.re_nsub + 1);
        const std::string whole = SubExps_GetIndex(subexps, 0);
        FUZZ_CHECK(regexp->position <= text.size() && regexp->position >= before + whole.size());
        FUZZ_CHECK(text.compare(regexp->position - whole.size(), whole.size(), whole) == 0);
        FUZZ_CHECK(SubExps_GetIndex(subexps, count - 1) != nullptr);
        FUZZ_CHECK(SubExps_GetIndex(subexps, count) == nullptr);
        if (regexp->position == before) {
            return;
        }
        before = regexp->position;
    }
}

/// By the definition, with a search that looks for the end of the rest itself.
std::string replaced(const RegExp& regexp, const std::string& text, const std::string& replacement,
                     bool all)
{
    std::string result;
    const char* rest = text.c_str();
    std::vector<regmatch_t> slots(regexp.expression.re_nsub + 1);
    while (regexec(&regexp.expression, rest, slots.size(), slots.data(), 0) == 0) {
        result.append(rest, static_cast<std::size_t>(slots[0].rm_so)).append(replacement);
        rest += slots[0].rm_eo;
        if (!all || *rest == '\0' || slots[0].rm_eo == 0) {
            break;
        }
    }
    return result + rest;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::uint8_t flags = *data++;
    --size;
    const std::string pattern = take(data, size, 32);
    const std::string replacement = take(data, size, 16);
    const std::string text = take(data, size, 200);
    const std::uint32_t case_sensitive = flags & 1U;
    if (!is_worth_trying(pattern) ||
        !compiles(pattern, case_sensitive != 0 ? REG_EXTENDED : REG_EXTENDED | REG_ICASE)) {
        return 0;
    }
    RegExp* const regexp = RegExp_New(pattern.c_str(), case_sensitive);
    const bool matches = RegExp_Match(regexp, text.c_str()) != 0;
    const bool stepped = RegExp_MatchSubExp(regexp, text.c_str(), 0) != nullptr;
    FUZZ_CHECK(matches || !stepped);
    // With groups, the C library fails to find a few matches when it is asked for them.
    FUZZ_CHECK(matches == stepped || text.empty() || regexp->expression.re_nsub != 0);
    step(regexp, text);
    for (const std::uint32_t all : {0U, 1U}) {
        FUZZ_CHECK(RegExp_Replace(regexp, text.c_str(), replacement.c_str(), all) ==
                   replaced(*regexp, text, replacement, all == 1));
    }
    RegExp_Delete(regexp);
    return 0;
}
