/**
 * @file convert.h
 * Hexadecimal text to unsigned integers.
 *
 * Both functions convert as strtoul(3) does in base 16: leading white space, an optional sign (a
 * minus negates the result in its own width), an optional "0x" in either case, and as many digits
 * as follow. What comes after the digits is ignored, and text without any digit is 0: neither is an
 * error.
 *
 * errno takes part, and callers rely on it: it is not cleared before the conversion, so that a
 * value left by any earlier call of the thread makes the conversion fail. Whoever needs a reliable
 * result sets errno to 0 first, again after each failure.
 *
 * Failures are reported at Warn under the module "COMMON", source "convert". The functions are safe
 * from any thread and never block.
 */
#ifndef COMMON_CONVERT_H
#define COMMON_CONVERT_H

#include "common_api.h"
#include "status.h"

COMMON_BEGIN_DECLS

/**
 * Converts hexadecimal text to 32 bits.
 * @param text at most "FFFFFFFF", with or without a sign, whatever the size of a long.
 * @param valueOut gets the value on success and is left alone otherwise.
 * @return STATUS_SUCCESS; STATUS_INVALID_PARAM for a null text ("String Value is NULL"), a null
 *         valueOut ("Destination Pointer is NULL"), and where errno is not 0 after the conversion
 *         ("Invalid String Value"): the number is too large, which sets it to ERANGE, or errno was
 *         not 0 before.
 */
COMMON_MUST_USE STATUS CONVERT_HexStrToU32(const char* text, uint32_t* valueOut);

/**
 * Converts hexadecimal text to 64 bits.
 * @param text at most "FFFFFFFFFFFFFFFF", with or without a sign.
 * @param valueOut as for CONVERT_HexStrToU32().
 * @return as for CONVERT_HexStrToU32().
 */
COMMON_MUST_USE STATUS CONVERT_HexStrToU64(const char* text, uint64_t* valueOut);

COMMON_END_DECLS

#endif
