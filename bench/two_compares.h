/** The least that a level check in a shared object can be: one call, two compares. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

extern int two_compares_enabled;
extern unsigned two_compares_level;

/** Whether a level is wanted. */
int two_compares(unsigned level);

#ifdef __cplusplus
}
#endif
