/**
 * @file data.h
 * Texts of plain values.
 */
#ifndef COMMON_DATA_H
#define COMMON_DATA_H

#include "common_api.h"

COMMON_BEGIN_DECLS

/**
 * Gives the text of a boolean. Safe everywhere.
 * @param value any value.
 * @return "False" for 0, "True" for 1, "Invalid" for anything else; a constant text.
 */
const char* DATA_BoolToString(uint32_t value);

COMMON_END_DECLS

#endif
