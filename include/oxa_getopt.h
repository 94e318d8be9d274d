/**
 * @file oxa_getopt.h
 * Command lines: short options, long options, and arguments that are no options.
 *
 * A program calls one of the three functions again and again until it returns -1. Each call gives
 * the next option; then `optind` is the index of the first argument that is no option.
 *
 *     static const struct option options[] = {{"help", no_argument, NULL, 'h'},
 *                                             {"level", required_argument, NULL, 'l'},
 *                                             {NULL, 0, NULL, 0}};
 *     int code;
 *     while ((code = OXA_getopt_long(argc, argv, "hl:", options, NULL)) != -1) {
 *         switch (code) {
 *         case 'h': ...
 *         case 'l': ... optarg ...
 *         default: return 2;  // '?': the diagnostic has been printed
 *         }
 *     }
 *
 * What the functions share with the program are the C library's own variables:
 * - `optind`: index of the next word to look at, 1 at the start. Words are only looked at from
 *   `optind` to argc - 1. Set to 0 (or below) it starts anew, with another command line or from the
 *   beginning, and forgets what was left half way: a word of short options, and arguments that have
 *   been passed over. So do 1, another argv, and an index behind the last word. The exception: in
 *   the middle of a word of short options that is argv[1], `optind` is 1 already, and setting it
 *   says nothing; there only 0 or another argv starts anew. Another index goes on from there: one
 *   that is moved back forgets the rest of the word, and passed-over arguments when it is moved to
 *   or before them.
 * - `optarg`: the argument of the option, inside of argv; null for an option without one. Every
 *   call clears it first.
 * - `opterr`: 0 prints no diagnostics.
 * - `optopt`: after '?' or ':' the short option in question; for a long option its value, or 0 when
 *   it has a flag pointer, is unknown or is ambiguous.
 *
 * Option strings: each character is a short option; one ":" behind it demands an argument, which is
 * the rest of the word or else the next word, whatever this looks like; "::" allows an argument,
 * which then is the rest of the word. ":" is never an option: in a command line it is an unknown
 * one, and "-:" an unknown long one to OXA_getopt_long_only(). In front of all, in this order,
 * there may be
 * - "+": the first argument that is no option ends the options;
 * - "-": an argument that is no option comes back in its place, as the argument of an option with
 *   the code 1;
 * - ":": no diagnostics, and an argument that is missing, or not taken ("--verbose=3"), gives ':'
 *   instead of '?'.
 *
 * "W;" in the option string makes "-W name", or "-Wname", the long option "--name", for functions
 * that are given long options; for OXA_getopt() W is an option without an argument.
 *
 * Words: "--" ends the options and is passed over; "-" is an argument that is no option. A word of
 * short options is worked off from left to right, one call each. In its middle nothing but what is
 * behind a W is taken for a long option, neither "-verbose" nor, by OXA_getopt_long_only(),
 * "verbose".
 *
 * Long options: the array ends with an entry whose name is null. Names end at "=", behind which
 * there may be an argument (none: the option has an empty one); a required argument may also be the
 * next word. An argument that is not taken goes with its word: `optarg` is null, and the next call
 * looks behind it. A name may be shortened to what only one option begins with; one that is written
 * out wins over longer ones. Where the flag pointer of an option is not null, the option's value is
 * stored there and the call returns 0.
 *
 * Permutation: OXA_getopt_long() and OXA_getopt_long_only() pass over arguments that are no options
 * and move them behind the options, in their order, so argv is written to. How far this has got
 * while there are more options is nobody's business. If POSIXLY_CORRECT is in the environment at
 * the first call of the process that is given a command line, nothing is ever permuted, the first
 * argument that is no option ends the options, and a leading "+" or "-" has no meaning.
 *
 * Diagnostics go to standard error, as "program: text", unless `opterr` is 0 or the option string
 * has its ":" in front:
 *
 *     ambiguous option -- NAME                      two or more long options begin so
 *     option does not take an argument -- NAME
 *     option requires an argument -- NAME, or C
 *     unknown option -- NAME[=ARGUMENT], or C
 *
 * All state belongs to the process (what is left of a word, the arguments passed over, the
 * variables of the C library): one thread at a time may parse, and one command line at a time. The
 * C library's own getopt functions share the variables, but not the rest. argv has to stay until
 * the options have ended, or until the next start. Nothing is allocated or logged; no function
 * blocks, but for writing a diagnostic.
 */
#ifndef COMMON_OXA_GETOPT_H
#define COMMON_OXA_GETOPT_H

#include <getopt.h>

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Gives the next short option. Never permutes: the first argument that is no option ends them, but
 * for a leading "-" in optstring.
 * @param argc number of words in argv.
 * @param argv the command line, the program's name first; null gives -1.
 * @param optstring the short options; null gives -1.
 * @return the option's character; 1 (see "-"); '?' for a character that is no option, and for a
 *         missing argument; ':' for that when optstring begins with ":"; -1 at the end.
 */
COMMON_MUST_USE int OXA_getopt(int argc, char* const* argv, const char* optstring);

/**
 * Gives the next option, short or, behind "--", long; permutes.
 * @param argc number of words in argv.
 * @param argv the command line, the program's name first; null gives -1. Its words are reordered.
 * @param optstring the short options; null gives -1.
 * @param longopts the long options; null: there are none, and a word that begins with "--" is a
 *        word of short options.
 * @param longindex gets the index of a long option that is given back, and is left alone otherwise;
 *        may be null.
 * @return the option's character or value, or 0 for one with a flag pointer; 1 (see "-"); '?' for
 *         an unknown or ambiguous option, for a missing argument and for one that is not taken; ':'
 *         for the last two when optstring begins with ":"; -1 at the end.
 */
COMMON_MUST_USE int OXA_getopt_long(int argc, char* const* argv, const char* optstring,
                                    const struct option* longopts, int* longindex);

/**
 * Gives the next option as OXA_getopt_long() does, and also takes long options behind a single "-".
 *
 * A word behind a single "-" that matches no long option is a word of short options when its first
 * character is one; otherwise it is an unknown long option. A name of one character that is a short
 * option, too, is not taken for a shortened long option.
 * @param argc, argv, optstring, longopts, longindex as for OXA_getopt_long().
 * @return as OXA_getopt_long().
 */
COMMON_MUST_USE int OXA_getopt_long_only(int argc, char* const* argv, const char* optstring,
                                         const struct option* longopts, int* longindex);

COMMON_END_DECLS

#endif
