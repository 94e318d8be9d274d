#include "regexp.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "mem_malloc.h"
#include "platform/assertion.h"
#include "values/regexp_shorthands.h"
#include "values/regexp_text.h"

static_assert(offsetof(RegExp, expression) == 0);
static_assert(offsetof(RegExp, position) == sizeof(regex_t));
static_assert(offsetof(RegExp, subexps) > offsetof(RegExp, position));
static_assert(offsetof(RegExp, result) == offsetof(RegExp, subexps) + sizeof(void*));
static_assert(sizeof(void*) == 8 || sizeof(RegExp) == sizeof(regex_t) + 12);

namespace {

using common::regexp::GrowingText;
using common::regexp::kSource;

/// Empties a list. Gives what was in it, to be released when nobody reads it any more.
ListLight subexps_clear(ListLight* list) noexcept
{
    COMMON_ASSERT(kSource, list != nullptr, "list");
    return std::exchange(*list, ListLight{});
}

void release(ListLight texts) noexcept
{
    ListLight_Clear(&texts, ListLight_entry_data_memfree_callback);
}

char* copy_of(std::string_view piece) noexcept
{
    GrowingText text;
    text.append(piece);
    return text.take();
}

/// Compiles a pattern, its shorthands rewritten. Gives what regcomp() does.
int compile(regex_t& expression, const char* pattern, bool case_sensitive) noexcept
{
    char* const rewritten = common::regexp::rewrite(pattern);
    const int flags = case_sensitive ? REG_EXTENDED : REG_EXTENDED | REG_ICASE;
    // By the C library's engine: which match is found is what callers know from it.
    const int ret = regcomp(&expression, rewritten, flags);
    MEM_Free(rewritten);
    return ret;
}

/// Room for the slots of a match: on the stack unless there are a great many groups.
class Slots {
public:
    explicit Slots(std::size_t count) noexcept : count_(count)
    {
        if (count > std::size(usual_)) {
            slots_ = static_cast<regmatch_t*>(
                MEM_Malloc(static_cast<std::uint32_t>(count * sizeof(regmatch_t))));
        }
    }
    ~Slots()
    {
        if (slots_ != usual_) {
            MEM_Free(slots_);
        }
    }
    Slots(const Slots&) = delete;
    Slots& operator=(const Slots&) = delete;

    regmatch_t* begin() noexcept { return slots_; }
    regmatch_t* end() noexcept { return slots_ + count_; }
    std::size_t size() const noexcept { return count_; }

private:
    std::size_t count_;
    regmatch_t usual_[16];
    regmatch_t* slots_ = usual_;
};

/// Finds the first match in a text whose length is known.
///
/// The search is told the length, so that it need not look for the end of a long rest again and
/// again. It starts at the first byte of what it is given, so that "^" matches there as it does
/// without a length. All slots are asked for, although only the first one is used: with fewer, the
/// C library takes another way, on which it matches some expressions differently.
bool find(const regex_t& expression, std::string_view text, Slots& slots) noexcept
{
    slots.begin()->rm_so = 0;
    slots.begin()->rm_eo = static_cast<regoff_t>(std::min<std::size_t>(text.size(), INT_MAX));
    return regexec(&expression, text.data(), slots.size(), slots.begin(), REG_STARTEND) == 0;
}

/// Finds the next stepwise match in a text and appends what took part in it to the list.
bool match_next(RegExp& regexp, const char* text) noexcept
{
    // The text may be another one than before, and end before the position.
    if (strnlen(text, std::size_t{regexp.position} + 1) <= regexp.position) {
        return false;
    }
    const char* const rest = text + regexp.position;
    Slots slots(regexp.expression.re_nsub + 1);
    if (regexec(&regexp.expression, rest, slots.size(), slots.begin(), 0) != 0) {
        return false;
    }
    // Oddity: optional groups without a match are left out, as callers count what took part.
    // Test: RegExpStep.GroupsThatTookNoPartAreLeftOut.
    for (const regmatch_t& slot : slots) {
        if (slot.rm_so != -1) {
            ListLight_PushBack(
                regexp.subexps,
                copy_of({rest + slot.rm_so, static_cast<std::size_t>(slot.rm_eo - slot.rm_so)}));
        }
    }
    regexp.position += static_cast<std::uint32_t>(slots.begin()->rm_eo);
    return true;
}

}  // namespace

extern "C" {

uint32_t RegExp_Check(const char* pattern, uint32_t case_sensitive, char* error, uint32_t size)
{
    if (error == nullptr) {
        size = 0;
    }
    if (pattern == nullptr) {
        std::snprintf(error, size, "No pattern");
        return 0;
    }
    regex_t expression;
    const int ret = compile(expression, pattern, case_sensitive != 0);
    if (ret != 0) {
        // AddressSanitizer takes the size that regerror() gives, which is that of the whole text,
        // for what it has written: it is not handed a short buffer of the caller's.
        char text[256];
        regerror(ret, nullptr, text, sizeof text);
        std::snprintf(error, size, "%s", text);
        return 0;
    }
    regfree(&expression);
    if (size != 0) {
        *error = '\0';
    }
    return 1;
}

RegExp* RegExp_New(const char* pattern, uint32_t case_sensitive)
{
    COMMON_ASSERT(kSource, pattern != nullptr, "text");
    auto* const regexp = static_cast<RegExp*>(MEM_Salloc(sizeof(RegExp)));
    const int ret = compile(regexp->expression, pattern, case_sensitive != 0);
    COMMON_ASSERT(kSource, ret == 0, "0 == ret");
    regexp->subexps = ListLight_New();
    return regexp;
}

void RegExp_Delete(RegExp* regexp)
{
    COMMON_ASSERT(kSource, regexp != nullptr, "regexp");
    release(subexps_clear(regexp->subexps));
    ListLight_Delete(regexp->subexps, nullptr);
    MEM_Free(regexp->result);
    regfree(&regexp->expression);
    MEM_Free(regexp);
}

uint32_t RegExp_Match(const RegExp* regexp, const char* text)
{
    COMMON_ASSERT(kSource, regexp != nullptr, "regexp");
    COMMON_ASSERT(kSource, text != nullptr, "text");
    return regexec(&regexp->expression, text, 0, nullptr, 0) == 0 ? 1 : 0;
}

SubExps* RegExp_MatchSubExp(RegExp* regexp, const char* text, uint32_t continue_search)
{
    COMMON_ASSERT(kSource, regexp != nullptr, "regexp");
    COMMON_ASSERT(kSource, text != nullptr, "text");
    if (continue_search == 0) {
        regexp->position = 0;
    }
    const ListLight last = subexps_clear(regexp->subexps);
    const bool found = match_next(*regexp, text);
    // Only now: the text may be one of them.
    release(last);
    return found ? &regexp->subexps : nullptr;
}

const char* RegExp_Replace(RegExp* regexp, const char* text, const char* replacement, uint32_t all)
{
    COMMON_ASSERT(kSource, regexp != nullptr, "regexp");
    COMMON_ASSERT(kSource, text != nullptr, "text");
    COMMON_ASSERT(kSource, replacement != nullptr, "replacement");
    std::string_view rest(text);
    const std::string_view put_in(replacement);
    // Room for one match, whatever its length, so that to replace the first one takes one block.
    GrowingText result(rest.size() + put_in.size());
    Slots slots(regexp->expression.re_nsub + 1);
    while (find(regexp->expression, rest, slots)) {
        const auto end = static_cast<std::size_t>(slots.begin()->rm_eo);
        result.append(rest.substr(0, static_cast<std::size_t>(slots.begin()->rm_so)));
        result.append(put_in);
        rest.remove_prefix(end);
        // A match of nothing at the start would be found there for ever.
        // Oddity: only 1 is all, any other number is the first one. Test: RegExpReplace.FirstOrAll.
        if (all != 1 || rest.empty() || end == 0) {
            break;
        }
    }
    result.append(rest);
    // Only now: the text or the replacement may have been the last result.
    MEM_Free(regexp->result);
    regexp->result = result.take();
    return regexp->result;
}

uint32_t SubExps_Size(const SubExps* subexps)
{
    COMMON_ASSERT(kSource, subexps != nullptr, "subexps");
    return ListLight_Size(*subexps);
}

const char* SubExps_GetIndex(const SubExps* subexps, uint32_t index)
{
    COMMON_ASSERT(kSource, subexps != nullptr, "subexps");
    if (index >= ListLight_Size(*subexps)) {
        return nullptr;
    }
    ListLight_Iterator it{};
    for (ListLight_Begin(*subexps, &it); index != 0; --index) {
        ListLight_Next(*subexps, &it);
    }
    return static_cast<const char*>(ListLight_GetEntryData(*subexps, &it));
}

}  // extern "C"
