/**
 * @file charset.h
 * The names of character sets by number, as the IANA Character Sets registry lists them.
 *
 * There is no state and no lock, and nothing is logged: safe everywhere, signal handlers included.
 */
#ifndef COMMON_CHARSET_H
#define COMMON_CHARSET_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Gives the name of a character set, in constant time.
 * @param mib its number (MIBenum), for instance of a text that a device announces.
 * @return the name in the registry's Name column, to the letter ("UTF-8" for 106, "Shift_JIS" for
 *         17), and not the alias that mail prefers; "Reserved" for 0, 1 and 2; "Invalid" for a
 *         number without an entry. A constant text, never null.
 */
const char* CHARSET_GetName(uint32_t mib) COMMON_NEVER_NULL;

COMMON_END_DECLS

#endif
