// Scenarios of the fault sweep: variants, regular expressions, numbers, identifiers.
#include "scenario.h"

using namespace faults;

namespace {

/// The array {1, "two"}.
class Pair {
public:
    Pair()
    {
        COMMON_OXAVarSetInt(var_->value.elements, 1);
        COMMON_OXAVarSetString(var_->value.elements + 1, "two");
    }
    ~Pair() { COMMON_OXAVarFree(var_); }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    operator COMMON_OXAVar*() const { return var_; }

private:
    COMMON_OXAVar* var_ = COMMON_OXAVarArrayAlloc(2);
};

std::string text_of(const COMMON_OXAVar* var)
{
    char* const text = COMMON_OXAVarToString(var);
    std::string copy = text;
    MEM_Free(text);
    return copy;
}

constexpr char kPair[] = "{1, \"two\"}";

SCENARIO(COMMON_OXA_strdup, gives("\"text\""), out_of_memory_ends())
{
    MEM_Free(CALL(COMMON_OXA_strdup, "text"));
}

SCENARIO(COMMON_OXAVarAlloc, gives("set"), out_of_memory_ends())
{
    COMMON_OXAVar* const var = CALL(COMMON_OXAVarAlloc);
    COMMON_OXAVarSetInt(var, 1);
    EXPECT_EQ(text_of(var), "1");
    COMMON_OXAVarFree(var);
}

SCENARIO(COMMON_OXAVarArrayAlloc, gives("set"), out_of_memory_ends())
{
    COMMON_OXAVar* const var = CALL(COMMON_OXAVarArrayAlloc, 2);
    EXPECT_EQ(var->count, 2U);
    COMMON_OXAVarFree(var);
}

SCENARIO(COMMON_OXAVarArrayAllocAt, gives("set"), out_of_memory_ends())
{
    COMMON_OXAVar var{};
    COMMON_OXAVarSetString(&var, "before");
    CALL(COMMON_OXAVarArrayAllocAt, &var, 2);
    EXPECT_EQ(var.count, 2U);
    COMMON_OXAVarClear(&var);
}

SCENARIO(COMMON_OXAVarArrayRealloc, gives("set"), out_of_memory_ends())
{
    const Pair pair;
    CALL(COMMON_OXAVarArrayRealloc, pair, 3);
    COMMON_OXAVar* const var = pair;
    EXPECT_EQ(var->count, 3U);
    EXPECT_STREQ(COMMON_OXAVarGetString(var->value.elements + 1), "two");
}

SCENARIO(COMMON_OXAVarCopy, gives("set"), out_of_memory_ends())
{
    const Pair pair;
    COMMON_OXAVar copy{};
    CALL(COMMON_OXAVarCopy, &copy, pair);
    EXPECT_EQ(text_of(&copy), kPair);
    COMMON_OXAVarClear(&copy);
}

SCENARIO(COMMON_OXAVarSetString, gives("set"), out_of_memory_ends())
{
    COMMON_OXAVar var{};
    CALL(COMMON_OXAVarSetString, &var, "text");
    EXPECT_EQ(text_of(&var), "\"text\"");
    COMMON_OXAVarClear(&var);
}

SCENARIO(COMMON_OXAVarSetStringN, gives("set"), out_of_memory_ends())
{
    COMMON_OXAVar var{};
    CALL(COMMON_OXAVarSetStringN, &var, "text", 2);
    EXPECT_EQ(text_of(&var), "\"te\"");
    COMMON_OXAVarClear(&var);
}

SCENARIO(COMMON_OXAVarToString, gives("\"{1, \"two\"}\""), out_of_memory_ends())
{
    const Pair pair;
    MEM_Free(CALL(COMMON_OXAVarToString, pair));
}

/// The serialised form of the pair.
struct Form {
    std::uint8_t bytes[64];
    std::uint32_t size;

    Form()
    {
        const Pair pair;
        size = COMMON_OXAVarSerialize(bytes, pair, sizeof bytes);
    }
};

SCENARIO(COMMON_OXAVarDeserialize, gives("28"), out_of_memory_ends())
{
    const Form form;
    COMMON_OXAVar var{};
    CALL(COMMON_OXAVarDeserialize, form.bytes, &var);
    EXPECT_EQ(text_of(&var), kPair);
    COMMON_OXAVarClear(&var);
}

SCENARIO(COMMON_OXAVarDeserializeBounded, gives(shown(STATUS_SUCCESS)), out_of_memory_ends())
{
    const Form form;
    COMMON_OXAVar var{};
    CALL(COMMON_OXAVarDeserializeBounded, form.bytes, form.size, &var, nullptr);
    EXPECT_EQ(text_of(&var), kPair);
    COMMON_OXAVarClear(&var);
}

SCENARIO(VariantsAreSetAndRead)
{
    COMMON_OXAVar var{};
    EXPECT_EQ(CALL(COMMON_OXAVarSetInt, &var, 7), &var);
    EXPECT_EQ(CALL(COMMON_OXAVarGetInt, &var), 7);
    EXPECT_EQ(CALL(COMMON_OXAVarSetFloat, &var, 0.5F), &var);
    EXPECT_EQ(CALL(COMMON_OXAVarGetFloat, &var), 0.5F);
    EXPECT_EQ(CALL(COMMON_OXAVarSetPVoid, &var, &var), &var);
    EXPECT_EQ(CALL(COMMON_OXAVarGetPVoid, &var), &var);
    EXPECT_EQ(CALL(COMMON_OXAVarGetString, &var), nullptr);
    EXPECT_EQ(CALL(COMMON_OXAVarGetSerializedSize, &var), 8U);
    std::uint8_t bytes[8];
    EXPECT_EQ(CALL(COMMON_OXAVarSerialize, bytes, &var, sizeof bytes), 8U);
    COMMON_OXAVarSetString(&var, "text");
    EXPECT_EQ(CALL(COMMON_OXAVarClear, &var), &var);
    COMMON_OXAVar* const other = COMMON_OXAVarArrayAlloc(1);
    CALL(COMMON_OXAVarFree, other);
}

constexpr char kPattern[] = "(\\w)(\\d)";

/// The expression of two characters.
class Expression {
public:
    ~Expression() { RegExp_Delete(regexp_); }
    Expression() = default;
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    operator RegExp*() const { return regexp_; }

private:
    RegExp* regexp_ = RegExp_New(kPattern, 1);
};

/// The reason is told in the C library's words.
SCENARIO(RegExp_Check, gives("1 \"\""), out_of_memory_ends(Call::realloc),
         on(Call::regcomp).with({REG_ESPACE}).gives("0 \"Memory exhausted\""),
         on(Call::regcomp).with({REG_BADBR}).gives("0 \"Invalid content of \\{\\}\""),
         on(Call::regcomp).with({REG_BADPAT}).gives("0 \"Invalid regular expression\""),
         on(Call::regcomp).with({REG_BADRPT}).gives("0 \"Invalid preceding regular expression\""),
         on(Call::regcomp).with({REG_EBRACE}).gives("0 \"Unmatched \\{\""),
         on(Call::regcomp).with({REG_EBRACK}).gives("0 \"Unmatched [, [^, [:, [., or [=\""),
         on(Call::regcomp).with({REG_ECOLLATE}).gives("0 \"Invalid collation character\""),
         on(Call::regcomp).with({REG_ECTYPE}).gives("0 \"Invalid character class name\""),
         on(Call::regcomp).with({REG_EEND}).gives("0 \"Premature end of regular expression\""),
         on(Call::regcomp).with({REG_EESCAPE}).gives("0 \"Trailing backslash\""),
         on(Call::regcomp).with({REG_EPAREN}).gives("0 \"Unmatched ( or \\(\""),
         on(Call::regcomp).with({REG_ERANGE}).gives("0 \"Invalid range end\""),
         on(Call::regcomp).with({REG_ESIZE}).gives("0 \"Regular expression too big\""),
         on(Call::regcomp).with({REG_ESUBREG}).gives("0 \"Invalid back reference\""))
{
    char error[64];
    CALL(RegExp_Check, kPattern, 1, error, sizeof error);
    note_result(shown(static_cast<const char*>(error)));
    EXPECT_EQ(RegExp_Check(kPattern, 1, error, sizeof error), 1U);
}

/// The patterns are part of the program.
SCENARIO(RegExp_New, gives("set"), out_of_memory_ends(), out_of_memory_ends(Call::realloc),
         on(Call::regcomp).asserts("regexp", "RegExp_New", "0 == ret").logs({}))
{
    RegExp* const regexp = CALL(RegExp_New, kPattern, 1);
    EXPECT_EQ(RegExp_Match(regexp, "a1"), 1U);
    RegExp_Delete(regexp);
}

/// A search that fails finds nothing.
SCENARIO(RegExp_Match, gives("1"), on(Call::regexec).gives("0"))
{
    const Expression regexp;
    CALL(RegExp_Match, regexp, "a1");
    EXPECT_EQ(RegExp_Match(regexp, "a1"), 1U);
}

SCENARIO(RegExp_MatchSubExp, gives("set"), out_of_memory_ends(), out_of_memory_ends(Call::realloc),
         on(Call::regexec).gives("null"))
{
    const Expression regexp;
    CALL(RegExp_MatchSubExp, regexp, "a1", 0);
    const SubExps* const texts = RegExp_MatchSubExp(regexp, "b2", 0);
    EXPECT_EQ(SubExps_Size(texts), 3U);
    EXPECT_STREQ(SubExps_GetIndex(texts, 2), "2");
}

SCENARIO(RegExp_Replace, gives("\"x and x\""), out_of_memory_ends(Call::realloc),
         on(Call::regexec).nth(1).gives("\"a1 and b2\""),
         on(Call::regexec).nth(2).gives("\"x and b2\""))
{
    const Expression regexp;
    CALL(RegExp_Replace, regexp, "a1 and b2", "x", 1);
    EXPECT_STREQ(RegExp_Replace(regexp, "a1 and b2", "x", 0), "x and b2");
}

SCENARIO(MatchesAreLookedAt)
{
    RegExp* const regexp = RegExp_New(kPattern, 1);
    const SubExps* const texts = RegExp_MatchSubExp(regexp, "a1", 0);
    EXPECT_EQ(CALL(SubExps_Size, texts), 3U);
    EXPECT_STREQ(CALL(SubExps_GetIndex, texts, 1), "a");
    CALL(RegExp_Delete, regexp);
}

SCENARIO(ValuesAreNoMoreThanNumbers)
{
    errno = 0;
    std::uint32_t number = 0;
    EXPECT_EQ(CALL(CONVERT_HexStrToU32, "1F", &number), STATUS_SUCCESS);
    EXPECT_EQ(number, 31U);
    std::uint64_t large = 0;
    EXPECT_EQ(CALL(CONVERT_HexStrToU64, "1F", &large), STATUS_SUCCESS);
    EXPECT_EQ(large, 31U);
    COMMON_UUID uuid;
    CALL(COMMON_UUID_Set, &uuid, 2, "ab");
    EXPECT_EQ(CALL(COMMON_UUID_Equals, &uuid, &uuid), 1U);
    EXPECT_STREQ(CALL(CHARSET_GetName, 106), "UTF-8");
}

}  // namespace
