/**
 * @file regexp.h
 * Regular expressions: the extended ones of POSIX, with a few shorthands, stepping through the
 * matches of a text, and replacement.
 *
 * A RegExp is made by RegExp_New() and ended by RegExp_Delete(). It carries the state of its last
 * match and the last result, so one thread at a time may use it. Nothing is logged. A null argument
 * where none is allowed is a programming error and ends the process with an assertion message.
 * Running out of memory ends the process as MEM_Malloc() does; a search for which the C library has
 * no memory finds nothing. Texts may have up to 2147483646 bytes, as the C library searches no
 * longer ones. No function blocks.
 *
 * Shorthands in patterns, rewritten in this order, wherever they stand:
 *
 *     \s   [[:space:]]
 *     \w   [a-zA-Z_0-9]
 *     \d   [[:digit:]]
 *     \b   (^|\W|$)          whose \W is rewritten next: a group, which counts as one
 *     \W   [^a-zA-Z_0-9]
 *
 * The rewriting is plain text replacement: a backslash in front of the backslash does not stop it,
 * nor does a bracket expression around it.
 */
#ifndef COMMON_REGEXP_H
#define COMMON_REGEXP_H

#include <regex.h>

#include "common_api.h"
#include "list_light.h"

COMMON_BEGIN_DECLS

/** The texts of a match, the whole of it first: a field of the RegExp that matched. */
typedef ListLight* SubExps;

/** A compiled expression. The fields are for RegExp_ functions only. */
typedef struct RegExp {
    regex_t expression; /**< the platform's */
    uint32_t position;  /**< where in the text the next stepwise match is looked for, in bytes */
    SubExps subexps;    /**< the texts of the last stepwise match, owned */
    char* result;       /**< of the last replacement, owned; null before the first one */
} RegExp;

/**
 * Tells whether RegExp_New() would accept a pattern: whoever has one from outside the program, from
 * a setting say, asks first. The pattern is compiled as there, shorthands rewritten, and given up
 * again. Nothing is kept, and a pattern that does not compile is only told about.
 *
 * What compiling takes is the C library's choice, here as in RegExp_New(): stack in proportion to
 * the length of a pattern (less than 1 MiB for 500 groups inside one another); time and memory that
 * double with each "+" of another one (14 groups inside one another, each with a "+", take more
 * than 100 MB), and multiply with repetitions such as "{1000}" of one another. A pattern that has
 * 4 GiB or more when it is rewritten ends the process ("size <= UINT32_MAX"). And searching for
 * back-references such as "\\1" may take a time that grows with a high power of the text's length;
 * and where a group that holds "^" or "$" is repeated, such as "(^|a|$)*", or "\\b*", which is such
 * a group, a search for what groups take may never end. So limit the length of what strangers may
 * give, to 500 bytes say, and take neither "{" nor "+" from them, no repetition behind a ")", and
 * no backslash in front of a digit or a "b".
 * @param pattern what would be matched; null is not accepted ("No pattern").
 * @param case_sensitive as for RegExp_New().
 * @param error gets what is wrong, in the C library's words, such as "Unmatched ( or \\(", cut to
 *        its size; the empty text when nothing is. Terminated in any case. May be null.
 * @param size bytes of `error`; 0: nothing is written.
 * @return 1 when it compiles; 0 when it does not, or when the C library has no memory for it.
 */
COMMON_MUST_USE uint32_t RegExp_Check(const char* pattern, uint32_t case_sensitive, char* error,
                                      uint32_t size);

/**
 * Compiles an expression.
 * @param pattern what to match; null ends the process ("text"), and so does a pattern that does not
 *        compile ("0 == ret"): patterns are part of the program. RegExp_Check() tells about others.
 * @param case_sensitive 0 takes upper and lower case as the same.
 * @return the expression, which the caller ends with RegExp_Delete(); never null.
 */
COMMON_MUST_USE RegExp* RegExp_New(const char* pattern, uint32_t case_sensitive);

/**
 * Ends an expression. The texts that it gave are gone.
 * @param regexp null ends the process ("regexp").
 */
void RegExp_Delete(RegExp* regexp);

/**
 * Tells whether there is a match anywhere in a text.
 * @param regexp null ends the process ("regexp").
 * @param text null ends the process ("text").
 * @return 1 or 0.
 */
uint32_t RegExp_Match(const RegExp* regexp, const char* text);

/**
 * Finds the next match in a text and keeps copies of what matched: the whole, then each group that
 * took part. Groups that did not are left out, so that later ones move forward.
 *
 * Each search takes what follows the last match as a text of its own: "^" matches at its start. A
 * match of no text is found again by the next call, which is for the caller to notice.
 * @param regexp null ends the process ("regexp").
 * @param text the same as before when continuing; null ends the process ("text"). May be one of the
 *        texts of the last match, which are gone afterwards.
 * @param continue_search 0 starts at the beginning.
 * @return the texts, valid until the next call or the end of the expression; null when there is no
 *         (further) match, or the last one ended with the text.
 */
SubExps* RegExp_MatchSubExp(RegExp* regexp, const char* text, uint32_t continue_search);

/**
 * Replaces the first match in a text, or all of them.
 *
 * With all = 1, what follows a match is searched as a text of its own: "^" matches at its start.
 * This ends with the text, when nothing matches, or with a match of no text at the start of what is
 * left: the replacement is put in there once more, and what is left follows unchanged. So "^" is
 * replaced once, and "x*" in "foo" by "-" gives "-foo". The time it takes grows with the lengths of
 * the text and of the result, not with their product; the stack does not grow.
 * @param regexp null ends the process ("regexp").
 * @param text null ends the process ("text"). May be the last result.
 * @param replacement put in as it is; null ends the process ("replacement"). May be the last
 * result.
 * @param all 1 replaces every match, anything else the first one.
 * @return the new text, owned by the expression and valid until its next replacement or end. One of
 *         4 GiB or more ends the process ("size <= UINT32_MAX").
 */
COMMON_MUST_USE const char* RegExp_Replace(RegExp* regexp, const char* text,
                                           const char* replacement, uint32_t all);

/**
 * Counts the texts of a match.
 * @param subexps from RegExp_MatchSubExp(); null ends the process ("subexps").
 * @return their number.
 */
uint32_t SubExps_Size(const SubExps* subexps);

/**
 * Gives a text of a match.
 * @param subexps from RegExp_MatchSubExp(); null ends the process ("subexps").
 * @param index 0 is the whole match.
 * @return the text, owned by the expression; null when there are not as many.
 */
const char* SubExps_GetIndex(const SubExps* subexps, uint32_t index);

COMMON_END_DECLS

#endif
